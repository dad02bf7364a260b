#include "core/progress.h"

#include "core/memio/memio.h"
#include "core/message.h"
#include "core/timer.h"
#include "core/xmain.h"
#include "platform/linux/gcc/desktop/keyboard.h"
#include "platform/linux/gcc/desktop/video/video.h"

#include <cstdio>

static constexpr const char *source_file = "./src/core/progress.c";
static constexpr const char *source_ident = "progress";

namespace {

progress_hook_fn callback = nullptr;
constexpr int escape_key = 27;

// Nothing to show on: no hook, and the video output is not a text console.
bool silent() {
    return !callback && !video_is_text();
}

void clear_line() {
    std::fprintf(stderr, "\r%79s", "");
}

} // namespace

void progress_hook(progress_hook_fn function) {
    callback = function;
}

progress *progress_init_internal(std::int32_t value, std::int32_t value2, const char *name,
                                 const char *info) {
    if (silent())
        return nullptr;
    auto *record = static_cast<progress *>(xcalloc(1, sizeof(progress)));
    record->name = xstrdup(name ? name : "no name");
    record->info = xstrdup(info ? info : "no info");
    record->value = value;
    record->start = timer_start();
    record->value2 = value2;
    record->phase = 0;
    record->last_total = 1.0;
    memio_lock(record);
    if (!callback)
        std::fprintf(stderr, "progress: %s (%s)\n", record->name, record->info);
    return record;
}

void progress_add(progress *record, double done, double total) {
    if (!record || silent())
        return;
    record->last_done = done;
    record->last_total = total;
    double percent = done / total * 100.0;
    if (callback) {
        callback(percent);
        return;
    }
    std::fprintf(stderr, "\r%12s(phase %d) : %6.02f%% ", record->name, record->phase, percent);
    // The bar never runs past the line, whatever fraction a caller reports.
    double shown = percent >= 0.0 ? (percent <= 100.0 ? percent : 100.0) : 0.0;
    int bars = static_cast<int>(shown) / 3;
    for (int i = 0; i < bars; ++i)
        std::fputc('#', stderr);
    std::fflush(stderr);
}

void progress_reset(progress *record) {
    if (!record || silent())
        return;
    progress_add(record, record->last_done, record->last_total);
    ++record->phase;
    if (!callback)
        clear_line();
    progress_add(record, record->last_done, record->last_total);
}

void progress_deinit(progress *record) {
    if (!record || silent())
        return;
    progress_add(record, record->last_done, record->last_total);
    bool hooked = callback != nullptr;
    if (!hooked) {
        double seconds = timer_elapse(record->start, timer_end());
        int whole = xmain_whole_seconds(seconds);
        clear_line();
        std::fprintf(stderr, "\r%s took h%02d:m%02d:s%02d (%4.02f seconds)\n", record->name,
                     whole / 3600, (whole % 3600) / 60, whole % 60, seconds);
    }
    memio_unlock(record);
    xfree(record->name);
    xfree(record->info);
    xfree(record);
    if (!hooked && keyb_kbhit() && keyb_getch() == escape_key)
        XERROR("user aborted");
}

progress_guard::progress_guard(const char *name, const char *info)
    : record_(progress_init_internal(0, 0, name, info)) {}

progress_guard::~progress_guard() {
    // Ending the indicator may report (a user's Escape); while an error
    // unwinds that report has nowhere to go.
    try {
        finish();
    } catch (...) {
    }
}

void progress_guard::add(double done, double total) {
    progress_add(record_, done, total);
}

void progress_guard::reset() {
    progress_reset(record_);
}

void progress_guard::finish() {
    progress *record = record_;
    record_ = nullptr;
    if (record)
        progress_deinit(record);
}
