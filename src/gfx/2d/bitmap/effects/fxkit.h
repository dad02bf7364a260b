// The effect driver's toolkit: what every effect in effects/ needs besides
// its own pixel rule, written once.
//
// - Driver records: the depth lists most effects share, the standard
//   procedure rows and `fxkit::driver`, which fills a record in the field
//   order of bitmapfx.h.
// - Running: `source` reads the source picture, `finish` stores the target
//   and hands it back as the "fx" procedure's result.
// - Pixels: `view` addresses a bitmap as rows of `channels` bytes; `sample`
//   reads a picture at a real-valued point (bilinear at 24 and 32 bpp, the
//   nearest pixel at other depths, where bytes are palette indices or packed
//   words that cannot be mixed).
//
// Coordinates: pixel (x, y) covers [x, x + 1) x [y, y + 1); sampling at the
// integer point (x, y) returns that pixel unchanged.
#pragma once

#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>

namespace fxkit {

// Depth words: 24 and 32 bpp in and out (the framework converts the rest),
// and every depth (effects that only move whole pixels).
inline constexpr const char *depths_rgb[] = {"in24", "in32", "out24", "out32", nullptr};
inline constexpr const char *depths_any[] = {"in*", "out*", nullptr};

constexpr bitmapfx_procedure fx_procedure(bitmapfx_operation operation) {
    return {"fx", "run the effect", operation};
}
constexpr bitmapfx_procedure rand_procedure(bitmapfx_operation operation) {
    return {"rand", "randomize effect data", operation};
}
inline constexpr bitmapfx_procedure procedure_end = {nullptr, nullptr, nullptr};

constexpr bitmapfx_driver driver(const char *name, const char *file, const char *preset,
                                 const char *comment, const char *const *supported,
                                 bitmapfx_parameter *parameters,
                                 const bitmapfx_procedure *procedures) {
    return {.next = nullptr,
            .hash = 0,
            .name = name,
            .file = file,
            .preset = preset,
            .comment = comment,
            .supported = supported,
            .param_list = parameters,
            .proc_list = procedures};
}

// The picture held in "source_bitmap", or null when there is none.
const bitmap *source(bitmapfx_driver *driver);
// Stores `target` as "target_bitmap" and returns it (the "fx" result).
void *finish(bitmapfx_driver *driver, bitmap *target);

// A new bitmap of the source's depth and colormap with another size
// (cleared), or null after an error for a size beyond the library's limits.
bitmap *resized_like(const bitmap *source, std::uint32_t xsize, std::uint32_t ysize);

inline std::uint8_t clamp_byte(double value) {
    return static_cast<std::uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}
inline std::uint8_t clamp_byte(int value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

// A bitmap seen as rows of `channels` bytes a pixel.
struct view {
    explicit view(const bitmap *image)
        : bits(image->bits), width(static_cast<int>(image->xsize)),
          height(static_cast<int>(image->ysize)), channels(bitmap_depth_channels(image->bpp)),
          stride(static_cast<std::size_t>(width) * channels) {}

    std::uint8_t *at(int x, int y) const {
        return bits + static_cast<std::size_t>(y) * stride + static_cast<std::size_t>(x) * channels;
    }
    std::uint8_t *row(int y) const { return bits + static_cast<std::size_t>(y) * stride; }
    bool inside(int x, int y) const { return x >= 0 && y >= 0 && x < width && y < height; }

    std::uint8_t *bits;
    int width, height, channels;
    std::size_t stride;
};

// What a sample outside the picture reads.
enum class edge {
    clamp, // the nearest edge pixel
    wrap,  // the picture repeats
    zero,  // zero bytes (black, or palette entry 0)
};

// Reads the picture at (x, y) into out[0 .. channels-1].
void sample(const view &image, double x, double y, edge mode, std::uint8_t *out);

// Rows in parallel: `row(y, worker)` runs once for every y of [0, height) on
// `workers` threads (worker 0 .. workers - 1; one worker runs on the calling
// thread).  Rows are handed out in order as workers become free.  `report`
// advances once per finished row, always from the calling thread, so hooks
// and messages never run on a worker; `row` itself must neither report nor
// throw.  Should reporting raise an error, the workers stop at their next row
// and are joined before the error leaves.
void for_rows(int height, int workers, progress_guard &report,
              const std::function<void(int y, int worker)> &row);

// One worker per core.
int core_count();

} // namespace fxkit
