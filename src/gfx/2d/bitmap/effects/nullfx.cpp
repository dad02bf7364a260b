// "null": the template driver.  The target is an exact copy of the source.
//
// A new effect starts from this file: the record at the bottom names the
// driver, its depths and its tables; `run_effect` reads the source, makes a
// new target and hands it back through fxkit::finish.  Parameters go between
// the two bitmap rows and the end row, one bitmapfx_param line each, with
// their storage in the unnamed namespace.
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

namespace {

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    return fxkit::finish(driver, bitmap_dup(source));
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_null_driver =
    fxkit::driver("null", "./src/gfx/2d/bitmap/effects/nullfx.c", "$path.presets$/null.preset",
                  "null effect (template driver)", fxkit::depths_rgb, parameters, procedures);
