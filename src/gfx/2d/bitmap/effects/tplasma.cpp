// "plasma.tile": plasma clouds that tile seamlessly.
//
// Each colour channel is a fractal field on a torus (fxgen::fractal): the
// right edge continues into the left and the bottom into the top, so copies
// of the picture laid side by side show no seam.  The clouds vary around the
// colour `base`; the source picture only gives size and depth, since any part
// of it kept would break the seam.
#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgen.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>

namespace {

// The colour the clouds vary around, 0..1 a channel.  "rand" draws each
// channel from 0.25 to 0.75: darker or lighter bases push one side of the
// clouds into black or white.
rgbscalar base = {0.5, 0.5, 0.5};

// How far the clouds reach from the base, in byte units for one root mean
// square of the field.
constexpr float spread = 72.0f;
// Levels of detail with random values; a seventh level would add less than
// 1/64 of the first.
constexpr int octaves = 7;

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    bitmap *target = bitmap_dup(source);
    const fxkit::view image(target);
    progress_guard report("plasma.tile", "create a tileable plasma");
    // The largest clouds span about half the picture's shorter side.
    const int cell = fxgen::power_of_two_below(std::min(image.width, image.height) / 2.0);
    const double centre[3] = {fxgen::bounded(base.r, 0.0, 1.0), fxgen::bounded(base.g, 0.0, 1.0),
                              fxgen::bounded(base.b, 0.0, 1.0)};
    const fxgen::fractal fields[3] = {{image.width, image.height, cell, 0.5f, octaves},
                                      {image.width, image.height, cell, 0.5f, octaves},
                                      {image.width, image.height, cell, 0.5f, octaves}};
    std::vector<float> row(static_cast<std::size_t>(image.width) * 3);
    for (int y = 0; y < image.height; ++y) {
        report.add(y, image.height);
        for (int c = 0; c < 3; ++c)
            fields[c].row(y, row.data() + static_cast<std::size_t>(c) * image.width);
        std::uint8_t *pixel = image.row(y);
        for (int x = 0; x < image.width; ++x, pixel += image.channels)
            for (int c = 0; c < 3; ++c)
                pixel[c] = fxkit::clamp_byte(static_cast<int>(
                    std::lround(centre[c] * 255.0 + spread * row[c * image.width + x])));
    }
    return fxkit::finish(driver, target);
}

void *run_rand(bitmapfx_driver *) {
    base.r = fxgen::draw(0.25, 0.75);
    base.g = fxgen::draw(0.25, 0.75);
    base.b = fxgen::draw(0.25, 0.75);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("base", "base color the clouds vary around", base),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_plasma_tile_driver = fxkit::driver(
    "plasma.tile", "./src/gfx/2d/bitmap/effects/tplasma.c", "$path.presets$/tile-plasma.preset",
    "create a tileable plasma", fxkit::depths_rgb, parameters, procedures);
