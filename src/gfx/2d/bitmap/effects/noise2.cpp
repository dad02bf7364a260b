// "noise.random": film grain over the picture, fresh at every pixel.
//
// One draw of the generator per pixel gives a grain of light (up to 32 levels
// either way, the same in the three channels) and a finer grain of colour
// (up to 12 levels per channel).
#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "xmath/xrand.h"

namespace {

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    bitmap *target = bitmap_dup(source);
    const fxkit::view image(target);
    progress_guard report("noise.random", "random noise");
    for (int y = 0; y < image.height; ++y) {
        report.add(y, image.height);
        std::uint8_t *pixel = image.row(y);
        for (int x = 0; x < image.width; ++x, pixel += image.channels) {
            // 31 random bits: 7 for the light, 8 for each channel's colour.
            const std::uint32_t bits = static_cast<std::uint32_t>(xrand());
            const int light = static_cast<int>(bits & 0x7f) / 2 - 32;
            for (int c = 0; c < 3; ++c) {
                const int colour = static_cast<int>((bits >> (7 + 8 * c)) & 0xff) * 25 / 256 - 12;
                pixel[c] = fxkit::clamp_byte(pixel[c] + light + colour);
            }
        }
    }
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_noise_random_driver = fxkit::driver(
    "noise.random", "./src/gfx/2d/bitmap/effects/noise2.c", "$path.presets$/random-noise.preset",
    "random noise", fxkit::depths_rgb, parameters, procedures);
