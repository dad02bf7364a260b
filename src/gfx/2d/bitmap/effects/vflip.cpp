// "flip.vertical": the picture upside down, a row at a time at any depth.
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgeometry.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <cstring>

namespace {

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    progress_guard progress("flip.vertical", "flip image vertically");
    fxgeom::owned target(fxkit::resized_like(source, source->xsize, source->ysize));
    if (!target)
        return nullptr;
    const fxkit::view in(source), out(target.get());
    for (int y = 0; y < in.height; ++y) {
        progress.add(y, in.height);
        std::memcpy(out.row(y), in.row(in.height - 1 - y), in.stride);
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

bitmapfx_driver bitmapfx_flip_vertical_driver = fxkit::driver(
    "flip.vertical", "./src/gfx/2d/bitmap/effects/vflip.c", "$path.presets$/vflip.preset",
    "flip image vertically", fxkit::depths_any, parameters, procedures);
