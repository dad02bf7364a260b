// "protex.rigid-multi-fractal": ridged multifractal.  Each octave's signal
// is (offset - |noise|)^2, sharp crests where the noise crosses zero; the
// octave after weighs in by the signal before it times `gain` (clamped to
// 0..1), so detail gathers on the ridges: mountain chains.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/proctext/terrain.h"
#include "xmath/xrand.h"

namespace {

// Defaults; "rand" draws the common parameters as terrain.h notes (H in
// [0.7, 1.2]), then gain [1.5, 3], dnoise 0 or [0.05, 0.35] (one in
// two),
// offset [0.9, 1.1].
protex::terrain::common settings = {
    .vscale = 2.0,
    .vplus = 52.5,
    .octaves = 8,
    .increment = 1.0,
    .lacunarity = 2.0,
    .frequency = 1.0,
    .basic_color = {0.10, 0.12, 0.18},
    .strip_color = {0.96, 0.94, 0.90},
    .sblend = {0.2, 0.2, 0.2},
    .tblend = {0.8, 0.8, 0.8},
};
double gain = 2.0;   // how strongly a ridge feeds the next octave
double dnoise = 0.0; // how far a noise pushes the points along x first
double offset = 1.0; // the ridges' height

void *run_effect(bitmapfx_driver *driver) {
    const float feed = static_cast<float>(gain), top = static_cast<float>(offset);
    return protex::terrain::render(driver, settings, dnoise,
                                   [&](const auto &octave, const protex::octave_table &o) {
                                       if (o.count == 0)
                                           return 0.0f;
                                       float signal = top - std::fabs(octave(0));
                                       signal *= signal;
                                       float result = signal;
                                       for (int i = 1; i < o.count; ++i) {
                                           const float weight = protex::unit(signal * feed);
                                           signal = top - std::fabs(octave(i));
                                           signal *= signal * weight;
                                           result += signal * o.weight[i];
                                       }
                                       return result * 0.7f - 0.2f;
                                   });
}

void *run_rand(bitmapfx_driver *) {
    protex::terrain::draw(settings, 0.7, 1.2);
    gain = protex::draw(1.5, 3.0);
    dnoise = xrand_bool() ? protex::draw(0.05, 0.35) : 0.0;
    offset = protex::draw(0.9, 1.1);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    PROTEX_TERRAIN_SPACE_ROWS(settings),
    bitmapfx_param("gain", "ridge feedback gain", gain),
    bitmapfx_param("dnoise", "displacement noise strength", dnoise),
    bitmapfx_param("offset", "ridge height", offset),
    PROTEX_TERRAIN_OCTAVE_ROWS(settings),
    PROTEX_TERRAIN_COLOR_ROWS(settings),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_protex_rigid_multi_fractal_driver =
    fxkit::driver("protex.rigid-multi-fractal", "./src/gfx/2d/bitmap/effects/proctext/ptrmfrac.c",
                  "$path.presets$/protex-rigid-multi-fractal.preset",
                  "procedural texture generation with rigid multi fractal shader",
                  fxkit::depths_rgb, parameters, procedures);
