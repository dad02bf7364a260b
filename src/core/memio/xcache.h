#pragma once

#include <cstddef>

// Named system cache: blocks living until the end of the process, found again
// by name.  The cache holds at most "cache.size" bytes (read from the
// configuration at first use once it is active; 1 MiB otherwise).
// `xcache_alloc` returns the existing block when the name is already present
// with the same size; a different size, or a full cache, is an error.
void *xcache_alloc(const char *name, std::size_t size);
void *xcache_getpointer(const char *name);
std::size_t xcache_capacity();
