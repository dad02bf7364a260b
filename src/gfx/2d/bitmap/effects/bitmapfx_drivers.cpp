#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"

bitmapfx_driver *const bitmapfx_builtin_drivers[] = {
    &bitmapfx_blur_simple_driver,
    &bitmapfx_blur_gaussian_driver,
    &bitmapfx_border_driver,
    &bitmapfx_flip_rgb_driver,
    &bitmapfx_quant_fast_driver,
    &bitmapfx_quant_slow_driver,
    &bitmapfx_crop_driver,
    &bitmapfx_scale_driver,
    &bitmapfx_rotate_arbitrary_driver,
    &bitmapfx_rotate_180_driver,
    &bitmapfx_rotate_90_cw_driver,
    &bitmapfx_rotate_90_ccw_driver,
    &bitmapfx_dim_or_flash_driver,
    &bitmapfx_gamma_correct_driver,
    &bitmapfx_motion_blur_linear_driver,
    &bitmapfx_motion_blur_radial_driver,
    &bitmapfx_motion_blur_zoom_driver,
    &bitmapfx_offset_driver,
    &bitmapfx_plasma_standard_driver,
    &bitmapfx_emboss_driver,
    &bitmapfx_blur_random_driver,
    &bitmapfx_photo_negative_driver,
    &bitmapfx_photo_positive_driver,
    &bitmapfx_rotate_arbitrary_scale_driver,
    &bitmapfx_rectangle_get_driver,
    &bitmapfx_tile_auto_driver,
    &bitmapfx_edge_detect_driver,
    &bitmapfx_greyscale_driver,
    &bitmapfx_tiler_driver,
    &bitmapfx_tile_rectangle_driver,
    &bitmapfx_random_flash_driver,
    &bitmapfx_rotate_arbitrary_centered_driver,
    &bitmapfx_invert_driver,
    &bitmapfx_flip_horizontal_driver,
    &bitmapfx_flip_vertical_driver,
    &bitmapfx_equalize_driver,
    &bitmapfx_resize_driver,
    nullptr,
};

void bitmapfx_register_builtin_drivers() {
    for (bitmapfx_driver *const *driver = bitmapfx_builtin_drivers; *driver; ++driver)
        bitmapfx_register_driver(*driver);
}
