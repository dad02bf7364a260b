// "protex.fbm": fractional Brownian motion, the sum of octaves of noise
// whose weights fall by lacunarity^-H: a homogeneous fractal relief, equally
// rough everywhere.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/proctext/terrain.h"
#include "xmath/xrand.h"

namespace {

// Defaults; "rand" draws the common parameters as terrain.h notes (H in
// [0.5, 1.2]), then snoise [0.6, 1.4], dnoise 0 or [0.05, 0.35] (one in
// two).
protex::terrain::common settings = {
    .vscale = 2.0,
    .vplus = 0.0,
    .octaves = 8,
    .increment = 1.0,
    .lacunarity = 2.0,
    .frequency = 1.0,
    .basic_color = {0.05, 0.10, 0.25},
    .strip_color = {0.95, 0.92, 0.85},
    .sblend = {0.2, 0.2, 0.2},
    .tblend = {0.8, 0.8, 0.8},
};
double snoise = 0.9; // contrast: the height's spread in the ramp
double dnoise = 0.0; // how far a noise pushes the points along x first

void *run_effect(bitmapfx_driver *driver) {
    const float contrast = static_cast<float>(snoise);
    return protex::terrain::render(driver, settings, dnoise,
                                   [&](const auto &octave, const protex::octave_table &o) {
                                       // Divided by the root of the summed squared weights the sum
                                       // keeps the spread of one noise, whatever the octaves: with
                                       // one octave the height is 0.5 + snoise * noise exactly.
                                       float sum = 0.0f;
                                       for (int i = 0; i < o.count; ++i)
                                           sum += o.weight[i] * octave(i);
                                       return 0.5f + contrast * sum / o.weight_rms;
                                   });
}

void *run_rand(bitmapfx_driver *) {
    protex::terrain::draw(settings, 0.5, 1.2);
    snoise = protex::draw(0.6, 1.4);
    dnoise = xrand_bool() ? protex::draw(0.05, 0.35) : 0.0;
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    PROTEX_TERRAIN_SPACE_ROWS(settings),
    bitmapfx_param("snoise", "height contrast", snoise),
    bitmapfx_param("dnoise", "displacement noise strength", dnoise),
    PROTEX_TERRAIN_OCTAVE_ROWS(settings),
    PROTEX_TERRAIN_COLOR_ROWS(settings),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_protex_fbm_driver = fxkit::driver(
    "protex.fbm", "./src/gfx/2d/bitmap/effects/proctext/ptfbm.c",
    "$path.presets$/protex-fbm.preset", "procedural texture generation with fbm shader",
    fxkit::depths_rgb, parameters, procedures);
