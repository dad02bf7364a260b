// The option reader: short, grouped and long options, arguments and their
// type checks, response files, the options environment variable, the
// argument limit and the help listings.
#include "core/getopt.h"
#include "file/config_test_setup.h"
#include "support/capture.h"
#include "support/fixture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace {

const getopt_option table[] = {
    {"h", nullptr, "help", "display simple help", nullptr},
    {"x:d", "<value>", "xres", "set video's x-resolution", nullptr},
    {"f:f", "<value>", "factor", "a floating point factor", nullptr},
    {"s:s", "<template>", "save", "save pictures to disk", nullptr},
    {"d", nullptr, "no_display", "don't display images", nullptr},
    {"q!", nullptr, "quit", "quit application", "required in this table"},
    {"X:d", nullptr, "cookie_xpos", "cookie's x position", nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

// An argument vector that outlives the reader's calls.
class command_line {
  public:
    explicit command_line(std::vector<std::string> words) : words_(std::move(words)) {
        words_.insert(words_.begin(), "lumivane");
        for (auto &word : words_)
            pointers_.push_back(word.data());
        pointers_.push_back(nullptr);
    }
    int argc() const { return static_cast<int>(words_.size()); }
    char **argv() { return pointers_.data(); }

  private:
    std::vector<std::string> words_;
    std::vector<char *> pointers_;
};

struct option_read {
    int key;
    std::string argument;
    bool operator==(const option_read &) const = default;
};

std::ostream &operator<<(std::ostream &out, const option_read &read) {
    return out << "{'" << static_cast<char>(read.key) << "', \"" << read.argument << "\"}";
}

// Reads every option until -1.
std::vector<option_read> read_all(std::vector<std::string> words,
                                  const getopt_option *rows = table) {
    command_line line(std::move(words));
    getopt_state state = {1, 1, 0, nullptr};
    std::vector<option_read> result;
    for (int key; (key = getopt_get(line.argc(), line.argv(), rows, &state)) != -1;)
        result.push_back({key, state.argument ? state.argument : "-"});
    return result;
}

// The error text of reading `words`.
std::string error_reading(std::vector<std::string> words, const getopt_option *rows = table) {
    return error_of([&] { read_all(std::move(words), rows); });
}

class environment_guard {
  public:
    environment_guard(const char *name, const char *value) : name_(name) { setenv(name, value, 1); }
    ~environment_guard() { unsetenv(name_); }

  private:
    const char *name_;
};

class Getopt : public testing::Test {
  protected:
    Getopt() { config_test_register_streams(); }
    scratch_directory scratch;
    message_capture capture;
};

// What a command line reads as: the options with their arguments, or the
// error it raises.
TEST_F(Getopt, ReadsOptionsOrNamesTheFault) {
    write_file("blank", "; a comment\n# another\n\n-x 640\r\n-d\n");
    for (const auto &row : fixture_rows("core/getopt-reads.txt")) {
        SCOPED_TRACE(row[0]);
        std::vector<option_read> reads, expected;
        for (const std::string &read : fixture_words(row[1]))
            expected.push_back({read[0], read.substr(2)});
        EXPECT_EQ(error_of([&] { reads = read_all(fixture_words(row[0])); }),
                  row.size() > 2 ? row[2] : "");
        EXPECT_EQ(reads, expected);
    }
    // The reader starts afresh after the end.
    EXPECT_EQ(read_all({"-d"}), (std::vector<option_read>{{'d', "-"}}));
    // Faults of the table itself.
    const std::pair<getopt_option, const char *> broken[] = {
        {{"x", "<value>", "xres", "", nullptr}, "missing ':' in key string (x)"},
        {{"x:i", "<value>", "xres", "", nullptr}, "invalid character 'i' in key string (x:i)"},
        {{"x:", nullptr, "xres", "", nullptr}, "missing ':' in key string (x:)"},
        {{"x", nullptr, "x-res", "", nullptr}, "invalid character '-' in string"},
    };
    for (const auto &[option, error] : broken) {
        const getopt_option rows[] = {option, {}};
        EXPECT_EQ(error_reading({"-x"}, rows), error);
    }
}

TEST_F(Getopt, StateRecordFollowsTheReader) {
    command_line line({"-x", "7", "-d", "--", "-h"});
    getopt_state state = {1, 1, 0, nullptr};
    EXPECT_EQ(getopt_get(line.argc(), line.argv(), table, &state), 'x');
    EXPECT_EQ(state.key, 'x');
    EXPECT_STREQ(state.argument, "7");
    EXPECT_EQ(state.index, 3);
    EXPECT_EQ(getopt_get(line.argc(), line.argv(), table, &state), 'd');
    EXPECT_EQ(state.argument, nullptr);
    EXPECT_EQ(state.error, 1);
    EXPECT_EQ(getopt_get(line.argc(), line.argv(), table, &state), -1);
    EXPECT_EQ(state.index, 5) << "the \"--\" is consumed";
}

TEST_F(Getopt, ResponseFileStoresThenRestoresTheCommandLine) {
    std::vector<option_read> expected = {{'x', "640"}, {'s', "two words"}, {'d', "-"}};
    EXPECT_EQ(read_all({"-x", "640", "@opts", "-s", "two words", "-d"}), expected);
    EXPECT_TRUE(capture.said("using \"opts\" as response file (storing)"));
    EXPECT_EQ(read_file("opts"), "-x\n640\n\n-s\ntwo words\n-d\n");
    EXPECT_EQ(read_all({"@opts"}), expected);
    EXPECT_TRUE(capture.said("using \"opts\" as response file (restoring)"));
}

TEST_F(Getopt, ResponseFileLimitsItsLines) {
    write_file("long", "-s\n" + std::string(4097, 'a') + "\n");
    EXPECT_EQ(error_reading({"@long"}),
              "line too long in response file(long) at line 2, maximum is 4096 characters");
    write_file("longest", "-s\n" + std::string(4096, 'a') + "\n");
    std::vector<option_read> expected = {{'s', std::string(4096, 'a')}};
    EXPECT_EQ(read_all({"@longest"}), expected);
    write_file("nul", std::string("-s\na\0b\n", 7));
    EXPECT_EQ(error_reading({"@nul"}), "unexpected NUL byte in response file(nul) at line 2");
}

TEST_F(Getopt, EnvironmentWordsFollowTheCommandLine) {
    environment_guard variable("lumivane_env", "  -x 800\t-d  ");
    std::vector<option_read> expected = {{'q', "-"}, {'x', "800"}, {'d', "-"}};
    EXPECT_EQ(read_all({"-q"}), expected);
}

TEST_F(Getopt, AtMost511Arguments) {
    std::vector<std::string> words(510, "-d");
    EXPECT_EQ(read_all(words).size(), 510u);
    words.push_back("-d");
    EXPECT_EQ(error_reading(words), "xassert(++(*new_argc) < MAX_ARGC) failed");
    environment_guard variable("lumivane_env", "-q");
    words.pop_back();
    EXPECT_EQ(error_reading(words), "xassert(++(*new_argc) < MAX_ARGC) failed")
        << "the environment's words count too";
}

TEST(GetoptDeath, MissingArgumentEndsTheProgram) {
    EXPECT_EXIT(
        {
            config_test_register_streams();
            read_all({"-x"});
        },
        testing::ExitedWithCode(0), "command line option '-x' \\('-xres'\\) requires an argument");
}

// Feeds the standard input from a text for the lifetime of the guard.
class standard_input {
  public:
    explicit standard_input(const std::string &text) {
        write_file("stdin.txt", text);
        EXPECT_NE(std::freopen("stdin.txt", "r", stdin), nullptr);
    }
    ~standard_input() { EXPECT_NE(std::freopen("/dev/null", "r", stdin), nullptr); }
};

std::vector<getopt_option> long_table(int rows) {
    std::vector<getopt_option> result;
    static std::vector<std::string> keys, names;
    keys.clear();
    names.clear();
    for (int i = 0; i < rows; ++i) {
        keys.push_back(std::string(1, static_cast<char>('a' + i)));
        names.push_back("option_" + std::to_string(i));
    }
    for (int i = 0; i < rows; ++i)
        result.push_back({keys[i].c_str(), nullptr, names[i].c_str(), "help", nullptr});
    result.push_back({});
    return result;
}

std::string help(const getopt_option *rows, int advanced, const std::string &input) {
    standard_input feed(input);
    testing::internal::CaptureStdout();
    getopt_show(rows, advanced);
    return testing::internal::GetCapturedStdout();
}

int count(const std::string &text, const std::string &part) {
    int found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++found;
    return found;
}

// The listings as shown, every row in its place (the required marker, rows
// without a placeholder) and the advanced one pausing after each page.
TEST_F(Getopt, HelpListingsAreExact) {
    EXPECT_EQ(help(table, 0, ""), fixture_text("core/getopt-help.txt"));
    EXPECT_EQ(help(table, 1, "\n\n\n"), fixture_text("core/getopt-advanced-help.txt"));
}

TEST_F(Getopt, SimpleHelpPausesAndEndOfInputStops) {
    auto rows = long_table(20);
    std::string all = help(rows.data(), 0, "\n");
    EXPECT_EQ(count(all, "\npress [enter] for more options, echo a break to quit"), 1);
    EXPECT_EQ(count(all, "  help"), 20);
    std::string stopped = help(rows.data(), 0, "");
    EXPECT_EQ(count(stopped, "  help"), 17);
}

TEST_F(Getopt, AdvancedHelpRejectsTwoRequiredMarks) {
    const getopt_option twice[] = {{"q!!", nullptr, "quit", "", nullptr}, {}};
    testing::internal::CaptureStdout();
    std::string error = error_of([&] { getopt_show(twice, 1); });
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(error, "multiple '!' tokens not allowed in 'q!!'");
}

} // namespace
