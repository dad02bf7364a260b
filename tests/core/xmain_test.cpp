#include "core/debshell.h"
#include "core/message.h"
#include "core/xmain.h"
#include "support/capture.h"

#include <csignal>
#include <gtest/gtest.h>
#include <string>

namespace {

std::string runtime_line(double seconds) {
    char line[256];
    xmain_format_runtime(line, sizeof line, seconds);
    return line;
}

} // namespace

TEST(RunTimeLine, TruncatesTheClockPart) {
    EXPECT_EQ(runtime_line(3.7), "\nLumivane was active for 3.70 seconds (00:00:03)\n");
    EXPECT_EQ(runtime_line(3725.0), "\nLumivane was active for 3725.00 seconds (01:02:05)\n");
    EXPECT_EQ(runtime_line(59.999), "\nLumivane was active for 60.00 seconds (00:00:59)\n");
    EXPECT_EQ(runtime_line(0.0), "\nLumivane was active for 0.00 seconds (00:00:00)\n");
}

TEST(Banner, VerboseLinesInOrder) {
    message_capture capture;
    testing::internal::CaptureStderr();
    show_banner();
    std::string console = testing::internal::GetCapturedStderr();
    EXPECT_EQ(console.rfind("\r\nLumivane version 2.05 alpha [build ", 0), 0u) << console;
    ASSERT_EQ(capture.verboses.size(), 7u);
    EXPECT_EQ(capture.verboses[0].text, "init: running on OrbaLIB version 1.00 alpha");
    EXPECT_EQ(capture.verboses[2].text.rfind("init: host = ", 0), 0u);
    EXPECT_EQ(capture.verboses[3].text, "init: cpu  = intel");
    EXPECT_EQ(capture.verboses[4].text, "init: cc   = gcc/egcs version 2.90");
    EXPECT_EQ(capture.verboses[5].text.rfind("init: user = ", 0), 0u);
    EXPECT_EQ(capture.verboses[6].text, "init: pid  = " + std::to_string(getpid()));
    EXPECT_EQ(capture.verboses[6].file, "./src/core/xmain.c");
}

TEST(AbortDeathTest, PrintsFiveLinesAndExitsWithZero) {
    EXPECT_EXIT(xabort_internal__("disk on fire", "here.c", 42), testing::ExitedWithCode(0),
                "\\*\\*\\* Lumivane was aborted \\*\\*\\* \\(from here.c, line 42\\)\r\n"
                "message : disk on fire\r\n"
                "warning : skipping garbage collection\r\n"
                "warning : skipping exit handler execution\r\n"
                "warning : skipping config save\r\n\r\n"
                "dropping to OS with hard coded exit code 0");
}

TEST(AbortDeathTest, NullTextsHavePlaceholders) {
    EXPECT_EXIT(xabort_internal__(nullptr, nullptr, 7), testing::ExitedWithCode(0),
                "from <unknown>, line 7\\).*message : no additional message provided");
}

TEST(DebugShellDeathTest, IsClosedInThisBuild) {
    EXPECT_EXIT(
        debug_shell("caller.c", 12), testing::ExitedWithCode(0),
        "Lumivane/handler.error/debshell \\[./src/core/debshell.c\\([0-9]+\\)\\]: trying to "
        "enter debugging shell in non developers mode at caller.c, line 12");
}

TEST(SignalDeathTest, InterruptWarnsAndEndsBySignal) {
    EXPECT_EXIT(
        {
            xwarning_override("con");
            std::raise(SIGINT);
        },
        testing::KilledBySignal(SIGINT),
        "Lumivane/handler.warning/system "
        "\\[./src/platform/linux/gcc/desktop/system.c\\([0-9]+\\)\\]: "
        "shutting down system due to recieved signal\\(0x02\\)");
}

TEST(SignalDeathTest, TerminateEndsBySignalToo) {
    EXPECT_EXIT(
        {
            xwarning_override("con");
            std::raise(SIGTERM);
        },
        testing::KilledBySignal(SIGTERM), "recieved signal\\(0x0f\\)");
}
