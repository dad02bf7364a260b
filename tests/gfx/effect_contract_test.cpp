// The contract every built-in effect keeps, run over the registration list:
// at every depth and on tiny and ordinary pictures the source is left alone,
// the target has the documented size and depth, a seed fixes the bytes (also
// after "rand"), the effect does something, and what "rand" draws can be kept
// in a preset.  The bytes every driver makes are pinned by a checksum in
// tests/data/golden/effects.txt (written instead with LUMIVANE_WRITE_GOLDEN in
// the environment).  Drivers differ from the default expectations only
// through their row in `facts` below.
#include "gfx/bitmapfx_test_util.h"
#include "support/capture.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using fxtest::owned;

struct size2 {
    std::uint32_t x, y;
};

// What sets a driver apart from the default expectations.
struct driver_facts {
    const char *name;
    // The target's size for a source of the given size (null: the same).
    std::function<size2(size2)> size = nullptr;
    // The target's depth when the driver reads the source's depth (0: the same).
    int out_bpp = 0;
    // Parameters a run needs beyond the source (held only for the run).
    std::function<void(bitmapfx_driver *, const bitmap *source)> prepare = nullptr;
    // True when the defaults may leave an ordinary picture as it was.
    bool may_copy = false;
};

// Target sizes at the drivers' default parameters.
size2 swapped(size2 s) {
    return {s.y, s.x};
}
// "border": a frame of 8 pixels.
size2 framed(size2 s) {
    return {s.x + 16, s.y + 16};
}
// "crop": 32 x 20 pixels off each edge, lowered to keep the middle of a small picture.
size2 cropped(size2 s) {
    return {s.x - 2 * std::min(32u, (s.x - 1) / 2), s.y - 2 * std::min(20u, (s.y - 1) / 2)};
}
// "scale": 640 pixels wide, the height keeping the shape.
size2 scaled(size2 s) {
    return {640, static_cast<std::uint32_t>(std::lround(640.0 * s.y / s.x))};
}
// "rotate.arbitrary": the box around the picture turned by 30 degrees (1x1
// gives 2x2, 3x2 gives 4x4).
size2 turned(size2 s) {
    const double c = std::cos(M_PI / 6), n = 0.5;
    return {static_cast<std::uint32_t>(std::ceil(s.x * c + s.y * n)),
            static_cast<std::uint32_t>(std::ceil(s.x * n + s.y * c))};
}
// "rectangle.get": columns 80..239 and rows 50..149, cut to the picture (the
// last pixel of a small one).
size2 rectangle(size2 s) {
    return {std::min(239u, s.x - 1) - std::min(80u, s.x - 1) + 1,
            std::min(149u, s.y - 1) - std::min(50u, s.y - 1) + 1};
}
// "resize": half size, rounded up (3x2 gives 2x1).
size2 halved(size2 s) {
    return {(s.x + 1) / 2, (s.y + 1) / 2};
}

// A flare's light sits where its caller puts it; the contract puts it in the
// middle of the picture, as the raytracer puts it on its brightest pixel.
void light_in_the_middle(bitmapfx_driver *driver, const bitmap *source) {
    const std::int32_t x = static_cast<std::int32_t>(source->xsize / 2),
                       y = static_cast<std::int32_t>(source->ysize / 2);
    bitmapfx_talk(driver, "xpos", &x);
    bitmapfx_talk(driver, "ypos", &y);
}

// Only drivers whose behaviour differs from "same size, same depth, changes
// the picture" have a row.  One row a line, kept so by hand.
// clang-format off
const driver_facts facts[] = {
    {.name = "border", .size = framed},
    {.name = "quant.fast", .out_bpp = 8},
    {.name = "quant.slow", .out_bpp = 8},
    {.name = "crop", .size = cropped},
    {.name = "scale", .size = scaled},
    {.name = "rotate.arbitrary", .size = turned},
    {.name = "rotate.90.cw", .size = swapped},
    {.name = "rotate.90.ccw", .size = swapped},
    {.name = "rectangle.get", .size = rectangle},
    {.name = "resize", .size = halved},
    {.name = "remap", .out_bpp = 8},    // 8 bpp with the colormap it mapped to
    {.name = "snr", .may_copy = true},  // measures; the target is the source
    {.name = "null", .may_copy = true}, // the template driver copies
    {.name = "flare.standard", .prepare = light_in_the_middle},
    {.name = "flare.fast", .prepare = light_in_the_middle},
    // A short simulation keeps the suite quick; the generator tests run the
    // long ones.
    {.name = "reaction-diffusion",
     .prepare =
         [](bitmapfx_driver *driver, const bitmap *) {
             const std::int32_t iterations = 300;
             bitmapfx_talk(driver, "iterations", &iterations);
         }},
};
// clang-format on

const driver_facts &facts_of(const std::string &name) {
    static const driver_facts plain{.name = ""};
    for (const driver_facts &f : facts)
        if (name == f.name)
            return f;
    return plain;
}

std::vector<std::string> builtin_names() {
    std::vector<std::string> names;
    for (bitmapfx_driver *const *d = bitmapfx_builtin_drivers; *d; ++d)
        names.push_back((*d)->name);
    return names;
}

// The test picture at a depth (8 bpp through the quantiser, with a colormap).
owned picture(std::uint32_t width, std::uint32_t height, int bpp) {
    owned rgb(fxtest::photo_like(static_cast<int>(width), static_cast<int>(height)));
    owned deep(bpp == 24 ? bitmap_dup(rgb.get()) : bitmap_upgrade(rgb.get(), bpp));
    // Alpha bytes that vary, so that the checksums show what becomes of them.
    for (std::size_t i = 3; bpp == 32 && i < bitmap_bytesize(deep.get()); i += 4)
        deep->bits[i] = static_cast<std::uint8_t>(i * 7);
    return deep;
}

// A picture's bytes and palette, added to a driver's fingerprint.
void add_bytes(std::string &all, const bitmap *image) {
    all.append(reinterpret_cast<const char *>(image->bits), bitmap_bytesize(image));
    for (int i = 0; image->cmap && i < image->cmap->size; ++i)
        for (std::int32_t level :
             {image->cmap->entry[i].r, image->cmap->entry[i].g, image->cmap->entry[i].b})
            all += static_cast<char>(level);
}

// Every driver's stored values before the first test (other suites run
// "rand" or load presets and may leave theirs behind), put back for each run.
std::map<void *, std::string> defaults;
struct keep_defaults : testing::Environment {
    void SetUp() override {
        for (bitmapfx_driver *const *d = bitmapfx_builtin_drivers; *d; ++d)
            for (bitmapfx_parameter *p = (*d)->param_list; p->key; ++p)
                if (p->value)
                    defaults[p->value] = std::string(static_cast<char *>(p->value), p->size);
    }
};
testing::Environment *const keeper = testing::AddGlobalTestEnvironment(new keep_defaults);

class EffectContract : public testing::TestWithParam<std::string> {
  protected:
    static void SetUpTestSuite() { fxtest::register_library_effects(); }

    void SetUp() override {
        driver_ = bitmapfx_find_driver(GetParam().c_str());
        ASSERT_NE(driver_, nullptr);
        facts_ = &facts_of(GetParam());
    }

    // One seeded run of "rand" (when asked and present) and "fx".
    owned run(const bitmap *source, std::uint32_t seed, bool randomize) {
        fxtest::parameter_snapshot keep(driver_);
        for (bitmapfx_parameter *p = driver_->param_list; p->key; ++p)
            if (defaults.count(p->value))
                std::copy_n(defaults[p->value].data(), p->size, static_cast<char *>(p->value));
        fxtest::seeded_random random(seed);
        if (facts_->prepare)
            facts_->prepare(driver_, source);
        if (randomize && bitmapfx_is_subproc(driver_, "rand"))
            bitmapfx_call(driver_, "rand");
        return owned(bitmapfx_simple(driver_, source));
    }

    fxtest::quiet_progress quiet_;
    bitmapfx_driver *driver_ = nullptr;
    const driver_facts *facts_ = nullptr;
};

TEST_P(EffectContract, KeepsTheContractAtEveryDepthAndSize) {
    std::string all;
    for (int bpp : {8, 15, 16, 24, 32})
        for (size2 size : {size2{1, 1}, size2{3, 2}, size2{64, 48}}) {
            SCOPED_TRACE(testing::Message() << bpp << " bpp, " << size.x << "x" << size.y);
            owned source = picture(size.x, size.y, bpp);
            owned before(bitmap_dup(source.get()));
            owned first = run(source.get(), 1234u, false);
            ASSERT_NE(first, nullptr);
            EXPECT_TRUE(bitmap_compare(source.get(), before.get(), 1)) << "source changed";

            const size2 want = facts_->size ? facts_->size(size) : size;
            EXPECT_EQ(first->xsize, want.x);
            EXPECT_EQ(first->ysize, want.y);
            const bool reads_depth = bitmapfx_supports(driver_, "in", bpp);
            EXPECT_EQ(first->bpp, reads_depth && facts_->out_bpp ? facts_->out_bpp : bpp);

            owned again = run(source.get(), 1234u, false);
            EXPECT_TRUE(bitmap_compare(first.get(), again.get(), 1)) << "same seed, other bytes";
            owned random1 = run(source.get(), 99u, true);
            owned random2 = run(source.get(), 99u, true);
            ASSERT_NE(random1, nullptr);
            EXPECT_TRUE(bitmap_compare(random1.get(), random2.get(), 1))
                << "\"rand\" then \"fx\" is not reproducible";
            add_bytes(all, first.get());
            add_bytes(all, random1.get());
        }
    const fxtest::golden_file sums(std::string(LUMIVANE_TEST_DATA) + "/golden/effects.txt",
                                   "CRC-32 of effects' pictures, by driver or test");
    const std::string sum = fxtest::crc_text(all);
    EXPECT_EQ(sums.expected(GetParam(), sum), sum) << "other bytes than the golden run's";
}

TEST_P(EffectContract, ChangesAnOrdinaryPicture) {
    if (facts_->may_copy)
        GTEST_SKIP() << "may leave the picture as it is";
    owned source = picture(64, 48, 24);
    owned target = run(source.get(), 5u, false);
    ASSERT_NE(target, nullptr);
    EXPECT_FALSE(bitmap_compare(source.get(), target.get(), 1)) << "the target is a copy";
}

// A saved preset must load back what "rand" drew: every value it stores
// prints to text that scans back to the same bytes.
TEST_P(EffectContract, RandStoresValuesThatPrintAndScanBack) {
    if (!bitmapfx_is_subproc(driver_, "rand"))
        GTEST_SKIP() << "draws nothing";
    fxtest::parameter_snapshot keep(driver_);
    for (std::uint32_t seed = 1; seed <= 25; ++seed) {
        fxtest::seeded_random random(seed);
        bitmapfx_call(driver_, "rand");
        for (bitmapfx_parameter *p = driver_->param_list; p->key; ++p) {
            if (!p->write_flag)
                continue;
            char text[DTYPE_TEXT_MAX];
            bitmapfx_print_parameter(p, text);
            const std::string drawn(static_cast<const char *>(p->value), p->size);
            ASSERT_EQ(bitmapfx_shout(driver_->name, p->key, text), 1) << p->key << " " << text;
            EXPECT_EQ(std::string(static_cast<const char *>(p->value), p->size), drawn)
                << "seed " << seed << ": " << p->key << " prints as '" << text
                << "', which scans back as another value";
        }
    }
}

// Every number a driver keeps, set alone to zero, a negative, an end of its
// range or not a number: each run ends with a picture within the limits or a
// clear error, never a crash, a hang or a huge allocation.
TEST_P(EffectContract, ExtremeValuesGiveAPictureOrAClearError) {
    const owned sources[] = {picture(1, 1, 24), picture(1, 9, 24), picture(9, 1, 24)};
    for (bitmapfx_parameter *p = driver_->param_list; p->key; ++p) {
        std::vector<const char *> values = {"0", "-1", "-2147483648", "2147483647"};
        if (p->type == DTYPE_DOUBLE)
            values = {"0", "-1", "1e-300", "-1e300", "1e300", "nan", "inf"};
        else if (p->type == DTYPE_FLOAT)
            values = {"0", "-1", "1e-30", "-1e30", "1e30", "nan", "inf"};
        else if (p->type != DTYPE_INT || !p->write_flag)
            continue;
        for (const char *value : values)
            for (const owned &source : sources) {
                SCOPED_TRACE(testing::Message() << p->key << " = " << value << " on "
                                                << source->xsize << "x" << source->ysize);
                fxtest::parameter_snapshot keep(driver_);
                message_capture messages;
                if (facts_->prepare)
                    facts_->prepare(driver_, source.get());
                ASSERT_EQ(bitmapfx_shout(driver_->name, p->key, value), 1);
                owned result;
                error_of([&] { result.reset(bitmapfx_simple(driver_, source.get())); });
                bitmapfx_reset(driver_);
                if (result)
                    EXPECT_LE(std::uint64_t{result->xsize} * result->ysize, BITMAP_MAX_PIXELS);
                else
                    EXPECT_FALSE(messages.errors.empty()) << "no picture and no error";
            }
    }
}

INSTANTIATE_TEST_SUITE_P(Builtin, EffectContract, testing::ValuesIn(builtin_names()),
                         [](const auto &info) { return fxtest::test_name(info.param); });

} // namespace
