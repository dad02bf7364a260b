// "border": a frame of `color`, `border_x` pixels wide at the left and the
// right and `border_y` pixels high at the top and the bottom, around the
// whole picture; the target grows by twice each.  A frame that would take the picture beyond the
// library's bitmap limits is narrowed (both sides in proportion) with a
// warning.  Whole pixels at any depth.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgeometry.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/border.c";
static constexpr const char *source_ident = "bitmapfx::border";

namespace {

std::int32_t border_x = 8;
std::int32_t border_y = 8;
rgbpack color = {255, 255, 255};

bool fits(std::uint64_t width, std::uint64_t height) {
    return width <= BITMAP_MAX_SIDE && height <= BITMAP_MAX_SIDE &&
           width * height <= BITMAP_MAX_PIXELS;
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    if (border_x < 0 || border_y < 0) {
        XERROR("border of %d x %d pixels: the border must not be negative", border_x, border_y);
        return nullptr;
    }
    const std::uint64_t width = source->xsize, height = source->ysize;
    std::uint64_t bx = border_x, by = border_y;
    if (!fits(width + 2 * bx, height + 2 * by)) {
        // The widest frame of the same proportions that fits, by halving the
        // step: about 32 rounds for any 32-bit border.
        std::uint64_t low = 0, high = 1u << 31;
        while (high - low > 1) {
            const std::uint64_t middle = (low + high) / 2;
            if (fits(width + 2 * (bx * middle >> 31), height + 2 * (by * middle >> 31)))
                low = middle;
            else
                high = middle;
        }
        bx = bx * low >> 31;
        by = by * low >> 31;
        XWARNING("a border of %d x %d pixels is beyond the bitmap limits, using %llu x %llu",
                 border_x, border_y, static_cast<unsigned long long>(bx),
                 static_cast<unsigned long long>(by));
    }
    progress_guard progress("border", "create border around image");
    fxgeom::owned target(fxkit::resized_like(source, static_cast<std::uint32_t>(width + 2 * bx),
                                             static_cast<std::uint32_t>(height + 2 * by)));
    if (!target)
        return nullptr;
    if (!bx && !by) {
        fxgeom::copy_block(source, 0, 0, target.get(), 0, 0, width, height);
        return fxkit::finish(driver, target.release());
    }
    const fxgeom::painted frame = fxgeom::paint(target.get(), source, color.r, color.g, color.b);
    const std::int64_t xsize = target->xsize, ysize = target->ysize;
    const std::int64_t left = static_cast<std::int64_t>(bx), top = static_cast<std::int64_t>(by);
    fxgeom::fill(target.get(), 0, 0, xsize, top, frame.pixel);
    fxgeom::fill(target.get(), 0, ysize - top, xsize, top, frame.pixel);
    fxgeom::fill(target.get(), 0, top, left, ysize - 2 * top, frame.pixel);
    fxgeom::fill(target.get(), xsize - left, top, left, ysize - 2 * top, frame.pixel);
    fxgeom::copy_block(frame.pixels, 0, 0, target.get(), left, top, width, height);
    return fxkit::finish(driver, target.release());
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("border_x", "border width at the left and the right, in pixels", border_x),
    bitmapfx_param("border_y", "border height at the top and the bottom, in pixels", border_y),
    bitmapfx_param("color", "border colour", color),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_border_driver =
    fxkit::driver("border", "./src/gfx/2d/bitmap/effects/border.c", "$path.presets$/border.preset",
                  "create border around image", fxkit::depths_any, parameters, procedures);
