// "tile.auto": the picture shrunk (or grown) to a tile of `xsize` x `ysize`
// pixels and laid across a target of the source's size, every other tile
// mirrored so that neighbours meet without a seam.  A size of 0 takes a
// quarter of the picture's side, so the default gives 4 x 4 tiles at any
// size; a tile larger than the picture is cut to it.  24 and 32 bpp.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgeometry.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cstring>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/autotile.c";
static constexpr const char *source_ident = "bitmapfx::autotile";

namespace {

std::int32_t xsize = 0;
std::int32_t ysize = 0;

std::uint32_t tile_side(std::int32_t wanted, std::uint32_t side) {
    if (wanted == 0)
        return std::max(1u, (side + 2) / 4);
    return std::min(static_cast<std::uint32_t>(wanted), side);
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    if (xsize < 0 || ysize < 0) {
        XERROR("tiles of %d x %d pixels: the size must not be negative (0: a quarter)", xsize,
               ysize);
        return nullptr;
    }
    progress_guard progress("tile.auto", "automatically tile image");
    const std::uint32_t tile_w = tile_side(xsize, source->xsize);
    const std::uint32_t tile_h = tile_side(ysize, source->ysize);
    fxgeom::owned tile(fxkit::resized_like(source, tile_w, tile_h));
    fxgeom::owned target(fxkit::resized_like(source, source->xsize, source->ysize));
    if (!tile || !target)
        return nullptr;
    fxgeom::resample(source, tile.get(), nullptr);

    const fxkit::view piece(tile.get()), out(target.get());
    // Target column x shows tile column `columns[x]`, mirrored in odd tiles.
    std::vector<int> columns(out.width);
    for (int x = 0; x < out.width; ++x) {
        const int inside = x % piece.width;
        columns[x] = (x / piece.width) % 2 ? piece.width - 1 - inside : inside;
    }
    for (int y = 0; y < out.height; ++y) {
        progress.add(y, out.height);
        const int inside = y % piece.height;
        const int row = (y / piece.height) % 2 ? piece.height - 1 - inside : inside;
        if (y >= piece.height) {
            // Row `row` of the first band shows the same tile row.
            std::memcpy(out.row(y), out.row(row), out.stride);
            continue;
        }
        std::uint8_t *to = out.row(y);
        for (int x = 0; x < out.width; ++x, to += out.channels)
            std::memcpy(to, piece.at(columns[x], row), out.channels);
    }
    return fxkit::finish(driver, target.release());
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("xsize", "tile width in pixels (0: a quarter of the picture)", xsize),
    bitmapfx_param("ysize", "tile height in pixels (0: a quarter of the picture)", ysize),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_tile_auto_driver = fxkit::driver(
    "tile.auto", "./src/gfx/2d/bitmap/effects/autotile.c", "$path.presets$/autotile.preset",
    "automatically tile image", fxkit::depths_rgb, parameters, procedures);
