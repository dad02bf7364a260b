// Feeds arbitrary bytes to the "portable pixmap" loader, from a scratch file and from a pipe.
#include "image_roundtrip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    image_fuzz_load(data, size, "input.ppm", bitmapio_ppm_driver);
    return 0;
}
