// "protex.granite": speckled stone.  Fine turbulence at the speck frequency
// makes the crystals, a slow noise at the mottle frequency makes some parts
// of the stone darker than others.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/proctext/protex.h"

namespace {

// Defaults; "rand" draws within the ranges noted.
double vscale = 2.0;                        // [1, 4] noise units across the picture
double mfreq = 1.5;                         // [0.5, 3] mottle frequency, per noise unit
double sfreq = 18.0;                        // [10, 30] speck frequency, per noise unit
rgbscalar basic_color = {0.80, 0.74, 0.72}; // stone: each channel [0.5, 1]
rgbscalar strip_color = {0.10, 0.09, 0.11}; // specks: each channel [0, 0.35]
rgbscalar sblend = {0.15, 0.15, 0.15};      // 1 - tblend
rgbscalar tblend = {0.85, 0.85, 0.85};      // grey, [0.6, 1]

void *run_effect(bitmapfx_driver *driver) {
    const protex::colour stone = protex::rgb(basic_color), speck = protex::rgb(strip_color);
    protex::noise_field noise;
    const int grains = protex::turbulence_fields(noise, 3, protex::scale(sfreq));
    const int mottle = noise.field(protex::scale(mfreq));
    return protex::render(driver, protex::scaled_only(vscale), protex::blend(sblend, tblend), noise,
                          [&](const protex::sample &s) {
                              const float grain = protex::turbulence(noise, grains, 3, s);
                              const float shade = noise(mottle, s);
                              // Dark crystals where the grain is strong, light ones where it is
                              // weakest; the mottle moves the threshold.
                              const float dark =
                                  protex::smoothstep(0.42f, 0.52f, grain + 0.12f * shade);
                              const float light = 1.0f - protex::smoothstep(0.04f, 0.09f, grain);
                              const protex::colour base =
                                  protex::mix(stone, speck, 0.25f + 0.2f * shade - 0.25f * light);
                              return protex::mix(base, speck, dark);
                          });
}

void *run_rand(bitmapfx_driver *) {
    vscale = protex::draw(1.0, 4.0);
    mfreq = protex::draw(0.5, 3.0);
    sfreq = protex::draw(10.0, 30.0);
    basic_color = protex::draw_colour({0.5, 0.5, 0.5}, {1.0, 1.0, 1.0});
    strip_color = protex::draw_colour({0.0, 0.0, 0.0}, {0.35, 0.35, 0.35});
    protex::draw_blend(sblend, tblend, 0.6, 1.0);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("vscale", "noise units across the picture", vscale),
    bitmapfx_param("mfreq", "mottle frequency", mfreq),
    bitmapfx_param("sfreq", "speck frequency", sfreq),
    bitmapfx_param("basic_color", "stone color", basic_color),
    bitmapfx_param("strip_color", "speck color", strip_color),
    bitmapfx_param("sblend", "source blending color percentage", sblend),
    bitmapfx_param("tblend", "target blending color percentage", tblend),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_protex_granite_driver = fxkit::driver(
    "protex.granite", "./src/gfx/2d/bitmap/effects/proctext/ptgranit.c",
    "$path.presets$/protex-granite.preset", "procedural texture generation with granite shader",
    fxkit::depths_rgb, parameters, procedures);
