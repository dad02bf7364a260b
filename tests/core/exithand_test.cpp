#include "core/exithand.h"
#include "core/message.h"
#include "core/xmain.h"
#include "support/capture.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>

namespace {

std::string ran;

template <int N> void handler() {
    ran += std::to_string(N) + ";";
}

// Names are not copied by the table, so they must outlive the registration.
std::string names[40];
template <int... N> void add_named(std::integer_sequence<int, N...>) {
    ((names[N] = "handler " + std::to_string(N), exithand_add(handler<N>, names[N].c_str())), ...);
}

} // namespace

TEST(ExitHandlers, RunInRegistrationOrderAndStayRegistered) {
    ran.clear();
    exithand_add(handler<3>, "third registered first");
    exithand_add(handler<1>, "then one");
    exithand_add(handler<2>, "then two");
    exithand_rundown();
    EXPECT_EQ(ran, "3;1;2;");
    EXPECT_EQ(exithand_find(handler<1>, nullptr), 1);
    EXPECT_EQ(exithand_find(nullptr, "then two"), 1);
    exithand_del(handler<3>, "then one");
    EXPECT_EQ(exithand_find(handler<3>, nullptr), 0) << "cleared by function";
    EXPECT_EQ(exithand_find(nullptr, "then one"), 0) << "cleared by name";
    exithand_del(nullptr, "then two");
    EXPECT_EQ(exithand_find(handler<2>, nullptr), 0);
    exithand_del(nullptr, "not there"); // no match is no error
}

TEST(ExitHandlers, FreedSlotIsReusedFirst) {
    ran.clear();
    exithand_add(handler<10>, "a");
    exithand_add(handler<11>, "b");
    exithand_del(handler<10>, nullptr);
    exithand_add(handler<12>, "c"); // takes a's slot, in front of b
    exithand_rundown();
    EXPECT_EQ(ran, "12;11;");
    exithand_del(handler<11>, "c");
}

TEST(ExitHandlers, DuplicatesAreErrors) {
    exithand_add(handler<20>, "duplicate test");
    message_capture capture;
    EXPECT_EQ(error_of([] { exithand_add(handler<20>, "other name"); }),
              "duplicate exit handler function 'other name'");
    EXPECT_EQ(error_of([] { exithand_add(handler<21>, "duplicate test"); }),
              "duplicate exit handler name 'duplicate test'");
    EXPECT_EQ(exithand_find(handler<21>, nullptr), 0) << "the table is left as it was";
    exithand_del(handler<20>, nullptr);
}

TEST(ExitHandlers, TheThirtyThirdIsRefused) {
    message_capture capture;
    add_named(std::make_integer_sequence<int, EXITHAND_SLOTS>());
    EXPECT_EQ(error_of([] { exithand_add(handler<99>, "one too many"); }),
              "failed to add exit-handler 'one too many'");
    for (auto &name : names)
        if (!name.empty())
            exithand_del(nullptr, name.c_str());
    EXPECT_EQ(exithand_find(handler<0>, nullptr), 0);
}

TEST(ExitHandlersDeathTest, XexitRunsHandlersBeforeEnding) {
    EXPECT_EXIT(
        {
            xverbose_override("con");
            exithand_add([] { std::fputs("first handler\n", stderr); }, "first");
            exithand_add([] { std::fputs("second handler\n", stderr); }, "second");
            xexit(3);
        },
        testing::ExitedWithCode(3),
        "running exit handler 'first'.*first handler.*running exit handler 'second'.*second "
        "handler");
}
