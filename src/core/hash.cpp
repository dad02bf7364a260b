#include "core/hash.h"

#include "core/memio/xcache.h"

#include <array>
#include <bit>
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

// The same remainder eight bytes at a time: table k gives the effect of a
// byte followed by k zero bytes.  The program's self-check runs the whole
// program file through here at every start.
constexpr auto slice_tables = [] {
    std::array<std::array<std::uint32_t, 256>, 8> tables{};
    for (std::uint32_t n = 0; n < 256; ++n) {
        std::uint32_t c = n;
        for (int bit = 0; bit < 8; ++bit)
            c = (c & 1) ? polynomial ^ (c >> 1) : c >> 1;
        tables[0][n] = c;
    }
    for (int k = 1; k < 8; ++k)
        for (std::uint32_t n = 0; n < 256; ++n)
            tables[k][n] = (tables[k - 1][n] >> 8) ^ tables[0][tables[k - 1][n] & 0xFF];
    return tables;
}();

} // namespace

std::uint32_t hash_compute(const void *data, std::size_t size) {
    const std::uint32_t *table = crc_table();
    const auto *bytes = static_cast<const unsigned char *>(data);
    std::uint32_t crc = 0xFFFFFFFFu;
    if constexpr (std::endian::native == std::endian::little) {
        const auto &t = slice_tables;
        for (; size >= 8; size -= 8, bytes += 8) {
            std::uint32_t low, high;
            std::memcpy(&low, bytes, 4);
            std::memcpy(&high, bytes + 4, 4);
            low ^= crc;
            crc = t[7][low & 0xFF] ^ t[6][(low >> 8) & 0xFF] ^ t[5][(low >> 16) & 0xFF] ^
                  t[4][low >> 24] ^ t[3][high & 0xFF] ^ t[2][(high >> 8) & 0xFF] ^
                  t[1][(high >> 16) & 0xFF] ^ t[0][high >> 24];
        }
    }
    for (std::size_t i = 0; i < size; ++i)
        crc = table[(crc ^ bytes[i]) & 0xFF] ^ (crc >> 8);
    return crc ^ 0xFFFFFFFFu;
}

std::uint32_t hash_string(const char *text) {
    return hash_compute(text, std::strlen(text));
}
