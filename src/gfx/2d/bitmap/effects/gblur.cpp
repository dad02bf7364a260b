// "blur.gaussian": a Gaussian blur whose kernel reaches `size` pixels either
// side (standard deviation size / 3), applied across and then down with
// edge pixels repeated.  Sizes are capped at 128; 0 copies the picture.
// Alpha is kept.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/filterkit.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/gblur.c";
static constexpr const char *source_ident = "bitmapfx::gblur";

namespace {

// A soft blur at 320x200 that still shows the shapes.
std::int32_t size = 5;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    const int radius = std::clamp(size, 0, filterkit::MAX_RADIUS);
    if (radius != size)
        XWARNING("kernel size %d out of range, using %d", size, radius);
    progress_guard report("blur.gaussian", "gaussian blur with variable kernel size");
    return fxkit::finish(driver, filterkit::gaussian_blur(source, radius, &report));
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("size", "kernel radius in pixels (0..128)", size),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_blur_gaussian_driver = fxkit::driver(
    "blur.gaussian", "./src/gfx/2d/bitmap/effects/gblur.c", "$path.presets$/blur-gaussian.preset",
    "gaussian blur with variable kernel size", fxkit::depths_rgb, parameters, procedures);
