#include "core/memio/memio.h"
#include "core/path.h"
#include "core/xstring.h"
#include "support/capture.h"
#include "support/fixture.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <string_view>
#include <utility>

TEST(WildcardMatch, EitherTextMayBeThePattern) {
    EXPECT_TRUE(xstring_match("in*", "in24"));
    EXPECT_TRUE(xstring_match("in24", "in*"));
    EXPECT_TRUE(xstring_match("a?c", "abc"));
    EXPECT_TRUE(xstring_match("", ""));
    EXPECT_FALSE(xstring_match("abc", "abd"));
    EXPECT_FALSE(xstring_match("", "a"));
}

// The matching rule transcribed as it reads, recursion and all: the matcher
// must agree with it everywhere.  At the text's end a "*?" may still take its
// "?" there, with nothing left after it.
static bool rule_match(std::string_view text, std::string_view pattern) {
    if (pattern.empty())
        return text.empty();
    if (pattern[0] == '*') {
        if (pattern.size() == 1)
            return true;
        const char c = pattern[1];
        for (std::size_t i = 0; i <= text.size(); ++i) {
            const bool here = i < text.size() ? text[i] == c || c == '?' : c == '?';
            if (here && rule_match(text.substr(std::min(i + 1, text.size())), pattern.substr(2)))
                return true;
        }
        return false;
    }
    if (text.empty() || (pattern[0] != '?' && pattern[0] != text[0]))
        return false;
    return rule_match(text.substr(1), pattern.substr(1));
}

TEST(WildcardMatch, AgreesWithTheRecursiveRule) {
    EXPECT_FALSE(xstring_match("ba", "?***a*")); // "**" wants a literal "*"
    EXPECT_TRUE(xstring_match("b*a", "?***a*"));
    std::mt19937 draw(12);
    auto random_text = [&] {
        std::string text(draw() % 8, ' ');
        for (char &c : text)
            c = "ab*?"[draw() % 4];
        return text;
    };
    int disagreements = 0;
    for (int i = 0; i < 300000 && disagreements < 5; ++i) {
        const std::string text = random_text(), pattern = random_text();
        const bool one_way = rule_match(text, pattern);
        const bool two_way = one_way || rule_match(pattern, text);
        if (pattern_match(text.c_str(), pattern.c_str()) != one_way ||
            xstring_match(text.c_str(), pattern.c_str()) != two_way) {
            ADD_FAILURE() << "'" << text << "' against '" << pattern << "': the rule says "
                          << one_way << " one way, " << two_way << " either way";
            ++disagreements;
        }
    }
}

TEST(WildcardMatch, ManyStarsStayFast) {
    // Exponential backtracking would take minutes on this pair.
    std::string text(5000, 'a');
    std::string pattern;
    for (int i = 0; i < 40; ++i)
        pattern += "*a";
    pattern += "*b";
    EXPECT_FALSE(pattern_match(text.c_str(), pattern.c_str()));
}

TEST(Compare, ExactAndCaseInsensitiveForms) {
    EXPECT_EQ(xstring_compare("abc", "abc"), 1);
    EXPECT_EQ(xstring_compare("abc", "abd"), 0);
    EXPECT_EQ(xstringn_compare("abcdef", "abcxyz", 3), 1);
    EXPECT_EQ(xstringn_compare("abcdef", "abcxyz", 4), 0);
    EXPECT_EQ(xstringi_compare("Saferio", "SAFERIO"), 1);
    EXPECT_EQ(xstringi_compare("safer", "saferio"), 0);
    EXPECT_EQ(xstringni_compare("SAFERio", "saferXX", 5), 1);
}

TEST(Numbers, EveryFormWidthAndFailure) {
    for (const auto &row : fixture_rows("core/numbers.txt")) {
        const std::string text = row[1].substr(1, row[1].size() - 2), &reader = row[0];
        SCOPED_TRACE(reader + "(" + row[1] + ")");
        int ok = -1;
        const char *t = text.c_str();
        const std::string value = reader == "xatoi"    ? std::to_string(xatoi(t, &ok))
                                  : reader == "xatoui" ? std::to_string(xatoui(t, &ok))
                                  : reader == "xatol"  ? std::to_string(xatol(t, &ok))
                                  : reader == "xatoul" ? std::to_string(xatoul(t, &ok))
                                                       : "";
        if (reader == "xatold") {
            const long double number = xatold(t, &ok);
            EXPECT_TRUE(row[2] == "-" || number == std::stold(text));
        } else if (row[2] != "-") {
            EXPECT_EQ(value, row[2]);
        }
        EXPECT_EQ(ok, std::stoi(row[3]));
    }
    EXPECT_EQ(xatoi("12", nullptr), 12) << "ok may be null";
}

TEST(Booleans, TextsAndFailures) {
    EXPECT_EQ(xstring_getbool("true"), 1);
    EXPECT_EQ(xstring_getbool("false"), 0);
    EXPECT_STREQ(xstring_putbool(1), "true");
    EXPECT_STREQ(xstring_putbool(0), "false");
    message_capture capture;
    EXPECT_EQ(error_of([] { xstring_getbool("TRUE"); }), "invalid boolean string 'TRUE'");
    EXPECT_EQ(error_of([] { xstring_putbool(2); }), "xassert(val == false) failed");
}

TEST(Substitution, ReplacesFirstOccurrenceWithinLimit) {
    char buffer[32] = "$path.tmp$/a/$path.tmp$";
    EXPECT_EQ(xstring_sub(buffer, "$path.tmp$", "/tmp", sizeof buffer), 0);
    EXPECT_STREQ(buffer, "/tmp/a/$path.tmp$");
    EXPECT_EQ(xstring_sub(buffer, "$path.tmp$", "/var/tmp", sizeof buffer), 7);
    EXPECT_STREQ(buffer, "/tmp/a//var/tmp");
    EXPECT_EQ(xstring_sub(buffer, "$none$", "x", sizeof buffer), -1);
    EXPECT_EQ(xstring_sub(buffer, "a", "a-value-far-too-long-to-fit", sizeof buffer), -2);
    EXPECT_STREQ(buffer, "/tmp/a//var/tmp") << "a failed substitution leaves the buffer alone";
}

TEST(CaseAndCopies, InPlaceConversionAndOwnedCopies) {
    char text[] = "MiXeD 12";
    EXPECT_STREQ(xstrlwr(text), "mixed 12");
    EXPECT_STREQ(xstrupr(text), "MIXED 12");
    char *formatted = xprintf("%s-%04d", "shot", 7);
    EXPECT_STREQ(formatted, "shot-0007");
    xfree(formatted);
    const char *names[] = {"stdio", "nullio", "saferio"};
    xstring_sort(names, 3);
    EXPECT_STREQ(names[0], "nullio");
    EXPECT_STREQ(names[2], "stdio");
    const char haystack[] = {'a', 0, 'b', 'c'};
    EXPECT_EQ(xmemfind(haystack, 4, "bc", 2), haystack + 2);
}

TEST(Paths, BasenameSuffixAndHostForm) {
    EXPECT_STREQ(path_get_basename("a/b/c.tga"), "c.tga");
    EXPECT_STREQ(path_get_basename("c.tga"), "c.tga");
    EXPECT_STREQ(path_get_basename("dir/"), "");
    EXPECT_STREQ(path_get_basename("a\\b.bmp"), "b.bmp");
    EXPECT_STREQ(path_last_suffix("a.b/shot.0001.tga"), "tga");
    EXPECT_STREQ(path_last_suffix("a.b/shot"), "");
    EXPECT_STREQ(path_last_suffix(".profile"), "");
    char windows[] = "data\\fonts\\x.fnt";
    EXPECT_STREQ(path_unix(windows), "data/fonts/x.fnt");
}
