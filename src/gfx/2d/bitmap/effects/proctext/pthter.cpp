// "protex.hetero-terrain": each octave adds (noise + offset) * weight times
// the height reached so far, so that valleys stay smooth and high ground
// grows rough: a terrain whose roughness follows its height.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/proctext/terrain.h"
#include "xmath/xrand.h"

namespace {

// Defaults; "rand" draws the common parameters as terrain.h notes (H in
// [0.5, 1.2]), then snoise [0.3, 0.6], dnoise 0 or [0.05, 0.35] (one in
// two),
// offset [0.4, 0.9].
protex::terrain::common settings = {
    .vscale = 2.0,
    .vplus = 37.75,
    .octaves = 8,
    .increment = 1.0,
    .lacunarity = 2.0,
    .frequency = 1.0,
    .basic_color = {0.08, 0.16, 0.06},
    .strip_color = {0.90, 0.86, 0.78},
    .sblend = {0.2, 0.2, 0.2},
    .tblend = {0.8, 0.8, 0.8},
};
double snoise = 0.45; // scale of the height in the ramp
double dnoise = 0.0;  // how far a noise pushes the points along x first
double offset = 0.6;  // raises every octave's noise

void *run_effect(bitmapfx_driver *driver) {
    const float scale = static_cast<float>(snoise), lift = static_cast<float>(offset);
    return protex::terrain::render(driver, settings, dnoise,
                                   [&](const auto &octave, const protex::octave_table &o) {
                                       if (o.count == 0)
                                           return 0.0f;
                                       float value = lift + octave(0);
                                       for (int i = 1; i < o.count; ++i)
                                           value += (octave(i) + lift) * o.weight[i] * value;
                                       return scale * value;
                                   });
}

void *run_rand(bitmapfx_driver *) {
    protex::terrain::draw(settings, 0.5, 1.2);
    snoise = protex::draw(0.3, 0.6);
    dnoise = xrand_bool() ? protex::draw(0.05, 0.35) : 0.0;
    offset = protex::draw(0.4, 0.9);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    PROTEX_TERRAIN_SPACE_ROWS(settings),
    bitmapfx_param("snoise", "height scale", snoise),
    bitmapfx_param("dnoise", "displacement noise strength", dnoise),
    bitmapfx_param("offset", "lift of each octave's noise", offset),
    PROTEX_TERRAIN_OCTAVE_ROWS(settings),
    PROTEX_TERRAIN_COLOR_ROWS(settings),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_protex_hetero_terrain_driver =
    fxkit::driver("protex.hetero-terrain", "./src/gfx/2d/bitmap/effects/proctext/pthter.c",
                  "$path.presets$/protex-hetero-terrain.preset",
                  "procedural texture generation with hetero terrain shader", fxkit::depths_rgb,
                  parameters, procedures);
