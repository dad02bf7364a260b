#include "core/integrity.h"

#include "core/hash.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::uint32_t checksum = 0;
bool checked = false;

} // namespace

// Hashes the program's own file through the process's view of it, so the
// check works whatever directory or name the program was started with.  The
// file is mapped, not copied: the check runs on every start, before the
// first picture, and a copy's fresh pages cost three times the hashing.
const char *integrity_check() {
    const int program = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    if (program < 0)
        return "failed to open the program file for the integrity check";
    struct stat status;
    void *contents = MAP_FAILED;
    std::size_t size = 0;
    if (fstat(program, &status) == 0 && status.st_size > 0) {
        size = static_cast<std::size_t>(status.st_size);
        contents = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, program, 0);
    }
    close(program);
    if (contents == MAP_FAILED)
        return "failed to read the program file for the integrity check";
    checksum = hash_compute(contents, size);
    munmap(contents, size);
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
