// Shared set-up of the fuzz harnesses: message targets that keep a reported
// error from ending the process.  An error is thrown as `fuzz_error` and
// caught by `fuzz_guard`, so control comes back to the harness.
#pragma once

#include <exception>

struct fuzz_error : std::exception {};

// Installs the quiet targets once (first call) and runs `body`, swallowing a
// reported error.
template <class Body> void fuzz_guard(Body body);

void fuzz_install_targets();

template <class Body> void fuzz_guard(Body body) {
    fuzz_install_targets();
    try {
        body();
    } catch (const fuzz_error &) {
    }
}
