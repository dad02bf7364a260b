#include "core/hash.h"

#include "core/memio/xcache.h"

#include <cstring>

namespace {

constexpr std::uint32_t polynomial = 0xEDB88320u;

const std::uint32_t *crc_table() {
    auto *table = static_cast<std::uint32_t *>(xcache_getpointer("crc_table"));
    if (table)
        return table;
    table = static_cast<std::uint32_t *>(xcache_alloc("crc_table", 256 * sizeof(std::uint32_t)));
    for (std::uint32_t n = 0; n < 256; ++n) {
        std::uint32_t c = n;
        for (int bit = 0; bit < 8; ++bit)
            c = (c & 1) ? polynomial ^ (c >> 1) : c >> 1;
        table[n] = c;
    }
    return table;
}

} // namespace

std::uint32_t hash_compute(const void *data, std::size_t size) {
    const std::uint32_t *table = crc_table();
    const auto *bytes = static_cast<const unsigned char *>(data);
    std::uint32_t crc = 0xFFFFFFFFu;
    for (std::size_t i = 0; i < size; ++i)
        crc = table[(crc ^ bytes[i]) & 0xFF] ^ (crc >> 8);
    return crc ^ 0xFFFFFFFFu;
}

std::uint32_t hash_string(const char *text) {
    return hash_compute(text, std::strlen(text));
}
