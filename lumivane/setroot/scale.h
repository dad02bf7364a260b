// How the background setter lays a picture on a screen.
#pragma once

#include <cstdint>
#include <functional>

enum class scale_mode {
    fill,   // stretched to the screen's size, bilinear, pixel centres aligned
    center, // at its own size in the middle, cut or framed in black
    tile,   // repeated from the top-left corner
};

// Receives screen row `y` (top first) as `width` pixels of three bytes each,
// in the picture's own channel order; the row is valid during the call.
using scaled_row = std::function<void(int y, const std::uint8_t *row)>;

// Lays `picture` (width * height * 3 bytes, rows top to bottom) on a screen
// of the given size, one row at a time, so that no screen-sized copy is
// needed besides the caller's.
void scale_picture(const std::uint8_t *picture, int width, int height, int screen_width,
                   int screen_height, scale_mode mode, const scaled_row &emit);
