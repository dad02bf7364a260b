// Real readers judge our writers: ImageMagick, netpbm and Pillow decode each
// golden file (tests/data/golden, which the image driver suite holds our
// writers to) to the picture it was made from.  Files the tools wrote are
// judged the other way round through tests/data/decodes.txt.
#include "image_readers.h"
#include "image_test_support.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct golden_row {
    const char *file; // under tests/data/golden
    const char *variant;
    int bpp;
    std::vector<std::string> readers; // commands that print the file as a PPM
};

std::vector<golden_row> rows() {
    auto magick = [](const std::string &f) { return magick_reads(f); };
    auto pillow = [](const std::string &f) { return pillow_reads(f); };
    auto netpbm = [](const char *tool) {
        return [tool](const std::string &f) { return netpbm_reads(tool, f); };
    };
    // netpbm gives the 5-bit channels of 15/16-bit Targa files a maxval of 31.
    auto tga = [](const std::string &f) {
        return tool_path("tgatoppm") + " " + f + " | " + tool_path("pnmdepth") + " 255";
    };
    std::vector<golden_row> table;
    auto add = [&](const char *file, const char *variant, int bpp, auto... readers) {
        const std::string path = std::string(LUMIVANE_TEST_DATA) + "/golden/" + file;
        table.push_back({file, variant, bpp, {readers(path)...}});
    };
    for (auto [file, bpp] : {std::pair{"targa/f8.tga", 8},
                             {"targa/f16.tga", 16},
                             {"targa/f24.tga", 24},
                             {"targa/f32.tga", 32}})
        add(file, "f", bpp, magick, tga, pillow);
    // Pillow reads 16-bit Targa but not the same layout declared as 15-bit.
    add("targa/f15.tga", "f", 15, magick, tga);
    for (auto [file, bpp] : {std::pair{"windows_bitmap/f8.bmp", 8}, {"windows_bitmap/f24.bmp", 24}})
        add(file, "f", bpp, magick, pillow, netpbm("bmptoppm"));
    for (auto [file, variant, bpp] :
         {std::tuple{"pcx/f8.pcx", "f", 8}, {"pcx/grey8.pcx", "grey", 8}, {"pcx/f24.pcx", "f", 24}})
        add(file, variant, bpp, magick, pillow, netpbm("pcxtoppm"));
    for (auto [file, variant, bpp] : {std::tuple{"portable_pixmap/f8.ppm", "f", 8},
                                      {"portable_pixmap/grey8.ppm", "grey", 8},
                                      {"portable_pixmap/nomap8.ppm", "nomap", 8},
                                      {"portable_pixmap/f24.ppm", "f", 24},
                                      {"portable_pixmap/comment24.ppm", "comment", 24}})
        add(file, variant, bpp, magick, pillow,
            [](const std::string &f) { return tool_path("ppmtoppm") + " < " + f; });
    return table;
}

} // namespace

TEST(RealReaders, SeeInOurFilesThePicturesTheyWereMadeFrom) {
    scratch_directory scratch;
    for (const golden_row &row : rows()) {
        // The readers widen 5-bit channels to the full 8 bits.
        const int seen_as = row.bpp == 15 || row.bpp == 16 ? 24 : row.bpp;
        const std::vector<std::uint8_t> expected =
            rgb_of(golden_picture(row.variant, seen_as).get());
        for (const std::string &command : row.readers) {
            std::uint32_t width = 0, height = 0;
            EXPECT_EQ(rgb_from_command(command, width, height), expected) << command;
            EXPECT_EQ(width, f_width) << command;
            EXPECT_EQ(height, f_height) << command;
        }
    }
}
