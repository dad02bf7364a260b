// Bitmaps: the one image type of the library.
//
// A bitmap is a rectangle of pixels of one depth (8, 15, 16, 24 or 32 bits
// per pixel) in one contiguous block, rows top to bottom with no padding (see
// bitinfo.h for the size rules).  The record owns `cmap`, `bits`, `name` and
// `info`; it never owns `loader`.
//
// Ownership: every constructor (`bitmap_alloc`, `bitmap_alloc2`, `bitmap_dup`,
// `bitmap_clone`, `bitmap_upgrade` in pixel.h, an image-file driver's load)
// returns a bitmap that the caller frees with `bitmap_kill`.
//
// Size limits: `bitmap_alloc2` and `bitmap_clone` are the only places that
// size a pixel block, and both refuse pictures beyond BITMAP_MAX_SIDE pixels a
// side or BITMAP_MAX_PIXELS pixels in all (an error, then null).  Image-file
// decoders call `bitmap_check_size` before they trust a header.
#pragma once

#include "gfx/2d/bitmap/bitinfo.h"
#include "gfx/2d/bitmap/bitmapio_driver.h"
#include "gfx/2d/bitmap/colormap.h"

#include <cstddef>
#include <cstdint>
#include <memory>

struct colormask;

struct bitmap {
    std::uint32_t xsize;     // width in pixels
    std::uint32_t ysize;     // height in pixels
    std::int32_t bpp;        // 8, 15, 16, 24 or 32
    std::uint32_t magic;     // BITMAP_MAGIC, set by every constructor
    colormap *cmap;          // palette of an 8-bpp bitmap, owned; may be null
    std::uint8_t *bits;      // pixel block, owned; null in an empty record
    char *name;              // owned, may be null
    char *info;              // free comment, owned, may be null
    bitmapio_driver *loader; // the driver that loaded the bitmap, not owned
};

constexpr std::uint32_t BITMAP_MAGIC = 0x1D355A7E;

// The largest picture the library will hold: 65535 pixels covers every
// 16-bit size field of the file formats, and 2^26 pixels (e.g. 8192 x 8192)
// keep a 32-bpp block at 256 MiB.  A file header claiming more is refused
// before anything is allocated.
constexpr std::uint32_t BITMAP_MAX_SIDE = 65535;
constexpr std::uint64_t BITMAP_MAX_PIXELS = std::uint64_t{1} << 26;

// Null when a picture of that size fits the limits above, else a text saying
// why not (static storage).  The depth is not checked here.
const char *bitmap_check_size(std::uint64_t xsize, std::uint64_t ysize);

// A record with every field zero or null and `magic` set; no pixel block.
bitmap *bitmap_alloc();
// Resets a caller's record the same way (nothing it held is freed).
bitmap *bitmap_validate(bitmap *record);
// A cleared bitmap (every pixel 0) with a block of xsize * ysize * bytes per
// pixel + 8 bytes rounded up to a multiple of 32; no colormap, name or
// comment.  Null (after an error) when the size exceeds the limits.
bitmap *bitmap_alloc2(std::uint32_t xsize, std::uint32_t ysize, std::int32_t bpp);
// Writes the raw pixel value to every pixel; returns the bitmap.
bitmap *bitmap_clear(bitmap *image, std::uint32_t value);
// Deep copy (texts, colormap, exactly bitmap_bytesize bytes of pixels); the
// loader link is not copied.
bitmap *bitmap_dup(const bitmap *image);
// A copy with a new size: the raw bytes are kept as a prefix of a block
// resized to the new size (not rescaled); a grown tail is undefined.  Null
// (after an error) when the size exceeds the limits.
bitmap *bitmap_clone(const bitmap *image, std::uint32_t xsize, std::uint32_t ysize);
// Copies bitmap_bytesize bytes from `source` into the block; returns the bitmap.
bitmap *bitmap_setbits(bitmap *image, const void *source);
// A new copy of the pixel block (bitmap_bytesize bytes), freed with xfree.
std::uint8_t *bitmap_dupbits(const bitmap *image);
// Frees the texts, colormap, block and record; null is accepted.
void bitmap_kill(bitmap *image);

// Owner of a bitmap: frees it with bitmap_kill.
struct bitmap_killer {
    void operator()(bitmap *image) const { bitmap_kill(image); }
};
using bitmap_ptr = std::unique_ptr<bitmap, bitmap_killer>;

// 1 when both have the same size and depth (and, with `with_pixels`
// non-zero, the same first bitmap_bytesize(a) bytes of pixels), else 0.
int bitmap_compare(const bitmap *a, const bitmap *b, int with_pixels);
// Root-mean-square distance per pixel of the two pictures compared at 24 bpp,
// in byte units (0.0 for equal pictures); -1.0 when size or depth differ.
double bitmap_diff(const bitmap *a, const bitmap *b);

// The pixel value that stands for a colour in this bitmap: the nearest
// colormap index at 8 bpp (alpha ignored), else the colour packed with `mask`
// (null: the depth's native mask).
std::uint32_t bitmap_find_color(int r, int g, int b, int a, const bitmap *image,
                                const colormask *mask);

// Prints name, size, depth, comment and loader to the standard output.
void bitmap_dump(const bitmap *image);
