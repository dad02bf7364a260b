// Progress indicator for long operations: a text bar on the standard error
// stream, or the application's hook called with a percentage.  Without a hook
// and outside text mode every call does nothing and `progress_init_internal`
// returns null, which the other calls accept.
#pragma once

#include <cstdint>

struct progress {
    char *name;          // owned; "no name" when none was given
    char *info;          // owned; "no info" when none was given
    std::int32_t value;  // caller's value, carried unchanged
    unsigned long start; // timer_start() at creation
    std::int32_t value2; // second caller's value, carried unchanged
    std::int32_t phase;  // starts at 0, advanced by progress_reset
    double last_done;    // the last fraction reported, repeated by reset and deinit
    double last_total;
};

using progress_hook_fn = void (*)(double percent);

void progress_hook(progress_hook_fn function);
progress *progress_init_internal(std::int32_t value, std::int32_t value2, const char *name,
                                 const char *info);
void progress_add(progress *record, double done, double total);
void progress_reset(progress *record);
void progress_deinit(progress *record);

// Ends a progress indicator on every way out of a scope (an error that
// unwinds included); finish() ends it early.
class progress_guard {
  public:
    progress_guard(const char *name, const char *info);
    progress_guard(const progress_guard &) = delete;
    progress_guard &operator=(const progress_guard &) = delete;
    ~progress_guard();
    void add(double done, double total);
    void reset();
    void finish();

  private:
    progress *record_;
};
