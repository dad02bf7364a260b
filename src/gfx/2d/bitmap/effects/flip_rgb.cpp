// "flip-rgb": the order of the colour channels is reversed (red and blue
// change places, green stays), which turns warm tones cold and the other way
// round while keeping every level.  The alpha channel of a 32-bpp picture
// has no partner to change places with and is kept.
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <utility>

namespace {

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    bitmap *target = bitmap_dup(source);
    if (!target)
        return nullptr;
    const fxkit::view to(target);
    const std::size_t pixels = static_cast<std::size_t>(to.width) * to.height;
    std::uint8_t *p = to.bits;
    for (std::size_t i = 0; i < pixels; ++i, p += to.channels)
        std::swap(p[0], p[2]);
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_flip_rgb_driver = fxkit::driver(
    "flip-rgb", "./src/gfx/2d/bitmap/effects/flip_rgb.c", "$path.presets$/flip-rgb.preset",
    "flip each individual (red, green, blue and alpha) channels", fxkit::depths_rgb, parameters,
    procedures);
