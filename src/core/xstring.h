// Text helpers: comparison, two-way wildcard matching, booleans, number
// parsing and in-place editing.  Texts are plain zero-terminated strings.
#pragma once

#include <cstddef>

// 1 when equal, else 0 (byte-wise).  The `n` forms look at most n bytes; the
// `i` forms ignore ASCII case.
int xstring_compare(const char *a, const char *b);
int xstringn_compare(const char *a, const char *b, std::size_t n);
int xstringi_compare(const char *a, const char *b);
int xstringni_compare(const char *a, const char *b, std::size_t n);

// Wildcard match of `text` against `pattern` ("?" one character, "*" any run);
// 1 or 0, case-sensitive.
int pattern_match(const char *text, const char *pattern);
// Two-way match: true when either text, taken as a pattern, matches the other.
int xstring_match(const char *a, const char *b);

// "true" -> 1, "false" -> 0; anything else is a fatal error.
int xstring_getbool(const char *text);
// 1 -> "true", 0 -> "false"; anything else asserts and gives "false".
const char *xstring_putbool(int value);

// In-place case conversion; both return their argument.
char *xstrlwr(char *text);
char *xstrupr(char *text);

// Number parsers that never fail: `ok` (when given) is set to 1 and cleared on
// the first character that fits no form.  Forms: optional sign; "0x"/"0X"
// prefix or "h"/"H" suffix for hexadecimal; a quoted character 'c'; decimal.
int xatoi(const char *text, int *ok);
long xatol(const char *text, int *ok);
unsigned int xatoui(const char *text, int *ok);
unsigned long xatoul(const char *text, int *ok);
// Floating point in C notation ("1.5", "-2e3", "inf", "nan"); the whole text
// must be used, surrounding blanks allowed.
long double xatold(const char *text, int *ok);

// Replaces the first occurrence of `key` in `buffer` by `value`, in place.
// `limit` is the buffer's capacity including the terminator.  Returns the
// offset of the replacement, -1 when `key` does not occur (or is empty) and -2
// when the result would not fit; the buffer is unchanged on failure.
int xstring_sub(char *buffer, const char *key, const char *value, std::size_t limit);

// printf into a new block from the memory services (caller frees with xfree).
char *xprintf(const char *format, ...) __attribute__((format(printf, 1, 2)));

// First occurrence of `needle` in `haystack`, or null.
const char *xstrfind(const char *haystack, const char *needle);
const void *xmemfind(const void *haystack, std::size_t size, const void *needle,
                     std::size_t needle_size);

// Sorts an array of texts in place, byte-wise ascending.
void xstring_sort(const char **texts, std::size_t count);
