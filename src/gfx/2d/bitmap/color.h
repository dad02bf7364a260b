// Pixel formats and colour.
//
// A 15-, 16-, 24- or 32-bpp pixel is a packed integer whose layout a colour
// mask describes: per channel the bit mask after shifting down, the position
// of the lowest bit, and how many low bits an 8-bit value loses when packed.
// Wherever a mask pointer may be null, null means the depth's native mask:
// 15 "rgb555", 16 "rgb565", 24 "bgr24", 32 "abgr32".  Pixels are stored
// little-endian, so a native 24-bpp pixel is the bytes red, green, blue in
// memory and a native 32-bpp pixel red, green, blue, alpha.
//
// A depth outside 15, 16, 24, 32 given to the pack/unpack calls, or a bitmap
// depth outside 8, 15, 16, 24, 32 given to `color_greyval`, is an internal
// assertion failure; the call then yields 0 or leaves its outputs alone.
//
// Colour-space conversions work on doubles in 0..1, hue included (not
// degrees).  The named-colour table holds 738 rows of components in 0..1.
#pragma once

#include <cstddef>
#include <cstdint>

struct bitmap;

struct colormask_channel {
    std::uint32_t mask;   // after shifting down, e.g. 0x1F for five bits
    std::uint32_t pos;    // bit position of the channel's lowest bit
    std::uint32_t adjust; // low bits an 8-bit value loses when packed
};

struct colormask {
    const char *name; // may be null in a caller's own mask ("unknown" in dumps)
    colormask_channel r;
    colormask_channel g;
    colormask_channel b;
    colormask_channel a;
};

// The fixed table, in search order: "rgb555", "rgb565", "rgb24", "bgr24",
// "argb32", "abgr32", "rgba32", "bgra32".
constexpr std::size_t COLOR_MASK_COUNT = 8;
extern const colormask color_mask_table[COLOR_MASK_COUNT];

// The display's layout, filled by the video output; until then the native
// 24-bpp mask, so converting to it changes nothing.
extern colormask color_mask;

// The first table entry whose name matches `name` (two-way wildcard match),
// or null.  With `out`, the entry is also copied there.
const colormask *color_getmask(const char *name, colormask *out);
// The native mask of a depth (15, 16, 24, 32), or null for any other.
const colormask *color_native_mask(int bpp);

std::uint32_t color_pack(const colormask *mask, int r, int g, int b, int a, int bpp);
// Writes each requested channel (0..255, low bits not replicated: a five-bit
// 31 gives 248); null places are skipped.
void color_unpack(const colormask *mask, std::uint32_t pixel, int *r, int *g, int *b, int *a,
                  int bpp);
// Re-lays every pixel of a 15/16/24/32-bpp bitmap in place from mask `from`
// to mask `to`; an 8-bpp bitmap is left alone.
void color_bitmap_mask(const colormask *from, const colormask *to, bitmap *image);
// Prints the record's fields to the standard output.
void color_dump_mask(const colormask *mask);

// 0.3 red + 0.59 green + 0.11 blue of a pixel of that bitmap (the colormap
// entry at 8 bpp, the native layout otherwise), truncated toward zero.
int color_greyval(const bitmap *image, std::uint32_t pixel);

// Return 0 when the colour has no hue (black or grey; h and s are then 0),
// else 1.  Any output place may be null.
int color_rgb2hsl(double r, double g, double b, double *h, double *s, double *l);
int color_rgb2hsv(double r, double g, double b, double *h, double *s, double *v);
void color_hsl2rgb(double h, double s, double l, double *r, double *g, double *b);
void color_hsv2rgb(double h, double s, double v, double *r, double *g, double *b);

struct color_entry {
    const char *name;
    double r, g, b; // 0..1
};

constexpr std::size_t COLOR_LIST_SIZE = 738;
extern const color_entry color_list[COLOR_LIST_SIZE];

// The entry whose name matches (two-way wildcard match), searching from the
// last entry to the first; null when none does.
const color_entry *color_get_by_name(const char *name);
// The name of the table colour nearest to (r, g, b) (components 0..1); among
// equally near entries the shortest name, then the earlier one.
const char *color_name_find(double r, double g, double b);
