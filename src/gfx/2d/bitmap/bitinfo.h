// Bitmap information: field accessors and the size rules of the pixel block.
//
// Rows are stored top to bottom without padding; a row is `xsize` pixels of
// `bitmap_channels` bytes, so pixel (x, y) starts at byte
// y * rowstride + x * channels.  A depth outside 8, 15, 16, 24, 32 is an
// internal assertion failure in the size rules, which then yield 0.
//
// The name and comment texts are owned by the bitmap; the getters never return
// null but the placeholders "<annonymous>" and "<no info>".
#pragma once

#include <cstddef>
#include <cstdint>

struct bitmap;
struct colormap;
struct bitmapio_driver;

std::uint32_t bitmap_xsize(const bitmap *image);
std::uint32_t bitmap_ysize(const bitmap *image);
std::int32_t bitmap_bpp(const bitmap *image);
std::uint8_t *bitmap_bits(const bitmap *image);
colormap *bitmap_cmap(const bitmap *image);
bitmapio_driver *bitmap_get_loader(const bitmap *image);
void bitmap_set_loader(bitmap *image, bitmapio_driver *driver);

const char *bitmap_get_name(const bitmap *image);
const char *bitmap_get_info(const bitmap *image);
// Replace the text with an owned copy of `text` (null clears it); return `text`.
const char *bitmap_set_name(bitmap *image, const char *text);
const char *bitmap_set_info(bitmap *image, const char *text);

// Bytes per pixel of a depth: 8 -> 1, 15 and 16 -> 2, 24 -> 3, 32 -> 4, else
// 0 (without reporting anything; the bitmap_* rules below report).
int bitmap_depth_channels(std::int32_t bpp);

int bitmap_channels(const bitmap *image);
std::size_t bitmap_rowstride(const bitmap *image);
std::size_t bitmap_bytesize(const bitmap *image);
// Byte offset of pixel (x, y) within the block, and its address.
std::size_t bitmap_poffset(const bitmap *image, std::uint32_t x, std::uint32_t y);
std::uint8_t *bitmap_boffset(const bitmap *image, std::uint32_t x, std::uint32_t y);
