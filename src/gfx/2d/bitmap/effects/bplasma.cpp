// "plasma.block": plasma clouds on a coarse grid of square blocks, each block
// one colour with a lit upper-left and a shaded lower-right rim, so the grid
// reads as raised tiles.  The clouds come from fractal fields at the grid's
// resolution (one value a block) and are blended with the source exactly as
// "plasma.standard" blends its clouds.
#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgen.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cmath>

namespace {

rgbscalar sblend = {0.25, 0.25, 0.25};
rgbscalar tblend = {0.75, 0.75, 0.75};

// About this many blocks fit the picture's shorter side.
constexpr double blocks_across = 20.0;

// The block's colour at (i, j) within a block of `side` pixels: the rims lit
// and shaded once the blocks are large enough to show them.
int shade(int value, int i, int j, int side) {
    if (side < 4)
        return value;
    if (i == 0 || j == 0)
        return value + (255 - value) / 4;
    if (i == side - 1 || j == side - 1)
        return value * 5 / 8;
    return value;
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    bitmap *target = bitmap_dup(source);
    const fxkit::view in(source), out(target);
    progress_guard report("plasma.block", "render block plasma grid");

    const int side =
        std::max(2, static_cast<int>(std::lround(std::min(out.width, out.height) / blocks_across)));
    const int columns = (out.width + side - 1) / side, rows = (out.height + side - 1) / side;
    const int cell = fxgen::power_of_two_below(std::min(columns, rows) / 2.0);
    std::vector<std::uint8_t> blocks[3];
    std::vector<float> line(columns);
    for (auto &channel : blocks) {
        const fxgen::fractal field(columns, rows, cell, 0.6f, 32);
        channel.resize(static_cast<std::size_t>(columns) * rows);
        for (int j = 0; j < rows; ++j) {
            field.row(j, line.data());
            for (int i = 0; i < columns; ++i)
                channel[static_cast<std::size_t>(j) * columns + i] = static_cast<std::uint8_t>(
                    std::clamp(static_cast<int>(std::lround(128.0f + 80.0f * line[i])), 1, 255));
        }
    }

    const double weights[3][2] = {{sblend.r, tblend.r}, {sblend.g, tblend.g}, {sblend.b, tblend.b}};
    for (int y = 0; y < out.height; ++y) {
        report.add(y, out.height);
        const std::uint8_t *from = in.row(y);
        std::uint8_t *to = out.row(y);
        const std::size_t block_row = static_cast<std::size_t>(y / side) * columns;
        for (int x = 0; x < out.width; ++x, from += in.channels, to += out.channels) {
            const std::size_t block = block_row + x / side;
            for (int c = 0; c < 3; ++c) {
                const int cloud = shade(blocks[c][block], x % side, y % side, side);
                const double mixed = std::round(weights[c][0] * from[c] + weights[c][1] * cloud);
                to[c] = static_cast<std::uint8_t>(fxgen::bounded(mixed, 1.0, 255.0));
            }
        }
    }
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("sblend", "source blending color percentage", sblend),
    bitmapfx_param("tblend", "target blending color percentage", tblend),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_plasma_block_driver = fxkit::driver(
    "plasma.block", "./src/gfx/2d/bitmap/effects/bplasma.c", "$path.presets$/block-plasma.preset",
    "render block plasma grid", fxkit::depths_rgb, parameters, procedures);
