// Cookies: short sayings kept as numbered text files in the folder
// "$path.cookies$/$default.cookie$", with an index file whose content is
// "total cookies = N" and the cookies "00000000.asc" to N - 1.
#pragma once

#include <cstdint>

// The text of cookie `index`, or of a random one when index is negative (an
// index past the last cookie warns and picks a random one too).  Returns one
// static buffer, overwritten by every call and always zero-terminated; null
// when the index or the cookie file cannot be read (with a warning).
char *cookie_get(std::int32_t index);
