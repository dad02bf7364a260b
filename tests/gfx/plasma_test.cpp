// "plasma.standard": subdivision clouds blended with the source.
#include "bitmapfx_test_util.h"

#include "support/capture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <set>

using fxtest::owned;
using fxtest::seeded_random;

namespace {

bitmapfx_driver *const plasma = &bitmapfx_plasma_standard_driver;

class Plasma : public testing::Test {
  protected:
    static void SetUpTestSuite() { fxtest::register_library_effects(); }
    static void blend(double source, double target) {
        rgbscalar s{source, source, source}, t{target, target, target};
        bitmapfx_talk(plasma, "sblend", &s);
        bitmapfx_talk(plasma, "tblend", &t);
    }
    // The clouds alone (source weight 0, target weight 1) of a seed.
    static bitmap *clouds(int width, int height, std::uint32_t seed, int bpp = 24) {
        blend(0.0, 1.0);
        seeded_random random(seed);
        owned black(bitmap_alloc2(width, height, bpp));
        return bitmapfx_simple(plasma, black.get());
    }
    fxtest::parameter_snapshot keep_{plasma};
    message_capture capture;
};

} // namespace

TEST_F(Plasma, TinyPicturesStayAtTheLowerClamp) {
    for (int bpp : {24, 32})
        for (int side : {1, 2}) {
            owned black(bitmap_alloc2(side, side, bpp));
            owned result(bitmapfx_simple(plasma, black.get()));
            ASSERT_NE(result, nullptr);
            EXPECT_EQ(result->bpp, bpp);
            for (int y = 0; y < side; ++y)
                for (int x = 0; x < side; ++x)
                    for (int c = 0; c < 3; ++c)
                        EXPECT_EQ(bitmap_boffset(result.get(), x, y)[c], 1)
                            << side << "x" << side << " at " << x << "," << y;
        }
}

TEST_F(Plasma, BlackSourceGivesThreeQuartersOfTheClouds) {
    owned alone(clouds(97, 61, 4242));
    blend(0.25, 0.75);
    seeded_random random(4242);
    owned black(bitmap_alloc2(97, 61, 24));
    owned result(bitmapfx_simple(plasma, black.get()));
    ASSERT_NE(result, nullptr);
    std::size_t bytes = bitmap_bytesize(result.get());
    int above_one = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
        int expected = std::max(1, static_cast<int>(std::round(0.75 * alone->bits[i])));
        ASSERT_EQ(result->bits[i], expected) << "byte " << i;
        above_one += result->bits[i] > 1;
    }
    EXPECT_GT(above_one, static_cast<int>(bytes / 2));
}

TEST_F(Plasma, TheSourceIsWeightedAndRounded) {
    owned source(bitmap_alloc2(8, 6, 24));
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 8; ++x)
            fxtest::put_rgb(source.get(), x, y, 101, 0, 255);
    blend(0.5, 0.0);
    owned result(bitmapfx_simple(plasma, source.get()));
    ASSERT_NE(result, nullptr);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 8; ++x) {
            const std::uint8_t *p = bitmap_boffset(result.get(), x, y);
            EXPECT_EQ(p[0], 51);  // 50.5 rounds away from zero
            EXPECT_EQ(p[1], 1);   // 0 is raised to the lower clamp
            EXPECT_EQ(p[2], 128); // 127.5
        }
    blend(1.0, 1.0);
    seeded_random random(3);
    owned saturated(bitmapfx_simple(plasma, source.get()));
    EXPECT_EQ(bitmap_boffset(saturated.get(), 4, 3)[2], 255); // upper clamp
}

TEST_F(Plasma, CloudsAreSmoothAndGrowFromBlackCorners) {
    // 129 = 2^7 + 1: every rectangle halves evenly, so no midpoint ever
    // lands on a corner of the picture.
    owned image(clouds(129, 129, 99));
    for (auto [x, y] : {std::pair{0, 0}, {128, 0}, {0, 128}, {128, 128}})
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(bitmap_boffset(image.get(), x, y)[c], 1);
    std::set<int> levels;
    long steps = 0, count = 0;
    for (int y = 0; y < 129; ++y)
        for (int x = 0; x + 1 < 129; ++x) {
            const std::uint8_t *p = bitmap_boffset(image.get(), x, y);
            for (int c = 0; c < 3; ++c) {
                levels.insert(p[c]);
                steps += std::abs(p[c] - p[c + 3]);
                ++count;
            }
        }
    EXPECT_GT(levels.size(), 100u);
    // The edges are drawn like the rest, not left at the lower clamp.
    for (int edge : {0, 128}) {
        int column = 0, row = 0;
        for (int i = 0; i < 129; ++i) {
            column = std::max<int>(column, bitmap_boffset(image.get(), edge, i)[0]);
            row = std::max<int>(row, bitmap_boffset(image.get(), i, edge)[0]);
        }
        EXPECT_GT(column, 1) << "column " << edge;
        EXPECT_GT(row, 1) << "row " << edge;
    }
    // Neighbours differ by a few levels; white noise would average about 85.
    EXPECT_LT(static_cast<double>(steps) / count, 12.0);
}

// The same seed giving the same bytes is the effect contract's.
TEST_F(Plasma, AnotherSeedGivesOtherClouds) {
    owned first(clouds(64, 40, 1234, 32));
    owned other(clouds(64, 40, 1235, 32));
    EXPECT_EQ(bitmap_compare(first.get(), other.get(), 1), 0);
}
