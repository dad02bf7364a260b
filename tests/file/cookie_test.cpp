// Cookies: choosing by number or at random, the range warning, the shared
// buffer, missing files, and the program's own cookie folder.
#include "file/config.h"
#include "file/config_test_setup.h"
#include "file/cookie.h"
#include "file/parse.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>

namespace fs = std::filesystem;

namespace {

const char *const sayings[] = {"first saying\n", "second saying\n", "third saying\n"};

class Cookie : public testing::Test {
  protected:
    scratch_directory scratch;
    config_session session;
    message_capture capture;

    Cookie() {
        write_file("Lumivane.ini", "<configuration file for Lumivane.ini, 1 header(s)>\n"
                                   "[app.paths] (2 entries)\n"
                                   "$path.cookies$  = cookies\n"
                                   "$default.cookie$ = sayings\n<eof>\n");
        fs::create_directories("cookies/sayings");
        write_index("total cookies = 3 # three of them\n");
        for (int i = 0; i < 3; ++i)
            write_file(cookie_name(i), sayings[i]);
        EXPECT_EQ(config_load(nullptr), 1);
        capture.warnings.clear();
    }

    static std::string cookie_name(int index) {
        char name[64];
        std::snprintf(name, sizeof name, "cookies/sayings/%08d.asc", index);
        return name;
    }
    static void write_index(const std::string &text) { write_file("cookies/sayings/index", text); }
};

TEST_F(Cookie, ChosenByNumberIntoOneSharedBuffer) {
    char *second = cookie_get(2);
    EXPECT_STREQ(second, sayings[2]);
    EXPECT_EQ(cookie_get(0), second);
    EXPECT_STREQ(second, sayings[0]) << "the next call overwrote the text";
    EXPECT_TRUE(capture.warnings.empty());
}

TEST_F(Cookie, NegativeIndexPicksAtRandomWithoutWarning) {
    std::set<std::string> seen;
    for (int i = 0; i < 60; ++i) {
        const char *text = cookie_get(-1 - i);
        ASSERT_NE(text, nullptr);
        seen.insert(text);
    }
    EXPECT_EQ(seen, std::set<std::string>(std::begin(sayings), std::end(sayings)));
    EXPECT_TRUE(capture.warnings.empty());
}

TEST_F(Cookie, IndexOutOfRangeWarnsAndPicksAtRandom) {
    const char *text = cookie_get(3);
    ASSERT_NE(text, nullptr);
    EXPECT_TRUE(std::set<std::string>(std::begin(sayings), std::end(sayings)).count(text));
    ASSERT_EQ(capture.warnings.size(), 1u);
    EXPECT_EQ(capture.warnings[0].text, "cookie index (-1) is out of range for cookie file "
                                        "'cookies/sayings/index', maximum range is 3");
    EXPECT_EQ(capture.warnings[0].ident, "cookie");
}

TEST_F(Cookie, NoCookiesInTheIndexPicksCookieZero) {
    write_index("total cookies = 0\n");
    EXPECT_STREQ(cookie_get(0), sayings[0]);
    EXPECT_STREQ(cookie_get(-5), sayings[0]);
    EXPECT_TRUE(capture.warned("cookie index (-1) is out of range for cookie file "
                               "'cookies/sayings/index', maximum range is 0"));
}

TEST_F(Cookie, MissingFilesWarnAndGiveNothing) {
    fs::remove(cookie_name(1));
    EXPECT_EQ(cookie_get(1), nullptr);
    EXPECT_TRUE(capture.warned("failed to open cookie file 'cookies/sayings/00000001.asc'"));
    fs::remove("cookies/sayings/index");
    EXPECT_EQ(cookie_get(0), nullptr);
    EXPECT_TRUE(capture.warned("failed to open cookie index file 'cookies/sayings/index'"));
}

TEST_F(Cookie, MalformedIndexIsAnError) {
    write_index("total biscuits = 3\n");
    EXPECT_EQ(error_of([] { cookie_get(0); }),
              "expecting 'cookies' instead of 'biscuits' (file cookies/sayings/index, line 1)");
}

TEST_F(Cookie, FullBufferStaysTerminated) {
    write_file(cookie_name(0), std::string(5000, 'c'));
    const char *text = cookie_get(0);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::strlen(text), 4096u);
}

// The program's own cookies: the index counts exactly the files, and every
// saying is 7-bit text of at most two lines that fit the default 320-pixel
// picture in the 8-pixel font.
TEST(CookieData, IndexMatchesTheShippedSayings) {
    fs::path folder = fs::path(LUMIVANE_SOURCE_DIR) / "data" / "cookies" / "lumivane";
    config_test_register_streams();
    message_capture capture;
    int total = -1;
    streamio_stream *index =
        internal_xfopen(__FILE__, __LINE__, (folder / "index").string().c_str(), "r");
    ASSERT_NE(index, nullptr);
    parse_init(index);
    EXPECT_EQ(parse_read("total cookies = %d", &total), 1);
    parse_deinit();
    xfclose(index);
    EXPECT_GE(total, 50);
    int files = 0;
    for (const auto &entry : fs::directory_iterator(folder))
        files += entry.path().extension() == ".asc";
    EXPECT_EQ(files, total);
    for (int i = 0; i < total; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "%08d.asc", i);
        std::string text = read_file((folder / name).string());
        ASSERT_FALSE(text.empty()) << name;
        EXPECT_LT(text.size(), 160u) << name;
        int lines = 0;
        std::size_t width = 0;
        for (char c : text) {
            EXPECT_TRUE(c == '\n' || (c >= 32 && c < 127)) << name;
            width = c == '\n' ? 0 : width + 1;
            EXPECT_LE(width, 40u) << name;
            lines += c == '\n';
        }
        EXPECT_LE(lines, 2) << name;
        EXPECT_EQ(text.back(), '\n') << name;
    }
}

} // namespace
