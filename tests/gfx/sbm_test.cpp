// The simple bitmap formats: the binary "sbm2" layout byte for byte, the
// text "sbm3" layout, and what both readers do with corrupt files.
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

void put_le32(std::vector<std::uint8_t> &out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

std::vector<std::uint8_t> sbm2(std::uint32_t version, std::uint32_t xsize, std::uint32_t ysize,
                               std::uint32_t bpp, std::uint32_t entries, std::uint32_t comment,
                               const std::vector<std::uint8_t> &rest) {
    std::vector<std::uint8_t> out = {'S', 'B', 'M', '2'};
    for (std::uint32_t field : {version, xsize, ysize, bpp, entries, comment})
        put_le32(out, field);
    out.resize(92, 0);
    out.insert(out.end(), rest.begin(), rest.end());
    return out;
}

std::vector<std::uint8_t> bits_of(const bitmap *image) {
    return std::vector<std::uint8_t>(image->bits, image->bits + bitmap_bytesize(image));
}

class SimpleBitmap : public testing::Test {
  protected:
    void SetUp() override { image_streams_ready(); }
    bitmap_ptr load2(const std::vector<std::uint8_t> &bytes) {
        put_file("in.sbm", bytes);
        return bitmap_ptr(bitmapio_sbm2_driver.load("in.sbm"));
    }
    bitmap_ptr load3(const std::string &bytes) {
        write_file("in.sba", bytes);
        return bitmap_ptr(bitmapio_sbm3_driver.load("in.sba"));
    }
    scratch_directory scratch;
    message_capture messages;
};

} // namespace

TEST_F(SimpleBitmap, TwoByTwoAt24BppIs104Bytes) {
    bitmap_ptr image = make_pattern(2, 2, 24);
    ASSERT_EQ(bitmapio_sbm2_driver.save("out.sbm", image.get()), 1);
    std::string bytes = file_bytes("out.sbm");
    ASSERT_EQ(bytes.size(), 104u);
    EXPECT_EQ(bytes.substr(0, 4), "SBM2");
    EXPECT_EQ(le32_at(bytes, 4), 200u);
    EXPECT_EQ(le32_at(bytes, 8), 2u);
    EXPECT_EQ(le32_at(bytes, 12), 2u);
    EXPECT_EQ(le32_at(bytes, 16), 24u);
    EXPECT_EQ(le32_at(bytes, 20), 0u);
    EXPECT_EQ(le32_at(bytes, 24), 0u);
    EXPECT_EQ(bytes.substr(28, 64), std::string(64, '\0'));
    EXPECT_EQ(bytes.substr(92), std::string(reinterpret_cast<char *>(image->bits), 12));
}

TEST_F(SimpleBitmap, CommentColormapAndIndexIn101Bytes) {
    bitmap_ptr image(bitmap_alloc2(1, 1, 8));
    bitmap_set_info(image.get(), "hi");
    image->cmap = colormap_alloc(2);
    image->cmap->entry[0] = {1, 2, 3};
    image->cmap->entry[1] = {250, 251, 252};
    image->bits[0] = 1;
    ASSERT_EQ(bitmapio_sbm2_driver.save("out.sbm", image.get()), 1);
    std::string bytes = file_bytes("out.sbm");
    ASSERT_EQ(bytes.size(), 101u);
    EXPECT_EQ(le32_at(bytes, 20), 2u);
    EXPECT_EQ(le32_at(bytes, 24), 2u);
    EXPECT_EQ(bytes.substr(92), std::string("hi\x01\x02\x03\xFA\xFB\xFC\x01", 9));
}

TEST_F(SimpleBitmap, ZeroPixelImageHasNoBlock) {
    bitmap_ptr image(bitmap_alloc());
    image->xsize = 0;
    image->ysize = 7;
    image->bpp = 16;
    ASSERT_EQ(bitmapio_sbm2_driver.save("out.sbm", image.get()), 1);
    bitmap_ptr loaded(bitmapio_sbm2_driver.load("out.sbm"));
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->bits, nullptr);
    EXPECT_EQ(loaded->ysize, 7u);
    EXPECT_EQ(loaded->bpp, 16);
}

TEST_F(SimpleBitmap, BlockIsExactlyThePictureSize) {
    bitmap_ptr image = make_pattern(3, 3, 24);
    ASSERT_EQ(bitmapio_sbm2_driver.save("out.sbm", image.get()), 1);
    std::size_t before = memio_bytes_held();
    bitmap_ptr loaded(bitmapio_sbm2_driver.load("out.sbm"));
    ASSERT_TRUE(loaded);
    EXPECT_EQ(memio_bytes_held() - before, sizeof(bitmap) + 27u);
}

TEST_F(SimpleBitmap, EightBppWithoutColormapLoadsWithAWarning) {
    bitmap_ptr image = load2(sbm2(200, 2, 1, 8, 0, 0, {7, 8}));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->cmap, nullptr);
    EXPECT_TRUE(messages.warned("file(in.sbm) does not contain a colormap"));
}

TEST_F(SimpleBitmap, SpecifiedErrors) {
    EXPECT_EQ(error_of([&] {
                  load2(sbm2(201, 1, 1, 24, 0, 0, {1, 2, 3}));
              }),
              "in.sbm is version 201 while version 200 is expected");
    std::vector<std::uint8_t> wrong = sbm2(200, 1, 1, 24, 0, 0, {1, 2, 3});
    wrong[3] = '3';
    EXPECT_EQ(error_of([&] { load2(wrong); }), "Corrupted magic id in sbm image file(in.sbm)");
    EXPECT_EQ(error_of([&] { load2({'S', 'B'}); }), "Corrupted magic id in sbm image file(in.sbm)");
    EXPECT_EQ(error_of([&] {
                  load2(sbm2(200, 1, 1, 24, 1, 0, {1, 2, 3, 4, 5, 6}));
              }),
              "inconsistend imagebody pixelsize and colormap in sbm(in.sbm)");
    // The colormap is checked before the depth itself.
    EXPECT_EQ(error_of([&] {
                  load2(sbm2(200, 1, 1, 12, 2, 0, {1, 2, 3, 4, 5, 6, 7, 8}));
              }),
              "inconsistend imagebody pixelsize and colormap in sbm(in.sbm)");
    EXPECT_EQ(error_of([&] {
                  load2(sbm2(200, 1, 1, 12, 0, 0, {1, 2, 3}));
              }),
              "xassert(channels != 0) failed");
}

TEST_F(SimpleBitmap, RefusedFilesWarnAndGiveNoBitmap) {
    struct bad_case {
        std::vector<std::uint8_t> bytes;
        const char *warning;
    };
    const bad_case cases[] = {
        {as_bytes("SBM2 and not much more"), "is shorter than its 92-byte header"},
        {sbm2(200, 2, 2, 24, 0, 0, {1, 2, 3}), "is truncated: its header announces at least 12"},
        {sbm2(200, 1, 1, 24, 0, 0xFFFFFFFF, {1, 2, 3}), "is truncated"},
        {sbm2(200, 1, 1, 8, 300, 0, {}), "claims 300 colormap entries (256 at most)"},
        {sbm2(200, 70000, 1, 8, 0, 0, {}), "of 70000x1 pixels refused: a side exceeds"},
        {sbm2(200, 0xFFFFFFFF, 0xFFFFFFFF, 32, 0, 0, {}), "refused: a side exceeds"},
        {sbm2(200, 8000, 8000, 32, 0, 0, {1}), "is truncated"},
    };
    for (const bad_case &c : cases) {
        messages.warnings.clear();
        EXPECT_EQ(load2(c.bytes), nullptr) << c.warning;
        EXPECT_TRUE(messages.warned(c.warning)) << c.warning;
    }
}

TEST_F(SimpleBitmap, DumpPrintsTheHeaderFields) {
    bitmap_ptr image = make_pattern(3, 2, 8);
    bitmap_set_info(image.get(), "abc");
    ASSERT_EQ(bitmapio_sbm2_driver.save("out.sbm", image.get()), 1);
    ASSERT_EQ(bitmapio_sbm3_driver.save("out.sba", image.get()), 1);
    const std::string fields = "xsize           = 3\n"
                               "ysize           = 2\n"
                               "bpp             = 8\n"
                               "colormap_length = 256\n"
                               "comment_length  = 3\n";
    testing::internal::CaptureStdout();
    bitmapio_sbm2_driver.dump("out.sbm");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\ndumping(out.sbm)\nmagic           = SBM2\nversion         = 200\n" + fields);
    testing::internal::CaptureStdout();
    bitmapio_sbm3_driver.dump("out.sba");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\ndumping(out.sba)\nmagic           = SBM3\nversion         = 300\n" + fields);
}

// ---------------------------------------------------------------------------
// sbm3

TEST_F(SimpleBitmap, TextLayout) {
    bitmap_ptr image(bitmap_alloc2(2, 2, 16));
    bitmap_set_info(image.get(), "F\n(1)");
    const std::uint8_t pixels[] = {0x1F, 0x00, 0xE0, 0x07, 0x00, 0xF8, 0xFF, 0xFF};
    bitmap_setbits(image.get(), pixels);
    ASSERT_EQ(bitmapio_sbm3_driver.save("out.sba", image.get()), 1);
    EXPECT_EQ(file_bytes("out.sba"), "SBM3\n"
                                     "version 300\n"
                                     "size 2 2\n"
                                     "depth 16\n"
                                     "colormap 0\n"
                                     "comment 5 460a283129\n"
                                     "1f00 e007\n"
                                     "00f8 ffff\n");
    bitmap_ptr small = make_f_picture(8);
    ASSERT_EQ(bitmapio_sbm3_driver.save("f.sba", small.get()), 1);
    const std::string head = "SBM3\n"
                             "version 300\n"
                             "size 6 5\n"
                             "depth 8\n"
                             "colormap 2\n"
                             "comment 0\n"
                             "0 0 255\n"
                             "255 0 0\n"
                             "00 01 01 01 01 00\n";
    EXPECT_EQ(file_bytes("f.sba").substr(0, head.size()), head);
    std::string all = file_bytes("f.sba");
    for (char c : all)
        EXPECT_LT(static_cast<unsigned char>(c), 0x80);
}

TEST_F(SimpleBitmap, TextReaderAcceptsAnyWhitespaceAndUpperCaseHex) {
    bitmap_ptr image = load3("SBM3 version 300 size 2 1\r\ndepth 24\tcolormap 0 comment 2 4142\n"
                             "FF0000\n\n  00ff00   ");
    ASSERT_TRUE(image);
    EXPECT_STREQ(image->info, "AB");
    EXPECT_EQ(bits_of(image.get()), (std::vector<std::uint8_t>{255, 0, 0, 0, 255, 0}));
}

TEST_F(SimpleBitmap, TextReaderRefusals) {
    struct bad_case {
        std::string text;
        const char *warning;
    };
    const std::string head = "SBM3\nversion 300\nsize 2 1\ndepth 24\ncolormap 0\ncomment 0\n";
    const bad_case cases[] = {
        {head + "ff0000\n          ", "ends before its pixel"},
        {head + "ff0000 00ff\n", "has '00ff' for a pixel of 3 bytes"},
        {head + "ff0000 00gg00\n", "has '00gg00' for a pixel (hexadecimal digits expected)"},
        {head + "ff0000 00ff0000\n", "has a pixel longer than 6 characters"},
        {"SBM3\nversion 300\nsize 99999999999 1\n", "has a xsize longer than 10 characters"},
        {"SBM3\nversion 300\nsize 4294967296 1\n", "has xsize 4294967296 beyond 32 bits"},
        {"SBM3\nversion 300\nsize -1 1\n", "has '-1' for its xsize (a decimal number expected)"},
        {"SBM3\nversion 300\nwidth 2 1\n", "has 'width' where 'size' belongs"},
        {"SBM3\nversion 300\nsize 2 1\ndepth 8\ncolormap 1\ncomment 0\n1 2 300\n00 00\n",
         "has colormap component 300 (0 to 255 allowed)"},
        {"SBM3\nversion 300\nsize 8000 8000\ndepth 8\ncolormap 0\ncomment 0\n00\n", "is truncated"},
    };
    for (const bad_case &c : cases) {
        messages.warnings.clear();
        EXPECT_EQ(load3(c.text), nullptr) << c.warning;
        EXPECT_TRUE(messages.warned(c.warning)) << c.warning;
    }
    const std::string version200 =
        "SBM3\nversion 200\nsize 1 1\ndepth 24\ncolormap 0\ncomment 0\n000000\n";
    EXPECT_EQ(error_of([&] { load3(version200); }),
              "in.sba is version 200 while version 300 is expected");
    EXPECT_EQ(error_of([&] { load3("SBM2\n"); }), "Corrupted magic id in sbm image file(in.sba)");
}

TEST_F(SimpleBitmap, UnopenableFileYieldsNothing) {
    EXPECT_EQ(bitmapio_sbm2_driver.load("missing.sbm"), nullptr);
    EXPECT_EQ(bitmapio_sbm3_driver.load("missing.sba"), nullptr);
    EXPECT_TRUE(messages.errors.empty());
}

TEST_F(SimpleBitmap, FuzzSeedsLoad) {
    expect_all_loaded("fuzz/corpus/sbm", [](const char *file) {
        std::string name = file;
        bool text = name.size() > 4 && name.compare(name.size() - 4, 4, ".sba") == 0;
        return (text ? bitmapio_sbm3_driver : bitmapio_sbm2_driver).load(file);
    });
}
