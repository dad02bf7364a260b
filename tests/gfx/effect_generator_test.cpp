// The generating effects (plasmas, patterns, noise, snow, reaction-diffusion,
// flares): the properties their pictures promise, and parameter values that
// must neither crash nor run away.
#include "gfx/bitmapfx_test_util.h"
#include "support/capture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>

namespace {

using fxtest::owned;

class Generators : public testing::Test {
  protected:
    static void SetUpTestSuite() { fxtest::register_library_effects(); }

    static bitmapfx_driver *driver(const char *name) {
        bitmapfx_driver *found = bitmapfx_find_driver(name);
        EXPECT_NE(found, nullptr) << name;
        return found;
    }
    static void set(const char *name, const char *key, const std::string &text) {
        ASSERT_EQ(bitmapfx_shout(name, key, text.c_str()), 1) << name << " " << key;
    }
    // "rand" (when asked) and "fx" on `source` from a seed.
    static owned run(bitmapfx_driver *d, const bitmap *source, std::uint32_t seed,
                     bool randomize = false) {
        fxtest::seeded_random random(seed);
        if (randomize)
            bitmapfx_call(d, "rand");
        return owned(bitmapfx_simple(d, source));
    }

    fxtest::quiet_progress quiet_;
};

int brightness(const bitmap *image, int x, int y) {
    const std::uint8_t *p = bitmap_boffset(image, x, y);
    return p[0] + p[1] + p[2];
}

// Mean absolute difference of the channels of two pixels' rows or columns:
// along `step` from `a` and `b`, `count` pixels.
double mean_step(const bitmap *image, int ax, int ay, int bx, int by, int dx, int dy, int count) {
    double sum = 0;
    for (int i = 0; i < count; ++i) {
        const std::uint8_t *p = bitmap_boffset(image, ax + i * dx, ay + i * dy);
        const std::uint8_t *q = bitmap_boffset(image, bx + i * dx, by + i * dy);
        for (int c = 0; c < 3; ++c)
            sum += std::abs(p[c] - q[c]);
    }
    return sum / (3.0 * count);
}

TEST_F(Generators, TilePlasmaContinuesAcrossItsEdges) {
    bitmapfx_driver *tile = driver("plasma.tile");
    fxtest::parameter_snapshot keep(tile);
    struct case_ {
        int width, height;
        std::uint32_t seed;
        bool randomize;
    };
    for (const case_ &c : {case_{320, 200, 3, false}, case_{97, 61, 8, true},
                           case_{64, 64, 21, true}, case_{250, 17, 5, false}}) {
        SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " seed " << c.seed);
        owned black(bitmap_alloc2(c.width, c.height, 24));
        owned clouds = run(tile, black.get(), c.seed, c.randomize);
        ASSERT_NE(clouds, nullptr);
        const int w = c.width, h = c.height;
        // Steps between neighbouring columns (rows) inside the picture, and
        // the step from the last column (row) back to the first.
        double inside_x = 0, inside_y = 0;
        for (int x = 0; x + 1 < w; ++x)
            inside_x += mean_step(clouds.get(), x, 0, x + 1, 0, 0, 1, h);
        for (int y = 0; y + 1 < h; ++y)
            inside_y += mean_step(clouds.get(), 0, y, 0, y + 1, 1, 0, w);
        inside_x /= w - 1;
        inside_y /= h - 1;
        const double seam_x = mean_step(clouds.get(), w - 1, 0, 0, 0, 0, 1, h);
        const double seam_y = mean_step(clouds.get(), 0, h - 1, 0, 0, 1, 0, w);
        EXPECT_GT(inside_x, 0.0);
        EXPECT_LE(seam_x, 2.0 * inside_x + 0.5);
        EXPECT_LE(seam_y, 2.0 * inside_y + 0.5);
    }
}

TEST_F(Generators, CheckerSquaresHaveTheGivenSize) {
    bitmapfx_driver *checker = driver("checker");
    fxtest::parameter_snapshot keep(checker);
    set("checker", "merge", "1");
    set("checker", "mode", "0");
    set("checker", "black", "r:10 g:20 b:30");
    set("checker", "white", "r:200 g:210 b:220");
    owned source(fxtest::photo_like(45, 38));
    // Sizes below 1 give one-pixel squares; a size beyond the picture one square.
    for (auto [text, side] :
         {std::pair{"1", 1}, {"3", 3}, {"7", 7}, {"16", 16}, {"100", 100}, {"0", 1}, {"-5", 1}}) {
        SCOPED_TRACE(text);
        set("checker", "size", text);
        owned board = run(checker, source.get(), 1);
        ASSERT_NE(board, nullptr);
        int wrong = 0;
        for (int y = 0; y < 38; ++y)
            for (int x = 0; x < 45; ++x) {
                const bool first = ((x / side + y / side) & 1) == 0;
                const std::uint8_t *p = bitmap_boffset(board.get(), x, y);
                wrong += first ? !(p[0] == 10 && p[1] == 20 && p[2] == 30)
                               : !(p[0] == 200 && p[1] == 210 && p[2] == 220);
            }
        EXPECT_EQ(wrong, 0);
    }
    // Overlay darkens below the middle level and lightens from it on.
    set("checker", "mode", "1");
    set("checker", "size", "2");
    owned middle(bitmap_alloc2(2, 1, 24));
    fxtest::put_rgb(middle.get(), 0, 0, 127, 127, 127);
    fxtest::put_rgb(middle.get(), 1, 0, 128, 128, 128);
    owned overlaid = run(checker, middle.get(), 1);
    EXPECT_EQ(bitmap_boffset(overlaid.get(), 0, 0)[0], 9);  // 2 * 127 * 10 / 255
    EXPECT_EQ(bitmap_boffset(overlaid.get(), 1, 0)[0], 11); // 255 - 2 * 127 * 245 / 255
}

struct flare_case {
    const char *name;
    int x, y;
    bool randomize;
    std::uint32_t seed;
};

TEST_F(Generators, FlareIsBrightestAtItsPosition) {
    const int w = 160, h = 100;
    owned dark(bitmap_alloc2(w, h, 24));
    bitmap_clear(dark.get(), 0x202020);
    for (const flare_case &c : {flare_case{"flare.standard", 40, 30, false, 1},
                                {"flare.standard", 1, 98, true, 4},
                                {"flare.fast", 130, 20, true, 5},
                                {"flare.fast", 158, 1, true, 7}}) {
        SCOPED_TRACE(testing::Message() << c.name << " at " << c.x << "," << c.y << " seed "
                                        << c.seed << (c.randomize ? " after rand" : ""));
        bitmapfx_driver *flare = driver(c.name);
        fxtest::parameter_snapshot keep(flare);
        fxtest::seeded_random random(c.seed);
        // As the raytracer does it: "rand" first, then the position.
        if (c.randomize)
            bitmapfx_call(flare, "rand");
        bitmapfx_talk(flare, "xpos", &c.x);
        bitmapfx_talk(flare, "ypos", &c.y);
        owned lit(bitmapfx_simple(flare, dark.get()));
        ASSERT_NE(lit, nullptr);
        const int peak = brightness(lit.get(), c.x, c.y);
        // The glow's radius bounds where the light saturates.
        const double size = *static_cast<double *>(
            bitmapfx_talk(flare, std::string(c.name) == "flare.fast" ? "size" : "xsize", nullptr));
        const double reach = size * 0.5 * std::hypot(w, h);
        int brighter = 0, far_ties = 0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const int here = brightness(lit.get(), x, y);
                brighter += here > peak;
                far_ties += here == peak && std::hypot(x - c.x, y - c.y) > reach;
            }
        EXPECT_EQ(brighter, 0);
        EXPECT_EQ(far_ties, 0);
        EXPECT_GT(peak, 3 * 0x20);
    }
}

// Just off the edge the glow still reaches in.  (Positions at the ends of
// the number range: the contract suite.)
TEST_F(Generators, FlareCentredJustOutsideThePictureStillShows) {
    owned source(fxtest::photo_like(64, 48));
    for (const char *name : {"flare.standard", "flare.fast"}) {
        bitmapfx_driver *flare = driver(name);
        fxtest::parameter_snapshot keep(flare);
        const int x = -3, y = 20;
        bitmapfx_talk(flare, "xpos", &x);
        bitmapfx_talk(flare, "ypos", &y);
        owned lit = run(flare, source.get(), 9);
        ASSERT_NE(lit, nullptr) << name;
        EXPECT_GT(brightness(lit.get(), 0, 20), brightness(source.get(), 0, 20)) << name;
    }
}

TEST_F(Generators, ReactionDiffusionBlendsItsCellsWithoutSeams) {
    bitmapfx_driver *reaction = driver("reaction-diffusion");
    fxtest::parameter_snapshot keep(reaction);
    set("reaction-diffusion", "interval", "4");
    owned black(bitmap_alloc2(128, 128, 24));
    owned marked = run(reaction, black.get(), 6);
    ASSERT_NE(marked, nullptr);
    // Cell k of 4 pixels is sampled up to column 4k + 1, cell k + 1 from 4k + 2.
    double seams = 0, inside = 0;
    for (int x = 0; x + 1 < 128; ++x)
        (x % 4 == 1 ? seams : inside) += mean_step(marked.get(), x, 0, x + 1, 0, 0, 1, 128);
    seams /= 32;
    inside /= 95;
    EXPECT_GT(inside, 0.0);
    EXPECT_LE(seams, 2.0 * inside + 0.5);
}

TEST_F(Generators, ReactionDiffusionCapsHugeIterationCounts) {
    bitmapfx_driver *reaction = driver("reaction-diffusion");
    fxtest::parameter_snapshot keep(reaction);
    set("reaction-diffusion", "iterations", "1000000000");
    message_capture capture;
    owned source(fxtest::photo_like(64, 48));
    owned grown = run(reaction, source.get(), 4);
    ASSERT_NE(grown, nullptr);
    EXPECT_TRUE(capture.said("capping 1000000000 iterations"));
    EXPECT_FALSE(bitmap_compare(source.get(), grown.get(), 1));
}

// Colours out of every range (the contract suite runs every number at its
// extremes): each run ends with a picture of the source's size.  Such colours
// cannot be written as text (scanning refuses them), only stored.
TEST_F(Generators, WildColoursNeitherCrashNorRunAway) {
    const rgbscalar wild{std::nan(""), -1e300, 1e300};
    for (auto [name, key] :
         {std::pair{"snow", "sblend"}, {"plasma.tile", "base"}, {"plasma.block", "tblend"}}) {
        bitmapfx_driver *d = driver(name);
        fxtest::parameter_snapshot keep(d);
        bitmapfx_talk(d, key, &wild);
        for (auto [w, h] : {std::pair{1, 1}, {1, 9}, {64, 48}}) {
            SCOPED_TRACE(testing::Message() << name << " " << key << " on " << w << "x" << h);
            owned source(fxtest::photo_like(w, h));
            owned result = run(d, source.get(), 2);
            ASSERT_NE(result, nullptr);
            EXPECT_EQ(result->xsize, static_cast<std::uint32_t>(w));
            EXPECT_EQ(result->ysize, static_cast<std::uint32_t>(h));
        }
    }
}

} // namespace
