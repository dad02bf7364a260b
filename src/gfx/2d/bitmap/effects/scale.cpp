// "scale": the picture resampled to `new_xsize` x `new_ysize` pixels.  A side
// given as 0 follows from the other so that the picture keeps its shape; a
// size beyond the library's bitmap limits is brought down (keeping the shape)
// with a warning.  Each axis is an area average where it shrinks (every
// source pixel counts with the part of it a target pixel covers, so fine
// detail does not alias) and bilinear where it grows.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgeometry.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <cmath>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/scale.c";
static constexpr const char *source_ident = "bitmapfx::scale";

namespace {

// Twice the program's default picture, and its shape kept.
std::int32_t new_xsize = 640;
std::int32_t new_ysize = 0;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    if (new_xsize < 0 || new_ysize < 0 || (!new_xsize && !new_ysize)) {
        XERROR("scaling to %d x %d: the sizes must be positive (0 for one side keeps the shape)",
               new_xsize, new_ysize);
        return nullptr;
    }
    double width = new_xsize, height = new_ysize;
    if (!new_xsize)
        width = std::round(static_cast<double>(source->xsize) * new_ysize / source->ysize);
    if (!new_ysize)
        height = std::round(static_cast<double>(source->ysize) * new_xsize / source->xsize);
    std::uint32_t xsize = fxgeom::extent(width), ysize = fxgeom::extent(height);
    const bool capped = width > xsize || height > ysize;
    if (fxgeom::fit_limits(&xsize, &ysize) || capped)
        XWARNING("scaling to %.0f x %.0f is beyond the bitmap limits, scaling to %u x %u instead",
                 width, height, xsize, ysize);

    progress_guard progress("scale", "scale image up or down");
    if (xsize == source->xsize && ysize == source->ysize)
        return fxkit::finish(driver, bitmap_dup(source));
    fxgeom::owned target(fxkit::resized_like(source, xsize, ysize));
    if (!target)
        return nullptr;
    fxgeom::resample(source, target.get(), &progress);
    return fxkit::finish(driver, target.release());
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("new_xsize", "new width in pixels (0: keep the shape)", new_xsize),
    bitmapfx_param("new_ysize", "new height in pixels (0: keep the shape)", new_ysize),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_scale_driver =
    fxkit::driver("scale", "./src/gfx/2d/bitmap/effects/scale.c", "$path.presets$/scale.preset",
                  "scale image up or down", fxkit::depths_rgb, parameters, procedures);
