// The effect registry: registration checks, parameters, calls, listing.
#include "bitmapfx_test_util.h"

#include "core/memio/memio.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>

using fxtest::owned;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

// A driver that records what it is asked to do.
std::string calls;
int seen_depth = 0;
std::int32_t level = 7;
rgbpack tint = {1, 2, 3};
std::int32_t secret = 5;
std::int32_t needed = 0;
std::int32_t scratch = 0;

void *record_fx(bitmapfx_driver *driver) {
    calls += "fx,";
    auto *source = static_cast<bitmap *>(bitmapfx_talk(driver, "source_bitmap", nullptr));
    if (!source)
        return nullptr;
    seen_depth = source->bpp;
    bitmap *target = bitmap_dup(source);
    bitmapfx_talk(driver, "target_bitmap", target);
    return target;
}
void *record_init(bitmapfx_driver *) {
    calls += "init,";
    return nullptr;
}
void *record_deinit(bitmapfx_driver *) {
    calls += "deinit,";
    return nullptr;
}
void *record_rand(bitmapfx_driver *) {
    calls += "rand,";
    return nullptr;
}
void *record_check(bitmapfx_driver *) {
    calls += "check,";
    return nullptr;
}

const char *const truecolour[] = {"in24", "in32", "out24", "out32", nullptr};

bitmapfx_parameter recorder_parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    fxtest::parameter("level", 5, 4, &level, 0, nullptr, "a level"),
    fxtest::parameter("tint", BITMAPFX_TYPE_RGBPACK, 3, &tint),
    fxtest::parameter("secret", 5, 4, &secret, BITMAPFX_NOT_STORABLE),
    fxtest::parameter("needed", 5, 4, &needed, BITMAPFX_REQUIRED, "check"),
    fxtest::parameter("scratch", 5, 4, &scratch, BITMAPFX_CLEANED_UP, "fx;rand"),
    fxtest::parameter("preview", BITMAPFX_TYPE_BITMAP, 36, nullptr, BITMAPFX_TARGET, "fx"),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure recorder_procedures[] = {
    {"fx", "run the effect", record_fx},  {"init", "prepare", record_init},
    {"deinit", "tidy up", record_deinit}, {"rand", "randomize effect data", record_rand},
    {"check", nullptr, record_check},     {nullptr, nullptr, nullptr},
};

bitmapfx_driver recorder = {
    .next = nullptr,
    .hash = 0,
    .name = "test.recorder",
    .file = "./tests/gfx/recorder.c",
    .preset = "$path.presets$/test-recorder.preset",
    .comment = "records its calls",
    .supported = truecolour,
    .param_list = recorder_parameters,
    .proc_list = recorder_procedures,
};

// A driver that needs nothing but a record.
bitmapfx_parameter no_parameters[] = {BITMAPFX_PARAMETER_END};
const bitmapfx_procedure fx_only[] = {{"fx", nullptr, record_check}, {nullptr, nullptr, nullptr}};

bitmapfx_driver plain(const char *name, const char *preset,
                      bitmapfx_parameter *parameters = no_parameters,
                      const char *const *supported = truecolour) {
    return {nullptr,   0,          name,   "./tests/gfx/plain.c", preset, "plain",
            supported, parameters, fx_only};
}

class Registry : public testing::Test {
  protected:
    void SetUp() override {
        fxtest::register_library_effects();
        fxtest::ensure_registered(&recorder);
        calls.clear();
        level = 7;
        tint = {1, 2, 3};
        needed = 0;
        scratch = 0;
        recorder_parameters[0].value = nullptr; // source_bitmap
        recorder_parameters[7].value = nullptr; // preview
    }
    void TearDown() override { bitmapfx_reset(&recorder); }
    message_capture capture;
};

} // namespace

// A record the registration refuses is not linked in.  (Hash collisions and
// duplicate names: the driver registry suite.)
TEST_F(Registry, FlawedRecordsAreRefused) {
    static rgbscalar fine_colour = {0.1234567, 0.5, 0.5}, too_bright = {2.0, 0.0, 0.0};
    static rgbpack ok = {1, 2, 3};
    static std::int32_t shared = 1;
    static double wide = 1.0;
    static bitmapfx_parameter unreadable[] = {
        fxtest::parameter("colour", BITMAPFX_TYPE_RGBSCALAR, 24, &fine_colour),
        BITMAPFX_PARAMETER_END};
    static bitmapfx_parameter bright[] = {
        fxtest::parameter("ok", BITMAPFX_TYPE_RGBPACK, 3, &ok),
        fxtest::parameter("glow", BITMAPFX_TYPE_RGBSCALAR, 24, &too_bright),
        BITMAPFX_PARAMETER_END};
    static bitmapfx_parameter linked[] = {fxtest::parameter("one", 5, 4, &shared),
                                          fxtest::parameter("two", 5, 4, &shared),
                                          BITMAPFX_PARAMETER_END};
    static bitmapfx_parameter mis_sized[] = {fxtest::parameter("wide", 5, 8, &wide),
                                             BITMAPFX_PARAMETER_END};
    static struct {
        bitmapfx_driver driver;
        const char *error;
    } refused[] = {
        {plain("test.same-preset", recorder.preset),
         "driver preset collision between 'test.recorder' and "
         "'test.same-preset'"},
        {plain("test.mismatch", "$path.presets$/mismatch.preset", unreadable),
         "read/write mismatch for parameter 'colour' ('r:0.123457 g:0.500000 "
         "b:0.500000' != "
         "'r:0.123457 g:0.500000 b:0.500000') in driver 'test.mismatch'"},
        // A value outside the type's range does not scan back either.
        {plain("test.glow", "$path.presets$/glow.preset", bright),
         "illegal red component value (2.000000)"},
        {plain("test.linked", "$path.presets$/linked.preset", linked),
         "linked pointers in parameter 'one' and parameter 'two' in driver "
         "'test.linked'"},
        {plain("test.wide", "$path.presets$/wide.preset", mis_sized),
         "xassert(parameter -> size == dtype_size(parameter -> type)) failed"},
    };
    for (auto &r : refused) {
        EXPECT_EQ(error_of([&] { bitmapfx_register_driver(&r.driver); }), r.error);
        EXPECT_EQ(bitmapfx_find_driver(r.driver.name), nullptr) << r.driver.name;
    }
    // A value that is never stored need not read back.
    static bitmapfx_parameter unstored_list[] = {
        fxtest::parameter("colour", BITMAPFX_TYPE_RGBSCALAR, 24, &fine_colour,
                          BITMAPFX_NOT_STORABLE),
        BITMAPFX_PARAMETER_END};
    static bitmapfx_driver unstored =
        plain("test.unstored", "$path.presets$/u.preset", unstored_list);
    fxtest::ensure_registered(&unstored);
    EXPECT_EQ(bitmapfx_find_driver("test.unstored"), &unstored);
}

TEST_F(Registry, FindingDriversAndProcedures) {
    EXPECT_EQ(bitmapfx_find_driver("quant.s?ow"), &bitmapfx_quant_slow_driver);
    EXPECT_EQ(bitmapfx_get_driver("test.recorder"), &recorder);
    EXPECT_EQ(error_of([] { bitmapfx_get_driver("no.such.driver"); }),
              "failed to find fx driver 'no.such.driver'");
    EXPECT_EQ(bitmapfx_is_subproc(&recorder, "rand"), 1);
    EXPECT_EQ(bitmapfx_is_subproc(&recorder, "load"), 0);
    EXPECT_EQ(bitmapfx_is_subproc(&bitmapfx_plasma_standard_driver, "rand"), 0);
}

TEST_F(Registry, StoredValuesAreCopiedInAndOut) {
    EXPECT_EQ(recorder_parameters[0].write_flag, 0); // source_bitmap: a reference
    EXPECT_EQ(recorder_parameters[2].write_flag, 1); // level: storage
    std::int32_t value = 42;
    ASSERT_EQ(put_parameter(&recorder, "level", &value), 1);
    value = 0;
    EXPECT_EQ(level, 42);
    void *where = nullptr;
    ASSERT_EQ(get_parameter(&recorder, "level", &where), 1);
    EXPECT_EQ(where, &level);
    EXPECT_EQ(bitmapfx_talk(&recorder, "level", nullptr), &level);

    rgbpack colour{9, 8, 7};
    EXPECT_EQ(bitmapfx_talk(&recorder, "tint", &colour), nullptr);
    EXPECT_EQ(std::memcmp(&tint, &colour, sizeof tint), 0);

    ASSERT_EQ(put_parameter(&recorder, "level", nullptr), 1);
    EXPECT_EQ(level, 0);
    EXPECT_EQ(error_of([] { put_parameter(&recorder, "level", &level); }),
              "xassert(parameter -> value != value) failed");
}

TEST_F(Registry, RefusedStoresAndReads) {
    std::int32_t value = 1;
    EXPECT_EQ(put_parameter(&recorder, "secret", &value), 0);
    EXPECT_EQ(secret, 5);
    void *where = nullptr;
    EXPECT_EQ(get_parameter(&recorder, "secret", &where),
              1); // readable all the same
    EXPECT_EQ(put_parameter(&recorder, "nothing", &value), 0);
    EXPECT_EQ(get_parameter(&recorder, "nothing", &where), 0);
    EXPECT_EQ(error_of([&] { bitmapfx_talk(&recorder, "secret", &value); }),
              "failed to store parameter 'secret' in driver 'test.recorder'");
    EXPECT_EQ(error_of([] { bitmapfx_talk(&recorder, "nothing", nullptr); }),
              "failed to retrieve parameter 'nothing' in driver 'test.recorder'");
    EXPECT_EQ(bitmapfx_talk_raw(&recorder, "nothing", nullptr), nullptr);
    EXPECT_EQ(bitmapfx_talk_raw(&recorder, "secret", &value), nullptr);
    EXPECT_TRUE(capture.errors.size() == 2);

    static bitmapfx_driver stranger = plain("test.stranger", "$path.presets$/stranger.preset");
    EXPECT_EQ(error_of([&] { put_parameter(&stranger, "level", &value); }),
              "xassert(driver is registered) failed");
}

TEST_F(Registry, BitmapsMustHaveASupportedDepth) {
    owned palette(bitmap_alloc2(2, 2, 8));
    owned hicolour(bitmap_alloc2(2, 2, 16));
    owned truecolour_image(bitmap_alloc2(2, 2, 24));
    EXPECT_EQ(error_of([&] { put_parameter(&recorder, "source_bitmap", palette.get()); }),
              "fxdriver 'test.recorder' does not support 8 bpp bitmaps for input");
    EXPECT_EQ(error_of([&] { put_parameter(&recorder, "target_bitmap", hicolour.get()); }),
              "fxdriver 'test.recorder' does not support 16 bpp bitmaps for output");
    ASSERT_EQ(put_parameter(&recorder, "source_bitmap", truecolour_image.get()), 1);
    EXPECT_EQ(bitmapfx_talk(&recorder, "source_bitmap", nullptr), truecolour_image.get());

    // A held bitmap is checked again when it is read.
    recorder_parameters[0].value = palette.get();
    void *where = nullptr;
    EXPECT_EQ(error_of([&] { get_parameter(&recorder, "source_bitmap", &where); }),
              "fxdriver 'test.recorder' does not support 8 bpp bitmaps for input");
    recorder_parameters[0].value = nullptr;

    static bitmapfx_parameter bitmaps[] = {BITMAPFX_SOURCE_BITMAP, BITMAPFX_PARAMETER_END};
    static bitmapfx_driver unsure =
        plain("test.unsure", "$path.presets$/unsure.preset", bitmaps, nullptr);
    fxtest::ensure_registered(&unsure);
    EXPECT_EQ(error_of([&] { put_parameter(&unsure, "source_bitmap", palette.get()); }),
              "xassert(driver -> supported) failed");
}

TEST_F(Registry, ShoutingSetsValuesFromText) {
    ASSERT_EQ(bitmapfx_shout("test.recorder", "level", "0x20"), 1);
    EXPECT_EQ(level, 32);
    ASSERT_EQ(bitmapfx_shout("test.rec*", "tint", "r:10 g:20 b:30"), 1);
    EXPECT_EQ(tint.g, 20);
    for (auto [driver, key, text, error] :
         {std::tuple{"no.such", "level", "1", "no such fx driver 'no.such'"},
          {"test.recorder", "nothing", "1",
           "no such parameter 'nothing' for driver 'test.recorder'"},
          {"test.recorder", "secret", "1",
           "trying to write to unwritable parameter 'secret' in driver 'test.recorder'"},
          {"test.recorder", "source_bitmap", "null",
           "trying to write to unwritable parameter 'source_bitmap' in driver 'test.recorder'"},
          {"test.recorder", "level", "many", "'many' is not a valid value of type 'int'"}})
        EXPECT_EQ(error_of([d = driver, k = key, t = text] { bitmapfx_shout(d, k, t); }), error);
    EXPECT_EQ(level, 32);
    returning_errors guard; // the failure is also the answer
    EXPECT_EQ(bitmapfx_shout("test.recorder", "level", "many"), 0);
}

TEST_F(Registry, ResetEmptiesCleanedUpParameters) {
    scratch = 9;
    owned image(bitmap_alloc2(2, 2, 24));
    bitmapfx_talk(&recorder, "target_bitmap", image.get());
    bitmapfx_reset(&recorder);
    EXPECT_EQ(scratch, 0);
    EXPECT_EQ(bitmapfx_talk(&recorder, "target_bitmap", nullptr), nullptr);
    EXPECT_EQ(level, 7); // not cleaned up

    static std::int32_t locked = 3;
    static bitmapfx_parameter parameters[] = {
        fxtest::parameter("locked", 5, 4, &locked, BITMAPFX_CLEANED_UP | BITMAPFX_NOT_STORABLE),
        BITMAPFX_PARAMETER_END,
    };
    static bitmapfx_driver stubborn =
        plain("test.stubborn", "$path.presets$/stubborn.preset", parameters);
    fxtest::ensure_registered(&stubborn);
    EXPECT_EQ(error_of([] { bitmapfx_reset(&stubborn); }),
              "xassert(put_parameter(self, parameter -> key, NULL)) failed");
}

TEST_F(Registry, EffectsRunBetweenInitAndDeinit) {
    owned image(bitmap_alloc2(3, 2, 24));
    bitmapfx_talk(&recorder, "source_bitmap", image.get());
    auto *target = static_cast<bitmap *>(bitmapfx_call(&recorder, nullptr));
    owned result(target);
    EXPECT_EQ(calls, "init,fx,deinit,");
    ASSERT_NE(target, nullptr);
    EXPECT_EQ(bitmapfx_talk(&recorder, "target_bitmap", nullptr), target);
    bitmapfx_reset(&recorder);

    calls.clear();
    EXPECT_EQ(bitmapfx_call(&recorder, "rand"), nullptr);
    EXPECT_EQ(calls, "rand,");
    EXPECT_EQ(error_of([] { bitmapfx_call(&recorder, "load"); }),
              "unknown procedure 'load' for driver 'test.recorder'");
}

TEST_F(Registry, CallsCheckTheFlagsOfTheirProcedure) {
    // "needed" is required for "check" only.
    EXPECT_EQ(error_of([] { bitmapfx_call(&recorder, "check"); }),
              "required parameter 'needed' is missing from driver 'test.recorder'");
    EXPECT_EQ(calls, "");
    needed = 1;
    bitmapfx_call(&recorder, "check");
    EXPECT_EQ(calls, "check,");

    scratch = 1;
    EXPECT_EQ(error_of([] { bitmapfx_call(&recorder, "rand"); }),
              "cleaning parameter 'scratch' is already present in driver "
              "'test.recorder'");
    scratch = 0;

    owned image(bitmap_alloc2(2, 2, 24));
    bitmapfx_talk(&recorder, "target_bitmap", image.get());
    EXPECT_EQ(error_of([] { bitmapfx_call(&recorder, "fx"); }),
              "cleaning parameter 'target_bitmap' is already present in driver "
              "'test.recorder'");
    bitmapfx_reset(&recorder);

    calls.clear();
    EXPECT_EQ(bitmapfx_call(&recorder, "fx"), nullptr);
    EXPECT_TRUE(capture.warned("source parameter 'source_bitmap' is missing from driver "
                               "'test.recorder'"));
    EXPECT_EQ(calls, "init,fx,deinit,");

    bitmapfx_talk(&recorder, "preview", image.get());
    bitmapfx_call(&recorder, "rand"); // "preview" is checked for "fx" only
    EXPECT_FALSE(capture.warned("target parameter 'preview'"));
    bitmapfx_call(&recorder, "fx");
    EXPECT_TRUE(capture.warned("target parameter 'preview' is already present in driver "
                               "'test.recorder'"));
}

TEST_F(Registry, SimpleCopiesASupportedDepth) {
    owned image(fxtest::gradient(5, 4));
    bitmap_set_name(image.get(), "ramp");
    std::size_t blocks = memio_blocks_held();
    owned result(bitmapfx_simple(&recorder, image.get()));
    ASSERT_NE(result, nullptr);
    EXPECT_NE(result.get(), image.get());
    EXPECT_EQ(seen_depth, 24);
    EXPECT_EQ(result->bpp, 24);
    EXPECT_EQ(bitmap_compare(result.get(), image.get(), 1), 1);
    EXPECT_FALSE(capture.said("doing auto-change"));
    // Neither bitmap stays with the driver, and the source copy is gone.
    EXPECT_EQ(bitmapfx_talk(&recorder, "source_bitmap", nullptr), nullptr);
    EXPECT_EQ(bitmapfx_talk(&recorder, "target_bitmap", nullptr), nullptr);
    result.reset();
    EXPECT_EQ(memio_blocks_held(), blocks);
}

TEST_F(Registry, SimpleConvertsToTheHighestDepthAndBack) {
    owned image(bitmap_alloc2(4, 3, 8));
    image->cmap = colormap_alloc(4);
    image->cmap->entry[1] = {200, 10, 30};
    image->cmap->entry[2] = {0, 128, 255};
    image->cmap->entry[3] = {255, 255, 255};
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x)
            bitmap_putpixel(image.get(), x, y, static_cast<std::uint32_t>((x + y) % 4));
    bitmap_set_name(image.get(), "indexed");
    owned before(bitmap_dup(image.get()));

    owned result(bitmapfx_simple(&recorder, image.get()));
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(seen_depth, 32);
    EXPECT_TRUE(capture.said("doing auto-change of bitmap 'indexed' bits per pixel from 8 to 32 "
                             "bpp for driver 'test.recorder'"));
    EXPECT_TRUE(capture.said("from 32 to 8 bpp for driver 'test.recorder'"));
    ASSERT_EQ(result->bpp, 8);
    ASSERT_NE(result->cmap, nullptr);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x)
            EXPECT_EQ(get_pixel(result.get(), x, y, 24), get_pixel(image.get(), x, y, 24));
    // The caller's bitmap is untouched.
    EXPECT_EQ(bitmap_compare(image.get(), before.get(), 1), 1);
    EXPECT_EQ(image->cmap->entry[1].r, 200);
}

TEST_F(Registry, SimpleInPlaceReplacesTheBitmap) {
    bitmap *image = fxtest::gradient(4, 4, 32);
    owned copy(bitmap_dup(image));
    bitmap *place = image;
    bitmap *result = bitmapfx_simple2(&recorder, &place);
    owned keep(place);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(place, result);
    EXPECT_EQ(seen_depth, 32);
    EXPECT_EQ(bitmap_compare(result, copy.get(), 1), 1);
    EXPECT_EQ(bitmapfx_talk(&recorder, "source_bitmap", nullptr), nullptr);
}

// The recorder's part of a listing: from its name to the next driver.
static std::string recorder_part(const std::string &listing) {
    const std::size_t from = listing.find("\tname        = test.recorder\n");
    return from == std::string::npos
               ? ""
               : listing.substr(from, listing.find("\nbitmap fx driver(", from) - from);
}

TEST_F(Registry, ListingInShortAndLongForm) {
    testing::internal::CaptureStdout();
    bitmapfx_list_drivers(0);
    const std::string brief = testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    bitmapfx_list_drivers(1);
    const std::string full = recorder_part(testing::internal::GetCapturedStdout());
    const std::string golden =
        std::string(LUMIVANE_TEST_DATA) + "/golden/listing/test-recorder.txt";
    if (std::getenv("LUMIVANE_WRITE_GOLDEN"))
        write_file(golden, full);
    EXPECT_EQ(full, read_file(golden));
    // The short form: the same record without procedures and parameters.
    EXPECT_THAT(brief, HasSubstr("\nbitmap fx driver(0)\n\tname        = "));
    EXPECT_THAT(recorder_part(brief), AllOf(Not(HasSubstr("procedure")), EndsWith("\n")));
    EXPECT_THAT(full, StartsWith(recorder_part(brief)));
}
