// Real readers check our Targa and Windows bitmap files, and our readers
// take theirs: ImageMagick, netpbm and Pillow decode what our writers produce
// to the same pixels, and the files those tools write (run-length, bottom-up,
// colour-mapped, grey, the several bitmap headers) load here to the picture
// they hold.  The picture is a 6 x 5 red "F" on blue, which shows swapped
// channels, flips and row padding.
#include "gfx/2d/bitmap/bitmapio.h"
#include "image_readers.h"
#include "image_test_support.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class RealReaders : public testing::Test {
  protected:
    void SetUp() override {
        register_image_drivers();
        message_capture quiet;
        bitmap_filetype(nullptr); // the first-call resolution pass
        put_ppm("f.ppm", f_width, f_height, f_rgb());
    }
    void TearDown() override { bitmapio_reset_registry(); }

    // What each of the outside readers sees in `file`.
    void expect_readers_see_f(const std::vector<std::string> &commands) {
        for (const std::string &command : commands) {
            std::uint32_t width = 0, height = 0;
            std::vector<std::uint8_t> rgb = rgb_from_command(command, width, height);
            EXPECT_EQ(width, f_width) << command;
            EXPECT_EQ(height, f_height) << command;
            EXPECT_EQ(rgb, f_rgb()) << command;
        }
    }

    // Our reader on a file an outside tool wrote.
    void expect_we_see_f(const std::string &file, const char *driver) {
        bitmap_ptr image(bitmap_fileload(file.c_str()));
        ASSERT_TRUE(image) << file;
        ASSERT_TRUE(image->loader) << file;
        EXPECT_STREQ(image->loader->name, driver) << file;
        EXPECT_EQ(image->xsize, f_width) << file;
        EXPECT_EQ(image->ysize, f_height) << file;
        EXPECT_EQ(rgb_of(image.get()), f_rgb()) << file;
    }

    std::string header_of(const std::string &file) { return file_bytes(file).substr(0, 54); }

    scratch_directory scratch;
    message_capture messages;
};

} // namespace

TEST_F(RealReaders, ReadOurTargaFilesAtEveryDepth) {
    for (int bpp : {8, 15, 16, 24, 32}) {
        bitmap_ptr image = make_f_picture(bpp);
        std::string file = "ours" + std::to_string(bpp) + ".tga";
        ASSERT_EQ(bitmap_filesave(image.get(), file.c_str(), nullptr), 1);
        // netpbm gives 5-bit channels of 15/16-bit files a maxval of 31.
        std::vector<std::string> readers = {magick_reads(file), tool_path("tgatoppm") + " " + file +
                                                                    " | " + tool_path("pnmdepth") +
                                                                    " 255"};
        // Pillow reads 16-bit Targa but not the same layout declared as 15-bit.
        if (bpp != 15)
            readers.push_back(pillow_reads(file));
        expect_readers_see_f(readers);
    }
}

TEST_F(RealReaders, ReadOurWindowsBitmaps) {
    for (int bpp : {8, 24}) {
        bitmap_ptr image = make_f_picture(bpp);
        std::string file = "ours" + std::to_string(bpp) + ".bmp";
        ASSERT_EQ(bitmap_filesave(image.get(), file.c_str(), nullptr), 1);
        expect_readers_see_f(
            {magick_reads(file), pillow_reads(file), netpbm_reads("bmptoppm", file)});
    }
}

TEST_F(RealReaders, OurReaderTakesImageMagickTarga) {
    const std::string convert = tool_path("convert");
    struct made {
        const char *options;
        const char *file;
        int type;
    };
    // This ImageMagick stores rows top first also when it declares the
    // bottom-left origin (and reads such files so), which netpbm and Pillow
    // read upside down, as we do; with the origin named it is consistent.
    // Bottom-up files come from netpbm and Pillow below.
    const made files[] = {
        {"-orient TopLeft -compress None", "im_raw.tga", 2},
        {"-orient TopLeft -compress RLE", "im_rle.tga", 10},
        {"-orient TopLeft -type Palette -compress None", "im_cm.tga", 1},
        {"-orient TopLeft -type Palette -compress RLE", "im_cmrle.tga", 9},
    };
    for (const made &m : files) {
        run_writer(convert + " f.ppm " + m.options + " " + m.file);
        std::string header = file_bytes(m.file);
        ASSERT_GE(header.size(), 18u) << m.file;
        EXPECT_EQ(header[2], m.type) << m.file;
        expect_we_see_f(m.file, "targa");
    }
}

TEST_F(RealReaders, OurReaderTakesImageMagickGreyTarga) {
    const std::string convert = tool_path("convert");
    for (const char *compress : {"None", "RLE"}) {
        std::string file = std::string("grey_") + compress + ".tga";
        run_writer(convert + " f.ppm -orient TopLeft -colorspace Gray -compress " + compress + " " +
                   file);
        bitmap_ptr image(bitmap_fileload(file.c_str()));
        ASSERT_TRUE(image) << file;
        EXPECT_EQ(image->bpp, 8);
        EXPECT_EQ(image->cmap, nullptr);
        std::uint32_t width = 0, height = 0;
        std::vector<std::uint8_t> expected = rgb_from_command(magick_reads(file), width, height);
        EXPECT_EQ(rgb_of(image.get()), expected) << file;
        // The F must still be there: darker red strokes on lighter blue, or the reverse.
        EXPECT_NE(image->bits[1], image->bits[0]);
        EXPECT_EQ(image->bits[6 + 1], image->bits[1]);
    }
}

TEST_F(RealReaders, OurReaderTakesNetpbmTarga) {
    struct made {
        const char *options;
        const char *file;
        int type;
    };
    const made files[] = {
        {"-rgb -norle", "np_raw.tga", 2},
        {"-rgb", "np_rle.tga", 10},
        {"-cmap -norle", "np_cm.tga", 1},
        {"-cmap", "np_cmrle.tga", 9},
    };
    for (const made &m : files) {
        run_writer(tool_path("ppmtotga") + " " + m.options + " f.ppm > " + m.file);
        std::string header = file_bytes(m.file);
        ASSERT_GE(header.size(), 18u) << m.file;
        EXPECT_EQ(header[2], m.type) << m.file;
        EXPECT_NE(header[0], 0) << m.file << " carries an identification field";
        EXPECT_EQ(header[17] & 0x20, 0) << m.file << " is stored bottom row first";
        // A leading non-zero byte is no signature: the suffix decides.
        expect_we_see_f(m.file, "targa");
    }
}

TEST_F(RealReaders, OurReaderTakesPillowTarga) {
    const std::string python = tool_path("python3");
    run_writer(python +
               " -c 'from PIL import Image; im = Image.open(\"f.ppm\"); "
               "im.save(\"pil_rle.tga\", rle=True); im.save(\"pil_top.tga\", orientation=1); "
               "im.quantize(2).save(\"pil_cm.tga\"); im.quantize(2).save(\"pil_cmrle.tga\", "
               "rle=True)'");
    EXPECT_EQ(file_bytes("pil_top.tga")[17] & 0x20, 0x20);
    EXPECT_EQ(file_bytes("pil_cmrle.tga")[2], 9);
    for (const char *file : {"pil_rle.tga", "pil_top.tga", "pil_cm.tga", "pil_cmrle.tga"})
        expect_we_see_f(file, "targa");
}

TEST_F(RealReaders, OurReaderTakesOtherWindowsBitmaps) {
    const std::string convert = tool_path("convert");
    const std::string python = tool_path("python3");
    const std::string ppmtobmp = tool_path("ppmtobmp");
    run_writer(convert + " f.ppm BMP3:im3.bmp");
    run_writer(convert + " f.ppm im5.bmp");
    run_writer(ppmtobmp + " -windows -bpp 24 f.ppm > np24.bmp");
    run_writer(ppmtobmp + " -windows -bpp 8 f.ppm > np8.bmp");
    run_writer(ppmtobmp + " -os2 -bpp 24 f.ppm > os2_24.bmp");
    run_writer(ppmtobmp + " -os2 -bpp 8 f.ppm > os2_8.bmp");
    run_writer(python + " -c 'from PIL import Image; im = Image.open(\"f.ppm\"); "
                        "im.save(\"pil24.bmp\"); im.quantize(2).save(\"pil8.bmp\")'");
    EXPECT_EQ(le32_at(file_bytes("im5.bmp"), 14), 124u);
    EXPECT_EQ(le32_at(file_bytes("os2_8.bmp"), 14), 12u);
    for (const char *file : {"im3.bmp", "im5.bmp", "np24.bmp", "np8.bmp", "os2_24.bmp", "os2_8.bmp",
                             "pil24.bmp", "pil8.bmp"})
        expect_we_see_f(file, "windows bitmap");
}

TEST_F(RealReaders, TopDownBitmapFromPillow) {
    // Pillow writes bottom-up; turn its height negative and its rows around.
    run_writer(tool_path("python3") + " -c 'from PIL import Image; "
                                      "Image.open(\"f.ppm\").save(\"up.bmp\")'");
    std::string bytes = file_bytes("up.bmp");
    ASSERT_EQ(bytes.size(), 54u + 20u * f_height);
    std::string flipped = bytes.substr(0, 54);
    for (std::uint32_t y = f_height; y-- > 0;)
        flipped += bytes.substr(54 + 20 * y, 20);
    std::int32_t negative = -static_cast<std::int32_t>(f_height);
    for (int i = 0; i < 4; ++i)
        flipped[22 + i] = static_cast<char>(static_cast<std::uint32_t>(negative) >> (8 * i));
    write_file("down.bmp", flipped);
    expect_we_see_f("down.bmp", "windows bitmap");
    std::uint32_t width = 0, height = 0;
    EXPECT_EQ(rgb_from_command(magick_reads("down.bmp"), width, height), f_rgb());
}
