#include "gfx/2d/bitmap/bitmapio.h"

bitmapio_driver *const bitmapio_builtin_drivers[] = {
    &bitmapio_array_driver,
    &bitmapio_sbm3_driver,
    &bitmapio_sbm2_driver,
    &bitmapio_ascii_postscript_driver,
    &bitmapio_binary_postscript_driver,
    &bitmapio_compressed_postscript_driver,
    &bitmapio_pcx_driver,
    &bitmapio_bmp_driver,
    &bitmapio_iff_driver,
    &bitmapio_alchemy_driver,
    &bitmapio_ppm_driver,
    &bitmapio_targa_driver,
    nullptr,
};

void bitmapio_register_builtin_drivers() {
    for (bitmapio_driver *const *driver = bitmapio_builtin_drivers; *driver; ++driver)
        bitmapio_register_driver(*driver);
}
