// "protex.planet": a world seen from orbit.  A fractal height field is sea
// below level 0 (darker where deeper) and land above it, from the low land's
// colour to the high land's, with snow on the highest peaks; a second,
// softer fractal lays clouds over both.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/proctext/protex.h"

namespace {

// Defaults; "rand" draws within the ranges noted.
double vscale = 3.0;                        // [1.5, 6] noise units across the picture
double csize = 1.0;                         // [0.4, 2.5] size of the clouds (0 or less: none)
rgbscalar lland_color = {0.22, 0.45, 0.14}; // r [0.1, 0.45], g [0.3, 0.6], b [0.05, 0.25]
rgbscalar hland_color = {0.55, 0.45, 0.30}; // r [0.4, 0.7], g [0.3, 0.55], b [0.15, 0.4]
rgbscalar sea_color = {0.05, 0.16, 0.45};   // r [0, 0.15], g [0.05, 0.35], b [0.3, 0.7]
rgbscalar cloud_color = {0.97, 0.97, 0.97}; // each channel [0.85, 1]
rgbscalar sblend = {0.0, 0.0, 0.0};         // 1 - tblend
rgbscalar tblend = {1.0, 1.0, 1.0};         // grey, [0.75, 1]

constexpr int height_octaves = 8;
constexpr int cloud_octaves = 5;
constexpr protex::colour snow = {0.95f, 0.95f, 0.97f};

void *run_effect(bitmapfx_driver *driver) {
    const protex::colour low = protex::rgb(lland_color), high = protex::rgb(hland_color),
                         sea = protex::rgb(sea_color), cloud = protex::rgb(cloud_color);
    const protex::octave_table relief =
        protex::make_octaves(driver->name, height_octaves, 0.85, 2.0, 1.0);
    const bool clouds = csize > 0.0;
    const protex::octave_table sky =
        protex::make_octaves(driver->name, clouds ? cloud_octaves : 0, 0.6, 2.0, 0.5 / csize);
    protex::noise_field noise;
    const int ground_fields = protex::octave_fields(noise, relief);
    // The clouds read the noise far from the ground's.
    const int sky_fields =
        protex::octave_fields(noise, sky, protex::moved(protex::identity, 0.0, 0.0, 40.0));
    return protex::render(
        driver, protex::scaled_only(vscale), protex::blend(sblend, tblend), noise,
        [&](const protex::sample &s) {
            const float h = protex::fbm(noise, ground_fields, relief, s) * 1.6f;
            protex::colour ground;
            if (h < 0.0f) {
                ground = protex::scaled(sea, 1.0f + 0.6f * std::max(h, -1.0f));
                // Shallow water near the coasts.
                ground = protex::mix(ground, protex::mix(sea, low, 0.45f),
                                     protex::smoothstep(-0.06f, 0.0f, h) * 0.6f);
            } else {
                ground = protex::mix(low, high, h * 1.6f);
                ground = protex::mix(ground, snow, protex::smoothstep(0.62f, 0.75f, h));
            }
            if (!clouds)
                return ground;
            const float c = protex::fbm(noise, sky_fields, sky, s) / sky.weight_rms;
            return protex::mix(ground, cloud, protex::smoothstep(0.08f, 0.4f, c) * 0.9f);
        });
}

void *run_rand(bitmapfx_driver *) {
    vscale = protex::draw(1.5, 6.0);
    csize = protex::draw(0.4, 2.5);
    lland_color = protex::draw_colour({0.1, 0.3, 0.05}, {0.45, 0.6, 0.25});
    hland_color = protex::draw_colour({0.4, 0.3, 0.15}, {0.7, 0.55, 0.4});
    sea_color = protex::draw_colour({0.0, 0.05, 0.3}, {0.15, 0.35, 0.7});
    cloud_color = protex::draw_colour({0.85, 0.85, 0.85}, {1.0, 1.0, 1.0});
    protex::draw_blend(sblend, tblend, 0.75, 1.0);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("vscale", "noise units across the picture", vscale),
    bitmapfx_param("csize", "cloud size (0: no clouds)", csize),
    bitmapfx_param("lland_color", "low land color", lland_color),
    bitmapfx_param("hland_color", "high land color", hland_color),
    bitmapfx_param("sea_color", "sea color", sea_color),
    bitmapfx_param("cloud_color", "cloud color", cloud_color),
    bitmapfx_param("sblend", "source blending color percentage", sblend),
    bitmapfx_param("tblend", "target blending color percentage", tblend),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_protex_planet_driver = fxkit::driver(
    "protex.planet", "./src/gfx/2d/bitmap/effects/proctext/ptplanet.c",
    "$path.presets$/protex-planet.preset", "procedural texture generation with planet shader",
    fxkit::depths_rgb, parameters, procedures);
