// "offset": the picture moved `xoff` pixels right and `yoff` down (negative
// values move it left and up).  With `wrap` what leaves one edge comes back
// in at the opposite one; without it the uncovered part is black.  Whole pixels at any depth.
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgeometry.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <cstring>

namespace {

// About a third of the program's default 320 x 200 picture.
std::int32_t xoff = 107;
std::int32_t yoff = 67;
std::int32_t wrap = 1;

// `value` modulo `size`, from 0 to size - 1.
std::int64_t modulo(std::int64_t value, std::int64_t size) {
    const std::int64_t rest = value % size;
    return rest < 0 ? rest + size : rest;
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    progress_guard progress("offset", "offset image");
    fxgeom::owned target(fxkit::resized_like(source, source->xsize, source->ysize));
    if (!target)
        return nullptr;
    const fxkit::view in(source), out(target.get());
    if (!wrap) {
        const fxgeom::painted black = fxgeom::paint(target.get(), source, 0, 0, 0);
        fxgeom::fill(target.get(), 0, 0, in.width, in.height, black.pixel);
        fxgeom::copy_block(black.pixels, 0, 0, target.get(), xoff, yoff, in.width, in.height);
        return fxkit::finish(driver, target.release());
    }
    // Each target row is the source row `yoff` above it, in two pieces.
    const std::size_t shift = modulo(xoff, in.width) * in.channels;
    for (int y = 0; y < in.height; ++y) {
        progress.add(y, in.height);
        const std::uint8_t *from =
            in.row(static_cast<int>(modulo(y - std::int64_t{yoff}, in.height)));
        std::uint8_t *to = out.row(y);
        std::memcpy(to + shift, from, in.stride - shift);
        std::memcpy(to, from + in.stride - shift, shift);
    }
    return fxkit::finish(driver, target.release());
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("xoff", "pixels moved to the right (negative: to the left)", xoff),
    bitmapfx_param("yoff", "pixels moved down (negative: up)", yoff),
    bitmapfx_param_typed("wrap", "what leaves one edge comes back at the other", DTYPE_BOOL, wrap),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_offset_driver =
    fxkit::driver("offset", "./src/gfx/2d/bitmap/effects/offset.c", "$path.presets$/offset.preset",
                  "offset image", fxkit::depths_any, parameters, procedures);
