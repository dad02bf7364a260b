#include "template.h"

#include <cstdio>
#include <cstring>

namespace {

// Widths beyond four digits would have the formatter pad gigabytes.
bool skip_number(const char *&c) {
    int digits = 0;
    while (*c >= '0' && *c <= '9') {
        ++c;
        ++digits;
    }
    return digits <= 4;
}

} // namespace

const char *template_check(const char *text) {
    int conversions = 0;
    for (const char *c = text; *c; ++c) {
        if (*c != '%')
            continue;
        ++c;
        if (*c == '%')
            continue;
        while (*c && std::strchr("-+ #0", *c))
            ++c;
        if (!skip_number(c))
            return "a width or precision has more than four digits";
        if (*c == '.') {
            ++c;
            if (!skip_number(c))
                return "a width or precision has more than four digits";
        }
        if (!*c)
            return "it ends inside a conversion";
        // The number is an int: anything else would read what was never passed.
        if (!std::strchr("diouxXc", *c))
            return "only one integer conversion such as %04d is allowed";
        if (++conversions > 1)
            return "it has more than one conversion";
    }
    return nullptr;
}

void template_format(char *buffer, std::size_t size, const char *text, std::int32_t number) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(buffer, size, text, number);
#pragma GCC diagnostic pop
}
