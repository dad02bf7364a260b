#include "core/integrity.h"

#include "core/hash.h"

#include <cstdio>
#include <vector>

namespace {

std::uint32_t checksum = 0;
bool checked = false;

} // namespace

// Reads the program's own file through the process's view of it, so the check
// works whatever directory or name the program was started with.
const char *integrity_check() {
    std::FILE *program = std::fopen("/proc/self/exe", "rb");
    if (!program)
        return "failed to open the program file for the integrity check";
    std::vector<unsigned char> contents;
    unsigned char chunk[65536];
    std::size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, program)) > 0)
        contents.insert(contents.end(), chunk, chunk + got);
    bool failed = std::ferror(program) != 0;
    std::fclose(program);
    if (failed || contents.empty())
        return "failed to read the program file for the integrity check";
    checksum = hash_compute(contents.data(), contents.size());
    checked = true;
    return nullptr;
}

std::uint32_t integrity_checksum() {
    return checked ? checksum : 0;
}

void integrity_uncheck() {
    checksum = 0;
    checked = false;
}
