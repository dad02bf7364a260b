// Colour masks: the table, packing and unpacking, whole-bitmap re-lays, dumps
// and grey values.
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/color.h"
#include "gfx/2d/bitmap/pixel.h"
#include "image_test_support.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using owned = bitmap_ptr;
using testing::ElementsAre;

struct rgba {
    int r = -1, g = -1, b = -1, a = -1;
};

rgba unpack(const colormask *mask, std::uint32_t pixel, int bpp) {
    rgba c;
    color_unpack(mask, pixel, &c.r, &c.g, &c.b, &c.a, bpp);
    return c;
}

} // namespace

TEST(ColorMaskTable, GetmaskMatchesWildcardsAndCopies) {
    colormask copy{};
    const colormask *found = color_getmask("abgr32", &copy);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found, &color_mask_table[5]);
    EXPECT_STREQ(copy.name, "abgr32");
    EXPECT_EQ(copy.a.pos, 24u);
    // A pattern takes the first of the table that matches.
    EXPECT_EQ(color_getmask("*32", nullptr), &color_mask_table[4]);
    EXPECT_EQ(color_getmask("rgb5?5", nullptr), &color_mask_table[0]);
    EXPECT_EQ(color_getmask("yuv422", nullptr), nullptr);
    EXPECT_EQ(color_getmask(nullptr, nullptr), nullptr);
}

// Packing and unpacking, both ways where nothing is lost.  Low bits are not
// replicated on the way back, and alpha has no place in 24 or 16 bpp.
TEST(ColorPack, NativeAndNamedLayouts) {
    struct row {
        const char *mask; // null: the depth's native layout
        int r, g, b, a, bpp;
        std::uint32_t packed;
        bool both_ways = true;
    };
    const row rows[] = {
        {nullptr, 255, 255, 255, 0, 16, 0xFFFF, false},
        {nullptr, 248, 252, 248, 0, 16, 0xFFFF},
        {nullptr, 255, 255, 255, 0, 15, 0x7FFF, false},
        {nullptr, 248, 248, 248, 128, 15, 0xFFFF},
        {nullptr, 255, 255, 255, 127, 15, 0x7FFF, false},
        {nullptr, 1, 2, 3, 0, 24, 0x030201},
        {nullptr, 1, 2, 3, 4, 32, 0x04030201},
        {nullptr, 248, 0, 0, 0, 16, 0xF800},
        {nullptr, 0, 252, 0, 0, 16, 0x07E0},
        {nullptr, 0, 0, 248, 0, 15, 0x001F},
        {nullptr, 0, 0, 0, 255, 24, 0, false},
        {nullptr, 0, 0, 0, 255, 16, 0, false},
        {"rgb24", 1, 2, 3, 0, 24, 0x010203},
        {"argb32", 1, 2, 3, 4, 32, 0x04010203},
        {"rgba32", 1, 2, 3, 4, 32, 0x01020304},
        {"bgra32", 1, 2, 3, 4, 32, 0x03020104},
    };
    for (const row &r : rows) {
        const colormask *mask = r.mask ? color_getmask(r.mask, nullptr) : nullptr;
        EXPECT_EQ(color_pack(mask, r.r, r.g, r.b, r.a, r.bpp), r.packed)
            << (r.mask ? r.mask : "native") << " " << r.bpp;
        if (r.both_ways) {
            const rgba c = unpack(mask, r.packed, r.bpp);
            EXPECT_EQ(std::vector<int>({c.r, c.g, c.b, c.a}),
                      std::vector<int>({r.r, r.g, r.b, r.a}))
                << std::hex << r.packed << " at " << std::dec << r.bpp;
        }
    }
}

TEST(ColorUnpack, NullPlacesAreSkipped) {
    int g = -1;
    color_unpack(nullptr, 0x00FF00, nullptr, &g, nullptr, nullptr, 24);
    EXPECT_EQ(g, 255);
}

TEST(ColorPack, DepthsWithoutPackedLayoutAreAssertions) {
    message_capture capture;
    for (int bpp : {8, 0, 17, 31}) {
        EXPECT_EQ(error_of([&] { color_pack(nullptr, 1, 2, 3, 0, bpp); }), "xassert(0) failed");
        EXPECT_EQ(error_of([&] { unpack(nullptr, 0, bpp); }), "xassert(0) failed");
    }
    bitmap record;
    bitmap_validate(&record);
    record.bpp = 4;
    EXPECT_EQ(error_of([&] { color_greyval(&record, 1); }), "xassert(0) failed");
    EXPECT_EQ(capture.errors.front().ident, "bitmap::color");
}

TEST(ColorBitmapMask, RelaysEveryPixelInPlace) {
    owned image(bitmap_alloc2(3, 2, 24));
    bitmap_putpixel(image.get(), 0, 0, color_pack(nullptr, 10, 20, 30, 0, 24));
    bitmap_putpixel(image.get(), 2, 1, color_pack(nullptr, 40, 50, 60, 0, 24));
    color_bitmap_mask(nullptr, color_getmask("rgb24", nullptr), image.get());
    // rgb24 keeps blue in the low byte: in memory blue, green, red.
    EXPECT_THAT(std::vector<int>(image->bits, image->bits + 18),
                ElementsAre(30, 20, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 60, 50, 40));
    // And back.
    color_bitmap_mask(color_getmask("rgb24", nullptr), nullptr, image.get());
    EXPECT_EQ(get_pixel(image.get(), 2, 1, 24), color_pack(nullptr, 40, 50, 60, 0, 24));
}

TEST(ColorBitmapMask, ThirtyTwoBitsKeepAlphaAndSixteenBitsRepack) {
    owned image(bitmap_alloc2(2, 1, 32));
    bitmap_putpixel(image.get(), 1, 0, color_pack(nullptr, 1, 2, 3, 4, 32));
    color_bitmap_mask(nullptr, color_getmask("argb32", nullptr), image.get());
    EXPECT_THAT(std::vector<int>(image->bits + 4, image->bits + 8), ElementsAre(3, 2, 1, 4));

    colormask bgr565 = color_mask_table[1];
    bgr565.name = nullptr;
    bgr565.r.pos = 0;
    bgr565.b.pos = 11;
    owned hi(bitmap_alloc2(1, 1, 16));
    bitmap_putpixel(hi.get(), 0, 0, 0xF800); // native full red
    color_bitmap_mask(nullptr, &bgr565, hi.get());
    EXPECT_EQ(hi->bits[0], 0x1F);
    EXPECT_EQ(hi->bits[1], 0x00);
}

TEST(ColorBitmapMask, PalettePicturesAreLeftAlone) {
    owned image(bitmap_alloc2(2, 2, 8));
    bitmap_clear(image.get(), 0x42);
    color_bitmap_mask(nullptr, color_getmask("rgb24", nullptr), image.get());
    EXPECT_EQ(image->bits[3], 0x42);
}

TEST(ColorDumpMask, ExactLinesWithoutRedPosition) {
    testing::internal::CaptureStdout();
    color_dump_mask(color_getmask("rgb565", nullptr));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              read_file(std::string(LUMIVANE_TEST_DATA) + "/golden/listing/mask-rgb565.txt"));
    colormask own = color_mask_table[5];
    own.name = nullptr;
    testing::internal::CaptureStdout();
    color_dump_mask(&own);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.rfind("mask.name = unknown\n", 0), 0u);
    EXPECT_NE(out.find("mask.r.mask   = 255 (0xff)\n"), std::string::npos);
    EXPECT_NE(out.find("mask.a.pos    = 24  (0x18)\n"), std::string::npos);
}

TEST(ColorGreyval, WeightedAndTruncated) {
    owned b24(bitmap_alloc2(1, 1, 24));
    // 0.3 * 100 + 0.59 * 50 + 0.11 * 9 = 60.49
    EXPECT_EQ(color_greyval(b24.get(), color_pack(nullptr, 100, 50, 9, 0, 24)), 60);
    EXPECT_EQ(color_greyval(b24.get(), 0xFFFFFF), 255);
    owned b16(bitmap_alloc2(1, 1, 16));
    // (248, 252, 248): 74.4 + 148.68 + 27.28 = 250.36
    EXPECT_EQ(color_greyval(b16.get(), 0xFFFF), 250);
    owned b8(bitmap_alloc2(1, 1, 8));
    b8->cmap = colormap_alloc(4);
    b8->cmap->entry[3] = {0, 0, 210}; // 23.1
    EXPECT_EQ(color_greyval(b8.get(), 3), 23);
    owned b32(bitmap_alloc2(1, 1, 32));
    EXPECT_EQ(color_greyval(b32.get(), 0xFF0000FF), 76); // red only: 76.5
}
