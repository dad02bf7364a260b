// "protex.agate": banded stone.  Fine parallel bands, bent far out of line
// by a fractal, with a second finer set of bands inside the first and the
// strength of the bands changing slowly, as the layers of an agate do.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/proctext/protex.h"
#include "xmath/xrand.h"

namespace {

// Defaults; "rand" draws within the ranges noted.
double vscale = 2.5;                        // [1.5, 5] noise units across the picture
double tscale = 5.0;                        // [2, 10] bands per noise unit
double nscale = 1.2;                        // [0.5, 2.5] how far the fractal bends the bands
std::int32_t vertical = 0;                  // false or true, one in two: bands along y
rgbscalar sblend = {0.2, 0.2, 0.2};         // 1 - tblend
rgbscalar tblend = {0.8, 0.8, 0.8};         // grey, [0.6, 1]
rgbscalar basic_color = {0.85, 0.80, 0.72}; // each channel [0.45, 1]
rgbscalar strip_color = {0.45, 0.18, 0.12}; // each channel [0, 0.55]

void *run_effect(bitmapfx_driver *driver) {
    const protex::colour light = protex::rgb(basic_color), dark = protex::rgb(strip_color);
    const protex::octave_table bend = protex::make_octaves(driver->name, 4, 0.7, 2.0, 0.7);
    const double bands = tscale, strength = nscale;
    const bool along_y = vertical != 0;
    protex::noise_field noise;
    const int bent = protex::octave_fields(noise, bend);
    const int depth = noise.field(protex::scale(0.5));
    return protex::render(driver, protex::scaled_only(vscale), protex::blend(sblend, tblend), noise,
                          [&](const protex::sample &s) {
                              const double v = strength * protex::fbm(noise, bent, bend, s) +
                                               0.25 * (along_y ? s.p.x : s.p.y);
                              const float coarse = 0.5f + 0.5f * protex::wave(v * bands);
                              const float fine = 0.5f + 0.5f * protex::wave(v * bands * 3.7);
                              const float layer = 0.6f + 0.4f * noise(depth, s);
                              const float t =
                                  layer * (0.75f * coarse * coarse * coarse + 0.25f * fine);
                              return protex::mix(light, dark, t);
                          });
}

void *run_rand(bitmapfx_driver *) {
    vscale = protex::draw(1.5, 5.0);
    tscale = protex::draw(2.0, 10.0);
    nscale = protex::draw(0.5, 2.5);
    vertical = xrand_bool() ? 1 : 0;
    protex::draw_blend(sblend, tblend, 0.6, 1.0);
    basic_color = protex::draw_colour({0.45, 0.45, 0.45}, {1.0, 1.0, 1.0});
    strip_color = protex::draw_colour({0.0, 0.0, 0.0}, {0.55, 0.55, 0.55});
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("vscale", "noise units across the picture", vscale),
    bitmapfx_param("tscale", "bands per noise unit", tscale),
    bitmapfx_param("nscale", "band bending strength", nscale),
    bitmapfx_param_typed("vertical", "bands run down the picture", DTYPE_BOOL, vertical),
    bitmapfx_param("sblend", "source blending color percentage", sblend),
    bitmapfx_param("tblend", "target blending color percentage", tblend),
    bitmapfx_param("basic_color", "light layer color", basic_color),
    bitmapfx_param("strip_color", "dark layer color", strip_color),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_protex_agate_driver = fxkit::driver(
    "protex.agate", "./src/gfx/2d/bitmap/effects/proctext/ptagate.c",
    "$path.presets$/protex-agate.preset", "procedural texture generation with agate shader",
    fxkit::depths_rgb, parameters, procedures);
