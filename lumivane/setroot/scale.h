// How the background setter lays a picture on a screen.
#pragma once

#include <cstdint>
#include <vector>

enum class scale_mode {
    fill,   // stretched to the screen's size, bilinear, pixel centres aligned
    center, // at its own size in the middle, cut or framed in black
    tile,   // repeated from the top-left corner
};

// The screen's pixels, three bytes each (the picture's own channel order),
// rows top to bottom.  `picture` holds width * height * 3 bytes.
std::vector<std::uint8_t> scale_picture(const std::uint8_t *picture, int width, int height,
                                        int screen_width, int screen_height, scale_mode mode);
