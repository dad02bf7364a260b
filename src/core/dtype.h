// Typed values: print, scan and compare values of a type named by a numeric
// code.  Used by the configuration reader, effect parameters and preset files.
//
// Value layouts are fixed, independent of the host: "long"/"ulong" are 32-bit,
// "long double" takes 12 bytes (the 80-bit extended value, zero padded),
// "bool" is a 32-bit 0/1, "string" a 4096-byte zero-terminated buffer.
// Printed texts are at most DTYPE_TEXT_MAX bytes including the terminator.
#pragma once

#include <cstdint>

inline constexpr int DTYPE_TEXT_MAX = 4096 + 16;

enum dtype_code : std::uint32_t {
    DTYPE_CHAR = 1,
    DTYPE_UCHAR = 2,
    DTYPE_SHORT = 3,
    DTYPE_USHORT = 4,
    DTYPE_INT = 5,
    DTYPE_UINT = 6,
    DTYPE_LONG = 7,
    DTYPE_ULONG = 8,
    DTYPE_FLOAT = 9,
    DTYPE_DOUBLE = 10,
    DTYPE_LDOUBLE = 11,
    DTYPE_BOOL = 12,
    DTYPE_STRING = 13,
};

using dtype_print_fn = void (*)(const void *value, char *text);
// Returns 1 when the text was a valid value (stored), else reports and returns 0.
using dtype_scan_fn = int (*)(const char *text, void *value);
// Negative, zero or positive like strcmp.
using dtype_compare_fn = int (*)(const void *a, const void *b);

struct dtype_entry {
    const char *name; // null ends a table
    std::uint32_t code;
    std::uint32_t size;
    dtype_print_fn print;
    dtype_scan_fn scan;
    dtype_compare_fn compare;
};

extern const dtype_entry standard_types[];

// Installs a client's table (searched before the standard one); the table
// must outlive its use.  Null removes it.
void dtype_extend(const dtype_entry *list);

const char *dtype_name(std::uint32_t code);
std::uint32_t dtype_size(std::uint32_t code);
void dtype_print(std::uint32_t code, const void *value, char *text);
int dtype_scan(std::uint32_t code, const char *text, void *value);
int dtype_compare(std::uint32_t code, const void *a, const void *b);
// Scans into a destination of `size` bytes, which must be the type's size.
int dtype_scanin(std::uint32_t code, const char *text, void *destination, std::uint32_t size);
// The row for a code, or null.
const dtype_entry *dtype_find(std::uint32_t code);
