// The shared pixel loops of the filter and tone effects (blurs, motion blurs,
// relief, edges, tone curves), written once.
//
// Pictures are 24- or 32-bpp bitmaps read as bytes red, green, blue (and
// alpha).  Every routine writes the colour bytes of a target of the source's
// size and depth and copies the alpha byte from the source unchanged, so an
// effect that is not about transparency never touches it.  All arithmetic on
// pixels is integer or done in a fixed order, so a picture and its
// parameters give the same bytes on every build and machine.
//
// Ownership: routines returning a bitmap return a new one owned by the
// caller (freed with bitmap_kill); routines taking a target write into the
// caller's bitmap.
#pragma once

#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <cstdint>
#include <vector>

namespace filterkit {

// Luminance in 0..255 from Rec. 601 weights (77, 150, 29) / 256.
inline int luma(int r, int g, int b) {
    return (77 * r + 150 * g + 29 * b + 128) >> 8;
}

// One table of 256 levels per colour channel.
struct curves {
    std::uint8_t level[3][256];
};

// A new picture whose every colour byte went through its channel's table.
bitmap *apply_curves(const bitmap *source, const curves &table);
// The same table for all three channels.
bitmap *apply_curve(const bitmap *source, const std::uint8_t (&table)[256]);

// The dim-or-flash tone curve: a negative percentage (down to -100) moves
// every level that far toward black, a positive one (up to 100) that far
// toward white, so highlights never clip.
void dim_or_flash_curve(double percentage, std::uint8_t (&table)[256]);

// Copies the alpha bytes of a 32-bpp source into the target (same size).
void keep_alpha(const bitmap *source, bitmap *target);

// Separable convolution with one centred kernel of odd length 2r + 1 used
// both ways, edges repeating the border pixels.  Weights are whole numbers
// adding up to exactly KERNEL_ONE, so a flat picture stays exactly flat.
inline constexpr int KERNEL_SHIFT = 14;
inline constexpr std::int32_t KERNEL_ONE = 1 << KERNEL_SHIFT;
// The largest kernel radius any effect may ask for: a kernel of 2 * 128 + 1
// taps blurs a 1920-wide picture beyond recognition already.
inline constexpr int MAX_RADIUS = 128;

// Gaussian weights of the given standard deviation over 2 * radius + 1 taps
// (radius clamped to 0..MAX_RADIUS), summing to KERNEL_ONE.
std::vector<std::int32_t> gaussian_kernel(double sigma, int radius);
// Convolves the colour bytes of `source` into `target` (alpha copied).
// One progress step per output row when `report` is given.
void separable(const bitmap *source, bitmap *target, const std::vector<std::int32_t> &kernel,
               progress_guard *report);
// A Gaussian blur whose kernel reaches `radius` pixels (sigma = radius / 2.5,
// so the kernel's tails fall below half a percent); a new picture.
bitmap *gaussian_blur(const bitmap *source, int radius, progress_guard *report);

// A sparse 2-D kernel: taps at whole-pixel offsets with weights summing to
// exactly TAP_ONE.
inline constexpr int TAP_SHIFT = 16;
inline constexpr std::uint32_t TAP_ONE = 1u << TAP_SHIFT;
struct tap {
    int dx, dy;
    std::uint32_t weight;
};
// Convolves the colour bytes with the taps, edges repeating the border
// pixels; offsets are limited to MAX_RADIUS.  A new picture.
bitmap *convolve_taps(const bitmap *source, const std::vector<tap> &taps, progress_guard *report);

// Motion blur of a picture that turned and zoomed about its centre while it
// was taken.  A pixel at q (complex, relative to the centre) is the mean of
// the picture along the path q * exp(t * (zoom + i * spin)), t from -1/2 to
// 1/2: `spin` is the angle turned in radians, `zoom` the logarithm of the
// scale reached.  Points are read bilinearly, edges repeated, at most one
// pixel apart and at most MAX_PATH_SAMPLES of them; a pixel whose path is
// shorter than half a pixel keeps its colour.  A new picture.
inline constexpr int MAX_PATH_SAMPLES = 257;
bitmap *spiral_blur(const bitmap *source, double spin, double zoom, progress_guard *report);

// Copies a row of `width` pixels of `channels` bytes into `out` with
// `border` copies of the first and last pixel on either side.
void padded_row(const std::uint8_t *row, int width, int channels, int border, std::uint8_t *out);

// The picture's luminance as one byte per pixel (24/32 bpp through `luma`,
// 8 bpp through its colormap, a missing colormap being the grey ramp).
std::vector<std::uint8_t> luminance(const bitmap *image);

} // namespace filterkit
