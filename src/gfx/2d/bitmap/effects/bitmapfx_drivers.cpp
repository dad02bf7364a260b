#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"

bitmapfx_driver *const bitmapfx_builtin_drivers[] = {
    &bitmapfx_border_driver,
    &bitmapfx_quant_fast_driver,
    &bitmapfx_quant_slow_driver,
    &bitmapfx_crop_driver,
    &bitmapfx_scale_driver,
    &bitmapfx_rotate_arbitrary_driver,
    &bitmapfx_rotate_180_driver,
    &bitmapfx_rotate_90_cw_driver,
    &bitmapfx_rotate_90_ccw_driver,
    &bitmapfx_offset_driver,
    &bitmapfx_plasma_standard_driver,
    &bitmapfx_rotate_arbitrary_scale_driver,
    &bitmapfx_rectangle_get_driver,
    &bitmapfx_tile_auto_driver,
    &bitmapfx_tiler_driver,
    &bitmapfx_tile_rectangle_driver,
    &bitmapfx_rotate_arbitrary_centered_driver,
    &bitmapfx_flip_horizontal_driver,
    &bitmapfx_flip_vertical_driver,
    &bitmapfx_resize_driver,
    nullptr,
};

void bitmapfx_register_builtin_drivers() {
    for (bitmapfx_driver *const *driver = bitmapfx_builtin_drivers; *driver; ++driver)
        bitmapfx_register_driver(*driver);
}
