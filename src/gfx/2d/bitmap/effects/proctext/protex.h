// What the procedural textures ("protex.*") share: each texture file holds
// only its parameter table, its "rand" and a shading function; the pixel
// loop, the mapping into noise space, the fractal sums, the colour ramps and
// the blend with the source live here.
//
// Noise space: pixel (x, y) of a W x H picture is the point
//   ((x + 0.5 - W / 2) / U * vscale + vplus,
//    (y + 0.5 - H / 2) / U * vscale + vplus,
//    vplus + slice)
// with U = max(W, H): the picture's centre sits at (vplus, vplus), its longer
// side spans `vscale` noise units whatever the resolution, and the picture
// is the plane z = vplus + slice, off the lattice planes where the noise
// would have a grid of zeros.  Textures without `vplus` lie at the depth
// z = slice + depth_per_scale * vscale instead: every scale shows a part of
// the noise of its own, so that "rand" varies the pattern and not only its
// size.
//
// A texture is a pure function of the point and its parameters: the same
// point gives the same colour in every picture, at every size, in any order.
// The noise comes through `noise_field`, whose row caches (xnoise_row) make
// a row of points cheap when the shader keeps the picture's x in the noise's
// x slot; they never change a value.
//
// Colours are floats, 0..1 per channel.  The target byte of a channel is
// round(sblend * source + tblend * 255 * texture), clamped to 0..255; bytes
// beyond the third (the alpha of 32-bit pictures) keep the source's.
//
// Random numbers: the textures draw only in "rand", through xrand, and round
// every drawn value to what its text form prints (six decimals), so that a
// preset saved after "rand" reloads the same picture.
#pragma once

#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "xmath/xnoise.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

namespace protex {

struct colour {
    float r, g, b;
};

inline colour rgb(const rgbscalar &c) {
    return {static_cast<float>(c.r), static_cast<float>(c.g), static_cast<float>(c.b)};
}

// t clamped to 0..1 (NaN counts as 0).
inline float unit(float t) {
    return t > 0.0f ? (t < 1.0f ? t : 1.0f) : 0.0f;
}

// a at t = 0, b at t = 1; t is clamped.
inline colour mix(const colour &a, const colour &b, float t) {
    t = unit(t);
    return {a.r + t * (b.r - a.r), a.g + t * (b.g - a.g), a.b + t * (b.b - a.b)};
}

inline colour scaled(const colour &c, float factor) {
    return {c.r * factor, c.g * factor, c.b * factor};
}

// 0 below `low`, 1 above `high`, a smooth S between; a step at `low` when
// the two meet, and falling instead of rising when high < low.
inline float smoothstep(float low, float high, float v) {
    if (low == high)
        return v < low ? 0.0f : 1.0f;
    const float t = unit((v - low) / (high - low));
    return t * t * (3.0f - 2.0f * t);
}

// Fraction of v, 0..1 (0 for NaN and for magnitudes without a fraction).
inline float fraction(double v) {
    if (!(std::fabs(v) < 4503599627370496.0))
        return 0.0f;
    const double f = v - std::floor(v);
    return static_cast<float>(f);
}

// sin(2 pi phase): a wave of period 1, 0 at whole numbers, 1 at 0.25.  A
// polynomial of our own rather than the C library's sine, whose last bits
// may differ between processors (the library picks its code by the
// processor's features); the pictures must not.  Accurate to 1e-6.
inline float wave(double phase) {
    float x = fraction(phase);
    if (x > 0.5f)
        x -= 1.0f; // -0.5 .. 0.5
    if (x > 0.25f)
        x = 0.5f - x; // sin(pi - a) = sin(a)
    else if (x < -0.25f)
        x = -0.5f - x;
    const float t = 6.2831853f * x, t2 = t * t; // -pi/2 .. pi/2
    return t * (1.0f +
                t2 * (-1.0f / 6.0f +
                      t2 * (1.0f / 120.0f +
                            t2 * (-1.0f / 5040.0f + t2 * (1.0f / 362880.0f - t2 / 39916800.0f)))));
}

// base^exponent for base > 0 from +, *, / alone, so that every processor
// gives the same bits (see `wave`); 0 for base 0 and a positive exponent,
// NaN for negative bases.  Relative error below 1e-15.
double power(double base, double exponent);

struct point {
    double x, y, z;
};

inline point scaled(const point &p, double factor) {
    return {p.x * factor, p.y * factor, p.z * factor};
}

// The noise at a point, through one row cache per `lane`.  A shader gives
// each of its noise look-ups (each octave of a sum, each extra field) a lane
// of its own, so that their rows do not evict each other.
class noise_field {
  public:
    static constexpr int lanes = 64;

    noise_field() : rows_(std::make_unique<xnoise_row[]>(lanes)) {}

    // xnoise at the point (within float rounding), -1..1.
    float operator()(int lane, const point &p) { return rows_[lane](p.x, p.y, p.z); }
    float operator()(int lane, double x, double y, double z) { return rows_[lane](x, y, z); }

  private:
    std::unique_ptr<xnoise_row[]> rows_;
};

// Octaves of the fractal sums: frequency and weight of each.
inline constexpr int max_octaves = 24;

struct octave_table {
    int count = 0;
    double frequency[max_octaves] = {};
    double weight[max_octaves] = {}; // lacunarity ^ (-increment * octave)
    double weight_sum = 0.0;         // of the |weight|s
    float weight_rms = 1.0f;         // root of the summed squared weights (1 when empty)
};

// Octave i has frequency `frequency` * `lacunarity`^i and weight
// `lacunarity`^(-`increment` * i).  Negative counts give no octave; counts
// above max_octaves are capped, and the sum stops before the first octave
// whose frequency or weight leaves the finite range (beyond 1e30), each with a
// verbose message naming the driver.  Frequencies and weights come from
// repeated products, the same bits on every processor.
octave_table make_octaves(const char *driver, int octaves, double increment, double lacunarity,
                          double frequency);

// fBm: the sum of noise(p * frequency_i) * weight_i over the table, noise of
// octave i through lane `lane` + i.
float fbm(noise_field &noise, int lane, const octave_table &table, const point &p);

// Turbulence: the sum over `octaves` octaves (at most max_octaves) of
// |noise(p * 2^i)| / 2^i, in 0..2; lanes `lane` .. `lane` + octaves - 1.
float turbulence(noise_field &noise, int lane, int octaves, const point &p);

// The octave count a parameter asks for, capped at max_octaves (with the
// verbose message) and at least 0.
int octave_count(const char *driver, int octaves);

// Draws for "rand": uniform in [low, high], rounded to six decimals (and so
// exactly what the parameter prints and scans back).
double draw(double low, double high);
// Uniform whole number in [low, high].
std::int32_t draw_int(std::int32_t low, std::int32_t high);
// Each channel uniform in [low, high] of that channel, rounded as `draw`.
rgbscalar draw_colour(const rgbscalar &low, const rgbscalar &high);
// The same value w, uniform in [low, high] and rounded, in all three channels.
rgbscalar draw_grey(double low, double high);
// A grey blend weight w in [low, high] for the texture, 1 - w for the source.
void draw_blend(rgbscalar &sblend, rgbscalar &tblend, double low, double high);

// A value rounded to six decimals.
double printable(double value);

// How the texture sits on the picture (see the opening note).
inline constexpr double slice = 0.3183;
inline constexpr double depth_per_scale = 7.31;

struct mapping {
    double vscale;
    double vplus;
    double z;
};
// Textures with `vplus`.
inline mapping placed(double vscale, double vplus) {
    return {vscale, vplus, vplus + slice};
}
// Textures with `vscale` only.
inline mapping scaled_only(double vscale) {
    return {vscale, 0.0, slice + depth_per_scale * vscale};
}

struct blending {
    colour source; // weight of the source byte
    colour target; // weight of the texture
};
inline blending blend(const rgbscalar &sblend, const rgbscalar &tblend) {
    return {rgb(sblend), rgb(tblend)};
}
// Textures that carry only `tblend`: the source fills what the texture leaves.
inline blending blend(const rgbscalar &tblend) {
    return {{1.0f - static_cast<float>(tblend.r), 1.0f - static_cast<float>(tblend.g),
             1.0f - static_cast<float>(tblend.b)},
            rgb(tblend)};
}
// The texture alone.
inline constexpr blending opaque = {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}};

inline std::uint8_t to_byte(float v) {
    return v > 0.0f ? (v < 255.0f ? static_cast<std::uint8_t>(v + 0.5f) : 255) : 0;
}

// The source picture at 24 or 32 bpp, or null (nothing to render).
const bitmap *source_of(bitmapfx_driver *driver);

// Renders `shade(noise, point) -> colour` over the driver's source picture
// and stores the result as its target (the "fx" procedure's result).
template <class Shader>
void *render(bitmapfx_driver *driver, const mapping &map, const blending &mix, Shader &&shade) {
    const bitmap *source = source_of(driver);
    if (!source)
        return nullptr;
    bitmap *target = fxkit::resized_like(source, source->xsize, source->ysize);
    if (!target)
        return nullptr;
    const fxkit::view from(source), to(target);
    const double side = std::max(from.width, from.height);
    const double step = map.vscale / side;
    const double x0 = (0.5 - 0.5 * from.width) * step + map.vplus;
    const double y0 = (0.5 - 0.5 * from.height) * step + map.vplus;
    const double z = map.z;
    const float tr = 255.0f * mix.target.r, tg = 255.0f * mix.target.g, tb = 255.0f * mix.target.b;

    noise_field noise;
    progress_guard progress(driver->name, driver->comment);
    for (int y = 0; y < from.height; ++y) {
        progress.add(y, from.height);
        const double py = y0 + y * step;
        const std::uint8_t *in = from.row(y);
        std::uint8_t *out = to.row(y);
        for (int x = 0; x < from.width; ++x, in += from.channels, out += to.channels) {
            const colour c = shade(noise, point{x0 + x * step, py, z});
            out[0] = to_byte(mix.source.r * in[0] + tr * c.r);
            out[1] = to_byte(mix.source.g * in[1] + tg * c.g);
            out[2] = to_byte(mix.source.b * in[2] + tb * c.b);
            if (to.channels == 4)
                out[3] = in[3];
        }
    }
    progress.finish();
    return fxkit::finish(driver, target);
}

} // namespace protex
