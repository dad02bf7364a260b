// The message channels configured from a real configuration file: each
// channel takes its target from "*.message.handling" at its first use after
// the configuration became active.  The configuration step runs once per
// process, so every case runs in a child process of its own.
#include "core/message.h"
#include "file/config.h"
#include "file/config_test_setup.h"
#include "support/scratch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <unistd.h>

namespace {

std::string configuration(const char *warning_type, const char *error_type, const char *timeout) {
    return std::string("<configuration file for Lumivane.ini, 1 header(s)>\n"
                       "[lumivane.message.handling] (5 entries)\n"
                       "error.type       = ") +
           error_type + "\nwarning.type     = " + warning_type +
           "\nverbose.type     = log\nquestion.type    = log\nquestion.timeout = " + timeout +
           "\n<eof>\n";
}

// Loads the configuration in the child, then ends it without the shutdown
// sequence (which would write the file back).
void load(const std::string &text) {
    write_file("Lumivane.ini", text);
    config_test_register_streams();
    if (!config_load(nullptr)) {
        std::fputs("configuration not loaded\n", stderr);
        _exit(1);
    }
}

[[noreturn]] void leave() {
    std::fflush(stderr);
    _exit(0);
}

class MessageConfig : public testing::Test {
  protected:
    scratch_directory scratch;
};

TEST_F(MessageConfig, ConfiguredConsoleTakesWarningsAtTheirFirstUse) {
    EXPECT_EXIT(
        {
            load(configuration("con", "con", "-1"));
            xwarning("./src/file/probe.c", 12, "probe", "first %s", "warning");
            xwarning("./src/file/probe.c", 13, "probe", "second warning");
            // The log holds only what came before the configuration was active.
            if (read_file("warning.logfile").find("probe.c(1") != std::string::npos)
                std::fputs("logged too\n", stderr);
            leave();
        },
        testing::ExitedWithCode(0),
        testing::AllOf(
            testing::HasSubstr("Lumivane/handler.warning/probe [./src/file/probe.c(12)]: first "
                               "warning\nLumivane/handler.warning/probe "
                               "[./src/file/probe.c(13)]: second warning"),
            testing::Not(testing::HasSubstr("logged too"))));
}

TEST_F(MessageConfig, WithoutConfigurationWarningsGoToTheLog) {
    EXPECT_EXIT(
        {
            xwarning("./src/file/probe.c", 7, "probe", "logged");
            std::fputs(read_file("warning.logfile").c_str(), stderr);
            leave();
        },
        testing::ExitedWithCode(0),
        testing::HasSubstr("Lumivane/handler.warning/probe [./src/file/probe.c(7)]: logged\n"));
}

TEST_F(MessageConfig, NilErrorsStillEndTheProgramSilently) {
    EXPECT_EXIT(
        {
            load(configuration("log", "nil", "-1"));
            xerror("./src/file/probe.c", 21, "probe", "the hidden error");
            std::fputs("error returned\n", stderr);
            leave();
        },
        testing::ExitedWithCode(0),
        testing::AllOf(testing::HasSubstr("was aborted"),
                       testing::Not(testing::HasSubstr("the hidden error")),
                       testing::Not(testing::HasSubstr("error returned"))));
}

TEST_F(MessageConfig, QuestionTimeoutIsRead) {
    EXPECT_EXIT(
        {
            load(configuration("log", "con", "7"));
            xquestion_override(nullptr);
            std::fprintf(stderr, "timeout %d\n", xquestion_get_timeout());
            leave();
        },
        testing::ExitedWithCode(0), "timeout 7\n");
}

TEST_F(MessageConfig, UnknownConfiguredTargetIsAnError) {
    EXPECT_EXIT(
        {
            load(configuration("tty", "con", "-1"));
            xwarning_override(nullptr);
            leave();
        },
        testing::ExitedWithCode(0), "unknown key given 'tty' for override");
}

} // namespace
