#include "core/message.h"
#include "core/message_common.h"
#include "platform/linux/gcc/desktop/system.h"

static constexpr const char *source_file = "./src/core/verbose.c";
static constexpr const char *source_ident = "handler.verbosity";

xmessage_fn xverbose = verbose_log;

static message_channel channel = {
    source_file,       source_ident, {"verbose.logfile", false}, {"verbose.type", false}, &xverbose,
    xverbose_override, system_veraux};

static constexpr message_target<xmessage_fn> targets[] = {
    {"log", verbose_log}, {"con", verbose_con}, {"con+key", verbose_cok},
    {"nil", verbose_nil}, {"aux", verbose_aux}, {nullptr, nullptr},
};

void xverbose_override(const char *name) {
    if (const char *configured = message_config_step(channel.config))
        xverbose_override(configured);
    if (!name)
        return;
    const auto *target = message_find_target(targets, name);
    if (!target) {
        XERROR("unknown key given '%s' for override", name);
        return;
    }
    xverbose = target->function;
}

#define VERBOSE_TARGET(target)                                                                     \
    void verbose_##target(const char *file, int line, const char *ident, const char *format,       \
                          ...) {                                                                   \
        std::va_list args;                                                                         \
        va_start(args, format);                                                                    \
        message_channel_##target(channel, verbose_##target, file, line, ident, format, args);      \
        va_end(args);                                                                              \
    }

VERBOSE_TARGET(log)
VERBOSE_TARGET(con)
VERBOSE_TARGET(cok)
VERBOSE_TARGET(aux)

// Drops the message; the arguments are still checked.
void verbose_nil(const char *file, int line, const char *, const char *format, ...) {
    message_channel_nil(channel, file, line, format);
}
