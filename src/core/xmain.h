// Start-up and shutdown.  The library owns the process entry: `main` prepares
// the standard streams, prints the banner, installs the signal handling,
// starts the run-time clock and calls the application's `xmain`, which ends the
// program through `xexit` and never returns.  Fatal faults end through
// `xabort_internal__`, which deliberately skips the shutdown sequence.
#pragma once

#include <cstddef>

// Supplied by the application (and by each test or benchmark program).
int xmain(int argc, char **argv);

// Identity of the application and the library, as printed.
extern const char *const application_name; // "Lumivane"
extern const float application_version;    // 2.05
extern const char *const application_status;
extern const char *const library_name; // "OrbaLIB"
extern const float library_version;
extern const char *const library_status;

// Timer value taken just before `xmain` is called.
extern unsigned long start_time;

void show_banner();

// Runs the shutdown sequence (memory collection, exit handlers, configuration
// save, leak report, run-time line) and ends the process with `code`.
[[noreturn]] void xexit(int code);

// Ends the process at once with status 0, saying what it skips.  Either text
// may be null.
[[noreturn]] void xabort_internal__(const char *message, const char *file, int line);
#define xabort(message) xabort_internal__((message), __FILE__, __LINE__)

// Writes the run-time line's text for `seconds` into `buffer`: the clock part
// truncates the seconds, it never rounds.
void xmain_format_runtime(char *buffer, std::size_t size, double seconds);

// Seconds truncated toward zero to a whole number for clock displays, clamped
// to the range of int.
int xmain_whole_seconds(double seconds);
