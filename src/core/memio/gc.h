// Garbage collection of blocks registered for freeing at exit.
#pragma once

// Garbage collection: a registered block is freed by `gc_rundown` at exit,
// unless it was freed before.  Only blocks of these wrappers can be registered.
void gc_add_internal__(void *block, const char *file, int line);
#define gc_add(block) gc_add_internal__((block), __FILE__, __LINE__)
void gc_rundown();
