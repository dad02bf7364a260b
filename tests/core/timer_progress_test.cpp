#include "core/memio/memio.h"
#include "core/progress.h"
#include "core/timer.h"
#include "support/capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

TEST(Timer, ElapseIsTicksOverAMillion) {
    EXPECT_DOUBLE_EQ(timer_elapse(0, 2500000), 2.5);
    EXPECT_DOUBLE_EQ(timer_elapse(1000000, 1000000), 0.0);
}

namespace {
int polls = 0;
int stop_at_once() {
    return ++polls, 1;
}
int stop_after_ten() {
    return ++polls >= 10 ? 1 : 0;
}
int never_stop() {
    return ++polls, 0;
}
} // namespace

TEST(Timer, SleepPollsTheStopFunction) {
    polls = 0;
    EXPECT_EQ(timer_sleep(1000, stop_at_once), 1);
    EXPECT_EQ(polls, 1);
    polls = 0;
    EXPECT_EQ(timer_sleep(1000, stop_after_ten), 1);
    EXPECT_EQ(polls, 10);
    std::uint32_t saved = global_factor;
    global_factor = 7;
    polls = 0;
    EXPECT_EQ(timer_sleep(3, never_stop), 0);
    EXPECT_EQ(polls, 21) << "global_factor polls per millisecond";
    EXPECT_EQ(timer_sleep(0, never_stop), 0);
    global_factor = saved;
}

TEST(Timer, CalibrationSetsAUsableFactor) {
    message_capture capture;
    EXPECT_EQ(timer_init(), nullptr);
    EXPECT_GT(global_factor, 0u);
    EXPECT_THAT(texts(capture.verboses),
                testing::ElementsAre("about to calibrate timer (6500 milli seconds)",
                                     "calibration done (global factor is " +
                                         std::to_string(global_factor) + ")"));
}

TEST(Progress, TextBarShowsPhaseAndPercent) {
    testing::internal::CaptureStderr();
    progress *record = progress_init_internal(0, 0, "render", "tracing rows");
    ASSERT_NE(record, nullptr);
    progress_add(record, 50, 100);
    std::string shown = testing::internal::GetCapturedStderr();
    EXPECT_EQ(shown, "progress: render (tracing rows)\n"
                     "\r      render(phase 0) :  50.00% " +
                         std::string(16, '#'));
    testing::internal::CaptureStderr();
    progress_reset(record);
    shown = testing::internal::GetCapturedStderr();
    EXPECT_NE(shown.find("\r" + std::string(79, ' ')), std::string::npos);
    EXPECT_NE(shown.find("(phase 1) :  50.00% "), std::string::npos);
    testing::internal::CaptureStderr();
    progress_deinit(record);
    shown = testing::internal::GetCapturedStderr();
    EXPECT_NE(shown.find("\rrender took h00:m00:s00 ("), std::string::npos) << shown;
    EXPECT_EQ(shown.back(), '\n');
}

TEST(Progress, DefaultTextsAndFullBar) {
    testing::internal::CaptureStderr();
    progress *record = progress_init_internal(1, 2, nullptr, nullptr);
    progress_add(record, 3, 3);
    progress_add(record, 1, 0); // a zero total must not break the bar
    progress_deinit(record);
    std::string shown = testing::internal::GetCapturedStderr();
    EXPECT_EQ(shown.rfind("progress: no name (no info)\n", 0), 0u);
    EXPECT_NE(shown.find("100.00% " + std::string(33, '#')), std::string::npos);
}

namespace {
double hooked = -1.0;
int hook_calls = 0;
void hook(double percent) {
    hooked = percent;
    ++hook_calls;
}
} // namespace

TEST(Progress, HookReceivesPercentagesAndNothingIsPrinted) {
    std::size_t held = memio_blocks_held();
    progress_hook(hook);
    hook_calls = 0;
    testing::internal::CaptureStderr();
    progress *record = progress_init_internal(0, 0, "hooked", nullptr);
    progress_add(record, 1, 4);
    EXPECT_DOUBLE_EQ(hooked, 25.0);
    progress_reset(record);
    progress_deinit(record);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    progress_hook(nullptr);
    EXPECT_EQ(hook_calls, 4) << "add, twice for reset, once for deinit";
    EXPECT_EQ(memio_blocks_held(), held) << "deinit frees the record and its texts";
}

TEST(Progress, NullRecordIsAccepted) {
    progress_add(nullptr, 1, 2);
    progress_reset(nullptr);
    progress_deinit(nullptr);
}
