// Feeds arbitrary bytes to the "pcx" loader, from a scratch file and from a pipe.
#include "image_roundtrip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    image_fuzz_load(data, size, "input.pcx", bitmapio_pcx_driver);
    return 0;
}
