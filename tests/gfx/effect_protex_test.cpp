// The procedural textures ("protex.*"): what holds for the whole family.
// Sizes, depths, an untouched source, alpha and each texture's bytes come
// from the contract suite and its golden checksums; here: a texture without
// source weight ignores the source, degenerate parameters finish, a zero
// scale gives one colour and the colour ramp blends.
#include "bitmapfx_test_util.h"

#include "support/capture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using fxtest::owned;

namespace {

// Every registered texture.
std::vector<const char *> textures() {
    std::vector<const char *> names;
    for (bitmapfx_driver *const *d = bitmapfx_builtin_drivers; *d; ++d)
        if (std::strncmp((*d)->name, "protex.", 7) == 0)
            names.push_back((*d)->name);
    return names;
}

bool has_parameter(bitmapfx_driver *driver, const char *key) {
    for (const bitmapfx_parameter *p = driver->param_list; p->key; ++p)
        if (std::strcmp(p->key, key) == 0)
            return true;
    return false;
}

void set_grey(bitmapfx_driver *driver, const char *key, double value) {
    const rgbscalar grey = {value, value, value};
    bitmapfx_talk(driver, key, &grey);
}

class ProtexFamily : public testing::TestWithParam<const char *> {
  protected:
    static void SetUpTestSuite() { fxtest::register_library_effects(); }
    void SetUp() override {
        driver_ = bitmapfx_find_driver(GetParam());
        ASSERT_NE(driver_, nullptr);
    }
    owned run(const bitmap *source) { return owned(bitmapfx_simple(driver_, source)); }

    bitmapfx_driver *driver_ = nullptr;
    fxtest::quiet_progress quiet_;
    message_capture capture_;
};

TEST_P(ProtexFamily, WithoutSourceWeightTheSourceLeavesNoTrace) {
    fxtest::parameter_snapshot keep(driver_);
    if (has_parameter(driver_, "sblend"))
        set_grey(driver_, "sblend", 0.0);
    if (has_parameter(driver_, "tblend"))
        set_grey(driver_, "tblend", 1.0);
    owned photo(fxtest::photo_like(64, 48));
    owned clouds(fxtest::plasma_picture(64, 48));
    ASSERT_FALSE(bitmap_compare(photo.get(), clouds.get(), 1));
    owned over_photo = run(photo.get()), over_clouds = run(clouds.get());
    ASSERT_NE(over_photo, nullptr);
    EXPECT_TRUE(bitmap_compare(over_photo.get(), over_clouds.get(), 1));
}

INSTANTIATE_TEST_SUITE_P(Textures, ProtexFamily, testing::ValuesIn(textures()),
                         [](const auto &info) { return fxtest::test_name(info.param + 7); });

// Parameters far outside their ranges: each run finishes with a picture of
// the source's size, and what was capped or cut short is said (the contract
// suite runs every number at its extremes).
struct degenerate {
    const char *driver;
    const char *key;
    std::uint32_t type;
    double value;
    const char *said; // a verbose line's part, or null
};

const degenerate degenerates[] = {
    {"protex.fbm", "octaves", DTYPE_INT, 1000, "1000 octaves capped to 24"},
    {"protex.hetero-terrain", "lacunarity", DTYPE_DOUBLE, 0, "octaves stop at"},
    {"protex.hybrid-multi-fractal", "increment", DTYPE_DOUBLE, -1e6, "octaves stop at"},
    {"protex.multi-fractal", "lacunarity", DTYPE_DOUBLE, -2, "octaves stop at"},
    {"protex.marble", "turbulence_iter", DTYPE_INT, 1000, "capped to 24"},
    {"protex.planet", "csize", DTYPE_DOUBLE, 1e-300, "octaves stop at"},
    {"protex.horizontal-wood", "board", DTYPE_DOUBLE, 1e-9, nullptr},
};

TEST(ProtexDegenerate, ExtremeParametersFinishAndSaySo) {
    fxtest::register_library_effects();
    fxtest::quiet_progress quiet;
    for (const degenerate &d : degenerates) {
        SCOPED_TRACE(std::string(d.driver) + " " + d.key + " " + std::to_string(d.value));
        bitmapfx_driver *driver = bitmapfx_find_driver(d.driver);
        ASSERT_NE(driver, nullptr);
        fxtest::parameter_snapshot keep(driver);
        if (d.type == DTYPE_INT) {
            const std::int32_t v = static_cast<std::int32_t>(d.value);
            bitmapfx_talk(driver, d.key, &v);
        } else {
            bitmapfx_talk(driver, d.key, &d.value);
        }
        for (int side : {1, 37}) {
            message_capture capture;
            owned source(fxtest::photo_like(side, side * 2 / 3 + 1));
            owned target(bitmapfx_simple(driver, source.get()));
            ASSERT_NE(target, nullptr);
            EXPECT_EQ(target->xsize, source->xsize);
            EXPECT_EQ(target->ysize, source->ysize);
            if (d.said) {
                EXPECT_TRUE(capture.said(d.said));
            }
        }
    }
}

TEST(ProtexDegenerate, ZeroScaleGivesOneColour) {
    fxtest::register_library_effects();
    fxtest::quiet_progress quiet;
    for (const char *name : {"protex.marble", "protex.planet", "protex.fbm", "protex.zebra"}) {
        bitmapfx_driver *driver = bitmapfx_find_driver(name);
        fxtest::parameter_snapshot keep(driver);
        const double zero = 0.0;
        bitmapfx_talk(driver, "vscale", &zero);
        set_grey(driver, "tblend", 1.0);
        if (has_parameter(driver, "sblend"))
            set_grey(driver, "sblend", 0.0);
        owned source(fxtest::photo_like(20, 10));
        owned target(bitmapfx_simple(driver, source.get()));
        for (std::size_t i = 3; i < bitmap_bytesize(target.get()); ++i)
            ASSERT_EQ(target->bits[i], target->bits[i % 3]) << name << " at byte " << i;
    }
}

// The colour ramp blends neighbouring entries: with entries alternately
// black and white, most of the picture is a grey between them.
TEST(ProtexMultiColor, NeighbouringRampEntriesAreBlended) {
    fxtest::register_library_effects();
    fxtest::quiet_progress quiet;
    bitmapfx_driver *multi = bitmapfx_find_driver("protex.multi-color");
    fxtest::parameter_snapshot keep(multi);
    for (int i = 0; i < 11; ++i)
        set_grey(multi, ("arg" + std::to_string(i)).c_str(), i % 2);
    owned source(fxtest::photo_like(64, 48));
    owned target(bitmapfx_simple(multi, source.get()));
    ASSERT_NE(target, nullptr);
    std::size_t greys = 0;
    for (std::size_t i = 0; i < bitmap_bytesize(target.get()); ++i)
        greys += target->bits[i] > 10 && target->bits[i] < 245;
    EXPECT_GT(greys, bitmap_bytesize(target.get()) / 2);
}

} // namespace
