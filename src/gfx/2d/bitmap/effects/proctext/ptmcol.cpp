// "protex.multi-color": a fractal noise painted through a ramp of eleven
// colours, `arg0` at the lowest values to `arg10` at the highest, blended
// linearly between neighbours.  The texture covers the picture alone.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/proctext/protex.h"

namespace {

// Defaults; "rand" draws vscale [1.5, 5], vplus [0, 100], then arg0 each
// channel [0, 1] and every next colour a step from the one before, each
// channel moved by [-0.35, 0.35] and kept inside 0..1.
double vscale = 3.0; // noise units across the picture
double vplus = 0.0;  // where the picture lies in the noise
rgbscalar arg[11] = {
    {0.02, 0.05, 0.25}, {0.05, 0.20, 0.55}, {0.10, 0.45, 0.75}, {0.75, 0.80, 0.55},
    {0.35, 0.60, 0.20}, {0.15, 0.45, 0.12}, {0.45, 0.40, 0.20}, {0.55, 0.35, 0.20},
    {0.50, 0.48, 0.46}, {0.80, 0.80, 0.82}, {1.00, 1.00, 1.00},
};

constexpr int ramp_octaves = 6;

void *run_effect(bitmapfx_driver *driver) {
    protex::colour ramp[11];
    for (int i = 0; i < 11; ++i)
        ramp[i] = protex::rgb(arg[i]);
    const protex::octave_table octaves =
        protex::make_octaves(driver->name, ramp_octaves, 0.9, 2.0, 1.0);
    protex::noise_field noise;
    const int first = protex::octave_fields(noise, octaves);
    return protex::render(
        driver, protex::placed(vscale, vplus), protex::opaque, noise, [&](const protex::sample &s) {
            const float t = protex::unit(0.5f + 1.15f * protex::fbm(noise, first, octaves, s) /
                                                    octaves.weight_rms);
            const float at = t * 10.0f;
            const int i = std::min(static_cast<int>(at), 9);
            return protex::mix(ramp[i], ramp[i + 1], at - static_cast<float>(i));
        });
}

void *run_rand(bitmapfx_driver *) {
    vscale = protex::draw(1.5, 5.0);
    vplus = protex::draw(0.0, 100.0);
    arg[0] = protex::draw_colour({0.0, 0.0, 0.0}, {1.0, 1.0, 1.0});
    for (int i = 1; i < 11; ++i) {
        const rgbscalar step = protex::draw_colour({-0.35, -0.35, -0.35}, {0.35, 0.35, 0.35});
        arg[i] = {std::clamp(arg[i - 1].r + step.r, 0.0, 1.0),
                  std::clamp(arg[i - 1].g + step.g, 0.0, 1.0),
                  std::clamp(arg[i - 1].b + step.b, 0.0, 1.0)};
        arg[i] = {protex::printable(arg[i].r), protex::printable(arg[i].g),
                  protex::printable(arg[i].b)};
    }
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("vscale", "noise units across the picture", vscale),
    bitmapfx_param("vplus", "offset of the picture in noise space", vplus),
    bitmapfx_param("arg0", "color at the lowest noise", arg[0]),
    bitmapfx_param("arg1", "color 1 of 10", arg[1]),
    bitmapfx_param("arg2", "color 2 of 10", arg[2]),
    bitmapfx_param("arg3", "color 3 of 10", arg[3]),
    bitmapfx_param("arg4", "color 4 of 10", arg[4]),
    bitmapfx_param("arg5", "color 5 of 10", arg[5]),
    bitmapfx_param("arg6", "color 6 of 10", arg[6]),
    bitmapfx_param("arg7", "color 7 of 10", arg[7]),
    bitmapfx_param("arg8", "color 8 of 10", arg[8]),
    bitmapfx_param("arg9", "color 9 of 10", arg[9]),
    bitmapfx_param("arg10", "color at the highest noise", arg[10]),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_protex_multi_color_driver =
    fxkit::driver("protex.multi-color", "./src/gfx/2d/bitmap/effects/proctext/ptmcol.c",
                  "$path.presets$/protex-multi-color.preset",
                  "procedural texture generation with multi-color shader", fxkit::depths_rgb,
                  parameters, procedures);
