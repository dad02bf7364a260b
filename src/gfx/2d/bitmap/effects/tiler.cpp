// "tiler": the picture made into a seamless tile and laid 2 x 2 across a
// target of its own size.  The tile is the picture at half size mixed with
// three copies of itself moved (wrapping round) by half a tile across, down,
// and both.  Each copy's weight is the product of a ramp per axis that is 0
// where that copy breaks (the tile's edges for the unmoved axis, the middle
// line for a moved one), so no break shows and the tiles meet without a
// seam; the middle of each tile is the picture itself.  24 and 32 bpp.
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgeometry.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

// Weight of the unmoved picture along one axis of n pixels, in 1/256: 256
// over the middle half, falling smoothly to about 0 at the edges over the
// outer quarters, so the picture stays as it is in the middle of each tile.
std::vector<std::uint32_t> ramp(int n) {
    std::vector<std::uint32_t> weights(n);
    for (int i = 0; i < n; ++i) {
        const double edge = std::min(i + 0.5, n - i - 0.5) / n; // 0 .. 0.5
        const double t = std::min(1.0, edge * 4.0);
        weights[i] = static_cast<std::uint32_t>(std::lround(256.0 * t * t * (3.0 - 2.0 * t)));
    }
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
    const std::vector<std::uint32_t> wx = ramp(in.width), wy = ramp(in.height);
    for (int y = 0; y < in.height; ++y) {
        const int y2 = (y + in.height / 2) % in.height;
        for (int x = 0; x < in.width; ++x) {
            const int x2 = (x + in.width / 2) % in.width;
            const std::uint32_t ax = wx[x], bx = 256 - ax, ay = wy[y], by = 256 - ay;
            const std::uint32_t w[4] = {ax * ay, bx * ay, ax * by, bx * by};
            const std::uint8_t *p[4] = {in.at(x, y), in.at(x2, y), in.at(x, y2), in.at(x2, y2)};
            std::uint8_t *t = seam.at(x, y);
            for (int c = 0; c < in.channels; ++c)
                t[c] = static_cast<std::uint8_t>(
                    (p[0][c] * w[0] + p[1][c] * w[1] + p[2][c] * w[2] + p[3][c] * w[3] + 32768) >>
                    16);
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
