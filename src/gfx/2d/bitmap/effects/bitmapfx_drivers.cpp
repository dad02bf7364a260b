#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"

bitmapfx_driver *const bitmapfx_builtin_drivers[] = {
    &bitmapfx_quant_fast_driver,
    &bitmapfx_quant_slow_driver,
    &bitmapfx_plasma_standard_driver,
    &bitmapfx_protex_marble_driver,
    &bitmapfx_protex_granite_driver,
    &bitmapfx_protex_horizontal_wood_driver,
    &bitmapfx_protex_vertical_wood_driver,
    &bitmapfx_protex_turbulent_wood_driver,
    &bitmapfx_protex_planet_driver,
    &bitmapfx_protex_leopard_driver,
    &bitmapfx_protex_zebra_driver,
    &bitmapfx_protex_agate_driver,
    &bitmapfx_protex_sinus_driver,
    &bitmapfx_protex_onion_driver,
    &bitmapfx_protex_fbm_driver,
    &bitmapfx_protex_multi_fractal_driver,
    &bitmapfx_protex_hybrid_multi_fractal_driver,
    &bitmapfx_protex_rigid_multi_fractal_driver,
    &bitmapfx_protex_hetero_terrain_driver,
    &bitmapfx_protex_multi_color_driver,
    nullptr,
};

void bitmapfx_register_builtin_drivers() {
    for (bitmapfx_driver *const *driver = bitmapfx_builtin_drivers; *driver; ++driver)
        bitmapfx_register_driver(*driver);
}
