// "tile.rectangle": the picture cut into square tiles (about six to the
// shorter side) that are each pushed a little off their place, as if laid
// by hand on a darkened copy of the picture; every tile has a lit top and
// left edge and casts a short shadow down and to the right over what lies
// below it.  Tiles are laid row by row,
// so a later tile covers an earlier one's shadow.  The pushes come from the
// program's random numbers, drawn before any pixel is touched.  24 and 32 bpp.
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgeometry.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "xmath/xrand.h"

#include <algorithm>
#include <vector>

namespace {

// Brightness of the uncovered picture, under a shadow and along a tile's
// lit top and left edge, in 1/256.
constexpr std::uint32_t ground_level = 96;
constexpr std::uint32_t shadow_level = 128;
constexpr std::uint32_t edge_level = 320;

// Scales the colour bytes (not the fourth byte of 32 bpp) of the rectangle,
// clipped to the picture, by level / 256 (at most 255).
void shade(const fxkit::view &image, std::int64_t x0, std::int64_t y0, std::int64_t width,
           std::int64_t height, std::uint32_t level) {
    const std::int64_t x1 = std::min<std::int64_t>(image.width, x0 + width);
    const std::int64_t y1 = std::min<std::int64_t>(image.height, y0 + height);
    x0 = std::max<std::int64_t>(0, x0);
    y0 = std::max<std::int64_t>(0, y0);
    for (std::int64_t y = y0; y < y1; ++y) {
        std::uint8_t *p = image.at(static_cast<int>(x0), static_cast<int>(y));
        for (std::int64_t x = x0; x < x1; ++x, p += image.channels)
            for (int c = 0; c < 3; ++c)
                p[c] = static_cast<std::uint8_t>(std::min(255u, (p[c] * level + 128) >> 8));
    }
}

struct push {
    int dx, dy;
};

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    const int width = static_cast<int>(source->xsize), height = static_cast<int>(source->ysize);
    const int side = std::max(1, std::min(width, height) / 6);
    const int columns = (width + side - 1) / side, rows = (height + side - 1) / side;
    const int reach = side / 5, shadow = std::max(1, side / 12);
    std::vector<push> pushes(static_cast<std::size_t>(columns) * rows);
    for (push &p : pushes) {
        p.dx = xrand_mm(-reach, reach + 1);
        p.dy = xrand_mm(-reach, reach + 1);
    }

    progress_guard progress("tile.rectangle", "tile image into multiple rectangles");
    fxgeom::owned target(bitmap_dup(source));
    if (!target)
        return nullptr;
    const fxkit::view out(target.get());
    shade(out, 0, 0, width, height, ground_level);
    for (int row = 0; row < rows; ++row) {
        progress.add(row, rows);
        for (int column = 0; column < columns; ++column) {
            const push &p = pushes[static_cast<std::size_t>(row) * columns + column];
            const int x = column * side, y = row * side;
            const int w = std::min(side, width - x), h = std::min(side, height - y);
            shade(out, x + p.dx + shadow, y + p.dy + shadow, w, h, shadow_level);
            fxgeom::copy_block(source, x, y, target.get(), x + p.dx, y + p.dy, w, h);
            shade(out, x + p.dx, y + p.dy, w, 1, edge_level);
            shade(out, x + p.dx, y + p.dy + 1, 1, h - 1, edge_level);
        }
    }
    return fxkit::finish(driver, target.release());
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_tile_rectangle_driver = fxkit::driver(
    "tile.rectangle", "./src/gfx/2d/bitmap/effects/recttile.c", "$path.presets$/recttile.preset",
    "tile image into multiple rectangles", fxkit::depths_rgb, parameters, procedures);
