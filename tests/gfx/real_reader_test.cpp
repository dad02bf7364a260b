// Real readers judge our writers: ImageMagick, netpbm and Pillow decode each
// golden file (tests/data/golden, which the image driver suite holds our
// writers to) to the picture it was made from.  Files the tools wrote are
// judged the other way round through tests/data/decodes.txt.
#include "image_test_support.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace {

// A command that prints `file` as an 8-bit binary PPM.
std::string reads(const std::string &reader, const std::string &file) {
    if (reader == "magick")
        return tool_path("convert") + " " + file + " -depth 8 ppm:- 2>&1";
    if (reader == "pillow")
        return tool_path("python3") +
               " -c 'import sys; from PIL import Image; "
               "Image.open(sys.argv[1]).convert(\"RGB\").save(sys.stdout.buffer, \"PPM\")' " +
               file;
    // netpbm gives the 5-bit channels of 15/16-bit Targa files a maxval of 31.
    if (reader == "tgatoppm")
        return tool_path("tgatoppm") + " " + file + " | " + tool_path("pnmdepth") + " 255";
    return tool_path(reader) + (reader == "ppmtoppm" ? " < " : " ") + file + " 2>/dev/null";
}

} // namespace

TEST(RealReaders, SeeInOurFilesThePicturesTheyWereMadeFrom) {
    scratch_directory scratch;
    for (const auto &line : index_lines("golden/readers.txt", 3)) {
        // The readers widen 5-bit channels to the full 8 bits.
        const int bpp = std::stoi(line[2]), seen_as = bpp == 15 || bpp == 16 ? 24 : bpp;
        const std::vector<std::uint8_t> expected = rgb_of(golden_picture(line[1], seen_as).get());
        std::istringstream readers(line[3]);
        for (std::string reader; readers >> reader;) {
            const std::string command =
                reads(reader, std::string(LUMIVANE_TEST_DATA) + "/golden/" + line[0]);
            std::uint32_t width = 0, height = 0;
            EXPECT_EQ(rgb_from_command(command, width, height), expected) << command;
            EXPECT_EQ(width, f_width) << command;
            EXPECT_EQ(height, f_height) << command;
        }
    }
}
