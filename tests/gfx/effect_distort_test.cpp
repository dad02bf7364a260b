// The distortions and their companions ("wave", "whirl", "polar",
// "illusion", "diffraction", "filter", "remap", "snr", "show-palette",
// "anaglyph", "null"): the properties a real fault would break.  Inverse
// settings give the identity, polar comes back from its inverse, kernel
// files are read or refused with the file and line, the measures of "snr"
// have their known values, "remap" and "show-palette" draw only colormap
// entries, and extreme settings are tamed with a warning.
#include "bitmapfx_test_util.h"
#include "image_test_support.h"

#include "core/memio/memio.h"
#include "file/config.h"
#include "file/config_test_setup.h"
#include "gfx/2d/bitmap/bitinfo.h"
#include "gfx/2d/bitmap/colormap.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

using fxtest::owned;

namespace {

const std::string fixtures = std::string(LUMIVANE_TEST_DATA) + "/filter/";
const std::string shipped = std::string(LUMIVANE_SOURCE_DIR) + "/data/filters/";

class Distort : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        fxtest::register_library_effects();
        image_streams_ready();
    }
    static bitmapfx_driver *driver(const char *name) {
        bitmapfx_driver *found = bitmapfx_find_driver(name);
        EXPECT_NE(found, nullptr) << name;
        return found;
    }
    static void set(const char *driver_name, const char *key, const char *text) {
        ASSERT_EQ(bitmapfx_shout(driver_name, key, text), 1) << driver_name << " " << key;
    }
    static owned run(const char *name, const bitmap *source) {
        return owned(bitmapfx_simple(driver(name), source));
    }

    // Every test runs in a scratch folder with a configuration of its own,
    // which points "$path.filters$" at the shipped kernels.
    void SetUp() override {
        write_file("filters.ini", "<configuration file for filters.ini, 1 header(s)>\n\n"
                                  "[paths] (1 entry)\n\n$path.filters$ = \"" +
                                      shipped + "\"\n\n<eof>\n");
        ASSERT_EQ(config_load("filters.ini"), 1);
        // Opening the configuration itself warns that it was not loaded yet.
        capture.warnings.clear();
    }

    scratch_directory scratch;
    config_session session;
    fxtest::quiet_progress quiet;
    message_capture capture;
};

// Holds a reference parameter (a picture or colormap) for a scope and
// empties it afterwards, so that no later run reads what the test freed.
class held_reference {
  public:
    held_reference(bitmapfx_driver *driver, const char *key, const void *value)
        : driver_(driver), key_(key) {
        EXPECT_EQ(put_parameter(driver, key, value), 1) << key;
    }
    ~held_reference() { put_parameter(driver_, key_, nullptr); }
    held_reference(const held_reference &) = delete;
    held_reference &operator=(const held_reference &) = delete;

  private:
    bitmapfx_driver *driver_;
    const char *key_;
};

owned picture(int width, int height, int bpp = 24) {
    return owned(fxtest::photo_like(width, height, bpp));
}

// ---------------------------------------------------------------------------
// Settings that leave the picture exactly as it was.

struct identity_case {
    const char *label;
    const char *driver;
    std::vector<std::pair<const char *, const char *>> settings;
};

const identity_case identities[] = {
    {"whirl of angle 0", "whirl", {{"angle", "0"}}},
    {"wave of amplitude 0", "wave", {{"amplitude", "0"}, {"smear", "false"}}},
    {"reflective wave of amplitude 0", "wave", {{"amplitude", "0"}, {"reflective", "true"}}},
    {"illusion of scale 0", "illusion", {{"scale", "0"}}},
    {"built-in identity kernel",
     "filter",
     {{"file", ""}, {"name", "identity"}, {"iterations", "3"}}},
    {"identity kernel file", "filter", {{"file", "identity.filter"}}},
    {"null", "null", {}},
};

class Identity : public Distort, public testing::WithParamInterface<identity_case> {};

TEST_P(Identity, LeavesEveryPictureAsItWas) {
    const identity_case &c = GetParam();
    bitmapfx_driver *d = driver(c.driver);
    fxtest::parameter_snapshot keep(d);
    std::filesystem::copy_file(fixtures + "identity.filter", "identity.filter",
                               std::filesystem::copy_options::overwrite_existing);
    for (const auto &[key, value] : c.settings)
        set(c.driver, key, value);
    for (int bpp : {24, 32})
        for (auto [w, h] : {std::pair{64, 48}, std::pair{1, 1}, std::pair{1, 9}, std::pair{9, 1}}) {
            SCOPED_TRACE(testing::Message() << bpp << " bpp " << w << "x" << h);
            owned source = picture(w, h, bpp);
            owned target = run(c.driver, source.get());
            ASSERT_NE(target, nullptr);
            EXPECT_TRUE(bitmap_compare(source.get(), target.get(), 1));
        }
    EXPECT_TRUE(capture.warnings.empty());
}

INSTANTIATE_TEST_SUITE_P(Settings, Identity, testing::ValuesIn(identities),
                         [](const auto &info) { return fxtest::test_name(info.param.label); });

// ---------------------------------------------------------------------------
// "polar" and its inverse.

struct polar_case {
    const char *circle, *backward, *angle;
};

class PolarRoundTrip : public Distort, public testing::WithParamInterface<polar_case> {};

TEST_P(PolarRoundTrip, InverseGivesThePictureBack) {
    const polar_case &c = GetParam();
    fxtest::parameter_snapshot keep(driver("polar"));
    set("polar", "circle", c.circle);
    set("polar", "backward", c.backward);
    set("polar", "angle", c.angle);
    owned source(fxtest::plasma_picture(160, 100));
    set("polar", "inverse", "false");
    owned disc = run("polar", source.get());
    ASSERT_NE(disc, nullptr);
    // The disc itself is far from the picture...
    EXPECT_GT(bitmap_diff(source.get(), disc.get()), 20.0);
    set("polar", "inverse", "true");
    owned back = run("polar", disc.get());
    ASSERT_NE(back, nullptr);
    // ...and comes back close, softened by two resamplings.
    EXPECT_LT(bitmap_diff(source.get(), back.get()), 4.5);
    // Unrolling it the other way round does not give the picture back.
    set("polar", "backward", std::strcmp(c.backward, "true") == 0 ? "false" : "true");
    owned wrong = run("polar", disc.get());
    EXPECT_GT(bitmap_diff(source.get(), wrong.get()), 20.0);
}

INSTANTIATE_TEST_SUITE_P(Settings, PolarRoundTrip,
                         testing::Values(polar_case{"false", "false", "90"},
                                         polar_case{"true", "true", "-30.5"},
                                         polar_case{"false", "true", "720"}));

// ---------------------------------------------------------------------------
// Kernel files for "filter".

struct bad_kernel {
    const char *file;
    int line;
    const char *reason;
};

const bad_kernel bad_kernels[] = {
    {"no-size.filter", 2, "weights before the size"},
    {"even-size.filter", 1, "size must be an odd whole number from 1 to 15"},
    {"nan-size.filter", 1, "value is not a number"},
    {"short-row.filter", 3, "fewer weights in the row than the size"},
    {"long-row.filter", 3, "more weights in the row than the size"},
    {"missing-row.filter", 4, "fewer weight rows than the size"},
    {"extra-row.filter", 3, "more weight rows than the size"},
    {"zero-divisor.filter", 2, "divisor must not be 0"},
    {"not-a-number.filter", 3, "weight is not a number"},
    {"huge-weight.filter", 2, "weight is not a number (or beyond 1000000)"},
    {"unknown-setting.filter", 2, "unknown setting"},
    {"size-twice.filter", 2, "setting given twice"},
    {"long-name.filter", 1, "name must have 1 to 63 characters"},
    {"late-setting.filter", 3, "settings must come before the weights"},
    {"empty.filter", 3, "no size given"},
    {"long-line.filter", 1, "line is longer than 1024 characters"},
};

class BadKernel : public Distort, public testing::WithParamInterface<bad_kernel> {};

TEST_P(BadKernel, IsRefusedNamingFileAndLine) {
    const bad_kernel &c = GetParam();
    bitmapfx_driver *filter = driver("filter");
    fxtest::parameter_snapshot keep(filter);
    // A good kernel first; the refused file must leave it in use.
    const std::string identity = fixtures + "identity.filter";
    set("filter", "file", identity.c_str());
    bitmapfx_call(filter, "load");
    ASSERT_TRUE(capture.warnings.empty()) << capture.warnings[0].text;

    const std::string path = fixtures + c.file;
    set("filter", "file", path.c_str());
    bitmapfx_call(filter, "load");
    const std::string expected =
        "filter file '" + path + "' line " + std::to_string(c.line) + ": " + c.reason;
    ASSERT_EQ(capture.warnings.size(), 1u);
    EXPECT_EQ(capture.warnings[0].text.rfind(expected, 0), 0u) << capture.warnings[0].text;
    EXPECT_STREQ(static_cast<const char *>(bitmapfx_talk(filter, "name", nullptr)), "identity");

    // "fx" with the bad file falls back (with the same complaint) and runs.
    set("filter", "name", "identity");
    owned source = picture(16, 12);
    owned target = run("filter", source.get());
    ASSERT_NE(target, nullptr);
    EXPECT_TRUE(bitmap_compare(source.get(), target.get(), 1));
    EXPECT_GE(capture.warnings.size(), 2u);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, BadKernel, testing::ValuesIn(bad_kernels),
                         [](const auto &info) { return fxtest::test_name(info.param.file); });

TEST_F(Distort, MissingKernelFileIsNamed) {
    fxtest::parameter_snapshot keep(driver("filter"));
    set("filter", "file", "no-such.filter");
    bitmapfx_call(driver("filter"), "load");
    EXPECT_TRUE(capture.warned("failed to open filter file 'no-such.filter'"));
    set("filter", "file", "");
    bitmapfx_call(driver("filter"), "load");
    EXPECT_TRUE(capture.warned("no filter file given to load"));
    bitmapfx_call(driver("filter"), "save");
    EXPECT_TRUE(capture.warned("no filter file given to save the kernel to"));
}

TEST_F(Distort, ShippedKernelsLoadThroughTheAlias) {
    bitmapfx_driver *filter = driver("filter");
    fxtest::parameter_snapshot keep(filter);
    owned source = picture(32, 24);
    std::set<std::string> names;
    int files = 0;
    for (const auto &entry : std::filesystem::directory_iterator(shipped)) {
        const std::string file = "$path.filters$/" + entry.path().filename().string();
        SCOPED_TRACE(file);
        set("filter", "file", file.c_str());
        bitmapfx_call(filter, "load");
        names.insert(static_cast<const char *>(bitmapfx_talk(filter, "name", nullptr)));
        owned target = run("filter", source.get());
        ASSERT_NE(target, nullptr);
        EXPECT_FALSE(bitmap_compare(source.get(), target.get(), 1));
        ++files;
    }
    EXPECT_TRUE(capture.warnings.empty()) << capture.warnings[0].text;
    EXPECT_GE(files, 4);
    EXPECT_EQ(names.size(), static_cast<std::size_t>(files)) << "kernels share a name";
    EXPECT_TRUE(names.count("unsharp mask"));
}

TEST_F(Distort, SavedKernelLoadsBackToTheSameFilter) {
    bitmapfx_driver *filter = driver("filter");
    fxtest::parameter_snapshot keep(filter);
    owned source = picture(40, 30);
    for (const char *name : {"soften", "emboss", "sharpen"}) {
        SCOPED_TRACE(name);
        set("filter", "file", "");
        set("filter", "name", name);
        owned builtin = run("filter", source.get());
        set("filter", "file", "saved.filter");
        bitmapfx_call(filter, "save");
        set("filter", "name", "something else");
        owned loaded = run("filter", source.get());
        ASSERT_NE(loaded, nullptr);
        EXPECT_TRUE(bitmap_compare(builtin.get(), loaded.get(), 1));
        EXPECT_STREQ(static_cast<const char *>(bitmapfx_talk(filter, "name", nullptr)), name);
    }
    EXPECT_TRUE(capture.warnings.empty());
}

TEST_F(Distort, FilterIterationsRepeatTheKernel) {
    fxtest::parameter_snapshot keep(driver("filter"));
    set("filter", "file", "");
    set("filter", "name", "blur");
    set("filter", "iterations", "1");
    owned source = picture(24, 16);
    owned once = run("filter", source.get());
    owned twice = run("filter", once.get());
    set("filter", "iterations", "2");
    owned both = run("filter", source.get());
    EXPECT_TRUE(bitmap_compare(twice.get(), both.get(), 1));
    EXPECT_FALSE(bitmap_compare(once.get(), both.get(), 1));
}

// ---------------------------------------------------------------------------
// "snr".

double result(const char *key) {
    return *static_cast<double *>(bitmapfx_talk(bitmapfx_find_driver("snr"), key, nullptr));
}

// A picture of two halves, `low` on the left and `high` on the right.
owned halves(int low, int high) {
    owned image(bitmap_alloc2(10, 6, 24));
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 10; ++x) {
            const int v = x < 5 ? low : high;
            fxtest::put_rgb(image.get(), x, y, v, v, v);
        }
    return image;
}

TEST_F(Distort, SnrOfAKnownPair) {
    fxtest::parameter_snapshot keep(driver("snr"));
    for (const char *grey : {"false", "true"}) {
        SCOPED_TRACE(grey);
        set("snr", "grey", grey);
        // Reference 90/110 (variance 100), then the same 10 brighter.
        owned reference = halves(90, 110), brighter = halves(100, 120);
        run("snr", reference.get());
        run("snr", brighter.get());
        EXPECT_NEAR(result("mse"), 100.0, 1e-6);
        EXPECT_NEAR(result("rmse"), 10.0, 1e-6);
        EXPECT_NEAR(result("psnr"), 28.130804, 1e-6); // 10 log10(65025 / 100)
        EXPECT_NEAR(result("snrms"), 122.0, 1e-6);    // (100^2 + 120^2) / 2 / 100
        EXPECT_NEAR(result("snrf"), 0.0, 1e-6);       // variance 100 over noise 100
    }
}

TEST_F(Distort, SnrWithoutReferenceComparesThePictureWithItselfAndShowsResults) {
    fxtest::parameter_snapshot keep(driver("snr"));
    set("snr", "show", "true");
    owned odd = picture(23, 3);
    testing::internal::CaptureStdout();
    run("snr", odd.get());
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(capture.said("no reference picture of 23x3 pixels yet"));
    EXPECT_NE(printed.find("mse = 0.000000, rmse = 0.000000, psnr = inf dB"), std::string::npos)
        << printed;
}

// ---------------------------------------------------------------------------
// "remap" and "show-palette".

struct colormap_owner {
    void operator()(colormap *map) const { colormap_kill(map); }
};
using owned_map = std::unique_ptr<colormap, colormap_owner>;

owned_map five_colours() {
    owned_map map(colormap_alloc(5));
    const colormap_entry entries[] = {
        {0, 0, 0}, {255, 255, 255}, {200, 40, 40}, {40, 160, 60}, {50, 70, 200}};
    std::copy(std::begin(entries), std::end(entries), map->entry);
    return map;
}

int squared_distance(const colormap_entry &e, const std::uint8_t *p) {
    return (e.r - p[0]) * (e.r - p[0]) + (e.g - p[1]) * (e.g - p[1]) + (e.b - p[2]) * (e.b - p[2]);
}

TEST_F(Distort, RemapUsesOnlyTheColormapsNearestEntries) {
    bitmapfx_driver *remap = driver("remap");
    fxtest::parameter_snapshot keep(remap);
    owned_map map = five_colours();
    held_reference hold(remap, "colormap", map.get());
    for (const char *hsl : {"false", "true"}) {
        SCOPED_TRACE(hsl);
        set("remap", "use_hsl", hsl);
        owned source = picture(48, 32);
        owned target = run("remap", source.get());
        ASSERT_NE(target, nullptr);
        ASSERT_EQ(target->bpp, 8);
        ASSERT_NE(target->cmap, nullptr);
        ASSERT_EQ(target->cmap->size, 5);
        std::set<int> used;
        for (std::uint32_t y = 0; y < target->ysize; ++y)
            for (std::uint32_t x = 0; x < target->xsize; ++x) {
                const int index = *bitmap_boffset(target.get(), x, y);
                ASSERT_LT(index, 5);
                used.insert(index);
                if (std::strcmp(hsl, "false") == 0) {
                    const std::uint8_t *p = bitmap_boffset(source.get(), x, y);
                    for (int i = 0; i < 5; ++i)
                        ASSERT_LE(squared_distance(map->entry[index], p),
                                  squared_distance(map->entry[i], p));
                }
            }
        EXPECT_GE(used.size(), 3u);
    }
}

TEST_F(Distort, RemapByHueKeepsAHueThatTheRgbDistanceLoses) {
    bitmapfx_driver *remap = driver("remap");
    fxtest::parameter_snapshot keep(remap);
    owned_map map(colormap_alloc(2));
    map->entry[0] = {60, 60, 60}; // grey
    map->entry[1] = {255, 0, 0};  // red
    held_reference hold(remap, "colormap", map.get());
    // Nearer grey by RGB distance (10800 against 18225), but a red.
    owned dull_red(bitmap_alloc2(1, 1, 24));
    fxtest::put_rgb(dull_red.get(), 0, 0, 120, 0, 0);
    set("remap", "use_hsl", "false");
    EXPECT_EQ(*run("remap", dull_red.get())->bits, 0);
    set("remap", "use_hsl", "true");
    EXPECT_EQ(*run("remap", dull_red.get())->bits, 1);
}

// Without a colormap the built-in palette serves (its bytes: the contract
// suite's golden checksums); an empty one is refused the same way.
TEST_F(Distort, RemapRefusesAnEmptyColormap) {
    owned_map empty(colormap_alloc(0));
    held_reference hold(driver("remap"), "colormap", empty.get());
    owned target = run("remap", picture(20, 10).get());
    ASSERT_NE(target, nullptr);
    EXPECT_EQ(target->cmap->size, 256);
    EXPECT_TRUE(capture.warned("colormap of 0 entries cannot be used"));
}

TEST_F(Distort, RemapOfAPaletteToItselfKeepsTheIndices) {
    bitmapfx_driver *remap = driver("remap");
    owned source(bitmap_alloc2(5, 2, 8));
    source->cmap = five_colours().release();
    for (int i = 0; i < 10; ++i)
        source->bits[i] = static_cast<std::uint8_t>(i % 5);
    held_reference hold(remap, "colormap", source->cmap);
    owned target = run("remap", source.get());
    ASSERT_NE(target, nullptr);
    EXPECT_TRUE(bitmap_compare(source.get(), target.get(), 1));
}

TEST_F(Distort, ShowPaletteDrawsEveryEntryAndNothingElse) {
    for (int entries : {5, 256}) {
        SCOPED_TRACE(entries);
        owned source(bitmap_alloc2(64, 48, 8));
        source->cmap = colormap_alloc(entries);
        for (int i = 0; i < entries; ++i)
            source->cmap->entry[i] = {i, 255 - i, (i * 7) % 256};
        owned target = run("show-palette", source.get());
        ASSERT_NE(target, nullptr);
        ASSERT_EQ(target->bpp, 8);
        std::set<int> seen(target->bits, target->bits + bitmap_bytesize(target.get()));
        EXPECT_EQ(seen.size(), static_cast<std::size_t>(entries));
        EXPECT_LT(*seen.rbegin(), entries);
        // Index order runs left to right along the top row of swatches.
        EXPECT_LT(*bitmap_boffset(target.get(), 1, 1), *bitmap_boffset(target.get(), 62, 1));
    }
    owned empty(bitmap_alloc2(4, 4, 8));
    empty->cmap = colormap_alloc(0);
    ASSERT_NE(run("show-palette", empty.get()), nullptr);
    EXPECT_TRUE(capture.warned("has an empty colormap"));
}

// ---------------------------------------------------------------------------
// "anaglyph".

owned flat(int width, int height, int r, int g, int b, int bpp = 24) {
    owned image(bitmap_alloc2(width, height, 24));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            fxtest::put_rgb(image.get(), x, y, r, g, b);
    return bpp == 24 ? std::move(image) : owned(bitmap_upgrade(image.get(), bpp));
}

TEST_F(Distort, AnaglyphTakesRedFromTheLeftAndCyanFromTheRight) {
    bitmapfx_driver *anaglyph = driver("anaglyph");
    owned source = picture(30, 20);
    owned left = flat(30, 20, 200, 10, 20);
    owned right = flat(7, 5, 30, 140, 250, 16); // another size and depth
    held_reference hold_left(anaglyph, "left_bitmap", left.get());
    held_reference hold_right(anaglyph, "right_bitmap", right.get());
    owned target = run("anaglyph", source.get());
    ASSERT_NE(target, nullptr);
    const std::uint8_t *p = bitmap_boffset(target.get(), 12, 9);
    EXPECT_EQ(p[0], 200);
    EXPECT_NEAR(p[1], 140, 4); // through 16 bpp
    EXPECT_NEAR(p[2], 250, 4);
}

// A flat picture through each built-in kernel: the sum of the weights over
// the divisor, plus the bias, at every pixel (-1: the picture as it was).  A
// photograph through them gives the golden run's bytes.
TEST_F(Distort, BuiltInKernels) {
    fxtest::parameter_snapshot keep(driver("filter"));
    set("filter", "file", "");
    owned source = flat(9, 7, 200, 100, 50), photo = picture(16, 12);
    std::string bytes;
    for (auto [name, level] : {std::pair{"sharpen", -1},
                               {"blur", -1},
                               {"soften", -1},
                               {"identity", -1},
                               {"edge", 0},
                               {"emboss", 128}}) {
        SCOPED_TRACE(name);
        set("filter", "name", name);
        owned target = run("filter", source.get());
        ASSERT_NE(target, nullptr);
        for (std::size_t i = 0; i < bitmap_bytesize(target.get()); ++i)
            ASSERT_EQ(target->bits[i], level < 0 ? source->bits[i] : level) << "byte " << i;
        owned filtered = run("filter", photo.get());
        bytes.append(reinterpret_cast<const char *>(filtered->bits), bitmap_bytesize(photo.get()));
    }
    const fxtest::golden_file sums(std::string(LUMIVANE_TEST_DATA) + "/golden/effects.txt",
                                   "CRC-32 of effects' pictures, by driver or test");
    EXPECT_EQ(sums.expected("filter/built-in-kernels", fxtest::crc_text(bytes)),
              fxtest::crc_text(bytes));
}

// ---------------------------------------------------------------------------
// Extreme and senseless settings: a warning, a picture, no hang.

struct extreme_case {
    const char *driver, *key, *value;
    const char *warning;
};

const extreme_case extremes[] = {
    {"wave", "wavelen", "0", "wave length 0.000000 is too short"},
    {"wave", "amplitude", "nan", "is not a number"},
    {"whirl", "angle", "inf", "is not a number of degrees"},
    {"illusion", "divide", "0", "divide 0 is no part of a turn"},
    {"illusion", "scale", "-3", "scale -3.000000 is out of range"},
    {"diffraction", "lam_g", "0", "lam_g 0.000000 is out of range"},
    {"diffraction", "polarization", "7", "polarization 7.000000 is out of range"},
    {"diffraction", "edges_b", "-1", "edges_b -1.000000 is out of range"},
    {"filter", "iterations", "0", "0 iterations are out of range"},
    {"filter", "iterations", "1000000", "1000000 iterations are out of range"},
    {"filter", "name", "no such kernel", "no filter kernel 'no such kernel', using 'sharpen'"},
};

class Extreme : public Distort, public testing::WithParamInterface<extreme_case> {};

TEST_P(Extreme, IsTamed) {
    const extreme_case &c = GetParam();
    fxtest::parameter_snapshot keep(driver(c.driver));
    set(c.driver, c.key, c.value);
    for (auto [w, h] : {std::pair{40, 30}, std::pair{1, 1}, std::pair{1, 7}}) {
        owned source = picture(w, h);
        owned target = run(c.driver, source.get());
        ASSERT_NE(target, nullptr);
        EXPECT_EQ(target->xsize, static_cast<std::uint32_t>(w));
        EXPECT_EQ(target->ysize, static_cast<std::uint32_t>(h));
    }
    EXPECT_TRUE(capture.warned(c.warning)) << c.driver << " " << c.key;
}

INSTANTIATE_TEST_SUITE_P(Settings, Extreme, testing::ValuesIn(extremes));

} // namespace
