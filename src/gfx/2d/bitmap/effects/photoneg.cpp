// "photo.negative": the picture as a colour film negative looks.  Light
// becomes density, so levels are inverted, and the whole frame sits on the
// film's orange base: clear film (black in the scene) shows the base colour
// and the densest parts (white) keep only a dark brown trace of it.  Each
// dye layer has its own density range, the blue layer the widest, as on
// real stock.  This is what "photo.positive" turns back.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/filterkit.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

namespace {

// The orange base and the share of it each layer takes away at full
// exposure.
constexpr double base[3] = {242.0, 158.0, 102.0};
constexpr double density[3] = {0.82, 0.86, 0.90};

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    filterkit::curves table;
    for (int c = 0; c < 3; ++c)
        for (int v = 0; v < 256; ++v)
            table.level[c][v] = fxkit::clamp_byte(base[c] * (1.0 - density[c] * v / 255.0));
    return fxkit::finish(driver, filterkit::apply_curves(source, table));
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_photo_negative_driver =
    fxkit::driver("photo.negative", "./src/gfx/2d/bitmap/effects/photoneg.c",
                  "$path.presets$/photo-negative.preset", "create photo negative image",
                  fxkit::depths_rgb, parameters, procedures);
