#include "support/scratch.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr const char *root_variable = "LUMIVANE_TEST_ROOT";
std::string process_directory;

std::string make_temporary(const fs::path &parent, const std::string &prefix) {
    std::string pattern = (parent / (prefix + "XXXXXX")).string();
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("mkdtemp failed for " + pattern);
    return pattern;
}

// Every scratch folder of a test run lives below one root, which the first
// process removes when it ends.  Death-test children (which inherit the
// root through the environment and often end without running exit code)
// thus leave nothing behind.
const std::string &test_root() {
    static std::string root;
    if (!root.empty())
        return root;
    if (const char *inherited = std::getenv(root_variable);
        inherited && fs::is_directory(inherited)) {
        root = inherited;
        return root;
    }
    root = make_temporary(fs::temp_directory_path(), "lumivane-tests-");
    setenv(root_variable, root.c_str(), 1);
    static const pid_t owner = getpid();
    std::atexit([] {
        if (getpid() != owner)
            return;
        std::error_code ignored;
        fs::current_path(fs::temp_directory_path(), ignored);
        fs::remove_all(root, ignored);
    });
    return root;
}

} // namespace

void scratch_enter_process_directory() {
    process_directory = make_temporary(test_root(), "process-");
    fs::current_path(process_directory);
}

scratch_directory::scratch_directory()
    : path_(make_temporary(test_root(), "scratch-")), previous_(fs::current_path().string()) {
    fs::current_path(path_);
}

scratch_directory::~scratch_directory() {
    std::error_code ignored;
    fs::current_path(previous_, ignored);
    fs::remove_all(path_, ignored);
}

std::string read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream contents;
    contents << in.rdbuf();
    return contents.str();
}

void write_file(const std::string &path, const std::string &contents) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << contents;
}

bool file_exists(const std::string &path) {
    return fs::exists(path);
}
