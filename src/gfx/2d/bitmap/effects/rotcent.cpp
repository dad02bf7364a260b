// "rotate.arbitrary.centered": the picture turned clockwise by `degrees`
// about its centre into a target of the source's size; what the turn cuts
// off is lost and the uncovered corners are black.  Bilinear at 24 and 32
// bpp, the nearest pixel at other depths.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgeometry.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/rotcent.c";
static constexpr const char *source_ident = "bitmapfx::rotcent";

namespace {

double degrees = 30.0;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    fxgeom::turn turn;
    if (!fxgeom::angle(degrees, &turn)) {
        XERROR("rotation by %f degrees: the angle must be a finite number", degrees);
        return nullptr;
    }
    progress_guard progress("rotate.arbitrary.centered", "rotate image and center");
    fxgeom::owned target(fxkit::resized_like(source, source->xsize, source->ysize));
    if (!target)
        return nullptr;
    const fxgeom::affine map =
        fxgeom::rotation(source, target->xsize, target->ysize, turn, 1.0, 1.0);
    const fxgeom::painted black = fxgeom::paint(target.get(), source, 0, 0, 0);
    fxgeom::warp(black.pixels, target.get(), map, black.pixel, progress);
    return fxkit::finish(driver, target.release());
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("degrees", "rotation angle in degrees (clockwise)", degrees),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_rotate_arbitrary_centered_driver =
    fxkit::driver("rotate.arbitrary.centered", "./src/gfx/2d/bitmap/effects/rotcent.c",
                  "$path.presets$/rotcent.preset", "rotate image and center", fxkit::depths_any,
                  parameters, procedures);
