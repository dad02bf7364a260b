// The "portable pixmap" driver: our P5/P6 files in netpbm, ImageMagick and
// Pillow; their P2, P3, P5 and P6 files (8 and 16 bits) through our reader;
// header comments; corrupt files.
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

class Ppm : public testing::Test {
  protected:
    void SetUp() override { image_streams_ready(); }
    scratch_directory scratch;
};

bitmap_ptr load(const std::string &file) {
    return bitmap_ptr(bitmapio_ppm_driver.load(file.c_str()));
}

bitmap_ptr load_text(const std::string &text) {
    write_file("in.ppm", text);
    return load("in.ppm");
}

std::vector<std::uint8_t> expand_grey(const std::vector<std::uint8_t> &grey) {
    std::vector<std::uint8_t> rgb;
    for (std::uint8_t value : grey)
        rgb.insert(rgb.end(), {value, value, value});
    return rgb;
}

// Loads text that must fail; returns the warnings joined.
std::string refused(const std::string &text) {
    write_file("bad.ppm", text);
    message_capture capture;
    bitmap_ptr image = load("bad.ppm");
    EXPECT_EQ(image, nullptr) << text.substr(0, 40);
    std::string all = driver_warnings(capture);
    EXPECT_NE(all.find("bad.ppm"), std::string::npos) << all;
    return all;
}

std::string f_ppm() {
    return ppm_of(f_width, f_height, f_rgb());
}

} // namespace

// --- our files, read by others ------------------------------------------

TEST_F(Ppm, ColourFileReadsTheSameInEveryRealReader) {
    bitmap_ptr picture = make_f_picture(24);
    ASSERT_EQ(bitmapio_ppm_driver.save("f.ppm", picture.get()), 1);
    EXPECT_EQ(file_bytes("f.ppm").substr(0, 3), "P6\n");
    for (const std::string &command :
         {tool_path("pnmtopnm") + " f.ppm", magick_reads("f.ppm"), pillow_reads("f.ppm")}) {
        std::uint32_t width, height;
        EXPECT_EQ(rgb_from_command(command, width, height), f_rgb()) << command;
        EXPECT_EQ(width, f_width);
        EXPECT_EQ(height, f_height);
    }
}

TEST_F(Ppm, GreyBitmapIsWrittenAsGreyMap) {
    // No colormap stands for the grey ramp.
    bitmap_ptr picture = make_pattern(7, 4, 8, 2);
    colormap_kill(picture->cmap);
    picture->cmap = nullptr;
    ASSERT_EQ(bitmapio_ppm_driver.save("g.pgm", picture.get()), 1);
    std::string bytes = file_bytes("g.pgm");
    EXPECT_EQ(bytes.substr(0, 3), "P5\n");
    EXPECT_EQ(bytes.size(), std::string("P5\n7 4\n255\n").size() + 28);
    std::vector<std::uint8_t> indices(picture->bits, picture->bits + 28);
    for (const std::string &command :
         {tool_path("ppmtoppm") + " < g.pgm", magick_reads("g.pgm"), pillow_reads("g.pgm")}) {
        std::uint32_t width, height;
        EXPECT_EQ(rgb_from_command(command, width, height), expand_grey(indices)) << command;
    }
}

TEST_F(Ppm, ColouredPaletteIsWrittenInColour) {
    bitmap_ptr picture = make_f_picture(8);
    ASSERT_EQ(bitmapio_ppm_driver.save("f8.ppm", picture.get()), 1);
    EXPECT_EQ(file_bytes("f8.ppm").substr(0, 3), "P6\n");
    std::uint32_t width, height;
    EXPECT_EQ(rgb_from_command(tool_path("pnmtopnm") + " f8.ppm", width, height), f_rgb());
}

TEST_F(Ppm, CommentTravelsAsHashLines) {
    bitmap_ptr picture = make_f_picture(24);
    bitmap_set_info(picture.get(), "two\nlines\tand a tab");
    ASSERT_EQ(bitmapio_ppm_driver.save("c.ppm", picture.get()), 1);
    EXPECT_EQ(file_bytes("c.ppm").substr(0, 35), "P6\n# two\n# lines and a tab\n6 5\n255\n");
    bitmap_ptr back = load("c.ppm");
    ASSERT_NE(back, nullptr);
    EXPECT_STREQ(bitmap_get_info(back.get()), "two\nlines and a tab");
    std::uint32_t width, height;
    EXPECT_EQ(rgb_from_command(tool_path("pnmtopnm") + " c.ppm", width, height), f_rgb());
}

TEST_F(Ppm, WriterRefusesDepthsItDoesNotWrite) {
    for (int bpp : {15, 16, 32}) {
        bitmap_ptr picture = make_f_picture(bpp);
        EXPECT_EQ(bitmapio_ppm_driver.save("deep.ppm", picture.get()), 0) << bpp;
    }
}

// True colour goes round in image_roundtrip_test.cpp; a grey picture keeps
// its depth: indices and the grey ramp come back.
TEST_F(Ppm, GreyRoundTripKeepsItsDepth) {
    bitmap_ptr grey = make_pattern(13, 11, 8, 4);
    for (int i = 0; i < 256; ++i)
        grey->cmap->entry[i] = {i, i, i};
    ASSERT_EQ(bitmapio_ppm_driver.save("grey.pgm", grey.get()), 1);
    bitmap_ptr back = load("grey.pgm");
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(bitmap_compare(back.get(), grey.get(), 1), 1);
    EXPECT_EQ(rgb_of(back.get()), rgb_of(grey.get()));
}

// --- files of others, read by us ------------------------------------------

TEST_F(Ppm, ReadsTheTextAndBinaryFormsOfNetpbmAndImageMagick) {
    put_ppm("f.ppm", f_width, f_height, f_rgb());
    put_ppm("ten.ppm", 7, 5, ten_colour_rgb());
    struct case_ {
        std::string command;
        const char *magic;
        std::vector<std::uint8_t> rgb;
    } cases[] = {
        {tool_path("pnmtoplainpnm") + " ten.ppm", "P3", ten_colour_rgb()},
        {tool_path("ppmtopgm") + " ten.ppm", "P5", {}},
        {tool_path("ppmtopgm") + " ten.ppm | " + tool_path("pnmtoplainpnm"), "P2", {}},
        {tool_path("pamdepth") + " 65535 ten.ppm", "P6", ten_colour_rgb()},
        {tool_path("pamdepth") + " 65535 ten.ppm | " + tool_path("pnmtoplainpnm"), "P3",
         ten_colour_rgb()},
        {tool_path("ppmtopgm") + " ten.ppm | " + tool_path("pamdepth") + " 65535", "P5", {}},
        {tool_path("pamtopnm") + " < f.ppm", "P6", f_rgb()},
        {tool_path("convert") + " f.ppm -compress none ppm:-", "P3", f_rgb()},
        {tool_path("convert") + " f.ppm -depth 16 ppm:-", "P6", f_rgb()},
        {tool_path("convert") + " ten.ppm -colorspace gray -compress none pgm:-", "P2", {}},
    };
    for (const case_ &c : cases) {
        run_writer(c.command + " > in.ppm");
        EXPECT_EQ(file_bytes("in.ppm").substr(0, 2), c.magic) << c.command;
        bitmap_ptr image = load("in.ppm");
        ASSERT_NE(image, nullptr) << c.command;
        std::uint32_t width, height;
        // The tools' own grey conversions are judged by netpbm's reading.
        std::vector<std::uint8_t> expected =
            c.rgb.empty()
                ? rgb_from_command(tool_path("pamdepth") + " 255 in.ppm | " + tool_path("ppmtoppm"),
                                   width, height)
                : c.rgb;
        EXPECT_EQ(rgb_of(image.get()), expected) << c.command;
        EXPECT_EQ(image->bpp, c.magic[1] == '2' || c.magic[1] == '5' ? 8 : 24) << c.command;
    }
}

TEST_F(Ppm, ScalesAnyMaxvalToEightBitsAsNetpbmDoes) {
    put_ppm("ten.ppm", 7, 5, ten_colour_rgb());
    for (const char *maxval : {"1000", "7", "300", "65534"}) {
        run_writer(tool_path("pamdepth") + " " + maxval + " ten.ppm > deep.ppm");
        bitmap_ptr image = load("deep.ppm");
        ASSERT_NE(image, nullptr) << maxval;
        std::uint32_t width, height;
        EXPECT_EQ(rgb_of(image.get()),
                  rgb_from_command(tool_path("pamdepth") + " 255 deep.ppm", width, height))
            << maxval;
    }
}

TEST_F(Ppm, CommentsMayStandAnywhereInTheHeaderAndBetweenTextSamples) {
    std::string data(f_ppm().substr(11));
    bitmap_ptr image = load_text("P6\n# first\n6 #second\n\t5\n#third\r255\n" + data);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(rgb_of(image.get()), f_rgb());
    EXPECT_STREQ(bitmap_get_info(image.get()), "first\nsecond\nthird");

    image = load_text("P2 2 # c\n 2 9 0 # a\n9#b\n 3 # at the end of a line\n6\n");
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->bits[0], 0);
    EXPECT_EQ(image->bits[1], 255);
    EXPECT_EQ(image->bits[2], 85);
    EXPECT_EQ(image->bits[3], 170);
    EXPECT_EQ(image->cmap->entry[170].g, 170);
}

TEST_F(Ppm, ExactlyOneWhiteSpaceByteEndsABinaryHeader) {
    for (char space : {'\n', '\r', '\t', ' '}) {
        bitmap_ptr image = load_text(std::string("P5 2 1 255") + space + "\x0A\x20");
        ASSERT_NE(image, nullptr) << int(space);
        EXPECT_EQ(image->bits[0], 0x0A);
        EXPECT_EQ(image->bits[1], 0x20);
    }
}

TEST_F(Ppm, OnlyTheFirstPictureIsRead) {
    bitmap_ptr image = load_text("P5 1 1 255\n\x07P5 1 1 255\n\x09");
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->xsize, 1u);
    EXPECT_EQ(image->bits[0], 7);
}

// --- corrupt files --------------------------------------------------------

TEST_F(Ppm, BadHeadersFail) {
    EXPECT_NE(refused("P6\n6 5\n0\n" + std::string(90, '\0')).find("maxval of 0"),
              std::string::npos);
    EXPECT_NE(refused("P6\n6 5\n65536\n").find("maxval exceeds 65535"), std::string::npos);
    EXPECT_NE(refused("P6\n3333333333 5\n255\n").find("width exceeds"), std::string::npos);
    EXPECT_NE(refused("P6\n0 5\n255\n").find("empty"), std::string::npos);
    EXPECT_NE(refused("P6\n6 0\n255\n").find("empty"), std::string::npos);
    EXPECT_NE(refused("P1\n1 1\n1\n").find("not supported"), std::string::npos);
    EXPECT_NE(refused("P4\n1 1\n\x80").find("not supported"), std::string::npos);
    EXPECT_NE(refused("P7\nWIDTH 1\n").find("not supported"), std::string::npos);
    refused("Q6\n1 1\n255\n");
    refused("");
    EXPECT_NE(refused("P6\n6 5\n# no end").find("inside a comment"), std::string::npos);
    EXPECT_NE(refused("P6\n6").find("ends before its height"), std::string::npos);
    EXPECT_NE(refused("P6\n6 x5\n255\n").find("unexpected byte"), std::string::npos);
    EXPECT_NE(refused("P5 1 1 255#\n\x01").find("no white space"), std::string::npos);
}

TEST_F(Ppm, SamplesAboveMaxvalFail) {
    EXPECT_NE(refused("P2 2 1 9 3 10\n").find("exceeds maxval"), std::string::npos);
    EXPECT_NE(refused("P3 1 1 255 0 256 0\n").find("exceeds maxval"), std::string::npos);
    EXPECT_NE(refused(std::string("P5 1 1 1000\n\x03\xE9", 14)).find("exceeds maxval"),
              std::string::npos);
    EXPECT_NE(refused("P2 1 1 9 99999999999999999999\n").find("exceeds"), std::string::npos);
}

TEST_F(Ppm, TruncatedRastersFail) {
    std::string whole = f_ppm();
    EXPECT_NE(refused(whole.substr(0, whole.size() - 1)).find("truncated"), std::string::npos);
    EXPECT_NE(refused("P3 2 1 255 1 2 3 4 5          ").find("incomplete"), std::string::npos);
    EXPECT_NE(refused("P6 2 1 65535\n" + std::string(11, '\0')).find("truncated"),
              std::string::npos);
    // A header claiming the area limit's worth of pixels in a tiny file.
    EXPECT_NE(refused("P6 8000 8000 255\n" + std::string(64, 'x')).find("truncated"),
              std::string::npos);
    EXPECT_NE(refused("P6 65535 65535 255\n").find("refused"), std::string::npos);
}

TEST_F(Ppm, DumpPrintsTheHeader) {
    write_file("d.ppm", "P6\n# hello\n6 5\n255\n" + f_ppm().substr(11));
    testing::internal::CaptureStdout();
    bitmapio_ppm_driver.dump("d.ppm");
    std::string text = testing::internal::GetCapturedStdout();
    EXPECT_NE(text.find("dumping(d.ppm)"), std::string::npos);
    EXPECT_NE(text.find("magic           = P6\n"), std::string::npos);
    EXPECT_NE(text.find("xsize           = 6\n"), std::string::npos);
    EXPECT_NE(text.find("maxval          = 255\n"), std::string::npos);
    EXPECT_NE(text.find("comment         = hello\n"), std::string::npos);
}

TEST_F(Ppm, TheRegistryFindsTheDriverByMagicAndSuffix) {
    register_image_drivers();
    bitmap_ptr picture = make_f_picture(24);
    ASSERT_EQ(bitmap_filesave(picture.get(), "shot.ppm", nullptr), 1);
    message_capture capture; // the first recognition reports types without driver
    EXPECT_STREQ(bitmap_filetype("shot.ppm"), "portable pixmap");
    bitmap_ptr back(bitmap_fileload("shot.ppm"));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->loader, &bitmapio_ppm_driver);
    EXPECT_EQ(rgb_of(back.get()), f_rgb());
}

TEST_F(Ppm, FuzzerSeedsLoadAndFuzzerFindingsFailCleanly) {
    expect_all_loaded("fuzz/corpus/ppm", bitmapio_ppm_driver.load);
    expect_all_refused("tests/data/ppm", bitmapio_ppm_driver.load);
}
