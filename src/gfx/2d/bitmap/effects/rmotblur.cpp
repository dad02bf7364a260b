// "motion-blur.radial": the picture as a camera turning about the picture's
// centre would take it.  Each pixel is the mean of the picture along the arc
// it travelled; the arc grows with the distance from the centre and is
// `shift` pixels long at the corners, so the centre stays sharp.  `angle`
// tilts the motion away from the pure turn (degrees): 0 draws circles,
// positive angles add a zoom outward and draw spirals, 90 would be a pure
// zoom.  A shift of 0 leaves the picture as it is; arcs are capped at 256
// pixels.  Alpha is kept.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/filterkit.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "xmath/xrand.h"

#include <algorithm>
#include <cmath>
#include <numbers>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/rmotblur.c";
static constexpr const char *source_ident = "bitmapfx::rmotblur";

namespace {

double shift = 24.0;
double angle = 0.0;

// "rand": shift from 6..30 and angle from -30..30, whole numbers.  Shorter
// arcs hardly show, longer ones leave only rings; steeper angles turn the
// spin into a zoom, which is "motion-blur.zoom"'s look.
constexpr int rand_shift_low = 6, rand_shift_high = 30, rand_angle = 30;

constexpr double max_shift = filterkit::MAX_PATH_SAMPLES - 1;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    double length = std::fabs(shift);
    if (!(length <= max_shift)) {
        length = std::isnan(length) ? 0.0 : max_shift;
        XWARNING("shift %f out of range, using %f", shift, length);
    }
    const double tilt =
        (std::isfinite(angle) ? std::fmod(angle, 360.0) : 0.0) * std::numbers::pi / 180.0;
    const double corner = std::max(1.0, std::hypot(source->xsize - 1.0, source->ysize - 1.0) / 2);
    const double speed = length / corner;
    progress_guard report("motion-blur.radial", "radial motion blurring");
    return fxkit::finish(driver, filterkit::spiral_blur(source, speed * std::cos(tilt),
                                                        speed * std::sin(tilt), &report));
}

void *randomize(bitmapfx_driver *) {
    shift = xrand_mm(rand_shift_low, rand_shift_high + 1);
    angle = xrand_mm(-rand_angle, rand_angle + 1);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("shift", "length of the arc at the corners in pixels (0..256)", shift),
    bitmapfx_param("angle", "tilt of the motion toward a zoom in degrees (0 = circles)", angle),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(randomize), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_motion_blur_radial_driver =
    fxkit::driver("motion-blur.radial", "./src/gfx/2d/bitmap/effects/rmotblur.c",
                  "$path.presets$/motion-blur-radial.preset", "radial motion blurring",
                  fxkit::depths_rgb, parameters, procedures);
