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
    // Sized once from the file, so that the read is one copy: the check runs
    // on every start, before the first picture.
    std::vector<unsigned char> contents;
    if (std::fseek(program, 0, SEEK_END) == 0) {
        long size = std::ftell(program);
        if (size > 0)
            contents.reserve(static_cast<std::size_t>(size));
        std::rewind(program);
    }
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
