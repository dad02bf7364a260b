// Helpers of the generating effects (plasmas, patterns, noise, snow, flares):
// random draws that print back exactly, fractal fields and the light blend
// the glowing effects paint with.
//
// Every random number comes from the program's generator (xmath/xrand.h), so
// a seed fixes the pictures on every build type and machine.  The fields are
// float arrays computed element by element in a fixed order, which the
// compiler may vectorise without changing a bit.
#pragma once

#include <cstdint>
#include <vector>

namespace fxgen {

// A value from lo to hi (both included) in steps of 1/1000, the form "rand"
// procedures store: "%f" prints it with six decimals and scanning that text
// gives the same double back.
double draw(double lo, double hi);
// `value` rounded to thousandths, the same form as `draw`: for values worked
// out from drawn ones.
double thousandths(double value);
// A whole number from lo to hi, both included.
std::int32_t draw_int(std::int32_t lo, std::int32_t hi);
// A float in [-1, 1) with 16 bits of resolution; one draw of the generator.
float unit();

// A parameter held to lo..hi; NaN (a preset may hold one) gives `lo`.
inline double bounded(double value, double lo, double hi) {
    return value >= lo ? (value <= hi ? value : hi) : lo;
}

// Half the diagonal of a width x height picture (at least 1): the length the
// size parameters of the light effects are measured in, so that a preset
// looks the same at every resolution.
double half_diagonal(int width, int height);

// A fractal field over a width x height picture that repeats seamlessly in
// both directions: the last column continues into the first and the last
// row into the first.
//
// It is built on a lattice whose cells are `cell` pixels wide (rounded down to
// a power of two, at least 1) with one random value a point; each refinement
// halves the cells by cubic B-spline subdivision, which keeps the surface
// smooth, and adds fresh random values whose amplitude is `roughness` times
// that of the level before (0.5 gives clouds, values near 1 a grainy noise),
// down to cells of one pixel.  Only the `octaves` coarsest levels (the
// lattice counting as the first) get new values.  The finer levels would
// only be subdivided further, which converges to the cubic B-spline surface
// over the last noisy level: the field keeps that level and evaluates the
// spline instead, so a smooth field costs little memory whatever the
// picture's size.  A field noisy down to the pixels is sampled bilinearly.
// The lattice is a whole number of cells in each direction and is fitted to
// the picture's size; values have mean 0 and a root mean square of 1 over
// the lattice.
class fractal {
  public:
    fractal(int width, int height, int cell, float roughness, int octaves);
    // Row y (0 .. height-1) of the field at the picture's size, into
    // out[0 .. width-1].
    void row(int y, float *out) const;

  private:
    // Where a picture coordinate reads the lattice: four points and their
    // weights (two for bilinear sampling).
    struct taps {
        int at[4];
        float weight[4];
    };
    taps place(int index, int size, int lattice) const;

    int width_, height_; // the picture's
    int columns_, rows_; // the kept lattice's
    int shrink_;         // lattice points per kept point, each way (a power of two)
    std::vector<float> values_;
    std::vector<taps> across_;        // per picture column
    mutable std::vector<float> line_; // scratch of row(): one lattice row
};

// The largest power of two not above `value` (1 for values below 2).
int power_of_two_below(double value);

// Adds light to a colour byte as a photograph does: `light` (0 = none,
// 1 and more = white) brightens toward 255 without clipping the picture
// underneath, 255 - (255 - byte)(1 - light).
inline std::uint8_t screen(std::uint8_t byte, float light) {
    if (light <= 0.0f)
        return byte;
    if (light >= 1.0f)
        return 255;
    const float value = 255.0f - (255.0f - byte) * (1.0f - light);
    return static_cast<std::uint8_t>(value + 0.5f);
}

} // namespace fxgen
