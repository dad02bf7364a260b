// The program's default configuration, made into a working copy by
// data/make-config.sh: every header, key and alias the program uses is there,
// the aliases lead to real files and folders, and running never touches the
// repository's own copy.
#include "core/memio/memio.h"
#include "file/config.h"
#include "file/config_test_setup.h"
#include "support/capture.h"
#include "support/scratch.h"
#include "xmath/xrand.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace fs = std::filesystem;

namespace {

const std::string source = LUMIVANE_SOURCE_DIR;
const std::string shipped = source + "/data/Lumivane.ini";

std::string expanded(const char *text) {
    xfree_ptr<char> result(config_alias(text));
    return result ? result.get() : "<null>";
}

// A key that exists, whatever its value: writing it back succeeds.
bool exists(const char *header, const char *key) {
    const char *value = config_get(header, key, 0, 0, nullptr);
    return config_put(header, key, value) == 1;
}

class ConfigData : public testing::Test {
  protected:
    scratch_directory scratch;
    config_session session;
    message_capture capture;
    std::string original = read_file(shipped);

    void SetUp() override {
        std::string command = "bash '" + source + "/data/make-config.sh' run >made.txt";
        ASSERT_EQ(std::system(command.c_str()), 0);
        ASSERT_EQ(read_file("made.txt"), scratch.path() + "/run/Lumivane.ini\n");
        setenv("Lumivane_ini", "run/Lumivane.ini", 1);
        ASSERT_EQ(config_load("lumivane"), 1) << "found as the application asks for it";
        unsetenv("Lumivane_ini");
    }
    void TearDown() override { EXPECT_EQ(read_file(shipped), original); }
};

TEST_F(ConfigData, HoldsEveryKeyTheProgramUses) {
    for (const char *key : {"seed.rand", "seed.save", "seed.incr"})
        EXPECT_TRUE(exists("*.runtime.random-seeds", key)) << key;
    for (const char *key :
         {"error.type", "warning.type", "verbose.type", "question.type", "question.timeout"})
        EXPECT_TRUE(exists("*.message.handling", key)) << key;
    for (const char *key : {"last.loadtime", "last.savetime"})
        EXPECT_TRUE(exists("*.time.logging", key)) << key;
    EXPECT_TRUE(exists("*", "cache.size"));
    EXPECT_TRUE(exists("*.raytrace", "threads"));
    for (const char *alias :
         {"$path.tmp$", "$path.bin$", "$path.bak$", "$path.cookies$", "$default.cookie$",
          "$default.font$", "$path.presets$", "$path.filters$", "$path.gfx$", "$path.res$"})
        EXPECT_NE(expanded(alias), alias) << alias;
    EXPECT_FALSE(capture.warned("does not exist"));
}

TEST_F(ConfigData, AliasesLeadToTheDataAndTheRunFolder) {
    std::string data = source + "/data";
    std::string run = scratch.path() + "/run";
    EXPECT_EQ(expanded("$default.font$"), data + "/fonts/lumivane8x16.fnt");
    EXPECT_TRUE(fs::is_regular_file(expanded("$default.font$")));
    EXPECT_TRUE(fs::is_regular_file(expanded("$path.cookies$/$default.cookie$/index")));
    EXPECT_EQ(expanded("$path.bak$"), run + "/backup");
    EXPECT_EQ(expanded("$path.presets$"), run + "/presets");
    for (const char *folder : {"$path.tmp$", "$path.bak$", "$path.presets$"})
        EXPECT_TRUE(fs::is_directory(expanded(folder))) << folder;
    EXPECT_EQ(expanded("$path.bin$/linux/setroot/setroot"), data + "/bin/linux/setroot/setroot");
}

TEST_F(ConfigData, ValuesReadAsTheirTypes) {
    int timeout = 0;
    unsigned cache = 0;
    int increment = 1;
    EXPECT_STREQ(config_get("*.message.handling", "question.timeout", 5, 4, &timeout), "-1");
    EXPECT_EQ(timeout, -1);
    EXPECT_NE(config_get("*", "cache.size", 6, 4, &cache), nullptr);
    EXPECT_GT(cache, 0u);
    EXPECT_STREQ(config_get("*.runtime.random-seeds", "seed.incr", 12, 4, &increment), "false");
    EXPECT_EQ(increment, 0);
    for (const char *key : {"error.type", "warning.type", "verbose.type", "question.type"}) {
        std::string type = config_get("*.message.handling", key, 0, 0, nullptr);
        EXPECT_TRUE(type == "log" || type == "con" || type == "con+key" || type == "nil" ||
                    type == "aux")
            << key << " = " << type;
    }
}

TEST_F(ConfigData, RunWritesTheCopyAndTheSeedSurvivesARefresh) {
    xrand_init();
    std::string seed = config_get("*.runtime.random-seeds", "seed.save", 0, 0, nullptr);
    config_unload();
    std::string written = read_file("run/Lumivane.ini");
    EXPECT_NE(written.find("seed.save = " + seed + "\n"), std::string::npos) << written;
    EXPECT_EQ(written.find("last.loadtime = null"), std::string::npos);

    std::string command = "bash '" + source + "/data/make-config.sh' run >/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::string refreshed = read_file("run/Lumivane.ini");
    EXPECT_NE(refreshed.find("seed.save = " + seed + "\n"), std::string::npos)
        << "an existing copy is kept";
    EXPECT_NE(refreshed.find("$path.data$      = \"" + source + "/data\"\n"), std::string::npos)
        << refreshed;
}

TEST(ConfigDataScript, BinFolderIsWrittenWhenGiven) {
    scratch_directory scratch;
    std::filesystem::create_directory("tools");
    std::string command = "bash '" + source + "/data/make-config.sh' run tools >/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_NE(
        read_file("run/Lumivane.ini").find("$path.bin$       = \"" + scratch.path() + "/tools\"\n"),
        std::string::npos);
    EXPECT_NE(std::system(("bash '" + source + "/data/make-config.sh' 2>/dev/null").c_str()), 0)
        << "a run folder is required";
}

} // namespace
