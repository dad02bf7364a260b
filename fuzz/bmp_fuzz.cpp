// Feeds arbitrary bytes to the "windows bitmap" loader; what it accepts must
// survive the writer and the reader unchanged.
#include "image_roundtrip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    image_fuzz_one(data, size, "input.bmp", bitmapio_bmp_driver, bitmapio_bmp_driver, "again.bmp");
    return 0;
}
