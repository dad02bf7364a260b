// "checker": a checker board of `size`-pixel squares laid over the picture.
//
// The board starts with a "black" square at the top-left corner and squares
// alternate along rows and columns.  `merge` says how much of the board shows
// (0 = none, 1 = only the board) and `mode` how a square's colour meets the
// picture underneath:
//   0  mix       the square's colour itself;
//   1  overlay   light squares lift the picture, dark ones deepen it, and
//                the picture's own texture stays;
//   2  screen    the picture lit by the colour.
// Out-of-range modes take the nearest one, sizes below 1 count as 1 and the
// merge is held to 0..1.
#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgen.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cmath>

namespace {

// Defaults: 16-pixel squares (20 x 12.5 of them at 320 x 200) of a deep blue
// and a warm white, half over the picture.
std::int32_t size = 16;
double merge = 0.5;
std::int32_t mode = 0;
rgbpack black = {16, 20, 48};
rgbpack white = {240, 232, 208};

// "rand" ranges: squares of 6 to 40 pixels, merge 0.3 to 0.8, any mode, a
// dark colour (every channel 0..80) and a light one (170..255) so the two
// squares always differ clearly.
void *run_rand(bitmapfx_driver *) {
    size = fxgen::draw_int(6, 40);
    merge = fxgen::draw(0.3, 0.8);
    mode = fxgen::draw_int(0, 2);
    black = {static_cast<std::uint8_t>(fxgen::draw_int(0, 80)),
             static_cast<std::uint8_t>(fxgen::draw_int(0, 80)),
             static_cast<std::uint8_t>(fxgen::draw_int(0, 80))};
    white = {static_cast<std::uint8_t>(fxgen::draw_int(170, 255)),
             static_cast<std::uint8_t>(fxgen::draw_int(170, 255)),
             static_cast<std::uint8_t>(fxgen::draw_int(170, 255))};
    return nullptr;
}

int combine(int mode, int picture, int square) {
    switch (mode) {
    case 0:
        return square;
    case 1:
        return picture < 128 ? 2 * picture * square / 255
                             : 255 - 2 * (255 - picture) * (255 - square) / 255;
    default:
        return 255 - (255 - picture) * (255 - square) / 255;
    }
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    bitmap *target = bitmap_dup(source);
    const fxkit::view image(target);
    progress_guard report("checker", "generate checker board pattern");

    const std::int64_t side = std::max(size, 1);
    const int how = std::clamp(mode, 0, 2);
    const double amount = fxgen::bounded(merge, 0.0, 1.0);
    const int colours[2][3] = {{black.r, black.g, black.b}, {white.r, white.g, white.b}};
    for (int y = 0; y < image.height; ++y) {
        report.add(y, image.height);
        std::uint8_t *pixel = image.row(y);
        const std::int64_t row_parity = y / side;
        for (int x = 0; x < image.width; ++x, pixel += image.channels) {
            const int *square = colours[(row_parity + x / side) & 1];
            for (int c = 0; c < 3; ++c) {
                const int board = combine(how, pixel[c], square[c]);
                pixel[c] = fxkit::clamp_byte(pixel[c] + amount * (board - pixel[c]));
            }
        }
    }
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("size", "side of a square in pixels", size),
    bitmapfx_param("merge", "how much of the board shows (0..1)", merge),
    bitmapfx_param("mode", "0 = mix, 1 = overlay, 2 = screen", mode),
    bitmapfx_param("black", "color of the first squares", black),
    bitmapfx_param("white", "color of the other squares", white),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_checker_driver = fxkit::driver(
    "checker", "./src/gfx/2d/bitmap/effects/checker.c", "$path.presets$/checker.preset",
    "generate checker board pattern", fxkit::depths_rgb, parameters, procedures);
