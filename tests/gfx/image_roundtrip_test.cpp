// Every image-file driver that reads and writes gives back, through the
// program's own entry points (bitmap_filesave by driver name, then
// bitmap_fileload by recognition), the pixel block it was given, byte for
// byte, at every depth it supports; with the colormap of an 8-bpp picture.
//
// A driver joins with one row per depth.  ("portable pixmap" has none at
// 8 bpp: it writes a colour-mapped picture as true colour.)
#include "gfx/2d/bitmap/bitmapio.h"
#include "image_test_support.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <vector>

namespace {

struct roundtrip_row {
    const char *driver;
    std::int32_t bpp;
    // The bits of a 16-bit pixel that the format keeps, 0 for all.  Targa
    // stores 16 bpp in 5-5-5 form, so green loses its lowest bit.
    std::uint16_t kept16 = 0;
    // The format stores the bitmap's comment.
    bool keeps_comment = false;
};

void PrintTo(const roundtrip_row &row, std::ostream *out) {
    *out << row.driver << " at " << row.bpp << " bpp";
}

std::string label(const testing::TestParamInfo<roundtrip_row> &info) {
    std::string name = info.param.driver;
    for (char &c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '_';
    return name + "_" + std::to_string(info.param.bpp);
}

class ImageRoundTrip : public testing::TestWithParam<roundtrip_row> {
  protected:
    void SetUp() override {
        register_image_drivers();
        message_capture quiet;
        bitmap_filetype(nullptr); // the first-call resolution pass
    }
    void TearDown() override { bitmapio_reset_registry(); }
    scratch_directory scratch;
    message_capture messages;
};

// The pictures: odd widths catch row padding, a one-pixel picture the
// smallest headers, a wide one run-length packets across rows.
struct picture_size {
    std::uint32_t width, height;
};
constexpr picture_size sizes[] = {{1, 1}, {6, 5}, {7, 3}, {33, 2}, {130, 3}};

} // namespace

TEST_P(ImageRoundTrip, ReproducesThePixelBlock) {
    const roundtrip_row &row = GetParam();
    bitmapio_driver *driver = bitmapio_find_driver(row.driver, nullptr);
    ASSERT_NE(driver, nullptr) << row.driver << " is not registered";
    std::uint32_t seed = 1;
    for (const picture_size &size : sizes) {
        bitmap_ptr image = make_pattern(size.width, size.height, row.bpp, seed++);
        if (row.kept16)
            for (std::size_t i = 0; i + 1 < bitmap_bytesize(image.get()); i += 2) {
                std::uint16_t value = static_cast<std::uint16_t>(
                    (image->bits[i] | (image->bits[i + 1] << 8)) & row.kept16);
                image->bits[i] = static_cast<std::uint8_t>(value);
                image->bits[i + 1] = static_cast<std::uint8_t>(value >> 8);
            }
        if (row.keeps_comment)
            bitmap_set_info(image.get(), "round trip (\"1\")");
        std::string stem = "rt" + std::to_string(size.width) + "x" + std::to_string(size.height);
        ASSERT_NE(bitmap_filesave(image.get(), stem.c_str(), row.driver), 0);
        std::string name = stem + driver->extension;
        bitmap_ptr loaded(bitmap_fileload(name.c_str()));
        ASSERT_TRUE(loaded) << name;
        EXPECT_EQ(loaded->loader, driver) << name;
        ASSERT_EQ(loaded->xsize, image->xsize);
        ASSERT_EQ(loaded->ysize, image->ysize);
        ASSERT_EQ(loaded->bpp, image->bpp);
        std::vector<std::uint8_t> sent(image->bits, image->bits + bitmap_bytesize(image.get()));
        std::vector<std::uint8_t> got(loaded->bits, loaded->bits + bitmap_bytesize(loaded.get()));
        EXPECT_EQ(got, sent) << name;
        if (row.bpp == 8) {
            ASSERT_TRUE(loaded->cmap) << name;
            ASSERT_EQ(loaded->cmap->size, image->cmap->size) << name;
            for (std::int32_t i = 0; i < image->cmap->size; ++i) {
                EXPECT_EQ(loaded->cmap->entry[i].r, image->cmap->entry[i].r) << name << " " << i;
                EXPECT_EQ(loaded->cmap->entry[i].g, image->cmap->entry[i].g) << name << " " << i;
                EXPECT_EQ(loaded->cmap->entry[i].b, image->cmap->entry[i].b) << name << " " << i;
            }
        }
        if (row.keeps_comment) {
            EXPECT_STREQ(loaded->info, image->info) << name;
        }
    }
    EXPECT_TRUE(messages.errors.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Drivers, ImageRoundTrip,
    testing::Values(roundtrip_row{"targa", 8}, roundtrip_row{"targa", 15},
                    roundtrip_row{"targa", 16, 0xFFDF}, roundtrip_row{"targa", 24},
                    roundtrip_row{"targa", 32}, roundtrip_row{"windows bitmap", 8},
                    roundtrip_row{"windows bitmap", 24}, roundtrip_row{"sbm2", 8, 0, true},
                    roundtrip_row{"sbm2", 15, 0, true}, roundtrip_row{"sbm2", 16, 0, true},
                    roundtrip_row{"sbm2", 24, 0, true}, roundtrip_row{"sbm2", 32, 0, true},
                    roundtrip_row{"sbm3", 8, 0, true}, roundtrip_row{"sbm3", 15, 0, true},
                    roundtrip_row{"sbm3", 16, 0, true}, roundtrip_row{"sbm3", 24, 0, true},
                    roundtrip_row{"sbm3", 32, 0, true}, roundtrip_row{"pcx", 8},
                    roundtrip_row{"pcx", 24}, roundtrip_row{"portable pixmap", 24},
                    roundtrip_row{"alchemy", 8}, roundtrip_row{"alchemy", 24}),
    label);
