// CRC-32 (reflected polynomial 0xEDB88320, start 0xFFFFFFFF, final value
// complemented) used to fingerprint every registered driver by name.  The
// 256-entry table is built on first use and kept in the system cache as
// "crc_table".
#pragma once

#include <cstddef>
#include <cstdint>

std::uint32_t hash_string(const char *text);
std::uint32_t hash_compute(const void *data, std::size_t size);
