// Run-time measurement on the process clock and a calibrated busy-wait sleep
// that a caller's stop function can interrupt.
#pragma once

#include <cstdint>

using timer_stop_fn = int (*)();

// Stop-function polls per millisecond of `timer_sleep`; replaced by calibration.
extern std::uint32_t global_factor;

// Calibrates `global_factor`; returns null (no error text).
const char *timer_init();
void timer_deinit();

// The process clock in clock ticks.
unsigned long timer_start();
unsigned long timer_end();

// (end - start) / 1000000.0 seconds, both read as unsigned.
double timer_elapse(unsigned long start, unsigned long end);

// Busy-waits `milliseconds`, polling `stop` (when non-null) `global_factor`
// times per millisecond; returns 1 as soon as `stop` returns 1, else 0.
int timer_sleep(std::uint32_t milliseconds, timer_stop_fn stop);
