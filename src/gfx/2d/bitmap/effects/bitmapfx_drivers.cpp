#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"

bitmapfx_driver *const bitmapfx_builtin_drivers[] = {
    &bitmapfx_flare_standard_driver, &bitmapfx_checker_driver,
    &bitmapfx_flare_fast_driver,     &bitmapfx_quant_fast_driver,
    &bitmapfx_quant_slow_driver,     &bitmapfx_noise_fractal_driver,
    &bitmapfx_noise_random_driver,   &bitmapfx_rainbow_driver,
    &bitmapfx_nova_driver,           &bitmapfx_plasma_standard_driver,
    &bitmapfx_plasma_block_driver,   &bitmapfx_reaction_diffusion_driver,
    &bitmapfx_snow_driver,           &bitmapfx_color_block_driver,
    &bitmapfx_plasma_tile_driver,    nullptr,
};

void bitmapfx_register_builtin_drivers() {
    for (bitmapfx_driver *const *driver = bitmapfx_builtin_drivers; *driver; ++driver)
        bitmapfx_register_driver(*driver);
}
