// "quant.fast" and "quant.slow": palettes, mapping, dithering and quality.
#include "bitmapfx_test_util.h"

#include "gfx/2d/bitmap/effects/quantize.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>

using fxtest::owned;

namespace {

bitmapfx_driver *const fast = &bitmapfx_quant_fast_driver;
bitmapfx_driver *const slow = &bitmapfx_quant_slow_driver;

bitmap *quantise(bitmapfx_driver *driver, const bitmap *image, std::int32_t colors,
                 std::int32_t dither = 0) {
    fxtest::parameter_snapshot keep(driver);
    bitmapfx_talk(driver, "max_colors", &colors);
    bitmapfx_talk(driver, "dither", &dither);
    return bitmapfx_simple(driver, image);
}

void expect_valid_indices(const bitmap *image) {
    ASSERT_EQ(image->bpp, 8);
    ASSERT_NE(image->cmap, nullptr);
    for (std::size_t i = 0; i < bitmap_bytesize(image); ++i)
        ASSERT_LT(image->bits[i], image->cmap->size) << "pixel " << i;
}

// Mean colour distance of 8x8 block averages: what the eye sees from afar.
double block_error(const bitmap *original, const bitmap *picture) {
    double total = 0;
    int blocks = 0;
    for (std::uint32_t by = 0; by + 8 <= original->ysize; by += 8)
        for (std::uint32_t bx = 0; bx + 8 <= original->xsize; bx += 8) {
            double difference[3] = {};
            for (std::uint32_t y = by; y < by + 8; ++y)
                for (std::uint32_t x = bx; x < bx + 8; ++x) {
                    std::uint32_t a = get_pixel(original, x, y, 24);
                    std::uint32_t b = get_pixel(picture, x, y, 24);
                    for (int c = 0; c < 3; ++c)
                        difference[c] += static_cast<int>((a >> (8 * c)) & 0xFF) -
                                         static_cast<int>((b >> (8 * c)) & 0xFF);
                }
            for (double d : difference)
                total += std::fabs(d / 64.0);
            ++blocks;
        }
    return total / (3.0 * blocks);
}

void write_ppm(const std::string &path, const bitmap *image) {
    std::ofstream out(path, std::ios::binary);
    out << "P6\n" << image->xsize << " " << image->ysize << "\n255\n";
    for (std::uint32_t y = 0; y < image->ysize; ++y)
        for (std::uint32_t x = 0; x < image->xsize; ++x) {
            std::uint32_t v = get_pixel(image, x, y, 24);
            char rgb[3] = {static_cast<char>(v & 0xFF), static_cast<char>((v >> 8) & 0xFF),
                           static_cast<char>((v >> 16) & 0xFF)};
            out.write(rgb, 3);
        }
}

class Quantiser : public testing::Test {
  protected:
    void SetUp() override { fxtest::register_library_effects(); }
    message_capture capture;
};

} // namespace

TEST_F(Quantiser, FewColoursAreKeptExactly) {
    // Two of the colours share every histogram cell: only an exact palette
    // tells them apart.
    const int colours[5][3] = {
        {100, 100, 100}, {101, 100, 100}, {0, 0, 0}, {255, 255, 255}, {12, 200, 77}};
    owned image(bitmap_alloc2(7, 5, 24));
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x) {
            const int *c = colours[(x * 3 + y) % 5];
            fxtest::put_rgb(image.get(), x, y, c[0], c[1], c[2]);
        }
    for (bitmapfx_driver *driver : {fast, slow}) {
        owned result(quantise(driver, image.get(), 256, 1));
        ASSERT_NE(result, nullptr) << driver->name;
        expect_valid_indices(result.get());
        EXPECT_EQ(result->cmap->size, 5) << driver->name;
        EXPECT_TRUE(std::isinf(quant_psnr(image.get(), result.get()))) << driver->name;
        // In order of first appearance: (0, 0) is colour 0, (1, 0) colour 3.
        EXPECT_EQ(result->cmap->entry[0].r, 100);
        EXPECT_EQ(result->cmap->entry[1].g, 255);
    }
    owned exact_fit(quantise(fast, image.get(), 5));
    EXPECT_EQ(exact_fit->cmap->size, 5);
    owned squeezed(quantise(fast, image.get(), 4));
    EXPECT_LE(squeezed->cmap->size, 4);
}

TEST_F(Quantiser, PalettesKeepToMaxColors) {
    owned image(fxtest::plasma_picture(160, 100));
    for (bitmapfx_driver *driver : {fast, slow})
        for (int colors : {2, 16, 256}) {
            owned result(quantise(driver, image.get(), colors));
            ASSERT_NE(result, nullptr);
            expect_valid_indices(result.get());
            EXPECT_LE(result->cmap->size, colors) << driver->name;
            EXPECT_GE(result->cmap->size, colors / 2) << driver->name;
        }
}

TEST_F(Quantiser, MaxColorsOutOfRangeIsClamped) {
    owned image(fxtest::gradient(32, 32));
    owned one(quantise(fast, image.get(), 0));
    EXPECT_TRUE(
        capture.warned("max_colors 0 of driver 'quant.fast' is out of range 1..256, using 1"));
    EXPECT_EQ(one->cmap->size, 1);
    owned many(quantise(slow, image.get(), 1000));
    EXPECT_TRUE(capture.warned("max_colors 1000 of driver 'quant.slow'"));
    EXPECT_LE(many->cmap->size, 256);
}

TEST_F(Quantiser, SlowBeatsFastOnEveryPicture) {
    owned pictures[] = {owned(fxtest::plasma_picture(320, 200)), owned(fxtest::gradient(320, 200)),
                        owned(fxtest::photo_like(320, 200))};
    const char *names[] = {"plasma", "gradient", "photo"};
    for (int colors : {16, 256})
        for (int i = 0; i < 3; ++i) {
            owned quick(quantise(fast, pictures[i].get(), colors));
            owned careful(quantise(slow, pictures[i].get(), colors));
            double p_fast = quant_psnr(pictures[i].get(), quick.get());
            double p_slow = quant_psnr(pictures[i].get(), careful.get());
            EXPECT_GT(p_slow, p_fast) << names[i] << " at " << colors << " colours";
            EXPECT_GT(p_fast, colors == 256 ? 30.0 : 22.0) << names[i];
        }
}

TEST_F(Quantiser, DitheringKeepsTheAverageColour) {
    owned image(fxtest::gradient(256, 64));
    for (bitmapfx_driver *driver : {fast, slow}) {
        owned plain(quantise(driver, image.get(), 8, 0));
        owned dithered(quantise(driver, image.get(), 8, 1));
        expect_valid_indices(dithered.get());
        EXPECT_FALSE(bitmap_compare(plain.get(), dithered.get(), 1)) << driver->name;
        EXPECT_LT(block_error(image.get(), dithered.get()),
                  0.7 * block_error(image.get(), plain.get()))
            << driver->name;
    }
}

TEST_F(Quantiser, NamesCarryOverAndEmptyPicturesWork) {
    owned image(fxtest::gradient(9, 9));
    bitmap_set_name(image.get(), "ramp.tga");
    owned result(quantise(slow, image.get(), 256));
    EXPECT_STREQ(bitmap_get_name(result.get()), "ramp.tga");

    owned empty(bitmap_alloc2(0, 0, 24));
    owned nothing(quantise(fast, empty.get(), 256));
    ASSERT_NE(nothing, nullptr);
    EXPECT_EQ(nothing->bpp, 8);
    EXPECT_EQ(nothing->xsize, 0u);
    ASSERT_NE(nothing->cmap, nullptr);
    EXPECT_EQ(nothing->cmap->size, 1);
}

TEST_F(Quantiser, PsnrAgreesWithImageMagick) {
    if (std::system("compare -version > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "ImageMagick's compare is not installed";
    scratch_directory here;
    owned image(fxtest::photo_like(120, 80));
    owned result(quantise(fast, image.get(), 32));
    write_ppm("original.ppm", image.get());
    write_ppm("quantised.ppm", result.get());
    ASSERT_EQ(std::system("compare -metric PSNR original.ppm quantised.ppm null: 2> psnr.txt; "
                          "true"),
              0);
    double reported = std::stod(read_file("psnr.txt"));
    EXPECT_NEAR(quant_psnr(image.get(), result.get()), reported, 0.01);
}

TEST_F(Quantiser, UpgradeToPaletteFromEveryDepth) {
    // Colours that every depth holds exactly: multiples of 8 with green a
    // multiple of 8 too, so 5-5-5 and 5-6-5 lose nothing.
    owned truecolour(bitmap_alloc2(10, 6, 24));
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 10; ++x)
            fxtest::put_rgb(truecolour.get(), x, y, (x * 24) & 0xF8, (y * 40) & 0xF8,
                            ((x + y) * 16) & 0xF8);
    for (int depth : {15, 16, 24, 32, 8}) {
        owned source(depth == 24 ? bitmap_dup(truecolour.get())
                                 : bitmap_upgrade(truecolour.get(), depth));
        ASSERT_NE(source, nullptr) << depth;
        owned palette(bitmap_upgrade(source.get(), 8));
        ASSERT_NE(palette, nullptr) << depth;
        expect_valid_indices(palette.get());
        for (int y = 0; y < 6; ++y)
            for (int x = 0; x < 10; ++x)
                EXPECT_EQ(get_pixel(palette.get(), x, y, 24), get_pixel(truecolour.get(), x, y, 24))
                    << depth << " bpp at " << x << "," << y;
    }
    // A picture of more colours than a palette holds still converts.
    owned rich(fxtest::photo_like(64, 64, 32));
    owned reduced(bitmap_upgrade(rich.get(), 8));
    ASSERT_NE(reduced, nullptr);
    expect_valid_indices(reduced.get());
    EXPECT_GT(quant_psnr(rich.get(), reduced.get()), 30.0);
}
