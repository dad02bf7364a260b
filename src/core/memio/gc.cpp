#include "core/memio/gc.h"

#include "core/memio/memio.h"
#include "core/message.h"

[[maybe_unused]] static constexpr const char *source_file = "./src/core/memio/gc.c";
[[maybe_unused]] static constexpr const char *source_ident = "memio::gc";

// The mark lives in the block's own header, so a block freed early simply
// drops out of the collection: nothing is freed twice.
void gc_add_internal__(void *block, const char *file, int line) {
    if (!block) {
        xerror(file, line, source_ident, "xassert(%s) failed", "block");
        return;
    }
    if (!memio_mark_for_collection(block))
        xerror(file, line, source_ident, "block %p is not from the memory services", block);
}

void gc_rundown() {
    memio_collect();
}
