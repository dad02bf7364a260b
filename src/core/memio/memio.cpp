#include "core/memio/memio.h"

#include "core/message.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

static constexpr const char *source_file = "./src/core/memio/memio.c";
static constexpr const char *source_ident = "memio";

namespace {

constexpr std::uint32_t live_magic = 0x4d454d42;  // "MEMB"
constexpr std::uint32_t freed_magic = 0x46524545; // "FREE"
constexpr std::size_t system_alignment = 16;

// Sits directly in front of every block handed out.  Its size is a multiple of
// 16 so that the block behind it keeps any alignment of 16 or more.
struct alignas(16) block_header {
    block_header *prev;
    block_header *next;
    void *base; // what the C library returned
    std::size_t size;
    const char *file;
    int line;
    std::uint32_t magic;
    bool collect;
    bool locked;
};
static_assert(sizeof(block_header) % system_alignment == 0);

block_header *first_block = nullptr;
std::size_t blocks_held = 0;
std::size_t bytes_held = 0;
std::size_t alignment = system_alignment;

double megabytes(std::size_t size) {
    return static_cast<double>(size) / (1024.0 * 1024.0);
}

void out_of_memory(const char *call, std::size_t size) {
    XERROR("out of memory - %s() (%lu bytes, %4.02f MB) failed", call,
           static_cast<unsigned long>(size), megabytes(size));
}

block_header *header_of(void *block) {
    return reinterpret_cast<block_header *>(static_cast<char *>(block) - sizeof(block_header));
}

// The header of a live block of ours, or null after reporting the misuse.
block_header *checked_header(void *block, const char *call, const char *file, int line) {
    block_header *header = header_of(block);
    if (header->magic == live_magic)
        return header;
    const char *what = header->magic == freed_magic ? "already freed" : "unknown";
    xerror(file, line, source_ident, "%s() called with %s block %p", call, what, block);
    return nullptr;
}

void link(block_header *header) {
    header->prev = nullptr;
    header->next = first_block;
    if (first_block)
        first_block->prev = header;
    first_block = header;
    ++blocks_held;
    bytes_held += header->size;
}

void unlink(block_header *header) {
    if (header->prev)
        header->prev->next = header->next;
    else
        first_block = header->next;
    if (header->next)
        header->next->prev = header->prev;
    --blocks_held;
    bytes_held -= header->size;
}

// A tracked block, or null when the C library failed or the size overflowed;
// the caller reports.
void *allocate(std::size_t size, const char *file, int line) {
    const std::size_t overhead = sizeof(block_header) + alignment - 1;
    if (size > SIZE_MAX - overhead)
        return nullptr;
    void *base = std::malloc(size + overhead);
    if (!base)
        return nullptr;
    auto first_free = reinterpret_cast<std::uintptr_t>(base) + sizeof(block_header);
    auto user = (first_free + alignment - 1) & ~static_cast<std::uintptr_t>(alignment - 1);
    void *block = reinterpret_cast<void *>(user);
    block_header *header = header_of(block);
    *header = block_header{nullptr, nullptr, base, size, file, line, live_magic, false, false};
    link(header);
    return block;
}

void release(block_header *header) {
    unlink(header);
    header->magic = freed_magic;
    std::free(header->base);
}

} // namespace

void *memio_standard_malloc(std::size_t size, const char *file, int line) {
    void *block = allocate(size, file, line);
    if (!block)
        out_of_memory("malloc", size);
    return block;
}

void *memio_standard_calloc(std::size_t count, std::size_t size, const char *file, int line) {
    std::size_t total = 0;
    void *block = nullptr;
    if (!__builtin_mul_overflow(count, size, &total))
        block = allocate(total, file, line);
    if (!block) {
        out_of_memory("calloc", __builtin_mul_overflow(count, size, &total) ? SIZE_MAX : total);
        return nullptr;
    }
    std::memset(block, 0, total);
    return block;
}

// Always moves the block: the alignment may have changed since it was made,
// and a fresh header keeps the allocating position of the resize.
void *memio_standard_realloc(void *block, std::size_t size, const char *file, int line) {
    if (!block)
        return memio_standard_malloc(size, file, line);
    block_header *old = checked_header(block, "realloc", file, line);
    if (!old)
        return nullptr;
    void *moved = allocate(size, file, line);
    if (!moved) {
        out_of_memory("realloc", size);
        return nullptr;
    }
    std::memcpy(moved, block, old->size < size ? old->size : size);
    header_of(moved)->collect = old->collect;
    header_of(moved)->locked = old->locked;
    release(old);
    return moved;
}

void memio_standard_free(void *block, const char *file, int line) {
    if (!block)
        return;
    if (block_header *header = checked_header(block, "free", file, line))
        release(header);
}

char *xstrdup(const char *text, const char *file, int line) {
    if (!text) {
        xerror(file, line, source_ident, "xassert(%s) failed", "text");
        return nullptr;
    }
    std::size_t size = std::strlen(text) + 1;
    void *copy = allocate(size, file, line);
    if (!copy) {
        out_of_memory("strdup", size);
        return nullptr;
    }
    return static_cast<char *>(std::memcpy(copy, text, size));
}

void *xmemdup(const void *data, std::size_t size, const char *file, int line) {
    void *copy = allocate(size, file, line);
    if (!copy) {
        out_of_memory("memdup", size);
        return nullptr;
    }
    if (size)
        std::memcpy(copy, data, size);
    return copy;
}

std::size_t memio_set_alignment(std::size_t wanted) {
    std::size_t previous = alignment;
    bool power_of_two = wanted && (wanted & (wanted - 1)) == 0;
    if (!power_of_two || wanted < system_alignment || wanted > 65536) {
        XERROR("invalid memory alignment %lu (a power of two from %lu to 65536 expected)",
               static_cast<unsigned long>(wanted), static_cast<unsigned long>(system_alignment));
        return previous;
    }
    alignment = wanted;
    return previous;
}

std::size_t memio_get_alignment() {
    return alignment;
}

void memio_lock(void *block) {
    if (block_header *header = checked_header(block, "lock", source_file, __LINE__))
        header->locked = true;
}

void memio_unlock(void *block) {
    if (block_header *header = checked_header(block, "unlock", source_file, __LINE__))
        header->locked = false;
}

std::size_t memio_blocks_held() {
    return blocks_held;
}
std::size_t memio_bytes_held() {
    return bytes_held;
}

int memio_mark_for_collection(void *block) {
    block_header *header = header_of(block);
    if (header->magic != live_magic)
        return 0;
    header->collect = true;
    return 1;
}

void memio_collect() {
    block_header *header = first_block;
    while (header) {
        block_header *next = header->next;
        if (header->collect)
            release(header);
        header = next;
    }
}

void memio_trace() {
    if (blocks_held == 0)
        return;
    XVERBOSE("memory trace: %lu block(s) with %lu bytes (%4.02f MB) still allocated",
             static_cast<unsigned long>(blocks_held), static_cast<unsigned long>(bytes_held),
             megabytes(bytes_held));
}

void memio_track() {
    for (block_header *header = first_block; header; header = header->next) {
        XVERBOSE("memory track: block %p (%lu bytes) from %s(%d) was never freed%s",
                 static_cast<void *>(header + 1), static_cast<unsigned long>(header->size),
                 header->file ? header->file : "<unknown>", header->line,
                 header->locked ? " (locked)" : "");
    }
}
