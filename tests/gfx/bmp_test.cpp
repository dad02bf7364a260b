// The "windows bitmap" driver: the writer's sizes and fields, the reader's
// header variants and row orders, and what it does with corrupt files.
#include "core/memio/memio.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "image_readers.h"
#include "image_test_support.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::string text(std::initializer_list<int> values) {
    std::string bytes;
    for (int value : values)
        bytes.push_back(static_cast<char>(value));
    return bytes;
}

void put_le(std::vector<std::uint8_t> &out, std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i)
        out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

// A file with a 40-byte (or larger) information header; `gap` bytes lie
// between the palette and the pixels.
struct bmp_fields {
    std::int32_t width = 1;
    std::int32_t height = 1;
    std::uint32_t planes = 1;
    std::uint32_t bits = 24;
    std::uint32_t compression = 0;
    std::uint32_t colours_used = 0;
    std::uint32_t header_size = 40;
    std::uint32_t palette_entries = 0;
    std::uint32_t gap = 0;
    std::int64_t data_offset = -1; // computed when negative
};

std::vector<std::uint8_t> bmp(const bmp_fields &f, const std::vector<std::uint8_t> &pixels) {
    std::uint32_t offset = f.data_offset >= 0 ? static_cast<std::uint32_t>(f.data_offset)
                                              : 14 + f.header_size + 4 * f.palette_entries + f.gap;
    std::vector<std::uint8_t> out = {'B', 'M'};
    put_le(out, offset + static_cast<std::uint32_t>(pixels.size()), 4);
    put_le(out, 0, 4);
    put_le(out, offset, 4);
    put_le(out, f.header_size, 4);
    put_le(out, static_cast<std::uint32_t>(f.width), 4);
    put_le(out, static_cast<std::uint32_t>(f.height), 4);
    put_le(out, f.planes, 2);
    put_le(out, f.bits, 2);
    put_le(out, f.compression, 4);
    put_le(out, 0, 4); // image size 0 is allowed for uncompressed data
    put_le(out, 2925, 4);
    put_le(out, 2925, 4);
    put_le(out, f.colours_used, 4);
    put_le(out, 0, 4);
    out.resize(14 + f.header_size, 0);
    for (std::uint32_t i = 0; i < f.palette_entries; ++i)
        put_le(out, i * 0x010101u, 4); // grey ramp: blue, green, red, 0
    out.resize(out.size() + f.gap, 0xEE);
    out.insert(out.end(), pixels.begin(), pixels.end());
    return out;
}

std::vector<std::uint8_t> bits_of(const bitmap *image) {
    return std::vector<std::uint8_t>(image->bits, image->bits + bitmap_bytesize(image));
}

class WindowsBitmap : public testing::Test {
  protected:
    void SetUp() override { image_streams_ready(); }
    int save(const bitmap *image, const char *name = "out.bmp") {
        return bitmapio_bmp_driver.save(name, const_cast<bitmap *>(image));
    }
    bitmap_ptr load(const std::vector<std::uint8_t> &bytes) {
        put_file("in.bmp", bytes);
        return bitmap_ptr(bitmapio_bmp_driver.load("in.bmp"));
    }
    scratch_directory scratch;
    message_capture messages;
};

} // namespace

// ---------------------------------------------------------------------------
// Writing

TEST_F(WindowsBitmap, OnePixelAt24BppIs58Bytes) {
    bitmap_ptr image(bitmap_alloc2(1, 1, 24));
    const std::uint8_t pixel[] = {10, 20, 30};
    bitmap_setbits(image.get(), pixel);
    ASSERT_EQ(save(image.get()), 1);
    std::string bytes = file_bytes("out.bmp");
    ASSERT_EQ(bytes.size(), 58u);
    EXPECT_EQ(bytes.substr(0, 2), "BM");
    EXPECT_EQ(le32_at(bytes, 2), 58u);
    EXPECT_EQ(le32_at(bytes, 6), 0u);
    EXPECT_EQ(le32_at(bytes, 10), 54u);
    EXPECT_EQ(le32_at(bytes, 14), 40u);
    EXPECT_EQ(le32_at(bytes, 18), 1u);
    EXPECT_EQ(le32_at(bytes, 22), 1u);
    EXPECT_EQ(le16_at(bytes, 26), 1u);
    EXPECT_EQ(le16_at(bytes, 28), 24u);
    EXPECT_EQ(le32_at(bytes, 30), 0u);
    EXPECT_EQ(le32_at(bytes, 34), 4u);
    EXPECT_EQ(le32_at(bytes, 38), 2925u);
    EXPECT_EQ(le32_at(bytes, 42), 2925u);
    EXPECT_EQ(le32_at(bytes, 46), 0u);
    EXPECT_EQ(le32_at(bytes, 50), 0u);
    EXPECT_EQ(bytes.substr(54), text({30, 20, 10, 0}));
}

TEST_F(WindowsBitmap, FiveByTwoAt8BppWithFullPaletteIs1094Bytes) {
    bitmap_ptr image(bitmap_alloc2(5, 2, 8));
    image->cmap = colormap_alloc(256);
    image->cmap->entry[7] = {1, 2, 3};
    const std::uint8_t indices[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    bitmap_setbits(image.get(), indices);
    ASSERT_EQ(save(image.get()), 1);
    std::string bytes = file_bytes("out.bmp");
    ASSERT_EQ(bytes.size(), 1094u);
    EXPECT_EQ(le32_at(bytes, 2), 1094u);
    EXPECT_EQ(le32_at(bytes, 10), 1078u);
    EXPECT_EQ(le32_at(bytes, 34), 16u);
    EXPECT_EQ(le32_at(bytes, 46), 256u);
    EXPECT_EQ(le32_at(bytes, 50), 256u);
    EXPECT_EQ(bytes.substr(54 + 7 * 4, 4), text({3, 2, 1, 0}));
    // Bottom row first, each row padded to eight bytes.
    EXPECT_EQ(bytes.substr(1078), text({6, 7, 8, 9, 10, 0, 0, 0, 1, 2, 3, 4, 5, 0, 0, 0}));
}

TEST_F(WindowsBitmap, EightBppWithoutColormapHasNoPalette) {
    bitmap_ptr image(bitmap_alloc2(4, 1, 8));
    ASSERT_EQ(save(image.get()), 1);
    std::string bytes = file_bytes("out.bmp");
    EXPECT_EQ(bytes.size(), 58u);
    EXPECT_EQ(le32_at(bytes, 10), 54u);
    EXPECT_EQ(le32_at(bytes, 46), 0u);
}

TEST_F(WindowsBitmap, RowsArePaddedAndBottomUpAt24Bpp) {
    bitmap_ptr image = make_f_picture(24);
    ASSERT_EQ(save(image.get()), 1);
    std::string bytes = file_bytes("out.bmp");
    // 6 pixels of 3 bytes are 18 bytes, padded to 20.
    ASSERT_EQ(bytes.size(), 54u + 20u * 5);
    // The bottom row of the F: blue, red, then four blue (stored blue, green, red).
    EXPECT_EQ(bytes.substr(54, 20),
              text({255, 0, 0, 0, 0, 255, 255, 0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 0, 0}));
}

TEST_F(WindowsBitmap, OtherDepthsAreRefusedBeforeTheFileExists) {
    for (int bpp : {15, 16, 32}) {
        bitmap_ptr image(bitmap_alloc2(1, 1, bpp));
        EXPECT_EQ(save(image.get(), "never.bmp"), 0) << bpp;
    }
    EXPECT_FALSE(file_exists("never.bmp"));
}

TEST_F(WindowsBitmap, DumpPrintsTheHeaders) {
    bitmap_ptr image(bitmap_alloc2(1, 1, 24));
    ASSERT_EQ(save(image.get()), 1);
    testing::internal::CaptureStdout();
    bitmapio_bmp_driver.dump("out.bmp");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\ndumping(out.bmp)\n"
                                                      "file_size       = 58\n"
                                                      "data_offset     = 54\n"
                                                      "header_size     = 40\n"
                                                      "xsize           = 1\n"
                                                      "ysize           = 1\n"
                                                      "planes          = 1\n"
                                                      "bpp             = 24\n"
                                                      "compression     = 0\n"
                                                      "image_size      = 4\n"
                                                      "colors_used     = 0\n"
                                                      "colors_needed   = 0\n");
}

// ---------------------------------------------------------------------------
// Reading

TEST_F(WindowsBitmap, EightBppWithoutPaletteStaysWithoutOne) {
    bitmap_ptr image(bitmap_alloc2(3, 1, 8));
    const std::uint8_t indices[] = {5, 6, 7};
    bitmap_setbits(image.get(), indices);
    ASSERT_EQ(save(image.get()), 1);
    bitmap_ptr loaded(bitmapio_bmp_driver.load("out.bmp"));
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->cmap, nullptr);
    EXPECT_EQ(bits_of(loaded.get()), (std::vector<std::uint8_t>{5, 6, 7}));
}

TEST_F(WindowsBitmap, TopDownRows) {
    bmp_fields f;
    f.width = 1;
    f.height = -2;
    bitmap_ptr image = load(bmp(f, {1, 2, 3, 0, 4, 5, 6, 0}));
    ASSERT_TRUE(image);
    EXPECT_EQ(bits_of(image.get()), (std::vector<std::uint8_t>{3, 2, 1, 6, 5, 4}));
}

TEST_F(WindowsBitmap, LargerHeadersGapsAndPaletteWithoutCount) {
    bmp_fields f;
    f.header_size = 124;
    f.bits = 8;
    f.width = 2;
    f.palette_entries = 3; // colours used 0: the palette fills the room before the pixels
    f.gap = 6;
    bitmap_ptr image = load(bmp(f, {2, 1, 0, 0}));
    ASSERT_TRUE(image);
    ASSERT_TRUE(image->cmap);
    // Room for four and a half entries: the gap's first four bytes make a fourth.
    EXPECT_EQ(image->cmap->size, 4);
    EXPECT_EQ(bits_of(image.get()), (std::vector<std::uint8_t>{2, 1}));
    EXPECT_EQ(image->cmap->entry[2].r, 2);
}

TEST_F(WindowsBitmap, CoreHeaderWithThreeBytePalette) {
    std::vector<std::uint8_t> file = {'B', 'M'};
    put_le(file, 14 + 12 + 6 + 4, 4);
    put_le(file, 0, 4);
    put_le(file, 14 + 12 + 6, 4);
    put_le(file, 12, 4);
    put_le(file, 2, 2); // width
    put_le(file, 1, 2); // height
    put_le(file, 1, 2);
    put_le(file, 8, 2);
    file.insert(file.end(), {255, 0, 0, 0, 0, 255}); // blue, red
    file.insert(file.end(), {1, 0, 0, 0});
    bitmap_ptr image = load(file);
    ASSERT_TRUE(image);
    EXPECT_EQ(rgb_of(image.get()), (std::vector<std::uint8_t>{255, 0, 0, 0, 0, 255}));
}

TEST_F(WindowsBitmap, IndexBeyondThePaletteIsKeptAndReported) {
    bmp_fields f;
    f.bits = 8;
    f.colours_used = 2;
    f.palette_entries = 2;
    f.width = 2;
    bitmap_ptr image = load(bmp(f, {1, 9, 0, 0}));
    ASSERT_TRUE(image);
    EXPECT_EQ(bits_of(image.get()), (std::vector<std::uint8_t>{1, 9}));
    EXPECT_TRUE(messages.warned("uses colour index 9 beyond its palette of 2 colours"));
}

// ---------------------------------------------------------------------------
// Corrupt files

TEST_F(WindowsBitmap, RefusedFilesWarnAndGiveNoBitmap) {
    struct bad_case {
        bmp_fields fields;
        std::vector<std::uint8_t> pixels;
        const char *warning;
    };
    std::vector<bad_case> cases(11);
    cases[0].fields.planes = 2, cases[0].warning = "has 2 planes (1 expected)";
    cases[1].fields.bits = 16, cases[1].warning = "has unsupported depth 16 (8 or 24 supported)";
    cases[2].fields.bits = 4, cases[2].warning = "has unsupported depth 4";
    cases[3].fields.compression = 1, cases[3].warning = "uses unsupported compression 1";
    cases[4].fields.width = 0, cases[4].warning = "has an unusable size of 0 x 1 pixels";
    cases[5].fields.height = INT32_MIN,
    cases[5].warning = "has an unusable size of 1 x -2147483648 pixels";
    cases[6].fields.width = -3, cases[6].warning = "has an unusable size of -3 x 1 pixels";
    cases[7].fields.bits = 8, cases[7].fields.colours_used = 300;
    cases[7].warning = "claims 300 palette colours (256 at most)";
    cases[8].fields.data_offset = 20, cases[8].warning = "has its pixel data at offset 20";
    cases[9].fields.data_offset = 5000, cases[9].warning = "has its pixel data at offset 5000";
    cases[10].fields.width = 3, cases[10].fields.height = 2;
    cases[10].warning = "is truncated: 24 bytes of pixel data expected, 12 found";
    cases[10].pixels.assign(12, 0);
    for (bad_case &c : cases) {
        if (c.pixels.empty())
            c.pixels.assign(4, 0);
        messages.warnings.clear();
        EXPECT_EQ(load(bmp(c.fields, c.pixels)), nullptr) << c.warning;
        EXPECT_TRUE(messages.warned(c.warning)) << c.warning;
    }
}

TEST_F(WindowsBitmap, HugeSizesAreRefusedBeforeAllocating) {
    bmp_fields f;
    f.width = 60000;
    f.height = 60000;
    EXPECT_EQ(load(bmp(f, {0, 0, 0, 0})), nullptr);
    EXPECT_TRUE(messages.warned("of 60000x60000 pixels refused: the area exceeds"));
    f.width = 8000;
    f.height = -8000;
    EXPECT_EQ(load(bmp(f, {0, 0, 0, 0})), nullptr);
    EXPECT_TRUE(messages.warned("is truncated: 192000000 bytes of pixel data expected, 4 found"));
}

TEST_F(WindowsBitmap, UnknownHeadersAndPaletteRoom) {
    bmp_fields f;
    f.header_size = 99;
    EXPECT_EQ(load(bmp(f, {0, 0, 0, 0})), nullptr);
    EXPECT_TRUE(messages.warned("has an information header of 99 bytes"));
    bmp_fields g;
    g.bits = 8;
    g.colours_used = 200;
    g.palette_entries = 2;
    EXPECT_EQ(load(bmp(g, {0, 0, 0, 0})), nullptr);
    EXPECT_TRUE(messages.warned("has no room for its 200 palette colours"));
    EXPECT_EQ(load(as_bytes("BZ and more")), nullptr);
    EXPECT_TRUE(messages.warned("windows bitmap(in.bmp) does not start with \"BM\""));
    EXPECT_EQ(load(as_bytes("BM\x10")), nullptr);
    EXPECT_FALSE(messages.warned("fread"));
}

TEST_F(WindowsBitmap, FuzzSeedsLoad) {
    expect_all_loaded("fuzz/corpus/bmp", bitmapio_bmp_driver.load);
}
