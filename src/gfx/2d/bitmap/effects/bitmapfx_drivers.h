// The effect driver records the program carries, and their one registration
// list.  Each record is defined in the file of its driver; the list below is
// the only place that names them all, in the application's registration
// order (which is the order of the driver listings).  A new effect needs its
// file and one line in bitmapfx_drivers.cpp.
#pragma once

#include "gfx/2d/bitmap/effects/bitmapfx.h"

extern bitmapfx_driver bitmapfx_plasma_standard_driver; // "plasma.standard", plasma.cpp
extern bitmapfx_driver bitmapfx_quant_fast_driver;      // "quant.fast", fquant.cpp
extern bitmapfx_driver bitmapfx_quant_slow_driver;      // "quant.slow", squant.cpp
extern bitmapfx_driver bitmapfx_raytrace_driver;        // "raytrace", ray/raytrace.cpp

// Every built-in driver in registration order; null ends the list.
extern bitmapfx_driver *const bitmapfx_builtin_drivers[];

// Registers each built-in driver with bitmapfx_register_driver, in order.
void bitmapfx_register_builtin_drivers();
