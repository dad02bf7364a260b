#include "core/message.h"
#include "support/capture.h"
#include "support/child.h"
#include "support/scratch.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <utility>

namespace {

constexpr const char *source_file = "./tests/core/message_test.c";
constexpr const char *source_ident = "test.message";

int yes_no_default_yes = 1;
int marked = 1;
const question_option yes_no[] = {
    {"yes", nullptr, 'y'}, {"no", nullptr, 'n'}, {nullptr, nullptr, 0}};
const question_option default_no[] = {
    {"yes", nullptr, 'y'}, {"no", &yes_no_default_yes, 'n'}, {nullptr, nullptr, 0}};
const question_option two_defaults[] = {
    {"yes", &marked, 'y'}, {"no", &marked, 'n'}, {nullptr, nullptr, 0}};

// Runs the statement with the standard input read from a file holding `keys`.
void with_keys(const char *keys) {
    write_file("keys.txt", keys);
    if (!std::freopen("keys.txt", "r", stdin))
        std::_Exit(99);
}

} // namespace

// The log files are deleted on a channel's first use in a run, so these run in
// a fresh process of their own.
TEST(LogTarget, DeletesOnFirstUseThenAppendsLines) {
    expect_in_child(
        [] {
            write_file("warning.logfile", "left over from an earlier run\n");
            warning_log("src.c", 12, "ident", "first %d", 1);
            warning_log("src.c", 13, nullptr, "second %s", "two");
            std::fprintf(stderr, "[%s]", read_file("warning.logfile").c_str());
        },
        "\\[Lumivane/handler.warning/ident \\[src.c\\(12\\)\\]: first 1\n"
        "Lumivane/handler.warning/<annonymous> \\[src.c\\(13\\)\\]: second two\n\\]");
}

TEST(LogTarget, QuestionsLogTheirAnswer) {
    expect_in_child(
        [] {
            const int first = question_log("q.c", 5, "ident", yes_no, "overwrite '%s' ?", "a.tga");
            const int chosen = question_log("q.c", 6, "ident", default_no, "again ?");
            std::fprintf(stderr, "[%c%c][%s]", first, chosen,
                         read_file("question.logfile").c_str());
        },
        "\\[yn\\]\\[Lumivane/handler.question/ident \\[q.c\\(5\\)\\]: overwrite 'a.tga' \\? "
        "returning 'y' \\(0x79\\)\nLumivane/handler.question/ident \\[q.c\\(6\\)\\]: again \\? "
        "returning 'n' \\(0x6e\\)\n\\]");
}

// Every target ends the program after an error; "nil" without the message.
TEST(ErrorChannelDeathTest, EveryTargetAborts) {
    scratch_directory scratch;
    const std::pair<const char *, const char *> targets[] = {
        {"con", "Lumivane/handler.error/test.message \\[./tests/core/message_test.c\\([0-9]+\\)"
                "\\]: shown 7\n.*was aborted.*message : shown 7"},
        {"log", "message : shown 7"},
        {"aux", "message : shown 7"},
        {"nil", "no additional message provided"},
    };
    for (const auto &[target, shown] : targets) {
        EXPECT_EXIT(
            {
                xerror_override(target);
                XERROR("shown %d", 7);
                std::_Exit(5); // never reached
            },
            testing::ExitedWithCode(0), shown)
            << target;
    }
    EXPECT_NE(read_file("error.logfile").find("]: shown 7\n"), std::string::npos)
        << "the child shares this program's scratch folder";
    EXPECT_EXIT(
        {
            if (!std::freopen("nil.txt", "w", stderr))
                std::_Exit(9);
            xerror_override("nil");
            XERROR("secret %d", 1);
        },
        testing::ExitedWithCode(0), "");
    std::string shown = read_file("nil.txt");
    EXPECT_NE(shown.find("was aborted"), std::string::npos);
    EXPECT_EQ(shown.find("secret"), std::string::npos);
    EXPECT_EXIT(xerror("f.c", 1, "id", nullptr), testing::ExitedWithCode(0),
                "message : xassert\\(format\\) failed");
}

TEST(ErrorChannelDeathTest, UnwritableLogAbortsAtOnce) {
    scratch_directory scratch;
    EXPECT_EXIT(
        {
            mkdir("error.logfile", 0777);
            write_file("error.logfile/keep", "x");
            xerror_override("log");
            XERROR("cannot be logged");
        },
        testing::ExitedWithCode(0), "message : NULL != \\(stream = fopen\\(logfile, \"a\"\\)\\)");
}

TEST(Overrides, UnknownTargetNameIsAnError) {
    message_capture capture;
    EXPECT_EQ(error_of([] { xwarning_override("tty"); }), "unknown key given 'tty' for override");
    EXPECT_EQ(error_of([] { xverbose_override("tty"); }), "unknown key given 'tty' for override");
    EXPECT_EQ(error_of([] { xquestion_override("aux"); }), "unknown key given 'aux' for override")
        << "questions have no system-log target";
}

TEST(Overrides, NamesSelectTargets) {
    xmessage_fn saved = xwarning;
    xwarning_override("con");
    EXPECT_EQ(xwarning, warning_con);
    xwarning_override("con+key");
    EXPECT_EQ(xwarning, warning_cok);
    xwarning_override("nil");
    EXPECT_EQ(xwarning, warning_nil);
    xwarning = saved;
    xquestion_fn saved_question = xquestion;
    xquestion_override("con+key");
    EXPECT_EQ(xquestion, question_con) << "questions have one console target";
    xquestion = saved_question;
}

TEST(ConsoleTargets, WarningLineOnStandardError) {
    testing::internal::CaptureStderr();
    warning_con("w.c", 3, "ident", "watch %s", "out");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Lumivane/handler.warning/ident [w.c(3)]: watch out\n");
    testing::internal::CaptureStderr();
    verbose_nil("v.c", 3, "ident", "dropped");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(ConsoleTargets, MissingArgumentsAreErrors) {
    message_capture capture;
    EXPECT_EQ(error_of([] { warning_con("w.c", 1, "id", nullptr); }), "xassert(format) failed");
    EXPECT_EQ(error_of([] { verbose_nil(nullptr, 1, "id", "x"); }), "xassert(file) failed");
    EXPECT_EQ(error_of([] { question_nil("q.c", 1, "id", nullptr, "x"); }),
              "xassert(question) failed");
}

TEST(ConsoleKeyDeathTest, EscapeAbortsAnyOtherKeyContinues) {
    EXPECT_EXIT(
        {
            with_keys("\x1b");
            warning_cok("w.c", 1, "id", "press a key");
            std::_Exit(3);
        },
        testing::ExitedWithCode(0), "press a key\n.*was aborted");
    EXPECT_EXIT(
        {
            with_keys("x");
            warning_cok("w.c", 1, "id", "press a key");
            std::_Exit(3);
        },
        testing::ExitedWithCode(3), "press a key\n");
}

TEST(Questions, TwoDefaultsAreAnError) {
    message_capture capture;
    EXPECT_EQ(error_of([] { question_nil("q.c", 1, "id", two_defaults, "which?"); }),
              "mulitple option selected");
    EXPECT_EQ(error_of([] { question_log("q.c", 1, "id", two_defaults, "which?"); }),
              "mulitple option selected");
}

TEST(Questions, NilAnswersTheDefaultOrTheFirst) {
    EXPECT_EQ(question_nil("q.c", 1, "id", yes_no, "?"), 'y');
    EXPECT_EQ(question_nil("q.c", 1, "id", default_no, "?"), 'n');
}

TEST(Questions, ConsoleShowsOptionsAndTakesTheDefault) {
    testing::internal::CaptureStderr();
    int answer = question_con("q.c", 9, "id", default_no, "overwrite '%s' ?", "x");
    std::string shown = testing::internal::GetCapturedStderr();
    EXPECT_EQ(answer, 'n');
    EXPECT_EQ(shown, "Lumivane/handler.question/id [q.c(9)]: overwrite 'x' ?\n"
                     "\t(y) yes\n\t(n) no\n\treturning 'n' (0x6e)\n");
}

TEST(Questions, ConsoleCountdownEndsWithTheFirstAnswer) {
    int saved = xquestion_get_timeout();
    xquestion_set_timeout(2);
    testing::internal::CaptureStderr();
    int answer = question_con("q.c", 9, "id", yes_no, "go ?");
    std::string shown = testing::internal::GetCapturedStderr();
    xquestion_set_timeout(saved);
    EXPECT_EQ(answer, 'y');
    EXPECT_NE(shown.find("\r\t[timeout in 2   seconds]\r\t[timeout in 1   seconds]"),
              std::string::npos)
        << shown;
}

TEST(QuestionsDeathTest, ConsoleWithoutTimeoutReadsKeys) {
    EXPECT_EXIT(
        {
            with_keys("x\nn\n");
            std::_Exit(question_con("q.c", 1, "id", yes_no, "go ?") == 'n' ? 0 : 1);
        },
        testing::ExitedWithCode(0), "unknown option '0x78'");
    EXPECT_EXIT(
        {
            with_keys("\x1b");
            question_con("q.c", 1, "id", yes_no, "go ?");
        },
        testing::ExitedWithCode(0), "user aborted while in question loop");
    EXPECT_EXIT(
        {
            with_keys("");
            std::_Exit(question_con("q.c", 1, "id", yes_no, "go ?") == 'y' ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}
