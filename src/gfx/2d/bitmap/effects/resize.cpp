// "resize": the picture enlarged by the factor `scale` (below 1 shrinks) and
// turned clockwise by `degrees`; the target is the box that holds the whole
// result, at least 1 x 1, and the corners a turn uncovers are black.  A factor that would exceed
// the library's bitmap limits is lowered to the largest that fits, with a warning.
//
// At 24 and 32 bpp an unturned picture is resampled like "scale" does (area
// average when shrinking, bilinear when growing); a turned one that shrinks
// is first shrunk that way and then turned, so fine detail does not alias.
// At other depths every target pixel takes the nearest source pixel.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgeometry.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cmath>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/resize.c";
static constexpr const char *source_ident = "bitmapfx::resize";

namespace {

double degrees = 0.0;
double scale = 0.5;

// The largest factor up to `factor` whose box fits the bitmap limits.
double fitting_scale(const bitmap *source, const fxgeom::turn &turn, double factor) {
    double width, height;
    fxgeom::rotated_extent(source, turn, factor, &width, &height);
    const double side = BITMAP_MAX_SIDE, pixels = static_cast<double>(BITMAP_MAX_PIXELS);
    // A whole pixel of slack for the rounding up of each side.
    const double shrink = std::min({1.0, side / (width + 1), side / (height + 1),
                                    std::sqrt(pixels / ((width + 1) * (height + 1)))});
    return factor * shrink;
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    fxgeom::turn turn;
    if (!fxgeom::angle(degrees, &turn)) {
        XERROR("rotation by %f degrees: the angle must be a finite number", degrees);
        return nullptr;
    }
    if (!std::isfinite(scale) || scale <= 0.0) {
        XERROR("resizing by %f: the scale must be a positive finite number", scale);
        return nullptr;
    }
    const double factor = fitting_scale(source, turn, scale);
    if (factor < scale)
        XWARNING("resizing by %f is beyond the bitmap limits, resizing by %f instead", scale,
                 factor);

    progress_guard progress("resize", "resize an image");
    double width, height;
    fxgeom::rotated_extent(source, turn, factor, &width, &height);
    fxgeom::owned target(
        fxkit::resized_like(source, fxgeom::extent(width), fxgeom::extent(height)));
    if (!target)
        return nullptr;
    const bool mixes = bitmap_depth_channels(source->bpp) >= 3;
    const bool turned = turn.cos != 1.0;
    if (mixes && !turned) {
        fxgeom::resample(source, target.get(), &progress);
        return fxkit::finish(driver, target.release());
    }
    // Shrinking and turning: shrink first, then turn the smaller picture,
    // stretched by what is left of the factor on each axis.
    fxgeom::owned shrunk;
    const bitmap *from = source;
    double scale_x = factor, scale_y = factor;
    if (mixes && factor < 1.0) {
        shrunk.reset(fxkit::resized_like(source, fxgeom::extent(source->xsize * factor),
                                         fxgeom::extent(source->ysize * factor)));
        if (!shrunk)
            return nullptr;
        fxgeom::resample(source, shrunk.get(), nullptr);
        from = shrunk.get();
        scale_x = factor * source->xsize / from->xsize;
        scale_y = factor * source->ysize / from->ysize;
    }
    const fxgeom::affine map =
        fxgeom::rotation(from, target->xsize, target->ysize, turn, scale_x, scale_y);
    const fxgeom::painted black = fxgeom::paint(target.get(), from, 0, 0, 0);
    fxgeom::warp(black.pixels, target.get(), map, black.pixel, progress);
    return fxkit::finish(driver, target.release());
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("degrees", "rotation angle in degrees (clockwise)", degrees),
    bitmapfx_param("scale", "size factor (below 1 shrinks)", scale),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_resize_driver =
    fxkit::driver("resize", "./src/gfx/2d/bitmap/effects/resize.c", "$path.presets$/resize.preset",
                  "resize an image", fxkit::depths_any, parameters, procedures);
