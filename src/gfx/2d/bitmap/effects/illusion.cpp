// "illusion": a circled illusion.  The picture is laid over a copy of
// itself turned about the centre by one `divide`-th of a full turn, and the
// copy shows more the further a pixel lies from the centre: at the centre
// the picture is plain, towards the rim the two blend half and half, so the
// shapes of the picture come back turned round the middle like the pieces of
// a kaleidoscope.
//
// `scale` sets how fast the copy comes in: its weight is scale * d / 2 at
// normalised distance d (1 on the ellipse that fits the picture), at most
// one half.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/distort.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/illusion.c";
static constexpr const char *source_ident = "bitmapfx::illusion";

namespace {

std::int32_t divide = 8; // parts of a full turn the copy is turned by; negative turns back
double scale = 1.0;      // how fast the copy comes in with the distance

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    int parts = divide;
    if (parts == 0) {
        XWARNING("divide 0 is no part of a turn, using 1");
        parts = 1;
    }
    double rate = distort::finite_or(scale, 0.0);
    if (rate < 0.0 || rate != scale) {
        XWARNING("scale %f is out of range, using 0", scale);
        rate = 0.0;
    }
    const double turn = 2.0 * std::numbers::pi / parts;
    const double c = std::cos(turn), s = std::sin(turn);
    const int width = static_cast<int>(source->xsize), height = static_cast<int>(source->ysize);
    const double cx = distort::centre(width), cy = distort::centre(height);
    const double rx = width * 0.5, ry = height * 0.5;

    bitmap *target = bitmap_dup(source);
    const fxkit::view from(source), to(target);
    progress_guard progress("illusion", "circled illusion");
    for (int y = 0; y < to.height; ++y) {
        progress.add(y, to.height);
        std::uint8_t *out = to.row(y);
        for (int x = 0; x < to.width; ++x, out += to.channels) {
            const double px = x - cx, py = y - cy;
            const double u = px / rx, v = py / ry;
            const float weight =
                static_cast<float>(std::min(0.5, 0.5 * rate * std::sqrt(u * u + v * v)));
            if (weight <= 0.0f)
                continue;
            std::uint8_t copy[4];
            // Corners turned out of the picture read it mirrored: no seams.
            fxkit::sample(from, distort::mirrored(cx + (px * c - py * s), width),
                          distort::mirrored(cy + (px * s + py * c), height), fxkit::edge::clamp,
                          copy);
            for (int k = 0; k < to.channels; ++k)
                out[k] =
                    static_cast<std::uint8_t>(std::lround(out[k] + (copy[k] - out[k]) * weight));
        }
    }
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("divide", "the copy turns by a full turn divided by this", divide),
    bitmapfx_param("scale", "how fast the copy comes in towards the rim", scale),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_illusion_driver = fxkit::driver(
    "illusion", "./src/gfx/2d/bitmap/effects/illusion.c", "$path.presets$/illusion.preset",
    "circled illusion", fxkit::depths_rgb, parameters, procedures);
