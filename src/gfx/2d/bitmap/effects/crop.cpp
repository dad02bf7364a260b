// "crop": `clip_x` pixels cut off the left and the right edge, `clip_y` off
// the top and the bottom.  A cut that would leave nothing is lowered so that
// the middle column or row stays (a verbose note says so).  Whole pixels at
// any depth.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgeometry.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/crop.c";
static constexpr const char *source_ident = "bitmapfx::crop";

namespace {

// A tenth of the program's default 320 x 200 picture from each edge.
std::int32_t clip_x = 32;
std::int32_t clip_y = 20;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    if (clip_x < 0 || clip_y < 0) {
        XERROR("cropping %d x %d pixels: the edges cut off must not be negative", clip_x, clip_y);
        return nullptr;
    }
    const std::int64_t width = source->xsize, height = source->ysize;
    const std::int64_t cut_x = std::min<std::int64_t>(clip_x, (width - 1) / 2);
    const std::int64_t cut_y = std::min<std::int64_t>(clip_y, (height - 1) / 2);
    if (cut_x < clip_x || cut_y < clip_y)
        XVERBOSE("cropping %d x %d pixels off a %lld x %lld picture leaves nothing, cropping "
                 "%lld x %lld",
                 clip_x, clip_y, static_cast<long long>(width), static_cast<long long>(height),
                 static_cast<long long>(cut_x), static_cast<long long>(cut_y));
    progress_guard progress("crop", "crop an image (cut off edges)");
    const std::int64_t xsize = width - 2 * cut_x, ysize = height - 2 * cut_y;
    fxgeom::owned target(fxkit::resized_like(source, static_cast<std::uint32_t>(xsize),
                                             static_cast<std::uint32_t>(ysize)));
    if (!target)
        return nullptr;
    fxgeom::copy_block(source, cut_x, cut_y, target.get(), 0, 0, xsize, ysize);
    return fxkit::finish(driver, target.release());
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("clip_x", "pixels cut off the left and the right edge", clip_x),
    bitmapfx_param("clip_y", "pixels cut off the top and the bottom edge", clip_y),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_crop_driver =
    fxkit::driver("crop", "./src/gfx/2d/bitmap/effects/crop.c", "$path.presets$/crop.preset",
                  "crop an image (cut off edges)", fxkit::depths_any, parameters, procedures);
