#include "xmath/xnoise.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace {

// Over all gradient choices the unscaled noise peaks at 1.03635 (found by
// maximising each corner's best contribution over the cell); this scale keeps
// the result inside [-1, 1] with room for float rounding.
constexpr float noise_scale = 0.9649f;
constexpr int octave_limit = 32;
// Where each component of the vector noise reads the lattice: far apart and
// unrelated, so that the three components do not move together.
constexpr int vector_offsets[3][3] = {{0, 0, 0}, {89, 157, 211}, {173, 41, 101}};

struct lattice_table {
    // A permutation of 0..255 written twice, so that chained lookups
    // perm[perm[i] + j] never need wrapping.
    std::uint8_t perm[512];
    // The gradient of each hash value, one of the 12 cube-edge directions.
    float gradient[256][3];
};

// The private generator behind the permutation (xorshift32): fixed seed, its
// own state, so the program's random sequence is never touched.
std::uint32_t next_private(std::uint32_t &state) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}

// The 12 gradient directions, the edge midpoints of a cube.
constexpr float directions[12][3] = {
    {1, 1, 0},  {-1, 1, 0},  {1, -1, 0}, {-1, -1, 0}, {1, 0, 1},  {-1, 0, 1},
    {1, 0, -1}, {-1, 0, -1}, {0, 1, 1},  {0, -1, 1},  {0, 1, -1}, {0, -1, -1},
};

lattice_table build_noise_table() {
    lattice_table table{};
    std::uint32_t state = 0x6E6F6973u;
    for (int i = 0; i < 256; ++i)
        table.perm[i] = static_cast<std::uint8_t>(i);
    for (int i = 255; i > 0; --i) {
        const int j = static_cast<int>(next_private(state) % static_cast<std::uint32_t>(i + 1));
        const std::uint8_t swap = table.perm[i];
        table.perm[i] = table.perm[j];
        table.perm[j] = swap;
    }
    for (int i = 0; i < 256; ++i) {
        table.perm[256 + i] = table.perm[i];
        for (int axis = 0; axis < 3; ++axis)
            table.gradient[i][axis] = directions[i % 12][axis];
    }
    return table;
}

const lattice_table &noise_table() {
    static const lattice_table table = build_noise_table();
    return table;
}

struct lattice_coordinate {
    int cell;       // 0..255
    float fraction; // 0..1 within the cell
};

// Beyond 2^24 a float has no fraction left; reducing by the period keeps the
// cell index in range, and an infinite or NaN coordinate counts as 0.
float reduce_large(float v) {
    return std::isfinite(v) ? std::fmod(v, 256.0f) : 0.0f;
}

inline lattice_coordinate split(float v) {
    if (!(std::fabs(v) < 16777216.0f)) [[unlikely]]
        v = reduce_large(v);
    // floor by truncation and correction: the same value as std::floor in this
    // range, without the library call that plain x86-64 code makes for it.
    int cell = static_cast<int>(v);
    if (v < static_cast<float>(cell))
        --cell;
    return {cell & 255, v - static_cast<float>(cell)};
}

inline float fade(float t) {
    return t * t * t * (t * (t * 6.0f - 15.0f) + 10.0f);
}

inline float lerp(float t, float a, float b) {
    return a + t * (b - a);
}

inline float contribution(const lattice_table &table, int hash, float x, float y, float z) {
    const float *g = table.gradient[hash];
    return g[0] * x + g[1] * y + g[2] * z;
}

float lattice_noise(float x, float y, float z, const int offset[3]) {
    const lattice_table &t = noise_table();
    const lattice_coordinate cx = split(x), cy = split(y), cz = split(z);
    const int xi = (cx.cell + offset[0]) & 255;
    const int yi = (cy.cell + offset[1]) & 255;
    const int zi = (cz.cell + offset[2]) & 255;
    const float fx = cx.fraction, fy = cy.fraction, fz = cz.fraction;
    const float gx = fx - 1.0f, gy = fy - 1.0f, gz = fz - 1.0f;

    // Hashes of the eight corners, (x, y) pairs first, then z.
    const int a = t.perm[xi] + yi, b = t.perm[xi + 1] + yi;
    const int aa = t.perm[a] + zi, ab = t.perm[a + 1] + zi;
    const int ba = t.perm[b] + zi, bb = t.perm[b + 1] + zi;

    const float u = fade(fx), v = fade(fy), w = fade(fz);
    const float near_low =
        lerp(u, contribution(t, t.perm[aa], fx, fy, fz), contribution(t, t.perm[ba], gx, fy, fz));
    const float near_high =
        lerp(u, contribution(t, t.perm[ab], fx, gy, fz), contribution(t, t.perm[bb], gx, gy, fz));
    const float far_low = lerp(u, contribution(t, t.perm[aa + 1], fx, fy, gz),
                               contribution(t, t.perm[ba + 1], gx, fy, gz));
    const float far_high = lerp(u, contribution(t, t.perm[ab + 1], fx, gy, gz),
                                contribution(t, t.perm[bb + 1], gx, gy, gz));
    return lerp(w, lerp(v, near_low, near_high), lerp(v, far_low, far_high)) * noise_scale;
}

// Whole part removed, so that large values keep their phase exactly.
inline float fraction_of(float value) {
    return value - std::floor(value);
}

} // namespace

void xnoise_init() {
    noise_table();
}

float xnoise(float x, float y, float z) {
    return lattice_noise(x, y, z, vector_offsets[0]);
}

void xnoise_d(float x, float y, float z, float result[3]) {
    for (int component = 0; component < 3; ++component)
        result[component] = lattice_noise(x, y, z, vector_offsets[component]);
}

float xnoise_turbulence(float x, float y, float z, int octaves) {
    if (octaves > octave_limit)
        octaves = octave_limit;
    float sum = 0.0f;
    float weight = 1.0f;
    for (int octave = 0; octave < octaves; ++octave) {
        sum += weight * std::fabs(xnoise(x, y, z));
        // Doubling and halving by powers of two are exact in a float.
        x *= 2.0f;
        y *= 2.0f;
        z *= 2.0f;
        weight *= 0.5f;
    }
    return sum;
}

float xnoise_cycloidal(float value) {
    return std::sin(6.28318530717958647692f * fraction_of(value));
}

float xnoise_twave(float value) {
    const float f = fraction_of(value);
    return f < 0.5f ? 2.0f * f : 2.0f * (1.0f - f);
}

xnoise_row::xnoise_row() : cells_{} {
    select(0.0, 0.0);
}

double xnoise_row::reduce_large(double v) {
    return std::isfinite(v) ? std::fmod(v, 256.0) : 0.0;
}

void xnoise_row::select(double y, double z) {
    y_ = y;
    z_ = z;
    double split[2] = {y, z};
    int whole[2];
    float fraction[2];
    for (int axis = 0; axis < 2; ++axis) {
        double v = split[axis];
        if (!(std::fabs(v) < 4503599627370496.0))
            v = reduce_large(v);
        const double base = std::floor(v);
        whole[axis] = static_cast<int>(static_cast<std::int64_t>(base) & 255);
        fraction[axis] = static_cast<float>(v - base);
    }
    yi_ = whole[0];
    zi_ = whole[1];
    fy_ = fraction[0];
    fz_ = fraction[1];
    const float v = fade(fy_), w = fade(fz_);
    weight_[0][0] = (1.0f - v) * (1.0f - w);
    weight_[0][1] = (1.0f - v) * w;
    weight_[1][0] = v * (1.0f - w);
    weight_[1][1] = v * w;
    // What each corner adds for each gradient direction: the products the
    // fold would otherwise work out anew for every cell of the row.
    const float fy[2] = {fy_, fy_ - 1.0f}, fz[2] = {fz_, fz_ - 1.0f};
    for (int j = 0; j < 2; ++j)
        for (int k = 0; k < 2; ++k)
            for (int d = 0; d < 12; ++d) {
                const float *g = directions[d];
                slope_part_[j][k][d] = weight_[j][k] * g[0];
                offset_part_[j][k][d] = weight_[j][k] * (g[1] * fy[j] + g[2] * fz[k]);
            }
    if (++stamp_ == 0) {
        // After 2^32 rows the stamps would repeat: start the count afresh.
        for (cell &c : cells_)
            c.stamp = 0;
        stamp_ = 1;
    }
}

void xnoise_row::fold(int index) {
    // The same corner hashes as lattice_noise: perm[perm[perm[x] + y] + z],
    // for the lattice columns x = index and index + 1.  A sweep along x
    // meets each column twice, as the right end of one cell and the left end
    // of the next: a column already folded for this row is copied.
    const lattice_table &t = noise_table();
    cell &c = cells_[index];
    const cell &before = cells_[(index + 255) & 255], &after = cells_[(index + 1) & 255];
    for (int end = 0; end < 2; ++end) {
        const cell &neighbour = end == 0 ? before : after;
        if (neighbour.stamp == stamp_) {
            c.slope[end] = neighbour.slope[1 - end];
            c.offset[end] = neighbour.offset[1 - end];
            continue;
        }
        const int row = t.perm[index + end] + yi_;
        float slope = 0.0f, offset = 0.0f;
        for (int j = 0; j < 2; ++j) {
            const int plane = t.perm[row + j] + zi_;
            for (int k = 0; k < 2; ++k) {
                const int d = t.perm[plane + k] % 12; // the gradient table's direction
                slope += slope_part_[j][k][d];
                offset += offset_part_[j][k][d];
            }
        }
        c.slope[end] = slope * noise_scale;
        c.offset[end] = offset * noise_scale;
    }
    c.stamp = stamp_;
}

void xnoise_row::sweep(double x0, double dx, int count, double y, double z, float *out) {
    if (count <= 0)
        return;
    if (!same_bits(y, y_) || !same_bits(z, z_))
        select(y, z);
    const double last = x0 + (count - 1) * dx;
    const double low = x0 < last ? x0 : last, high = x0 < last ? last : x0;
    if (!(std::fabs(low) < 1e15 && std::fabs(high) < 1e15 && high - low < 1e9)) {
        // Far out, very long or not finite: point by point.
        for (int i = 0; i < count; ++i)
            out[i] = (*this)(x0 + i * dx, y, z);
        return;
    }
    // Offsets from the cell below the whole line are never negative, so
    // truncation finds their cells; the cells the line crosses are folded
    // first, in order (each column then folds once), so that the loop below
    // has no branch and no fold.
    const double base = std::floor(low);
    const int first = static_cast<int>(static_cast<std::int64_t>(base) & 255);
    const double span = high - base + 2.0;
    const int cells = span < 256.0 ? static_cast<int>(span) : 256;
    for (int k = 0; k < cells; ++k)
        fetch((first + k) & 255);
    const double start = x0 - base;
    // Two passes over short chunks: the look-ups, then the arithmetic alone,
    // which has no branch and no look-up left and so runs several points at
    // once.
    constexpr int chunk = 64;
    alignas(16) float fraction[chunk], slope0[chunk], offset0[chunk], slope1[chunk], offset1[chunk];
    for (int from = 0; from < count; from += chunk) {
        const int n = count - from < chunk ? count - from : chunk;
        for (int k = 0; k < n; ++k) {
            double offset = start + (from + k) * dx;
            if (offset < 0.0)
                offset = 0.0; // rounding at the lower end of a falling line
            const std::int32_t whole = static_cast<std::int32_t>(offset);
            const cell &c = cells_[(first + whole) & 255];
            fraction[k] = static_cast<float>(offset - whole);
            slope0[k] = c.slope[0];
            offset0[k] = c.offset[0];
            slope1[k] = c.slope[1];
            offset1[k] = c.offset[1];
        }
        float *o = out + from;
        for (int k = 0; k < n; ++k) {
            const float fx = fraction[k];
            const float left = slope0[k] * fx + offset0[k];
            const float right = slope1[k] * (fx - 1.0f) + offset1[k];
            o[k] = left + fx * fx * fx * (fx * (fx * 6.0f - 15.0f) + 10.0f) * (right - left);
        }
    }
}
