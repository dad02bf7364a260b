#include "core/dtype.h"

#include "core/message.h"
#include "core/xstring.h"

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

static constexpr const char *source_file = "./src/core/scantyp1.c";
static constexpr const char *source_ident = "type.conversion";

static_assert(LDBL_MANT_DIG == 64, "the 12-byte long double layout needs the x87 format");

namespace {

constexpr std::size_t ldouble_bytes = 10; // significant bytes of the x87 extended format
constexpr std::size_t string_size = 4096;

const dtype_entry *extended_types = nullptr;

void report_invalid(const char *text, const char *type) {
    XERROR("'%s' is not a valid value of type '%s'", text, type);
}

void report_range(const char *text, const char *type) {
    XERROR("'%s' is out of range for type '%s'", text, type);
}

template <class T> int compare_values(const void *a, const void *b) {
    T x, y;
    std::memcpy(&x, a, sizeof x);
    std::memcpy(&y, b, sizeof y);
    return x < y ? -1 : (y < x ? 1 : 0);
}

// Integer types: printed in decimal, scanned by the library's number parser
// (so hexadecimal and quoted characters are accepted too) with a range check.
template <class T> void print_integer(const void *value, char *text) {
    T v;
    std::memcpy(&v, value, sizeof v);
    if constexpr (std::numeric_limits<T>::is_signed)
        std::snprintf(text, DTYPE_TEXT_MAX, "%lld", static_cast<long long>(v));
    else
        std::snprintf(text, DTYPE_TEXT_MAX, "%llu", static_cast<unsigned long long>(v));
}

template <class T> int scan_integer(const char *text, void *value, const char *type) {
    int ok = 0;
    T v;
    if constexpr (std::numeric_limits<T>::is_signed) {
        long parsed = xatol(text, &ok);
        if (ok &&
            (parsed < std::numeric_limits<T>::min() || parsed > std::numeric_limits<T>::max()))
            return report_range(text, type), 0;
        v = static_cast<T>(parsed);
    } else {
        int negative = 0;
        for (const char *c = text; *c == ' ' || *c == '\t' || *c == '-'; ++c)
            negative |= *c == '-';
        unsigned long parsed = xatoul(text, &ok);
        if (ok && (negative || parsed > std::numeric_limits<T>::max()))
            return report_range(text, type), 0;
        v = static_cast<T>(parsed);
    }
    if (!ok)
        return report_invalid(text, type), 0;
    std::memcpy(value, &v, sizeof v);
    return 1;
}

#define INTEGER_TYPE(name, T)                                                                      \
    void print_##name(const void *value, char *text) {                                             \
        print_integer<T>(value, text);                                                             \
    }                                                                                              \
    int scan_##name(const char *text, void *value) {                                               \
        return scan_integer<T>(text, value, #name);                                                \
    }                                                                                              \
    int compare_##name(const void *a, const void *b) {                                             \
        return compare_values<T>(a, b);                                                            \
    }

INTEGER_TYPE(char, std::int8_t)
INTEGER_TYPE(uchar, std::uint8_t)
INTEGER_TYPE(short, std::int16_t)
INTEGER_TYPE(ushort, std::uint16_t)
INTEGER_TYPE(int, std::int32_t)
INTEGER_TYPE(uint, std::uint32_t)
INTEGER_TYPE(long, std::int32_t)
INTEGER_TYPE(ulong, std::uint32_t)

// Reals are printed with enough digits to scan back to the same bits.
void print_float(const void *value, char *text) {
    float v;
    std::memcpy(&v, value, sizeof v);
    std::snprintf(text, DTYPE_TEXT_MAX, "%.9g", static_cast<double>(v));
}

void print_double(const void *value, char *text) {
    double v;
    std::memcpy(&v, value, sizeof v);
    std::snprintf(text, DTYPE_TEXT_MAX, "%.17g", v);
}

long double load_ldouble(const void *value) {
    long double v = 0.0L;
    std::memcpy(&v, value, ldouble_bytes);
    return v;
}

void print_ldouble(const void *value, char *text) {
    std::snprintf(text, DTYPE_TEXT_MAX, "%.21Lg", load_ldouble(value));
}

bool scan_real(const char *text, long double &v, const char *type) {
    int ok = 0;
    v = xatold(text, &ok);
    if (!ok)
        report_invalid(text, type);
    return ok;
}

int scan_float(const char *text, void *value) {
    long double v;
    if (!scan_real(text, v, "float"))
        return 0;
    // Judged after rounding: the printed form of the largest float is a hair
    // above it and must still scan back.
    auto f = static_cast<float>(v);
    if (std::isfinite(v) && std::isinf(f))
        return report_range(text, "float"), 0;
    std::memcpy(value, &f, sizeof f);
    return 1;
}

int scan_double(const char *text, void *value) {
    long double v;
    if (!scan_real(text, v, "double"))
        return 0;
    auto d = static_cast<double>(v);
    if (std::isfinite(v) && std::isinf(d))
        return report_range(text, "double"), 0;
    std::memcpy(value, &d, sizeof d);
    return 1;
}

int scan_ldouble(const char *text, void *value) {
    long double v;
    if (!scan_real(text, v, "long double"))
        return 0;
    std::memset(value, 0, 12);
    std::memcpy(value, &v, ldouble_bytes);
    return 1;
}

int compare_float(const void *a, const void *b) {
    return compare_values<float>(a, b);
}
int compare_double(const void *a, const void *b) {
    return compare_values<double>(a, b);
}
int compare_ldouble(const void *a, const void *b) {
    long double x = load_ldouble(a), y = load_ldouble(b);
    return x < y ? -1 : (y < x ? 1 : 0);
}

void print_bool(const void *value, char *text) {
    std::int32_t v;
    std::memcpy(&v, value, sizeof v);
    std::snprintf(text, DTYPE_TEXT_MAX, "%s", v ? "true" : "false");
}

int scan_bool(const char *text, void *value) {
    std::int32_t v;
    if (xstring_compare(text, "true"))
        v = 1;
    else if (xstring_compare(text, "false"))
        v = 0;
    else
        return XERROR("'%s' is not a valid boolean", text), 0;
    std::memcpy(value, &v, sizeof v);
    return 1;
}

int compare_bool(const void *a, const void *b) {
    return compare_values<std::int32_t>(a, b);
}

void print_string(const void *value, char *text) {
    std::snprintf(text, DTYPE_TEXT_MAX, "%.*s", static_cast<int>(string_size - 1),
                  static_cast<const char *>(value));
}

int scan_string(const char *text, void *value) {
    std::size_t length = std::strlen(text);
    if (length >= string_size) {
        XERROR("string of %lu characters is too long for type 'string' (at most %lu)",
               static_cast<unsigned long>(length), static_cast<unsigned long>(string_size - 1));
        return 0;
    }
    std::memcpy(value, text, length + 1);
    return 1;
}

int compare_string(const void *a, const void *b) {
    int result =
        std::strncmp(static_cast<const char *>(a), static_cast<const char *>(b), string_size);
    return result < 0 ? -1 : (result > 0 ? 1 : 0);
}

bool row_valid(const dtype_entry &row) {
    return row.code != 0 && row.size != 0 && row.print && row.scan && row.compare;
}

const dtype_entry *find_in(const dtype_entry *table, std::uint32_t code) {
    for (const dtype_entry *row = table; row && row->name; ++row)
        if (row->code == code)
            return row;
    return nullptr;
}

const dtype_entry *require(std::uint32_t code) {
    const dtype_entry *row = dtype_find(code);
    if (!row)
        XERROR("unknown type '0x%04x'", code);
    return row;
}

} // namespace

const dtype_entry standard_types[] = {
    {"char", DTYPE_CHAR, 1, print_char, scan_char, compare_char},
    {"uchar", DTYPE_UCHAR, 1, print_uchar, scan_uchar, compare_uchar},
    {"short", DTYPE_SHORT, 2, print_short, scan_short, compare_short},
    {"ushort", DTYPE_USHORT, 2, print_ushort, scan_ushort, compare_ushort},
    {"int", DTYPE_INT, 4, print_int, scan_int, compare_int},
    {"uint", DTYPE_UINT, 4, print_uint, scan_uint, compare_uint},
    {"long", DTYPE_LONG, 4, print_long, scan_long, compare_long},
    {"ulong", DTYPE_ULONG, 4, print_ulong, scan_ulong, compare_ulong},
    {"float", DTYPE_FLOAT, 4, print_float, scan_float, compare_float},
    {"double", DTYPE_DOUBLE, 8, print_double, scan_double, compare_double},
    {"long double", DTYPE_LDOUBLE, 12, print_ldouble, scan_ldouble, compare_ldouble},
    {"bool", DTYPE_BOOL, 4, print_bool, scan_bool, compare_bool},
    {"string", DTYPE_STRING, 4096, print_string, scan_string, compare_string},
    {nullptr, 0, 0, nullptr, nullptr, nullptr},
};

void dtype_extend(const dtype_entry *list) {
    for (const dtype_entry *row = list; row && row->name; ++row) {
        if (!row_valid(*row)) {
            XERROR("invalid extended typelist");
            return;
        }
    }
    extended_types = list;
}

const dtype_entry *dtype_find(std::uint32_t code) {
    if (const dtype_entry *row = find_in(extended_types, code))
        return row;
    return find_in(standard_types, code);
}

const char *dtype_name(std::uint32_t code) {
    const dtype_entry *row = require(code);
    return row ? row->name : "unknown";
}

std::uint32_t dtype_size(std::uint32_t code) {
    const dtype_entry *row = require(code);
    return row ? row->size : 0;
}

void dtype_print(std::uint32_t code, const void *value, char *text) {
    if (const dtype_entry *row = require(code))
        row->print(value, text);
}

int dtype_scan(std::uint32_t code, const char *text, void *value) {
    const dtype_entry *row = require(code);
    return row ? row->scan(text, value) : 0;
}

int dtype_compare(std::uint32_t code, const void *a, const void *b) {
    const dtype_entry *row = require(code);
    return row ? row->compare(a, b) : 0;
}

int dtype_scanin(std::uint32_t code, const char *text, void *destination, std::uint32_t size) {
    if (size != dtype_size(code)) {
        XERROR("xassert(%s) failed", "size == dtype_size(type)");
        return 0;
    }
    return dtype_scan(code, text, destination);
}
