// Seeding through the configuration file: the seed keys under
// "*.runtime.random-seeds" as a user would write them.  The expected draws are
// those of the Python model of the generator (see xrand_test.cpp) for seed
// 20240607 in the default table.
#include "support/capture.h"
#include "support/fixture.h"
#include "support/scratch.h"
#include "xmath_test_support.h"

#include "file/config.h"
#include "file/config_test_setup.h"
#include "xmath/xrand.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// A configuration of the seed keys, loaded from the scratch folder for one
// test and unloaded (so written back there) at its end.
class XrandInitConfigured : public testing::Test {
  protected:
    scratch_directory scratch;
    config_session session;

    void load(const std::string &rand, const std::string &save, const std::string &incr) {
        std::string text = fixture_text("xmath/seeds.ini");
        for (const auto &[key, value] : {std::pair{"RAND", rand}, {"SAVE", save}, {"INCR", incr}})
            text.replace(text.find(key), 4, value);
        write_file("seeds.ini", text);
        message_capture quiet;
        ASSERT_EQ(config_load("seeds.ini"), 1);
    }
};

const char *saved_seed() {
    return config_get("*.runtime.random-seeds", "seed.save", 0, 0, nullptr);
}

const std::vector<std::int32_t> seed_20240607 = {1450735848, 1244333416, 1664242556, 2019804024,
                                                 851229817};

// Seeds through the configuration and returns the first draws.
std::vector<std::int32_t> draws_after_init() {
    message_capture capture;
    xrand_init();
    return draw_raw(5);
}

} // namespace

TEST_F(XrandInitConfigured, FixedSeedRepeatsTheSequenceAndIsSaved) {
    load("20240607", "0", "false");
    EXPECT_EQ(draws_after_init(), seed_20240607);
    EXPECT_STREQ(saved_seed(), "20240607");
    EXPECT_EQ(draws_after_init(), seed_20240607) << "a second start-up, same seed";
}

TEST_F(XrandInitConfigured, IncrementAddsTheSavedSeedAndSavesTheSum) {
    load("20240000", "607", "true");
    EXPECT_EQ(draws_after_init(), seed_20240607);
    EXPECT_STREQ(saved_seed(), "20240607");
    // Each further start adds the saved seed again.
    draws_after_init();
    EXPECT_STREQ(saved_seed(), "40480607");
}

TEST_F(XrandInitConfigured, NullSeedKeepsTheClockSeedAndSavesIt) {
    load("null", "5", "false");
    message_capture capture;
    xrand_init();
    ASSERT_FALSE(capture.verboses.empty());
    const auto seed = static_cast<unsigned>(std::strtoul(saved_seed(), nullptr, 10));
    char expected[64];
    std::snprintf(expected, sizeof expected, "using seed 0x%08x for randomizer", seed);
    EXPECT_EQ(capture.verboses.back().text, expected);
    EXPECT_FALSE(capture.warned("failed to store random seed"));
}

TEST_F(XrandInitConfigured, MissingSaveKeyIsReportedButTheSeedStillApplies) {
    write_file("seeds.ini",
               "<configuration file for seeds.ini, 1 header(s)>\n"
               "[lumivane.runtime.random-seeds] (1 entry)\nseed.rand = 20240607\n<eof>\n");
    {
        message_capture quiet;
        ASSERT_EQ(config_load("seeds.ini"), 1);
    }
    message_capture capture;
    xrand_init();
    EXPECT_TRUE(capture.warned("failed to store random seed to configuration"));
    EXPECT_EQ(draw_raw(5), seed_20240607);
}
