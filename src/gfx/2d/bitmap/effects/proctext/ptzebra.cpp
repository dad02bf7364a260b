// "protex.zebra": wavy stripes that fork and merge, as on a zebra's coat.
// The stripes run across x; turbulence bends them and the sharp edge of the
// ramp keeps them crisp.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/proctext/protex.h"

namespace {

// Defaults; "rand" draws within the ranges noted.
double vscale = 3.0;                        // [2, 6] noise units across the picture
rgbscalar basic_color = {0.95, 0.93, 0.88}; // light coat: each channel [0.75, 1]
rgbscalar strip_color = {0.06, 0.05, 0.05}; // stripes: each channel [0, 0.25]
rgbscalar sblend = {0.25, 0.25, 0.25};      // 1 - tblend
rgbscalar tblend = {0.75, 0.75, 0.75};      // grey, [0.6, 1]

// Stripes per noise unit and how far the turbulence bends them.
constexpr double stripes = 2.2;
constexpr float bend = 1.6f;

void *run_effect(bitmapfx_driver *driver) {
    const protex::colour light = protex::rgb(basic_color), dark = protex::rgb(strip_color);
    protex::noise_field noise;
    const int bent = protex::turbulence_fields(noise, 4);
    const int drift = noise.field(protex::identity);
    return protex::render(
        driver, protex::scaled_only(vscale), protex::blend(sblend, tblend), noise,
        [&](const protex::sample &s) {
            const float warp = protex::turbulence(noise, bent, 4, s) + 0.4f * noise(drift, s);
            const float wave = protex::wave(s.p.x * stripes + bend * warp);
            return protex::mix(light, dark, protex::smoothstep(-0.12f, 0.12f, wave));
        });
}

void *run_rand(bitmapfx_driver *) {
    vscale = protex::draw(2.0, 6.0);
    basic_color = protex::draw_colour({0.75, 0.75, 0.75}, {1.0, 1.0, 1.0});
    strip_color = protex::draw_colour({0.0, 0.0, 0.0}, {0.25, 0.25, 0.25});
    protex::draw_blend(sblend, tblend, 0.6, 1.0);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("vscale", "noise units across the picture", vscale),
    bitmapfx_param("basic_color", "coat color", basic_color),
    bitmapfx_param("strip_color", "stripe color", strip_color),
    bitmapfx_param("sblend", "source blending color percentage", sblend),
    bitmapfx_param("tblend", "target blending color percentage", tblend),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_protex_zebra_driver = fxkit::driver(
    "protex.zebra", "./src/gfx/2d/bitmap/effects/proctext/ptzebra.c",
    "$path.presets$/protex-zebra.preset", "procedural texture generation with zebra shader",
    fxkit::depths_rgb, parameters, procedures);
