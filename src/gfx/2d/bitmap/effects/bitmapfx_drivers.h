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
extern bitmapfx_driver bitmapfx_protex_marble_driver;   // "protex.marble", proctext/ptmarble.cpp
extern bitmapfx_driver bitmapfx_protex_granite_driver;  // "protex.granite", proctext/ptgranit.cpp
extern bitmapfx_driver
    bitmapfx_protex_horizontal_wood_driver; // "protex.horizontal-wood", proctext/pthwood.cpp
extern bitmapfx_driver
    bitmapfx_protex_vertical_wood_driver; // "protex.vertical-wood", proctext/ptvwood.cpp
extern bitmapfx_driver
    bitmapfx_protex_turbulent_wood_driver; // "protex.turbulent-wood", proctext/pttwood.cpp
extern bitmapfx_driver bitmapfx_protex_planet_driver;  // "protex.planet", proctext/ptplanet.cpp
extern bitmapfx_driver bitmapfx_protex_leopard_driver; // "protex.leopard", proctext/ptleo.cpp
extern bitmapfx_driver bitmapfx_protex_zebra_driver;   // "protex.zebra", proctext/ptzebra.cpp
extern bitmapfx_driver bitmapfx_protex_agate_driver;   // "protex.agate", proctext/ptagate.cpp
extern bitmapfx_driver bitmapfx_protex_sinus_driver;   // "protex.sinus", proctext/ptsinus.cpp
extern bitmapfx_driver bitmapfx_protex_onion_driver;   // "protex.onion", proctext/ptonion.cpp
extern bitmapfx_driver bitmapfx_protex_fbm_driver;     // "protex.fbm", proctext/ptfbm.cpp
extern bitmapfx_driver
    bitmapfx_protex_multi_fractal_driver; // "protex.multi-fractal", proctext/ptmfrac.cpp
extern bitmapfx_driver bitmapfx_protex_hybrid_multi_fractal_driver; // "protex.hybrid-multi-fractal",
                                                                    // proctext/pthmfrac.cpp
extern bitmapfx_driver bitmapfx_protex_rigid_multi_fractal_driver; // "protex.rigid-multi-fractal",
                                                                   // proctext/ptrmfrac.cpp
extern bitmapfx_driver
    bitmapfx_protex_hetero_terrain_driver; // "protex.hetero-terrain", proctext/pthter.cpp
extern bitmapfx_driver
    bitmapfx_protex_multi_color_driver; // "protex.multi-color", proctext/ptmcol.cpp

// Every built-in driver in registration order; null ends the list.
extern bitmapfx_driver *const bitmapfx_builtin_drivers[];

// Registers each built-in driver with bitmapfx_register_driver, in order.
void bitmapfx_register_builtin_drivers();
