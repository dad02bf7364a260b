#include "core/memio/xcache.h"
#include "core/dtype.h"

#include "core/message.h"
#include "core/xstring.h"
#include "file/config.h"

#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

static constexpr const char *source_file = "./src/core/memio/xcache.c";
static constexpr const char *source_ident = "memio::cache";

namespace {

constexpr std::size_t default_capacity = 1024 * 1024;

struct cache_block {
    std::string name;
    std::size_t size;
    std::unique_ptr<unsigned char[]> data;
};

// Cache blocks live as long as the process and are not memory-service blocks:
// they are storage of the system, not blocks a module could forget to free, so
// they never show in the leak report.
std::vector<cache_block> &blocks() {
    static std::vector<cache_block> cache;
    return cache;
}

std::size_t capacity = default_capacity;
bool capacity_configured = false;
std::size_t used = 0;

void configure_capacity() {
    if (capacity_configured || !config_active())
        return;
    capacity_configured = true;
    unsigned int configured = 0;
    if (config_get("*", "cache.size", DTYPE_UINT, sizeof configured, &configured) && configured > 0)
        capacity = configured;
}

cache_block *find(const char *name) {
    for (auto &block : blocks())
        if (xstring_compare(block.name.c_str(), name))
            return &block;
    return nullptr;
}

} // namespace

void *xcache_alloc(const char *name, std::size_t size) {
    XASSERT(name != nullptr);
    if (!name)
        return nullptr;
    configure_capacity();
    if (cache_block *block = find(name)) {
        if (block->size != size) {
            XERROR("system cache block '%s' exists with %lu bytes, %lu requested", name,
                   static_cast<unsigned long>(block->size), static_cast<unsigned long>(size));
            return nullptr;
        }
        return block->data.get();
    }
    if (size > capacity - used) {
        XERROR("system cache full - cannot add block '%s' (%lu bytes, %lu of %lu in use)", name,
               static_cast<unsigned long>(size), static_cast<unsigned long>(used),
               static_cast<unsigned long>(capacity));
        return nullptr;
    }
    std::unique_ptr<unsigned char[]> data(new (std::nothrow) unsigned char[size ? size : 1]());
    unsigned char *pointer = data.get();
    if (!pointer) {
        XERROR("out of memory - malloc() (%lu bytes, %4.02f MB) failed",
               static_cast<unsigned long>(size), static_cast<double>(size) / (1024.0 * 1024.0));
        return nullptr;
    }
    blocks().push_back({name, size, std::move(data)});
    used += size;
    return pointer;
}

void *xcache_getpointer(const char *name) {
    cache_block *block = name ? find(name) : nullptr;
    return block ? block->data.get() : nullptr;
}

std::size_t xcache_capacity() {
    configure_capacity();
    return capacity;
}
