#include "gfx/2d/bitmap/color.h"

#include "core/message.h"
#include "core/xstring.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/pixel.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/color.c";
static constexpr const char *source_ident = "bitmap::color";

const colormask color_mask_table[COLOR_MASK_COUNT] = {
    {.name = "rgb555",
     .r = {.mask = 0x1F, .pos = 10, .adjust = 3},
     .g = {.mask = 0x1F, .pos = 5, .adjust = 3},
     .b = {.mask = 0x1F, .pos = 0, .adjust = 3},
     .a = {.mask = 0x1, .pos = 15, .adjust = 7}},
    {.name = "rgb565",
     .r = {.mask = 0x1F, .pos = 11, .adjust = 3},
     .g = {.mask = 0x3F, .pos = 5, .adjust = 2},
     .b = {.mask = 0x1F, .pos = 0, .adjust = 3},
     .a = {.mask = 0, .pos = 0, .adjust = 0}},
    {.name = "rgb24",
     .r = {.mask = 0xFF, .pos = 16, .adjust = 0},
     .g = {.mask = 0xFF, .pos = 8, .adjust = 0},
     .b = {.mask = 0xFF, .pos = 0, .adjust = 0},
     .a = {.mask = 0, .pos = 0, .adjust = 0}},
    {.name = "bgr24",
     .r = {.mask = 0xFF, .pos = 0, .adjust = 0},
     .g = {.mask = 0xFF, .pos = 8, .adjust = 0},
     .b = {.mask = 0xFF, .pos = 16, .adjust = 0},
     .a = {.mask = 0, .pos = 0, .adjust = 0}},
    {.name = "argb32",
     .r = {.mask = 0xFF, .pos = 16, .adjust = 0},
     .g = {.mask = 0xFF, .pos = 8, .adjust = 0},
     .b = {.mask = 0xFF, .pos = 0, .adjust = 0},
     .a = {.mask = 0xFF, .pos = 24, .adjust = 0}},
    {.name = "abgr32",
     .r = {.mask = 0xFF, .pos = 0, .adjust = 0},
     .g = {.mask = 0xFF, .pos = 8, .adjust = 0},
     .b = {.mask = 0xFF, .pos = 16, .adjust = 0},
     .a = {.mask = 0xFF, .pos = 24, .adjust = 0}},
    {.name = "rgba32",
     .r = {.mask = 0xFF, .pos = 24, .adjust = 0},
     .g = {.mask = 0xFF, .pos = 16, .adjust = 0},
     .b = {.mask = 0xFF, .pos = 8, .adjust = 0},
     .a = {.mask = 0xFF, .pos = 0, .adjust = 0}},
    {.name = "bgra32",
     .r = {.mask = 0xFF, .pos = 8, .adjust = 0},
     .g = {.mask = 0xFF, .pos = 16, .adjust = 0},
     .b = {.mask = 0xFF, .pos = 24, .adjust = 0},
     .a = {.mask = 0xFF, .pos = 0, .adjust = 0}},
};

colormask color_mask = color_mask_table[3];

const color_entry color_list[COLOR_LIST_SIZE] = {
#include "gfx/2d/bitmap/color_names.inc"
};

namespace {

// Shifts wider than the pixel would be undefined; a caller's own mask may
// hold any position.
std::uint32_t shift_left(std::uint32_t value, std::uint32_t bits) {
    return bits < 32 ? value << bits : 0;
}
std::uint32_t shift_right(std::uint32_t value, std::uint32_t bits) {
    return bits < 32 ? value >> bits : 0;
}

std::uint32_t pack_channel(const colormask_channel &channel, int value) {
    return shift_left(shift_right(static_cast<std::uint32_t>(value), channel.adjust) & channel.mask,
                      channel.pos);
}

int unpack_channel(const colormask_channel &channel, std::uint32_t pixel) {
    return static_cast<int>(
        shift_left(shift_right(pixel, channel.pos) & channel.mask, channel.adjust) & 0xFF);
}

bool packed_depth(int bpp) {
    return bpp == 15 || bpp == 16 || bpp == 24 || bpp == 32;
}

// The mask to use for a depth, or null (after the assertion) for a depth
// that has no packed layout.
const colormask *mask_for(const colormask *mask, int bpp) {
    if (!packed_depth(bpp)) {
        XASSERT(0);
        return nullptr;
    }
    return mask ? mask : color_native_mask(bpp);
}

void dump_line(const char *format, std::uint32_t value) {
    std::printf(format, static_cast<int>(value), static_cast<unsigned>(value));
}

// The hue of the HSL and HSV models, 0..1, from the largest and smallest
// component and their difference (which must be positive).
double hue_of(double r, double g, double b, double max, double min, double delta) {
    double r2 = (max - r) / delta;
    double g2 = (max - g) / delta;
    double b2 = (max - b) / delta;
    double h;
    if (r == max)
        h = g == min ? 5.0 + b2 : 1.0 - g2;
    else if (g == max)
        h = b == min ? 1.0 + r2 : 3.0 - b2;
    else
        h = r == min ? 3.0 + g2 : 5.0 - r2;
    h /= 6.0;
    // Pure red comes out as a full turn; hue is kept in [0, 1).
    return h >= 1.0 ? h - 1.0 : h;
}

void store(double *place, double value) {
    if (place)
        *place = value;
}

// One component of HSL to RGB, from the two levels m1 <= m2 and the hue
// shifted for that component.
double hsl_component(double m1, double m2, double hue) {
    if (hue < 0.0)
        hue += 1.0;
    if (hue > 1.0)
        hue -= 1.0;
    if (hue * 6.0 < 1.0)
        return m1 + (m2 - m1) * hue * 6.0;
    if (hue * 2.0 < 1.0)
        return m2;
    if (hue * 3.0 < 2.0)
        return m1 + (m2 - m1) * (2.0 / 3.0 - hue) * 6.0;
    return m1;
}

// Hue is cyclic: any value maps into [0, 1); a hue that is no number at all
// is taken as 0.
double wrap_hue(double h) {
    if (!std::isfinite(h))
        return 0.0;
    h -= std::floor(h);
    return h < 1.0 ? h : 0.0;
}

} // namespace

const colormask *color_getmask(const char *name, colormask *out) {
    if (!name)
        return nullptr;
    for (const colormask &entry : color_mask_table) {
        if (xstring_match(entry.name, name)) {
            if (out)
                *out = entry;
            return &entry;
        }
    }
    return nullptr;
}

const colormask *color_native_mask(int bpp) {
    switch (bpp) {
    case 15:
        return &color_mask_table[0];
    case 16:
        return &color_mask_table[1];
    case 24:
        return &color_mask_table[3];
    case 32:
        return &color_mask_table[5];
    default:
        return nullptr;
    }
}

std::uint32_t color_pack(const colormask *mask, int r, int g, int b, int a, int bpp) {
    const colormask *m = mask_for(mask, bpp);
    if (!m)
        return 0;
    return pack_channel(m->r, r) | pack_channel(m->g, g) | pack_channel(m->b, b) |
           pack_channel(m->a, a);
}

void color_unpack(const colormask *mask, std::uint32_t pixel, int *r, int *g, int *b, int *a,
                  int bpp) {
    const colormask *m = mask_for(mask, bpp);
    if (!m)
        return;
    if (r)
        *r = unpack_channel(m->r, pixel);
    if (g)
        *g = unpack_channel(m->g, pixel);
    if (b)
        *b = unpack_channel(m->b, pixel);
    if (a)
        *a = unpack_channel(m->a, pixel);
}

void color_bitmap_mask(const colormask *from, const colormask *to, bitmap *image) {
    int bpp = image->bpp;
    if (!packed_depth(bpp) || !image->bits)
        return;
    pixeldata cursor;
    bitmap_pixeldata(image, &cursor);
    std::size_t count = static_cast<std::size_t>(image->xsize) * image->ysize;
    for (std::size_t i = 0; i < count; ++i) {
        int r, g, b, a;
        switch (bpp) {
        case 15:
        case 16: {
            std::uint16_t *p = bpp == 15 ? cursor.bits15 : cursor.bits16;
            color_unpack(from, *p, &r, &g, &b, &a, bpp);
            *p = static_cast<std::uint16_t>(color_pack(to, r, g, b, a, bpp));
            break;
        }
        case 24: {
            std::uint8_t *p = cursor.bytes;
            std::uint32_t value = p[0] | (p[1] << 8) | (static_cast<std::uint32_t>(p[2]) << 16);
            color_unpack(from, value, &r, &g, &b, nullptr, bpp);
            value = color_pack(to, r, g, b, 0, bpp);
            p[0] = static_cast<std::uint8_t>(value);
            p[1] = static_cast<std::uint8_t>(value >> 8);
            p[2] = static_cast<std::uint8_t>(value >> 16);
            break;
        }
        default:
            color_unpack(from, *cursor.bits32, &r, &g, &b, &a, bpp);
            *cursor.bits32 = color_pack(to, r, g, b, a, bpp);
            break;
        }
        bitmap_pixeldata_advance(image, &cursor);
    }
}

void color_dump_mask(const colormask *mask) {
    if (!mask)
        return;
    std::printf("mask.name = %s\n", mask->name ? mask->name : "unknown");
    dump_line("mask.r.adjust = %-3d (0x%02x)\n", mask->r.adjust);
    dump_line("mask.g.adjust = %-3d (0x%02x)\n", mask->g.adjust);
    dump_line("mask.b.adjust = %-3d (0x%02x)\n", mask->b.adjust);
    dump_line("mask.a.adjust = %-3d (0x%02x)\n", mask->a.adjust);
    dump_line("mask.r.mask   = %-3d (0x%02x)\n", mask->r.mask);
    dump_line("mask.g.mask   = %-3d (0x%02x)\n", mask->g.mask);
    dump_line("mask.b.mask   = %-3d (0x%02x)\n", mask->b.mask);
    dump_line("mask.a.mask   = %-3d (0x%02x)\n", mask->a.mask);
    // The red position has never had a line of its own; readers of these
    // dumps expect exactly these lines.
    dump_line("mask.g.pos    = %-3d (0x%02x)\n", mask->g.pos);
    dump_line("mask.b.pos    = %-3d (0x%02x)\n", mask->b.pos);
    dump_line("mask.a.pos    = %-3d (0x%02x)\n", mask->a.pos);
}

int color_greyval(const bitmap *image, std::uint32_t pixel) {
    int r = 0, g = 0, b = 0;
    switch (image->bpp) {
    case 8: {
        colormap_entry entry =
            colormap_get_color(image->cmap, static_cast<std::int32_t>(pixel & 0xFF));
        r = entry.r;
        g = entry.g;
        b = entry.b;
        break;
    }
    case 15:
    case 16:
    case 24:
    case 32:
        color_unpack(nullptr, pixel, &r, &g, &b, nullptr, image->bpp);
        break;
    default:
        XASSERT(0);
        return 0;
    }
    return static_cast<int>(0.3 * r + 0.59 * g + 0.11 * b);
}

int color_rgb2hsl(double r, double g, double b, double *h, double *s, double *l) {
    double max = std::max({r, g, b});
    double min = std::min({r, g, b});
    double lightness = (max + min) / 2.0;
    store(h, 0.0);
    store(s, 0.0);
    store(l, lightness);
    if (lightness <= 0.0)
        return 0;
    double delta = max - min;
    if (delta <= 0.0)
        return 0;
    store(s, lightness <= 0.5 ? delta / (max + min) : delta / (2.0 - max - min));
    store(h, hue_of(r, g, b, max, min, delta));
    return 1;
}

int color_rgb2hsv(double r, double g, double b, double *h, double *s, double *v) {
    double max = std::max({r, g, b});
    double min = std::min({r, g, b});
    store(h, 0.0);
    store(s, 0.0);
    store(v, max);
    if (max <= 0.0)
        return 0;
    double delta = max - min;
    if (delta <= 0.0)
        return 0;
    store(s, delta / max);
    store(h, hue_of(r, g, b, max, min, delta));
    return 1;
}

void color_hsl2rgb(double h, double s, double l, double *r, double *g, double *b) {
    if (s <= 0.0) {
        store(r, l);
        store(g, l);
        store(b, l);
        return;
    }
    h = wrap_hue(h);
    double m2 = l <= 0.5 ? l * (1.0 + s) : l + s - l * s;
    double m1 = 2.0 * l - m2;
    store(r, hsl_component(m1, m2, h + 1.0 / 3.0));
    store(g, hsl_component(m1, m2, h));
    store(b, hsl_component(m1, m2, h - 1.0 / 3.0));
}

void color_hsv2rgb(double h, double s, double v, double *r, double *g, double *b) {
    if (s <= 0.0) {
        store(r, v);
        store(g, v);
        store(b, v);
        return;
    }
    double sector = wrap_hue(h) * 6.0;
    int i = static_cast<int>(sector);
    if (i > 5)
        i = 5;
    double f = sector - i;
    double p = v * (1.0 - s);
    double q = v * (1.0 - s * f);
    double t = v * (1.0 - s * (1.0 - f));
    double out[6][3] = {{v, t, p}, {q, v, p}, {p, v, t}, {p, q, v}, {t, p, v}, {v, p, q}};
    store(r, out[i][0]);
    store(g, out[i][1]);
    store(b, out[i][2]);
}

const color_entry *color_get_by_name(const char *name) {
    if (!name)
        return nullptr;
    for (std::size_t i = COLOR_LIST_SIZE; i-- > 0;) {
        if (xstring_match(color_list[i].name, name))
            return &color_list[i];
    }
    return nullptr;
}

const char *color_name_find(double r, double g, double b) {
    // Among equally near entries the shortest name wins ("white" before
    // "gray100"), then the earlier one ("black" before "gray0").
    const color_entry *best = nullptr;
    double best_distance = 0.0;
    std::size_t best_length = 0;
    for (const color_entry &entry : color_list) {
        double dr = entry.r - r, dg = entry.g - g, db = entry.b - b;
        double d = dr * dr + dg * dg + db * db;
        std::size_t length = std::strlen(entry.name);
        if (!best || d < best_distance || (d == best_distance && length < best_length)) {
            best = &entry;
            best_distance = d;
            best_length = length;
        }
    }
    return best->name;
}
