// "quant.slow": a variance-minimising cut of the colour cube (Wu's method on
// a 5-bit histogram with cumulative moments), refined by k-means over the
// picture's distinct colours until no colour changes its palette entry, with
// exact nearest-colour mapping of every pixel.
#include "core/dtype.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/quantize.h"

#include <algorithm>
#include <array>

[[maybe_unused]] static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/squant.c";
[[maybe_unused]] static constexpr const char *source_ident = "bitmapfx::squant";

namespace {

// A bound on the k-means passes; in practice they settle well before it.
constexpr int refinement_passes = 32;

// ---------------------------------------------------------------------------
// The colour cube cut.  Moments are kept cumulatively over a 33^3 grid whose
// index 0 is an empty border, so the sum over any box is eight lookups.

constexpr int bits = 5;
constexpr int cells_per_axis = 1 << bits;
constexpr int side = cells_per_axis + 1;

enum axis { red, green, blue };

struct moments {
    std::vector<std::int64_t> weight, r, g, b, squares;
    moments()
        : weight(side * side * side), r(weight.size()), g(weight.size()), b(weight.size()),
          squares(weight.size()) {}
};

constexpr int at(int r, int g, int b) {
    return (r * side + g) * side + b;
}

struct cube {
    int r0, r1, g0, g1, b0, b1; // exclusive lower, inclusive upper bounds
};

moments cumulative_moments(const bitmap *source) {
    moments m;
    std::vector<quant_cell> cells = quant_histogram(source, bits);
    for (int r = 0; r < cells_per_axis; ++r)
        for (int g = 0; g < cells_per_axis; ++g)
            for (int b = 0; b < cells_per_axis; ++b) {
                const quant_cell &c = cells[(r << (2 * bits)) | (g << bits) | b];
                const int i = at(r + 1, g + 1, b + 1);
                m.weight[i] = static_cast<std::int64_t>(c.count);
                m.r[i] = static_cast<std::int64_t>(c.r);
                m.g[i] = static_cast<std::int64_t>(c.g);
                m.b[i] = static_cast<std::int64_t>(c.b);
                m.squares[i] = static_cast<std::int64_t>(c.squares);
            }
    std::vector<std::int64_t> *tables[] = {&m.weight, &m.r, &m.g, &m.b, &m.squares};
    for (std::vector<std::int64_t> *table : tables) {
        std::vector<std::int64_t> &t = *table;
        for (int r = 1; r < side; ++r) {
            std::array<std::int64_t, side> area{};
            for (int g = 1; g < side; ++g) {
                std::int64_t line = 0;
                for (int b = 1; b < side; ++b) {
                    line += t[at(r, g, b)];
                    area[b] += line;
                    t[at(r, g, b)] = t[at(r - 1, g, b)] + area[b];
                }
            }
        }
    }
    return m;
}

std::int64_t volume(const cube &c, const std::vector<std::int64_t> &t) {
    return t[at(c.r1, c.g1, c.b1)] - t[at(c.r1, c.g1, c.b0)] - t[at(c.r1, c.g0, c.b1)] +
           t[at(c.r1, c.g0, c.b0)] - t[at(c.r0, c.g1, c.b1)] + t[at(c.r0, c.g1, c.b0)] +
           t[at(c.r0, c.g0, c.b1)] - t[at(c.r0, c.g0, c.b0)];
}

// The part of a box's sum that does not depend on the cut position.
std::int64_t bottom(const cube &c, axis direction, const std::vector<std::int64_t> &t) {
    switch (direction) {
    case red:
        return -t[at(c.r0, c.g1, c.b1)] + t[at(c.r0, c.g1, c.b0)] + t[at(c.r0, c.g0, c.b1)] -
               t[at(c.r0, c.g0, c.b0)];
    case green:
        return -t[at(c.r1, c.g0, c.b1)] + t[at(c.r1, c.g0, c.b0)] + t[at(c.r0, c.g0, c.b1)] -
               t[at(c.r0, c.g0, c.b0)];
    default:
        return -t[at(c.r1, c.g1, c.b0)] + t[at(c.r1, c.g0, c.b0)] + t[at(c.r0, c.g1, c.b0)] -
               t[at(c.r0, c.g0, c.b0)];
    }
}

// The part that does, for a cut at `position`.
std::int64_t top(const cube &c, axis direction, int position, const std::vector<std::int64_t> &t) {
    switch (direction) {
    case red:
        return t[at(position, c.g1, c.b1)] - t[at(position, c.g1, c.b0)] -
               t[at(position, c.g0, c.b1)] + t[at(position, c.g0, c.b0)];
    case green:
        return t[at(c.r1, position, c.b1)] - t[at(c.r1, position, c.b0)] -
               t[at(c.r0, position, c.b1)] + t[at(c.r0, position, c.b0)];
    default:
        return t[at(c.r1, c.g1, position)] - t[at(c.r1, c.g0, position)] -
               t[at(c.r0, c.g1, position)] + t[at(c.r0, c.g0, position)];
    }
}

// Weighted variance of a box (sum of squared distances to its mean).
double variance(const cube &c, const moments &m) {
    const double dr = static_cast<double>(volume(c, m.r));
    const double dg = static_cast<double>(volume(c, m.g));
    const double db = static_cast<double>(volume(c, m.b));
    const double w = static_cast<double>(volume(c, m.weight));
    if (w <= 0)
        return 0;
    return static_cast<double>(volume(c, m.squares)) - (dr * dr + dg * dg + db * db) / w;
}

struct totals {
    std::int64_t r, g, b, w;
};

// The cut along `direction` that leaves the least variance in both halves,
// as the largest sum of |sum|^2 / weight over the halves; `cut` is -1 when no
// cut leaves both halves populated.
double maximize(const cube &c, axis direction, int first, int last, int &cut, const totals &whole,
                const moments &m) {
    const totals base{bottom(c, direction, m.r), bottom(c, direction, m.g),
                      bottom(c, direction, m.b), bottom(c, direction, m.weight)};
    double best = 0;
    cut = -1;
    for (int i = first; i < last; ++i) {
        totals half{base.r + top(c, direction, i, m.r), base.g + top(c, direction, i, m.g),
                    base.b + top(c, direction, i, m.b), base.w + top(c, direction, i, m.weight)};
        if (half.w == 0)
            continue;
        auto score = [](const totals &t) {
            const double r = static_cast<double>(t.r), g = static_cast<double>(t.g),
                         b = static_cast<double>(t.b);
            return (r * r + g * g + b * b) / static_cast<double>(t.w);
        };
        double value = score(half);
        half = {whole.r - half.r, whole.g - half.g, whole.b - half.b, whole.w - half.w};
        if (half.w == 0)
            continue;
        value += score(half);
        if (value > best) {
            best = value;
            cut = i;
        }
    }
    return best;
}

// Splits `first` in two; false when it cannot be split.
bool cut(cube &first, cube &second, const moments &m) {
    const totals whole{volume(first, m.r), volume(first, m.g), volume(first, m.b),
                       volume(first, m.weight)};
    int cut_r, cut_g, cut_b;
    const double max_r = maximize(first, red, first.r0 + 1, first.r1, cut_r, whole, m);
    const double max_g = maximize(first, green, first.g0 + 1, first.g1, cut_g, whole, m);
    const double max_b = maximize(first, blue, first.b0 + 1, first.b1, cut_b, whole, m);
    axis direction;
    if (max_r >= max_g && max_r >= max_b) {
        direction = red;
        if (cut_r < 0)
            return false;
    } else if (max_g >= max_r && max_g >= max_b) {
        direction = green;
    } else {
        direction = blue;
    }
    second = first;
    switch (direction) {
    case red:
        second.r0 = first.r1 = cut_r;
        break;
    case green:
        second.g0 = first.g1 = cut_g;
        break;
    case blue:
        second.b0 = first.b1 = cut_b;
        break;
    }
    return true;
}

int cells_in(const cube &c) {
    return (c.r1 - c.r0) * (c.g1 - c.g0) * (c.b1 - c.b0);
}

quant_palette cube_cut(const bitmap *source, int colors) {
    const moments m = cumulative_moments(source);
    std::vector<cube> cubes{{0, cells_per_axis, 0, cells_per_axis, 0, cells_per_axis}};
    std::vector<double> spread{0.0};
    std::size_t next = 0;
    while (static_cast<int>(cubes.size()) < colors) {
        cube upper{};
        if (cut(cubes[next], upper, m)) {
            cubes.push_back(upper);
            spread[next] = cells_in(cubes[next]) > 1 ? variance(cubes[next], m) : 0.0;
            spread.push_back(cells_in(upper) > 1 ? variance(upper, m) : 0.0);
        } else {
            spread[next] = 0.0;
        }
        next = static_cast<std::size_t>(std::max_element(spread.begin(), spread.end()) -
                                        spread.begin());
        if (spread[next] <= 0.0)
            break;
    }
    quant_palette palette;
    for (const cube &c : cubes) {
        const std::int64_t w = volume(c, m.weight);
        if (w <= 0)
            continue;
        auto mean = [&](const std::vector<std::int64_t> &t) {
            return static_cast<std::uint8_t>((volume(c, t) + w / 2) / w);
        };
        palette.push_back({mean(m.r), mean(m.g), mean(m.b)});
    }
    return palette;
}

// ---------------------------------------------------------------------------
// k-means refinement over the picture's distinct colours: each colour goes
// to its nearest palette entry, each entry moves to the mean of its pixels,
// until the assignment settles.  With exact colours as the points this is
// the mapping error itself that every pass lowers.

struct colour_point {
    int colour[3];
    std::uint64_t count;
};

std::vector<colour_point> distinct_colours(const bitmap *source) {
    const std::size_t pixels = static_cast<std::size_t>(source->xsize) * source->ysize;
    const int channels = source->bpp / 8;
    std::vector<std::uint32_t> keys(pixels);
    const std::uint8_t *at = source->bits;
    for (std::size_t i = 0; i < pixels; ++i, at += channels)
        keys[i] = (static_cast<std::uint32_t>(at[0]) << 16) | (at[1] << 8) | at[2];
    std::sort(keys.begin(), keys.end());
    std::vector<colour_point> points;
    for (std::size_t i = 0; i < pixels;) {
        std::size_t j = i;
        while (j < pixels && keys[j] == keys[i])
            ++j;
        const std::uint32_t k = keys[i];
        points.push_back({{static_cast<int>(k >> 16), static_cast<int>((k >> 8) & 0xFF),
                           static_cast<int>(k & 0xFF)},
                          j - i});
        i = j;
    }
    return points;
}

quant_palette refine(const bitmap *source, quant_palette palette) {
    const std::vector<colour_point> points = distinct_colours(source);
    std::vector<int> owner(points.size(), -1);
    for (int pass = 0; pass < refinement_passes; ++pass) {
        const quant_search search(palette);
        std::vector<quant_cell> sums(palette.size());
        bool changed = false;
        for (std::size_t i = 0; i < points.size(); ++i) {
            const colour_point &p = points[i];
            // Colours come sorted, so the previous one's entry is a good
            // first guess before a colour has its own.
            const int hint = owner[i] >= 0 ? owner[i] : (i ? owner[i - 1] : -1);
            int k = search.nearest(p.colour[0], p.colour[1], p.colour[2], hint);
            changed |= owner[i] != k;
            owner[i] = k;
            quant_cell &s = sums[k];
            s.count += p.count;
            s.r += p.count * p.colour[0];
            s.g += p.count * p.colour[1];
            s.b += p.count * p.colour[2];
        }
        if (!changed)
            break;
        const quant_palette previous = palette;
        for (std::size_t k = 0; k < palette.size(); ++k) {
            const quant_cell &s = sums[k];
            if (!s.count)
                continue; // an unused colour keeps its place
            auto mean = [&](std::uint64_t sum) {
                return static_cast<std::uint8_t>((sum + s.count / 2) / s.count);
            };
            palette[k] = {mean(s.r), mean(s.g), mean(s.b)};
        }
        // Means that did not move give the same assignment again.
        if (std::equal(palette.begin(), palette.end(), previous.begin(),
                       [](const quant_rgb &a, const quant_rgb &b) {
                           return a.r == b.r && a.g == b.g && a.b == b.b;
                       }))
            break;
    }
    return palette;
}

quant_palette build_palette(const bitmap *source, int colors) {
    return refine(source, cube_cut(source, colors));
}

using tables = quant_tables<build_palette, quant_lookup::exact>;

} // namespace

bitmapfx_driver bitmapfx_quant_slow_driver = {
    .next = nullptr,
    .hash = 0,
    .name = "quant.slow",
    .file = "./src/gfx/2d/bitmap/effects/squant.c",
    .preset = "$path.presets$/slow-quant.preset",
    .comment = "slow (good quality) quantization",
    .supported = quant_supported,
    .param_list = tables::parameters,
    .proc_list = tables::procedures,
};
