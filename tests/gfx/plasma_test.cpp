// "plasma.standard": how the clouds are weighted, blended with the source and
// clamped (the clouds' own bytes are pinned by the contract suite's golden
// checksums).
#include "bitmapfx_test_util.h"

#include "support/capture.h"

#include <gtest/gtest.h>

#include <cmath>

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
