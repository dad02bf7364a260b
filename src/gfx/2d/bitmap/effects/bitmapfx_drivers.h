// The effect driver records the program carries, and their one registration
// list.  Each record is defined in the file of its driver; the list below is
// the only place that names them all, in the application's registration
// order (which is the order of the driver listings).  A new effect needs its
// file and one line in bitmapfx_drivers.cpp.
#pragma once

#include "gfx/2d/bitmap/effects/bitmapfx.h"

extern bitmapfx_driver bitmapfx_anaglyph_driver;        // "anaglyph", anaglyph.cpp
extern bitmapfx_driver bitmapfx_diffraction_driver;     // "diffraction", diffrac.cpp
extern bitmapfx_driver bitmapfx_filter_driver;          // "filter", filter.cpp
extern bitmapfx_driver bitmapfx_illusion_driver;        // "illusion", illusion.cpp
extern bitmapfx_driver bitmapfx_null_driver;            // "null", nullfx.cpp
extern bitmapfx_driver bitmapfx_plasma_standard_driver; // "plasma.standard", plasma.cpp
extern bitmapfx_driver bitmapfx_polar_driver;           // "polar", polar.cpp
extern bitmapfx_driver bitmapfx_quant_fast_driver;      // "quant.fast", fquant.cpp
extern bitmapfx_driver bitmapfx_quant_slow_driver;      // "quant.slow", squant.cpp
extern bitmapfx_driver bitmapfx_remap_driver;           // "remap", remap.cpp
extern bitmapfx_driver bitmapfx_show_palette_driver;    // "show-palette", showpal.cpp
extern bitmapfx_driver bitmapfx_snr_driver;             // "snr", snr.cpp
extern bitmapfx_driver bitmapfx_wave_driver;            // "wave", wave.cpp
extern bitmapfx_driver bitmapfx_whirl_driver;           // "whirl", whirl.cpp

// Every built-in driver in registration order; null ends the list.
extern bitmapfx_driver *const bitmapfx_builtin_drivers[];

// Registers each built-in driver with bitmapfx_register_driver, in order.
void bitmapfx_register_builtin_drivers();
