// Feeds arbitrary bytes to the "iff" loader, from a scratch file and from a pipe.
#include "image_roundtrip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    image_fuzz_load(data, size, "input.iff", bitmapio_iff_driver);
    return 0;
}
