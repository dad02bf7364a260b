// "tiler": the picture made into a seamless tile and laid 2 x 2 across a
// target of its own size.  The tile is the picture at half size mixed with
// itself moved by half a tile (wrapping round): in the middle the picture
// shows, towards the edges the moved copy takes over, and the moved copy's
// edges are neighbours inside the picture, so the tiles meet without a seam.
// 24 and 32 bpp.
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgeometry.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <cmath>
#include <cstring>
#include <vector>

namespace {

// Weight of the picture itself along one axis of n pixels, in 1/256: a tent
// from about 0 at the edges to 256 in the middle.
std::vector<std::uint32_t> tent(int n) {
    std::vector<std::uint32_t> weights(n);
    for (int i = 0; i < n; ++i)
        weights[i] = static_cast<std::uint32_t>(
            std::lround(256.0 * (1.0 - std::fabs(2.0 * (i + 0.5) / n - 1.0))));
    return weights;
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    progress_guard progress("tiler", "auto tiling of image");
    fxgeom::owned half(
        fxkit::resized_like(source, (source->xsize + 1) / 2, (source->ysize + 1) / 2));
    fxgeom::owned tile(fxkit::resized_like(source, half ? half->xsize : 1, half ? half->ysize : 1));
    fxgeom::owned target(fxkit::resized_like(source, source->xsize, source->ysize));
    if (!half || !tile || !target)
        return nullptr;
    fxgeom::resample(source, half.get(), nullptr);

    const fxkit::view in(half.get()), seam(tile.get()), out(target.get());
    const std::vector<std::uint32_t> wx = tent(in.width), wy = tent(in.height);
    for (int y = 0; y < in.height; ++y) {
        const int moved_y = (y + in.height / 2) % in.height;
        for (int x = 0; x < in.width; ++x) {
            const std::uint32_t a = wx[x] * wy[y], b = 65536 - a;
            const std::uint8_t *p = in.at(x, y);
            const std::uint8_t *q = in.at((x + in.width / 2) % in.width, moved_y);
            std::uint8_t *t = seam.at(x, y);
            for (int c = 0; c < in.channels; ++c)
                t[c] = static_cast<std::uint8_t>((p[c] * a + q[c] * b + 32768) >> 16);
        }
    }
    for (int y = 0; y < out.height; ++y) {
        progress.add(y, out.height);
        const std::uint8_t *from = seam.row(y % seam.height);
        std::uint8_t *to = out.row(y);
        for (std::size_t done = 0; done < out.stride; done += seam.stride)
            std::memcpy(to + done, from, std::min(seam.stride, out.stride - done));
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

bitmapfx_driver bitmapfx_tiler_driver =
    fxkit::driver("tiler", "./src/gfx/2d/bitmap/effects/tiler.c", "$path.presets$/tiler.preset",
                  "auto tiling of image", fxkit::depths_rgb, parameters, procedures);
