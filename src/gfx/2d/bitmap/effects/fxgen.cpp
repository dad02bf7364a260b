#include "gfx/2d/bitmap/effects/fxgen.h"

#include "xmath/xrand.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace fxgen {

double draw(double lo, double hi) {
    const auto low = static_cast<std::int32_t>(std::lround(lo * 1000.0));
    const auto high = static_cast<std::int32_t>(std::lround(hi * 1000.0));
    return xrand_mm(low, high + 1) / 1000.0;
}

double thousandths(double value) {
    return std::round(value * 1000.0) / 1000.0;
}

std::int32_t draw_int(std::int32_t lo, std::int32_t hi) {
    return xrand_mm(lo, hi + 1);
}

float unit() {
    return static_cast<float>(xrand() >> 15) * (1.0f / 32768.0f) - 1.0f;
}

double half_diagonal(int width, int height) {
    return std::max(1.0, 0.5 * std::hypot(static_cast<double>(width), static_cast<double>(height)));
}

int power_of_two_below(double value) {
    int power = 1;
    while (power < (1 << 30) && power * 2.0 <= value)
        power *= 2;
    return power;
}

namespace {

// A field on a torus: `width` x `height` values, row by row.
struct torus {
    int width, height;
    std::vector<float> values;
};

// Doubles the torus in both directions by cubic B-spline subdivision: a new
// point on an old one takes (left + 6 centre + right) / 8, a point between two
// old ones their mean.
torus refine(const torus &coarse) {
    const int w = coarse.width, h = coarse.height;
    std::vector<float> wide(static_cast<std::size_t>(w) * 2 * h);
    for (int y = 0; y < h; ++y) {
        const float *in = coarse.values.data() + static_cast<std::size_t>(y) * w;
        float *out = wide.data() + static_cast<std::size_t>(y) * w * 2;
        for (int x = 0; x < w; ++x) {
            const float left = in[x == 0 ? w - 1 : x - 1], centre = in[x],
                        right = in[x == w - 1 ? 0 : x + 1];
            out[2 * x] = (left + 6.0f * centre + right) * 0.125f;
            out[2 * x + 1] = (centre + right) * 0.5f;
        }
    }
    torus fine{w * 2, h * 2, std::vector<float>(static_cast<std::size_t>(w) * 4 * h)};
    const std::size_t row = static_cast<std::size_t>(w) * 2;
    for (int y = 0; y < h; ++y) {
        const float *up = wide.data() + (y == 0 ? h - 1 : y - 1) * row;
        const float *centre = wide.data() + y * row;
        const float *down = wide.data() + (y == h - 1 ? 0 : y + 1) * row;
        float *even = fine.values.data() + 2 * y * row;
        float *odd = even + row;
        for (std::size_t x = 0; x < row; ++x) {
            even[x] = (up[x] + 6.0f * centre[x] + down[x]) * 0.125f;
            odd[x] = (centre[x] + down[x]) * 0.5f;
        }
    }
    return fine;
}

void add_noise(torus &field, float amplitude) {
    for (float &value : field.values)
        value += amplitude * unit();
}

// Bilinear resampling of the torus to width x height, wrapping at the edges;
// a torus of that very size is copied unchanged.
std::vector<float> resample(const torus &field, int width, int height) {
    if (field.width == width && field.height == height)
        return field.values;
    std::vector<int> x0(width), x1(width);
    std::vector<float> fx(width);
    const double sx = static_cast<double>(field.width) / width;
    for (int x = 0; x < width; ++x) {
        double u = (x + 0.5) * sx - 0.5;
        if (u < 0)
            u += field.width;
        const int whole = static_cast<int>(u);
        x0[x] = whole % field.width;
        x1[x] = (whole + 1) % field.width;
        fx[x] = static_cast<float>(u - whole);
    }
    std::vector<float> out(static_cast<std::size_t>(width) * height);
    const double sy = static_cast<double>(field.height) / height;
    for (int y = 0; y < height; ++y) {
        double v = (y + 0.5) * sy - 0.5;
        if (v < 0)
            v += field.height;
        const int whole = static_cast<int>(v);
        const float fy = static_cast<float>(v - whole);
        const float *top =
            field.values.data() + static_cast<std::size_t>(whole % field.height) * field.width;
        const float *bottom = field.values.data() +
                              static_cast<std::size_t>((whole + 1) % field.height) * field.width;
        float *row = out.data() + static_cast<std::size_t>(y) * width;
        for (int x = 0; x < width; ++x) {
            const float a = top[x0[x]] + (top[x1[x]] - top[x0[x]]) * fx[x];
            const float b = bottom[x0[x]] + (bottom[x1[x]] - bottom[x0[x]]) * fx[x];
            row[x] = a + (b - a) * fy;
        }
    }
    return out;
}

void normalise(std::vector<float> &values) {
    if (values.empty())
        return;
    double sum = 0, squares = 0;
    for (float value : values)
        sum += value;
    const double mean = sum / static_cast<double>(values.size());
    for (float value : values)
        squares += (value - mean) * (value - mean);
    const double rms = std::sqrt(squares / static_cast<double>(values.size()));
    const float scale = rms > 1e-12 ? static_cast<float>(1.0 / rms) : 0.0f;
    const float centre = static_cast<float>(mean);
    for (float &value : values)
        value = (value - centre) * scale;
}

} // namespace

std::vector<float> fractal(int width, int height, int cell, float roughness, int smooth_levels) {
    width = std::max(width, 1);
    height = std::max(height, 1);
    // Cells larger than the picture would only cost memory.
    cell = std::min(power_of_two_below(cell), power_of_two_below(std::max(width, height)));
    int levels = 0;
    while ((1 << levels) < cell)
        ++levels;
    const int columns =
        std::max(1, static_cast<int>(std::lround(static_cast<double>(width) / cell)));
    const int rows = std::max(1, static_cast<int>(std::lround(static_cast<double>(height) / cell)));

    torus field{columns, rows, std::vector<float>(static_cast<std::size_t>(columns) * rows)};
    add_noise(field, 1.0f);
    float amplitude = 1.0f;
    for (int level = 1; level <= levels; ++level) {
        field = refine(field);
        amplitude *= roughness;
        if (level <= levels - smooth_levels)
            add_noise(field, amplitude);
    }
    std::vector<float> values = resample(field, width, height);
    normalise(values);
    return values;
}

} // namespace fxgen
