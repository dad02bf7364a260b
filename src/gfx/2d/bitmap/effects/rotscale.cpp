// "rotate.arbitrary.scale": the picture turned clockwise by `degrees` and
// enlarged by `scale` about its centre, into a target of the source's size
// (a scale above 1 zooms in, below 1 leaves a black frame; a negative scale
// adds half a turn).  Bilinear at 24 and 32 bpp, the nearest pixel at other
// depths.  The default zoom is just enough to hide the corners that a 30
// degree turn of a 16:10 picture uncovers.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgeometry.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <cmath>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/rotscale.c";
static constexpr const char *source_ident = "bitmapfx::rotscale";

namespace {

double degrees = 30.0;
double scale = 1.75;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    fxgeom::turn turn;
    if (!fxgeom::angle(degrees, &turn)) {
        XERROR("rotation by %f degrees: the angle must be a finite number", degrees);
        return nullptr;
    }
    if (!std::isfinite(scale) || scale == 0.0) {
        XERROR("scale %f: the scale must be a finite number other than 0", scale);
        return nullptr;
    }
    progress_guard progress("rotate.arbitrary.scale", "rotate image and scale");
    fxgeom::owned target(fxkit::resized_like(source, source->xsize, source->ysize));
    if (!target)
        return nullptr;
    const fxgeom::affine map =
        fxgeom::rotation(source, target->xsize, target->ysize, turn, scale, scale);
    const fxgeom::painted black = fxgeom::paint(target.get(), source, 0, 0, 0);
    fxgeom::warp(black.pixels, target.get(), map, black.pixel, progress);
    return fxkit::finish(driver, target.release());
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("degrees", "rotation angle in degrees (clockwise)", degrees),
    bitmapfx_param("scale", "enlargement factor (below 1 shrinks)", scale),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_rotate_arbitrary_scale_driver =
    fxkit::driver("rotate.arbitrary.scale", "./src/gfx/2d/bitmap/effects/rotscale.c",
                  "$path.presets$/rotscale.preset", "rotate image and scale", fxkit::depths_any,
                  parameters, procedures);
