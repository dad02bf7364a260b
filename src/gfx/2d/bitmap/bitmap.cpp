#include "gfx/2d/bitmap/bitmap.h"

#include "core/memio/memio.h"
#include "core/message.h"
#include "gfx/2d/bitmap/color.h"
#include "gfx/2d/bitmap/pixel.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/bitmap.c";
static constexpr const char *source_ident = "bitmap";

namespace {

// Blocks carry 8 spare bytes and are rounded up to 32, so that loops which
// read a whole word past the last pixel of a row stay inside the block.
std::size_t block_size(std::size_t pixel_bytes) {
    return (pixel_bytes + 8 + 31) / 32 * 32;
}

std::size_t pixel_bytes(std::uint32_t xsize, std::uint32_t ysize, std::int32_t bpp) {
    int channels = bitmap_depth_channels(bpp);
    if (!channels)
        XASSERT(0);
    return static_cast<std::size_t>(xsize) * ysize * channels;
}

// The one gate every pixel block passes through.
bool size_accepted(std::uint32_t xsize, std::uint32_t ysize) {
    if (const char *why = bitmap_check_size(xsize, ysize)) {
        XERROR("refusing a bitmap of %lux%lu pixels: %s", static_cast<unsigned long>(xsize),
               static_cast<unsigned long>(ysize), why);
        return false;
    }
    return true;
}

bitmap *new_record() {
    return bitmap_validate(static_cast<bitmap *>(xmalloc(sizeof(bitmap))));
}

} // namespace

const char *bitmap_check_size(std::uint64_t xsize, std::uint64_t ysize) {
    // Sides first, so that the area below cannot overflow.
    if (xsize > BITMAP_MAX_SIDE || ysize > BITMAP_MAX_SIDE)
        return "a side exceeds 65535 pixels";
    if (xsize * ysize > BITMAP_MAX_PIXELS)
        return "the area exceeds 67108864 pixels";
    return nullptr;
}

bitmap *bitmap_alloc() {
    return new_record();
}

bitmap *bitmap_validate(bitmap *record) {
    *record = bitmap{};
    record->magic = BITMAP_MAGIC;
    return record;
}

bitmap *bitmap_alloc2(std::uint32_t xsize, std::uint32_t ysize, std::int32_t bpp) {
    if (!size_accepted(xsize, ysize))
        return nullptr;
    std::size_t size = block_size(pixel_bytes(xsize, ysize, bpp));
    bitmap *image = new_record();
    image->xsize = xsize;
    image->ysize = ysize;
    image->bpp = bpp;
    // A zeroed block is what clearing to pixel value 0 gives, spare tail included.
    image->bits = static_cast<std::uint8_t *>(xcalloc(1, size));
    return image;
}

bitmap *bitmap_clear(bitmap *image, std::uint32_t value) {
    int channels = bitmap_depth_channels(image->bpp);
    if (!channels || !image->bits)
        return image;
    std::uint8_t pixel[4] = {
        static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
        static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
    std::size_t count = static_cast<std::size_t>(image->xsize) * image->ysize;
    std::uint8_t *out = image->bits;
    for (std::size_t i = 0; i < count; ++i, out += channels)
        std::memcpy(out, pixel, channels);
    return image;
}

bitmap *bitmap_dup(const bitmap *image) {
    // Sizes are worked out before anything is allocated, so that a failed
    // depth assertion leaves nothing behind.
    std::size_t size = image->bits ? bitmap_bytesize(image) : 0;
    bitmap *copy = new_record();
    copy->xsize = image->xsize;
    copy->ysize = image->ysize;
    copy->bpp = image->bpp;
    bitmap_set_name(copy, image->name);
    bitmap_set_info(copy, image->info);
    copy->cmap = colormap_dup(image->cmap);
    if (image->bits)
        copy->bits = static_cast<std::uint8_t *>(xmemdup(image->bits, size));
    return copy;
}

bitmap *bitmap_clone(const bitmap *image, std::uint32_t xsize, std::uint32_t ysize) {
    if (xsize == image->xsize && ysize == image->ysize)
        return bitmap_dup(image);
    if (!size_accepted(xsize, ysize))
        return nullptr;
    std::size_t size = block_size(pixel_bytes(xsize, ysize, image->bpp));
    bitmap *copy = bitmap_dup(image);
    copy->xsize = xsize;
    copy->ysize = ysize;
    copy->bits = static_cast<std::uint8_t *>(xrealloc(copy->bits, size));
    return copy;
}

bitmap *bitmap_setbits(bitmap *image, const void *source) {
    std::size_t size = bitmap_bytesize(image);
    if (image->bits && source && size)
        std::memcpy(image->bits, source, size);
    return image;
}

std::uint8_t *bitmap_dupbits(const bitmap *image) {
    if (!image->bits)
        return nullptr;
    return static_cast<std::uint8_t *>(xmemdup(image->bits, bitmap_bytesize(image)));
}

void bitmap_kill(bitmap *image) {
    if (!image)
        return;
    xfree(image->name);
    xfree(image->info);
    colormap_kill(image->cmap);
    xfree(image->bits);
    xfree(image);
}

int bitmap_compare(const bitmap *a, const bitmap *b, int with_pixels) {
    if (a->xsize != b->xsize || a->ysize != b->ysize || a->bpp != b->bpp)
        return 0;
    if (!with_pixels)
        return 1;
    std::size_t size = bitmap_bytesize(a);
    if (!size)
        return 1;
    if (!a->bits || !b->bits)
        return a->bits == b->bits;
    return std::memcmp(a->bits, b->bits, size) == 0;
}

double bitmap_diff(const bitmap *a, const bitmap *b) {
    if (a->xsize != b->xsize || a->ysize != b->ysize || a->bpp != b->bpp)
        return -1.0;
    bitmap_ptr left(bitmap_upgrade(a, 24));
    bitmap_ptr right(bitmap_upgrade(b, 24));
    if (!left || !right || !left->bits || !right->bits)
        return -1.0;
    std::size_t pixels = static_cast<std::size_t>(a->xsize) * a->ysize;
    if (!pixels)
        return 0.0;
    std::uint64_t sum = 0;
    const std::uint8_t *p = left->bits;
    const std::uint8_t *q = right->bits;
    for (std::size_t i = 0; i < pixels * 3; ++i) {
        std::int64_t d = static_cast<std::int64_t>(p[i]) - q[i];
        sum += static_cast<std::uint64_t>(d * d);
    }
    // The mean is taken under the root: the result is the typical colour
    // distance of one pixel, independent of the picture's size.
    return std::sqrt(static_cast<double>(sum) / static_cast<double>(pixels));
}

std::uint32_t bitmap_find_color(int r, int g, int b, int a, const bitmap *image,
                                const colormask *mask) {
    switch (image->bpp) {
    case 8:
        return static_cast<std::uint32_t>(colormap_find_color(r, g, b, image->cmap, 0));
    case 15:
    case 16:
    case 24:
    case 32:
        return color_pack(mask, r, g, b, a, image->bpp);
    default:
        XASSERT(0);
        return 0;
    }
}

void bitmap_dump(const bitmap *image) {
    const char *loader = image->loader && image->loader->name ? image->loader->name : "unknown";
    std::printf("\ndumping bitmap: %s\n", bitmap_get_name(image));
    std::printf("xsize   = %d\n", static_cast<int>(image->xsize));
    std::printf("ysize   = %d\n", static_cast<int>(image->ysize));
    std::printf("bpp     = %d\n", image->bpp);
    std::printf("comment = %s\n", bitmap_get_info(image));
    std::printf("loader  = %s\n", loader);
    std::fflush(stdout);
}
