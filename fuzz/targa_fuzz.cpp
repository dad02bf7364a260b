// Feeds arbitrary bytes to the "targa" loader; what it accepts must survive
// the writer and the reader unchanged.
#include "image_roundtrip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    image_fuzz_one(data, size, "input.tga", bitmapio_targa_driver, bitmapio_targa_driver,
                   "again.tga");
    return 0;
}
