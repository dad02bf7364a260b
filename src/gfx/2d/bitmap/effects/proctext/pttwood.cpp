// "protex.turbulent-wood": wood whose rings swirl
// round knots and burls, as turbulence bends them.
// The rings, boards and the meaning of `svec`, `mvec` and `board` are those
// of wood.h, which also notes the ranges "rand" draws from.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/proctext/wood.h"

namespace {

// Defaults.
double vscale = 2.0; // noise units across the picture
rgbscalar svec = {0.35, 0.45, 0.5};
rgbscalar mvec = {0.5, 0.2, 0.5};
double board = 0.0;
rgbscalar basic_color = {0.80, 0.58, 0.34}; // early wood
rgbscalar strip_color = {0.42, 0.24, 0.10}; // late wood
rgbscalar sblend = {0.15, 0.15, 0.15};
rgbscalar tblend = {0.85, 0.85, 0.85};

void *run_effect(bitmapfx_driver *driver) {
    const protex::wood::settings wood = {
        false, true, svec, mvec, board, protex::rgb(basic_color), protex::rgb(strip_color)};
    protex::noise_field noise;
    const protex::wood::fields fields = protex::wood::declare(noise, wood);
    return protex::render(
        driver, protex::scaled_only(vscale), protex::blend(sblend, tblend), noise,
        [&](const protex::sample &s) { return protex::wood::shade(noise, fields, s, wood); });
}

void *run_rand(bitmapfx_driver *) {
    protex::wood::draw(vscale, svec, mvec, board, basic_color, strip_color, sblend, tblend);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("vscale", "noise units across the picture", vscale),
    bitmapfx_param("svec", "ring density, wander, fibres (0..1 each)", svec),
    bitmapfx_param("mvec", "axis position, depth, tilt (0..1 each)", mvec),
    bitmapfx_param("board", "board width in noise units (0: one piece)", board),
    bitmapfx_param("basic_color", "early wood color", basic_color),
    bitmapfx_param("strip_color", "late wood color", strip_color),
    bitmapfx_param("sblend", "source blending color percentage", sblend),
    bitmapfx_param("tblend", "target blending color percentage", tblend),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_protex_turbulent_wood_driver = fxkit::driver(
    "protex.turbulent-wood", "./src/gfx/2d/bitmap/effects/proctext/pttwood.c",
    "$path.presets$/protex-turbulent-wood.preset", "procedural texture generation with wood shader",
    fxkit::depths_rgb, parameters, procedures);
