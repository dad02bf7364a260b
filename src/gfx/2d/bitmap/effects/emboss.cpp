// "emboss": the picture lit as a relief.  A bump map gives every pixel a
// height; a light from `azimuth` (degrees, counter-clockwise from the right
// as seen on the screen) at `elevation` degrees above the picture shades the
// slopes, in the fast way: the surface normal comes from the height
// differences of the 3x3 neighbourhood, its flatness from `width45` (the
// width in pixels over which a full black-to-white rise reads as a 45 degree
// slope: smaller is steeper), and the shade is the cosine between normal and
// light.  Each colour then follows the shade relative to that of flat
// ground: level areas keep their colour, slopes turned away from the light
// darken down to black, and slopes facing it gain the extra light as white,
// so that the relief shows on dark pictures too.  Alpha is kept.
//
// The bump map is `bump_bitmap` when the caller gives one (any depth; a map
// of another size is tiled).  Otherwise "init" makes one and holds it there
// for the run: with `bump_generate` set, a random relief of soft hills and
// finer dents; else the picture's own luminance, which embosses its shapes.
// "deinit" frees what "init" made and empties the parameter again; a
// caller's bitmap is never freed.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/filterkit.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "gfx/2d/bitmap/pixel.h"
#include "xmath/xrand.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/emboss.c";
static constexpr const char *source_ident = "bitmapfx::emboss";

namespace {

// Light from the upper left, as reliefs are usually shown.
double azimuth = 135.0;
double elevation = 40.0;
double width45 = 3.0;
std::int32_t bump_generate = 0;

// "rand": azimuth 0..359, elevation 25..60, width45 2..6 (whole numbers),
// and a generated bump map one time in four.  Lower lights black out half
// the slopes, higher ones flatten the relief; a width45 below 2 turns photo
// grain into noise, above 6 the relief fades.
constexpr int rand_elevation_low = 25, rand_elevation_high = 60;
constexpr int rand_width_low = 2, rand_width_high = 6;

// The bump map "init" made for the current run, if any.
bitmap *made_bump = nullptr;

struct kill_bitmap {
    void operator()(bitmap *image) const { bitmap_kill(image); }
};

// The picture's luminance as an 8-bpp grey picture.
bitmap *luminance_map(const bitmap *source) {
    bitmap *map = bitmap_alloc2(source->xsize, source->ysize, 8);
    if (!map)
        return nullptr;
    const std::vector<std::uint8_t> grey = filterkit::luminance(source);
    std::copy(grey.begin(), grey.end(), map->bits);
    return map;
}

// Random relief: value noise over four octaves, cells of 32 down to 4
// pixels, each octave half as high as the one before; stretched to 0..255.
bitmap *generated_map(std::uint32_t width, std::uint32_t height) {
    bitmap *map = bitmap_alloc2(width, height, 8);
    if (!map)
        return nullptr;
    std::vector<float> height_of(static_cast<std::size_t>(width) * height, 0.0f);
    float amplitude = 1.0f;
    for (int cell = 32; cell >= 4; cell /= 2, amplitude /= 2) {
        const std::uint32_t columns = width / cell + 2, rows = height / cell + 2;
        std::vector<float> node(static_cast<std::size_t>(columns) * rows);
        for (float &n : node)
            n = static_cast<float>(xrand_mm(0, 256)) * amplitude;
        auto smooth = [](float t) { return t * t * (3 - 2 * t); };
        for (std::uint32_t y = 0; y < height; ++y) {
            const std::uint32_t gy = y / cell;
            const float ty = smooth(static_cast<float>(y % cell) / cell);
            for (std::uint32_t x = 0; x < width; ++x) {
                const std::uint32_t gx = x / cell;
                const float tx = smooth(static_cast<float>(x % cell) / cell);
                const float *top = node.data() + static_cast<std::size_t>(gy) * columns + gx;
                const float *bottom = top + columns;
                const float upper = top[0] + (top[1] - top[0]) * tx;
                const float lower = bottom[0] + (bottom[1] - bottom[0]) * tx;
                height_of[static_cast<std::size_t>(y) * width + x] += upper + (lower - upper) * ty;
            }
        }
    }
    const auto [low, high] = std::minmax_element(height_of.begin(), height_of.end());
    const float range = *high - *low;
    for (std::size_t i = 0; i < height_of.size(); ++i)
        map->bits[i] = range > 0 ? fxkit::clamp_byte(255.0 * (height_of[i] - *low) / range) : 128;
    return map;
}

// The bump map's heights, one byte per pixel.
std::vector<std::uint8_t> heights(const bitmap *bump) {
    if (bump->bpp == 15 || bump->bpp == 16) {
        std::unique_ptr<bitmap, kill_bitmap> wide(bitmap_upgrade(bump, 24));
        return wide ? filterkit::luminance(wide.get()) : std::vector<std::uint8_t>();
    }
    return filterkit::luminance(bump);
}

void *make_bump(bitmapfx_driver *driver) {
    if (bitmapfx_talk_raw(driver, "bump_bitmap", nullptr))
        return nullptr;
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    bitmap_kill(made_bump);
    made_bump = bump_generate ? generated_map(source->xsize, source->ysize) : luminance_map(source);
    if (made_bump)
        bitmapfx_talk(driver, "bump_bitmap", made_bump);
    return nullptr;
}

void *free_bump(bitmapfx_driver *driver) {
    if (!made_bump)
        return nullptr;
    if (bitmapfx_talk_raw(driver, "bump_bitmap", nullptr) == made_bump)
        put_parameter(driver, "bump_bitmap", nullptr);
    bitmap_kill(made_bump);
    made_bump = nullptr;
    return nullptr;
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    const auto *bump =
        static_cast<const bitmap *>(bitmapfx_talk_raw(driver, "bump_bitmap", nullptr));
    std::vector<std::uint8_t> relief;
    if (bump && bump->xsize && bump->ysize && bump->bits)
        relief = heights(bump);
    if (relief.empty()) {
        XWARNING("no usable bump map, using the picture's luminance");
        relief = filterkit::luminance(source);
        bump = source;
    }
    const double up = std::isfinite(elevation) ? std::clamp(elevation, 1.0, 90.0) : 45.0;
    const double width = std::isfinite(width45) ? std::clamp(width45, 0.1, 1000.0) : 3.0;
    if (up != elevation || width != width45)
        XWARNING("elevation %f or width45 %f out of range, using %f and %f", elevation, width45, up,
                 width);
    const double turn = std::isfinite(azimuth) ? std::fmod(azimuth, 360.0) : 0.0;
    const double a = turn * std::numbers::pi / 180.0, e = up * std::numbers::pi / 180.0;
    // Light direction in picture coordinates (y down), scaled to 255.
    const double lx = 255.0 * std::cos(a) * std::cos(e), ly = -255.0 * std::sin(a) * std::cos(e);
    const double lz = 255.0 * std::sin(e);
    const double nz = 6.0 * 255.0 / width, nz2 = nz * nz;

    bitmap *target = bitmap_dup(source);
    if (!target)
        return nullptr;
    const fxkit::view to(target);
    const int w = to.width, h = to.height;
    const int bw = static_cast<int>(bump->xsize), bh = static_cast<int>(bump->ysize);
    // Bump columns and rows of each picture column and row and their
    // neighbours: edges repeat on a map of the picture's size, others tile.
    const bool same = bw == w && bh == h;
    auto place = [same](int i, int size, int limit) {
        return same ? std::clamp(i, 0, limit - 1) : ((i % size) + size) % size;
    };
    std::vector<int> column(w + 2), row(h + 2);
    for (int x = -1; x <= w; ++x)
        column[x + 1] = place(x, bw, w);
    for (int y = -1; y <= h; ++y)
        row[y + 1] = place(y, bh, h) * bw;

    progress_guard report("emboss", "fast embossing");
    for (int y = 0; y < h; ++y) {
        const std::uint8_t *above = relief.data() + row[y], *below = relief.data() + row[y + 2];
        const std::uint8_t *level = relief.data() + row[y + 1];
        std::uint8_t *out = to.row(y);
        for (int x = 0; x < w; ++x, out += to.channels) {
            const int l = column[x], r = column[x + 2], m = column[x + 1];
            const int nx = above[l] + level[l] + below[l] - above[r] - level[r] - below[r];
            const int ny = above[l] + above[m] + above[r] - below[l] - below[m] - below[r];
            if (nx == 0 && ny == 0)
                continue;
            const double facing = nx * lx + ny * ly + nz * lz;
            const double shade = facing > 0 ? facing / std::sqrt(nx * nx + ny * ny + nz2) : 0.0;
            if (shade < lz) {
                // In shadow: the colour darkens and keeps its hue.
                const auto gain = static_cast<std::uint32_t>(std::lround(shade / lz * 256.0));
                for (int c = 0; c < 3; ++c)
                    out[c] = static_cast<std::uint8_t>((out[c] * gain + 128) >> 8);
            } else {
                // In the light: the light's own brightness adds, so even
                // dark pictures show their relief.
                const auto light = static_cast<int>(std::lround(shade - lz));
                for (int c = 0; c < 3; ++c)
                    out[c] = static_cast<std::uint8_t>(std::min(255, out[c] + light));
            }
        }
        report.add(y, h);
    }
    return fxkit::finish(driver, target);
}

void *randomize(bitmapfx_driver *) {
    azimuth = xrand_mm(0, 360);
    elevation = xrand_mm(rand_elevation_low, rand_elevation_high + 1);
    width45 = xrand_mm(rand_width_low, rand_width_high + 1);
    bump_generate = xrand_mm(0, 4) == 0;
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_reference_param("bump_bitmap", "bump map (heights from its luminance)"),
    bitmapfx_param("azimuth", "direction of the light in degrees (0 = from the right)", azimuth),
    bitmapfx_param("elevation", "height of the light above the picture in degrees (1..90)",
                   elevation),
    bitmapfx_param("width45", "pixels over which a full rise is a 45 degree slope", width45),
    bitmapfx_param_typed("bump_generate", "generate a random bump map instead of the picture's",
                         DTYPE_BOOL, bump_generate),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {
    {"init", "make the bump map when none is given", make_bump},
    {"deinit", "free the bump map init made", free_bump},
    fxkit::fx_procedure(run_effect),
    fxkit::rand_procedure(randomize),
    fxkit::procedure_end,
};

} // namespace

bitmapfx_driver bitmapfx_emboss_driver =
    fxkit::driver("emboss", "./src/gfx/2d/bitmap/effects/emboss.c", "$path.presets$/emboss.preset",
                  "fast embossing", fxkit::depths_rgb, parameters, procedures);
