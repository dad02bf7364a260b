// The token reader and writer: tokens, directives, comments and the messages
// for bad input, each naming the file and the line.
#include "file/config_test_setup.h"
#include "file/parse.h"
#include "support/capture.h"
#include "support/fixture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

// A file written into the test's scratch folder and bound to the reader.
class bound_file {
  public:
    bound_file(const std::string &contents, const char *mode = "r",
               const char *name = "tokens.txt") {
        config_test_register_streams();
        if (mode[0] == 'r')
            write_file(name, contents);
        stream_ = internal_xfopen(__FILE__, __LINE__, name, mode);
        parse_init(stream_);
    }
    ~bound_file() {
        parse_deinit();
        xfclose(stream_);
    }
    bound_file(const bound_file &) = delete;
    bound_file &operator=(const bound_file &) = delete;

  private:
    streamio_stream *stream_;
};

class ParseReader : public testing::Test {
  protected:
    scratch_directory scratch;
    message_capture capture;
};

// What a text reads as: the tokens a format of "%s" directives and literals
// takes from it, and the line the reader stands on after them.
TEST_F(ParseReader, TokensCommentsAndLineEnds) {
    struct row {
        std::string contents;
        const char *format;
        std::vector<std::string> tokens;
        int line;
    };
    const row rows[] = {
        // Single characters stand alone, and runs stop at them.
        {"<a,b>[c]{d}(e)=f\n",
         "< %s , %s > [ %s ] { %s } ( %s ) = %s",
         {"a", "b", "c", "d", "e", "f"},
         1},
        // The format is split by the same rules.
        {"<configuration file for x.ini, 3 header(s)>",
         "<configuration file for %s, 3 header(s)>",
         {"x.ini"},
         1},
        // Quotes keep blanks and specials; an empty quoted text is a token.
        {"\"a b = c # d\" \"\" next\n", "%s %s %s", {"a b = c # d", "", "next"}, 1},
        {"abc\"d e\"f\n", "%s %s", {"d e", "f"}, 1}, // a quote restarts the token
        {"\xEF\xBB\xBF# heading\r\n\r\n\n   key = value # note = 5\r\n\t# more\nlast\n",
         "%s = %s %s",
         {"key", "value", "last"},
         6},
        // A lone carriage return ends a line; "\r\r\n" is an empty line and one end.
        {"a\rb\r\r\nc\n\rd\r", "%s %s %s %s", {"a", "b", "c", "d"}, 6},
        {"\xff\xfe\x80 = \xff\n", "%s = %s", {"\xff\xfe\x80", "\xff"}, 1},
        {"%% x\n", "%% %s", {"x"}, 1},
    };
    for (const row &r : rows) {
        SCOPED_TRACE(r.contents);
        bound_file file(r.contents);
        static char t[6][PARSE_BUFFER_SIZE];
        ASSERT_EQ(parse_read(r.format, t[0], t[1], t[2], t[3], t[4], t[5]), 1);
        for (std::size_t i = 0; i < r.tokens.size(); ++i)
            EXPECT_EQ(t[i], r.tokens[i]);
        EXPECT_EQ(parse_line(), r.line);
    }
}

TEST_F(ParseReader, NumberDirectivesConvert) {
    bound_file file("-12 1Fh 4000000000 -5 0x10 99 2.5\n");
    int d = 0, x = 0;
    unsigned u = 0;
    long ld = 0, lx = 0;
    unsigned long lu = 0;
    double lf = 0;
    ASSERT_EQ(parse_read("%d %x %u %ld %lx %lu %lf", &d, &x, &u, &ld, &lx, &lu, &lf), 1);
    EXPECT_EQ(std::tuple(d, x, u, ld, lx, lu, lf),
              std::tuple(-12, 31, 4000000000u, -5L, 16L, 99ul, 2.5));
}

// Bad input names what was wrong, with the file and the line.
TEST_F(ParseReader, BadInputIsAnErrorNamingFileAndLine) {
    const std::string overlong(PARSE_LINE_MAX + 1, 'w');
    auto cases = fixture_sections("file/bad-tokens.txt");
    cases.insert(
        cases.end(),
        {{"%s | unexpected end of string in file(tokens.txt) at line 1", "\"a\rb\"\n"},
         // An error, not a truncated token.
         {"%s %s | line too long in file(tokens.txt) at line 2, maximum is 4095 characters",
          "first\n" + overlong + "\nafter\n"},
         {"%s = %s | unexpected NUL byte in file(tokens.txt) at line 1",
          std::string("key = va\0lue\n", 13)},
         // Deep brackets are just tokens.
         {"[ ] | expecting ']' instead of '[' (file tokens.txt, line 1)",
          std::string(2000, '[') + std::string(2000, ']') + "\n"}});
    alignas(8) char first[PARSE_BUFFER_SIZE], second[PARSE_BUFFER_SIZE];
    for (const auto &[title, contents] : cases) {
        const std::string format = title.substr(0, title.find(" | "));
        bound_file file(contents);
        EXPECT_EQ(error_of([&] { parse_read(format.c_str(), first, second); }),
                  title.substr(title.find(" | ") + 3));
    }
}

TEST_F(ParseReader, LongestLineIsReadWhole) {
    std::string word(PARSE_LINE_MAX, 'w');
    bound_file file(word + "\n");
    char token[PARSE_BUFFER_SIZE];
    ASSERT_EQ(parse_read("%s", token), 1);
    EXPECT_EQ(std::string(token), word);
}

TEST_F(ParseReader, UnboundReaderIsAnError) {
    parse_deinit();
    EXPECT_EQ(error_of([] { parse_read("x"); }), "xassert(parse.stream) failed");
}

class ParseWriter : public ParseReader {};

TEST_F(ParseWriter, LinesAndNewlines) {
    {
        bound_file file("", "w", "written.txt");
        EXPECT_EQ(parse_write(2, "a %d", 1), 1);
        EXPECT_EQ(parse_write(1, nullptr), 1);
        EXPECT_EQ(parse_write(-3, "ignored"), 1);
        EXPECT_EQ(parse_write(0, "b"), 1);
        EXPECT_EQ(parse_line(), 6);
    }
    EXPECT_EQ(read_file("written.txt"), "a 1\n\n\n\n\n\nb");
}

TEST_F(ParseWriter, FirstLineFeedAndCarriageReturnAreRemoved) {
    {
        bound_file file("", "w", "written.txt");
        parse_write(1, "%s", "Thu Jan  1 00:00:00 1970\n");
        parse_write(1, "%s", "a\r\nb\r\nc");
    }
    EXPECT_EQ(read_file("written.txt"), "Thu Jan  1 00:00:00 1970\nab\r\nc\n");
}

TEST_F(ParseWriter, LineTooLongForTheReaderIsAnError) {
    {
        bound_file file("", "w", "written.txt");
        std::string text(PARSE_BUFFER_SIZE, 'x');
        EXPECT_EQ(error_of([&] { parse_write(1, "%s", text.c_str()); }),
                  "line too long for file(written.txt) at line 1, maximum is 4095 characters");
    }
    EXPECT_EQ(read_file("written.txt"), "");
}

} // namespace
