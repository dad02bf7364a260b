// Pixel access and depth conversion.
//
// The pixel cursor keeps one pointer per access width, all at the same pixel;
// only the byte pointer and the pointer of the bitmap's own depth move when
// it advances (24-bpp pixels are reached through the byte pointer alone:
// three bytes, red, green, blue in the native layout).  Rows follow each
// other without padding, so advancing past a row's end lands on the next
// row's first pixel.  The cursor does not check bounds; `bitmap_putpixel`
// does.
//
// `bitmap_upgrade` returns a new bitmap owned by the caller (null on
// failure); the source is never changed.
#pragma once

#include <cstdint>

struct bitmap;

struct pixeldata {
    std::uint8_t *bytes;   // steps by the bytes per pixel of any depth
    std::uint8_t *bits8;   // 8 bpp
    std::uint16_t *bits15; // 15 bpp
    std::uint16_t *bits16; // 16 bpp
    std::uint32_t *bits32; // 32 bpp
};

// All pointers at the first pixel; returns the cursor.
pixeldata *bitmap_pixeldata(const bitmap *image, pixeldata *cursor);
// All pointers at pixel (x, y); returns the cursor.
pixeldata *bitmap_pixeldata_setpos(const bitmap *image, pixeldata *cursor, std::uint32_t x,
                                   std::uint32_t y);
// On to the next pixel; returns the cursor.
pixeldata *bitmap_pixeldata_advance(const bitmap *image, pixeldata *cursor);

// Non-zero when 0 <= x < xsize and 0 <= y < ysize.
int bitmap_inbound(const bitmap *image, int x, int y);
// Stores the raw pixel value (its low 8, 16, 24 or all 32 bits by depth);
// does nothing outside the bitmap.
void bitmap_putpixel(bitmap *image, int x, int y, std::uint32_t value);
// The pixel at (x, y), unchecked, as a native pixel value of depth `bpp`
// (15, 16, 24 or 32); alpha is 0 from 8- and 24-bpp sources.  An unknown
// source depth yields 0.
std::uint32_t get_pixel(const bitmap *image, int x, int y, int bpp);

// A new bitmap of depth `bpp` with the same size and picture, or null.  To
// 8 bpp the picture goes through the quantising effect "quant.fast".
bitmap *bitmap_upgrade(const bitmap *source, std::int32_t bpp);
// bitmap_upgrade of *place; on success the old bitmap is freed and *place
// takes the new one, which is returned; on failure *place is left alone and
// null is returned.
bitmap *bitmap_upgrade2(bitmap **place, std::int32_t bpp);
