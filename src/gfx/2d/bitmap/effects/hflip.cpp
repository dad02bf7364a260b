// "flip.horizontal": the picture mirrored left to right, whole pixels at any
// depth.
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgeometry.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

namespace {

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    progress_guard progress("flip.horizontal", "flip image horizontaly");
    fxgeom::owned target(fxkit::resized_like(source, source->xsize, source->ysize));
    if (!target)
        return nullptr;
    const fxkit::view in(source), out(target.get());
    for (int y = 0; y < in.height; ++y) {
        progress.add(y, in.height);
        fxgeom::reverse_row(in.row(y), out.row(y), in.width, in.channels);
    }
    return fxkit::finish(driver, target.release());
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_flip_horizontal_driver = fxkit::driver(
    "flip.horizontal", "./src/gfx/2d/bitmap/effects/hflip.c", "$path.presets$/hflip.preset",
    "flip image horizontaly", fxkit::depths_any, parameters, procedures);
