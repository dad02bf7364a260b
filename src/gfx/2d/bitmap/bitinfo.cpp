#include "gfx/2d/bitmap/bitinfo.h"

#include "core/memio/memio.h"
#include "core/message.h"
#include "gfx/2d/bitmap/bitmap.h"

static constexpr const char *source_file = "./src/gfx/2d/bitmap/bitinfo.c";
static constexpr const char *source_ident = "bitmap::info";

namespace {

// Bytes per pixel, with the assertion every size rule shares.
int checked_channels(const bitmap *image) {
    int channels = bitmap_depth_channels(image->bpp);
    if (!channels)
        XASSERT(0);
    return channels;
}

const char *replace_text(char *&field, const char *text) {
    xfree(field);
    field = nullptr;
    if (text)
        field = xstrdup(text);
    return text;
}

} // namespace

std::uint32_t bitmap_xsize(const bitmap *image) {
    return image->xsize;
}
std::uint32_t bitmap_ysize(const bitmap *image) {
    return image->ysize;
}
std::int32_t bitmap_bpp(const bitmap *image) {
    return image->bpp;
}
std::uint8_t *bitmap_bits(const bitmap *image) {
    return image->bits;
}
colormap *bitmap_cmap(const bitmap *image) {
    return image->cmap;
}
bitmapio_driver *bitmap_get_loader(const bitmap *image) {
    return image->loader;
}
void bitmap_set_loader(bitmap *image, bitmapio_driver *driver) {
    image->loader = driver;
}

const char *bitmap_get_name(const bitmap *image) {
    // "<annonymous>" is the documented placeholder, kept verbatim.
    return image->name ? image->name : "<annonymous>";
}

const char *bitmap_get_info(const bitmap *image) {
    return image->info ? image->info : "<no info>";
}

const char *bitmap_set_name(bitmap *image, const char *text) {
    return replace_text(image->name, text);
}

const char *bitmap_set_info(bitmap *image, const char *text) {
    return replace_text(image->info, text);
}

int bitmap_depth_channels(std::int32_t bpp) {
    switch (bpp) {
    case 8:
        return 1;
    case 15:
    case 16:
        return 2;
    case 24:
        return 3;
    case 32:
        return 4;
    default:
        return 0;
    }
}

int bitmap_channels(const bitmap *image) {
    return checked_channels(image);
}

std::size_t bitmap_rowstride(const bitmap *image) {
    return static_cast<std::size_t>(image->xsize) * checked_channels(image);
}

std::size_t bitmap_bytesize(const bitmap *image) {
    return bitmap_rowstride(image) * image->ysize;
}

std::size_t bitmap_poffset(const bitmap *image, std::uint32_t x, std::uint32_t y) {
    int channels = checked_channels(image);
    return (static_cast<std::size_t>(y) * image->xsize + x) * channels;
}

std::uint8_t *bitmap_boffset(const bitmap *image, std::uint32_t x, std::uint32_t y) {
    return image->bits + bitmap_poffset(image, x, y);
}
