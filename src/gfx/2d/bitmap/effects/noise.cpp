// "noise.fractal": fractal colour noise laid over the picture.
//
// The noise is a sum of detail at every scale from clouds half the picture
// across down to single pixels, each octave's amplitude `fractal` halvings
// below the one above it: its amplitude spectrum falls off as a power
// (hyperbola) of the frequency, 1/f^fractal.  0 gives equal octaves (a coarse
// grain), 0.5 the default mottle, 1 smooth clouds; larger values smoother
// still.  One field shared by the three channels carries the light and shade,
// a weaker field per channel the colour, and the sum is added to the picture.
#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgen.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cmath>

namespace {

double fractal = 0.5;

// Byte units a root mean square of each field adds.
constexpr float light_amount = 44.0f, colour_amount = 20.0f;
// The colour varies at coarser scales than the light (the eye sees colour
// less sharply): its fields stop short of the finest octaves.
constexpr int colour_octaves = 6;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    bitmap *target = bitmap_dup(source);
    const fxkit::view image(target);
    progress_guard report("noise.fractal", "hyperbolic fractal noise");

    const float roughness = static_cast<float>(std::exp2(-fxgen::bounded(fractal, 0.0, 16.0)));
    const int cell = fxgen::power_of_two_below(std::min(image.width, image.height) / 2.0);
    const int w = image.width, h = image.height;
    const fxgen::fractal light(w, h, cell, roughness, 32);
    const fxgen::fractal colour[3] = {{w, h, cell, roughness, colour_octaves},
                                      {w, h, cell, roughness, colour_octaves},
                                      {w, h, cell, roughness, colour_octaves}};
    // One row of each field: the light, then the three colours.
    std::vector<float> rows(static_cast<std::size_t>(w) * 4);
    for (int y = 0; y < h; ++y) {
        report.add(y, h);
        light.row(y, rows.data());
        for (int c = 0; c < 3; ++c)
            colour[c].row(y, rows.data() + static_cast<std::size_t>(c + 1) * w);
        std::uint8_t *pixel = image.row(y);
        for (int x = 0; x < w; ++x, pixel += image.channels) {
            const float shade = light_amount * rows[x];
            for (int c = 0; c < 3; ++c)
                pixel[c] = fxkit::clamp_byte(static_cast<int>(
                    std::lround(pixel[c] + shade + colour_amount * rows[(c + 1) * w + x])));
        }
    }
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("fractal", "octave falloff exponent (0 = grain, 1 = clouds)", fractal),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_noise_fractal_driver = fxkit::driver(
    "noise.fractal", "./src/gfx/2d/bitmap/effects/noise.c", "$path.presets$/fractal-noise.preset",
    "hyperbolic fractal noise", fxkit::depths_rgb, parameters, procedures);
