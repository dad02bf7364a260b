// "protex.marble": veined stone.  Veins are the places where a wave running
// diagonally across the picture, bent by turbulence, crosses zero; the two
// triggers pick where the stone's colour turns into the vein's.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/proctext/protex.h"

namespace {

// Defaults; "rand" draws within the ranges noted.
double vscale = 3.0;                        // [1.5, 6] noise units across the picture
rgbscalar tblend = {0.85, 0.85, 0.85};      // grey, [0.6, 1]; the source fills the rest
rgbscalar basic_color = {0.92, 0.90, 0.86}; // stone: each channel [0.55, 1]
rgbscalar strip_color = {0.28, 0.25, 0.27}; // veins: each channel [0, 0.45]
double basic_trigger = 0.55;                // [0.35, 0.7] vein strength where the vein starts
double strip_trigger = 0.95;                // [0.85, 1] vein strength of full vein colour
std::int32_t turbulence_iter = 6;           // [3, 8] octaves of the turbulence
double turbulence_mul = 1.6;                // [0.6, 2.2] how far the turbulence bends the veins

// Veins per noise unit along the wave.
constexpr double veins = 0.9;

void *run_effect(bitmapfx_driver *driver) {
    const protex::colour stone = protex::rgb(basic_color), vein = protex::rgb(strip_color);
    const int octaves = protex::octave_count(driver->name, turbulence_iter);
    const float bend = static_cast<float>(turbulence_mul);
    const float low = static_cast<float>(basic_trigger), high = static_cast<float>(strip_trigger);
    protex::noise_field noise;
    const int turb = protex::turbulence_fields(noise, octaves);
    return protex::render(
        driver, protex::scaled_only(vscale), protex::blend(tblend), noise,
        [&](const protex::sample &s) {
            const double phase =
                veins * (s.p.x + 0.6 * s.p.y) + bend * protex::turbulence(noise, turb, octaves, s);
            // 1 on a vein's centre line, falling off to both sides.
            const float strength =
                1.0f - std::fabs(protex::wave(
                           0.5 * phase)); // A soft cloud round each vein, the vein itself sharp.
            const float halo = 0.3f * strength * strength * strength;
            return protex::mix(stone, vein,
                               std::max(halo, protex::smoothstep(low, high, strength)));
        });
}

void *run_rand(bitmapfx_driver *) {
    vscale = protex::draw(1.5, 6.0);
    tblend = protex::draw_grey(0.6, 1.0);
    basic_color = protex::draw_colour({0.55, 0.55, 0.55}, {1.0, 1.0, 1.0});
    strip_color = protex::draw_colour({0.0, 0.0, 0.0}, {0.45, 0.45, 0.45});
    basic_trigger = protex::draw(0.35, 0.7);
    strip_trigger = protex::draw(0.85, 1.0);
    turbulence_iter = protex::draw_int(3, 8);
    turbulence_mul = protex::draw(0.6, 2.2);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("vscale", "noise units across the picture", vscale),
    bitmapfx_param("tblend", "target blending color percentage", tblend),
    bitmapfx_param("basic_color", "stone color", basic_color),
    bitmapfx_param("strip_color", "vein color", strip_color),
    bitmapfx_param("basic_trigger", "vein strength where veins begin (0..1)", basic_trigger),
    bitmapfx_param("strip_trigger", "vein strength of full vein color (0..1)", strip_trigger),
    bitmapfx_param("turbulence_iter", "octaves of turbulence", turbulence_iter),
    bitmapfx_param("turbulence_mul", "strength of turbulence", turbulence_mul),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_protex_marble_driver = fxkit::driver(
    "protex.marble", "./src/gfx/2d/bitmap/effects/proctext/ptmarble.c",
    "$path.presets$/protex-marble.preset", "procedural texture generation with marble shader",
    fxkit::depths_rgb, parameters, procedures);
