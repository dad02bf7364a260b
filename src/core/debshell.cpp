#include "core/debshell.h"

#include "core/message.h"

static constexpr const char *source_file = "./src/core/debshell.c";
static constexpr const char *source_ident = "debshell";

void debug_shell(const char *file, int line) {
    XERROR("trying to enter debugging shell in non developers mode at %s, line %d",
           file ? file : "<unknown>", line);
}
