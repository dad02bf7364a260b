// Feeds arbitrary bytes to the configuration loader through a scratch file.
// A file that loads is queried, expanded and saved; the saved file, when it
// loads again, must save to the same bytes (times aside).  The store is
// unloaded after every input, also when an error unwound out of the body.
#include "file/config.h"
#include "file/streamio/drivers.h"
#include "file/streamio/streamio.h"
#include "support/fuzz_support.h"

#include "core/memio/memio.h"

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

namespace {

void register_streams() {
    if (streamio_find_driver("saferio"))
        return;
    streamio_register_builtin_drivers();
    streamio_set_defio(&saferio_driver);
}

std::string slurp(const char *name) {
    std::ifstream in(name, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Replaces every text shaped like ctime's ("Thu Nov 21 13:18:00 2026").
std::string mask_times(std::string text) {
    auto digit = [&](std::size_t at) { return std::isdigit(static_cast<unsigned char>(text[at])); };
    for (std::size_t at = 0; at + 24 <= text.size(); ++at) {
        bool shaped = text[at + 3] == ' ' && text[at + 7] == ' ' && text[at + 10] == ' ' &&
                      text[at + 13] == ':' && text[at + 16] == ':' && text[at + 19] == ' ' &&
                      digit(at + 11) && digit(at + 12) && digit(at + 14) && digit(at + 15) &&
                      digit(at + 17) && digit(at + 18) && digit(at + 20) && digit(at + 21) &&
                      digit(at + 22) && digit(at + 23);
        if (shaped)
            text.replace(at, 24, "TIME");
    }
    return text;
}

// True when every key and value of the saved text is quoted or free of the
// single-character tokens: only then must it read back as it was written.
bool reads_back_whole(const std::string &saved) {
    std::istringstream lines(saved);
    bool in_header = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line[0] == '#' || line.rfind("<configuration file for ", 0) == 0 ||
            line == "<eof>")
            continue;
        if (line[0] == '[') {
            in_header = true;
            continue;
        }
        if (!in_header)
            return false;
        // key = value, each quoted or bare
        std::size_t at = 0;
        for (int part = 0; part < 2; ++part) {
            if (line[at] == '"') {
                std::size_t close = line.find('"', at + 1);
                if (close == std::string::npos)
                    return false;
                at = close + 1;
            } else {
                std::size_t end = part == 0 ? line.find(' ', at) : line.size();
                if (end == std::string::npos)
                    return false;
                if (line.substr(at, end - at).find_first_of("#(),<=>[]{}\"") != std::string::npos)
                    return false;
                at = end;
            }
            if (part == 0) {
                std::size_t equals = line.find(" = ", at);
                if (equals == std::string::npos)
                    return false;
                at = equals + 3;
            }
        }
    }
    return true;
}

void unload() {
    if (config_active())
        config_unload();
}

// Aliases are expanded before anything is written, so that the input's own
// entries (an alias cycle, say) reach the expander.
void exercise_store() {
    int number = 0;
    config_get(nullptr, "*", 5, 4, &number);
    config_get("*.message.handling", "warning.type", 0, 0, nullptr);
    xfree(config_alias("$path.tmp$/$a$/$default.cookie$/x"));
    config_put(nullptr, "*", "fuzz value");
}

void round_trip() {
    if (!config_save("first.ini"))
        return;
    unload();
    std::string first = slurp("first.ini");
    if (!config_load("first.ini") || !config_save("first.ini"))
        return;
    std::string second = slurp("first.ini");
    if (reads_back_whole(first) && mask_times(first) != mask_times(second)) {
        std::fprintf(stderr, "round trip differs:\n--- first\n%s\n--- second\n%s\n", first.c_str(),
                     second.c_str());
        __builtin_trap();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz_guard([&] {
        register_streams();
        std::FILE *file = std::fopen("input.ini", "wb");
        if (!file)
            return;
        std::fwrite(data, 1, size, file);
        std::fclose(file);
        if (!config_load("input.ini"))
            return;
        exercise_store();
        round_trip();
    });
    fuzz_guard(unload);
    return 0;
}
