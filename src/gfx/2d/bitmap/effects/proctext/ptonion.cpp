// "protex.onion": rings round the centre of the picture, like a cut onion's
// layers, each ring's radius wobbling with the noise.  Normally thin lines of
// the strip colour on the basic colour; `inverse` turns the profile over, so
// that wide strip-coloured layers are parted by thin basic-coloured gaps.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/proctext/protex.h"
#include "xmath/xrand.h"

namespace {

// Defaults; "rand" draws within the ranges noted.
double vscale = 4.0;                        // [2, 8] noise units across the picture
std::int32_t inverse = 0;                   // false or true, one in two
rgbscalar basic_color = {0.93, 0.88, 0.78}; // each channel [0.5, 1]
rgbscalar strip_color = {0.55, 0.25, 0.45}; // each channel [0, 0.6]
rgbscalar sblend = {0.2, 0.2, 0.2};         // 1 - tblend
rgbscalar tblend = {0.8, 0.8, 0.8};         // grey, [0.6, 1]

constexpr double rings = 3.0; // per noise unit of radius

void *run_effect(bitmapfx_driver *driver) {
    const protex::colour back = protex::rgb(basic_color), line = protex::rgb(strip_color);
    const bool inverted = inverse != 0;
    protex::noise_field noise;
    const int slow = noise.field(protex::scale(0.8)), quick = noise.field(protex::scale(4.0));
    return protex::render(driver, protex::scaled_only(vscale), protex::blend(sblend, tblend), noise,
                          [&](const protex::sample &s) {
                              const double radius = std::sqrt(s.p.x * s.p.x + s.p.y * s.p.y);
                              const float wobble = 0.25f * noise(slow, s) + 0.06f * noise(quick, s);
                              const float ring = protex::fraction(radius * rings + wobble);
                              // 1 at a ring's line, 0 between lines, soft at the line's edges.
                              const float at_line =
                                  1.0f -
                                  protex::smoothstep(0.06f, 0.16f, std::min(ring, 1.0f - ring));
                              return protex::mix(back, line, inverted ? 1.0f - at_line : at_line);
                          });
}

void *run_rand(bitmapfx_driver *) {
    vscale = protex::draw(2.0, 8.0);
    inverse = xrand_bool() ? 1 : 0;
    basic_color = protex::draw_colour({0.5, 0.5, 0.5}, {1.0, 1.0, 1.0});
    strip_color = protex::draw_colour({0.0, 0.0, 0.0}, {0.6, 0.6, 0.6});
    protex::draw_blend(sblend, tblend, 0.6, 1.0);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("vscale", "noise units across the picture", vscale),
    bitmapfx_param_typed("inverse", "wide layers, thin gaps", DTYPE_BOOL, inverse),
    bitmapfx_param("basic_color", "layer color", basic_color),
    bitmapfx_param("strip_color", "ring color", strip_color),
    bitmapfx_param("sblend", "source blending color percentage", sblend),
    bitmapfx_param("tblend", "target blending color percentage", tblend),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_protex_onion_driver = fxkit::driver(
    "protex.onion", "./src/gfx/2d/bitmap/effects/proctext/ptonion.c",
    "$path.presets$/protex-onion.preset", "procedural texture generation with onion shader",
    fxkit::depths_rgb, parameters, procedures);
