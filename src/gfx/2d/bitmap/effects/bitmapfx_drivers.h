// The effect driver records the program carries, and their one registration
// list.  Each record is defined in the file of its driver; the list below is
// the only place that names them all, in the application's registration
// order (which is the order of the driver listings).  A new effect needs its
// file and one line in bitmapfx_drivers.cpp.
#pragma once

#include "gfx/2d/bitmap/effects/bitmapfx.h"

extern bitmapfx_driver bitmapfx_blur_simple_driver;        // "blur.simple", blur.cpp
extern bitmapfx_driver bitmapfx_blur_gaussian_driver;      // "blur.gaussian", gblur.cpp
extern bitmapfx_driver bitmapfx_polar_driver;              // "polar", polar.cpp
extern bitmapfx_driver bitmapfx_border_driver;             // "border", border.cpp
extern bitmapfx_driver bitmapfx_flare_standard_driver;     // "flare.standard", flare.cpp
extern bitmapfx_driver bitmapfx_checker_driver;            // "checker", checker.cpp
extern bitmapfx_driver bitmapfx_flare_fast_driver;         // "flare.fast", flare2.cpp
extern bitmapfx_driver bitmapfx_flip_rgb_driver;           // "flip-rgb", flip_rgb.cpp
extern bitmapfx_driver bitmapfx_quant_fast_driver;         // "quant.fast", fquant.cpp
extern bitmapfx_driver bitmapfx_quant_slow_driver;         // "quant.slow", squant.cpp
extern bitmapfx_driver bitmapfx_crop_driver;               // "crop", crop.cpp
extern bitmapfx_driver bitmapfx_noise_fractal_driver;      // "noise.fractal", noise.cpp
extern bitmapfx_driver bitmapfx_noise_random_driver;       // "noise.random", noise2.cpp
extern bitmapfx_driver bitmapfx_rainbow_driver;            // "rainbow", rainbow.cpp
extern bitmapfx_driver bitmapfx_scale_driver;              // "scale", scale.cpp
extern bitmapfx_driver bitmapfx_rotate_arbitrary_driver;   // "rotate.arbitrary", rotate.cpp
extern bitmapfx_driver bitmapfx_rotate_180_driver;         // "rotate.180", rot180.cpp
extern bitmapfx_driver bitmapfx_rotate_90_cw_driver;       // "rotate.90.cw", rot90cw.cpp
extern bitmapfx_driver bitmapfx_rotate_90_ccw_driver;      // "rotate.90.ccw", rot90ccw.cpp
extern bitmapfx_driver bitmapfx_wave_driver;               // "wave", wave.cpp
extern bitmapfx_driver bitmapfx_whirl_driver;              // "whirl", whirl.cpp
extern bitmapfx_driver bitmapfx_diffraction_driver;        // "diffraction", diffrac.cpp
extern bitmapfx_driver bitmapfx_dim_or_flash_driver;       // "dim-or-flash", dim.cpp
extern bitmapfx_driver bitmapfx_filter_driver;             // "filter", filter.cpp
extern bitmapfx_driver bitmapfx_gamma_correct_driver;      // "gamma-correct", gamma.cpp
extern bitmapfx_driver bitmapfx_motion_blur_linear_driver; // "motion-blur.linear", lmotblur.cpp
extern bitmapfx_driver bitmapfx_motion_blur_radial_driver; // "motion-blur.radial", rmotblur.cpp
extern bitmapfx_driver bitmapfx_motion_blur_zoom_driver;   // "motion-blur.zoom", zmotblur.cpp
extern bitmapfx_driver bitmapfx_nova_driver;               // "nova", nova.cpp
extern bitmapfx_driver bitmapfx_offset_driver;             // "offset", offset.cpp
extern bitmapfx_driver bitmapfx_plasma_standard_driver;    // "plasma.standard", plasma.cpp
extern bitmapfx_driver bitmapfx_plasma_block_driver;       // "plasma.block", bplasma.cpp
extern bitmapfx_driver bitmapfx_emboss_driver;             // "emboss", emboss.cpp
extern bitmapfx_driver bitmapfx_blur_random_driver;        // "blur.random", randblur.cpp
extern bitmapfx_driver bitmapfx_reaction_diffusion_driver; // "reaction-diffusion", reaction.cpp
extern bitmapfx_driver bitmapfx_illusion_driver;           // "illusion", illusion.cpp
extern bitmapfx_driver bitmapfx_photo_negative_driver;     // "photo.negative", photoneg.cpp
extern bitmapfx_driver bitmapfx_photo_positive_driver;     // "photo.positive", photopos.cpp
extern bitmapfx_driver bitmapfx_raytrace_driver;           // "raytrace", ray/raytrace.cpp
extern bitmapfx_driver bitmapfx_anaglyph_driver;           // "anaglyph", anaglyph.cpp
extern bitmapfx_driver
    bitmapfx_rotate_arbitrary_scale_driver;            // "rotate.arbitrary.scale", rotscale.cpp
extern bitmapfx_driver bitmapfx_rectangle_get_driver;  // "rectangle.get", getrect.cpp
extern bitmapfx_driver bitmapfx_tile_auto_driver;      // "tile.auto", autotile.cpp
extern bitmapfx_driver bitmapfx_remap_driver;          // "remap", remap.cpp
extern bitmapfx_driver bitmapfx_snow_driver;           // "snow", snow.cpp
extern bitmapfx_driver bitmapfx_snr_driver;            // "snr", snr.cpp
extern bitmapfx_driver bitmapfx_edge_detect_driver;    // "edge-detect", edgedet.cpp
extern bitmapfx_driver bitmapfx_color_block_driver;    // "color-block", colblock.cpp
extern bitmapfx_driver bitmapfx_show_palette_driver;   // "show-palette", showpal.cpp
extern bitmapfx_driver bitmapfx_plasma_tile_driver;    // "plasma.tile", tplasma.cpp
extern bitmapfx_driver bitmapfx_greyscale_driver;      // "greyscale", greyscal.cpp
extern bitmapfx_driver bitmapfx_tiler_driver;          // "tiler", tiler.cpp
extern bitmapfx_driver bitmapfx_tile_rectangle_driver; // "tile.rectangle", recttile.cpp
extern bitmapfx_driver bitmapfx_random_flash_driver;   // "random-flash", rndflash.cpp
extern bitmapfx_driver
    bitmapfx_rotate_arbitrary_centered_driver;          // "rotate.arbitrary.centered", rotcent.cpp
extern bitmapfx_driver bitmapfx_invert_driver;          // "invert", invert.cpp
extern bitmapfx_driver bitmapfx_flip_horizontal_driver; // "flip.horizontal", hflip.cpp
extern bitmapfx_driver bitmapfx_flip_vertical_driver;   // "flip.vertical", vflip.cpp
extern bitmapfx_driver bitmapfx_equalize_driver;        // "equalize", equalize.cpp
extern bitmapfx_driver bitmapfx_resize_driver;          // "resize", resize.cpp
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
extern bitmapfx_driver
    bitmapfx_protex_hybrid_multi_fractal_driver;                   // "protex.hybrid-multi-fractal",
                                                                   // proctext/pthmfrac.cpp
extern bitmapfx_driver bitmapfx_protex_rigid_multi_fractal_driver; // "protex.rigid-multi-fractal",
                                                                   // proctext/ptrmfrac.cpp
extern bitmapfx_driver
    bitmapfx_protex_hetero_terrain_driver; // "protex.hetero-terrain", proctext/pthter.cpp
extern bitmapfx_driver
    bitmapfx_protex_multi_color_driver;      // "protex.multi-color", proctext/ptmcol.cpp
extern bitmapfx_driver bitmapfx_null_driver; // "null", nullfx.cpp

// Every built-in driver in registration order; null ends the list.
extern bitmapfx_driver *const bitmapfx_builtin_drivers[];

// Registers each built-in driver with bitmapfx_register_driver, in order.
void bitmapfx_register_builtin_drivers();
