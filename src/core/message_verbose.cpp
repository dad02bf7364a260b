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
    message_channel_override(channel, targets, name);
}

MESSAGE_CHANNEL_TARGETS(verbose)
