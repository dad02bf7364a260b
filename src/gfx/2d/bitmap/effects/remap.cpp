// "remap": maps every pixel to the nearest colour of a colormap and gives an
// 8-bpp picture with that colormap.
//
// The colormap is the one referenced by `colormap`; without one (or with an
// empty one) a built-in palette of 256 colours is used: the 6 x 6 x 6 colour
// cube (levels 0, 51, .. 255) followed by 40 greys between its grey steps.
// Nearness is the squared distance of red, green and blue, or with `use_hsl`
// the distance in the hue-saturation-lightness cylinder (hue round the
// axis, saturation outward, lightness along it), which keeps a dark or pale
// colour's hue apart from grey where the RGB distance would mix them up.  On equal distances the
// lower index wins.  An 8-bpp source is read through its own colormap.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/bitinfo.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/color.h"
#include "gfx/2d/bitmap/colormap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "gfx/2d/bitmap/effects/quantize.h"

#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/remap.c";
static constexpr const char *source_ident = "bitmapfx::remap";

namespace {

std::int32_t use_hsl = 0;

const char *const depths[] = {"in8", "in24", "in32", "out8", nullptr};

struct kill_colormap {
    void operator()(colormap *map) const { colormap_kill(map); }
};

colormap *builtin_palette() {
    colormap *map = colormap_alloc(COLORMAP_MAX_SIZE);
    if (!map)
        return nullptr;
    int i = 0;
    for (int r = 0; r < 6; ++r)
        for (int g = 0; g < 6; ++g)
            for (int b = 0; b < 6; ++b)
                map->entry[i++] = {r * 51, g * 51, b * 51};
    // 40 greys, 8 between each pair of the cube's grey steps.
    for (int step = 0; step < 5; ++step)
        for (int k = 1; k <= 8; ++k) {
            const int level = step * 51 + (k * 51 + 4) / 9;
            map->entry[i++] = {level, level, level};
        }
    return map;
}

// A colour as a point in the hue-saturation-lightness cylinder.
struct cone_point {
    double x, y, z;
};
cone_point cone_of(int r, int g, int b) {
    double h, s, l;
    color_rgb2hsl(r / 255.0, g / 255.0, b / 255.0, &h, &s, &l);
    const double a = 2.0 * std::numbers::pi * h;
    return {s * std::cos(a), s * std::sin(a), l};
}

class hsl_search {
  public:
    explicit hsl_search(const colormap *map) {
        for (int i = 0; i < map->size; ++i)
            points_.push_back(cone_of(map->entry[i].r, map->entry[i].g, map->entry[i].b));
    }
    int nearest(int r, int g, int b) const {
        const cone_point p = cone_of(r, g, b);
        int best = 0;
        double best_distance = INFINITY;
        for (std::size_t i = 0; i < points_.size(); ++i) {
            const double dx = points_[i].x - p.x, dy = points_[i].y - p.y, dz = points_[i].z - p.z;
            const double d = dx * dx + dy * dy + dz * dz;
            if (d < best_distance) {
                best_distance = d;
                best = static_cast<int>(i);
            }
        }
        return best;
    }

  private:
    std::vector<cone_point> points_;
};

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    const auto *given = static_cast<const colormap *>(bitmapfx_talk(driver, "colormap", nullptr));
    std::unique_ptr<colormap, kill_colormap> map;
    if (given && given->size > 0 && given->size <= COLORMAP_MAX_SIZE && given->entry) {
        map.reset(colormap_dup(given));
    } else {
        if (given)
            XWARNING("colormap of %d entries cannot be used, remapping to the built-in palette",
                     given->size);
        map.reset(builtin_palette());
    }
    if (!map)
        return nullptr;

    quant_palette palette;
    for (int i = 0; i < map->size; ++i)
        palette.push_back({fxkit::clamp_byte(map->entry[i].r), fxkit::clamp_byte(map->entry[i].g),
                           fxkit::clamp_byte(map->entry[i].b)});
    const quant_search rgb(palette);
    std::unique_ptr<hsl_search> hsl;
    if (use_hsl)
        hsl = std::make_unique<hsl_search>(map.get());

    bitmap *target = bitmap_alloc2(source->xsize, source->ysize, 8);
    if (!target)
        return nullptr;
    const fxkit::view from(source), to(target);
    progress_guard progress("remap", "remap an image to a colormap");
    int last = -1, last_r = -1, last_g = -1, last_b = -1;
    for (int y = 0; y < from.height; ++y) {
        progress.add(y, from.height);
        for (int x = 0; x < from.width; ++x) {
            int r, g, b;
            const std::uint8_t *p = from.at(x, y);
            if (from.channels == 1) {
                const colormap_entry e = colormap_get_color(source->cmap, p[0]);
                r = e.r, g = e.g, b = e.b;
            } else {
                r = p[0], g = p[1], b = p[2];
            }
            // Neighbours often share their colour; the answer then is the same.
            if (r != last_r || g != last_g || b != last_b) {
                last = hsl ? hsl->nearest(r, g, b) : rgb.nearest(r, g, b, last);
                last_r = r, last_g = g, last_b = b;
            }
            to.at(x, y)[0] = static_cast<std::uint8_t>(last);
        }
    }
    target->cmap = map.release();
    bitmap_set_name(target, source->name);
    bitmap_set_info(target, source->info);
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_reference_param("colormap", "the colormap to map to (none: a built-in palette)", 0,
                             "fx", BITMAPFX_TYPE_CMAP),
    bitmapfx_param_typed("use_hsl", "match colours by hue, saturation and lightness", DTYPE_BOOL,
                         use_hsl),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_remap_driver =
    fxkit::driver("remap", "./src/gfx/2d/bitmap/effects/remap.c", "$path.presets$/remap.preset",
                  "remap an image to a colormap", depths, parameters, procedures);
