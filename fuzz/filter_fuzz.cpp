// Feeds arbitrary bytes to the "filter" effect's kernel reader through a
// scratch file.  A kernel that loads is run on a small picture, saved, and
// loaded again: the saved kernel must filter to the same bytes.
#include "core/progress.h"
#include "file/streamio/drivers.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "support/fuzz_support.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

bitmapfx_driver *const filter = &bitmapfx_filter_driver;

// Text parameters are copied whole (4096 bytes) from the given address.
void set_text(const char *key, const char *value) {
    static char text[4096];
    std::memset(text, 0, sizeof text);
    std::snprintf(text, sizeof text, "%s", value);
    bitmapfx_talk(filter, key, text);
}

bitmap *test_picture() {
    bitmap *image = bitmap_alloc2(6, 5, 24);
    for (std::size_t i = 0; i < 6 * 5 * 3; ++i)
        image->bits[i] = static_cast<std::uint8_t>(i * 37 + 11);
    return image;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static bitmap *picture = nullptr;
    fuzz_guard([&] {
        if (!streamio_find_driver("saferio")) {
            streamio_register_driver(&saferio_driver);
            streamio_set_defio(&saferio_driver);
            progress_hook([](double) {});
            bitmapfx_register_driver(filter);
            picture = test_picture();
        }
        std::FILE *file = std::fopen("input.filter", "wb");
        if (!file)
            return;
        std::fwrite(data, 1, size, file);
        std::fclose(file);
        std::remove("saved.filter");

        // An unknown name makes a refused file plain: "fx" then warns and
        // falls back to "sharpen", never to a half-read kernel.
        set_text("name", "fuzz-no-kernel");
        set_text("file", "input.filter");
        bitmapfx_call(filter, "load");
        bitmap *first = bitmapfx_simple(filter, picture);
        set_text("file", "saved.filter");
        bitmapfx_call(filter, "save");
        bitmap *second = bitmapfx_simple(filter, picture);
        const bool same = first && second && bitmap_compare(first, second, 1);
        bitmap_kill(first);
        bitmap_kill(second);
        if (!same) {
            std::fprintf(stderr, "the saved kernel filters differently\n");
            __builtin_trap();
        }
    });
    return 0;
}
