#include "core/exithand.h"

#include "core/message.h"
#include "core/xstring.h"

static constexpr const char *source_file = "./src/core/exithand.c";
static constexpr const char *source_ident = "exithand";

namespace {

struct exit_handler {
    exithand_fn function;
    const char *name; // the caller's, not copied
};

exit_handler handler_list[EXITHAND_SLOTS];
bool table_cleared = false;

bool occupied(const exit_handler &slot) {
    return slot.function && slot.name;
}

bool same_name(const exit_handler &slot, const char *name) {
    return name && xstring_compare(slot.name, name);
}

} // namespace

void exithand_add(exithand_fn function, const char *name) {
    if (!table_cleared) {
        for (auto &slot : handler_list)
            slot = {};
        table_cleared = true;
    }
    for (const auto &slot : handler_list) {
        if (!occupied(slot))
            continue;
        if (slot.function == function) {
            XERROR("duplicate exit handler function '%s'", name);
            return;
        }
        if (same_name(slot, name)) {
            XERROR("duplicate exit handler name '%s'", name);
            return;
        }
    }
    for (auto &slot : handler_list) {
        if (!occupied(slot)) {
            slot = {function, name};
            return;
        }
    }
    XERROR("failed to add exit-handler '%s'", name);
}

void exithand_del(exithand_fn function, const char *name) {
    for (auto &slot : handler_list) {
        if (!occupied(slot))
            continue;
        if ((function && slot.function == function) || same_name(slot, name))
            slot = {};
    }
}

int exithand_find(exithand_fn function, const char *name) {
    for (const auto &slot : handler_list) {
        if (occupied(slot) && ((function && slot.function == function) || same_name(slot, name)))
            return 1;
    }
    return 0;
}

void exithand_rundown() {
    for (const auto &slot : handler_list) {
        if (!occupied(slot))
            continue;
        XVERBOSE("running exit handler '%s'", slot.name);
        slot.function();
    }
}
