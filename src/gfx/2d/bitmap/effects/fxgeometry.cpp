#include "gfx/2d/bitmap/effects/fxgeometry.h"

#include "gfx/2d/bitmap/bitinfo.h"
#include "gfx/2d/bitmap/colormap.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace fxgeom {

namespace {

std::size_t stride_of(const bitmap *image) {
    return static_cast<std::size_t>(image->xsize) * bitmap_depth_channels(image->bpp);
}

std::uint8_t *row_of(const bitmap *image, std::size_t y) {
    return image->bits + y * stride_of(image);
}

// A pixel of N bytes, copied as one value.
template <int N> struct cell { std::uint8_t bytes[N]; };

// Clips the span [start, start + length) to [0, size); false when empty.
bool clip(std::int64_t &start, std::int64_t &length, std::int64_t size) {
    if (start < 0) {
        length += start;
        start = 0;
    }
    length = std::min(length, size - start);
    return length > 0;
}

} // namespace

namespace {

int distance(const colormap_entry &a, const colormap_entry &b) {
    const int dr = a.r - b.r, dg = a.g - b.g, db = a.b - b.b;
    return dr * dr + dg * dg + db * db;
}

// Frees an entry of a full 8-bpp colormap for a colour of its own: one that
// no source pixel uses, or else the later of the two closest entries, whose
// pixels are recoded to the earlier one.  Returns the entry.
int free_entry(const colormap *map, painted &result) {
    const bitmap *source = result.pixels;
    const std::size_t count = static_cast<std::size_t>(source->xsize) * source->ysize;
    bool used[COLORMAP_MAX_SIZE] = {};
    for (std::size_t i = 0; i < count; ++i)
        used[source->bits[i]] = true;
    for (int i = 0; i < map->size; ++i)
        if (!used[i])
            return i;
    int keep = 0, drop = 1, best = distance(map->entry[0], map->entry[1]);
    for (int i = 0; i < map->size; ++i)
        for (int j = i + 1; j < map->size; ++j)
            if (const int d = distance(map->entry[i], map->entry[j]); d < best) {
                best = d;
                keep = i;
                drop = j;
            }
    result.recoded.reset(bitmap_dup(source));
    std::uint8_t *bits = result.recoded->bits;
    for (std::size_t i = 0; i < count; ++i)
        if (bits[i] == drop)
            bits[i] = static_cast<std::uint8_t>(keep);
    result.pixels = result.recoded.get();
    return drop;
}

} // namespace

painted paint(bitmap *target, const bitmap *source, int r, int g, int b) {
    painted result;
    result.pixels = source;
    colormap *map = target->cmap;
    if (target->bpp != 8 || !map) {
        const std::uint32_t value = bitmap_find_color(r, g, b, 0, target, nullptr);
        std::memcpy(result.pixel.bytes, &value, sizeof result.pixel.bytes);
        return result;
    }
    const colormap_entry colour = {r, g, b};
    int index = -1;
    for (int i = 0; i < map->size && index < 0; ++i)
        if (distance(map->entry[i], colour) == 0)
            index = i;
    if (index < 0 && map->size < COLORMAP_MAX_SIZE) {
        colormap *grown = colormap_alloc(map->size + 1);
        std::copy(map->entry, map->entry + map->size, grown->entry);
        colormap_kill(map);
        target->cmap = map = grown;
        index = map->size - 1;
    } else if (index < 0) {
        index = free_entry(map, result);
    }
    map->entry[index] = colour;
    result.pixel.bytes[0] = static_cast<std::uint8_t>(index);
    return result;
}

void fill(bitmap *image, std::int64_t x, std::int64_t y, std::int64_t width, std::int64_t height,
          const pixel_bytes &value) {
    if (!clip(x, width, image->xsize) || !clip(y, height, image->ysize))
        return;
    const int channels = bitmap_depth_channels(image->bpp);
    std::uint8_t *first = row_of(image, y) + x * channels;
    for (std::int64_t i = 0; i < width; ++i)
        std::memcpy(first + i * channels, value.bytes, channels);
    for (std::int64_t j = 1; j < height; ++j)
        std::memcpy(row_of(image, y + j) + x * channels, first, width * channels);
}

void copy_block(const bitmap *source, std::int64_t sx, std::int64_t sy, bitmap *target,
                std::int64_t tx, std::int64_t ty, std::int64_t width, std::int64_t height) {
    // Clip against the source, moving the target corner with it, then
    // against the target, moving the source corner.
    auto clip_pair = [](std::int64_t &a, std::int64_t &b, std::int64_t &length, std::int64_t size_a,
                        std::int64_t size_b) {
        const std::int64_t a0 = a;
        if (!clip(a, length, size_a))
            return false;
        b += a - a0;
        const std::int64_t b0 = b;
        if (!clip(b, length, size_b))
            return false;
        a += b - b0;
        return true;
    };
    if (!clip_pair(sx, tx, width, source->xsize, target->xsize) ||
        !clip_pair(sy, ty, height, source->ysize, target->ysize))
        return;
    const int channels = bitmap_depth_channels(source->bpp);
    for (std::int64_t j = 0; j < height; ++j)
        std::memcpy(row_of(target, ty + j) + tx * channels, row_of(source, sy + j) + sx * channels,
                    width * channels);
}

namespace {

template <int N> void reverse_cells(const std::uint8_t *from, std::uint8_t *to, int width) {
    auto *in = reinterpret_cast<const cell<N> *>(from);
    auto *out = reinterpret_cast<cell<N> *>(to);
    for (int x = 0; x < width; ++x)
        out[width - 1 - x] = in[x];
}

// Source blocks of `block` x `block` pixels, so that both the rows read and
// the rows written stay in the cache while a block is turned.
template <int N>
void quarter_turn_cells(const bitmap *source, bitmap *target, bool clockwise,
                        progress_guard &progress) {
    constexpr int block = 32;
    const int width = static_cast<int>(source->xsize), height = static_cast<int>(source->ysize);
    for (int y0 = 0; y0 < height; y0 += block) {
        progress.add(y0, height);
        const int y1 = std::min(height, y0 + block);
        for (int x0 = 0; x0 < width; x0 += block) {
            const int x1 = std::min(width, x0 + block);
            for (int y = y0; y < y1; ++y) {
                auto *in = reinterpret_cast<const cell<N> *>(row_of(source, y));
                // Clockwise, source row y becomes target column height-1-y
                // read top down; counter-clockwise, column y read bottom up.
                const int column = clockwise ? height - 1 - y : y;
                for (int x = x0; x < x1; ++x) {
                    const int trow = clockwise ? x : width - 1 - x;
                    reinterpret_cast<cell<N> *>(row_of(target, trow))[column] = in[x];
                }
            }
        }
    }
}

} // namespace

void reverse_row(const std::uint8_t *from, std::uint8_t *to, int width, int channels) {
    switch (channels) {
    case 1:
        return reverse_cells<1>(from, to, width);
    case 2:
        return reverse_cells<2>(from, to, width);
    case 3:
        return reverse_cells<3>(from, to, width);
    default:
        return reverse_cells<4>(from, to, width);
    }
}

void quarter_turn(const bitmap *source, bitmap *target, bool clockwise, progress_guard &progress) {
    switch (bitmap_depth_channels(source->bpp)) {
    case 1:
        return quarter_turn_cells<1>(source, target, clockwise, progress);
    case 2:
        return quarter_turn_cells<2>(source, target, clockwise, progress);
    case 3:
        return quarter_turn_cells<3>(source, target, clockwise, progress);
    default:
        return quarter_turn_cells<4>(source, target, clockwise, progress);
    }
}

bool angle(double degrees, turn *out) {
    if (!std::isfinite(degrees))
        return false;
    double reduced = std::fmod(degrees, 360.0);
    if (reduced < 0)
        reduced += 360.0;
    if (reduced == 0.0 || reduced == 90.0 || reduced == 180.0 || reduced == 270.0) {
        static constexpr turn quarters[] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
        *out = quarters[static_cast<int>(reduced) / 90];
        return true;
    }
    const double radians = reduced * (M_PI / 180.0);
    *out = {std::cos(radians), std::sin(radians)};
    return true;
}

affine rotation(const bitmap *source, std::uint32_t target_width, std::uint32_t target_height,
                turn t, double scale_x, double scale_y) {
    // Target pixel centre p relative to the target's centre, turned back by
    // the angle and unstretched, relative to the source's centre.
    affine map;
    map.ux = t.cos / scale_x;
    map.uy = -t.sin / scale_y;
    map.vx = t.sin / scale_x;
    map.vy = t.cos / scale_y;
    const double px = 0.5 - target_width / 2.0, py = 0.5 - target_height / 2.0;
    map.x0 = px * map.ux + py * map.vx + source->xsize / 2.0 - 0.5;
    map.y0 = px * map.uy + py * map.vy + source->ysize / 2.0 - 0.5;
    return map;
}

void rotated_extent(const bitmap *source, turn t, double scale, double *width, double *height) {
    const double c = std::fabs(t.cos), s = std::fabs(t.sin), k = std::fabs(scale);
    *width = k * (source->xsize * c + source->ysize * s);
    *height = k * (source->xsize * s + source->ysize * c);
}

namespace {

// Coordinates are 32.32 fixed point while a whole row stays within this
// distance of the picture; beyond it each pixel is worked out on its own and
// clamped (a tiny scale throws points far away).
constexpr double coordinate_limit = 1 << 30;
constexpr double fixed_one = 4294967296.0;

// Not-a-number (an infinite step times 0) reads as far away.
std::int64_t to_fixed(double value) {
    if (!(value > -coordinate_limit))
        value = -coordinate_limit;
    return std::llround(std::min(value, coordinate_limit) * fixed_one);
}

bool near(double value) {
    return std::fabs(value) < coordinate_limit;
}

// One target row of the warp; `point(x, &fx, &fy)` gives the fixed-point
// source point of target pixel x.
template <int N, class Point>
void warp_row(const bitmap *source, std::uint8_t *out, int width, const pixel_bytes &outside,
              Point point) {
    const std::int64_t sw = source->xsize, sh = source->ysize;
    const std::size_t stride = stride_of(source);
    const std::uint8_t *bits = source->bits;
    for (int x = 0; x < width; ++x, out += N) {
        std::int64_t fx, fy;
        point(x, &fx, &fy);
        if constexpr (N < 3) {
            // Palette indices and packed words: the nearest pixel.
            const std::int64_t ix = (fx + (std::int64_t{1} << 31)) >> 32;
            const std::int64_t iy = (fy + (std::int64_t{1} << 31)) >> 32;
            const std::uint8_t *from = ix >= 0 && iy >= 0 && ix < sw && iy < sh
                                           ? bits + iy * stride + ix * N
                                           : outside.bytes;
            std::memcpy(out, from, N);
        } else {
            // Bilinear with the fraction rounded to 1/256 pixel.
            const std::int64_t gx = fx + (std::int64_t{1} << 23), gy = fy + (std::int64_t{1} << 23);
            const std::int64_t ix = gx >> 32, iy = gy >> 32;
            const std::uint32_t wx = static_cast<std::uint32_t>(gx >> 24) & 0xff;
            const std::uint32_t wy = static_cast<std::uint32_t>(gy >> 24) & 0xff;
            const std::uint8_t *p00, *p10, *p01, *p11;
            if (static_cast<std::uint64_t>(ix) < static_cast<std::uint64_t>(sw - 1) &&
                static_cast<std::uint64_t>(iy) < static_cast<std::uint64_t>(sh - 1)) {
                p00 = bits + iy * stride + ix * N;
                p10 = p00 + N;
                p01 = p00 + stride;
                p11 = p01 + N;
            } else if (ix < -1 || iy < -1 || ix >= sw || iy >= sh) {
                std::memcpy(out, outside.bytes, N);
                continue;
            } else {
                auto at = [&](std::int64_t i, std::int64_t j) {
                    return i >= 0 && j >= 0 && i < sw && j < sh ? bits + j * stride + i * N
                                                                : outside.bytes;
                };
                p00 = at(ix, iy);
                p10 = at(ix + 1, iy);
                p01 = at(ix, iy + 1);
                p11 = at(ix + 1, iy + 1);
            }
            const std::uint32_t vx = 256 - wx, vy = 256 - wy;
            for (int c = 0; c < N; ++c) {
                const std::uint32_t top = p00[c] * vx + p10[c] * wx;
                const std::uint32_t bottom = p01[c] * vx + p11[c] * wx;
                out[c] = static_cast<std::uint8_t>((top * vy + bottom * wy + 32768) >> 16);
            }
        }
    }
}

template <int N>
void warp_cells(const bitmap *source, bitmap *target, const affine &map, const pixel_bytes &outside,
                progress_guard &progress) {
    const int width = static_cast<int>(target->xsize), height = static_cast<int>(target->ysize);
    for (int y = 0; y < height; ++y) {
        progress.add(y, height);
        std::uint8_t *out = row_of(target, y);
        const double sx = map.x0 + y * map.vx, sy = map.y0 + y * map.vy;
        const double ex = sx + (width - 1) * map.ux, ey = sy + (width - 1) * map.uy;
        if (near(sx) && near(sy) && near(ex) && near(ey)) {
            const std::int64_t fx = to_fixed(sx), fy = to_fixed(sy);
            const std::int64_t dx = to_fixed(map.ux), dy = to_fixed(map.uy);
            warp_row<N>(source, out, width, outside,
                        [=](int x, std::int64_t *px, std::int64_t *py) {
                            *px = fx + x * dx;
                            *py = fy + x * dy;
                        });
        } else {
            warp_row<N>(source, out, width, outside,
                        [&](int x, std::int64_t *px, std::int64_t *py) {
                            *px = to_fixed(sx + x * map.ux);
                            *py = to_fixed(sy + x * map.uy);
                        });
        }
    }
}

} // namespace

void warp(const bitmap *source, bitmap *target, const affine &map, const pixel_bytes &outside,
          progress_guard &progress) {
    if (!source->xsize || !source->ysize)
        return;
    switch (bitmap_depth_channels(source->bpp)) {
    case 1:
        return warp_cells<1>(source, target, map, outside, progress);
    case 2:
        return warp_cells<2>(source, target, map, outside, progress);
    case 3:
        return warp_cells<3>(source, target, map, outside, progress);
    default:
        return warp_cells<4>(source, target, map, outside, progress);
    }
}

namespace {

// The source pixels behind each target pixel of one axis and their weights
// in 1/65536, summing to exactly 65536.
class axis_weights {
  public:
    static constexpr std::uint32_t one = 65536;

    axis_weights(int from, int to) : first_(to), offset_(to + 1) {
        for (int i = 0; i < to; ++i) {
            offset_[i] = weights_.size();
            if (from == to) {
                first_[i] = i;
                weights_.push_back(one);
            } else if (to < from) {
                shrink(i, from, to);
            } else {
                grow(i, from, to);
            }
        }
        offset_[to] = weights_.size();
    }

    int first(int i) const { return first_[i]; }
    int count(int i) const { return static_cast<int>(offset_[i + 1] - offset_[i]); }
    const std::uint32_t *weights(int i) const { return weights_.data() + offset_[i]; }

  private:
    // Target pixel i covers the source span [i * from / to, (i + 1) * from / to);
    // each source pixel counts with the length it shares with that span.
    void shrink(int i, int from, int to) {
        const double lo = static_cast<double>(i) * from / to;
        const double hi = static_cast<double>(i + 1) * from / to;
        const double span = hi - lo;
        const int j0 = static_cast<int>(std::floor(lo));
        const int j1 = std::min(from, static_cast<int>(std::ceil(hi)));
        first_[i] = j0;
        std::vector<double> shares;
        for (int j = j0; j < j1; ++j)
            shares.push_back(std::max(0.0, std::min(j + 1.0, hi) - std::max<double>(j, lo)) / span);
        settle(shares);
    }

    // Bilinear between the two source pixels whose centres enclose the
    // target pixel's centre; the edge pixels are held beyond the centres.
    void grow(int i, int from, int to) {
        const double p = (i + 0.5) * from / to - 0.5;
        if (p <= 0.0 || p >= from - 1) {
            first_[i] = p <= 0.0 ? 0 : from - 1;
            weights_.push_back(one);
            return;
        }
        const int j = static_cast<int>(std::floor(p));
        first_[i] = j;
        settle({1.0 - (p - j), p - j});
    }

    // Shares summing to 1 as fixed-point weights summing to `one`: what
    // rounding loses or adds goes to the largest weight.
    void settle(const std::vector<double> &shares) {
        const std::size_t start = weights_.size();
        std::int64_t sum = 0;
        for (double share : shares) {
            weights_.push_back(static_cast<std::uint32_t>(std::lround(share * one)));
            sum += weights_.back();
        }
        auto largest = std::max_element(weights_.begin() + start, weights_.end());
        *largest = static_cast<std::uint32_t>(*largest + (static_cast<std::int64_t>(one) - sum));
    }

    std::vector<int> first_;
    std::vector<std::size_t> offset_;
    std::vector<std::uint32_t> weights_;
};

// One source row resampled across: bytes in, bytes x 256 out.
template <int N>
void resample_row(const std::uint8_t *in, std::uint16_t *out, const axis_weights &across,
                  int width) {
    for (int x = 0; x < width; ++x, out += N) {
        const std::uint8_t *from = in + static_cast<std::size_t>(across.first(x)) * N;
        const std::uint32_t *w = across.weights(x);
        const int count = across.count(x);
        std::uint32_t sum[N] = {};
        for (int k = 0; k < count; ++k, from += N)
            for (int c = 0; c < N; ++c)
                sum[c] += w[k] * from[c];
        for (int c = 0; c < N; ++c)
            out[c] = static_cast<std::uint16_t>((sum[c] + 128) >> 8);
    }
}

template <int N>
void resample_cells(const bitmap *source, bitmap *target, progress_guard *progress) {
    const int sw = static_cast<int>(source->xsize), sh = static_cast<int>(source->ysize);
    const int tw = static_cast<int>(target->xsize), th = static_cast<int>(target->ysize);
    const axis_weights across(sw, tw), down(sh, th);
    const std::size_t length = static_cast<std::size_t>(tw) * N;

    // The last two source rows resampled across: consecutive target rows
    // share at most one source row when shrinking and read two neighbours
    // when growing, so each source row is worked across about once.
    std::vector<std::uint16_t> rows[2] = {std::vector<std::uint16_t>(length),
                                          std::vector<std::uint16_t>(length)};
    int held[2] = {-1, -1};
    auto across_row = [&](int j) -> const std::uint16_t * {
        for (int s = 0; s < 2; ++s)
            if (held[s] == j)
                return rows[s].data();
        const int s = held[0] < held[1] ? 0 : 1;
        resample_row<N>(row_of(source, j), rows[s].data(), across, tw);
        held[s] = j;
        return rows[s].data();
    };

    std::vector<std::uint32_t> sum(length);
    for (int y = 0; y < th; ++y) {
        if (progress)
            progress->add(y, th);
        std::fill(sum.begin(), sum.end(), 0u);
        const std::uint32_t *w = down.weights(y);
        for (int k = 0; k < down.count(y); ++k) {
            const std::uint16_t *in = across_row(down.first(y) + k);
            const std::uint32_t weight = w[k];
            for (std::size_t e = 0; e < length; ++e)
                sum[e] += weight * in[e];
        }
        std::uint8_t *out = row_of(target, y);
        for (std::size_t e = 0; e < length; ++e)
            out[e] = static_cast<std::uint8_t>((sum[e] + (1u << 23)) >> 24);
    }
}

} // namespace

void resample(const bitmap *source, bitmap *target, progress_guard *progress) {
    if (!source->xsize || !source->ysize)
        return;
    if (bitmap_depth_channels(source->bpp) == 3)
        resample_cells<3>(source, target, progress);
    else
        resample_cells<4>(source, target, progress);
}

std::uint32_t extent(double size) {
    if (std::isnan(size) || size <= 1.0)
        return 1;
    if (size >= BITMAP_MAX_SIDE)
        return BITMAP_MAX_SIDE;
    return std::max(1u, static_cast<std::uint32_t>(std::ceil(size - 1e-6)));
}

bool fit_limits(std::uint32_t *width, std::uint32_t *height) {
    std::uint64_t w = std::max(1u, *width), h = std::max(1u, *height);
    const std::uint64_t wanted_w = w, wanted_h = h;
    if (w > BITMAP_MAX_SIDE) {
        h = std::max<std::uint64_t>(1, h * BITMAP_MAX_SIDE / w);
        w = BITMAP_MAX_SIDE;
    }
    if (h > BITMAP_MAX_SIDE) {
        w = std::max<std::uint64_t>(1, w * BITMAP_MAX_SIDE / h);
        h = BITMAP_MAX_SIDE;
    }
    if (w * h > BITMAP_MAX_PIXELS) {
        const double f = std::sqrt(static_cast<double>(BITMAP_MAX_PIXELS) / (w * h));
        w = std::max<std::uint64_t>(1, static_cast<std::uint64_t>(w * f));
        h = std::max<std::uint64_t>(1, static_cast<std::uint64_t>(h * f));
        // Rounding in the square root may leave a pixel too many.
        while (w * h > BITMAP_MAX_PIXELS)
            (w > h ? w : h) -= 1;
    }
    *width = static_cast<std::uint32_t>(w);
    *height = static_cast<std::uint32_t>(h);
    return w != wanted_w || h != wanted_h;
}

} // namespace fxgeom
