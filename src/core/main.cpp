// The process entry, kept apart from the rest of the start-up module so that
// programs with an entry of their own (fuzz harnesses) can link the library.
#include "core/message.h"
#include "core/timer.h"
#include "core/xmain.h"
#include "platform/linux/gcc/desktop/system.h"

#include <cstdio>
#include <malloc.h>

static constexpr const char *source_file = "./src/core/xmain.c";
static constexpr const char *source_ident = "xmain";

int main(int argc, char **argv) {
    // Pictures of several megabytes are made and freed for every image.
    // Keeping freed blocks in the heap spares each new picture the page
    // faults of fresh memory, which cost more than its pixels' work.
    mallopt(M_MMAP_THRESHOLD, 64 << 20);
    mallopt(M_TRIM_THRESHOLD, 256 << 20);
    std::setvbuf(stderr, nullptr, _IONBF, 0);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    show_banner();
    system_init();
    start_time = timer_start();
    int result = xmain(argc, argv);
    // The application ends through xexit; coming back here is a fault.
    XERROR("xassert(%s) failed", "0");
    return result;
}
