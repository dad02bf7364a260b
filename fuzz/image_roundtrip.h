// Shared body of the image-file fuzzers: the input becomes a scratch file,
// the loader reads it, and a picture it accepts must come back unchanged
// through the writer and the reader again (a round trip that differs is a
// finding, reported by trapping).  Every input is also read through a pipe,
// a stream that cannot tell its size, where only the reader's own caps stand
// between a length field and an allocation.
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
#include <fcntl.h>
#include <string>
#include <unistd.h>

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

inline bool image_fuzz_write(const char *name, const std::uint8_t *data, std::size_t size) {
    std::FILE *file = std::fopen(name, "wb");
    if (!file)
        return false;
    std::fwrite(data, 1, size, file);
    return std::fclose(file) == 0;
}

// Loads the input with `reader` from a pipe that already holds all of it
// (inputs larger than a pipe can hold at once are left out).
inline void image_fuzz_through_pipe(const std::uint8_t *data, std::size_t size,
                                    bitmapio_driver &reader) {
    struct pipe_ends {
        int fd[2] = {-1, -1};
        ~pipe_ends() {
            for (int end : fd)
                if (end >= 0)
                    close(end);
        }
    } ends;
    if (pipe2(ends.fd, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    int capacity = fcntl(ends.fd[1], F_SETPIPE_SZ, static_cast<int>(size < 4096 ? 4096 : size));
    if (capacity < 0 || static_cast<std::size_t>(capacity) < size ||
        (size && write(ends.fd[1], data, size) != static_cast<ssize_t>(size)))
        return;
    close(ends.fd[1]);
    ends.fd[1] = -1;
    std::string name = "/dev/fd/" + std::to_string(ends.fd[0]);
    bitmap_ptr image(reader.load(name.c_str()));
}

// Loads the input with `reader` from a file and from a pipe.
inline void image_fuzz_load(const std::uint8_t *data, std::size_t size, const char *input_name,
                            bitmapio_driver &reader) {
    fuzz_guard([&] {
        image_fuzz_streams();
        if (image_fuzz_write(input_name, data, size))
            bitmap_ptr(reader.load(input_name));
    });
    fuzz_guard([&] { image_fuzz_through_pipe(data, size, reader); });
}

// Writes the input to `input_name`, loads it with `reader`, and checks that
// what it gives survives `writer` then `reader` (through `again_name`).
inline void image_fuzz_one(const std::uint8_t *data, std::size_t size, const char *input_name,
                           bitmapio_driver &reader, bitmapio_driver &writer,
                           const char *again_name) {
    fuzz_guard([&] {
        image_fuzz_streams();
        if (!image_fuzz_write(input_name, data, size))
            return;
        bitmap_ptr image(reader.load(input_name));
        if (!image)
            return;
        // No overwrite question: the old copy goes first.
        std::remove(again_name);
        if (!writer.save(again_name, image.get()))
            return;
        bitmap_ptr again(writer.load(again_name));
        if (!again || !image_fuzz_same(image.get(), again.get()))
            __builtin_trap();
    });
    fuzz_guard([&] { image_fuzz_through_pipe(data, size, reader); });
}
