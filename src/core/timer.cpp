#include "core/timer.h"

#include "core/message.h"

#include <ctime>

static constexpr const char *source_file = "./src/core/timer.c";
static constexpr const char *source_ident = "timer";

std::uint32_t global_factor = 500;

namespace {

constexpr std::uint32_t calibration_milliseconds = 6500;

int calibrate_stop() {
    return 0;
}

// Polled through a volatile pointer so that the compiler can neither inline
// the stop function nor drop the calibration loop as having no effect.
timer_stop_fn volatile polled_stop = nullptr;

} // namespace

const char *timer_init() {
    global_factor = 500;
    XASSERT(std::clock() != -1);
    XVERBOSE("about to calibrate timer (%d milli seconds)", calibration_milliseconds);
    std::clock_t t0 = std::clock();
    timer_sleep(calibration_milliseconds, calibrate_stop);
    std::clock_t t1 = std::clock();
    // A clock too coarse to see the loop would divide by zero: count one tick.
    double ticks = t1 > t0 ? static_cast<double>(t1 - t0) : 1.0;
    global_factor = static_cast<std::uint32_t>(global_factor * 6500000000.0 / (ticks * 10000.0));
    if (global_factor == 0)
        global_factor = 1;
    XVERBOSE("calibration done (global factor is %lu)", static_cast<unsigned long>(global_factor));
    return nullptr;
}

void timer_deinit() {}

unsigned long timer_start() {
    return static_cast<unsigned long>(std::clock());
}
unsigned long timer_end() {
    return static_cast<unsigned long>(std::clock());
}

double timer_elapse(unsigned long start, unsigned long end) {
    return static_cast<double>(end - start) / 1000000.0;
}

int timer_sleep(std::uint32_t milliseconds, timer_stop_fn stop) {
    polled_stop = stop ? stop : calibrate_stop;
    for (std::uint32_t ms = 0; ms < milliseconds; ++ms) {
        for (std::uint32_t poll = 0; poll < global_factor; ++poll) {
            if (polled_stop() == 1)
                return 1;
        }
    }
    return 0;
}
