// The installed tree: the program runs from any folder on its user's own
// copy of the configuration and never writes the installed one.
#include "app/app_support.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace {

// The configuration writer quotes only values with blanks.
bool alias_is(const std::string &config, const std::string &key, const std::string &value) {
    std::istringstream lines(config);
    std::string line;
    while (std::getline(lines, line)) {
        std::string alias = "$" + key + "$";
        if (line.rfind(alias, 0) != 0)
            continue;
        std::string rest = line.substr(line.find('=') + 1);
        rest.erase(0, rest.find_first_not_of(' '));
        return rest == value || rest == "\"" + value + "\"";
    }
    return false;
}

class Installed : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        prefix = new scratch_directory;
        run_result installed =
            run_child("cmake", {"--install", LUMIVANE_BINARY_DIR, "--prefix", prefix->path()});
        ASSERT_EQ(installed.status, 0) << installed.out << installed.err;
    }
    static void TearDownTestSuite() {
        delete prefix;
        prefix = nullptr;
    }
    static std::string at(const std::string &relative) { return prefix->path() + "/" + relative; }

    // A user with an empty home, working in a folder of their own.
    scratch_directory home;
    std::string work = home.path() + "/work";
    void SetUp() override { fs::create_directories(work); }

    run_result run(const std::vector<std::string> &arguments, const std::string &display = "") {
        return run_child(at("bin/lumivane"), arguments,
                         {{"HOME", home.path()}, {"DISPLAY", display}}, work);
    }
    std::string user_config() const { return home.path() + "/.config/lumivane/Lumivane.ini"; }

    static scratch_directory *prefix;
};

scratch_directory *Installed::prefix = nullptr;

TEST_F(Installed, HoldsProgramSetterDataAndManual) {
    for (const char *file :
         {"bin/lumivane", "libexec/lumivane/linux/setroot/setroot", "share/lumivane/Lumivane.ini",
          "share/lumivane/cookies/lumivane/index", "share/lumivane/cookies/lumivane/00000000.asc",
          "share/lumivane/fonts/lumivane8x16.fnt", "share/man/man1/lumivane.1"})
        EXPECT_TRUE(fs::is_regular_file(at(file))) << file;
}

TEST_F(Installed, FirstRunMakesTheUsersCopy) {
    const std::string shipped = read_file(at("share/lumivane/Lumivane.ini"));
    run_result result = run({"-d", "-m", "0"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(has(result.out, "Lumivane was active for "));
    EXPECT_FALSE(has(read_file(work + "/warning.logfile"), "failed to load configuration file"));

    ASSERT_TRUE(file_exists(user_config()));
    std::string copy = read_file(user_config());
    const std::string data = fs::canonical(at("share/lumivane")).string();
    const std::string bin = fs::canonical(at("libexec/lumivane")).string();
    EXPECT_TRUE(alias_is(copy, "path.data", data)) << copy;
    EXPECT_TRUE(alias_is(copy, "path.bin", bin));
    EXPECT_TRUE(alias_is(copy, "path.run", home.path() + "/.config/lumivane"));
    EXPECT_TRUE(alias_is(copy, "path.tmp", home.path() + "/.cache/lumivane"));
    EXPECT_FALSE(has(copy, "last.savetime = null")) << "the copy was written back at exit";
    for (const char *folder :
         {"/.config/lumivane/presets", "/.config/lumivane/backup", "/.cache/lumivane"})
        EXPECT_TRUE(fs::is_directory(home.path() + folder)) << folder;
    EXPECT_EQ(read_file(at("share/lumivane/Lumivane.ini")), shipped) << "never written";

    // Later runs keep the copy and what was saved in it.
    set_config_value(user_config(), "seed.incr", "true");
    ASSERT_EQ(run({"-q"}).status, 0);
    EXPECT_TRUE(has(read_file(user_config()), "seed.incr = true"));
}

TEST_F(Installed, FindsItsDataAndSetterOnTheDesktop) {
    private_display server(200, 150, 24);
    ASSERT_EQ(run({"-m", "0"}, server.name()).status, 0);
    EXPECT_FALSE(has(read_file(work + "/warning.logfile"), "failed to load font"))
        << "the installed font is found";
    REQUIRE_TRACER();
    ASSERT_EQ(run({"-m", "1", "-c"}, server.name()).status, 0);
    EXPECT_TRUE(file_exists(home.path() + "/.cache/lumivane/lumivane-desktop.bmp"));
    rgb_picture root = read_root_window(server.name());
    EXPECT_NE(std::count(root.bytes.begin(), root.bytes.end(), 0),
              static_cast<long>(root.bytes.size()))
        << "the setter showed the picture";
}

TEST_F(Installed, ManualDescribesEveryOption) {
    const std::string manual = read_file(at("share/man/man1/lumivane.1"));
    run_result help = run_child(program_path(), {"-h"}, {}, home.path(), "\n\n\n");
    // Help lines read " -x <value>          -xres   ...".
    const std::regex row("^[ *]-\\S+(?: <[^>]+>)? +-(\\w+) ");
    std::istringstream lines(help.out);
    std::string line;
    int options = 0;
    std::smatch match;
    while (std::getline(lines, line)) {
        if (!std::regex_search(line, match, row))
            continue;
        ++options;
        EXPECT_TRUE(has(manual, "\\-" + match[1].str())) << match[1].str();
    }
    EXPECT_EQ(options, 26);
    for (const char *section : {".SH OPTIONS", ".SH FILES", ".SH EXAMPLES", "Lumivane.ini",
                                "lumivane-desktop.bmp", "shot%04d.tga"})
        EXPECT_TRUE(has(manual, section)) << section;
}

} // namespace
