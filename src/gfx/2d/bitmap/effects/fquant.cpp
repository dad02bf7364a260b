// "quant.fast": median cut over a 5-bit colour histogram.  The box with the
// largest squared error is split at its weighted median along its axis of
// largest variance until the palette is full; pixels are then mapped through
// a per-cell nearest-colour table.
#include "core/dtype.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/quantize.h"

#include <algorithm>

[[maybe_unused]] static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/fquant.c";
[[maybe_unused]] static constexpr const char *source_ident = "bitmapfx::fquant";

namespace {

struct point {
    int colour[3]; // the cell's mean colour
    std::uint32_t cell;
    std::uint64_t count, sum[3];
};

struct box {
    std::size_t begin, end;
    double error; // weighted squared distance to the box's mean; 0 when it cannot split
    int axis;     // the axis of largest variance
};

void measure(box &b, const std::vector<point> &points) {
    double weight = 0, sum[3] = {}, squares[3] = {};
    for (std::size_t i = b.begin; i < b.end; ++i) {
        const point &p = points[i];
        const double w = static_cast<double>(p.count);
        weight += w;
        for (int c = 0; c < 3; ++c) {
            sum[c] += w * p.colour[c];
            squares[c] += w * p.colour[c] * p.colour[c];
        }
    }
    b.error = 0;
    b.axis = 0;
    double widest = -1;
    for (int c = 0; c < 3; ++c) {
        double spread = squares[c] - sum[c] * sum[c] / weight;
        b.error += spread;
        if (spread > widest) {
            widest = spread;
            b.axis = c;
        }
    }
    if (b.end - b.begin < 2)
        b.error = 0;
}

// Splits `b` at the weighted median; returns the upper half.
box split(box &b, std::vector<point> &points) {
    const int axis = b.axis;
    std::sort(points.begin() + b.begin, points.begin() + b.end,
              [axis](const point &x, const point &y) {
                  return x.colour[axis] != y.colour[axis] ? x.colour[axis] < y.colour[axis]
                                                          : x.cell < y.cell;
              });
    std::uint64_t total = 0;
    for (std::size_t i = b.begin; i < b.end; ++i)
        total += points[i].count;
    std::uint64_t running = 0;
    std::size_t middle = b.begin + 1;
    for (std::size_t i = b.begin; i < b.end; ++i) {
        running += points[i].count;
        if (2 * running >= total) {
            middle = i + 1;
            break;
        }
    }
    middle = std::clamp(middle, b.begin + 1, b.end - 1);
    box upper{middle, b.end, 0, 0};
    b.end = middle;
    measure(b, points);
    measure(upper, points);
    return upper;
}

quant_palette median_cut(const bitmap *source, int colors) {
    std::vector<quant_cell> cells = quant_histogram(source, 5);
    std::vector<point> points;
    for (std::uint32_t i = 0; i < cells.size(); ++i) {
        const quant_cell &c = cells[i];
        if (!c.count)
            continue;
        point p{{}, i, c.count, {c.r, c.g, c.b}};
        for (int k = 0; k < 3; ++k)
            p.colour[k] = static_cast<int>((p.sum[k] + c.count / 2) / c.count);
        points.push_back(p);
    }
    std::vector<box> boxes{{0, points.size(), 0, 0}};
    measure(boxes[0], points);
    while (static_cast<int>(boxes.size()) < colors) {
        auto worst = std::max_element(boxes.begin(), boxes.end(),
                                      [](const box &a, const box &b) { return a.error < b.error; });
        if (worst->error <= 0)
            break;
        box upper = split(*worst, points);
        boxes.push_back(upper);
    }
    quant_palette palette;
    for (const box &b : boxes) {
        std::uint64_t count = 0, sum[3] = {};
        for (std::size_t i = b.begin; i < b.end; ++i) {
            count += points[i].count;
            for (int k = 0; k < 3; ++k)
                sum[k] += points[i].sum[k];
        }
        auto mean = [&](int k) { return static_cast<std::uint8_t>((sum[k] + count / 2) / count); };
        palette.push_back({mean(0), mean(1), mean(2)});
    }
    return palette;
}

using tables = quant_tables<median_cut, quant_lookup::cell>;

} // namespace

bitmapfx_driver bitmapfx_quant_fast_driver = {
    .next = nullptr,
    .hash = 0,
    .name = "quant.fast",
    .file = "./src/gfx/2d/bitmap/effects/fquant.c",
    .preset = "$path.presets$/fast-quant.preset",
    .comment = "fast (medium quality) quantization",
    .supported = quant_supported,
    .param_list = tables::parameters,
    .proc_list = tables::procedures,
};
