// The configuration store: finding and loading the file, lookups with
// wildcards both ways, the "null" value, writes, aliases and the warnings of
// an inactive store.
#include "core/dtype.h"
#include "core/memio/memio.h"
#include "file/config.h"
#include "file/config_test_setup.h"
#include "support/capture.h"
#include "support/fixture.h"
#include "support/scratch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

namespace {

std::string owned(char *text) {
    xfree_ptr<char> guard(text);
    return text ? text : "<null>";
}

// Sets an environment variable for the lifetime of the guard.
class environment_guard {
  public:
    environment_guard(const char *name, const char *value) : name_(name) {
        if (const char *old = std::getenv(name))
            old_ = old, had_ = true;
        setenv(name, value, 1);
    }
    ~environment_guard() {
        if (had_)
            setenv(name_, old_.c_str(), 1);
        else
            unsetenv(name_);
    }

  private:
    const char *name_;
    std::string old_;
    bool had_ = false;
};

const std::string sample = fixture_text("config/sample.ini");

class ConfigStore : public testing::Test {
  protected:
    scratch_directory scratch;
    config_session session;

    // Loads `text` from a file of that name in the scratch folder.
    int load(const std::string &text, const char *name = "sample.ini") {
        write_file(name, text);
        message_capture quiet;
        return config_load(name);
    }
};

TEST_F(ConfigStore, MissingFileLeavesTheStoreInactiveWithoutMessageOfItsOwn) {
    message_capture capture;
    EXPECT_EQ(config_load("nowhere"), 0);
    EXPECT_EQ(config_active(), 0);
    // The stream layer's own probes ask for aliases; the store says nothing else.
    for (const auto &warning : capture.warnings) {
        if (warning.ident == "config") {
            EXPECT_EQ(warning.text.rfind("trying to get alias", 0), 0u) << warning.text;
        }
    }
    EXPECT_TRUE(capture.errors.empty());
}

TEST_F(ConfigStore, FileIsFoundByNameWithSuffixAndThroughTheEnvironment) {
    write_file("sample.ini", sample);
    {
        message_capture quiet;
        EXPECT_EQ(config_load("sample"), 1) << "name with \".ini\" appended";
    }
    session.discard();
    std::filesystem::create_directory("folder");
    write_file("folder/other", sample);
    {
        environment_guard variable("Lumivane_ini", "folder");
        message_capture quiet;
        EXPECT_EQ(config_load("other"), 1) << "Lumivane_ini names the folder";
    }
    session.discard();
    {
        environment_guard variable("Lumivane_ini", "folder/other");
        message_capture quiet;
        EXPECT_EQ(config_load("nothing-by-this-name"), 1) << "Lumivane_ini names the file";
    }
}

TEST_F(ConfigStore, LoadStoresTheLoadTime) {
    ASSERT_EQ(load(sample), 1);
    EXPECT_EQ(config_active(), 1);
    const char *loaded = config_get("*.time.logging", "last.loadtime", 0, 0, nullptr);
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(std::strlen(loaded), 25u) << "the ctime text, newline included: " << loaded;
}

TEST_F(ConfigStore, LookupsMatchPatternsBothWays) {
    ASSERT_EQ(load(sample), 1);
    for (const auto &row : fixture_rows("config/lookups.txt")) {
        const char *value =
            config_get(row[0] == "-" ? nullptr : row[0].c_str(), row[1].c_str(), 0, 0, nullptr);
        EXPECT_EQ(value ? value : "-", row[2]) << row[0] << " " << row[1];
    }
    int count = 0;
    EXPECT_STREQ(config_get("app.numbers", "count", DTYPE_INT, 4, &count), "42");
    EXPECT_EQ(count, 42);
}

TEST_F(ConfigStore, NullAndPatternsMatchingNullAreNoValue) {
    message_capture capture;
    write_file("sample.ini", sample);
    ASSERT_EQ(config_load("sample.ini"), 1);
    EXPECT_TRUE(capture.warned(
        "entry 'star' (in header 'app.numbers') is assigned no value, using default"));
    EXPECT_TRUE(capture.warned(
        "entry 'nstar' (in header 'app.numbers') is assigned no value, using default"));
    EXPECT_TRUE(capture.warned(
        "entry '$path.none$' (in header 'app.paths') is assigned no value, using default"));
    for (const char *key : {"star", "nstar"}) {
        int untouched = 1234;
        EXPECT_EQ(config_get("app.numbers", key, DTYPE_INT, 4, &untouched), nullptr) << key;
        EXPECT_EQ(untouched, 1234) << key;
    }
}

TEST_F(ConfigStore, PutReplacesExistingValuesOnly) {
    ASSERT_EQ(load(sample), 1);
    EXPECT_EQ(config_put("app.numbers", "count", "43"), 1);
    EXPECT_STREQ(config_get("app.numbers", "count", 0, 0, nullptr), "43");
    EXPECT_EQ(config_put("app.numbers", "count", nullptr), 1);
    EXPECT_EQ(config_get("app.numbers", "count", 0, 0, nullptr), nullptr);

    message_capture capture;
    EXPECT_EQ(config_put("app.numbers", "missing", "1"), 0);
    EXPECT_EQ(config_put(nullptr, "missing", "1"), 0);
    EXPECT_THAT(texts(capture.warnings),
                testing::ElementsAre("trying to put key 'missing' (header = 'app.numbers') to "
                                     "configuration while key does not exist",
                                     "trying to put key 'missing' (header = 'none') to "
                                     "configuration while key does not exist"));
    EXPECT_EQ(capture.warnings[0].ident, "config");
    EXPECT_EQ(config_get(nullptr, "missing", 0, 0, nullptr), nullptr);
}

TEST_F(ConfigStore, AliasesExpandRepeatedly) {
    ASSERT_EQ(load(sample), 1);
    EXPECT_EQ(owned(config_alias("$path.data$/x.tga")), "/opt/lumivane/data/x.tga");
    EXPECT_EQ(owned(config_alias("$path.root$ and $path.root$")),
              "/opt/lumivane and /opt/lumivane");
    EXPECT_EQ(owned(config_alias("$path.none$/plain")), "$path.none$/plain")
        << "an alias without value stays as written";
    EXPECT_EQ(owned(config_alias("no aliases")), "no aliases");
}

TEST_F(ConfigStore, DirectSelfReferenceIsRejectedAtLoad) {
    write_file("self.ini", "<configuration file for self.ini, 1 header(s)>\n"
                           "[h] (1 entry)\n$a$ = $a$\n<eof>\n");
    message_capture capture;
    EXPECT_EQ(error_of([] { config_load("self.ini"); }),
              "key '$a$' contains recursive alias value");
    EXPECT_EQ(config_active(), 0);
}

// A cycle, an alias that grows with each expansion and a result beyond the
// buffer all end with the substitution error.
TEST_F(ConfigStore, RunawayAliasesEndWithTheSubstitutionError) {
    const std::string big(4000, 'b');
    ASSERT_EQ(
        load(("<configuration file for runaway.ini, 1 header(s)>\n[h] (4 entries)\n"
              "$a$ = $b$\n$b$ = $a$\n$g$ = xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx$g$\n"
              "$big$ = " +
              big + "\n<eof>\n")),
        1);
    EXPECT_EQ(owned(config_alias("$big$")), big);
    message_capture capture;
    EXPECT_THAT(error_of([] { owned(config_alias("$a$/file")); }),
                testing::MatchesRegex("alias string substitution '\\$.*' failed for \\$.*"));
    EXPECT_THAT(error_of([] { owned(config_alias("$g$")); }),
                testing::StartsWith("alias string substitution '$g$' failed for x"));
    EXPECT_EQ(error_of([] { owned(config_alias("$big$ $big$")); }),
              "alias string substitution '$big$' failed for " + big + " $big$");
}

TEST_F(ConfigStore, InactiveStoreWarnsAndAnswersNothing) {
    message_capture capture;
    int untouched = 5;
    EXPECT_EQ(config_get("h", "key", DTYPE_INT, 4, &untouched), nullptr);
    EXPECT_EQ(untouched, 5);
    EXPECT_EQ(config_put("h", "key", "v"), 0);
    EXPECT_EQ(config_put(nullptr, "key", "v"), 0);
    EXPECT_EQ(owned(config_alias("$path.tmp$/x")), "$path.tmp$/x");
    EXPECT_EQ(config_save("never.ini"), 0);
    config_unload();
    EXPECT_THAT(texts(capture.warnings),
                testing::ElementsAre(
                    "trying to get key 'key' from configuration while not active",
                    "trying to put key 'key' (header = 'h') to configuration while not active",
                    "trying to put key 'key' (header = 'none') to configuration while not active",
                    "trying to get alias '$path.tmp$/x' from configuration while not active, "
                    "returning '$path.tmp$/x'",
                    "trying to save configuration while not active",
                    "trying to unload configuration while not active"));
    EXPECT_FALSE(file_exists("never.ini"));
}

TEST_F(ConfigStore, ZeroHeaderFileLoadsButKeepsNoName) {
    ASSERT_EQ(load("<configuration file for empty.ini, 0 header(s)>\n<eof>\n", "empty.ini"), 1);
    EXPECT_EQ(config_active(), 1);
    message_capture capture;
    EXPECT_NE(error_of([] { config_save(nullptr); }), "");
    config_unload();
    EXPECT_EQ(config_active(), 0);
    EXPECT_EQ(read_file("empty.ini"), "<configuration file for empty.ini, 0 header(s)>\n<eof>\n")
        << "nothing changed, so nothing is written back";
}

TEST_F(ConfigStore, CommentAfterDataIsSkipped) {
    ASSERT_EQ(load("<configuration file for c.ini, 1 header(s)> # the file's own name\n"
                   "[h] (1 entry) # one\n"
                   "key = value # = not this\n"
                   "<eof> # done\n"),
              1);
    EXPECT_STREQ(config_get("h", "key", 0, 0, nullptr), "value");
}

TEST_F(ConfigStore, BadFilesAreErrorsAndLeaveTheStoreInactive) {
    auto cases = fixture_sections("config/bad-files.txt");
    cases.emplace_back("unexpected NUL byte in file(bad.ini) at line 3",
                       std::string("<configuration file for b, 1 header(s)>\n[h] (1 entry)\n"
                                   "k = v\0w\n<eof>\n",
                                   68));
    cases.emplace_back("line too long in file(bad.ini) at line 3, maximum is 4095 characters",
                       "<configuration file for b, 1 header(s)>\n[h] (1 entry)\nk = " +
                           std::string(5000, 'v') + "\n<eof>\n");
    message_capture capture;
    for (const auto &[error, text] : cases) {
        write_file("bad.ini", text);
        EXPECT_EQ(error_of([] { config_load("bad.ini"); }), error);
        EXPECT_EQ(config_active(), 0) << error;
    }
}

// Unloading frees every block the load made, the first header's included.
TEST_F(ConfigStore, UnloadFreesWhatTheLoadHeld) {
    ASSERT_EQ(load(sample), 1);
    session.discard();
    const std::size_t before = memio_blocks_held();
    ASSERT_EQ(load(sample), 1);
    session.discard();
    EXPECT_EQ(memio_blocks_held(), before);
}

TEST_F(ConfigStore, FailedReloadKeepsTheLoadedConfiguration) {
    ASSERT_EQ(load(sample), 1);
    write_file("bad.ini", "<configuration file for b, 1 header(s)>\n[h] (1 items)\n<eof>\n");
    message_capture capture;
    EXPECT_NE(error_of([] { config_load("bad.ini"); }), "");
    EXPECT_STREQ(config_get("app.numbers", "count", 0, 0, nullptr), "42");
}

} // namespace
