// "protex.multi-fractal": a multiplicative cascade.  Each octave multiplies
// the height by (offset + mnoise * weight * noise), so rough and smooth
// regions alternate: the relief is heterogeneous, calm plains beside
// craggy peaks.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/proctext/terrain.h"

namespace {

// Defaults; "rand" draws the common parameters as terrain.h notes (H in
// [0.2, 0.8]), then snoise [0.3, 0.6], mnoise [0.6, 1.4], offset [0.9, 1.1].
protex::terrain::common settings = {
    .vscale = 2.0,
    .vplus = 11.5,
    .octaves = 8,
    .increment = 0.5,
    .lacunarity = 2.0,
    .frequency = 1.0,
    .basic_color = {0.10, 0.06, 0.02},
    .strip_color = {0.98, 0.90, 0.70},
    .sblend = {0.2, 0.2, 0.2},
    .tblend = {0.8, 0.8, 0.8},
};
double snoise = 0.45; // scale of the height in the ramp
double mnoise = 1.0;  // strength of the noise in each factor
double offset = 1.0;  // the factors' centre

void *run_effect(bitmapfx_driver *driver) {
    const float scale = static_cast<float>(snoise), strength = static_cast<float>(mnoise),
                centre = static_cast<float>(offset);
    return protex::terrain::render(driver, settings, 0.0,
                                   [&](const auto &octave, const protex::octave_table &o) {
                                       float value = 1.0f;
                                       for (int i = 0; i < o.count; ++i)
                                           value *= centre + strength * o.weight[i] * octave(i);
                                       return scale * value;
                                   });
}

void *run_rand(bitmapfx_driver *) {
    protex::terrain::draw(settings, 0.2, 0.8);
    snoise = protex::draw(0.3, 0.6);
    mnoise = protex::draw(0.6, 1.4);
    offset = protex::draw(0.9, 1.1);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    PROTEX_TERRAIN_SPACE_ROWS(settings),
    bitmapfx_param("snoise", "height scale", snoise),
    bitmapfx_param("mnoise", "noise strength of each factor", mnoise),
    bitmapfx_param("offset", "centre of each factor", offset),
    PROTEX_TERRAIN_OCTAVE_ROWS(settings),
    PROTEX_TERRAIN_COLOR_ROWS(settings),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_protex_multi_fractal_driver =
    fxkit::driver("protex.multi-fractal", "./src/gfx/2d/bitmap/effects/proctext/ptmfrac.c",
                  "$path.presets$/protex-multi-fractal.preset",
                  "procedural texture generation with multi fractal shader", fxkit::depths_rgb,
                  parameters, procedures);
