// Gradient noise for the procedural textures: a smooth, repeatable pseudo-
// random function of three coordinates.  The lattice of integer points carries
// one of 12 gradient directions (the edge midpoints of a cube, (±1, ±1, 0) and
// its permutations), picked by hashing the point through a fixed permutation
// table; between the points the gradients' contributions blend with the
// quintic fade 6t^5 - 15t^4 + 10t^3, so the noise is smooth in value, slope
// and curvature across cell borders.
//
// The permutation comes from a private fixed-seed generator, never from the
// program's random numbers: the same coordinates give the same noise in every
// run and build, and calling the noise changes no random sequence.  The noise
// repeats every 256 units along each axis.  Coordinates keep their detail while
// a float holds their fractions (|v| well below 2^23); from 2^24 on every value
// lies on a lattice plane, and infinite or NaN coordinates count as 0.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

// Builds the lattice permutation ("noise_table") if it is not built yet.  Every
// noise function does so itself; calling it up front only moves the moment.
void xnoise_init();

// Noise in [-1, 1], 0 at every lattice point (all three coordinates integers).
// The values spread roughly like a bell around 0; magnitudes near 1 are rare.
float xnoise(float x, float y, float z);

// Vector noise for displacing texture coordinates: three noises of the same
// kind, from three far-apart, unrelated parts of the lattice, stored into
// result[0..2].  Each component lies in [-1, 1] and is 0 at lattice points;
// result[0] equals xnoise(x, y, z).
void xnoise_d(float x, float y, float z, float result[3]);

// Turbulence: the sum over `octaves` octaves of |xnoise| with the frequency
// doubling and the weight halving at each octave (1, 1/2, 1/4, ...).  In
// [0, 2); 0 for octaves <= 0; octaves beyond the 32nd would add less than
// 2^-32 each and are not computed.
float xnoise_turbulence(float x, float y, float z, int octaves);

// sin(2·pi·value): a smooth wave of period 1 in [-1, 1], 0 at whole and half
// numbers, 1 at 0.25, -1 at 0.75.
float xnoise_cycloidal(float value);

// Triangle wave of period 1 in [0, 1]: 0 at whole numbers, rising linearly to
// 1 at half numbers and falling back.
float xnoise_twave(float value);

// xnoise swept along rows: the value at (x, y, z) equals xnoise(x, y, z) up to
// float rounding (the two differ by less than 1e-6), at a fraction of the
// cost when many points share their y and z, as the points of one picture
// row do.  For fixed y and z the four corner gradients of every lattice
// column fold into one slope and one offset, so a point costs two straight
// lines and one fade; the folded columns of the current (y, z) are kept and
// folded anew when y or z changes.  That store is a cache only: a value never
// depends on what was asked before.
//
// Coordinates are doubles and are reduced by the period (256) before they
// are split into cell and fraction, so points far from the origin (high
// octaves of a fractal sum) keep their fine detail; infinite or NaN
// coordinates count as 0, as in xnoise.  One object serves one caller at a
// time (it is not for sharing between threads); it holds about 5.5 KB.
class xnoise_row {
  public:
    xnoise_row();

    float operator()(double x, double y, double z) {
        if (!same_bits(y, y_) || !same_bits(z, z_))
            select(y, z);
        // Beyond 2^52 a double has no fraction left and the conversion below
        // would overflow: reduce by the period first (0 for infinities, NaN).
        if (!(std::fabs(x) < 4503599627370496.0)) [[unlikely]]
            x = reduce_large(x);
        std::int64_t whole = static_cast<std::int64_t>(x);
        double base = static_cast<double>(whole);
        if (x < base) {
            --whole;
            base -= 1.0;
        }
        const float fx = static_cast<float>(x - base);
        const cell &c = fetch(static_cast<int>(whole & 255));
        const float left = c.slope[0] * fx + c.offset[0];
        const float right = c.slope[1] * (fx - 1.0f) + c.offset[1];
        return left + fx * fx * fx * (fx * (fx * 6.0f - 15.0f) + 10.0f) * (right - left);
    }

    // out[i] = the noise at (x0 + i * dx, y, z) for i < count: a line of
    // points, as a picture row gives, at a few operations a point.  The
    // values agree with xnoise as operator()'s do (the same cells, with the
    // offsets into them worked out along the line), though not always to the
    // last bit of operator()'s.
    void sweep(double x0, double dx, int count, double y, double z, float *out);

  private:
    // The folded lattice columns at both ends of one cell.
    struct cell {
        std::uint32_t stamp; // equal to stamp_ when folded for the current (y, z)
        float slope[2], offset[2];
    };

    static bool same_bits(double a, double b) {
        std::uint64_t ua, ub;
        std::memcpy(&ua, &a, sizeof ua);
        std::memcpy(&ub, &b, sizeof ub);
        return ua == ub;
    }
    static double reduce_large(double v);
    const cell &fetch(int index) {
        const cell &c = cells_[index];
        if (c.stamp != stamp_) [[unlikely]]
            fold(index);
        return c;
    }
    void select(double y, double z);
    void fold(int index);

    cell cells_[256];
    std::uint32_t stamp_ = 0;
    double y_ = 0.0, z_ = 0.0;
    int yi_ = 0, zi_ = 0;
    float fy_ = 0.0f, fz_ = 0.0f;
    float weight_[2][2] = {}; // of the (y, z) corners: [y high][z high]
    // A corner's share of a column's slope and offset, by gradient direction.
    float slope_part_[2][2][12] = {}, offset_part_[2][2][12] = {};
};
