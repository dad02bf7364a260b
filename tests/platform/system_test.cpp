#include "core/message.h"
#include "platform/linux/gcc/desktop/keyboard.h"
#include "platform/linux/gcc/desktop/system.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

TEST(FileSystem, MkdirAndAccess) {
    scratch_directory scratch;
    EXPECT_EQ(system_faccess("made"), 0);
    EXPECT_EQ(system_mkdir("made"), 0);
    EXPECT_EQ(system_faccess("made"), 1);
    EXPECT_EQ(system_mkdir("made"), -1) << "an existing directory";
    EXPECT_EQ(system_mkdir("missing/parent"), -1);
}

TEST(FileSystem, UnsupportedCallsAreErrors) {
    message_capture capture;
    EXPECT_EQ(error_of([] { system_mkdir_recurse("a/b"); }), "not supported");
    EXPECT_EQ(error_of([] { system_linear_text(); }), "not supported");
    EXPECT_EQ(capture.errors[0].file, "./src/platform/linux/gcc/desktop/system.c");
}

TEST(Identity, HostLineAndUser) {
    const char *first = system_hostname();
    std::string text = first;
    EXPECT_EQ(text.rfind("Linux ", 0), 0u) << "the whole uname -a line: " << text;
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_EQ(system_hostname(), first) << "one static buffer";
    EXPECT_STRNE(system_username(), ""); // the rest shows in the start-up banner
}

TEST(AuxiliarySinks, NeverReportAnAbort) {
    EXPECT_EQ(system_erraux("f.c", 1, "test error line"), 0);
    EXPECT_EQ(system_wrnaux("f.c", 2, "test warning line"), 0);
    EXPECT_EQ(system_veraux("f.c", 3, "test verbose line"), 0);
}

TEST(ShellDeathTest, RunsTheUsersShellOrTheSystemOne) {
    EXPECT_EXIT(
        {
            setenv("SHELL", "/bin/false", 1);
            std::_Exit(system_shell());
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EXIT(
        {
            setenv("SHELL", "/bin/true", 1);
            std::_Exit(system_shell());
        },
        testing::ExitedWithCode(1), "");
    EXPECT_EXIT(
        {
            // /bin/sh reads its commands from the standard input.
            write_file("commands.sh", "echo from-the-system-shell >&2\nexit 0\n");
            if (!std::freopen("commands.sh", "r", stdin))
                std::_Exit(9);
            unsetenv("SHELL");
            std::_Exit(system_shell());
        },
        testing::ExitedWithCode(1), "from-the-system-shell");
}

TEST(Keyboard, NoKeyIsEverWaiting) {
    EXPECT_EQ(keyb_init(), nullptr);
    EXPECT_EQ(keyb_kbhit(), 0);
    keyb_flush(); // returns at once
    keyb_deinit();
}

TEST(KeyboardDeathTest, GetchReadsTheStandardInput) {
    EXPECT_EXIT(
        {
            write_file("keys.txt", "q");
            if (!std::freopen("keys.txt", "r", stdin))
                std::_Exit(9);
            int first = keyb_getch();
            int second = keyb_getch();
            std::_Exit(first == 'q' && second == -1 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EXIT(
        {
            xverbose_override("con");
            write_file("keys.txt", "k");
            if (!std::freopen("keys.txt", "r", stdin))
                std::_Exit(9);
            std::_Exit(keyb_wait(nullptr) == 'k' ? 0 : 1);
        },
        testing::ExitedWithCode(0), "hit \\(almost\\) any key to continue...");
}
