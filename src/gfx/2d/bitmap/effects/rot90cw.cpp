// "rotate.90.cw": the picture turned a quarter clockwise (the left column,
// read from the bottom up, becomes the top row).  The target is as wide as
// the source is high.  Whole pixels at any depth.
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgeometry.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

namespace {

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    progress_guard progress("rotate.90.cw", "rotate image by 90 degrees clockwise");
    fxgeom::owned target(fxkit::resized_like(source, source->ysize, source->xsize));
    if (!target)
        return nullptr;
    fxgeom::quarter_turn(source, target.get(), true, progress);
    return fxkit::finish(driver, target.release());
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_rotate_90_cw_driver = fxkit::driver(
    "rotate.90.cw", "./src/gfx/2d/bitmap/effects/rot90cw.c", "$path.presets$/rot90cw.preset",
    "rotate image by 90 degrees clockwise", fxkit::depths_any, parameters, procedures);
