#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"

bitmapfx_driver *const bitmapfx_builtin_drivers[] = {
    &bitmapfx_polar_driver,
    &bitmapfx_quant_fast_driver,
    &bitmapfx_quant_slow_driver,
    &bitmapfx_wave_driver,
    &bitmapfx_whirl_driver,
    &bitmapfx_diffraction_driver,
    &bitmapfx_filter_driver,
    &bitmapfx_plasma_standard_driver,
    &bitmapfx_illusion_driver,
    &bitmapfx_anaglyph_driver,
    &bitmapfx_remap_driver,
    &bitmapfx_snr_driver,
    &bitmapfx_show_palette_driver,
    &bitmapfx_null_driver,
    nullptr,
};

void bitmapfx_register_builtin_drivers() {
    for (bitmapfx_driver *const *driver = bitmapfx_builtin_drivers; *driver; ++driver)
        bitmapfx_register_driver(*driver);
}
