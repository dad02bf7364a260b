// The image-file driver record.  Every bitmap keeps a non-owned link to the
// driver that loaded it, so the record is declared here, next to the bitmap;
// the driver registry (bitmapio) fills `next` and `hash` at registration and
// each driver fills the rest statically, in this order.
#pragma once

#include <cstdint>

struct bitmap;

struct bitmapio_driver {
    bitmapio_driver *next;    // registry link, newest first
    std::uint32_t hash;       // hash_string(name)
    const char *name;         // also the file-type name that recognition yields
    const char *comments;     // one-line description, may be null
    const char *extension;    // with its dot, e.g. ".tga"
    const char *source;       // source-file name shown in the listing
    const char *const *modes; // null-terminated mode patterns, e.g. "rw24"
    // A new bitmap owned by the caller, or null; may be absent.
    bitmap *(*load)(const char *filename);
    // Non-zero on success; may be absent.
    int (*save)(const char *filename, bitmap *image);
    // Prints the file's header; may be absent.
    void (*dump)(const char *filename);
};
