// Seeding through the configuration file: the seed keys under
// "*.runtime.random-seeds" as a user would write them.  The expected draws are
// those of the Python model of the generator (see xrand_test.cpp) for seed
// 20240607 in the default table.
#include "support/capture.h"
#include "support/scratch.h"

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

void write_seed_configuration(const std::string &path, const char *rand, const char *save,
                              const char *incr) {
    write_file(path, std::string("<configuration file for ") + path +
                         ", 2 header(s)>\n\n"
                         "[lumivane.runtime.random-seeds] (3 entries)\n\n"
                         "seed.rand = " +
                         rand + "\nseed.save = " + save + "\nseed.incr = " + incr +
                         "\n\n"
                         "[lumivane.time.logging] (2 entries)\n\n"
                         "last.loadtime = null\nlast.savetime = null\n\n<eof>\n");
}

// A configuration loaded from the scratch folder for one test, unloaded (and
// so written back there) at its end.
class seed_configuration {
  public:
    seed_configuration(const char *rand, const char *save, const char *incr) {
        config_test_register_streams();
        write_seed_configuration("seeds.ini", rand, save, incr);
        message_capture quiet;
        loaded_ = config_load("seeds.ini") == 1;
    }
    ~seed_configuration() {
        if (!config_active())
            return;
        message_capture quiet;
        config_unload();
    }
    seed_configuration(const seed_configuration &) = delete;
    seed_configuration &operator=(const seed_configuration &) = delete;
    bool loaded() const { return loaded_; }

  private:
    scratch_directory scratch_;
    bool loaded_ = false;
};

const char *saved_seed() {
    return config_get("*.runtime.random-seeds", "seed.save", 0, 0, nullptr);
}

std::vector<std::int32_t> draw_raw(int count) {
    std::vector<std::int32_t> values;
    for (int i = 0; i < count; ++i)
        values.push_back(xrandom());
    return values;
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

TEST(XrandInitConfigured, FixedSeedRepeatsTheSequenceAndIsSaved) {
    seed_configuration configuration("20240607", "0", "false");
    ASSERT_TRUE(configuration.loaded());
    const auto first = draws_after_init();
    EXPECT_STREQ(saved_seed(), "20240607");
    const auto second = draws_after_init(); // a second start-up, same seed
    EXPECT_EQ(first, second);
    EXPECT_EQ(first, seed_20240607);
}

TEST(XrandInitConfigured, IncrementAddsTheSavedSeedAndSavesTheSum) {
    seed_configuration configuration("20240000", "607", "true");
    ASSERT_TRUE(configuration.loaded());
    EXPECT_EQ(draws_after_init(), seed_20240607);
    EXPECT_STREQ(saved_seed(), "20240607");
    // Each further start adds the saved seed again.
    draws_after_init();
    EXPECT_STREQ(saved_seed(), "40480607");
}

TEST(XrandInitConfigured, NullSeedKeepsTheClockSeedAndSavesIt) {
    seed_configuration configuration("null", "5", "false");
    ASSERT_TRUE(configuration.loaded());
    message_capture capture;
    xrand_init();
    ASSERT_FALSE(capture.verboses.empty());
    const auto seed = static_cast<unsigned>(std::strtoul(saved_seed(), nullptr, 10));
    char expected[64];
    std::snprintf(expected, sizeof expected, "using seed 0x%08x for randomizer", seed);
    EXPECT_EQ(capture.verboses.back().text, expected);
    EXPECT_FALSE(capture.warned("failed to store random seed"));
}

TEST(XrandInitConfigured, MissingSaveKeyIsReportedButTheSeedStillApplies) {
    config_test_register_streams();
    scratch_directory scratch;
    write_file("seeds.ini", "<configuration file for seeds.ini, 1 header(s)>\n\n"
                            "[lumivane.runtime.random-seeds] (1 entry)\n\n"
                            "seed.rand = 20240607\n\n<eof>\n");
    {
        message_capture quiet;
        ASSERT_EQ(config_load("seeds.ini"), 1);
    }
    {
        message_capture capture;
        xrand_init();
        EXPECT_TRUE(capture.warned("failed to store random seed to configuration"));
    }
    EXPECT_EQ(draw_raw(5), seed_20240607);
    message_capture quiet;
    config_unload();
}
