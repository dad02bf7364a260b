// "polar": rectangular to polar coordinates and back.
//
// Forward, the picture is rolled into a disc: its columns run round the
// centre (one full turn across the width, starting at `angle` degrees from
// the right-hand side), its bottom row shrinks into the centre and its top
// row lies on the rim, so a horizon becomes a circle.  The disc is an ellipse
// that touches the picture's edges, or with `circle` a true circle within
// them; the corners beyond the rim repeat the top row.  `backward` runs the
// columns the other way round.  `inverse` unrolls such a disc back into
// rows and columns with the same settings, so "polar" and then "polar" with
// `inverse` give back the picture, softened by the two resamplings (most near
// the centre, where the bottom rows were squeezed together).
#include "core/message.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/distort.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "xmath/xrand.h"

#include <algorithm>
#include <cmath>
#include <numbers>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/polar.c";
static constexpr const char *source_ident = "bitmapfx::polar";

namespace {

// Defaults and the "rand" ranges, drawn in this order:
std::int32_t inverse = 0;  // disc back to rectangle; rand either
std::int32_t backward = 0; // columns run anticlockwise; rand either
std::int32_t circle = 0;   // a true circle instead of the fitted ellipse; rand either
double angle = 90.0;       // degrees where the first column lies; rand 0..359, whole

constexpr double full_turn = 2.0 * std::numbers::pi;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    if (!std::isfinite(angle))
        XWARNING("angle %f is not a number of degrees, using 0", angle);
    const double start = std::fmod(distort::finite_or(angle, 0.0), 360.0) / 360.0 * full_turn;
    const int width = static_cast<int>(source->xsize), height = static_cast<int>(source->ysize);
    const double cx = distort::centre(width), cy = distort::centre(height);
    // Pixel distances that make the rim radius 1.
    double rx = width * 0.5, ry = height * 0.5;
    if (circle)
        rx = ry = std::min(rx, ry);
    const double turn = backward ? -1.0 : 1.0;
    bitmap *target;
    if (!inverse) {
        // The column index wraps round the disc; the row is kept inside the
        // picture here, so the wrapping read only ever folds columns.
        target =
            distort::inverse_map(source, "polar", "rectangular to polar", fxkit::edge::wrap,
                                 [&](int x, int y, double &sx, double &sy) {
                                     const double u = (x - cx) / rx, v = (y - cy) / ry;
                                     const double r = std::sqrt(u * u + v * v);
                                     double t = (turn * std::atan2(v, u) - start) / full_turn;
                                     t -= std::floor(t);
                                     sx = t * width - 0.5;
                                     sy = std::clamp((1.0 - r) * height - 0.5, 0.0, height - 1.0);
                                 });
    } else {
        target = distort::inverse_map(source, "polar", "polar to rectangular", fxkit::edge::clamp,
                                      [&](int x, int y, double &sx, double &sy) {
                                          const double theta =
                                              turn * ((x + 0.5) / width * full_turn + start);
                                          const double r = 1.0 - (y + 0.5) / height;
                                          sx = cx + r * std::cos(theta) * rx;
                                          sy = cy + r * std::sin(theta) * ry;
                                      });
    }
    return fxkit::finish(driver, target);
}

void *randomize(bitmapfx_driver *) {
    inverse = xrand_bool();
    backward = xrand_bool();
    circle = xrand_bool();
    angle = xrand_mm(0, 360);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param_typed("inverse", "polar back to rectangular", DTYPE_BOOL, inverse),
    bitmapfx_param_typed("backward", "columns run anticlockwise", DTYPE_BOOL, backward),
    bitmapfx_param_typed("circle", "a circle instead of an ellipse", DTYPE_BOOL, circle),
    bitmapfx_param("angle", "degrees where the first column lies", angle),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(randomize), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_polar_driver =
    fxkit::driver("polar", "./src/gfx/2d/bitmap/effects/polar.c", "$path.presets$/polar.preset",
                  "transform an image from rectangular to polar coordinates", fxkit::depths_rgb,
                  parameters, procedures);
