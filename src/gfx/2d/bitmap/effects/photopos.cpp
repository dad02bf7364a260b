// "photo.positive": turns a colour negative (film of any orange base, such
// as "photo.negative" makes) back into a positive.  Each channel is read
// against its own film range: the brightest levels are the clear base
// (black in the scene), the darkest the densest exposure (white), taken at
// half a percent from either end of the channel's histogram so that a few
// specks do not set the range.  The base colour thus drops out whatever it
// was, and the positive spans the full range; `gamma` then bends it (above
// 1 brighter).  A channel without any range is unexposed film: black.
#include "core/message.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/filterkit.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/photopos.c";
static constexpr const char *source_ident = "bitmapfx::photopos";

namespace {

double positive_gamma = 1.0;

constexpr double min_gamma = 0.05, max_gamma = 20.0;

// The level below which `share` of the pixels lie.
int level_at(const std::uint64_t (&count)[256], std::uint64_t total, double share) {
    const auto wanted = static_cast<std::uint64_t>(share * static_cast<double>(total));
    std::uint64_t running = 0;
    for (int v = 0; v < 256; ++v) {
        running += count[v];
        if (running > wanted)
            return v;
    }
    return 255;
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    double used = positive_gamma;
    if (!(used >= min_gamma && used <= max_gamma)) {
        used = std::isnan(used) ? 1.0 : std::clamp(used, min_gamma, max_gamma);
        XWARNING("gamma %f out of range, using %f", positive_gamma, used);
    }
    const fxkit::view from(source);
    const std::size_t pixels = static_cast<std::size_t>(from.width) * from.height;
    std::uint64_t count[3][256] = {};
    const std::uint8_t *p = from.bits;
    for (std::size_t i = 0; i < pixels; ++i, p += from.channels) {
        ++count[0][p[0]];
        ++count[1][p[1]];
        ++count[2][p[2]];
    }
    filterkit::curves table;
    for (int c = 0; c < 3; ++c) {
        const int clear = level_at(count[c], pixels, 0.995);
        const int dense = level_at(count[c], pixels, 0.005);
        for (int v = 0; v < 256; ++v) {
            const double exposure =
                clear > dense
                    ? std::clamp(static_cast<double>(clear - v) / (clear - dense), 0.0, 1.0)
                    : 0.0;
            table.level[c][v] = fxkit::clamp_byte(255.0 * std::pow(exposure, 1.0 / used));
        }
    }
    return fxkit::finish(driver, filterkit::apply_curves(source, table));
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("gamma", "gamma of the positive (1 = linear, 0.05..20)", positive_gamma),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_photo_positive_driver =
    fxkit::driver("photo.positive", "./src/gfx/2d/bitmap/effects/photopos.c",
                  "$path.presets$/photo-positive.preset", "create photo positive from negative",
                  fxkit::depths_rgb, parameters, procedures);
