#include "core/xstring.h"

#include "core/memio/memio.h"
#include "core/message.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

static constexpr const char *source_file = "./src/core/xstring.c";
static constexpr const char *source_ident = "string";

int xstring_compare(const char *a, const char *b) {
    return std::strcmp(a, b) == 0;
}

int xstringn_compare(const char *a, const char *b, std::size_t n) {
    return std::strncmp(a, b, n) == 0;
}

static int lower(char c) {
    return std::tolower(static_cast<unsigned char>(c));
}

int xstringi_compare(const char *a, const char *b) {
    return xstringni_compare(a, b, SIZE_MAX);
}

int xstringni_compare(const char *a, const char *b, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) {
        if (lower(a[i]) != lower(b[i]))
            return 0;
        if (!a[i])
            return 1;
    }
    return 1;
}

// Wildcard matching.  The rule is recursive: "?" takes one character, any
// other character must equal the text's, an empty pattern matches only an
// empty text, a "*" that ends the pattern takes the rest, and a "*" followed
// by a character c takes any run of the text that is followed by c itself
// (any character when c is "?"), after which the pattern goes on behind c.
// So the character after a "*" is never a wildcard of its own: "**" asks for
// a literal "*" in the text.  A "*?" may also take the whole rest of the text
// with its "?" standing on the text's end, so that "a*?" matches "a".
//
// Read that way a pattern is a plain glob whose stars are each followed by a
// one-character token, and a plain glob needs only one backtracking point,
// the last star seen: a later star can absorb anything an earlier one could.
// This runs in text-times-pattern time at worst instead of the recursion's
// exponential time on patterns like "*a*a*a*b".
int pattern_match(const char *text, const char *pattern) {
    const char *star_pattern = nullptr; // the last "*" met
    const char *star_text = nullptr;    // where the run it takes ends so far
    while (*text) {
        if (*pattern == '*') {
            if (!pattern[1])
                return 1;
            star_pattern = pattern;
            star_text = text;
            if (pattern[1] == '?' || pattern[1] == *text) {
                pattern += 2;
                ++text;
                continue;
            }
        } else if (*pattern && (*pattern == '?' || *pattern == *text)) {
            ++pattern;
            ++text;
            continue;
        }
        if (!star_pattern)
            return 0;
        // The last star takes one more character and tries again.
        pattern = star_pattern;
        text = ++star_text;
    }
    // At the text's end: each "*?" stands on the end, a final "*" takes nothing.
    while (pattern[0] == '*' && pattern[1] == '?')
        pattern += 2;
    return !*pattern || (pattern[0] == '*' && !pattern[1]);
}

int xstring_match(const char *a, const char *b) {
    return pattern_match(a, b) || pattern_match(b, a);
}

int xstring_getbool(const char *text) {
    if (text && xstring_compare(text, "true"))
        return 1;
    if (text && xstring_compare(text, "false"))
        return 0;
    XERROR("invalid boolean string '%s'", text ? text : "null");
    return 0;
}

const char *xstring_putbool(int value) {
    if (value == 1)
        return "true";
    if (value != 0)
        XERROR("xassert(%s) failed", "val == false");
    return "false";
}

char *xstrlwr(char *text) {
    for (char *c = text; *c; ++c)
        *c = static_cast<char>(lower(*c));
    return text;
}

char *xstrupr(char *text) {
    for (char *c = text; *c; ++c)
        *c = static_cast<char>(std::toupper(static_cast<unsigned char>(*c)));
    return text;
}

namespace {

struct parsed_number {
    bool negative = false;
    std::uint64_t magnitude = 0;
    bool ok = true;
    bool overflow = false;
};

int hex_digit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Accumulates digits until `end` (or the terminator); a character that is no
// digit of the base clears ok and ends the number.
void accumulate(parsed_number &number, const char *digits, const char *end, unsigned base) {
    if (digits == end || !*digits)
        number.ok = false;
    for (const char *c = digits; c != end && *c; ++c) {
        int digit = hex_digit(*c);
        if (digit < 0 || static_cast<unsigned>(digit) >= base) {
            number.ok = false;
            return;
        }
        if (number.magnitude > (UINT64_MAX - static_cast<unsigned>(digit)) / base)
            number.overflow = true;
        else
            number.magnitude = number.magnitude * base + static_cast<unsigned>(digit);
    }
}

// Leading blanks are skipped, so that an option argument taken from a
// response-file line such as "-x 640" still reads as a number.
parsed_number parse_integer(const char *text) {
    parsed_number number;
    if (!text) {
        number.ok = false;
        return number;
    }
    while (*text == ' ' || *text == '\t')
        ++text;
    if (*text == '+' || *text == '-')
        number.negative = *text++ == '-';
    std::size_t length = std::strlen(text);
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        accumulate(number, text + 2, nullptr, 16);
    } else if (text[0] == '\'') {
        number.magnitude = static_cast<unsigned char>(text[1]);
        number.ok = length == 3 && text[2] == '\'';
    } else if (length > 1 && (text[length - 1] == 'h' || text[length - 1] == 'H')) {
        accumulate(number, text, text + length - 1, 16);
    } else {
        accumulate(number, text, nullptr, 10);
    }
    return number;
}

void report(int *ok, bool value) {
    if (ok)
        *ok = value ? 1 : 0;
}

// Signed results: out of range clears ok and clamps.
template <class T> T signed_result(const char *text, int *ok, T low, T high) {
    parsed_number n = parse_integer(text);
    bool in_range = !n.overflow && (n.negative ? n.magnitude <= static_cast<std::uint64_t>(high) + 1
                                               : n.magnitude <= static_cast<std::uint64_t>(high));
    report(ok, n.ok && in_range);
    if (!in_range)
        return n.negative ? low : high;
    if (n.negative)
        return n.magnitude == static_cast<std::uint64_t>(high) + 1
                   ? low
                   : static_cast<T>(-static_cast<T>(n.magnitude));
    return static_cast<T>(n.magnitude);
}

// Unsigned results: a minus sign wraps around as in C ("-1" is the largest value).
template <class T> T unsigned_result(const char *text, int *ok, T high) {
    parsed_number n = parse_integer(text);
    bool in_range = !n.overflow && n.magnitude <= high;
    report(ok, n.ok && in_range);
    if (!in_range)
        return high;
    T value = static_cast<T>(n.magnitude);
    return n.negative ? static_cast<T>(0 - value) : value;
}

} // namespace

int xatoi(const char *text, int *ok) {
    return signed_result<int>(text, ok, INT_MIN, INT_MAX);
}
long xatol(const char *text, int *ok) {
    return signed_result<long>(text, ok, LONG_MIN, LONG_MAX);
}
unsigned int xatoui(const char *text, int *ok) {
    return unsigned_result<unsigned int>(text, ok, UINT_MAX);
}
unsigned long xatoul(const char *text, int *ok) {
    return unsigned_result<unsigned long>(text, ok, ULONG_MAX);
}

long double xatold(const char *text, int *ok) {
    report(ok, false);
    if (!text)
        return 0.0L;
    char *end = nullptr;
    long double value = std::strtold(text, &end);
    if (end == text)
        return 0.0L;
    while (*end == ' ' || *end == '\t')
        ++end;
    report(ok, *end == '\0');
    return value;
}

int xstring_sub(char *buffer, const char *key, const char *value, std::size_t limit) {
    if (!*key)
        return -1;
    char *found = std::strstr(buffer, key);
    if (!found)
        return -1;
    std::size_t key_length = std::strlen(key);
    std::size_t value_length = std::strlen(value);
    std::size_t tail_length = std::strlen(found + key_length);
    std::size_t offset = static_cast<std::size_t>(found - buffer);
    if (offset + value_length + tail_length + 1 > limit)
        return -2;
    std::memmove(found + value_length, found + key_length, tail_length + 1);
    std::memcpy(found, value, value_length);
    return static_cast<int>(offset);
}

char *xprintf(const char *format, ...) {
    std::va_list args;
    va_start(args, format);
    std::va_list copy;
    va_copy(copy, args);
    int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (length < 0)
        length = 0;
    auto *text = static_cast<char *>(xmalloc(static_cast<std::size_t>(length) + 1));
    std::vsnprintf(text, static_cast<std::size_t>(length) + 1, format, args);
    va_end(args);
    return text;
}

const char *xstrfind(const char *haystack, const char *needle) {
    return std::strstr(haystack, needle);
}

const void *xmemfind(const void *haystack, std::size_t size, const void *needle,
                     std::size_t needle_size) {
    return memmem(haystack, size, needle, needle_size);
}

void xstring_sort(const char **texts, std::size_t count) {
    std::sort(texts, texts + count,
              [](const char *a, const char *b) { return std::strcmp(a, b) < 0; });
}
