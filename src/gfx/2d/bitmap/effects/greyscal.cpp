// "greyscale": every pixel becomes the grey of its weighted channel sum.
// `grey` holds the weights of red, green and blue; they are scaled to add up
// to one, so any proportion works ("r:1 g:1 b:1" is the plain mean, the
// default is the eye's luminance).  At 8 bpp the colormap is greyed and the
// indices are kept; a picture without colormap is grey already.
#include "core/message.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cmath>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/greyscal.c";
static constexpr const char *source_ident = "bitmapfx::greyscal";

namespace {

constexpr rgbscalar luminance_weights = {0.299, 0.587, 0.114};
rgbscalar grey = luminance_weights;

const char *const supported[] = {"in8", "in24", "in32", "out8", "out24", "out32", nullptr};

// The weights as 16-bit fractions adding up to exactly 65536, so that a
// grey pixel keeps its level.
struct weights {
    std::uint32_t r, g, b;
    int level(int red, int green, int blue) const {
        return static_cast<int>((r * red + g * green + b * blue + 32768u) >> 16);
    }
};

weights fixed_weights() {
    rgbscalar w = grey;
    const bool usable =
        w.r >= 0 && w.g >= 0 && w.b >= 0 && w.r + w.g + w.b > 0 && std::isfinite(w.r + w.g + w.b);
    if (!usable) {
        XWARNING("grey weights r:%f g:%f b:%f unusable, using luminance", w.r, w.g, w.b);
        w = luminance_weights;
    }
    const double sum = w.r + w.g + w.b;
    const auto r = static_cast<std::uint32_t>(std::lround(w.r / sum * 65536));
    const auto g = std::min(65536u - r, static_cast<std::uint32_t>(std::lround(w.g / sum * 65536)));
    return {r, g, 65536u - r - g};
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    const weights w = fixed_weights();
    bitmap *target = bitmap_dup(source);
    if (!target)
        return nullptr;
    if (target->bpp == 8) {
        if (colormap *map = target->cmap)
            for (int i = 0; i < map->size; ++i) {
                colormap_entry &e = map->entry[i];
                e.r = e.g = e.b = w.level(std::clamp(e.r, 0, 255), std::clamp(e.g, 0, 255),
                                          std::clamp(e.b, 0, 255));
            }
        return fxkit::finish(driver, target);
    }
    const fxkit::view to(target);
    const std::size_t pixels = static_cast<std::size_t>(to.width) * to.height;
    std::uint8_t *p = to.bits;
    for (std::size_t i = 0; i < pixels; ++i, p += to.channels)
        p[0] = p[1] = p[2] = static_cast<std::uint8_t>(w.level(p[0], p[1], p[2]));
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("grey", "weights of red, green and blue (scaled to add up to 1)", grey),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_greyscale_driver = fxkit::driver(
    "greyscale", "./src/gfx/2d/bitmap/effects/greyscal.c", "$path.presets$/greyscale.preset",
    "greyscale an image", supported, parameters, procedures);
