// File name templates of saved pictures: a printf format that receives the
// picture number as its only argument ("shot%04d.tga").
#pragma once

#include <cstddef>
#include <cstdint>

// Null when `text` is a template the picture number can safely fill: "%%"
// anywhere and at most one integer conversion (flags, width and precision
// allowed, no "*" and no length modifier).  Otherwise a text saying why not
// (static storage).
const char *template_check(const char *text);

// The template filled with `number`, cut to `size` bytes.
void template_format(char *buffer, std::size_t size, const char *text, std::int32_t number);
