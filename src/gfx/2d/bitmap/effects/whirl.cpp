// "whirl": turns the picture about its centre, most at the centre and not at
// all at the edge of the ellipse that fits the picture.
//
// A target pixel at normalised distance d (0 at the centre, 1 on the
// ellipse) shows the source point turned back by angle * (1 - d)^2 about the
// centre; pixels outside the ellipse stay as they are.  The squared fall-off
// meets the still border smoothly, so the swirl has no visible rim.
#include "core/message.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/distort.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "xmath/xrand.h"

#include <cmath>
#include <numbers>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/whirl.c";
static constexpr const char *source_ident = "bitmapfx::whirl";

namespace {

// Degrees at the centre; positive turns clockwise on the screen.
// "rand": 45..360 degrees, whole, either way round.
double angle = 120.0;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    if (!std::isfinite(angle))
        XWARNING("angle %f is not a number of degrees, using 0", angle);
    const double turn = distort::finite_or(angle, 0.0) * std::numbers::pi / 180.0;
    const double cx = distort::centre(static_cast<int>(source->xsize));
    const double cy = distort::centre(static_cast<int>(source->ysize));
    const double rx = source->xsize * 0.5, ry = source->ysize * 0.5;
    bitmap *target = distort::inverse_map(source, "whirl", "whirl image", fxkit::edge::clamp,
                                          [&](int x, int y, double &sx, double &sy) {
                                              const double px = x - cx, py = y - cy;
                                              const double u = px / rx, v = py / ry;
                                              const double d2 = u * u + v * v;
                                              sx = x;
                                              sy = y;
                                              if (d2 >= 1.0 || turn == 0.0)
                                                  return;
                                              const double fall = 1.0 - std::sqrt(d2);
                                              const double twist = turn * fall * fall;
                                              const double c = std::cos(twist), s = std::sin(twist);
                                              sx = cx + (px * c - py * s);
                                              sy = cy + (px * s + py * c);
                                          });
    return fxkit::finish(driver, target);
}

void *randomize(bitmapfx_driver *) {
    const int degrees = xrand_mm(45, 361);
    angle = xrand_bool() ? degrees : -degrees;
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("angle", "degrees of turn at the centre", angle),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(randomize), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_whirl_driver =
    fxkit::driver("whirl", "./src/gfx/2d/bitmap/effects/whirl.c", "$path.presets$/whirl.preset",
                  "whirl image", fxkit::depths_rgb, parameters, procedures);
