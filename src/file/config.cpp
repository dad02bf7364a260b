// The configuration store.  Loading and saving come with the stream layer;
// until a file is loaded the store is inactive and every query says so.
#include "file/config.h"

#include "core/memio/memio.h"
#include "core/message.h"

static constexpr const char *source_file = "./src/file/config.c";
static constexpr const char *source_ident = "config";

namespace {
int active = 0;
}

int config_load(const char *) { return 0; }

int config_active() { return active; }

const char *config_get(const char *, const char *key, std::uint32_t, std::uint32_t, void *) {
    if (!active)
        XWARNING("trying to get key '%s' from configuration while not active", key);
    return nullptr;
}

int config_put(const char *header, const char *key, const char *) {
    if (!active)
        XWARNING("trying to put key '%s' (header = '%s') to configuration while not active", key,
                 header ? header : "none");
    return 0;
}

char *config_alias(const char *text) {
    if (!active)
        XWARNING("trying to get alias '%s' from configuration while not active, returning '%s'",
                 text, text);
    return xstrdup(text);
}

int config_save(const char *) {
    if (!active)
        XWARNING("trying to save configuration while not active");
    return 0;
}

void config_unload() {
    if (!active)
        XWARNING("trying to unload configuration while not active");
}
