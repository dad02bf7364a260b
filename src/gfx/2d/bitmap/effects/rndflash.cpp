// "random-flash": at each run a percentage is drawn from
// [min_percentage, max_percentage] and the picture dimmed (negative) or
// flashed (positive) by it with the rule of "dim-or-flash".
#include "core/message.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/filterkit.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "xmath/xrand.h"

#include <algorithm>
#include <cmath>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/rndflash.c";
static constexpr const char *source_ident = "bitmapfx::rndflash";

namespace {

// Beyond +-60 most draws would wash the picture out or black it out.
double min_percentage = -50.0;
double max_percentage = 40.0;

double bounded(double value) {
    return std::isnan(value) ? 0.0 : std::clamp(value, -100.0, 100.0);
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    const double low = bounded(min_percentage), high = bounded(max_percentage);
    if (low != min_percentage || high != max_percentage)
        XWARNING("percentage range %f..%f out of range, using %f..%f", min_percentage,
                 max_percentage, low, high);
    // A reversed range draws from the same interval.
    const double drawn = xrand_fmm(std::min(low, high), std::max(low, high));
    XVERBOSE("flash percentage %f", drawn);
    std::uint8_t table[256];
    filterkit::dim_or_flash_curve(drawn, table);
    return fxkit::finish(driver, filterkit::apply_curve(source, table));
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("min_percentage", "lowest percentage drawn (-100 black .. 100 white)",
                   min_percentage),
    bitmapfx_param("max_percentage", "highest percentage drawn (-100 black .. 100 white)",
                   max_percentage),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_random_flash_driver = fxkit::driver(
    "random-flash", "./src/gfx/2d/bitmap/effects/rndflash.c", "$path.presets$/random-flash.preset",
    "randomly dims or flashes an image", fxkit::depths_rgb, parameters, procedures);
