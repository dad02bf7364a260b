// "edge-detect": outlines where the picture changes.
//
// `type` picks the operator on the 3x3 neighbourhood: 0 the standard one
// (a Laplacian: eight times the pixel less its eight neighbours), 1 Roberts'
// cross (the two diagonal differences), 2 Sobel's (smoothed horizontal and
// vertical differences).  What counts as an edge is relative to the
// picture's own contrast, so soft clouds and sharp scenes both show theirs:
// - `pc1` and `pc2` are percentiles of the picture's edge strengths: the
//   weakest pc1 percent vanish, the strongest above the pc2 percentile are
//   full white, and strengths between are stretched over the whole range
//   (pc2 <= pc1 makes a hard threshold).  Strengths under 2 percent of a
//   sharp black-to-white step never count, so a flat or almost flat picture
//   stays black instead of showing its noise;
// - `pa` amplifies the stretched edges (1 = as stretched, above 1 more
//   edges reach white, below 1 all are dimmer);
// - `sd` is the standard deviation in pixels of a Gaussian smoothing before
//   the operator (0 = none), which keeps grain from reading as edges;
// - `merge` mixes the source picture back in: 0 shows the edges alone, 1
//   the source alone;
// - `color` keeps the channels apart (coloured edges) when set, else the
//   edges of the luminance are shown in grey.
// At 8 bpp the edges of the palette colours' luminance make an 8-bpp grey
// picture with a grey-ramp colormap (merged with the source's luminance).
// Edges repeat the border pixels, so a flat picture has no edges at all.
// Alpha is kept.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/filterkit.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/edgedet.c";
static constexpr const char *source_ident = "bitmapfx::edgedet";

namespace {

enum operator_type : std::int32_t { standard = 0, roberts = 1, sobel = 2 };

double pa = 1.0;
double pc1 = 60.0;
double pc2 = 99.0;
std::int32_t type = sobel;
double sd = 1.2;
double merge = 0.0;
std::int32_t color = 1;

const char *const supported[] = {"in8", "in24", "in32", "out8", "out24", "out32", nullptr};

struct kill_bitmap {
    void operator()(bitmap *image) const { bitmap_kill(image); }
};
using owned = std::unique_ptr<bitmap, kill_bitmap>;

// Largest raw strength of any operator, and each operator's reading of a
// sharp black-to-white step.
constexpr int max_strength = 8 * 255;
constexpr double full_step[] = {3 * 255.0, 1.41421356 * 255.0, 4 * 255.0};
constexpr double noise_floor = 0.02;

// Raw strengths of `planes` interleaved bytes (of `channels` a pixel), one
// 16-bit value per pixel and plane.
std::vector<std::uint16_t> strengths(const fxkit::view &in, int planes, int kind,
                                     progress_guard &report) {
    const int width = in.width, height = in.height, channels = in.channels;
    std::vector<std::uint16_t> found(static_cast<std::size_t>(width) * height * planes);
    const std::size_t padded_stride = static_cast<std::size_t>(width + 2) * channels;
    std::vector<std::uint8_t> rows(3 * padded_stride);
    std::uint8_t *lines[3] = {rows.data(), rows.data() + padded_stride,
                              rows.data() + 2 * padded_stride};
    auto load = [&](std::uint8_t *line, int y) {
        filterkit::padded_row(in.row(std::clamp(y, 0, height - 1)), width, channels, 1, line);
    };
    load(lines[0], -1);
    load(lines[1], 0);
    const int c1 = channels, c2 = 2 * channels;
    std::uint16_t *out = found.data();
    for (int y = 0; y < height; ++y) {
        load(lines[2], y + 1);
        const std::uint8_t *up = lines[0], *mid = lines[1], *down = lines[2];
        for (int x = 0; x < width; ++x) {
            const std::size_t i = static_cast<std::size_t>(x) * channels;
            for (int c = 0; c < planes; ++c) {
                const std::size_t k = i + c;
                const int a = up[k], b = up[k + c1], cc = up[k + c2];
                const int d = mid[k], e = mid[k + c1], f = mid[k + c2];
                const int g = down[k], h = down[k + c1], ii = down[k + c2];
                int strength;
                if (kind == standard) {
                    strength = std::abs(8 * e - (a + b + cc + d + f + g + h + ii));
                } else {
                    const int gx = kind == sobel ? (cc + 2 * f + ii) - (a + 2 * d + g) : e - ii;
                    const int gy = kind == sobel ? (g + 2 * h + ii) - (a + 2 * b + cc) : f - h;
                    strength =
                        static_cast<int>(std::sqrt(static_cast<float>(gx * gx + gy * gy)) + 0.5f);
                }
                *out++ = static_cast<std::uint16_t>(std::min(strength, max_strength));
            }
        }
        std::rotate(lines, lines + 1, lines + 3);
        report.add(y, height);
    }
    return found;
}

// Raw strength -> edge level, from the percentiles of the strengths found.
std::vector<std::uint8_t> strength_levels(const std::vector<std::uint16_t> &found, int kind,
                                          double gain, double low_percentile,
                                          double high_percentile) {
    std::vector<std::uint64_t> count(max_strength + 1, 0);
    for (std::uint16_t m : found)
        ++count[m];
    auto percentile = [&](double p) {
        const auto wanted =
            static_cast<std::uint64_t>(p / 100.0 * static_cast<double>(found.size()));
        std::uint64_t running = 0;
        for (int m = 0; m <= max_strength; ++m)
            if ((running += count[m]) > wanted)
                return m;
        return max_strength;
    };
    const double floor = noise_floor * full_step[kind];
    const double low = std::max<double>(floor, percentile(low_percentile));
    const double high = std::max<double>(low, percentile(high_percentile));
    std::vector<std::uint8_t> level(max_strength + 1);
    for (int m = 0; m <= max_strength; ++m) {
        double value;
        if (m < floor)
            value = 0.0;
        else if (high > low)
            value = std::clamp((m - low) / (high - low), 0.0, 1.0);
        else
            value = m >= low ? 1.0 : 0.0;
        level[m] = fxkit::clamp_byte(255.0 * std::min(1.0, gain * value));
    }
    return level;
}

void smooth(bitmap *image, double deviation) {
    if (!(deviation > 0))
        return;
    const int radius = static_cast<int>(std::ceil(3 * std::min(deviation, 100.0)));
    owned copy(bitmap_dup(image));
    if (copy)
        filterkit::separable(copy.get(), image, filterkit::gaussian_kernel(deviation, radius),
                             nullptr);
}

// An 8-bpp picture of the given grey levels (no colormap: the grey ramp).
owned grey_picture(const bitmap *shape, const std::vector<std::uint8_t> &grey) {
    owned picture(bitmap_alloc2(shape->xsize, shape->ysize, 8));
    if (picture)
        std::copy(grey.begin(), grey.end(), picture->bits);
    return picture;
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    int kind = type;
    if (kind != standard && kind != roberts && kind != sobel) {
        kind = sobel;
        XWARNING("unknown edge operator %d, using %d (sobel)", type, kind);
    }
    const double gain = std::isfinite(pa) ? std::clamp(pa, 0.0, 1000.0) : 1.0;
    const double low = std::isfinite(pc1) ? std::clamp(pc1, 0.0, 100.0) : 0.0;
    const double high = std::isfinite(pc2) ? std::clamp(pc2, 0.0, 100.0) : 100.0;
    const double mix = std::isfinite(merge) ? std::clamp(merge, 0.0, 1.0) : 0.0;
    const double deviation = std::isfinite(sd) ? std::clamp(sd, 0.0, 40.0) : 0.0;
    if (gain != pa || low != pc1 || high != pc2 || mix != merge || deviation != sd)
        XWARNING("edge settings out of range, using pa %f, pc1 %f, pc2 %f, sd %f, merge %f", gain,
                 low, high, deviation, mix);
    const auto source_share = static_cast<int>(std::lround(mix * 256));
    auto blend = [source_share](int from, int edge) {
        return static_cast<std::uint8_t>(
            (from * source_share + edge * (256 - source_share) + 128) >> 8);
    };
    progress_guard report("edge-detect", "standard/roberts/sobel edge detection");

    if (source->bpp == 8 || !color) {
        // Edges of the luminance.
        const std::vector<std::uint8_t> grey = filterkit::luminance(source);
        owned plane = grey_picture(source, grey);
        if (!plane)
            return nullptr;
        smooth(plane.get(), deviation);
        const std::vector<std::uint16_t> found =
            strengths(fxkit::view(plane.get()), 1, kind, report);
        const std::vector<std::uint8_t> level = strength_levels(found, kind, gain, low, high);
        if (source->bpp == 8) {
            for (std::size_t i = 0; i < grey.size(); ++i)
                plane->bits[i] = blend(grey[i], level[found[i]]);
            plane->cmap = colormap_alloc(256);
            for (int i = 0; plane->cmap && i < 256; ++i)
                plane->cmap->entry[i] = {i, i, i};
            return fxkit::finish(driver, plane.release());
        }
        bitmap *target = bitmap_dup(source);
        if (!target)
            return nullptr;
        const fxkit::view to(target);
        for (std::size_t i = 0; i < grey.size(); ++i) {
            std::uint8_t *p = to.bits + i * to.channels;
            for (int c = 0; c < 3; ++c)
                p[c] = blend(p[c], level[found[i]]);
        }
        return fxkit::finish(driver, target);
    }
    owned smoothed(bitmap_dup(source));
    if (!smoothed)
        return nullptr;
    smooth(smoothed.get(), deviation);
    const std::vector<std::uint16_t> found =
        strengths(fxkit::view(smoothed.get()), 3, kind, report);
    const std::vector<std::uint8_t> level = strength_levels(found, kind, gain, low, high);
    smoothed.reset();
    bitmap *target = bitmap_dup(source);
    if (!target)
        return nullptr;
    const fxkit::view to(target);
    const std::size_t pixels = static_cast<std::size_t>(to.width) * to.height;
    for (std::size_t i = 0; i < pixels; ++i) {
        std::uint8_t *p = to.bits + i * to.channels;
        for (int c = 0; c < 3; ++c)
            p[c] = blend(p[c], level[found[i * 3 + c]]);
    }
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("pa", "amplification of the stretched edges (1 = as stretched)", pa),
    bitmapfx_param("pc1", "lower cut, percentile of the edge strengths (0..100)", pc1),
    bitmapfx_param("pc2", "upper cut, percentile of the edge strengths (0..100)", pc2),
    bitmapfx_param("type", "operator: 0 standard (laplacian), 1 roberts, 2 sobel", type),
    bitmapfx_param("sd", "standard deviation of the smoothing before (pixels, 0 = none)", sd),
    bitmapfx_param("merge", "share of the source mixed back in (0..1)", merge),
    bitmapfx_param_typed("color", "coloured edges (else grey edges of the luminance)", DTYPE_BOOL,
                         color),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_edge_detect_driver = fxkit::driver(
    "edge-detect", "./src/gfx/2d/bitmap/effects/edgedet.c", "$path.presets$/edge-detect.preset",
    "standard/roberts/sobel edge detection", supported, parameters, procedures);
