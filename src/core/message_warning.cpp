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
    message_channel_override(channel, targets, name);
}

MESSAGE_CHANNEL_TARGETS(warning)
