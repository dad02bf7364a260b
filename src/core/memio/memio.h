// Memory services.  The allocation wrappers never return null: when the C
// library fails they report a fatal error.  Every block carries a small header
// recording its size and the allocating source position, so that blocks still
// held at exit can be reported (`memio_trace`, `memio_track`).  Blocks from
// these wrappers must be released with memio_standard_free / xfree, never with
// the C library's free.
//
// The file and line default to the caller's position.
#pragma once

#include <cstddef>
#include <memory>

void *memio_standard_malloc(std::size_t size, const char *file = __builtin_FILE(),
                            int line = __builtin_LINE());
void *memio_standard_calloc(std::size_t count, std::size_t size,
                            const char *file = __builtin_FILE(), int line = __builtin_LINE());
// Keeps the block's contents up to the smaller size; a null block allocates.
void *memio_standard_realloc(void *block, std::size_t size, const char *file = __builtin_FILE(),
                             int line = __builtin_LINE());
// Null is accepted and ignored.
void memio_standard_free(void *block, const char *file = __builtin_FILE(),
                         int line = __builtin_LINE());

char *xstrdup(const char *text, const char *file = __builtin_FILE(), int line = __builtin_LINE());
void *xmemdup(const void *data, std::size_t size, const char *file = __builtin_FILE(),
              int line = __builtin_LINE());

inline void *xmalloc(std::size_t size, const char *file = __builtin_FILE(),
                     int line = __builtin_LINE()) {
    return memio_standard_malloc(size, file, line);
}
inline void *xcalloc(std::size_t count, std::size_t size, const char *file = __builtin_FILE(),
                     int line = __builtin_LINE()) {
    return memio_standard_calloc(count, size, file, line);
}
inline void *xrealloc(void *block, std::size_t size, const char *file = __builtin_FILE(),
                      int line = __builtin_LINE()) {
    return memio_standard_realloc(block, size, file, line);
}
inline void xfree(void *block, const char *file = __builtin_FILE(), int line = __builtin_LINE()) {
    memio_standard_free(block, file, line);
}

// Owner of a block from these wrappers (a text from xstrdup, config_alias or
// xprintf, say): frees it with xfree.
struct xfree_deleter {
    void operator()(void *block) const { xfree(block); }
};
template <class T> using xfree_ptr = std::unique_ptr<T, xfree_deleter>;

// Alignment of every block allocated from now on: a power of two, at least
// the C library's own (16); anything else is an error.  Returns the previous one.
std::size_t memio_set_alignment(std::size_t alignment);
std::size_t memio_get_alignment();

// Blocks a long-running operation holds (the progress records) are marked
// locked while they live; the leak report names them as such.
void memio_lock(void *block);
void memio_unlock(void *block);

// Number of blocks and bytes currently held.
std::size_t memio_blocks_held();
std::size_t memio_bytes_held();

// Leak reports at exit, through the verbose channel; silent when nothing is held.
void memio_trace(); // one summary line
void memio_track(); // one line per block, with its allocating source position

// Marks a block for freeing by `memio_collect`, which frees every marked
// block still held (the garbage collector's storage).  Returns 0 when the
// block does not come from these wrappers.
int memio_mark_for_collection(void *block);
void memio_collect();
