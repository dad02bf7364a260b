// "rectangle.get": the pixels from (`xmin`, `ymin`) to (`xmax`, `ymax`), both
// corners included, as a picture of their own.  Corners given the wrong way
// round are swapped; a rectangle reaching beyond the picture is cut at its
// edges, and one wholly outside shrinks to the nearest edge pixels (a verbose
// note says so).  Whole pixels at any depth.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgeometry.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <utility>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/getrect.c";
static constexpr const char *source_ident = "bitmapfx::getrect";

namespace {

// The middle half of the program's default 320 x 200 picture.
std::int32_t xmin = 80;
std::int32_t ymin = 50;
std::int32_t xmax = 239;
std::int32_t ymax = 149;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    std::int64_t x0 = std::min(xmin, xmax), x1 = std::max(xmin, xmax);
    std::int64_t y0 = std::min(ymin, ymax), y1 = std::max(ymin, ymax);
    const std::int64_t right = source->xsize - 1, bottom = source->ysize - 1;
    if (x0 < 0 || y0 < 0 || x1 > right || y1 > bottom) {
        x0 = std::clamp<std::int64_t>(x0, 0, right);
        x1 = std::clamp<std::int64_t>(x1, 0, right);
        y0 = std::clamp<std::int64_t>(y0, 0, bottom);
        y1 = std::clamp<std::int64_t>(y1, 0, bottom);
        XVERBOSE("rectangle (%d, %d) - (%d, %d) reaches beyond the %lld x %lld picture, taking "
                 "(%lld, %lld) - (%lld, %lld)",
                 xmin, ymin, xmax, ymax, static_cast<long long>(right + 1),
                 static_cast<long long>(bottom + 1), static_cast<long long>(x0),
                 static_cast<long long>(y0), static_cast<long long>(x1),
                 static_cast<long long>(y1));
    }
    progress_guard progress("rectangle.get", "get rectangular area from image");
    const std::int64_t xsize = x1 - x0 + 1, ysize = y1 - y0 + 1;
    fxgeom::owned target(fxkit::resized_like(source, static_cast<std::uint32_t>(xsize),
                                             static_cast<std::uint32_t>(ysize)));
    if (!target)
        return nullptr;
    fxgeom::copy_block(source, x0, y0, target.get(), 0, 0, xsize, ysize);
    return fxkit::finish(driver, target.release());
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("xmin", "left column of the rectangle", xmin),
    bitmapfx_param("ymin", "top row of the rectangle", ymin),
    bitmapfx_param("xmax", "right column of the rectangle (included)", xmax),
    bitmapfx_param("ymax", "bottom row of the rectangle (included)", ymax),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_rectangle_get_driver = fxkit::driver(
    "rectangle.get", "./src/gfx/2d/bitmap/effects/getrect.c", "$path.presets$/getrect.preset",
    "get rectangular area from image", fxkit::depths_any, parameters, procedures);
