// "invert": every colour level v becomes 255 - v; alpha is kept.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/filterkit.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

namespace {

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    std::uint8_t table[256];
    for (int v = 0; v < 256; ++v)
        table[v] = static_cast<std::uint8_t>(255 - v);
    return fxkit::finish(driver, filterkit::apply_curve(source, table));
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_invert_driver =
    fxkit::driver("invert", "./src/gfx/2d/bitmap/effects/invert.c", "$path.presets$/invert.preset",
                  "create inverted image", fxkit::depths_rgb, parameters, procedures);
