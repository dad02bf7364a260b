// The effect driver records the program carries, and their one registration
// list.  Each record is defined in the file of its driver; the list below is
// the only place that names them all, in the application's registration
// order (which is the order of the driver listings).  A new effect needs its
// file and one line in bitmapfx_drivers.cpp.
#pragma once

#include "gfx/2d/bitmap/effects/bitmapfx.h"

extern bitmapfx_driver bitmapfx_border_driver;          // "border", border.cpp
extern bitmapfx_driver bitmapfx_crop_driver;            // "crop", crop.cpp
extern bitmapfx_driver bitmapfx_flip_horizontal_driver; // "flip.horizontal", hflip.cpp
extern bitmapfx_driver bitmapfx_flip_vertical_driver;   // "flip.vertical", vflip.cpp
extern bitmapfx_driver bitmapfx_offset_driver;          // "offset", offset.cpp
extern bitmapfx_driver bitmapfx_plasma_standard_driver; // "plasma.standard", plasma.cpp
extern bitmapfx_driver bitmapfx_quant_fast_driver;      // "quant.fast", fquant.cpp
extern bitmapfx_driver bitmapfx_quant_slow_driver;      // "quant.slow", squant.cpp
extern bitmapfx_driver bitmapfx_rectangle_get_driver;   // "rectangle.get", getrect.cpp
extern bitmapfx_driver bitmapfx_resize_driver;          // "resize", resize.cpp
extern bitmapfx_driver bitmapfx_rotate_180_driver;      // "rotate.180", rot180.cpp
extern bitmapfx_driver bitmapfx_rotate_90_ccw_driver;   // "rotate.90.ccw", rot90ccw.cpp
extern bitmapfx_driver bitmapfx_rotate_90_cw_driver;    // "rotate.90.cw", rot90cw.cpp
// "rotate.arbitrary.centered", rotcent.cpp
extern bitmapfx_driver bitmapfx_rotate_arbitrary_centered_driver;
extern bitmapfx_driver bitmapfx_rotate_arbitrary_driver; // "rotate.arbitrary", rotate.cpp
// "rotate.arbitrary.scale", rotscale.cpp
extern bitmapfx_driver bitmapfx_rotate_arbitrary_scale_driver;
extern bitmapfx_driver bitmapfx_scale_driver;          // "scale", scale.cpp
extern bitmapfx_driver bitmapfx_tile_auto_driver;      // "tile.auto", autotile.cpp
extern bitmapfx_driver bitmapfx_tile_rectangle_driver; // "tile.rectangle", recttile.cpp
extern bitmapfx_driver bitmapfx_tiler_driver;          // "tiler", tiler.cpp

// Every built-in driver in registration order; null ends the list.
extern bitmapfx_driver *const bitmapfx_builtin_drivers[];

// Registers each built-in driver with bitmapfx_register_driver, in order.
void bitmapfx_register_builtin_drivers();
