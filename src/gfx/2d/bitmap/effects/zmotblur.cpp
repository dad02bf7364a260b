// "motion-blur.zoom": the picture as a camera rushing toward its centre
// would take it.  Each pixel is the mean of the picture along the line
// toward the centre it travelled; the streak grows with the distance from
// the centre and is `shift` pixels long at the corners, so the centre stays
// sharp.  `angle` tilts the motion away from the pure zoom (degrees): 0
// draws straight streaks, other angles add a turn and draw spirals.  A
// shift of 0 leaves the picture as it is; streaks are capped at 256 pixels.
// Alpha is kept.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/filterkit.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "xmath/xrand.h"

#include <algorithm>
#include <cmath>
#include <numbers>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/zmotblur.c";
static constexpr const char *source_ident = "bitmapfx::zmotblur";

namespace {

double shift = 24.0;
double angle = 0.0;

// "rand": shift from 8..40 and angle from -40..40, whole numbers.  Shorter
// streaks hardly show, longer ones smear everything but the centre; steeper
// angles turn the zoom into a spin, which is "motion-blur.radial"'s look.
constexpr int rand_shift_low = 8, rand_shift_high = 40, rand_angle = 40;

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
    progress_guard report("motion-blur.zoom", "zooming motion blurring");
    return fxkit::finish(driver, filterkit::spiral_blur(source, speed * std::sin(tilt),
                                                        speed * std::cos(tilt), &report));
}

void *randomize(bitmapfx_driver *) {
    shift = xrand_mm(rand_shift_low, rand_shift_high + 1);
    angle = xrand_mm(-rand_angle, rand_angle + 1);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("shift", "length of the streaks at the corners in pixels (0..256)", shift),
    bitmapfx_param("angle", "tilt of the motion toward a turn in degrees (0 = straight)", angle),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(randomize), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_motion_blur_zoom_driver =
    fxkit::driver("motion-blur.zoom", "./src/gfx/2d/bitmap/effects/zmotblur.c",
                  "$path.presets$/motion-blur-zoom.preset", "zooming motion blurring",
                  fxkit::depths_rgb, parameters, procedures);
