// The entry of every test program: the library's `main` starts the system
// and calls this `xmain`, which runs the tests in a fresh scratch directory
// (message log files and test output land there) and ends through `xexit`.
#include "core/xmain.h"
#include "support/scratch.h"

#include <cstdlib>
#include <gtest/gtest.h>

int xmain(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    // The tests set up their own configuration and options: a user's
    // settings in the environment must not reach them.
    unsetenv("Lumivane_ini");
    unsetenv("lumivane_env");
    scratch_enter_process_directory();
    int result = RUN_ALL_TESTS();
    xexit(result);
}
