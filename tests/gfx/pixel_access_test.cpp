// Pixel access (cursor, putpixel, get_pixel) and depth conversion.
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/color.h"
#include "gfx/2d/bitmap/pixel.h"
#include "image_test_support.h"
#include "support/capture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

namespace {

using owned = bitmap_ptr;

const int depths[] = {8, 15, 16, 24, 32};

// A 6 x 5 "F": asymmetric both ways, so flips, swapped axes and wrong
// strides all show.
const char *const letter_f[5] = {
    "#####.", "#.....", "####..", "#.....", "#.....",
};

// The letter (248, 64, 8) on the ground (16, 128, 200): different values in
// every channel to catch swaps, and all multiples of 8 so that every depth
// holds them exactly.  Raw pixel values per depth, written out by hand from
// the native layouts.
struct raw_pair {
    int bpp;
    std::uint32_t ink, ground;
};
const raw_pair raw_colours[] = {
    {8, 5, 2},                    // colormap indices
    {15, 0x7D01, 0x0A19},         // 0rrrrrgg gggbbbbb
    {16, 0xFA01, 0x1419},         // rrrrrggg gggbbbbb
    {24, 0x0840F8, 0xC88010},     // bytes r, g, b
    {32, 0x000840F8, 0x00C88010}, // bytes r, g, b, a
};

std::uint32_t raw(int bpp, bool ink) {
    for (const raw_pair &p : raw_colours)
        if (p.bpp == bpp)
            return ink ? p.ink : p.ground;
    return 0;
}

bitmap *make_f(int bpp) {
    bitmap *image = bitmap_alloc2(6, 5, bpp);
    if (bpp == 8) {
        image->cmap = colormap_alloc(8);
        image->cmap->entry[5] = {248, 64, 8};
        image->cmap->entry[2] = {16, 128, 200};
    }
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 6; ++x)
            bitmap_putpixel(image, x, y, raw(bpp, letter_f[y][x] == '#'));
    return image;
}

} // namespace

TEST(PixelCursor, PointersStartTogetherAndStepByTheirWidth) {
    owned image(bitmap_alloc2(4, 3, 16));
    pixeldata cursor;
    bitmap_pixeldata(image.get(), &cursor);
    EXPECT_EQ(cursor.bytes, image->bits);
    EXPECT_EQ(static_cast<void *>(cursor.bits32), static_cast<void *>(image->bits));
    bitmap_pixeldata_setpos(image.get(), &cursor, 1, 2);
    EXPECT_EQ(cursor.bytes, image->bits + 18);
    EXPECT_EQ(cursor.bits8, image->bits + 9);
    EXPECT_EQ(reinterpret_cast<std::uint8_t *>(cursor.bits15), image->bits + 18);
    EXPECT_EQ(reinterpret_cast<std::uint8_t *>(cursor.bits16), image->bits + 18);
    EXPECT_EQ(reinterpret_cast<std::uint8_t *>(cursor.bits32), image->bits + 36);
    // Only the byte pointer and the depth's own pointer move.
    bitmap_pixeldata_advance(image.get(), &cursor);
    EXPECT_EQ(cursor.bytes, image->bits + 20);
    EXPECT_EQ(reinterpret_cast<std::uint8_t *>(cursor.bits16), image->bits + 20);
    EXPECT_EQ(reinterpret_cast<std::uint8_t *>(cursor.bits15), image->bits + 18);
    EXPECT_EQ(cursor.bits8, image->bits + 9);
}

TEST(PixelCursor, AtTwentyFourBitsOnlyTheBytePointerMoves) {
    owned image(bitmap_alloc2(2, 2, 24));
    pixeldata cursor;
    bitmap_pixeldata(image.get(), &cursor);
    bitmap_pixeldata_advance(image.get(), &cursor);
    bitmap_pixeldata_advance(image.get(), &cursor);
    // Past the end of the first row lands on the second row.
    EXPECT_EQ(cursor.bytes, image->bits + bitmap_poffset(image.get(), 0, 1));
    EXPECT_EQ(cursor.bits8, image->bits);
    EXPECT_EQ(static_cast<void *>(cursor.bits32), static_cast<void *>(image->bits));
}

TEST(PixelPut, StoresTheLowBytesOfTheValue) {
    for (int bpp : depths) {
        owned image(bitmap_alloc2(3, 2, bpp));
        bitmap_putpixel(image.get(), 1, 1, 0x11223344);
        const int channels = bitmap_channels(image.get());
        const std::uint8_t *at = image->bits + (3 + 1) * channels;
        for (int i = 0; i < channels; ++i)
            EXPECT_EQ(at[i], (0x11223344u >> (8 * i)) & 0xFF) << bpp << ": " << i;
        EXPECT_EQ(at[channels], 0) << bpp; // the next pixel
    }
}

TEST(PixelPut, OutsideTheBitmapChangesNothing) {
    for (int bpp : depths) {
        owned image(bitmap_alloc2(4, 3, bpp));
        owned before(bitmap_dup(image.get()));
        for (auto [x, y] : {std::pair{-1, 0},
                            {4, 0},
                            {0, -1},
                            {0, 3},
                            {-2147483647 - 1, 1},
                            {2147483647, 2},
                            {4, 2}})
            bitmap_putpixel(image.get(), x, y, 0xFFFFFFFF);
        EXPECT_TRUE(bitmap_compare(image.get(), before.get(), 1)) << bpp;
        EXPECT_EQ(image->bits[bitmap_bytesize(image.get())], 0) << bpp; // spare tail untouched
        bitmap_putpixel(image.get(), 3, 2, 0xFFFFFFFF);
        EXPECT_FALSE(bitmap_compare(image.get(), before.get(), 1)) << bpp;
    }
}

TEST(PixelGet, ConvertsToTheRequestedNativeDepth) {
    owned b8(make_f(8));
    EXPECT_EQ(get_pixel(b8.get(), 0, 0, 24), 0x0840F8u);
    EXPECT_EQ(get_pixel(b8.get(), 5, 4, 32), 0x00C88010u);
    owned b15(make_f(15));
    EXPECT_EQ(get_pixel(b15.get(), 1, 1, 16), 0x1419u);
    owned b24(make_f(24));
    EXPECT_EQ(get_pixel(b24.get(), 0, 4, 15), 0x7D01u);
    owned b32(bitmap_alloc2(1, 1, 32));
    bitmap_putpixel(b32.get(), 0, 0, color_pack(nullptr, 10, 20, 30, 200, 32));
    EXPECT_EQ(get_pixel(b32.get(), 0, 0, 15), color_pack(nullptr, 10, 20, 30, 128, 15));
    EXPECT_EQ(get_pixel(b32.get(), 0, 0, 24), 0x1E140Au);
    bitmap record;
    bitmap_validate(&record);
    record.bpp = 7;
    EXPECT_EQ(get_pixel(&record, 0, 0, 24), 0u);
}

// Every conversion between two true-colour or palette-to-true-colour depths
// reproduces the picture exactly.
TEST(PixelUpgrade, EveryPairKeepsTheLetterF) {
    for (int from : depths) {
        owned source(make_f(from));
        owned untouched(bitmap_dup(source.get()));
        for (int to : {15, 16, 24, 32}) {
            owned converted(bitmap_upgrade(source.get(), to));
            ASSERT_NE(converted, nullptr) << from << " -> " << to;
            owned expected(make_f(to));
            EXPECT_TRUE(bitmap_compare(converted.get(), expected.get(), 1)) << from << " -> " << to;
            EXPECT_EQ(converted->cmap, nullptr);
        }
        EXPECT_TRUE(bitmap_compare(source.get(), untouched.get(), 1)) << from;
    }
}

TEST(PixelUpgrade, AlphaAndPrecision) {
    owned b24(bitmap_alloc2(1, 1, 24));
    bitmap_putpixel(b24.get(), 0, 0, color_pack(nullptr, 255, 127, 9, 0, 24));
    owned b32(bitmap_upgrade(b24.get(), 32));
    EXPECT_EQ(b32->bits[3], 0); // alpha 0
    // 24 -> 15 keeps the top five bits of each channel.
    owned b15(bitmap_upgrade(b24.get(), 15));
    EXPECT_EQ(get_pixel(b15.get(), 0, 0, 24), color_pack(nullptr, 248, 120, 8, 0, 24));

    bitmap_putpixel(b32.get(), 0, 0, 0xFF030201);
    owned back(bitmap_upgrade(b32.get(), 24));
    EXPECT_EQ(get_pixel(back.get(), 0, 0, 24), 0x030201u);
    // The 15-bpp alpha bit carries over both ways.
    owned with_alpha(bitmap_upgrade(b32.get(), 15));
    EXPECT_EQ(with_alpha->bits[1] & 0x80, 0x80);
    owned wide(bitmap_upgrade(with_alpha.get(), 32));
    EXPECT_EQ(wide->bits[3], 128);
}

TEST(PixelUpgrade, SameDepthIsAPlainDuplicate) {
    owned image(make_f(24));
    bitmap_set_name(image.get(), "f.tga");
    bitmap_set_info(image.get(), "letter");
    owned copy(bitmap_upgrade(image.get(), 24));
    EXPECT_TRUE(bitmap_compare(copy.get(), image.get(), 1));
    EXPECT_STREQ(bitmap_get_name(copy.get()), "f.tga");
    EXPECT_STREQ(bitmap_get_info(copy.get()), "letter");

    owned palette(make_f(8));
    owned same(bitmap_upgrade(palette.get(), 8));
    ASSERT_NE(same->cmap, nullptr);
    EXPECT_EQ(same->cmap->entry[5].g, 64);

    // A converted bitmap is a fresh one: no texts.
    owned other(bitmap_upgrade(image.get(), 16));
    EXPECT_EQ(other->name, nullptr);
    EXPECT_EQ(other->info, nullptr);
}

TEST(PixelUpgrade, PaletteWithoutColormapReadsAsGreys) {
    owned image(bitmap_alloc2(1, 1, 8));
    bitmap_putpixel(image.get(), 0, 0, 77);
    owned converted(bitmap_upgrade(image.get(), 24));
    EXPECT_EQ(get_pixel(converted.get(), 0, 0, 24), 0x4D4D4Du);
}

TEST(PixelUpgrade, Upgrade2ReplacesThePlaceOnlyOnSuccess) {
    bitmap *image = make_f(16);
    bitmap *original = image;
    bitmap *result = bitmap_upgrade2(&image, 32);
    EXPECT_EQ(result, image);
    EXPECT_NE(image, original);
    EXPECT_EQ(image->bpp, 32);
    owned expected(make_f(32));
    EXPECT_TRUE(bitmap_compare(image, expected.get(), 1));

    {
        message_capture capture;
        bitmap *before = image;
        EXPECT_EQ(error_of([&] { bitmap_upgrade2(&image, 12); }), "xassert(0) failed");
        EXPECT_EQ(capture.errors.front().ident, "bitmap::pixel");
        EXPECT_EQ(image, before);
    }
    bitmap_kill(image);
}
