// "show-palette": draws the colours of an 8-bpp picture's colormap as a grid
// of swatches, in index order row by row, on a picture of the source's size
// and colormap.  The grid has about as many columns per row as the picture's
// shape asks for; one-pixel lines in the map's darkest colour part the
// swatches where they are at least three pixels wide or high.  A picture
// without colormap shows the grey ramp it stands for (256 entries); an empty
// colormap leaves every pixel at index 0.
#include "core/message.h"
#include "gfx/2d/bitmap/bitinfo.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/colormap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cmath>
#include <cstring>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/showpal.c";
static constexpr const char *source_ident = "bitmapfx::show-palette";

namespace {

const char *const depths[] = {"in8", "out8", nullptr};

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    if (source->bpp != 8) {
        XASSERT(source->bpp == 8);
        return nullptr;
    }
    bitmap *target = bitmap_dup(source);
    const fxkit::view to(target);
    const int entries = target->cmap ? target->cmap->size : COLORMAP_MAX_SIZE;
    if (entries <= 0) {
        XWARNING("picture '%s' has an empty colormap, nothing to show", bitmap_get_name(source));
        std::memset(target->bits, 0, bitmap_bytesize(target));
        return fxkit::finish(driver, target);
    }
    // Columns so that the swatches come out about square.
    const double aspect = static_cast<double>(to.width) / to.height;
    const int columns =
        std::clamp(static_cast<int>(std::ceil(std::sqrt(entries * aspect))), 1, entries);
    const int rows = (entries + columns - 1) / columns;
    const auto darkest = static_cast<std::uint8_t>(colormap_find_color(0, 0, 0, target->cmap, 0));
    const bool part_x = to.width >= 3 * columns, part_y = to.height >= 3 * rows;
    for (int y = 0; y < to.height; ++y) {
        const int row = static_cast<int>(static_cast<long long>(y) * rows / to.height);
        const bool line_y = part_y && static_cast<long long>(y + 1) * rows / to.height != row;
        std::uint8_t *out = to.row(y);
        for (int x = 0; x < to.width; ++x) {
            const int column = static_cast<int>(static_cast<long long>(x) * columns / to.width);
            const bool line_x =
                part_x && static_cast<long long>(x + 1) * columns / to.width != column;
            const int index = row * columns + column;
            out[x] =
                line_x || line_y || index >= entries ? darkest : static_cast<std::uint8_t>(index);
        }
    }
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_show_palette_driver = fxkit::driver(
    "show-palette", "./src/gfx/2d/bitmap/effects/showpal.c", "$path.presets$/show-palette.preset",
    "render palette (colormap) colors", depths, parameters, procedures);
