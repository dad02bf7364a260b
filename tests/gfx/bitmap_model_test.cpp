// The bitmap record: construction, size rules, copies, comparison and dumps.
#include "core/memio/memio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/color.h"
#include "gfx/2d/bitmap/pixel.h"
#include "image_test_support.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using owned = bitmap_ptr;
using testing::AllOf;
using testing::HasSubstr;

// Bytes the memory services hand out for one bitmap_alloc2 call, less the record.
std::size_t block_bytes_of_alloc2(std::uint32_t xsize, std::uint32_t ysize, int bpp) {
    std::size_t before = memio_bytes_held();
    owned image(bitmap_alloc2(xsize, ysize, bpp));
    return memio_bytes_held() - before - sizeof(bitmap);
}

bitmapio_driver named_driver(const char *name) {
    bitmapio_driver driver{};
    driver.name = name;
    return driver;
}

} // namespace

TEST(BitmapAlloc, BlockIsPixelBytesPlusEightRoundedUpTo32) {
    EXPECT_EQ(block_bytes_of_alloc2(1, 1, 24), 32u); // 3 + 8 = 11
    EXPECT_EQ(block_bytes_of_alloc2(8, 3, 8), 32u);  // 24 + 8 = 32 is kept
    EXPECT_EQ(block_bytes_of_alloc2(25, 1, 8), 64u); // 33 goes up
    EXPECT_EQ(block_bytes_of_alloc2(10, 10, 32), 416u);
    EXPECT_EQ(block_bytes_of_alloc2(0, 0, 16), 32u);
}

TEST(BitmapAlloc, NewOrValidatedRecordsAreClearedWithoutColormapOrTexts) {
    bitmap record;
    std::memset(&record, 0xA5, sizeof record);
    EXPECT_EQ(bitmap_validate(&record), &record);
    owned image(bitmap_alloc2(7, 3, 8));
    for (const bitmap *b : std::initializer_list<const bitmap *>{&record, image.get()}) {
        EXPECT_EQ(b->magic, BITMAP_MAGIC);
        EXPECT_EQ(b->cmap, nullptr);
        EXPECT_EQ(b->name, nullptr);
        EXPECT_EQ(b->info, nullptr);
    }
    EXPECT_EQ(record.bits, nullptr);
    EXPECT_EQ(record.xsize, 0u);
    EXPECT_EQ(std::vector<std::uint8_t>(image->bits, image->bits + 21),
              std::vector<std::uint8_t>(21));
}

TEST(BitmapSizeRules, ChannelsStrideAndOffsetsPerDepth) {
    struct row {
        int bpp, channels;
    } rows[] = {{8, 1}, {15, 2}, {16, 2}, {24, 3}, {32, 4}};
    for (const row &r : rows) {
        owned image(bitmap_alloc2(10, 4, r.bpp));
        EXPECT_EQ(bitmap_channels(image.get()), r.channels) << r.bpp;
        EXPECT_EQ(bitmap_rowstride(image.get()), 10u * r.channels) << r.bpp;
        EXPECT_EQ(bitmap_bytesize(image.get()), 40u * r.channels) << r.bpp;
        EXPECT_EQ(bitmap_poffset(image.get(), 3, 2), (2u * 10 + 3) * r.channels) << r.bpp;
        EXPECT_EQ(bitmap_boffset(image.get(), 9, 3), image->bits + (3u * 10 + 9) * r.channels)
            << r.bpp;
    }
    owned narrow(bitmap_alloc2(10, 1, 15));
    EXPECT_EQ(bitmap_rowstride(narrow.get()), 20u);
}

TEST(BitmapSizeRules, UnknownDepthIsAnAssertionAndYieldsZero) {
    message_capture capture;
    bitmap record;
    bitmap_validate(&record);
    record.xsize = 4;
    record.ysize = 4;
    for (int bpp : {0, 1, 4, 12, 33}) {
        record.bpp = bpp;
        EXPECT_EQ(error_of([&] { bitmap_channels(&record); }), "xassert(0) failed") << bpp;
        EXPECT_EQ(error_of([&] { bitmap_bytesize(&record); }), "xassert(0) failed") << bpp;
        EXPECT_EQ(error_of([&] { bitmap_find_color(1, 2, 3, 0, &record, nullptr); }),
                  "xassert(0) failed")
            << bpp;
        EXPECT_EQ(error_of([&] { owned(bitmap_alloc2(2, 2, bpp)); }), "xassert(0) failed") << bpp;
    }
    EXPECT_EQ(capture.errors.front().ident, "bitmap::info");
}

TEST(BitmapSizeRules, ReturningErrorTargetGetsZeroAndASmallBlock) {
    returning_errors guard;
    bitmap record;
    bitmap_validate(&record);
    record.xsize = 3;
    record.ysize = 3;
    record.bpp = 12;
    EXPECT_EQ(bitmap_channels(&record), 0);
    EXPECT_EQ(bitmap_bytesize(&record), 0u);
    std::size_t before = memio_bytes_held();
    bitmap *odd = bitmap_alloc2(100, 100, 12);
    EXPECT_EQ(memio_bytes_held() - before - sizeof(bitmap), 32u);
    bitmap_kill(odd);
    EXPECT_EQ(returning_errors::texts().size(), 3u);
}

// A negative size read from a file reaches the check as a huge unsigned one.
TEST(BitmapLimits, SidesAndAreaAreCapped) {
    for (auto [w, h] : {std::pair{65535ull, 1ull}, {8192ull, 8192ull}})
        EXPECT_EQ(bitmap_check_size(w, h), nullptr) << w << "x" << h;
    for (auto [w, h] : {std::pair{65536ull, 1ull},
                        {1ull, 65536ull},
                        {8192ull, 8193ull},
                        {0xFFFFFFFFull, 0xFFFFFFFFull},
                        {0xFFFFFFFFull, 2ull}})
        EXPECT_NE(bitmap_check_size(w, h), nullptr) << w << "x" << h;
}

TEST(BitmapLimits, OversizedAllocationIsRefusedBeforeAnythingIsAllocated) {
    message_capture capture;
    std::size_t before = memio_bytes_held();
    EXPECT_THAT(error_of([] { bitmap_alloc2(65536, 65536, 32); }),
                AllOf(HasSubstr("refusing a bitmap of 65536x65536 pixels"), HasSubstr("65535")));
    EXPECT_THAT(error_of([] { bitmap_alloc2(10000, 10000, 8); }), HasSubstr("67108864"));
    EXPECT_EQ(memio_bytes_held(), before);

    owned small(bitmap_alloc2(2, 2, 24));
    EXPECT_NE(error_of([&] { bitmap_clone(small.get(), 40000, 40000); }), "");
    EXPECT_EQ(memio_bytes_held(), before + sizeof(bitmap) + 32);
}

TEST(BitmapLimits, ReturningErrorTargetGetsNull) {
    returning_errors guard;
    EXPECT_EQ(bitmap_alloc2(70000, 1, 24), nullptr);
    EXPECT_EQ(returning_errors::texts().size(), 1u);
}

TEST(BitmapTexts, SetNameAndInfoKeepOwnedCopies) {
    owned image(bitmap_alloc2(1, 1, 8));
    char name[] = "shot0001.tga";
    EXPECT_EQ(bitmap_set_name(image.get(), name), name);
    name[0] = 'X';
    EXPECT_STREQ(bitmap_get_name(image.get()), "shot0001.tga");
    bitmap_set_info(image.get(), "rendered");
    EXPECT_STREQ(bitmap_get_info(image.get()), "rendered");
    EXPECT_EQ(bitmap_set_name(image.get(), nullptr), nullptr);
    EXPECT_STREQ(bitmap_get_name(image.get()), "<annonymous>");
    bitmap_set_info(image.get(), nullptr);
    EXPECT_STREQ(bitmap_get_info(image.get()), "<no info>");
}

// Every pixel holds the value's low bytes, least significant first.
TEST(BitmapCopy, ClearWritesTheRawValueAtEveryDepth) {
    const std::pair<int, std::uint32_t> rows[] = {
        {8, 0x1234}, {15, 0x12347C1F}, {16, 0x1234F00D}, {24, 0xAABBCC}, {32, 0x01020304}};
    for (const auto &[bpp, value] : rows) {
        owned image(bitmap_alloc2(3, 2, bpp));
        bitmap_clear(image.get(), value);
        const int channels = bitmap_channels(image.get());
        for (int i = 0; i < 6 * channels; ++i)
            ASSERT_EQ(image->bits[i], (value >> (8 * (i % channels))) & 0xFF) << bpp << ": " << i;
    }
}

TEST(BitmapCopy, DupIsDeepAndDropsTheLoader) {
    static bitmapio_driver driver = named_driver("targa");
    owned image(bitmap_alloc2(4, 3, 8));
    bitmap_clear(image.get(), 7);
    bitmap_set_name(image.get(), "a");
    bitmap_set_info(image.get(), "b");
    image->cmap = colormap_alloc(2);
    image->cmap->entry[1] = {10, 20, 30};
    image->loader = &driver;

    owned copy(bitmap_dup(image.get()));
    EXPECT_NE(copy->bits, image->bits);
    EXPECT_EQ(std::memcmp(copy->bits, image->bits, 12), 0);
    EXPECT_NE(copy->name, image->name);
    EXPECT_STREQ(copy->name, "a");
    EXPECT_STREQ(copy->info, "b");
    ASSERT_NE(copy->cmap, nullptr);
    EXPECT_NE(copy->cmap, image->cmap);
    EXPECT_EQ(copy->cmap->size, 2);
    EXPECT_EQ(copy->cmap->entry[1].g, 20);
    EXPECT_EQ(copy->loader, nullptr);
    EXPECT_EQ(copy->magic, BITMAP_MAGIC);
}

TEST(BitmapCopy, DupOfAnEmptyRecordHasNoBlock) {
    owned image(bitmap_alloc());
    image->bpp = 24;
    owned copy(bitmap_dup(image.get()));
    EXPECT_EQ(copy->bits, nullptr);
    EXPECT_EQ(bitmap_dupbits(image.get()), nullptr);
}

TEST(BitmapCopy, CloneKeepsRawBytesAtTheNewWidth) {
    owned image(bitmap_alloc2(4, 2, 8));
    for (int i = 0; i < 8; ++i)
        image->bits[i] = static_cast<std::uint8_t>(i + 1);
    owned same(bitmap_clone(image.get(), 4, 2));
    EXPECT_TRUE(bitmap_compare(same.get(), image.get(), 1));

    std::size_t before = memio_bytes_held();
    owned wide(bitmap_clone(image.get(), 8, 3));
    EXPECT_EQ(memio_bytes_held() - before - sizeof(bitmap), 32u); // 24 + 8
    EXPECT_EQ(wide->xsize, 8u);
    EXPECT_EQ(wide->ysize, 3u);
    // Not rescaled: the first row of the copy holds both source rows.
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(wide->bits[i], i + 1);

    owned tall(bitmap_clone(image.get(), 2, 40));
    EXPECT_EQ(memio_bytes_held() - before - 2 * sizeof(bitmap) - 32, 96u); // 80 + 8 -> 96
    EXPECT_EQ(tall->bits[7], 8);
}

TEST(BitmapCopy, SetbitsAndDupbitsMoveExactlyTheBytesize) {
    owned image(bitmap_alloc2(3, 1, 16));
    const std::uint8_t source[8] = {1, 2, 3, 4, 5, 6, 0xEE, 0xEE};
    bitmap_setbits(image.get(), source);
    EXPECT_EQ(image->bits[5], 6);
    EXPECT_EQ(image->bits[6], 0); // the spare tail is left alone
    std::uint8_t *copy = bitmap_dupbits(image.get());
    EXPECT_EQ(std::memcmp(copy, source, 6), 0);
    xfree(copy);
}

TEST(BitmapCompare, SizeDepthAndOptionallyPixels) {
    owned a(bitmap_alloc2(3, 3, 24));
    owned b(bitmap_alloc2(3, 3, 24));
    EXPECT_EQ(bitmap_compare(a.get(), b.get(), 1), 1);
    b->bits[26] = 1; // the very last byte of the picture
    EXPECT_EQ(bitmap_compare(a.get(), b.get(), 0), 1);
    EXPECT_EQ(bitmap_compare(a.get(), b.get(), 1), 0);
    b->bits[26] = 0;
    b->bits[27] = 9; // the spare tail does not count
    EXPECT_EQ(bitmap_compare(a.get(), b.get(), 1), 1);

    owned other_depth(bitmap_alloc2(3, 3, 32));
    owned other_width(bitmap_alloc2(4, 3, 24));
    owned other_height(bitmap_alloc2(3, 4, 24));
    EXPECT_EQ(bitmap_compare(a.get(), other_depth.get(), 0), 0);
    EXPECT_EQ(bitmap_compare(a.get(), other_width.get(), 0), 0);
    EXPECT_EQ(bitmap_compare(a.get(), other_height.get(), 0), 0);
}

TEST(BitmapDiff, RootMeanSquareDistancePerPixel) {
    owned a(bitmap_alloc2(2, 1, 24));
    owned b(bitmap_alloc2(2, 1, 24));
    EXPECT_EQ(bitmap_diff(a.get(), b.get()), 0.0);
    for (const auto &[w, h, bpp] : {std::tuple{2, 1, 16}, std::tuple{2, 2, 24}}) {
        owned mismatched(bitmap_alloc2(w, h, bpp));
        EXPECT_EQ(bitmap_diff(a.get(), mismatched.get()), -1.0);
    }
    // One pixel off by (3, 4, 0) and one equal: sqrt(25 / 2).
    b->bits[0] = 3;
    b->bits[1] = 4;
    EXPECT_DOUBLE_EQ(bitmap_diff(a.get(), b.get()), std::sqrt(12.5));
    // The sign of a difference does not matter.
    EXPECT_DOUBLE_EQ(bitmap_diff(b.get(), a.get()), std::sqrt(12.5));
    // Both pixels off by (0, 0, 255).
    owned c(bitmap_alloc2(2, 1, 24));
    c->bits[2] = c->bits[5] = 255;
    EXPECT_DOUBLE_EQ(bitmap_diff(a.get(), c.get()), 255.0);
}

TEST(BitmapDiff, ComparesPalettePicturesByTheirColours) {
    owned a(bitmap_alloc2(2, 2, 8));
    owned b(bitmap_alloc2(2, 2, 8));
    a->cmap = colormap_alloc(2);
    b->cmap = colormap_alloc(2);
    a->cmap->entry[1] = {100, 0, 0};
    b->cmap->entry[0] = {100, 0, 0};
    bitmap_clear(a.get(), 1); // index 1 in a and index 0 in b are the same colour
    EXPECT_EQ(bitmap_diff(a.get(), b.get()), 0.0);
    b->cmap->entry[0] = {100, 0, 10};
    EXPECT_DOUBLE_EQ(bitmap_diff(a.get(), b.get()), 10.0);
}

TEST(BitmapFindColor, PaletteIndexOrPackedPixel) {
    owned palette(bitmap_alloc2(1, 1, 8));
    palette->cmap = colormap_alloc(3);
    palette->cmap->entry[0] = {0, 0, 0};
    palette->cmap->entry[1] = {250, 10, 10};
    palette->cmap->entry[2] = {10, 10, 250};
    EXPECT_EQ(bitmap_find_color(240, 0, 30, 255, palette.get(), nullptr), 1u);
    EXPECT_EQ(bitmap_find_color(0, 0, 200, 0, palette.get(), nullptr), 2u);

    owned b24(bitmap_alloc2(1, 1, 24));
    EXPECT_EQ(bitmap_find_color(1, 2, 3, 0, b24.get(), nullptr), 0x030201u);
    EXPECT_EQ(bitmap_find_color(1, 2, 3, 0, b24.get(), color_getmask("rgb24", nullptr)), 0x010203u);
    owned b15(bitmap_alloc2(1, 1, 15));
    EXPECT_EQ(bitmap_find_color(255, 255, 255, 128, b15.get(), nullptr), 0xFFFFu);
}

TEST(BitmapDump, PrintsTheDocumentedLines) {
    static bitmapio_driver driver = named_driver("windows bitmap");
    owned image(bitmap_alloc2(320, 200, 24));
    testing::internal::CaptureStdout();
    bitmap_dump(image.get());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              read_file(std::string(LUMIVANE_TEST_DATA) + "/golden/listing/bitmap-dump.txt"));
    bitmap_set_name(image.get(), "desk.bmp");
    bitmap_set_info(image.get(), "frame");
    image->loader = &driver;
    testing::internal::CaptureStdout();
    bitmap_dump(image.get());
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                AllOf(HasSubstr("dumping bitmap: desk.bmp\n"), HasSubstr("comment = frame\n"),
                      HasSubstr("loader  = windows bitmap\n")));
}
