// "dim-or-flash": a negative percentage moves every colour level that far
// toward black (-100 gives black), a positive one that far toward white (100
// gives white), so a flash never clips the highlights.  Alpha is kept.
#include "core/message.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/filterkit.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cmath>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/dim.c";
static constexpr const char *source_ident = "bitmapfx::dim";

namespace {

// Dimmed by a third: a background that stays readable behind the objects.
double percentage = -35.0;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    double used = percentage;
    if (!(used >= -100.0 && used <= 100.0)) {
        used = std::isnan(used) ? 0.0 : std::clamp(used, -100.0, 100.0);
        XWARNING("percentage %f out of range, using %f", percentage, used);
    }
    std::uint8_t table[256];
    filterkit::dim_or_flash_curve(used, table);
    return fxkit::finish(driver, filterkit::apply_curve(source, table));
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("percentage", "-100 (black) .. 0 (unchanged) .. 100 (white)", percentage),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_dim_or_flash_driver = fxkit::driver(
    "dim-or-flash", "./src/gfx/2d/bitmap/effects/dim.c", "$path.presets$/dim-or-flash.preset",
    "dim or flash an image", fxkit::depths_rgb, parameters, procedures);
