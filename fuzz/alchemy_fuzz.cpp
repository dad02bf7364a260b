// Feeds arbitrary bytes to the "alchemy" loader, from a scratch file and from a pipe.
#include "image_roundtrip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    image_fuzz_load(data, size, "input.raw", bitmapio_alchemy_driver);
    return 0;
}
