// What the five fractal terrains ("protex.fbm", "protex.multi-fractal",
// "protex.hybrid-multi-fractal", "protex.rigid-multi-fractal",
// "protex.hetero-terrain") share: the parameters every one of them carries,
// their "rand" ranges, and the run that maps a height to the colour ramp from
// `basic_color` (low) to `strip_color` (high).  Each terrain's own file holds
// its height function, after Musgrave's formulations, over the octave table:
// octave i samples the noise at the point times `frequency` * `lacunarity`^i
// and weighs it by `lacunarity`^(-`increment` * i), `increment` being the
// fractal's H exponent.
#pragma once

#include "gfx/2d/bitmap/effects/proctext/protex.h"

namespace protex::terrain {

struct common {
    double vscale;         // noise units across the picture
    double vplus;          // where the picture lies in the noise
    std::int32_t octaves;  // capped at max_octaves
    double increment;      // H: how fast the octaves' weights fall
    double lacunarity;     // frequency step between octaves
    double frequency;      // of the first octave
    rgbscalar basic_color; // low ground
    rgbscalar strip_color; // high ground
    rgbscalar sblend;      // source weight
    rgbscalar tblend;      // texture weight
};

// "rand" of the common parameters, in this order: vscale [1, 4], vplus
// [0, 100], octaves [5, 9], increment [low_h, high_h], lacunarity [1.8, 2.5],
// frequency [0.6, 1.6], basic_color (each channel [0, 0.45]), strip_color
// (each channel [0.55, 1]), tblend grey [0.6, 1] and sblend 1 - tblend.
void draw(common &c, double low_h, double high_h);

// The noise of each octave at one displaced pixel: the pixel's point pushed
// along x by `dnoise` times a noise of the point, so that the terrain's
// features twist and fold while every point stays in its row (which keeps
// the octaves' row caches useful).  Without displacement the octaves are
// fields.
class octaves_at {
  public:
    octaves_at(noise_field &noise, const octave_table &table, const sample &s, double shift)
        : noise_(noise), table_(table), s_(s), shift_(shift) {}

    float operator()(int i) const {
        const double f = table_.frequency[i];
        return noise_.at(i, (s_.p.x + shift_) * f, s_.p.y * f, s_.p.z * f);
    }

  private:
    noise_field &noise_;
    const octave_table &table_;
    const sample &s_;
    double shift_;
};

// The ramp from low to high ground, with a contour line at every tenth of
// the height, as on a relief map.
inline colour relief(const colour &low, const colour &high, float t) {
    t = unit(t);
    const float level = fraction(t * 10.0);
    const float line = smoothstep(0.0f, 0.07f, std::min(level, 1.0f - level));
    return scaled(mix(low, high, t), 0.78f + 0.22f * line);
}

// Renders `height(octave, table) -> t` through the relief ramp;
// `dnoise` is the displacement (0: none).
template <class Height>
void *render(bitmapfx_driver *driver, const common &c, double dnoise, Height &&height) {
    const octave_table table =
        make_octaves(driver->name, c.octaves, c.increment, c.lacunarity, c.frequency);
    const colour low = rgb(c.basic_color), high = rgb(c.strip_color);
    const bool displaced = dnoise != 0.0;
    noise_field noise(displaced ? table.count : 0);
    const int first = displaced ? -1 : octave_fields(noise, table);
    const int displacement = displaced ? noise.field(identity) : -1;
    if (!displaced)
        return protex::render(driver, placed(c.vscale, c.vplus), blend(c.sblend, c.tblend), noise,
                              [&](const sample &s) {
                                  const auto octave = [&](int i) { return noise(first + i, s); };
                                  return relief(low, high, height(octave, table));
                              });
    return protex::render(
        driver, placed(c.vscale, c.vplus), blend(c.sblend, c.tblend), noise, [&](const sample &s) {
            const octaves_at octave(noise, table, s, dnoise * noise(displacement, s));
            return relief(low, high, height(octave, table));
        });
}

} // namespace protex::terrain

// The parameter rows of the common parameters, in the catalogue's order
// around each terrain's own rows.
#define PROTEX_TERRAIN_SPACE_ROWS(c)                                                               \
    bitmapfx_param("vscale", "noise units across the picture", c.vscale),                          \
        bitmapfx_param("vplus", "offset of the picture in noise space", c.vplus)
#define PROTEX_TERRAIN_OCTAVE_ROWS(c)                                                              \
    bitmapfx_param("octaves", "number of octaves", c.octaves),                                     \
        bitmapfx_param("increment", "fractal increment (H)", c.increment),                         \
        bitmapfx_param("lacunarity", "frequency gap between octaves", c.lacunarity),               \
        bitmapfx_param("frequency", "frequency of the first octave", c.frequency)
#define PROTEX_TERRAIN_COLOR_ROWS(c)                                                               \
    bitmapfx_param("basic_color", "low ground color", c.basic_color),                              \
        bitmapfx_param("strip_color", "high ground color", c.strip_color),                         \
        bitmapfx_param("sblend", "source blending color percentage", c.sblend),                    \
        bitmapfx_param("tblend", "target blending color percentage", c.tblend)
