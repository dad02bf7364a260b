#include "support/scratch.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

std::string process_directory;

std::string make_temporary(const std::string &prefix) {
    std::string pattern = (fs::temp_directory_path() / (prefix + "XXXXXX")).string();
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("mkdtemp failed for " + pattern);
    return pattern;
}

void remove_process_directory() {
    std::error_code ignored;
    fs::current_path(fs::temp_directory_path(), ignored);
    fs::remove_all(process_directory, ignored);
}

} // namespace

void scratch_enter_process_directory() {
    process_directory = make_temporary("lumivane-tests-");
    fs::current_path(process_directory);
    // Only the process that made it removes it: death-test children share it.
    static const pid_t owner = getpid();
    std::atexit([] {
        if (getpid() == owner)
            remove_process_directory();
    });
}

scratch_directory::scratch_directory()
    : path_(make_temporary("lumivane-scratch-")), previous_(fs::current_path().string()) {
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
