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
#include <vector>

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
// Floor by truncation and correction: plain x86-64 code makes a library call
// of std::floor.
inline float fraction(double v) {
    if (!(std::fabs(v) < 4503599627370496.0))
        return 0.0f;
    double whole = static_cast<double>(static_cast<std::int64_t>(v));
    if (v < whole)
        whole -= 1.0;
    return static_cast<float>(v - whole);
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

// A pixel to shade: its point in noise space and its column in the row.
struct sample {
    point p;
    int column;
};

// Where a noise field reads the noise: at
// (p.x * sx + ox, p.y * sy + oy, p.z * sz + oz) for the pixel's point p.
struct affine {
    double sx, sy, sz, ox, oy, oz;
};
inline constexpr affine identity = {1.0, 1.0, 1.0, 0.0, 0.0, 0.0};
inline constexpr affine scale(double f) {
    return {f, f, f, 0.0, 0.0, 0.0};
}
inline constexpr affine scale(double fx, double fy, double fz) {
    return {fx, fy, fz, 0.0, 0.0, 0.0};
}
// `a` followed by a scaling by f.
inline constexpr affine scale(const affine &a, double f) {
    return {a.sx * f, a.sy * f, a.sz * f, a.ox * f, a.oy * f, a.oz * f};
}
inline constexpr affine moved(const affine &a, double dx, double dy, double dz) {
    return {a.sx, a.sy, a.sz, a.ox + dx, a.oy + dy, a.oz + dz};
}
inline point apply(const affine &a, const point &p) {
    return {p.x * a.sx + a.ox, p.y * a.sy + a.oy, p.z * a.sz + a.oz};
}

// The noise a shader reads, in two ways:
// - fields, declared before the picture is rendered: the noise at an affine
//   image of the pixel's point.  Every field is worked out over a whole row
//   before the row is shaded (xnoise_row::sweep), so a pixel costs one read;
// - `at`, the noise at any point, for points moved by other noise: through
//   one of `lanes` row caches, which stay cheap while the points a lane is
//   asked for keep their y and z.
// Both give the value of xnoise at the point (within float rounding), the
// same bits whichever way and in whatever order they are asked; the stores
// behind them are caches only.
class noise_field {
  public:
    explicit noise_field(int lanes = 0);

    // Declares a field and returns its number.
    int field(const affine &where);

    // A field at a pixel of the current row.
    float operator()(int field, const sample &s) const {
        return values_[static_cast<std::size_t>(field) * width_ + s.column];
    }
    float at(int lane, const point &q) { return lanes_[lane](q.x, q.y, q.z); }
    float at(int lane, double x, double y, double z) { return lanes_[lane](x, y, z); }

    // The renderer's: the picture's row geometry, then each row in turn,
    // which works out every field over the row.
    void begin(int width, double x0, double step);
    void row(double y, double z);

  private:
    void fill(int field);

    std::vector<affine> fields_;
    std::vector<xnoise_row> rows_;  // one per field
    std::vector<xnoise_row> lanes_; // for `at`
    std::vector<float> values_;     // width_ per field
    std::size_t width_ = 0;
    double x0_ = 0.0, step_ = 0.0, y_ = 0.0, z_ = 0.0;
};

// Octaves of the fractal sums: frequency and weight of each.
inline constexpr int max_octaves = 24;

struct octave_table {
    int count = 0;
    double frequency[max_octaves] = {};
    float weight[max_octaves] = {}; // lacunarity ^ (-increment * octave)
    double weight_sum = 0.0;        // of the |weight|s
    float weight_rms = 1.0f;        // root of the summed squared weights (1 when empty)
};

// Octave i has frequency `frequency` * `lacunarity`^i and weight
// `lacunarity`^(-`increment` * i).  Negative counts give no octave; counts
// above max_octaves are capped, and the sum stops before the first octave
// whose frequency or weight leaves the finite range (beyond 1e30), each with a
// verbose message naming the driver.  Frequencies and weights come from
// repeated products, the same bits on every processor.
octave_table make_octaves(const char *driver, int octaves, double increment, double lacunarity,
                          double frequency);

// Fields for the octaves of a table: field first + i reads the noise at
// `base` scaled by the octave's frequency.  Returns the first field.
int octave_fields(noise_field &noise, const octave_table &table, const affine &base = identity);

// fBm: the sum of the octaves' noise times their weights.
float fbm(noise_field &noise, int first, const octave_table &table, const sample &s);

// Fields for turbulence: field first + i at `base` scaled by 2^i, for
// `octaves` octaves (at most max_octaves).  Returns the first field.
int turbulence_fields(noise_field &noise, int octaves, const affine &base = identity);

// Turbulence: the sum over the octaves of |noise| / 2^i, in 0..2.
float turbulence(noise_field &noise, int first, int octaves, const sample &s);

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
// A colour of one hue family: red uniform in [r_low, r_high], green that
// red times [g_low, g_high], blue that green times [b_low, b_high], each
// rounded as `draw` (so woods stay brown and coats tawny).
rgbscalar draw_tint(double r_low, double r_high, double g_low, double g_high, double b_low,
                    double b_high);
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

// Renders `shade(sample) -> colour` over the driver's source picture, with
// the noise fields the shader declared in `noise`, and stores the result as
// the driver's target (the "fx" procedure's result).
template <class Shader>
void *render(bitmapfx_driver *driver, const mapping &map, const blending &mix, noise_field &noise,
             Shader &&shade) {
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
    const float tr = 255.0f * mix.target.r, tg = 255.0f * mix.target.g, tb = 255.0f * mix.target.b;

    noise.begin(from.width, x0, step);
    progress_guard progress(driver->name, driver->comment);
    for (int y = 0; y < from.height; ++y) {
        progress.add(y, from.height);
        const double py = y0 + y * step;
        noise.row(py, map.z);
        const std::uint8_t *in = from.row(y);
        std::uint8_t *out = to.row(y);
        for (int x = 0; x < from.width; ++x, in += from.channels, out += to.channels) {
            const colour c = shade(sample{{x0 + x * step, py, map.z}, x});
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
