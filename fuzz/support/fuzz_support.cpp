#include "support/fuzz_support.h"

#include "core/message.h"

#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace {

void raise_error(const char *, int, const char *, const char *, ...) {
    throw fuzz_error();
}
void drop(const char *, int, const char *, const char *, ...) {}
int first_answer(const char *, int, const char *, const question_option *options, const char *,
                 ...) {
    return options->retval;
}

} // namespace

void fuzz_install_targets() {
    static bool installed = false;
    if (installed)
        return;
    installed = true;
    xerror = raise_error;
    xwarning = drop;
    xverbose = drop;
    xquestion = first_answer;
    // Harnesses may write scratch files: keep them out of the caller's folder.
    static char pattern[] = "/tmp/lumivane-fuzz-XXXXXX";
    if (mkdtemp(pattern) && chdir(pattern) == 0)
        std::atexit([] {
            std::error_code ignored;
            std::filesystem::current_path("/tmp", ignored);
            std::filesystem::remove_all(pattern, ignored);
        });
}
