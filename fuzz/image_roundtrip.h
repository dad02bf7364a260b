// Shared body of the image-file fuzzers: the input becomes a scratch file,
// the loader reads it, and a picture it accepts must come back unchanged
// through the writer and the reader again (a round trip that differs is a
// finding, reported by trapping).
#pragma once

#include "core/progress.h"
#include "file/streamio/drivers.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "support/fuzz_support.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

inline void image_fuzz_streams() {
    if (streamio_find_driver("saferio"))
        return;
    streamio_register_driver(&saferio_driver);
    streamio_set_defio(&saferio_driver);
    // Progress lines on the console would slow every run down.
    progress_hook([](double) {});
}

inline bool image_fuzz_same(const bitmap *a, const bitmap *b) {
    if (a->xsize != b->xsize || a->ysize != b->ysize || a->bpp != b->bpp)
        return false;
    std::size_t size = a->bits ? bitmap_bytesize(a) : 0;
    if ((a->bits == nullptr) != (b->bits == nullptr) ||
        (size && std::memcmp(a->bits, b->bits, size) != 0))
        return false;
    if ((a->info == nullptr) != (b->info == nullptr) ||
        (a->info && std::strcmp(a->info, b->info) != 0))
        return false;
    if ((a->cmap == nullptr) != (b->cmap == nullptr))
        return false;
    if (a->cmap) {
        if (a->cmap->size != b->cmap->size)
            return false;
        for (std::int32_t i = 0; i < a->cmap->size; ++i)
            if (a->cmap->entry[i].r != b->cmap->entry[i].r ||
                a->cmap->entry[i].g != b->cmap->entry[i].g ||
                a->cmap->entry[i].b != b->cmap->entry[i].b)
                return false;
    }
    return true;
}

struct image_fuzz_killer {
    void operator()(bitmap *image) const { bitmap_kill(image); }
};
using image_fuzz_ptr = std::unique_ptr<bitmap, image_fuzz_killer>;

// Writes the input to `input_name`, loads it with `reader`, and checks that
// what it gives survives `writer` then `reader` (through `again_name`).
inline void image_fuzz_one(const std::uint8_t *data, std::size_t size, const char *input_name,
                           bitmapio_driver &reader, bitmapio_driver &writer,
                           const char *again_name) {
    fuzz_guard([&] {
        image_fuzz_streams();
        std::FILE *file = std::fopen(input_name, "wb");
        if (!file)
            return;
        std::fwrite(data, 1, size, file);
        std::fclose(file);
        image_fuzz_ptr image(reader.load(input_name));
        if (!image)
            return;
        // No overwrite question: the old copy goes first.
        std::remove(again_name);
        if (!writer.save(again_name, image.get()))
            return;
        image_fuzz_ptr again(writer.load(again_name));
        if (!again || !image_fuzz_same(image.get(), again.get()))
            __builtin_trap();
    });
}
