#include "user_config.h"

#include "core/message.h"
#include "file/config.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <pwd.h>
#include <string>
#include <system_error>
#include <unistd.h>
#include <vector>

static constexpr const char *source_file = "./user_config.c";
static constexpr const char *source_ident = "Lumivane::user-config";

namespace fs = std::filesystem;

namespace {

constexpr const char *config_variable = "Lumivane_ini";
constexpr const char *config_name = "Lumivane.ini";
constexpr const char *folder_name = "lumivane";

// Set when this run works on the user's copy of an installed program.
bool user_copy_in_use = false;

// Where the installation keeps its data and its helper programs, relative to
// the folder of the program file; empty when the program was built without
// an installation layout.
#ifdef LUMIVANE_RELATIVE_DATADIR
constexpr const char *relative_datadir = LUMIVANE_RELATIVE_DATADIR;
constexpr const char *relative_bindir = LUMIVANE_RELATIVE_BINDIR;
#else
constexpr const char *relative_datadir = "";
constexpr const char *relative_bindir = "";
#endif

struct installation {
    fs::path data; // holds Lumivane.ini, cookies, fonts, ...
    fs::path bin;  // holds linux/setroot/setroot
};

// The installation this program file belongs to, if it is one: the
// installed configuration must be there.
bool find_installation(installation &found) {
    if (!*relative_datadir)
        return false;
    std::error_code error;
    fs::path program = fs::read_symlink("/proc/self/exe", error);
    if (error)
        return false;
    fs::path folder = program.parent_path();
    found.data = fs::weakly_canonical(folder / relative_datadir, error);
    if (error || !fs::is_regular_file(found.data / config_name, error))
        return false;
    found.bin = fs::weakly_canonical(folder / relative_bindir, error);
    return !error;
}

// An XDG base folder: the variable when it holds an absolute path, else the
// fallback below the home folder.  Empty when there is no home either.
fs::path base_folder(const char *variable, const char *fallback) {
    const char *value = std::getenv(variable);
    if (value && value[0] == '/')
        return value;
    const char *home = std::getenv("HOME");
    if (!home || !*home) {
        const passwd *entry = getpwuid(geteuid());
        home = entry ? entry->pw_dir : nullptr;
    }
    if (!home || !*home)
        return {};
    return fs::path(home) / fallback;
}

// Rewrites the value of an alias line ("$key$ = value"), keeping the key and
// its alignment; the value is quoted so that folder names with blanks read
// back whole.
bool rewrite_alias(std::string &line, const std::string &key, const std::string &value) {
    std::string alias = "$" + key + "$";
    if (line.compare(0, alias.size(), alias) != 0)
        return false;
    std::size_t equals = line.find_first_not_of(" \t", alias.size());
    if (equals == std::string::npos || line[equals] != '=')
        return false;
    std::size_t start = line.find_first_not_of(" \t", equals + 1);
    line = line.substr(0, start == std::string::npos ? equals + 1 : start) + "\"" + value + "\"";
    return true;
}

struct alias_value {
    const char *key;
    std::string value;
};

// The copy is made with plain file streams: the stream layer expands
// aliases, which do not exist before a configuration is loaded.
bool write_copy(const fs::path &from, const fs::path &to, const std::vector<alias_value> &aliases) {
    std::ifstream in(from);
    if (!in)
        return false;
    fs::path partial = to;
    partial += ".partial";
    {
        std::ofstream out(partial);
        std::string line;
        while (std::getline(in, line)) {
            for (const alias_value &alias : aliases)
                if (rewrite_alias(line, alias.key, alias.value))
                    break;
            out << line << '\n';
        }
        if (!in.eof() || !out.flush()) {
            std::error_code ignored;
            fs::remove(partial, ignored);
            return false;
        }
    }
    std::error_code error;
    fs::rename(partial, to, error);
    return !error;
}

bool quotable(const std::string &folder) {
    return folder.find('"') == std::string::npos;
}

} // namespace

void user_config_prepare() {
    const char *set = std::getenv(config_variable);
    if (set && *set)
        return;
    installation installed;
    if (!find_installation(installed))
        return;
    fs::path config = base_folder("XDG_CONFIG_HOME", ".config");
    fs::path cache = base_folder("XDG_CACHE_HOME", ".cache");
    if (config.empty() || cache.empty()) {
        XWARNING("no home folder for the user's configuration");
        return;
    }
    config /= folder_name;
    cache /= folder_name;
    fs::path copy = config / config_name;
    std::error_code error;
    for (const fs::path &folder : {config / "presets", config / "backup", cache})
        fs::create_directories(folder, error);
    if (!fs::exists(copy, error)) {
        std::vector<alias_value> aliases = {
            {"path.data", installed.data.string()},
            {"path.bin", installed.bin.string()},
            {"path.run", config.string()},
            {"path.tmp", cache.string()},
        };
        for (const alias_value &alias : aliases) {
            if (!quotable(alias.value)) {
                XWARNING("folder '%s' cannot be written to a configuration", alias.value.c_str());
                return;
            }
        }
        fs::path presets = installed.data / "presets";
        if (fs::is_directory(presets, error))
            fs::copy(presets, config / "presets", fs::copy_options::skip_existing, error);
        if (!write_copy(installed.data / config_name, copy, aliases)) {
            XWARNING("failed to create the user's configuration '%s'", copy.c_str());
            return;
        }
    }
    setenv(config_variable, copy.c_str(), 1);
    user_copy_in_use = true;
}

void user_config_refresh() {
    if (!user_copy_in_use || !config_active())
        return;
    installation installed;
    if (!find_installation(installed))
        return;
    const alias_value aliases[] = {
        {"$path.data$", installed.data.string()},
        {"$path.bin$", installed.bin.string()},
    };
    for (const alias_value &alias : aliases) {
        const char *current = config_get(nullptr, alias.key, 0, 0, nullptr);
        if (quotable(alias.value) && (!current || alias.value != current))
            config_put(nullptr, alias.key, alias.value.c_str());
    }
}
