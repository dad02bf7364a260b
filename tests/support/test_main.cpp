// The entry of every test program: the library's `main` starts the system
// and calls this `xmain`, which runs the tests in a fresh scratch directory
// (message log files and test output land there) and ends through `xexit`.
#include "core/xmain.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

int xmain(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    scratch_enter_process_directory();
    int result = RUN_ALL_TESTS();
    xexit(result);
}
