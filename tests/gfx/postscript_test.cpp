// The three PostScript savers: Ghostscript renders each file, one device
// pixel per bitmap pixel, to exactly the bitmap's picture.
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "image_test_support.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class PostScript : public testing::TestWithParam<bitmapio_driver *> {
  protected:
    void SetUp() override { image_streams_ready(); }
    scratch_directory scratch;
};

// Renders at 72 dots per inch on a page the size of the bounding box: one
// point, one pixel.
std::vector<std::uint8_t> rendered(const std::string &file, std::uint32_t &width,
                                   std::uint32_t &height) {
    return rgb_from_command(tool_path("gs") +
                                " -q -dNOPAUSE -dBATCH -dSAFER -sDEVICE=ppmraw -r72 -dEPSCrop "
                                "-sOutputFile=- " +
                                file,
                            width, height);
}

// Pixels with long runs, short runs and noise, so that both kinds of
// run-length packet and their longest forms occur.
bitmap_ptr mixed_picture(std::uint32_t width, std::uint32_t height) {
    bitmap_ptr picture = make_pattern(width, height, 24, 11);
    std::size_t size = bitmap_bytesize(picture.get());
    for (std::size_t i = 0; i < size; ++i)
        if ((i / 150) % 3 == 0)
            picture->bits[i] = 0x80; // a run over several rows
        else if ((i / 5) % 4 == 0)
            picture->bits[i] = static_cast<std::uint8_t>(i / 5);
    return picture;
}

} // namespace

TEST_P(PostScript, MixedPictureRendersPixelForPixel) {
    bitmap_ptr picture = mixed_picture(41, 23);
    ASSERT_EQ(GetParam()->save("m.ps", picture.get()), 1);
    std::uint32_t width, height;
    EXPECT_EQ(rendered("m.ps", width, height), rgb_of(picture.get()));
}

TEST_P(PostScript, RowsLongerThanAStringRender) {
    // 21847 = 7 x 3121 pixels: a row does not fit one PostScript string.
    bitmap_ptr picture = make_pattern(21847, 2, 24, 12);
    ASSERT_EQ(GetParam()->save("wide.ps", picture.get()), 1);
    std::uint32_t width, height;
    EXPECT_EQ(rendered("wide.ps", width, height), rgb_of(picture.get()));
}

TEST_P(PostScript, FPictureRendersPixelForPixelAndItsTextStaysSafe) {
    bitmap_ptr picture = make_f_picture(24);
    bitmap_set_info(picture.get(), "two\nlines (and) a \\ showpage");
    ASSERT_EQ(GetParam()->save("h.ps", picture.get()), 1);
    std::string file = file_bytes("h.ps");
    EXPECT_EQ(file.substr(0, 4), "%!PS");
    EXPECT_NE(file.find("\n%%BoundingBox: 0 0 6 5\n"), std::string::npos);
    EXPECT_NE(file.find("\n% two?lines (and) a \\ showpage\n"), std::string::npos);
    EXPECT_EQ(file.substr(file.size() - 6), "%%EOF\n");
    std::size_t line_start = 0;
    bool binary = GetParam() == &bitmapio_binary_postscript_driver;
    for (std::size_t i = 0; i < file.size() && !binary; ++i) {
        auto byte = static_cast<unsigned char>(file[i]);
        EXPECT_TRUE(byte == '\n' || (byte >= 0x20 && byte < 0x7F)) << i;
        if (byte == '\n') {
            EXPECT_LE(i - line_start, 255u);
            line_start = i + 1;
        }
    }
    std::uint32_t width, height;
    EXPECT_EQ(rendered("h.ps", width, height), f_rgb());
    EXPECT_EQ(width, f_width);
    EXPECT_EQ(height, f_height);
}

INSTANTIATE_TEST_SUITE_P(Savers, PostScript,
                         testing::Values(&bitmapio_ascii_postscript_driver,
                                         &bitmapio_binary_postscript_driver,
                                         &bitmapio_compressed_postscript_driver),
                         [](const testing::TestParamInfo<bitmapio_driver *> &info) {
                             std::string name = info.param->name;
                             return name.substr(0, name.find('-'));
                         });

TEST(PostScriptSizes, RunLengthCodingShrinksPicturesWithRuns) {
    image_streams_ready();
    scratch_directory scratch;
    bitmap_ptr picture(bitmap_alloc2(200, 100, 24));
    for (std::uint32_t y = 0; y < 100; ++y)
        for (std::uint32_t x = 0; x < 200; ++x)
            for (int k = 0; k < 3; ++k)
                picture->bits[(y * 200 + x) * 3 + k] = x < 100 ? 255 : 0;
    ASSERT_EQ(bitmapio_ascii_postscript_driver.save("a.ps", picture.get()), 1);
    ASSERT_EQ(bitmapio_binary_postscript_driver.save("b.ps", picture.get()), 1);
    ASSERT_EQ(bitmapio_compressed_postscript_driver.save("c.ps", picture.get()), 1);
    std::size_t ascii = file_bytes("a.ps").size(), binary = file_bytes("b.ps").size(),
                compressed = file_bytes("c.ps").size();
    EXPECT_GT(ascii, 2 * 60000u);
    EXPECT_GT(binary, 60000u);
    EXPECT_LT(compressed, binary / 2);
    std::uint32_t width, height;
    EXPECT_EQ(rendered("c.ps", width, height), rgb_of(picture.get()));
}
