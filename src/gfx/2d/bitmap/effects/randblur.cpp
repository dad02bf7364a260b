// "blur.random": the Gaussian blur of "blur.gaussian" with a kernel radius
// drawn at each run from [kernel_min, kernel_max] (whole pixels, both ends
// included, capped at 128).  "rand" draws a new range.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/filterkit.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "xmath/xrand.h"

#include <algorithm>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/randblur.c";
static constexpr const char *source_ident = "bitmapfx::randblur";

namespace {

std::int32_t kernel_min = 2;
std::int32_t kernel_max = 8;

// "rand": kernel_min from 1..4, kernel_max from kernel_min + 1 .. 12.  A
// radius of 1 is barely a blur; beyond 12 a 320x200 picture loses its shapes.
constexpr int rand_min_low = 1, rand_min_high = 4, rand_max_high = 12;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    const int low = std::clamp(std::min(kernel_min, kernel_max), 0, filterkit::MAX_RADIUS);
    const int high = std::clamp(std::max(kernel_min, kernel_max), 0, filterkit::MAX_RADIUS);
    if (high != std::max(kernel_min, kernel_max) || low != std::min(kernel_min, kernel_max))
        XWARNING("kernel range %d..%d out of range, using %d..%d", kernel_min, kernel_max, low,
                 high);
    const int radius = xrand_mm(low, high + 1);
    XVERBOSE("kernel size %d", radius);
    progress_guard report("blur.random", "gaussian blur with random kernel size");
    return fxkit::finish(driver, filterkit::gaussian_blur(source, radius, &report));
}

void *randomize(bitmapfx_driver *) {
    kernel_min = xrand_mm(rand_min_low, rand_min_high + 1);
    kernel_max = xrand_mm(kernel_min + 1, rand_max_high + 1);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("kernel_min", "smallest kernel radius drawn (0..128)", kernel_min),
    bitmapfx_param("kernel_max", "largest kernel radius drawn (0..128)", kernel_max),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(randomize), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_blur_random_driver = fxkit::driver(
    "blur.random", "./src/gfx/2d/bitmap/effects/randblur.c", "$path.presets$/blur-random.preset",
    "gaussian blur with random kernel size", fxkit::depths_rgb, parameters, procedures);
