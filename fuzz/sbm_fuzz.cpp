// Feeds arbitrary bytes to both simple bitmap loaders; what one accepts must
// survive the other layout's writer and reader unchanged, so the text layout
// is held to everything the binary one carries and back.
#include "image_roundtrip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    image_fuzz_one(data, size, "input.sbm", bitmapio_sbm2_driver, bitmapio_sbm3_driver,
                   "again.sba");
    image_fuzz_one(data, size, "input.sba", bitmapio_sbm3_driver, bitmapio_sbm2_driver,
                   "again.sbm");
    return 0;
}
