// Blurs, relief, edges and tone curves: the properties a fault in one of
// these effects would break (inverse pairs, kept means, identities, flat
// pictures, ownership of the emboss bump map, degenerate settings).
#include "gfx/bitmapfx_test_util.h"
#include "support/capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

using fxtest::owned;

struct setting {
    const char *key;
    const char *text;
};

class EffectTone : public testing::Test {
  protected:
    static void SetUpTestSuite() { fxtest::register_library_effects(); }

    // Runs `name` on `source` with the settings (restored afterwards).
    static owned run(const char *name, const bitmap *source, std::vector<setting> settings = {},
                     std::uint32_t seed = 11u) {
        bitmapfx_driver *driver = bitmapfx_find_driver(name);
        EXPECT_NE(driver, nullptr) << name;
        if (!driver)
            return nullptr;
        fxtest::parameter_snapshot keep(driver);
        for (const setting &s : settings)
            EXPECT_TRUE(bitmapfx_shout(name, s.key, s.text)) << name << " " << s.key;
        fxtest::seeded_random random(seed);
        return owned(bitmapfx_simple(driver, source));
    }

    static owned flat(int width, int height, int bpp, int r, int g, int b, int a = 255) {
        owned image(bitmap_alloc2(width, height, bpp));
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                fxtest::put_rgb(image.get(), x, y, r, g, b);
                if (bpp == 32)
                    bitmap_boffset(image.get(), x, y)[3] = static_cast<std::uint8_t>(a);
            }
        return image;
    }

    // The photo-like picture with a varying alpha byte at 32 bpp.
    static owned photo(int width, int height, int bpp) {
        owned image(fxtest::photo_like(width, height, bpp));
        if (bpp == 32)
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x)
                    bitmap_boffset(image.get(), x, y)[3] = static_cast<std::uint8_t>(x * 7 + y);
        return image;
    }

    static std::vector<double> channel_means(const bitmap *image) {
        std::vector<double> mean(3, 0.0);
        const int channels = image->bpp / 8;
        const std::size_t pixels = static_cast<std::size_t>(image->xsize) * image->ysize;
        for (std::size_t i = 0; i < pixels; ++i)
            for (int c = 0; c < 3; ++c)
                mean[c] += image->bits[i * channels + c];
        for (double &m : mean)
            m /= static_cast<double>(pixels);
        return mean;
    }

    fxtest::quiet_progress quiet_;
};

// Every blur with settings that blur clearly, and the same effect told not to.
struct blur_case {
    const char *name;
    std::vector<setting> strong;
    std::vector<setting> none; // empty: the effect has no "off" setting
};

const blur_case blurs[] = {
    {"blur.simple", {}, {}},
    {"blur.gaussian", {{"size", "9"}}, {{"size", "0"}}},
    {"blur.random",
     {{"kernel_min", "6"}, {"kernel_max", "9"}},
     {{"kernel_min", "0"}, {"kernel_max", "0"}}},
    {"motion-blur.linear", {{"shift", "17.5"}, {"angle", "33"}}, {{"shift", "0"}}},
    {"motion-blur.radial", {{"shift", "30"}, {"angle", "10"}}, {{"shift", "0"}}},
    {"motion-blur.zoom", {{"shift", "30"}, {"angle", "-15"}}, {{"shift", "0"}}},
};

TEST_F(EffectTone, BlursKeepTheMeanColour) {
    for (const blur_case &blur : blurs)
        for (int bpp : {24, 32}) {
            SCOPED_TRACE(testing::Message() << blur.name << " at " << bpp << " bpp");
            owned level = flat(33, 21, bpp, 17, 140, 251, 99);
            owned same = run(blur.name, level.get(), blur.strong);
            ASSERT_NE(same, nullptr);
            EXPECT_TRUE(bitmap_compare(level.get(), same.get(), 1)) << "a flat picture changed";

            owned source = photo(120, 80, bpp);
            owned blurred = run(blur.name, source.get(), blur.strong);
            ASSERT_NE(blurred, nullptr);
            EXPECT_GT(bitmap_diff(source.get(), blurred.get()), 2.0) << "no visible blur";
            const std::vector<double> before = channel_means(source.get());
            const std::vector<double> after = channel_means(blurred.get());
            for (int c = 0; c < 3; ++c)
                EXPECT_NEAR(after[c], before[c], 1.5) << "channel " << c;
        }
}

TEST_F(EffectTone, BlursToldNotToBlurLeaveThePicture) {
    for (const blur_case &blur : blurs) {
        if (blur.none.empty())
            continue;
        SCOPED_TRACE(blur.name);
        owned source = photo(40, 30, 32);
        owned result = run(blur.name, source.get(), blur.none);
        ASSERT_NE(result, nullptr);
        EXPECT_TRUE(bitmap_compare(source.get(), result.get(), 1));
    }
}

TEST_F(EffectTone, InverseAndIdentitySettingsGiveThePictureBack) {
    for (int bpp : {24, 32}) {
        owned source = photo(64, 48, bpp);
        owned once = run("invert", source.get());
        owned twice = run("invert", once.get());
        EXPECT_FALSE(bitmap_compare(source.get(), once.get(), 1));
        EXPECT_TRUE(bitmap_compare(source.get(), twice.get(), 1)) << "invert twice, " << bpp;

        owned swapped = run("flip-rgb", source.get());
        EXPECT_EQ(swapped->bits[0], source->bits[2]);
        owned back = run("flip-rgb", swapped.get());
        EXPECT_TRUE(bitmap_compare(source.get(), back.get(), 1)) << "flip-rgb twice, " << bpp;

        owned same = run("gamma-correct", source.get(), {{"amount", "1"}});
        EXPECT_TRUE(bitmap_compare(source.get(), same.get(), 1)) << "gamma 1, " << bpp;
        owned kept = run("dim-or-flash", source.get(), {{"percentage", "0"}});
        EXPECT_TRUE(bitmap_compare(source.get(), kept.get(), 1)) << "dim 0, " << bpp;
    }
}

TEST_F(EffectTone, GammaAndFlashMoveLevelsTheWayTheySay) {
    owned grey = flat(4, 4, 24, 64, 128, 192);
    owned lighter = run("gamma-correct", grey.get(), {{"amount", "2"}});
    EXPECT_EQ(lighter->bits[1], 181); // 255 * sqrt(128 / 255)
    owned black = run("dim-or-flash", grey.get(), {{"percentage", "-100"}});
    owned white = run("dim-or-flash", grey.get(), {{"percentage", "100"}});
    owned half = run("dim-or-flash", grey.get(), {{"percentage", "-50"}});
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(black->bits[c], 0);
        EXPECT_EQ(white->bits[c], 255);
        EXPECT_EQ(half->bits[c], grey->bits[c] / 2);
    }
    // The random flash draws within its range: a range of one value is that value.
    owned fixed =
        run("random-flash", grey.get(), {{"min_percentage", "-50"}, {"max_percentage", "-50"}});
    EXPECT_TRUE(bitmap_compare(fixed.get(), half.get(), 1));
}

TEST_F(EffectTone, GreyscaleGivesEqualChannelsAndGreysTheColormap) {
    for (int bpp : {24, 32}) {
        owned source = photo(64, 48, bpp);
        owned grey = run("greyscale", source.get());
        for (std::size_t i = 0; i < bitmap_bytesize(grey.get()); i += bpp / 8) {
            ASSERT_EQ(grey->bits[i], grey->bits[i + 1]);
            ASSERT_EQ(grey->bits[i], grey->bits[i + 2]);
        }
        // Equal weights give the plain mean.
        owned level = flat(2, 2, bpp, 30, 60, 90);
        owned mean = run("greyscale", level.get(), {{"grey", "r:1 g:1 b:1"}});
        EXPECT_EQ(mean->bits[0], 60);
    }
    owned indexed(bitmap_upgrade(photo(32, 24, 24).get(), 8));
    ASSERT_NE(indexed->cmap, nullptr);
    owned grey = run("greyscale", indexed.get());
    ASSERT_EQ(grey->bpp, 8);
    ASSERT_NE(grey->cmap, nullptr);
    EXPECT_EQ(std::memcmp(grey->bits, indexed->bits, bitmap_bytesize(grey.get())), 0);
    for (int i = 0; i < grey->cmap->size; ++i) {
        EXPECT_EQ(grey->cmap->entry[i].r, grey->cmap->entry[i].g);
        EXPECT_EQ(grey->cmap->entry[i].r, grey->cmap->entry[i].b);
    }
}

TEST_F(EffectTone, EdgeDetectorsFindNothingOnAFlatPictureAndSomethingOnAStep) {
    for (const char *type : {"0", "1", "2"})
        for (const char *color : {"true", "false"})
            for (int bpp : {8, 24, 32}) {
                SCOPED_TRACE(testing::Message()
                             << "type " << type << " color " << color << " " << bpp << " bpp");
                owned level = flat(9, 7, 24, 120, 80, 200);
                if (bpp != 24)
                    level.reset(bitmap_upgrade(level.get(), bpp));
                owned edges = run("edge-detect", level.get(),
                                  {{"type", type}, {"color", color}, {"merge", "0"}});
                ASSERT_NE(edges, nullptr);
                ASSERT_EQ(edges->bpp, bpp);
                const int channels = bpp == 8 ? 1 : bpp / 8;
                for (std::size_t i = 0; i < bitmap_bytesize(edges.get()); ++i) {
                    if (channels != 4 || i % 4 != 3) {
                        ASSERT_EQ(edges->bits[i], 0) << "byte " << i;
                    }
                }

                // A black-to-white step reads as an edge along it and nowhere else.
                owned step = flat(12, 6, 24, 0, 0, 0);
                for (int y = 0; y < 6; ++y)
                    for (int x = 6; x < 12; ++x)
                        fxtest::put_rgb(step.get(), x, y, 255, 255, 255);
                if (bpp != 24)
                    step.reset(bitmap_upgrade(step.get(), bpp));
                owned found =
                    run("edge-detect", step.get(), {{"type", type}, {"color", color}, {"sd", "0"}});
                auto level_at = [&](int x) {
                    const std::uint8_t *p = bitmap_boffset(found.get(), x, 3);
                    return bpp == 8 ? colormap_get_color(found->cmap, p[0]).r : p[0];
                };
                EXPECT_GT(std::max(level_at(5), level_at(6)), 200);
                EXPECT_EQ(level_at(1), 0);
                EXPECT_EQ(level_at(10), 0);
            }
}

TEST_F(EffectTone, EqualizeSpreadsANarrowHistogram) {
    owned narrow(bitmap_alloc2(64, 32, 24));
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 64; ++x) {
            const int v = 100 + (x + y) % 21;
            fxtest::put_rgb(narrow.get(), x, y, v, v, v);
        }
    owned spread = run("equalize", narrow.get());
    int low = 255, high = 0;
    for (std::size_t i = 0; i < bitmap_bytesize(spread.get()); ++i) {
        low = std::min<int>(low, spread->bits[i]);
        high = std::max<int>(high, spread->bits[i]);
    }
    EXPECT_EQ(low, 0);
    EXPECT_EQ(high, 255);
    // The order of levels is kept.
    EXPECT_LT(bitmap_boffset(spread.get(), 0, 0)[0], bitmap_boffset(spread.get(), 10, 0)[0]);
    // One level has nothing to spread.
    owned level = flat(5, 5, 24, 90, 90, 90);
    owned same = run("equalize", level.get());
    EXPECT_TRUE(bitmap_compare(level.get(), same.get(), 1));
}

TEST_F(EffectTone, PositiveOfTheNegativeIsCloseToTheOriginal) {
    // Black and white rows give the film its full range.
    owned source = photo(96, 64, 24);
    for (int x = 0; x < 96; ++x)
        for (int y = 0; y < 3; ++y) {
            fxtest::put_rgb(source.get(), x, y, 0, 0, 0);
            fxtest::put_rgb(source.get(), x, 63 - y, 255, 255, 255);
        }
    owned negative = run("photo.negative", source.get());
    // Not a plain inversion: the orange base tints the clear film.
    owned inverted = run("invert", source.get());
    EXPECT_GT(bitmap_diff(negative.get(), inverted.get()), 20.0);
    const std::vector<double> tint = channel_means(negative.get());
    EXPECT_GT(tint[0], tint[1]);
    EXPECT_GT(tint[1], tint[2]);
    owned positive = run("photo.positive", negative.get());
    EXPECT_LT(bitmap_diff(source.get(), positive.get()), 3.0);
}

TEST_F(EffectTone, EmbossOwnsTheBumpMapItMakes) {
    bitmapfx_driver *emboss = bitmapfx_find_driver("emboss");
    fxtest::parameter_snapshot keep(emboss);
    owned source = photo(40, 30, 24);
    for (const char *generate : {"false", "true"}) {
        SCOPED_TRACE(generate);
        ASSERT_TRUE(bitmapfx_shout("emboss", "bump_generate", generate));
        // Through init and deinit by hand: the map is held, then freed
        // (a leak shows under the address sanitizer).
        bitmapfx_talk(emboss, "source_bitmap", source.get());
        bitmapfx_call(emboss, "init");
        const auto *made =
            static_cast<const bitmap *>(bitmapfx_talk(emboss, "bump_bitmap", nullptr));
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(made->xsize, source->xsize);
        EXPECT_EQ(made->ysize, source->ysize);
        bitmapfx_call(emboss, "deinit");
        EXPECT_EQ(bitmapfx_talk(emboss, "bump_bitmap", nullptr), nullptr);
        put_parameter(emboss, "source_bitmap", nullptr);

        // A whole run leaves the parameter empty again.
        owned result = run("emboss", source.get());
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(bitmapfx_talk(emboss, "bump_bitmap", nullptr), nullptr);
    }
    // A caller's bump map is used, tiled, and left alone; a flat one gives
    // no relief at all.
    owned bump = flat(7, 5, 24, 50, 50, 50);
    owned before(bitmap_dup(bump.get()));
    bitmapfx_talk(emboss, "bump_bitmap", bump.get());
    owned plain = run("emboss", source.get());
    EXPECT_EQ(bitmapfx_talk(emboss, "bump_bitmap", nullptr), bump.get());
    EXPECT_TRUE(bitmap_compare(bump.get(), before.get(), 1));
    EXPECT_TRUE(bitmap_compare(plain.get(), source.get(), 1));
    put_parameter(emboss, "bump_bitmap", nullptr);
}

// Settings far outside what makes sense, together, on pictures one pixel
// wide or high (the contract suite sets every number alone to its extremes):
// a picture and at most a warning, never a crash, hang or huge allocation.
struct degenerate_case {
    const char *name;
    std::vector<setting> settings;
};

const degenerate_case degenerate[] = {
    {"blur.simple", {{"div", "-7"}}},
    {"greyscale", {{"grey", "r:0 g:0 b:0"}}},
    {"blur.random", {{"kernel_min", "2000000000"}, {"kernel_max", "-2000000000"}}},
    {"motion-blur.linear", {{"shift", "1e300"}, {"angle", "1e300"}}},
    {"motion-blur.linear", {{"shift", "-40"}, {"angle", "-1e-300"}}},
    {"motion-blur.radial", {{"shift", "1e300"}, {"angle", "-1e300"}}},
    {"motion-blur.zoom", {{"shift", "-1e300"}, {"angle", "90"}}},
    {"emboss", {{"elevation", "-90"}, {"width45", "0"}, {"azimuth", "1e300"}}},
    {"emboss", {{"bump_generate", "true"}, {"elevation", "1e300"}, {"width45", "-1"}}},
    {"edge-detect",
     {{"type", "9"}, {"pa", "-1"}, {"pc1", "100"}, {"pc2", "-100"}, {"sd", "1e300"}}},
    {"edge-detect", {{"merge", "1e300"}, {"sd", "-1"}, {"color", "false"}}},
    {"random-flash", {{"min_percentage", "1e300"}, {"max_percentage", "-1e300"}}},
};

TEST_F(EffectTone, DegenerateSettingsAndShapesGiveAPicture) {
    message_capture capture;
    for (const degenerate_case &c : degenerate)
        for (auto [width, height] : {std::pair{1, 1}, std::pair{1, 9}, std::pair{9, 1}}) {
            SCOPED_TRACE(testing::Message() << c.name << " " << c.settings[0].key << "="
                                            << c.settings[0].text << " " << width << "x" << height);
            owned source = photo(width, height, 32);
            owned result = run(c.name, source.get(), c.settings);
            ASSERT_NE(result, nullptr);
            EXPECT_EQ(result->xsize, source->xsize);
            EXPECT_EQ(result->ysize, source->ysize);
        }
    EXPECT_TRUE(capture.errors.empty());
    EXPECT_TRUE(capture.warned("out of range"));
    EXPECT_TRUE(capture.warned("unusable"));
    EXPECT_TRUE(capture.warned("must be positive"));
    // Any one edge setting out of range is said.
    owned small = photo(4, 3, 24);
    for (const char *key : {"pa", "pc1", "pc2", "sd", "merge"}) {
        message_capture alone;
        run("edge-detect", small.get(), {{key, "-1"}});
        EXPECT_TRUE(alone.warned("edge settings out of range")) << key;
    }
}

} // namespace
