// "gamma-correct": every colour level v becomes 255 * (v / 255)^(1 / amount).
// An amount above 1 lifts the middle tones, below 1 deepens them; 1 leaves
// the picture as it is.  Black and white stay where they are.
#include "core/message.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/filterkit.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cmath>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/gamma.c";
static constexpr const char *source_ident = "bitmapfx::gamma";

namespace {

// 1.6 lifts a dark raytraced background visibly without washing it out.
double amount = 1.6;

// Beyond these the curve is a step: everything but black turns white (or
// everything but white turns black).
constexpr double min_amount = 0.05, max_amount = 20.0;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    double used = amount;
    if (!(used >= min_amount && used <= max_amount)) {
        used = std::isnan(used) ? 1.0 : std::clamp(used, min_amount, max_amount);
        XWARNING("gamma amount %f out of range, using %f", amount, used);
    }
    std::uint8_t table[256];
    for (int v = 0; v < 256; ++v)
        table[v] = fxkit::clamp_byte(255.0 * std::pow(v / 255.0, 1.0 / used));
    return fxkit::finish(driver, filterkit::apply_curve(source, table));
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("amount", "gamma (1 = unchanged, above 1 brighter, 0.05..20)", amount),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_gamma_correct_driver = fxkit::driver(
    "gamma-correct", "./src/gfx/2d/bitmap/effects/gamma.c", "$path.presets$/gamma-correct.preset",
    "adjust image's gamma", fxkit::depths_rgb, parameters, procedures);
