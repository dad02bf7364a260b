#include "core/xmain.h"

#include "core/exithand.h"
#include "core/integrity.h"
#include "core/memio/gc.h"
#include "core/memio/memio.h"
#include "core/message.h"
#include "core/timer.h"
#include "file/config.h"
#include "platform/linux/gcc/desktop/system.h"

#include <cstdio>
#include <cstdlib>

static constexpr const char *source_file = "./src/core/xmain.c";
static constexpr const char *source_ident = "xmain";

const char *const application_name = "Lumivane";
const float application_version = 2.05f;
const char *const application_status = "alpha";
const char *const library_name = "OrbaLIB";
const float library_version = 1.0f;
const char *const library_status = "alpha";

static constexpr const char *application_notice =
    "Lumivane - random raytraced desktop pictures, (c) 2025-2026 the Lumivane team";
static constexpr const char *library_notice =
    "OrbaLIB support library, (c) 2025-2026 the Lumivane team";

unsigned long start_time = 0;

void show_banner() {
    std::fputs("\r\n", stderr);
    std::fprintf(stderr, "%s version %4.02f %s [build %s %s]\r\n", application_name,
                 application_version, application_status, __DATE__, __TIME__);
    std::fprintf(stderr, "%s\r\n", application_notice);
    XVERBOSE("init: running on %s version %4.02f %s", library_name, library_version,
             library_status);
    XVERBOSE("init: %s", library_notice);
    XVERBOSE("init: host = %s", system_hostname());
    XVERBOSE("init: cpu  = %s", cpu);
    XVERBOSE("init: cc   = %s", system_compiler());
    XVERBOSE("init: user = %s", system_username());
    XVERBOSE("init: pid  = %d", system_getpid());
    std::fputs("\r\n", stderr);
    std::fflush(stderr);
}

// Whole seconds for the clock part, truncated; a clock that ran backwards (the
// process clock restarts in a forked child) must not overflow the conversion.
int xmain_whole_seconds(double seconds) {
    if (!(seconds >= 0.0))
        return 0;
    return seconds < 2147483647.0 ? static_cast<int>(seconds) : 2147483647;
}

void xmain_format_runtime(char *buffer, std::size_t size, double seconds) {
    int whole = xmain_whole_seconds(seconds);
    std::snprintf(buffer, size, "\n%s was active for %4.02f seconds (%02d:%02d:%02d)\n",
                  application_name, seconds, whole / 3600, (whole % 3600) / 60, whole % 60);
}

void xexit(int code) {
    integrity_uncheck();
    gc_rundown();
    exithand_rundown();
    config_unload();
    memio_trace();
    memio_track();
    unsigned long end = timer_end();
    char line[256];
    xmain_format_runtime(line, sizeof line, timer_elapse(start_time, end));
    std::fputs(line, stdout);
    system_deinit();
    std::exit(code);
}

void xabort_internal__(const char *message, const char *file, int line) {
    std::fprintf(stderr, "\r\n*** %s was aborted *** (from %s, line %d)", application_name,
                 file ? file : "<unknown>", line);
    std::fprintf(stderr, "\r\nmessage : %s", message ? message : "no additional message provided");
    std::fputs("\r\nwarning : skipping garbage collection", stderr);
    std::fputs("\r\nwarning : skipping exit handler execution", stderr);
    std::fputs("\r\nwarning : skipping config save", stderr);
    std::fprintf(stderr, "\r\n\r\ndropping to OS with hard coded exit code %d\r\n", 0);
    std::fflush(stdout);
    std::fflush(stderr);
    system_deinit();
    // Status 0 on purpose: the shutdown sequence is skipped, not failed.
    std::_Exit(0);
}
