// "protex.sinus": a lattice of soft waves.  The product of a sine across x
// and a sine across y, each shifted by its own noise, makes a grid of round
// swells that drift out of line.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/proctext/protex.h"

namespace {

// Defaults; "rand" draws within the ranges noted.
double vscale = 5.0;                        // [3, 10] noise units across the picture
rgbscalar basic_color = {0.10, 0.20, 0.45}; // troughs: each channel [0, 1]
rgbscalar strip_color = {0.90, 0.85, 0.55}; // crests: each channel [0, 1]
rgbscalar sblend = {0.25, 0.25, 0.25};      // 1 - tblend
rgbscalar tblend = {0.75, 0.75, 0.75};      // grey, [0.6, 1]

void *run_effect(bitmapfx_driver *driver) {
    const protex::colour trough = protex::rgb(basic_color), crest = protex::rgb(strip_color);
    protex::noise_field noise;
    const int across = noise.field(protex::scale(0.35));
    const int down = noise.field(protex::moved(protex::scale(0.35), 0.0, 0.0, 9.0));
    return protex::render(driver, protex::scaled_only(vscale), protex::blend(sblend, tblend), noise,
                          [&](const protex::sample &s) {
                              const float wave = protex::wave(s.p.x + 0.8f * noise(across, s)) *
                                                 protex::wave(s.p.y + 0.8f * noise(down, s));
                              return protex::mix(trough, crest, 0.5f + 0.5f * wave);
                          });
}

void *run_rand(bitmapfx_driver *) {
    vscale = protex::draw(3.0, 10.0);
    basic_color = protex::draw_colour({0.0, 0.0, 0.0}, {1.0, 1.0, 1.0});
    strip_color = protex::draw_colour({0.0, 0.0, 0.0}, {1.0, 1.0, 1.0});
    protex::draw_blend(sblend, tblend, 0.6, 1.0);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("vscale", "noise units across the picture", vscale),
    bitmapfx_param("basic_color", "trough color", basic_color),
    bitmapfx_param("strip_color", "crest color", strip_color),
    bitmapfx_param("sblend", "source blending color percentage", sblend),
    bitmapfx_param("tblend", "target blending color percentage", tblend),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_protex_sinus_driver = fxkit::driver(
    "protex.sinus", "./src/gfx/2d/bitmap/effects/proctext/ptsinus.c",
    "$path.presets$/protex-sinus.preset", "procedural texture generation with sinus shader",
    fxkit::depths_rgb, parameters, procedures);
