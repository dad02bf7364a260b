// The "array" driver: the C source it writes compiles as strict ANSI C, and a
// small program built from it prints the bitmap's size, depth, colormap and
// pixel bytes back unchanged, at every depth.
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "image_test_support.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class Array : public testing::Test {
  protected:
    void SetUp() override { image_streams_ready(); }
    scratch_directory scratch;
};

// What the printing program prints for a bitmap: size, depth, colours, then
// every colormap component and pixel byte in decimal, one a line.
std::string expected_print(const bitmap *image) {
    std::string text = std::to_string(image->xsize) + " " + std::to_string(image->ysize) + " " +
                       std::to_string(image->bpp) + " " +
                       std::to_string(image->cmap ? image->cmap->size : 0) + "\n";
    if (image->cmap)
        for (int i = 0; i < image->cmap->size; ++i)
            text += std::to_string(image->cmap->entry[i].r) + " " +
                    std::to_string(image->cmap->entry[i].g) + " " +
                    std::to_string(image->cmap->entry[i].b) + "\n";
    for (std::size_t i = 0; i < bitmap_bytesize(image); ++i)
        text += std::to_string(image->bits[i]) + "\n";
    return text;
}

// Compiles `file` (defining arrays with the prefix `id`) into a program that
// prints them, with the compiler in its strictest ANSI mode, and runs it.
std::string compile_and_print(const std::string &file, const std::string &id, bool colormap) {
    std::string program = "#include <stdio.h>\n#include \"" + file + "\"\n" +
                          "int main(void) {\n    unsigned long i;\n" +
                          "    printf(\"%u %u %u %u\\n\", " + id + "_xsize, " + id + "_ysize, " +
                          id + "_bpp, " + id + "_colors);\n";
    if (colormap)
        program += "    for (i = 0; i < " + id + "_colors; ++i)\n        printf(\"%d %d %d\\n\", " +
                   id + "_colormap[i][0], " + id + "_colormap[i][1], " + id + "_colormap[i][2]);\n";
    program += "    for (i = 0; i < sizeof " + id + "_bits; ++i)\n        printf(\"%d\\n\", " + id +
               "_bits[i]);\n    return 0;\n}\n";
    write_file("print.c", program);
    int status = -1;
    std::string messages = run_command(
        tool_path("cc") + " -std=c89 -pedantic-errors -Wall -Wextra -Werror -o print print.c 2>&1",
        status);
    EXPECT_EQ(status, 0) << messages;
    if (status != 0)
        return "";
    return run_command("./print", status);
}

} // namespace

TEST_F(Array, EveryDepthCompilesAndPrintsItsPixelsBack) {
    for (int bpp : {8, 15, 16, 24, 32}) {
        bitmap_ptr picture = make_pattern(7, 3, bpp, static_cast<std::uint32_t>(bpp));
        ASSERT_EQ(bitmapio_array_driver.save("picture.ca", picture.get()), 1) << bpp;
        EXPECT_EQ(compile_and_print("picture.ca", "picture", bpp == 8),
                  expected_print(picture.get()))
            << bpp;
    }
}

TEST_F(Array, IdentifiersComeFromTheFileName) {
    bitmap_ptr picture = make_f_picture(8);
    colormap_kill(picture->cmap);
    picture->cmap = nullptr; // no colormap array at all
    ASSERT_EQ(bitmapio_array_driver.save("3d-shot.v2.ca", picture.get()), 1);
    std::string source = file_bytes("3d-shot.v2.ca");
    EXPECT_NE(source.find("const unsigned int image_3d_shot_v2_xsize = 6;"), std::string::npos);
    EXPECT_EQ(source.find("_colormap"), std::string::npos);
    EXPECT_EQ(compile_and_print("3d-shot.v2.ca", "image_3d_shot_v2", false),
              expected_print(picture.get()));
    // Leading underscores are the C implementation's.
    ASSERT_EQ(bitmapio_array_driver.save("_logo.ca", picture.get()), 1);
    EXPECT_NE(file_bytes("_logo.ca").find("const unsigned int image__logo_bpp = 8;"),
              std::string::npos);
}

TEST_F(Array, CommentCannotBreakTheSource) {
    bitmap_ptr picture = make_f_picture(16);
    bitmap_set_info(picture.get(), "ends here */ int broken; /* nested\nnew line \\");
    ASSERT_EQ(bitmapio_array_driver.save("c.ca", picture.get()), 1);
    EXPECT_EQ(compile_and_print("c.ca", "c", false), expected_print(picture.get()));
}

TEST_F(Array, EmptyBitmapIsRefused) {
    bitmap_ptr empty(bitmap_alloc());
    EXPECT_EQ(bitmapio_array_driver.save("empty.ca", empty.get()), 0);
}
