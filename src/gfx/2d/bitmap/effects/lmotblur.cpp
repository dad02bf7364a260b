// "motion-blur.linear": the picture as a camera moving in a straight line
// would take it.  Each pixel is the mean of the picture along a streak of
// `shift` pixels centred on it, in the direction `angle` (degrees, 0 to the
// right, counter-clockwise as seen on the screen).  The streak is read at
// points at most one pixel apart, each bilinearly, and since every pixel
// reads the same offsets the whole streak folds into one sparse kernel of
// whole-pixel taps.  A shift of 0 leaves the picture as it is; streaks are
// capped at 250 pixels.  Alpha is kept.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/filterkit.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "xmath/xrand.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <utility>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/lmotblur.c";
static constexpr const char *source_ident = "bitmapfx::lmotblur";

namespace {

double shift = 12.0;
double angle = 20.0;

// "rand": shift from 4..24 and angle from 0..179, whole numbers (a streak
// has no direction, so half a turn covers them all).  Shorter streaks look
// like a focusing fault, longer ones wipe out a 320x200 picture.
constexpr int rand_shift_low = 4, rand_shift_high = 24;

// Half a streak and its bilinear neighbour stay within the kernel radius.
constexpr double max_shift = 250.0;

std::vector<filterkit::tap> streak(double length, double degrees) {
    const double radians = degrees * std::numbers::pi / 180.0;
    const double ux = std::cos(radians), uy = -std::sin(radians);
    const int n = static_cast<int>(std::ceil(length)) + 1;
    std::map<std::pair<int, int>, double> weight;
    for (int j = 0; j < n; ++j) {
        const double t = (static_cast<double>(j) / (n - 1) - 0.5) * length;
        const double x = t * ux, y = t * uy;
        const double fx = std::floor(x), fy = std::floor(y);
        const double ax = x - fx, ay = y - fy;
        const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
        weight[{ix, iy}] += (1 - ax) * (1 - ay);
        weight[{ix + 1, iy}] += ax * (1 - ay);
        weight[{ix, iy + 1}] += (1 - ax) * ay;
        weight[{ix + 1, iy + 1}] += ax * ay;
    }
    std::vector<filterkit::tap> taps;
    std::uint32_t total = 0;
    for (const auto &[place, w] : weight) {
        const auto fixed = static_cast<std::uint32_t>(std::lround(w / n * filterkit::TAP_ONE));
        if (fixed) {
            taps.push_back({place.first, place.second, fixed});
            total += fixed;
        }
    }
    // Rounding leaves the sum a little off; the heaviest tap takes up the
    // difference so that flat areas keep their level exactly.
    auto heaviest = std::max_element(
        taps.begin(), taps.end(), [](const auto &a, const auto &b) { return a.weight < b.weight; });
    heaviest->weight += filterkit::TAP_ONE - total;
    return taps;
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    double length = std::fabs(shift);
    if (!(length <= max_shift)) {
        length = std::isnan(length) ? 0.0 : max_shift;
        XWARNING("shift %f out of range, using %f", shift, length);
    }
    const double direction = std::isfinite(angle) ? std::fmod(angle, 360.0) : 0.0;
    progress_guard report("motion-blur.linear", "linear motion blurring");
    if (length < 0.5)
        return fxkit::finish(driver, bitmap_dup(source));
    return fxkit::finish(driver,
                         filterkit::convolve_taps(source, streak(length, direction), &report));
}

void *randomize(bitmapfx_driver *) {
    shift = xrand_mm(rand_shift_low, rand_shift_high + 1);
    angle = xrand_mm(0, 180);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("shift", "length of the streak in pixels (0..250)", shift),
    bitmapfx_param("angle", "direction of the streak in degrees", angle),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(randomize), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_motion_blur_linear_driver =
    fxkit::driver("motion-blur.linear", "./src/gfx/2d/bitmap/effects/lmotblur.c",
                  "$path.presets$/motion-blur-linear.preset", "linear motion blurring",
                  fxkit::depths_rgb, parameters, procedures);
