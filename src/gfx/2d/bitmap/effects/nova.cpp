// "nova": a star bursting at (`xcenter`, `ycenter`): a white-hot core, a
// glow of `color` and `nspoke` rays of random brightness around it.  A
// brighter ray also reaches farther, and each ray's hue strays a little from
// `color`, so the burst looks like light rather than a drawn star.
//
// Positions and the core's radius are fractions of the picture (the centre
// of the burst in fractions of width and height, the radius in fractions of
// half the diagonal), so a preset looks the same at every resolution.  The
// rays' brightnesses are drawn at every run.
#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/color.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgen.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

double xcenter = 0.38;
double ycenter = 0.42;
double radius = 0.06;
std::int32_t nspoke = 90;
rgbpack color = {110, 150, 255};

// The most rays a burst has: beyond that they are finer than a pixel at any
// size the library holds.
constexpr std::int32_t most_spokes = 4096;

// "rand" ranges: the centre anywhere but the outer fifth, core radius 0.03
// to 0.1, 30 to 180 rays, any hue at saturation 0.35 to 0.85 and full value
// (greys would make the burst colourless).
void *run_rand(bitmapfx_driver *) {
    xcenter = fxgen::draw(0.2, 0.8);
    ycenter = fxgen::draw(0.2, 0.8);
    radius = fxgen::draw(0.03, 0.1);
    nspoke = fxgen::draw_int(30, 180);
    const double hue = fxgen::draw(0.0, 1.0), saturation = fxgen::draw(0.35, 0.85);
    double r, g, b;
    color_hsv2rgb(hue, saturation, 1.0, &r, &g, &b);
    color = {fxkit::clamp_byte(r * 255.0), fxkit::clamp_byte(g * 255.0),
             fxkit::clamp_byte(b * 255.0)};
    return nullptr;
}

struct spoke {
    float brightness; // 0..1
    float reach;      // in core radii
    float tint[3];    // the ray's colour, 0..1 a channel
};

std::vector<spoke> draw_spokes(int count) {
    std::vector<spoke> spokes(count);
    const float base[3] = {color.r / 255.0f, color.g / 255.0f, color.b / 255.0f};
    for (spoke &s : spokes) {
        const float a = 0.5f + 0.5f * fxgen::unit();
        s.brightness = a * a;
        s.reach = 2.0f + 14.0f * s.brightness;
        // Shift the colour toward white or toward its own hue a little.
        const float shift = 0.25f * fxgen::unit();
        for (int c = 0; c < 3; ++c)
            s.tint[c] =
                std::clamp(base[c] + shift * (shift > 0 ? 1.0f - base[c] : base[c]), 0.0f, 1.0f);
    }
    return spokes;
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    bitmap *target = bitmap_dup(source);
    const fxkit::view image(target);
    progress_guard report("nova", "render nova burst");

    const int count = std::clamp(nspoke, 1, most_spokes);
    const std::vector<spoke> spokes = draw_spokes(count);
    const double half = fxgen::half_diagonal(image.width, image.height);
    const float core = static_cast<float>(fxgen::bounded(radius, 0.0, 4.0) * half) + 0.5f;
    const float cx = static_cast<float>(fxgen::bounded(xcenter, -4.0, 4.0) * image.width);
    const float cy = static_cast<float>(fxgen::bounded(ycenter, -4.0, 4.0) * image.height);
    const float glow[3] = {color.r / 255.0f, color.g / 255.0f, color.b / 255.0f};
    const float per_turn = static_cast<float>(count / (2.0 * 3.14159265358979));

    for (int y = 0; y < image.height; ++y) {
        report.add(y, image.height);
        std::uint8_t *pixel = image.row(y);
        const float dy = y + 0.5f - cy;
        for (int x = 0; x < image.width; ++x, pixel += image.channels) {
            const float dx = x + 0.5f - cx;
            const float u = std::sqrt(dx * dx + dy * dy) / core;
            float angle = (std::atan2(dy, dx) + 3.14159265f) * per_turn;
            const int i = std::min(static_cast<int>(angle), count - 1);
            float f = angle - static_cast<float>(i);
            f = f * f * (3.0f - 2.0f * f);
            const spoke &a = spokes[i], &b = spokes[i + 1 == count ? 0 : i + 1];
            const float brightness = a.brightness + (b.brightness - a.brightness) * f;
            const float reach = a.reach + (b.reach - a.reach) * f;
            const float along = std::max(0.0f, 1.0f - u / reach);
            const float ray = 1.1f * brightness * along * along / (1.0f + 0.25f * u);
            const float halo = 0.45f / (1.0f + u * u);
            const float hot = 1.0f / (1.0f + u * u * u * u);
            for (int c = 0; c < 3; ++c) {
                const float tint = a.tint[c] + (b.tint[c] - a.tint[c]) * f;
                pixel[c] = fxgen::screen(pixel[c], hot + halo * glow[c] + ray * tint);
            }
        }
    }
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("xcenter", "horizontal center (fraction of the width)", xcenter),
    bitmapfx_param("ycenter", "vertical center (fraction of the height)", ycenter),
    bitmapfx_param("radius", "core radius (fraction of half the diagonal)", radius),
    bitmapfx_param("nspoke", "number of rays", nspoke),
    bitmapfx_param("color", "color of the glow and the rays", color),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_nova_driver =
    fxkit::driver("nova", "./src/gfx/2d/bitmap/effects/nova.c", "$path.presets$/nova.preset",
                  "render nova burst", fxkit::depths_rgb, parameters, procedures);
