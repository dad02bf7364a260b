#include "gfx/2d/bitmap/effects/filterkit.h"

#include "gfx/2d/bitmap/bitinfo.h"
#include "gfx/2d/bitmap/colormap.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>

namespace filterkit {

namespace {

// The multiply-accumulate rows every convolution spends its time in.  They
// are pure integer arithmetic, so the wide-vector clone gives exactly the
// bytes of the plain one; the loader picks the clone the processor runs.
// ThreadSanitizer builds keep the plain one: the picking runs before that
// sanitizer's runtime is ready.
#if defined(__x86_64__) && !defined(__SANITIZE_THREAD__)
#define ACCUMULATE_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define ACCUMULATE_CLONES
#endif

ACCUMULATE_CLONES void accumulate(std::uint32_t *__restrict sum, const std::uint8_t *__restrict row,
                                  std::uint32_t weight, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        sum[i] += weight * row[i];
}

ACCUMULATE_CLONES void accumulate(std::uint32_t *__restrict sum,
                                  const std::uint16_t *__restrict row, std::uint32_t weight,
                                  std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        sum[i] += weight * row[i];
}

} // namespace

void padded_row(const std::uint8_t *row, int width, int channels, int border, std::uint8_t *out) {
    for (int i = 0; i < border; ++i)
        std::memcpy(out + static_cast<std::size_t>(i) * channels, row, channels);
    std::memcpy(out + static_cast<std::size_t>(border) * channels, row,
                static_cast<std::size_t>(width) * channels);
    const std::uint8_t *last = row + static_cast<std::size_t>(width - 1) * channels;
    for (int i = 0; i < border; ++i)
        std::memcpy(out + static_cast<std::size_t>(border + width + i) * channels, last, channels);
}

bitmap *apply_curves(const bitmap *source, const curves &table) {
    bitmap *target = bitmap_dup(source);
    if (!target)
        return nullptr;
    const fxkit::view to(target);
    const std::size_t pixels = static_cast<std::size_t>(to.width) * to.height;
    std::uint8_t *p = to.bits;
    for (std::size_t i = 0; i < pixels; ++i, p += to.channels) {
        p[0] = table.level[0][p[0]];
        p[1] = table.level[1][p[1]];
        p[2] = table.level[2][p[2]];
    }
    return target;
}

bitmap *apply_curve(const bitmap *source, const std::uint8_t (&table)[256]) {
    curves all;
    for (auto &channel : all.level)
        std::memcpy(channel, table, sizeof table);
    return apply_curves(source, all);
}

void dim_or_flash_curve(double percentage, std::uint8_t (&table)[256]) {
    const double f = std::clamp(std::isnan(percentage) ? 0.0 : percentage, -100.0, 100.0) / 100.0;
    for (int v = 0; v < 256; ++v)
        table[v] = fxkit::clamp_byte(f < 0 ? v * (1.0 + f) : v + (255 - v) * f);
}

void keep_alpha(const bitmap *source, bitmap *target) {
    if (source->bpp != 32 || target->bpp != 32)
        return;
    const std::size_t pixels = static_cast<std::size_t>(source->xsize) * source->ysize;
    for (std::size_t i = 0; i < pixels; ++i)
        target->bits[i * 4 + 3] = source->bits[i * 4 + 3];
}

std::vector<std::int32_t> gaussian_kernel(double sigma, int radius) {
    radius = std::clamp(radius, 0, MAX_RADIUS);
    if (!(sigma > 0) || radius == 0)
        return {KERNEL_ONE};
    std::vector<double> shape(2 * radius + 1);
    double total = 0;
    for (int k = -radius; k <= radius; ++k)
        total += shape[k + radius] = std::exp(-0.5 * k * k / (sigma * sigma));
    std::vector<std::int32_t> kernel(shape.size());
    std::int32_t sum = 0;
    for (std::size_t k = 0; k < shape.size(); ++k)
        sum += kernel[k] = static_cast<std::int32_t>(std::lround(shape[k] / total * KERNEL_ONE));
    // Rounding leaves the sum a few units off; the centre, the largest
    // weight, takes up the difference.
    kernel[radius] += KERNEL_ONE - sum;
    return kernel;
}

void separable(const bitmap *source, bitmap *target, const std::vector<std::int32_t> &kernel,
               progress_guard *report) {
    const fxkit::view from(source), to(target);
    const int width = from.width, height = from.height, channels = from.channels;
    if (width <= 0 || height <= 0)
        return;
    const int radius = static_cast<int>(kernel.size() / 2);
    const std::size_t row_bytes = from.stride;
    // Horizontal pass into 16-bit levels scaled by 256 (exact for a flat row).
    std::vector<std::uint16_t> between(row_bytes * height);
    std::vector<std::uint8_t> padded((static_cast<std::size_t>(width) + 2 * radius) * channels);
    std::vector<std::uint32_t> sum(row_bytes);
    for (int y = 0; y < height; ++y) {
        padded_row(from.row(y), width, channels, radius, padded.data());
        std::fill(sum.begin(), sum.end(), 0u);
        for (std::size_t k = 0; k < kernel.size(); ++k)
            accumulate(sum.data(), padded.data() + k * channels,
                       static_cast<std::uint32_t>(kernel[k]), row_bytes);
        std::uint16_t *out = between.data() + row_bytes * y;
        for (std::size_t i = 0; i < row_bytes; ++i)
            out[i] = static_cast<std::uint16_t>((sum[i] + 32) >> (KERNEL_SHIFT - 8));
    }
    // Vertical pass: at most 65280 * 2^14 before the final shift, inside 32 bits.
    constexpr int final_shift = KERNEL_SHIFT + 8;
    for (int y = 0; y < height; ++y) {
        std::fill(sum.begin(), sum.end(), 0u);
        for (int k = -radius; k <= radius; ++k) {
            const int line = std::clamp(y + k, 0, height - 1);
            accumulate(sum.data(), between.data() + row_bytes * line,
                       static_cast<std::uint32_t>(kernel[k + radius]), row_bytes);
        }
        std::uint8_t *out = to.row(y);
        for (std::size_t i = 0; i < row_bytes; ++i)
            out[i] = static_cast<std::uint8_t>((sum[i] + (1u << (final_shift - 1))) >> final_shift);
        if (report)
            report->add(y, height);
    }
    keep_alpha(source, target);
}

bitmap *gaussian_blur(const bitmap *source, int radius, progress_guard *report) {
    bitmap *target = bitmap_dup(source);
    if (!target)
        return nullptr;
    radius = std::clamp(radius, 0, MAX_RADIUS);
    if (radius > 0)
        separable(source, target, gaussian_kernel(radius / 3.0, radius), report);
    return target;
}

bitmap *convolve_taps(const bitmap *source, const std::vector<tap> &taps, progress_guard *report) {
    bitmap *target = bitmap_dup(source);
    if (!target)
        return nullptr;
    const fxkit::view from(source), to(target);
    const int width = from.width, height = from.height, channels = from.channels;
    if (width <= 0 || height <= 0 || taps.empty())
        return target;
    int border = 0;
    for (const tap &t : taps)
        border = std::max({border, std::abs(t.dx), std::abs(t.dy)});
    border = std::min(border, MAX_RADIUS);
    // The source with a border of repeated edge pixels: every tap then reads
    // a plain row segment.
    const int padded_width = width + 2 * border, padded_height = height + 2 * border;
    const std::size_t padded_stride = static_cast<std::size_t>(padded_width) * channels;
    std::vector<std::uint8_t> padded(padded_stride * padded_height);
    for (int y = 0; y < padded_height; ++y)
        padded_row(from.row(std::clamp(y - border, 0, height - 1)), width, channels, border,
                   padded.data() + padded_stride * y);
    const std::size_t row_bytes = from.stride;
    std::vector<std::uint32_t> sum(row_bytes);
    for (int y = 0; y < height; ++y) {
        std::fill(sum.begin(), sum.end(), 0u);
        for (const tap &t : taps) {
            const int dx = std::clamp(t.dx, -border, border),
                      dy = std::clamp(t.dy, -border, border);
            accumulate(sum.data(),
                       padded.data() + padded_stride * (y + dy + border) +
                           static_cast<std::size_t>(dx + border) * channels,
                       t.weight, row_bytes);
        }
        std::uint8_t *out = to.row(y);
        for (std::size_t i = 0; i < row_bytes; ++i)
            out[i] = static_cast<std::uint8_t>((sum[i] + (TAP_ONE >> 1)) >> TAP_SHIFT);
        if (report)
            report->add(y, height);
    }
    keep_alpha(source, target);
    return target;
}

bitmap *spiral_blur(const bitmap *source, double spin, double zoom, progress_guard *report) {
    bitmap *target = bitmap_dup(source);
    if (!target)
        return nullptr;
    const fxkit::view from(source), to(target);
    const int width = from.width, height = from.height, channels = from.channels;
    const double speed = std::hypot(spin, zoom);
    if (width <= 0 || height <= 0 || !(speed > 0) || !std::isfinite(speed))
        return target;
    using complex = std::complex<double>;
    const complex motion(zoom, spin);
    const complex start = std::exp(-0.5 * motion);
    // The step along a path of n samples, for every n.
    std::vector<complex> step(MAX_PATH_SAMPLES + 1);
    for (int n = 2; n <= MAX_PATH_SAMPLES; ++n)
        step[n] = std::exp(motion / static_cast<double>(n - 1));
    const double cx = (width - 1) / 2.0, cy = (height - 1) / 2.0;
    const double right = width - 1, bottom = height - 1;
    std::uint64_t sum[4];
    for (int y = 0; y < height; ++y) {
        std::uint8_t *out = to.row(y);
        for (int x = 0; x < width; ++x, out += channels) {
            const complex q(x - cx, y - cy);
            const double length = std::abs(q) * speed;
            if (length < 0.5)
                continue;
            const int n = length + 1 >= MAX_PATH_SAMPLES ? MAX_PATH_SAMPLES
                                                         : static_cast<int>(std::ceil(length)) + 1;
            std::fill(sum, sum + 4, 0);
            complex z = q * start;
            for (int j = 0; j < n; ++j, z *= step[n]) {
                const double px = std::clamp(cx + z.real(), 0.0, right);
                const double py = std::clamp(cy + z.imag(), 0.0, bottom);
                const int x0 = static_cast<int>(px), y0 = static_cast<int>(py);
                const int x1 = std::min(x0 + 1, width - 1), y1 = std::min(y0 + 1, height - 1);
                const auto wx = static_cast<std::uint32_t>((px - x0) * 256 + 0.5);
                const auto wy = static_cast<std::uint32_t>((py - y0) * 256 + 0.5);
                const std::uint32_t w00 = (256 - wx) * (256 - wy), w10 = wx * (256 - wy);
                const std::uint32_t w01 = (256 - wx) * wy, w11 = wx * wy;
                const std::uint8_t *p00 = from.at(x0, y0), *p10 = from.at(x1, y0);
                const std::uint8_t *p01 = from.at(x0, y1), *p11 = from.at(x1, y1);
                for (int c = 0; c < 3; ++c)
                    sum[c] += w00 * p00[c] + w10 * p10[c] + w01 * p01[c] + w11 * p11[c];
            }
            const std::uint64_t whole = static_cast<std::uint64_t>(n) << 16;
            for (int c = 0; c < 3; ++c)
                out[c] = static_cast<std::uint8_t>((sum[c] + whole / 2) / whole);
        }
        if (report)
            report->add(y, height);
    }
    return target;
}

std::vector<std::uint8_t> luminance(const bitmap *image) {
    const std::size_t pixels = static_cast<std::size_t>(image->xsize) * image->ysize;
    std::vector<std::uint8_t> grey(pixels);
    if (image->bpp == 8) {
        std::uint8_t level[256];
        for (int i = 0; i < 256; ++i) {
            const colormap_entry c = colormap_get_color(image->cmap, i);
            level[i] = static_cast<std::uint8_t>(luma(c.r, c.g, c.b));
        }
        for (std::size_t i = 0; i < pixels; ++i)
            grey[i] = level[image->bits[i]];
        return grey;
    }
    const int channels = bitmap_depth_channels(image->bpp);
    for (std::size_t i = 0; i < pixels; ++i) {
        const std::uint8_t *p = image->bits + i * channels;
        grey[i] = static_cast<std::uint8_t>(luma(p[0], p[1], p[2]));
    }
    return grey;
}

} // namespace filterkit
