// "equalize": histogram equalisation.  One histogram counts the red, green
// and blue levels together and one curve, the histogram's normalised running
// sum, maps all three channels, so levels spread evenly over 0..255 while
// hues stay as they were (separate curves per channel would shift them).
// `gamma` bends the curve afterwards: above 1 brighter, below 1 darker.  A
// picture of one single level has nothing to spread and is copied.
#include "core/message.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/filterkit.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/equalize.c";
static constexpr const char *source_ident = "bitmapfx::equalize";

namespace {

double curve_gamma = 1.0;

constexpr double min_gamma = 0.05, max_gamma = 20.0;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    double used = curve_gamma;
    if (!(used >= min_gamma && used <= max_gamma)) {
        used = std::isnan(used) ? 1.0 : std::clamp(used, min_gamma, max_gamma);
        XWARNING("gamma %f out of range, using %f", curve_gamma, used);
    }
    const fxkit::view from(source);
    const std::size_t pixels = static_cast<std::size_t>(from.width) * from.height;
    std::uint64_t count[256] = {};
    const std::uint8_t *p = from.bits;
    for (std::size_t i = 0; i < pixels; ++i, p += from.channels) {
        ++count[p[0]];
        ++count[p[1]];
        ++count[p[2]];
    }
    // The darkest level present maps to 0, the brightest to 255.
    const std::uint64_t total = 3 * static_cast<std::uint64_t>(pixels);
    int darkest = 0;
    while (darkest < 255 && !count[darkest])
        ++darkest;
    const std::uint64_t below = count[darkest];
    std::uint8_t table[256];
    std::uint64_t running = 0;
    for (int v = 0; v < 256; ++v) {
        running += count[v];
        if (total <= below) {
            table[v] = static_cast<std::uint8_t>(v);
            continue;
        }
        const double share =
            running <= below ? 0.0 : static_cast<double>(running - below) / (total - below);
        table[v] = fxkit::clamp_byte(255.0 * std::pow(share, 1.0 / used));
    }
    return fxkit::finish(driver, filterkit::apply_curve(source, table));
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("gamma", "gamma of the equalised curve (1 = plain, 0.05..20)", curve_gamma),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_equalize_driver = fxkit::driver(
    "equalize", "./src/gfx/2d/bitmap/effects/equalize.c", "$path.presets$/equalize.preset",
    "equalize image", fxkit::depths_rgb, parameters, procedures);
