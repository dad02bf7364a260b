// What the geometry effects (flips, turns, rotations, scaling, crops,
// borders, tiles) share: whole-pixel moves at any depth, the inverse-mapping
// warp, the separable resampler and the size rules.
//
// - Whole-pixel moves copy the bytes of a pixel as they are, so they work at
//   every depth (palette indices and packed words are never mixed) and an
//   8-bpp picture keeps its colormap (`fxkit::resized_like` copies it).
// - `warp` fills each target pixel from the source point an affine map gives
//   (inverse mapping: no holes): bilinear at 24 and 32 bpp, the nearest pixel
//   otherwise.  Points off the source read the `outside` pixel, and a sample
//   straddling the edge mixes it in, so rotated edges are smooth.
// - `resample` changes the size of a 24- or 32-bpp picture axis by axis: an
//   area average where an axis shrinks, bilinear where it grows.  Weights are
//   fixed-point and sum exactly to one, so a flat picture stays flat and an
//   axis of unchanged length is copied exactly.
// - Sizes: every target size goes through `extent` and `fit_limits`, so no
//   parameter value can ask for more than the library's bitmap limits.
#pragma once

#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"

#include <cstdint>
#include <memory>

namespace fxgeom {

struct kill_bitmap {
    void operator()(bitmap *image) const { bitmap_kill(image); }
};
// A bitmap owned by the effect until it is handed on (an error raised by a
// message channel may unwind through an effect).
using owned = std::unique_ptr<bitmap, kill_bitmap>;

// The bytes of one pixel value of a bitmap's depth.
struct pixel_bytes {
    std::uint8_t bytes[4] = {0, 0, 0, 0};
};

// A colour that `target` is to show beside the pixels of `source` (same
// depth), and the pixels to copy.  At 15 to 32 bpp the colour is packed and
// the pixels are the source's.  At 8 bpp the target's colormap gets an entry
// of exactly that colour: an entry that has it already, a new entry while
// the map has room, an entry no source pixel uses, or else one of the two
// closest entries, whose pixels then take the other (`pixels` is then a
// recoded copy of the source).  An 8-bpp target without a colormap (a grey
// ramp) takes the nearest grey.
struct painted {
    pixel_bytes pixel;
    const bitmap *pixels = nullptr;
    owned recoded;
};
painted paint(bitmap *target, const bitmap *source, int r, int g, int b);

// Writes `value` over the rectangle, clipped to the picture.
void fill(bitmap *image, std::int64_t x, std::int64_t y, std::int64_t width, std::int64_t height,
          const pixel_bytes &value);

// Copies the block of width x height pixels at (sx, sy) of `source` to (tx, ty)
// of `target` (same depth), clipped to both pictures, a row at a time.
void copy_block(const bitmap *source, std::int64_t sx, std::int64_t sy, bitmap *target,
                std::int64_t tx, std::int64_t ty, std::int64_t width, std::int64_t height);

// Writes the `width` pixels at `from` to `to` in reverse order.
void reverse_row(const std::uint8_t *from, std::uint8_t *to, int width, int channels);

// A quarter turn of the whole picture into `target` (height x width of the
// source): clockwise, or counter-clockwise.
void quarter_turn(const bitmap *source, bitmap *target, bool clockwise, progress_guard &progress);

// An angle as cosine and sine, reduced modulo 360 degrees first; multiples of
// 90 degrees give exact values.  False when the angle is not a finite number.
struct turn {
    double cos = 1.0, sin = 0.0;
};
bool angle(double degrees, turn *out);

// The source point of target pixel (x, y) is
// (x0 + x * ux + y * vx, y0 + x * uy + y * vy); the source's pixel (i, j) is the
// point (i, j).
struct affine {
    double x0, y0, ux, uy, vx, vy;
};

// Target pixel centres onto a source stretched by `scale_x` across and
// `scale_y` down, then turned clockwise (on screen) by `t`, the two pictures'
// centres on each other.
affine rotation(const bitmap *source, std::uint32_t target_width, std::uint32_t target_height,
                turn t, double scale_x, double scale_y);

// The size of the box that holds the source turned by `t` and scaled.
void rotated_extent(const bitmap *source, turn t, double scale, double *width, double *height);

void warp(const bitmap *source, bitmap *target, const affine &map, const pixel_bytes &outside,
          progress_guard &progress);

// Resamples the whole source into the whole target (both 24 or both 32 bpp).
void resample(const bitmap *source, bitmap *target, progress_guard *progress);

// A wanted side length as a whole number of pixels: rounded up (a hair's
// breadth above a whole number does not add a pixel), at least 1, at most
// BITMAP_MAX_SIDE.  Not-a-number gives 1.
std::uint32_t extent(double size);

// Shrinks (width, height) in proportion until the picture fits the library's
// limits; true when it had to.
bool fit_limits(std::uint32_t *width, std::uint32_t *height);

} // namespace fxgeom
