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

// Adds amplitude x [-1, 1) to every value, two values a draw of the
// generator (15 bits each).
void add_noise(float *value, std::size_t count, float amplitude) {
    const float scale = amplitude * (1.0f / 16384.0f);
    for (std::size_t i = 0; i < count; i += 2) {
        const auto bits = static_cast<std::uint32_t>(xrand());
        value[i] += scale * (static_cast<float>(bits & 0x7fff) - 16384.0f);
        if (i + 1 < count)
            value[i + 1] += scale * (static_cast<float>((bits >> 15) & 0x7fff) - 16384.0f);
    }
}

// One row of w values doubled along x by cubic B-spline subdivision, wrapping:
// a new point on an old one takes (left + 6 centre + right) / 8, a point
// between two old ones their mean.
void widen(const float *in, int w, float *out) {
    for (int x = 0; x < w; ++x) {
        const float left = in[x == 0 ? w - 1 : x - 1], centre = in[x],
                    right = in[x == w - 1 ? 0 : x + 1];
        out[2 * x] = (left + 6.0f * centre + right) * 0.125f;
        out[2 * x + 1] = (centre + right) * 0.5f;
    }
}

// Doubles a w x h torus in both directions, from `in` into `out`; the rows
// doubled along x are kept three at a time.
void refine(const float *in, int w, int h, float *out) {
    const std::size_t row = static_cast<std::size_t>(w) * 2;
    std::vector<float> wide(row * 3);
    float *up = wide.data(), *centre = up + row, *down = centre + row;
    widen(in + static_cast<std::size_t>(h - 1) * w, w, up);
    widen(in, w, centre);
    for (int y = 0; y < h; ++y) {
        widen(in + static_cast<std::size_t>(y == h - 1 ? 0 : y + 1) * w, w, down);
        float *even = out + 2 * y * row, *odd = even + row;
        for (std::size_t x = 0; x < row; ++x) {
            even[x] = (up[x] + 6.0f * centre[x] + down[x]) * 0.125f;
            odd[x] = (centre[x] + down[x]) * 0.5f;
        }
        std::swap(up, centre);
        std::swap(centre, down);
    }
}

int wrap(int index, int size) {
    index %= size;
    return index < 0 ? index + size : index;
}

} // namespace

fractal::fractal(int width, int height, int cell, float roughness, int octaves)
    : width_(std::max(width, 1)), height_(std::max(height, 1)) {
    // Cells larger than the picture would only cost memory.
    cell = std::min(power_of_two_below(cell), power_of_two_below(std::max(width_, height_)));
    int levels = 0;
    while ((1 << levels) < cell)
        ++levels;
    const int noisy = std::clamp(octaves - 1, 0, levels);
    shrink_ = 1 << (levels - noisy);
    columns_ = std::max(1, static_cast<int>(std::lround(static_cast<double>(width_) / cell)));
    rows_ = std::max(1, static_cast<int>(std::lround(static_cast<double>(height_) / cell)));

    values_.resize(static_cast<std::size_t>(columns_) * rows_);
    add_noise(values_.data(), values_.size(), 1.0f);
    float amplitude = 1.0f;
    for (int level = 1; level <= noisy; ++level) {
        std::vector<float> finer(values_.size() * 4);
        refine(values_.data(), columns_, rows_, finer.data());
        values_.swap(finer);
        columns_ *= 2;
        rows_ *= 2;
        amplitude *= roughness;
        add_noise(values_.data(), values_.size(), amplitude);
    }

    double sum = 0, squares = 0;
    for (float value : values_) {
        sum += value;
        squares += static_cast<double>(value) * value;
    }
    const double count = static_cast<double>(values_.size());
    const double mean = sum / count, variance = squares / count - mean * mean;
    const float scale = variance > 1e-18 ? static_cast<float>(1.0 / std::sqrt(variance)) : 0.0f;
    const float centre = static_cast<float>(mean);
    for (float &value : values_)
        value = (value - centre) * scale;

    across_.resize(width_);
    for (int x = 0; x < width_; ++x)
        across_[x] = place(x, width_, columns_);
    line_.resize(columns_);
}

// Picture coordinate i of `size` in a lattice of `lattice` kept points: the
// finest lattice spans the picture exactly, and a kept point stands for
// `shrink_` of its points, where subdivision put its point 2k at the coarser
// point k.
fractal::taps fractal::place(int index, int size, int lattice) const {
    const double fine = (index + 0.5) * (static_cast<double>(lattice) * shrink_ / size) - 0.5;
    const double u = fine / shrink_;
    const double whole = std::floor(u);
    const float t = static_cast<float>(u - whole);
    const int i = static_cast<int>(whole);
    taps result;
    if (shrink_ == 1) {
        result.at[0] = wrap(i, lattice);
        result.at[1] = wrap(i + 1, lattice);
        result.at[2] = result.at[3] = result.at[0];
        result.weight[0] = 1.0f - t;
        result.weight[1] = t;
        result.weight[2] = result.weight[3] = 0.0f;
        return result;
    }
    // The uniform cubic B-spline's four basis functions at t.
    const float t2 = t * t, t3 = t2 * t, s = 1.0f - t;
    result.weight[0] = s * s * s / 6.0f;
    result.weight[1] = (3.0f * t3 - 6.0f * t2 + 4.0f) / 6.0f;
    result.weight[2] = (-3.0f * t3 + 3.0f * t2 + 3.0f * t + 1.0f) / 6.0f;
    result.weight[3] = t3 / 6.0f;
    for (int k = 0; k < 4; ++k)
        result.at[k] = wrap(i - 1 + k, lattice);
    return result;
}

void fractal::row(int y, float *out) const {
    const taps down = place(y, height_, rows_);
    for (int x = 0; x < columns_; ++x) {
        float sum = 0.0f;
        for (int k = 0; k < 4; ++k)
            sum += down.weight[k] * values_[static_cast<std::size_t>(down.at[k]) * columns_ + x];
        line_[x] = sum;
    }
    const float *line = line_.data();
    for (int x = 0; x < width_; ++x) {
        const taps &a = across_[x];
        out[x] = a.weight[0] * line[a.at[0]] + a.weight[1] * line[a.at[1]] +
                 a.weight[2] * line[a.at[2]] + a.weight[3] * line[a.at[3]];
    }
}

} // namespace fxgen
