// Feeds arbitrary bytes to the "portable pixmap" loader through a scratch file.
#include "core/progress.h"
#include "file/streamio/drivers.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "support/fuzz_support.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz_guard([&] {
        if (!streamio_find_driver("saferio")) {
            streamio_register_driver(&saferio_driver);
            streamio_set_defio(&saferio_driver);
            // Progress lines on the console would slow every run down.
            progress_hook([](double) {});
        }
        std::FILE *file = std::fopen("input.ppm", "wb");
        if (!file)
            return;
        std::fwrite(data, 1, size, file);
        std::fclose(file);
        bitmap_kill(bitmapio_ppm_driver.load("input.ppm"));
    });
    return 0;
}
