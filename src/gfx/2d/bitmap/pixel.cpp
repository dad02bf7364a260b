#include "gfx/2d/bitmap/pixel.h"

#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/color.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"

#include <bit>
#include <cstdio>
#include <cstring>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/pixel.c";
static constexpr const char *source_ident = "bitmap::pixel";

// 15-, 16- and 32-bpp pixels are read and written as host integers through
// the cursor, and the pixel formats are defined little-endian.
static_assert(std::endian::native == std::endian::little);

namespace {

std::uint32_t read_pixel(const std::uint8_t *at, int channels) {
    std::uint32_t value = 0;
    std::memcpy(&value, at, channels);
    return value;
}

void write_pixel(std::uint8_t *at, int channels, std::uint32_t value) {
    std::memcpy(at, &value, channels);
}

void point_at(const bitmap *image, pixeldata *cursor, std::size_t index) {
    std::uint8_t *base = image->bits;
    if (!base) {
        *cursor = pixeldata{};
        return;
    }
    cursor->bytes = base + index * bitmap_depth_channels(image->bpp);
    cursor->bits8 = base + index;
    cursor->bits15 = reinterpret_cast<std::uint16_t *>(base + index * 2);
    cursor->bits16 = reinterpret_cast<std::uint16_t *>(base + index * 2);
    cursor->bits32 = reinterpret_cast<std::uint32_t *>(base + index * 4);
}

// Choosing a palette is the quantising effect's job; the framework's simple
// call runs it on a copy and hands back a new 8-bpp bitmap with a colormap.
// A missing "quant.fast" driver is reported by the framework's lookup.
bitmap *reduce_to_palette(const bitmap *truecolor) {
    bitmapfx_driver *quantiser = bitmapfx_get_driver("quant.fast");
    if (!quantiser)
        return nullptr;
    return bitmapfx_simple(quantiser, truecolor);
}

bitmap *upgrade_to_palette(const bitmap *source) {
    if (source->bpp == 15 || source->bpp == 16) {
        bitmap *truecolor = bitmap_upgrade(source, 24);
        if (!truecolor)
            return nullptr;
        bitmap *result = reduce_to_palette(truecolor);
        bitmap_kill(truecolor);
        return result;
    }
    return reduce_to_palette(source);
}

void store_converted(const bitmap *target, const pixeldata &cursor, std::uint32_t value) {
    switch (target->bpp) {
    case 15:
        *cursor.bits15 = static_cast<std::uint16_t>(value);
        break;
    case 16:
        *cursor.bits16 = static_cast<std::uint16_t>(value);
        break;
    case 24: {
        int r, g, b;
        color_unpack(color_native_mask(24), value, &r, &g, &b, nullptr, 24);
        cursor.bytes[0] = static_cast<std::uint8_t>(r);
        cursor.bytes[1] = static_cast<std::uint8_t>(g);
        cursor.bytes[2] = static_cast<std::uint8_t>(b);
        break;
    }
    default:
        *cursor.bits32 = value;
        break;
    }
}

} // namespace

pixeldata *bitmap_pixeldata(const bitmap *image, pixeldata *cursor) {
    point_at(image, cursor, 0);
    return cursor;
}

pixeldata *bitmap_pixeldata_setpos(const bitmap *image, pixeldata *cursor, std::uint32_t x,
                                   std::uint32_t y) {
    point_at(image, cursor, static_cast<std::size_t>(y) * image->xsize + x);
    return cursor;
}

pixeldata *bitmap_pixeldata_advance(const bitmap *image, pixeldata *cursor) {
    if (!cursor->bytes)
        return cursor;
    cursor->bytes += bitmap_depth_channels(image->bpp);
    switch (image->bpp) {
    case 8:
        ++cursor->bits8;
        break;
    case 15:
        ++cursor->bits15;
        break;
    case 16:
        ++cursor->bits16;
        break;
    case 32:
        ++cursor->bits32;
        break;
    default:
        break;
    }
    return cursor;
}

int bitmap_inbound(const bitmap *image, int x, int y) {
    return x >= 0 && y >= 0 && static_cast<std::uint32_t>(x) < image->xsize &&
           static_cast<std::uint32_t>(y) < image->ysize;
}

void bitmap_putpixel(bitmap *image, int x, int y, std::uint32_t value) {
    int channels = bitmap_depth_channels(image->bpp);
    if (!channels || !image->bits || !bitmap_inbound(image, x, y))
        return;
    std::size_t index = static_cast<std::size_t>(y) * image->xsize + static_cast<std::size_t>(x);
    write_pixel(image->bits + index * channels, channels, value);
}

std::uint32_t get_pixel(const bitmap *image, int x, int y, int bpp) {
    int channels = bitmap_depth_channels(image->bpp);
    if (!channels || !image->bits)
        return 0;
    std::size_t index = static_cast<std::size_t>(y) * image->xsize + static_cast<std::size_t>(x);
    const std::uint8_t *at = image->bits + index * channels;
    int r, g, b, a = 0;
    switch (image->bpp) {
    case 8: {
        colormap_entry entry = colormap_get_color(image->cmap, at[0]);
        return color_pack(nullptr, entry.r, entry.g, entry.b, 0, bpp);
    }
    case 24:
        return color_pack(nullptr, at[0], at[1], at[2], 0, bpp);
    default:
        color_unpack(nullptr, read_pixel(at, channels), &r, &g, &b, &a, image->bpp);
        return color_pack(nullptr, r, g, b, a, bpp);
    }
}

bitmap *bitmap_upgrade(const bitmap *source, std::int32_t bpp) {
    if (!bitmap_depth_channels(source->bpp) || !bitmap_depth_channels(bpp)) {
        XASSERT(0);
        return nullptr;
    }
    if (bpp == source->bpp)
        return bitmap_dup(source);
    if (bpp == 8)
        return upgrade_to_palette(source);
    if (!source->bits)
        return nullptr;
    bitmap *target = bitmap_alloc2(source->xsize, source->ysize, bpp);
    if (!target)
        return nullptr;

    const char *label = source->bpp > bpp ? "bitmap downgrade" : "bitmap upgrade";
    char info[80];
    std::snprintf(info, sizeof info, "%s from %d-bpp to %d-bpp", label, source->bpp, bpp);
    progress *report = progress_init_internal(0, 0, label, info);
    pixeldata cursor;
    bitmap_pixeldata(target, &cursor);
    int xsize = static_cast<int>(source->xsize);
    int ysize = static_cast<int>(source->ysize);
    for (int y = 0; y < ysize; ++y) {
        progress_add(report, y, ysize);
        for (int x = 0; x < xsize; ++x) {
            store_converted(target, cursor, get_pixel(source, x, y, bpp));
            bitmap_pixeldata_advance(target, &cursor);
        }
    }
    progress_deinit(report);
    return target;
}

bitmap *bitmap_upgrade2(bitmap **place, std::int32_t bpp) {
    bitmap *converted = bitmap_upgrade(*place, bpp);
    if (!converted)
        return nullptr;
    bitmap_kill(*place);
    *place = converted;
    return converted;
}
