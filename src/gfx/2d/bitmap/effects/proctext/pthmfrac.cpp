// "protex.hybrid-multi-fractal": additive octaves whose weight is the
// product of the signals before them (capped at 1): smooth low ground,
// detailed heights, and the octaves' own weights fall with H.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/proctext/terrain.h"
#include "xmath/xrand.h"

namespace {

// Defaults; "rand" draws the common parameters as terrain.h notes (H in
// [0.15, 0.5]), then dnoise 0 or [0.05, 0.35] (one in
// two), offset [0.6, 0.9].
protex::terrain::common settings = {
    .vscale = 2.0,
    .vplus = 23.25,
    .octaves = 8,
    .increment = 0.25,
    .lacunarity = 2.0,
    .frequency = 1.0,
    .basic_color = {0.12, 0.10, 0.20},
    .strip_color = {0.95, 0.88, 0.80},
    .sblend = {0.2, 0.2, 0.2},
    .tblend = {0.8, 0.8, 0.8},
};
double dnoise = 0.0; // how far a noise pushes the points along x first
double offset = 0.7; // raises every octave's noise

void *run_effect(bitmapfx_driver *driver) {
    const float lift = static_cast<float>(offset);
    return protex::terrain::render(driver, settings, dnoise,
                                   [&](const auto &octave, const protex::octave_table &o) {
                                       if (o.count == 0)
                                           return 0.0f;
                                       float result = octave(0) + lift;
                                       float weight = result;
                                       for (int i = 1; i < o.count; ++i) {
                                           weight = std::min(weight, 1.0f);
                                           const float signal = (octave(i) + lift) * o.weight[i];
                                           result += weight * signal;
                                           weight *= signal;
                                       }
                                       return result / (2.5f * lift + 1.0f) - 0.05f;
                                   });
}

void *run_rand(bitmapfx_driver *) {
    protex::terrain::draw(settings, 0.15, 0.5);
    dnoise = xrand_bool() ? protex::draw(0.05, 0.35) : 0.0;
    offset = protex::draw(0.6, 0.9);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    PROTEX_TERRAIN_SPACE_ROWS(settings),
    bitmapfx_param("dnoise", "displacement noise strength", dnoise),
    bitmapfx_param("offset", "lift of each octave's noise", offset),
    PROTEX_TERRAIN_OCTAVE_ROWS(settings),
    PROTEX_TERRAIN_COLOR_ROWS(settings),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_protex_hybrid_multi_fractal_driver =
    fxkit::driver("protex.hybrid-multi-fractal", "./src/gfx/2d/bitmap/effects/proctext/pthmfrac.c",
                  "$path.presets$/protex-hybrid-multi-fractal.preset",
                  "procedural texture generation with hybrid multi fractal shader",
                  fxkit::depths_rgb, parameters, procedures);
