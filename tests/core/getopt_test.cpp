// The option reader: short, grouped and long options, arguments and their
// type checks, response files, the options environment variable, the
// argument limit and the help listings.
#include "core/getopt.h"
#include "file/config_test_setup.h"
#include "support/capture.h"
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

// What a command line reads as: the options with their arguments ("-" when
// none), or the error it raises.
TEST_F(Getopt, ReadsOptionsOrNamesTheFault) {
    const getopt_option no_colon[] = {{"x", "<value>", "xres", "", nullptr}, {}};
    const getopt_option bad_type[] = {{"x:i", "<value>", "xres", "", nullptr}, {}};
    const getopt_option no_type[] = {{"x:", nullptr, "xres", "", nullptr}, {}};
    const getopt_option dashed[] = {{"x", nullptr, "x-res", "", nullptr}, {}};
    write_file("blank", "; a comment\n# another\n\n-x 640\r\n-d\n");
    struct row {
        std::vector<std::string> words;
        std::vector<option_read> reads = {};
        std::string error = "";
        const getopt_option *rows = table;
    };
    const row rows[] = {
        {.words = {"-dh", "-x", "640", "-x320", "-s", "a b", "-no_display", "-xres", "12",
                   "-factor", "1.5"},
         .reads = {{'d', "-"},
                   {'h', "-"},
                   {'x', "640"},
                   {'x', "320"},
                   {'s', "a b"},
                   {'d', "-"},
                   {'x', "12"},
                   {'f', "1.5"}}},
        {.words = {"-dx42", "-q"}, .reads = {{'d', "-"}, {'x', "42"}, {'q', "-"}}},
        // Reading stops at the first word that is no option (a lone dash too).
        {.words = {"-d", "picture.tga", "-h"}, .reads = {{'d', "-"}}},
        {.words = {"-d", "-", "-h"}, .reads = {{'d', "-"}}},
        {.words = {"-d", "--", "-h"}, .reads = {{'d', "-"}}},
        // A response line keeps its blank as part of one argument.
        {.words = {"@blank", "-q"}, .reads = {{'x', " 640"}, {'d', "-"}, {'q', "-"}}},
        {.words = {"-x"}, .error = "command line option '-x' ('-xres') requires an argument"},
        {.words = {"-xres"}, .error = "command line option '-x' ('-xres') requires an argument"},
        {.words = {"-x", "12a"}, .error = "expecting integer, got '12a' in option '-x' ('-xres')"},
        {.words = {"-f", "one"}, .error = "expecting float, got 'one' in option '-f' ('-factor')"},
        {.words = {"-dz"}, .error = "illegal command line option '-z' ('-unknown')"},
        // Long names are compared whole: -xre is the short -x with "re".
        {.words = {"-xre", "1"}, .error = "expecting integer, got 're' in option '-x' ('-xres')"},
        {.words = {"-x"}, .error = "missing ':' in key string (x)", .rows = no_colon},
        {.words = {"-x"}, .error = "invalid character 'i' in key string (x:i)", .rows = bad_type},
        {.words = {"-x"}, .error = "missing ':' in key string (x:)", .rows = no_type},
        {.words = {"-x"}, .error = "invalid character '-' in string", .rows = dashed},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(testing::PrintToString(r.words));
        std::vector<option_read> reads;
        EXPECT_EQ(error_of([&] { reads = read_all(r.words, r.rows); }), r.error);
        EXPECT_EQ(reads, r.reads);
    }
    // The reader starts afresh after the end.
    EXPECT_EQ(read_all({"-d"}), (std::vector<option_read>{{'d', "-"}}));
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

std::string simple_help(const getopt_option *rows, const std::string &input) {
    standard_input feed(input);
    testing::internal::CaptureStdout();
    getopt_show(rows, 0);
    return testing::internal::GetCapturedStdout();
}

int count(const std::string &text, const std::string &part) {
    int found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++found;
    return found;
}

TEST_F(Getopt, SimpleHelpLinesUp) {
    std::string help = simple_help(table, "");
    EXPECT_EQ(help.rfind("\ncommand line options for Lumivane\n", 0), 0u);
    EXPECT_NE(help.find("\n -x <value>          -xres                   set video's x-resolution"),
              std::string::npos)
        << help;
    EXPECT_NE(help.find("\n -h                  -help                   display simple help"),
              std::string::npos);
    EXPECT_NE(help.find("\n*-q                  -quit"), std::string::npos) << "required marker";
    EXPECT_NE(help.find("\n -X                  -cookie_xpos"), std::string::npos)
        << "no placeholder, no argument shown";
    EXPECT_EQ(count(help, "press [enter]"), 0);
}

TEST_F(Getopt, SimpleHelpPausesAndEndOfInputStops) {
    auto rows = long_table(20);
    std::string all = simple_help(rows.data(), "\n");
    EXPECT_EQ(count(all, "\npress [enter] for more options, echo a break to quit"), 1);
    EXPECT_EQ(count(all, "  help"), 20);
    std::string stopped = simple_help(rows.data(), "");
    EXPECT_EQ(count(stopped, "  help"), 17);
}

TEST_F(Getopt, AdvancedHelpDescribesEveryRow) {
    standard_input feed("\n\n\n");
    testing::internal::CaptureStdout();
    getopt_show(table, 1);
    std::string help = testing::internal::GetCapturedStdout();
    EXPECT_EQ(help.rfind("\nextended help on command line options for Lumivane\n"
                         "note(1) : all command line options are *case-sensitive*\n"
                         "note(2) : optional response file in the form of @<response-file>\n"
                         "          will be used ; if exists to restore options else to store "
                         "options.\n"
                         "note(3) : optional environment variables in the lumivane_env=<settings>\n"
                         "          form are concatenated after (optional) command line options.\n",
                         0),
              0u)
        << help;
    EXPECT_NE(help.find("\nLumivane command line option(1)\n"
                        "standard format   : -x <value>\n"
                        "extended format   : -xres <value>\n"
                        "additional help   : set video's x-resolution\n"
                        "additional info   : not available\n"
                        "is required ?     : no\n"),
              std::string::npos)
        << help;
    EXPECT_NE(help.find("additional info   : required in this table\n"
                        "is required ?     : yes\n"),
              std::string::npos);
    EXPECT_EQ(count(help, "\npress [enter] for more options, echo a break to quit\n"), 2);
}

TEST_F(Getopt, AdvancedHelpRejectsTwoRequiredMarks) {
    const getopt_option twice[] = {{"q!!", nullptr, "quit", "", nullptr}, {}};
    testing::internal::CaptureStdout();
    std::string error = error_of([&] { getopt_show(twice, 1); });
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(error, "multiple '!' tokens not allowed in 'q!!'");
}

} // namespace
