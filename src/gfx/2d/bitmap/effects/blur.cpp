// "blur.simple": a 4x4 kernel, the outer product of (1 2 2 1) with itself,
// so the weights add up to 36.  Each colour level is the weighted sum of
// its 4x4 neighbourhood (edge pixels repeated) divided by `div`: 36 keeps the
// brightness, less brightens, more darkens.  The kernel covers the pixel,
// one neighbour before and two after, so the picture moves half a pixel
// toward the top left, too little to see.  Alpha is kept.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/filterkit.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cstdint>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/blur.c";
static constexpr const char *source_ident = "bitmapfx::blur";

namespace {

constexpr int kernel_sum = 36;
std::int32_t kernel_div = kernel_sum;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    int divisor = kernel_div;
    if (divisor < 1) {
        divisor = 1;
        XWARNING("divisor %d must be positive, using %d", kernel_div, divisor);
    }
    bitmap *target = bitmap_dup(source);
    if (!target)
        return nullptr;
    const fxkit::view from(source), to(target);
    const int width = from.width, height = from.height, channels = from.channels;
    const std::size_t row_bytes = from.stride;
    progress_guard report("blur.simple", "simple 4x4 blur kernel");

    // A weighted sum is at most 36 * 255; its level is looked up, not divided.
    std::vector<std::uint8_t> level(kernel_sum * 255 + 1);
    for (std::size_t s = 0; s < level.size(); ++s)
        level[s] = static_cast<std::uint8_t>(
            std::min<std::size_t>(255, (s + static_cast<std::size_t>(divisor) / 2) / divisor));

    // Horizontal sums (weights 1 2 2 1 over x-1 .. x+2), one row per source
    // row; the vertical pass reads the four rows y-1 .. y+2.
    std::vector<std::uint16_t> across(row_bytes * height);
    std::vector<std::uint8_t> padded((static_cast<std::size_t>(width) + 4) * channels);
    for (int y = 0; y < height; ++y) {
        filterkit::padded_row(from.row(y), width, channels, 2, padded.data());
        const std::uint8_t *p = padded.data() + channels; // pixel x - 1
        std::uint16_t *out = across.data() + row_bytes * y;
        const std::size_t c = channels;
        for (std::size_t i = 0; i < row_bytes; ++i)
            out[i] =
                static_cast<std::uint16_t>(p[i] + 2 * (p[i + c] + p[i + 2 * c]) + p[i + 3 * c]);
    }
    for (int y = 0; y < height; ++y) {
        auto line = [&](int k) {
            return across.data() + row_bytes * std::clamp(y + k, 0, height - 1);
        };
        const std::uint16_t *a = line(-1), *b = line(0), *c = line(1), *d = line(2);
        std::uint8_t *out = to.row(y);
        for (std::size_t i = 0; i < row_bytes; ++i)
            out[i] = level[a[i] + 2 * (b[i] + c[i]) + d[i]];
        report.add(y, height);
    }
    filterkit::keep_alpha(source, target);
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("div", "divisor of the kernel sum (36 keeps the brightness)", kernel_div),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_blur_simple_driver = fxkit::driver(
    "blur.simple", "./src/gfx/2d/bitmap/effects/blur.c", "$path.presets$/blur-simple.preset",
    "simple 4x4 blur kernel", fxkit::depths_rgb, parameters, procedures);
