// "wave": circular ripples spreading from the centre, as on water.
//
// A target pixel at distance r from the centre shows the source point on
// the same ray at r + amplitude * sin(360 * r / wavelen + phase) (degrees),
// so rings of the picture are pushed out and pulled in.  Within the first
// wave length the push grows from nothing, which keeps the centre from
// collapsing into a point.  Where the ripples reach past the picture's edge
// the source is read mirrored at the edge ("reflective"), with the edge
// pixels stretched outward ("smear"), or as black (neither).
#include "core/message.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/distort.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "xmath/xrand.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/wave.c";
static constexpr const char *source_ident = "bitmapfx::wave";

namespace {

// Defaults and the "rand" ranges, drawn in this order:
double amplitude = 6.0;      // pixels of push; rand 2..16, whole
double wavelen = 36.0;       // pixels from crest to crest; rand 12..80, whole
double phase = 0.0;          // degrees; rand 0..359, whole
std::int32_t smear = 1;      // stretch the edge pixels; rand either
std::int32_t reflective = 0; // mirror at the edges (wins over smear); rand either

// Shortest wave length taken: anything shorter only makes noise, and zero
// would divide by zero.
constexpr double shortest = 1.0;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    // A negative length runs the same waves; NaN fails the test as well.
    double length = std::fabs(wavelen);
    if (!(length >= shortest)) {
        XWARNING("wave length %f is too short, using %f", wavelen, shortest);
        length = shortest;
    }
    if (!std::isfinite(amplitude) || !std::isfinite(phase))
        XWARNING("amplitude %f or phase %f is not a number, using 0", amplitude, phase);
    const double push = distort::finite_or(amplitude, 0.0);
    const double start = distort::finite_or(phase, 0.0) * std::numbers::pi / 180.0;
    const double step = 2.0 * std::numbers::pi / length;
    const int width = static_cast<int>(source->xsize), height = static_cast<int>(source->ysize);
    const double cx = distort::centre(width), cy = distort::centre(height);
    // The push over the distance, divided by the distance (which turns it into
    // a factor for the pixel's offset from the centre), tabulated every 1/8
    // pixel and read linearly in between: one sine per table entry instead of
    // one per pixel.  Below one wave length the push grows with the distance,
    // so the factor stays finite at the centre.
    constexpr int per_pixel = 8;
    const std::size_t entries =
        static_cast<std::size_t>(std::ceil(std::sqrt(cx * cx + cy * cy) * per_pixel)) + 2;
    std::vector<double> factor(entries);
    for (std::size_t i = 0; i < entries; ++i) {
        const double r = static_cast<double>(i) / per_pixel;
        factor[i] = push * std::sin(r * step + start) / std::max(r, length);
    }
    const bool mirror = reflective != 0;
    const fxkit::edge edge = mirror || smear ? fxkit::edge::clamp : fxkit::edge::zero;
    bitmap *target = distort::inverse_map(
        source, "wave", "generate waves in image", edge, [&](int x, int y, double &sx, double &sy) {
            const double dx = x - cx, dy = y - cy;
            const double t = std::sqrt(dx * dx + dy * dy) * per_pixel;
            const auto i = static_cast<std::size_t>(t);
            const double shift = factor[i] + (factor[i + 1] - factor[i]) * (t - i);
            sx = x + dx * shift;
            sy = y + dy * shift;
            if (mirror) {
                sx = distort::mirrored(sx, width);
                sy = distort::mirrored(sy, height);
            }
        });
    return fxkit::finish(driver, target);
}

void *randomize(bitmapfx_driver *) {
    amplitude = xrand_mm(2, 17);
    wavelen = xrand_mm(12, 81);
    phase = xrand_mm(0, 360);
    smear = xrand_bool();
    reflective = xrand_bool();
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("amplitude", "push of the ripples in pixels", amplitude),
    bitmapfx_param("wavelen", "wave length in pixels", wavelen),
    bitmapfx_param("phase", "phase of the ripples in degrees", phase),
    bitmapfx_param_typed("smear", "stretch the edge pixels outward", DTYPE_BOOL, smear),
    bitmapfx_param_typed("reflective", "mirror the picture at its edges", DTYPE_BOOL, reflective),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(randomize), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_wave_driver =
    fxkit::driver("wave", "./src/gfx/2d/bitmap/effects/wave.c", "$path.presets$/wave.preset",
                  "generate waves in image", fxkit::depths_rgb, parameters, procedures);
