// The effect driver records, for the application's registration list.  Each
// record is defined in the file of its driver; the application registers them
// with bitmapfx_register_driver at start-up, once each.
#pragma once

#include "gfx/2d/bitmap/effects/bitmapfx.h"

extern bitmapfx_driver bitmapfx_plasma_standard_driver; // "plasma.standard", plasma.cpp
extern bitmapfx_driver bitmapfx_quant_fast_driver;      // "quant.fast", fquant.cpp
extern bitmapfx_driver bitmapfx_quant_slow_driver;      // "quant.slow", squant.cpp
