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

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    bitmap *target = bitmap_dup(source);
    const fxkit::view image(target);
    progress_guard report("noise.fractal", "hyperbolic fractal noise");

    const float roughness = static_cast<float>(std::exp2(-fxgen::bounded(fractal, 0.0, 16.0)));
    const int cell = fxgen::power_of_two_below(std::min(image.width, image.height) / 2.0);
    const std::vector<float> light = fxgen::fractal(image.width, image.height, cell, roughness, 0);
    std::vector<float> colour[3];
    for (auto &field : colour)
        field = fxgen::fractal(image.width, image.height, cell, roughness, 0);

    for (int y = 0; y < image.height; ++y) {
        report.add(y, image.height);
        std::uint8_t *pixel = image.row(y);
        const std::size_t row = static_cast<std::size_t>(y) * image.width;
        for (int x = 0; x < image.width; ++x, pixel += image.channels) {
            const float shade = light_amount * light[row + x];
            for (int c = 0; c < 3; ++c)
                pixel[c] = fxkit::clamp_byte(static_cast<int>(
                    std::lround(pixel[c] + shade + colour_amount * colour[c][row + x])));
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
