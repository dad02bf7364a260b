// The "alchemy" driver: the "mhwanh" header layout, round trips at 8 and 24
// bpp, and corrupt files failing with a warning naming the file.
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

class Alchemy : public testing::Test {
  protected:
    void SetUp() override { image_streams_ready(); }
    scratch_directory scratch;
};

using bytes = std::vector<std::uint8_t>;

bitmap_ptr load(const std::string &file) {
    return bitmap_ptr(bitmapio_alchemy_driver.load(file.c_str()));
}

// A header of version 4 for a picture of width x height with `palette` entries.
bytes header(int width, int height, int palette, int version = 4) {
    bytes h = {'m', 'h', 'w', 'a', 'n', 'h'};
    for (int value : {version, width, height, palette, 1, 1, 0})
        h.insert(h.end(),
                 {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)});
    h.resize(32, 0);
    return h;
}

bytes joined(bytes a, const bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::string refused(const bytes &file) {
    put_file("bad.raw", file);
    message_capture capture;
    bitmap_ptr image = load("bad.raw");
    EXPECT_EQ(image, nullptr);
    std::string all = driver_warnings(capture);
    EXPECT_NE(all.find("bad.raw"), std::string::npos) << all;
    return all;
}

} // namespace

TEST_F(Alchemy, TrueColourFileIsHeaderThenPixels) {
    bitmap_ptr picture = make_f_picture(24);
    ASSERT_EQ(bitmapio_alchemy_driver.save("f.raw", picture.get()), 1);
    std::string file = file_bytes("f.raw");
    bytes expected = joined(header(6, 5, 0), f_rgb());
    EXPECT_EQ(as_bytes(file), expected);
}

TEST_F(Alchemy, IndexedFileCarriesItsPalette) {
    bitmap_ptr picture = make_f_picture(8);
    ASSERT_EQ(bitmapio_alchemy_driver.save("f8.raw", picture.get()), 1);
    bytes expected = joined(header(6, 5, 2), {0, 0, 255, 255, 0, 0});
    expected.insert(expected.end(), picture->bits, picture->bits + 30);
    EXPECT_EQ(as_bytes(file_bytes("f8.raw")), expected);

    // Without a colormap the bitmap stands for the grey ramp, and is so saved.
    colormap_kill(picture->cmap);
    picture->cmap = nullptr;
    ASSERT_EQ(bitmapio_alchemy_driver.save("grey.raw", picture.get()), 1);
    std::string file = file_bytes("grey.raw");
    ASSERT_EQ(file.size(), 32u + 768 + 30);
    EXPECT_EQ(file[12], 1);
    EXPECT_EQ(file[13], 0);
    EXPECT_EQ(static_cast<std::uint8_t>(file[32 + 3 * 200 + 1]), 200);
}

TEST_F(Alchemy, RecognisedByItsMagic) {
    bitmap_ptr picture = make_f_picture(24);
    ASSERT_EQ(bitmapio_alchemy_driver.save("named.tga", picture.get()), 1);
    message_capture capture; // the first recognition reports unresolved types
    ASSERT_NE(bitmap_filetype("named.tga"), nullptr);
    EXPECT_STREQ(bitmap_filetype("named.tga"), "alchemy");
}

TEST_F(Alchemy, WriterRefusesDepthsItDoesNotWrite) {
    for (int bpp : {15, 16, 32}) {
        bitmap_ptr picture = make_f_picture(bpp);
        EXPECT_EQ(bitmapio_alchemy_driver.save("deep.raw", picture.get()), 0) << bpp;
    }
}

TEST_F(Alchemy, CorruptFilesFail) {
    bytes good = joined(joined(header(2, 1, 2), {1, 2, 3, 4, 5, 6}), {0, 1});
    put_file("good.raw", good);
    ASSERT_NE(load("good.raw"), nullptr);

    EXPECT_NE(refused(bytes(good.begin(), good.begin() + 20)).find("mhwanh"), std::string::npos);
    bytes wrong = good;
    wrong[0] = 'M';
    refused(wrong);
    EXPECT_NE(refused(joined(header(2, 1, 2, 5), {1, 2, 3, 4, 5, 6, 0, 1})).find("version 5"),
              std::string::npos);
    EXPECT_NE(refused(joined(header(0, 1, 0), {1, 2, 3})).find("empty"), std::string::npos);
    EXPECT_NE(refused(joined(header(2, 1, 257), bytes(800, 0))).find("257"), std::string::npos);
    // Index 2 with a palette of two entries.
    EXPECT_NE(refused(joined(header(2, 1, 2), {1, 2, 3, 4, 5, 6, 0, 2})).find("beyond"),
              std::string::npos);
    EXPECT_NE(refused(bytes(good.begin(), good.end() - 1)).find("truncated"), std::string::npos);
    EXPECT_NE(refused(joined(header(2, 1, 2), {1, 2, 3})).find("truncated"), std::string::npos);
    EXPECT_NE(refused(joined(header(65535, 65535, 0), {1, 2, 3})).find("refused"),
              std::string::npos);
    EXPECT_NE(refused(joined(header(8000, 8000, 0), {1, 2, 3})).find("truncated"),
              std::string::npos);
}

TEST_F(Alchemy, DumpPrintsTheHeader) {
    put_file("d.raw", joined(header(2, 1, 2), {1, 2, 3, 4, 5, 6, 0, 1}));
    testing::internal::CaptureStdout();
    bitmapio_alchemy_driver.dump("d.raw");
    std::string text = testing::internal::GetCapturedStdout();
    EXPECT_NE(text.find("dumping(d.raw)"), std::string::npos);
    EXPECT_NE(text.find("version         = 4\n"), std::string::npos);
    EXPECT_NE(text.find("xsize           = 2\n"), std::string::npos);
    EXPECT_NE(text.find("palette_size    = 2\n"), std::string::npos);
}

TEST_F(Alchemy, TheRegistryFindsTheDriverBySuffix) {
    register_image_drivers();
    bitmap_ptr picture = make_f_picture(8);
    ASSERT_EQ(bitmap_filesave(picture.get(), "shot.raw", nullptr), 1);
    message_capture capture; // the first recognition reports types without driver
    bitmap_ptr back(bitmap_fileload("shot.raw"));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->loader, &bitmapio_alchemy_driver);
    EXPECT_EQ(rgb_of(back.get()), f_rgb());
}

TEST_F(Alchemy, FuzzerSeedsLoadAndFuzzerFindingsFailCleanly) {
    expect_all_loaded("fuzz/corpus/alchemy", bitmapio_alchemy_driver.load);
    expect_all_refused("tests/data/alchemy", bitmapio_alchemy_driver.load);
}
