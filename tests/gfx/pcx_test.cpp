// The "pcx" driver: files it writes are read by netpbm, ImageMagick and
// Pillow to the same pixels; files those tools write load to the right
// pixels; corrupt files fail with a warning naming the file.
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "image_readers.h"
#include "image_test_support.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class Pcx : public testing::Test {
  protected:
    void SetUp() override { image_streams_ready(); }
    scratch_directory scratch;
};

bitmap_ptr load(const std::string &file) {
    return bitmap_ptr(bitmapio_pcx_driver.load(file.c_str()));
}

// A 128-byte header for a picture of width x height.
std::vector<std::uint8_t> header(int width, int height, int bits, int planes, int bytes_per_line) {
    std::vector<std::uint8_t> h(128, 0);
    h[0] = 0x0A;
    h[1] = 5;
    h[2] = 1;
    h[3] = static_cast<std::uint8_t>(bits);
    h[8] = static_cast<std::uint8_t>(width - 1);
    h[9] = static_cast<std::uint8_t>((width - 1) >> 8);
    h[10] = static_cast<std::uint8_t>(height - 1);
    h[11] = static_cast<std::uint8_t>((height - 1) >> 8);
    h[65] = static_cast<std::uint8_t>(planes);
    h[66] = static_cast<std::uint8_t>(bytes_per_line);
    h[67] = static_cast<std::uint8_t>(bytes_per_line >> 8);
    return h;
}

// The 0x0C marker and a palette whose entry i is (i, 255 - i, 7).
std::vector<std::uint8_t> end_palette() {
    std::vector<std::uint8_t> palette{0x0C};
    for (int i = 0; i < 256; ++i)
        palette.insert(palette.end(),
                       {static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(255 - i), 7});
    return palette;
}

std::vector<std::uint8_t> joined(std::vector<std::uint8_t> a, const std::vector<std::uint8_t> &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// Loads bytes that must fail; returns the warnings' texts joined.
std::string refused(const std::vector<std::uint8_t> &bytes) {
    put_file("bad.pcx", bytes);
    message_capture capture;
    bitmap_ptr image = load("bad.pcx");
    EXPECT_EQ(image, nullptr);
    std::string all = driver_warnings(capture);
    EXPECT_NE(all.find("bad.pcx"), std::string::npos) << all;
    return all;
}

} // namespace

// --- our files, read by others ------------------------------------------

TEST_F(Pcx, TwentyFourBitFileReadsTheSameInEveryRealReader) {
    bitmap_ptr picture = make_f_picture(24);
    ASSERT_EQ(bitmapio_pcx_driver.save("f.pcx", picture.get()), 1);
    for (const std::string &command :
         {netpbm_reads("pcxtoppm", "f.pcx"), magick_reads("f.pcx"), pillow_reads("f.pcx")}) {
        std::uint32_t width, height;
        EXPECT_EQ(rgb_from_command(command, width, height), f_rgb()) << command;
        EXPECT_EQ(width, f_width);
        EXPECT_EQ(height, f_height);
    }
}

TEST_F(Pcx, EightBitFileWithPaletteReadsTheSameInEveryRealReader) {
    bitmap_ptr picture = make_pattern(9, 7, 8, 3);
    ASSERT_EQ(bitmapio_pcx_driver.save("p.pcx", picture.get()), 1);
    for (const std::string &command :
         {netpbm_reads("pcxtoppm", "p.pcx"), magick_reads("p.pcx"), pillow_reads("p.pcx")}) {
        std::uint32_t width, height;
        EXPECT_EQ(rgb_from_command(command, width, height), rgb_of(picture.get())) << command;
    }
}

TEST_F(Pcx, WriterPadsLinesToEvenLengthsAndEndsWithThePalette) {
    bitmap_ptr picture = make_pattern(5, 3, 8, 9);
    ASSERT_EQ(bitmapio_pcx_driver.save("odd.pcx", picture.get()), 1);
    std::string bytes = file_bytes("odd.pcx");
    ASSERT_GT(bytes.size(), 128u + 769u);
    EXPECT_EQ(bytes[0], 0x0A);
    EXPECT_EQ(bytes[1], 5);
    EXPECT_EQ(bytes[2], 1);
    EXPECT_EQ(bytes[3], 8);
    EXPECT_EQ(le16_at(bytes, 8), 4u);  // xmax
    EXPECT_EQ(le16_at(bytes, 10), 2u); // ymax
    EXPECT_EQ(bytes[65], 1);
    EXPECT_EQ(le16_at(bytes, 66), 6u); // five pixels padded to six bytes
    std::size_t palette = bytes.size() - 769;
    EXPECT_EQ(bytes[palette], 0x0C);
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(static_cast<std::uint8_t>(bytes[palette + 1 + i * 3]), picture->cmap->entry[i].r);
        EXPECT_EQ(static_cast<std::uint8_t>(bytes[palette + 3 + i * 3]), picture->cmap->entry[i].b);
    }
}

TEST_F(Pcx, WriterCodesRunsAndBytesThatLookLikeCounts) {
    // One row: 0xC5 alone, then 70 sevens (a run of 63 and one of 7).
    bitmap_ptr picture(bitmap_alloc2(71, 1, 8));
    picture->bits[0] = 0xC5;
    for (int i = 1; i < 71; ++i)
        picture->bits[i] = 7;
    ASSERT_EQ(bitmapio_pcx_driver.save("runs.pcx", picture.get()), 1);
    std::string bytes = file_bytes("runs.pcx");
    // 72 bytes per line: the padding byte 0 is a literal of its own.
    std::string expected = {'\xC1', '\xC5', '\xFF', '\x07', '\xC7', '\x07', '\x00'};
    EXPECT_EQ(bytes.substr(128, expected.size()), expected);
    EXPECT_EQ(bytes.size(), 128 + expected.size() + 769);
}

TEST_F(Pcx, WriterRefusesDepthsItDoesNotWrite) {
    for (int bpp : {15, 16, 32}) {
        bitmap_ptr picture = make_f_picture(bpp);
        EXPECT_EQ(bitmapio_pcx_driver.save("deep.pcx", picture.get()), 0) << bpp;
        EXPECT_FALSE(file_exists("deep.pcx"));
    }
}

// --- files of others, read by us ------------------------------------------

TEST_F(Pcx, ReadsEveryLayoutThatNetpbmWrites) {
    put_ppm("f.ppm", f_width, f_height, f_rgb());
    put_ppm("ten.ppm", 7, 5, ten_colour_rgb());
    struct case_ {
        const char *options;
        const char *source;
        int bits, planes;
    } cases[] = {
        {"-planes 1", "f.ppm", 1, 1}, {"-planes 2", "f.ppm", 1, 2}, {"-planes 3", "f.ppm", 1, 3},
        {"-planes 4", "f.ppm", 1, 4}, {"-8bit", "f.ppm", 8, 1},     {"-24bit", "f.ppm", 8, 3},
        {"-packed", "ten.ppm", 4, 1}, {"", "ten.ppm", 1, 4},
    };
    for (const case_ &c : cases) {
        run_writer(tool_path("ppmtopcx") + " " + c.options + " " + c.source + " > in.pcx");
        std::string bytes = file_bytes("in.pcx");
        ASSERT_GT(bytes.size(), 128u) << c.options;
        EXPECT_EQ(bytes[3], c.bits) << c.options;
        EXPECT_EQ(bytes[65], c.planes) << c.options;
        bitmap_ptr image = load("in.pcx");
        ASSERT_NE(image, nullptr) << c.options;
        std::vector<std::uint8_t> expected =
            std::string(c.source) == "f.ppm" ? f_rgb() : ten_colour_rgb();
        EXPECT_EQ(rgb_of(image.get()), expected) << c.options;
        EXPECT_EQ(image->bpp, c.bits * c.planes == 24 ? 24 : 8) << c.options;
    }
}

TEST_F(Pcx, ReadsFilesOfImageMagickAndPillow) {
    put_ppm("f.ppm", f_width, f_height, f_rgb());
    put_ppm("ten.ppm", 7, 5, ten_colour_rgb());
    const std::string python = tool_path("python3") + " -c 'import sys; from PIL import Image; " +
                               "Image.open(sys.argv[1]).convert(sys.argv[2]).save(sys.argv[3])' ";
    struct case_ {
        std::string command;
        const char *source;
        int bits, planes;
    } cases[] = {
        {tool_path("convert") + " f.ppm -type palette in.pcx", "f.ppm", 8, 1},
        {tool_path("convert") + " ten.ppm -type truecolor in.pcx", "ten.ppm", 8, 3},
        {python + "f.ppm P in.pcx", "f.ppm", 8, 1},
        {python + "ten.ppm RGB in.pcx", "ten.ppm", 8, 3},
    };
    for (const case_ &c : cases) {
        run_writer(c.command);
        std::string bytes = file_bytes("in.pcx");
        ASSERT_GT(bytes.size(), 128u) << c.command;
        EXPECT_EQ(bytes[3], c.bits) << c.command;
        EXPECT_EQ(bytes[65], c.planes) << c.command;
        bitmap_ptr image = load("in.pcx");
        ASSERT_NE(image, nullptr) << c.command;
        EXPECT_EQ(rgb_of(image.get()),
                  std::string(c.source) == "f.ppm" ? f_rgb() : ten_colour_rgb())
            << c.command;
    }
}

TEST_F(Pcx, ReadsTwoColourFilesOfPillowAsBlackAndWhite) {
    // Pillow's one-bit files carry no palette: black and white is meant.
    put_ppm("f.ppm", f_width, f_height, f_rgb());
    run_writer(tool_path("python3") + " -c 'from PIL import Image; " +
               "Image.open(\"f.ppm\").convert(\"L\").point(lambda v: 255 if v > 60 else 0)" +
               ".convert(\"1\").save(\"mono.pcx\")'");
    std::string bytes = file_bytes("mono.pcx");
    ASSERT_GT(bytes.size(), 128u);
    EXPECT_EQ(bytes[3], 1);
    EXPECT_EQ(bytes[65], 1);
    bitmap_ptr image = load("mono.pcx");
    ASSERT_NE(image, nullptr);
    std::uint32_t width, height;
    EXPECT_EQ(rgb_of(image.get()), rgb_from_command(pillow_reads("mono.pcx"), width, height));
}

// --- decoding rules --------------------------------------------------------

TEST_F(Pcx, RunsGoOnFromOneRowIntoTheNext) {
    // 2 x 2 at 8 bits: one run of four covers both rows.
    put_file("cross.pcx", joined(joined(header(2, 2, 8, 1, 2), {0xC4, 5}), end_palette()));
    bitmap_ptr image = load("cross.pcx");
    ASSERT_NE(image, nullptr);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(image->bits[i], 5);
    EXPECT_EQ(image->cmap->entry[5].g, 250);
}

TEST_F(Pcx, RunsPastTheLastRowAreCutAndEmptyRunsSkipped) {
    put_file("long.pcx", joined(joined(header(2, 2, 8, 1, 2), {0xC0, 9, 0xFF, 3}), end_palette()));
    bitmap_ptr image = load("long.pcx");
    ASSERT_NE(image, nullptr);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(image->bits[i], 3);
}

TEST_F(Pcx, EightBitFileWithoutPaletteReadsAsGreyWithAWarning) {
    std::vector<std::uint8_t> bytes = header(2, 1, 8, 1, 2);
    bytes.insert(bytes.end(), {10, 0xC1, 200});
    bytes.resize(128 + 3 + 769, 0); // no 0x0C marker
    put_file("grey.pcx", bytes);
    message_capture capture;
    bitmap_ptr image = load("grey.pcx");
    ASSERT_NE(image, nullptr);
    EXPECT_NE(driver_warnings(capture).find("grey.pcx"), std::string::npos);
    EXPECT_EQ(image->cmap->entry[200].r, 200);
    EXPECT_EQ(image->cmap->entry[200].b, 200);
}

TEST_F(Pcx, CorruptFilesFailWithAWarning) {
    std::vector<std::uint8_t> good =
        joined(joined(header(2, 2, 8, 1, 2), {0xC4, 5}), end_palette());
    EXPECT_NE(refused({good.begin(), good.begin() + 100}).find("header"), std::string::npos);

    std::vector<std::uint8_t> bytes = good;
    bytes[0] = 0x0B;
    refused(bytes);
    bytes = good;
    bytes[2] = 2; // encoding
    refused(bytes);
    bytes = good;
    bytes[1] = 9; // version
    refused(bytes);

    // A window whose end lies before its start.
    bytes = good;
    bytes[4] = 5;
    EXPECT_NE(refused(bytes).find("empty"), std::string::npos);
    // Lines too short for the width.
    EXPECT_NE(
        refused(joined(joined(header(40, 1, 8, 1, 2), {0xC4, 5}), end_palette())).find("too few"),
        std::string::npos);
    // Layouts nobody writes.
    refused(joined(header(2, 2, 2, 1, 2), {0xC4, 5}));
    refused(joined(header(2, 2, 8, 4, 2), {0xFF, 5}));
    refused(joined(header(2, 2, 1, 5, 2), {0xFF, 5}));
}

TEST_F(Pcx, TruncatedDataFails) {
    // 24 bits, 4 x 4: 48 bytes of rows, of which only 13 literal bytes are present.
    std::vector<std::uint8_t> bytes = header(4, 4, 8, 3, 4);
    for (int i = 0; i < 13; ++i)
        bytes.push_back(static_cast<std::uint8_t>(i));
    EXPECT_NE(refused(bytes).find("truncated"), std::string::npos);
    // A run count as the very last byte.
    bytes = header(1, 1, 8, 3, 2);
    bytes.insert(bytes.end(), {0xC6});
    refused(bytes);
}

TEST_F(Pcx, HugeHeadersAreRefusedBeforeAnythingIsAllocated) {
    // 32767 x 32767 exceeds the area limit; 8000 x 8000 fits it but not the file.
    EXPECT_NE(refused(joined(header(32767, 32767, 8, 3, 32768), {0xC1, 0})).find("refused"),
              std::string::npos);
    EXPECT_NE(refused(joined(header(8000, 8000, 8, 3, 8000), {0xFF, 0})).find("truncated"),
              std::string::npos);
}

TEST_F(Pcx, DumpPrintsTheHeader) {
    bitmap_ptr picture = make_f_picture(24);
    ASSERT_EQ(bitmapio_pcx_driver.save("f.pcx", picture.get()), 1);
    testing::internal::CaptureStdout();
    bitmapio_pcx_driver.dump("f.pcx");
    std::string text = testing::internal::GetCapturedStdout();
    EXPECT_NE(text.find("dumping(f.pcx)"), std::string::npos);
    EXPECT_NE(text.find("xsize           = 6\n"), std::string::npos);
    EXPECT_NE(text.find("ysize           = 5\n"), std::string::npos);
    EXPECT_NE(text.find("planes          = 3\n"), std::string::npos);
    EXPECT_NE(text.find("bytes_per_line  = 6\n"), std::string::npos);
}

TEST_F(Pcx, TheRegistryFindsTheDriverBySuffix) {
    register_image_drivers();
    bitmap_ptr picture = make_f_picture(24);
    ASSERT_EQ(bitmap_filesave(picture.get(), "shot.pcx", nullptr), 1);
    message_capture capture; // the first recognition reports types without driver
    bitmap_ptr back(bitmap_fileload("shot.pcx"));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->loader, &bitmapio_pcx_driver);
    EXPECT_EQ(rgb_of(back.get()), f_rgb());
}

TEST_F(Pcx, FuzzerSeedsLoadAndFuzzerFindingsFailCleanly) {
    expect_all_loaded("fuzz/corpus/pcx", bitmapio_pcx_driver.load);
    expect_all_refused("tests/data/pcx", bitmapio_pcx_driver.load);
}
