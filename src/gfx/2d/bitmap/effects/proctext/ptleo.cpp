// "protex.leopard": rosettes on a tawny coat.  Where a warped noise rises
// above a level it draws a dark, broken ring, and inside the ring the coat is
// a little darker, as in a leopard's rosettes.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/proctext/protex.h"

namespace {

// Defaults; "rand" draws within the ranges noted.
double vscale = 12.0;                       // [8, 18] noise units across the picture
rgbscalar basic_color = {0.86, 0.64, 0.30}; // coat: r [0.7, 1], g/r [0.6, 0.8], b/g [0.25, 0.6]
rgbscalar strip_color = {0.10, 0.07, 0.04}; // spots: each channel [0, 0.2]
rgbscalar sblend = {0.15, 0.15, 0.15};      // 1 - tblend
rgbscalar tblend = {0.85, 0.85, 0.85};      // grey, [0.6, 1]

void *run_effect(bitmapfx_driver *driver) {
    const protex::colour coat = protex::rgb(basic_color), spot = protex::rgb(strip_color);
    protex::noise_field noise(1);
    const int bend = noise.field(protex::scale(2.3));
    const int broken = noise.field(protex::scale(9.0));
    const int gaps = noise.field(protex::moved(protex::scale(5.0), 0.0, 0.0, 31.0));
    return protex::render(
        driver, protex::scaled_only(vscale), protex::blend(sblend, tblend), noise,
        [&](const protex::sample &s) {
            // Bend the blobs a little along x, and break their rims with fine
            // noise.
            const double warp = 0.35 * noise(bend, s);
            const float n = noise.at(0, s.p.x + warp, s.p.y, s.p.z);
            const float rim =
                0.05f *
                noise(broken, s); // A rim of dark patches, broken where the fine noise dips.
            const float ring = protex::smoothstep(0.14f, 0.18f, n + rim) *
                               (1.0f - protex::smoothstep(0.26f, 0.3f, n - rim)) *
                               protex::smoothstep(-0.12f, -0.04f, noise(gaps, s));
            const float inside = protex::smoothstep(0.26f, 0.3f, n);
            const protex::colour base = protex::mix(coat, protex::scaled(coat, 0.72f), inside);
            return protex::mix(base, spot, ring);
        });
}

void *run_rand(bitmapfx_driver *) {
    vscale = protex::draw(8.0, 18.0);
    basic_color = protex::draw_tint(0.7, 1.0, 0.6, 0.8, 0.25, 0.6);
    strip_color = protex::draw_colour({0.0, 0.0, 0.0}, {0.2, 0.2, 0.2});
    protex::draw_blend(sblend, tblend, 0.6, 1.0);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("vscale", "noise units across the picture", vscale),
    bitmapfx_param("basic_color", "coat color", basic_color),
    bitmapfx_param("strip_color", "spot color", strip_color),
    bitmapfx_param("sblend", "source blending color percentage", sblend),
    bitmapfx_param("tblend", "target blending color percentage", tblend),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_protex_leopard_driver = fxkit::driver(
    "protex.leopard", "./src/gfx/2d/bitmap/effects/proctext/ptleo.c",
    "$path.presets$/protex-leopard.preset", "procedural texture generation with leopard shader",
    fxkit::depths_rgb, parameters, procedures);
