#include "core/message.h"
#include "core/message_common.h"
#include "platform/linux/gcc/desktop/system.h"

static constexpr const char *source_file = "./src/core/warning.c";
static constexpr const char *source_ident = "handler.warning";

xmessage_fn xwarning = warning_log;

static message_channel channel = {
    source_file,       source_ident, {"warning.logfile", false}, {"warning.type", false}, &xwarning,
    xwarning_override, system_wrnaux};

static constexpr message_target<xmessage_fn> targets[] = {
    {"log", warning_log}, {"con", warning_con}, {"con+key", warning_cok},
    {"nil", warning_nil}, {"aux", warning_aux}, {nullptr, nullptr},
};

void xwarning_override(const char *name) {
    if (const char *configured = message_config_step(channel.config))
        xwarning_override(configured);
    if (!name)
        return;
    const auto *target = message_find_target(targets, name);
    if (!target) {
        XERROR("unknown key given '%s' for override", name);
        return;
    }
    xwarning = target->function;
}

#define WARNING_TARGET(target)                                                                     \
    void warning_##target(const char *file, int line, const char *ident, const char *format,       \
                          ...) {                                                                   \
        std::va_list args;                                                                         \
        va_start(args, format);                                                                    \
        message_channel_##target(channel, warning_##target, file, line, ident, format, args);      \
        va_end(args);                                                                              \
    }

WARNING_TARGET(log)
WARNING_TARGET(con)
WARNING_TARGET(cok)
WARNING_TARGET(aux)

// Drops the message; the arguments are still checked.
void warning_nil(const char *file, int line, const char *, const char *format, ...) {
    message_channel_nil(channel, file, line, format);
}
