// "flare.standard": the lens flare a camera shows when it looks into a light
// at (`xpos`, `ypos`).
//
// At the light: a white-hot core, a warm glow (`xsize` x `ysize`, in
// fractions of half the picture's diagonal, so an anamorphic lens can stretch
// it), the star of an aperture with six blades turned by `angle` degrees (one
// spike pair longer and bluer) and a faint halo ring split into colours.
// Along the line from the light through the picture's centre: the secondary
// reflections (ghosts) of the lens elements, discs with a brighter rim,
// rings and hexagons (the aperture's shape) in the tints of lens coatings.
// They sit every `rstride` along that line (measured in lengths from the
// light to the centre, with some scatter), from 0.7 of that length on the
// light's side to 1.6 lengths past the centre; past the centre their offsets
// from it are scaled by `xm` horizontally and `ym` vertically (equal values
// keep them on the line).  Ghost sizes, shapes and tints are drawn at every
// run.
//
// The light pixel itself is always the brightest: the core alone saturates
// it, and every other element is far weaker than the core's peak.  All the
// light is added with fxgen::screen, so the picture underneath never clips
// harshly.  `xpos` and `ypos` are set by whoever places the flare (the
// raytracer puts them on its brightest pixel after calling "rand"), so "rand"
// never touches them; a light outside the picture is fine, its glow and
// ghosts still reach in.
#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgen.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "xmath/xrand.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

std::int32_t xpos = 96;
std::int32_t ypos = 56;
double intensity = 1.0;
double angle = 18.0;
double xm = 1.0;
double ym = 1.0;
double xsize = 0.09;
double ysize = 0.09;
double rstride = 0.28;

// "rand" ranges (never the position): intensity 0.8 to 1.25, any angle of
// the six-fold star's 60 degrees plus which spike is long, a common scale of
// 0.7 to 1.3 (the ghosts stay on the line), a glow of 0.06 to 0.13 stretched
// up to 1.25 times sideways, and ghosts every 0.18 to 0.42.
void *run_rand(bitmapfx_driver *) {
    intensity = fxgen::draw(0.8, 1.25);
    angle = fxgen::draw(0.0, 180.0);
    xm = ym = fxgen::draw(0.7, 1.3);
    ysize = fxgen::draw(0.06, 0.13);
    xsize = fxgen::thousandths(ysize * fxgen::draw(1.0, 1.25));
    rstride = fxgen::draw(0.18, 0.42);
    return nullptr;
}

constexpr int most_ghosts = 16;
constexpr float pi = 3.14159265f;

struct rgb {
    float r, g, b;
};

// Tints of lens coatings: green, blue, amber, violet, cyan, gold.
constexpr rgb coatings[] = {{0.35f, 1.0f, 0.55f}, {0.4f, 0.7f, 1.0f},   {1.0f, 0.55f, 0.25f},
                            {0.85f, 0.4f, 1.0f},  {0.3f, 0.95f, 0.95f}, {1.0f, 0.85f, 0.45f}};

enum class shape { disc, ring, hexagon };

struct ghost {
    double x, y;    // centre in pixels
    float radius;   // in pixels
    float strength; // peak light
    rgb tint;
    shape kind;
};

std::vector<ghost> draw_ghosts(double lx, double ly, double cx, double cy, double glow) {
    std::vector<ghost> ghosts;
    const double stride = std::max(0.05, fxgen::bounded(rstride, 0.0, 10.0));
    const double reach_x = fxgen::bounded(xm, -10.0, 10.0),
                 reach_y = fxgen::bounded(ym, -10.0, 10.0);
    for (double t = 0.7; t > -1.0 - 0.6 && static_cast<int>(ghosts.size()) < most_ghosts;
         t -= stride) {
        const double at = t + 0.3 * stride * fxgen::unit();
        // Past the centre the ghosts follow the reach; before it the line.
        const double kx = at < 0 ? at * reach_x : at, ky = at < 0 ? at * reach_y : at;
        ghost g;
        g.x = cx + kx * (lx - cx);
        g.y = cy + ky * (ly - cy);
        const float size = 0.5f + 0.5f * fxgen::unit();
        g.radius =
            static_cast<float>(glow * (0.18 + 1.3 * size * size) * (0.6 + 0.4 * std::fabs(at)));
        g.strength = 0.1f + 0.22f * (1.0f - size);
        g.tint = coatings[xrand_mm(0, 6)];
        const int kind = xrand_mm(0, 10);
        g.kind = kind < 6 ? shape::disc : (kind < 8 ? shape::ring : shape::hexagon);
        ghosts.push_back(g);
    }
    return ghosts;
}

// How much of a ghost lights the point (dx, dy) from its centre, in radii.
float ghost_light(const ghost &g, float dx, float dy, float turn_c, float turn_s) {
    const float r = std::sqrt(dx * dx + dy * dy);
    switch (g.kind) {
    case shape::ring: {
        const float d = (r - 1.0f) / 0.08f;
        return std::max(0.0f, 1.0f - d * d);
    }
    case shape::hexagon: {
        // Distance to a regular hexagon turned like the aperture.
        const float x = std::fabs(turn_c * dx + turn_s * dy),
                    y = std::fabs(turn_c * dy - turn_s * dx);
        const float edge = std::max(x * 0.8660254f + y * 0.5f, y);
        const float inside = std::clamp((1.0f - edge) / 0.12f, 0.0f, 1.0f);
        return inside * (0.55f + 0.45f * edge * edge * edge * edge);
    }
    case shape::disc:
        break;
    }
    const float inside = std::clamp((1.0f - r) / 0.15f, 0.0f, 1.0f);
    return inside * (0.5f + 0.5f * r * r * r * r);
}

// Adds a ghost's light to row `y` of a picture `width` x `height` (`light`:
// three values a pixel).
void paint_ghost_row(float *light, int width, int height, int y, const ghost &g, float turn_c,
                     float turn_s) {
    const double reach = g.radius + 2.0;
    if (g.x + reach < 0 || g.y + reach < 0 || g.x - reach > width || g.y - reach > height)
        return;
    const int x0 = std::max(0, static_cast<int>(g.x - reach));
    const int x1 = std::min(width - 1, static_cast<int>(g.x + reach));
    const int y0 = std::max(0, static_cast<int>(g.y - reach));
    const int y1 = std::min(height - 1, static_cast<int>(g.y + reach));
    if (y < y0 || y > y1)
        return;
    const float inverse = 1.0f / std::max(g.radius, 0.5f);
    const float dy = static_cast<float>(y - g.y) * inverse;
    for (int x = x0; x <= x1; ++x) {
        const float v =
            g.strength * ghost_light(g, static_cast<float>(x - g.x) * inverse, dy, turn_c, turn_s);
        if (v > 0.0f) {
            float *p = light + static_cast<std::size_t>(x) * 3;
            p[0] += v * g.tint.r;
            p[1] += v * g.tint.g;
            p[2] += v * g.tint.b;
        }
    }
}

// The light at the source: core, glow, haze, star spikes and halo ring, for a
// point (dx, dy) pixels away from it.
struct source_light {
    float inv_sx2, inv_sy2; // 1 / glow radius squared, each way
    float spike_c[3], spike_s[3];
    float spike_length, halo_radius, halo_width;

    void add(float dx, float dy, float *out) const {
        const float q2 = dx * dx * inv_sx2 + dy * dy * inv_sy2;
        const float core = 2.5f / (1.0f + 60.0f * q2);
        const float glow = 0.55f / (1.0f + 3.0f * q2);
        const float haze = 0.1f / (1.0f + 0.08f * q2);
        float r = core + glow + haze, g = core + glow * 0.78f + haze * 0.9f,
              b = core + glow * 0.5f + haze * 0.8f;
        for (int k = 0; k < 3; ++k) {
            const float along = std::fabs(dx * spike_c[k] + dy * spike_s[k]);
            const float across = std::fabs(dy * spike_c[k] - dx * spike_s[k]);
            const float width = 0.7f + along * 0.006f;
            const float thin = across / width;
            const float length = k == 0 ? spike_length * 1.8f : spike_length;
            const float spike = (k == 0 ? 0.55f : 0.4f) / (1.0f + thin * thin) /
                                (1.0f + along / length) / (1.0f + along / length);
            r += spike * (k == 0 ? 0.8f : 0.95f);
            g += spike * (k == 0 ? 0.9f : 0.95f);
            b += spike;
        }
        const float distance = std::sqrt(dx * dx + dy * dy);
        const float off = (distance - halo_radius) / halo_width;
        if (off > -1.6f && off < 1.6f) {
            // Red bends least: the ring's red lies outside its blue.
            auto ring = [](float t) { return std::max(0.0f, 1.0f - t * t); };
            r += 0.09f * ring(off - 0.35f);
            g += 0.08f * ring(off);
            b += 0.1f * ring(off + 0.35f);
        }
        out[0] += r;
        out[1] += g;
        out[2] += b;
    }
};

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    bitmap *target = bitmap_dup(source);
    const fxkit::view image(target);
    progress_guard report("flare.standard", "render multiple lens flare(s)");

    const double half = fxgen::half_diagonal(image.width, image.height);
    const float sx = static_cast<float>(std::max(0.5, fxgen::bounded(xsize, 0.0, 4.0) * half));
    const float sy = static_cast<float>(std::max(0.5, fxgen::bounded(ysize, 0.0, 4.0) * half));
    const double turn = fxgen::bounded(angle, -1e6, 1e6) * (3.14159265358979 / 180.0);
    source_light main{};
    main.inv_sx2 = 1.0f / (sx * sx);
    main.inv_sy2 = 1.0f / (sy * sy);
    for (int k = 0; k < 3; ++k) {
        main.spike_c[k] = static_cast<float>(std::cos(turn + k * pi / 3.0));
        main.spike_s[k] = static_cast<float>(std::sin(turn + k * pi / 3.0));
    }
    main.spike_length = static_cast<float>(0.22 * half);
    main.halo_radius = 2.6f * (sx + sy) * 0.5f;
    main.halo_width = 0.1f * main.halo_radius + 0.5f;

    const double lx = xpos, ly = ypos;
    const double cx = (image.width - 1) * 0.5, cy = (image.height - 1) * 0.5;
    const float turn_c = static_cast<float>(std::cos(turn)),
                turn_s = static_cast<float>(std::sin(turn));
    // Ghosts are drawn before the rows are shared out: the draws stay in one
    // order whatever the number of workers.
    const std::vector<ghost> ghosts = draw_ghosts(lx, ly, cx, cy, (sx + sy) * 0.5);
    const float strength = static_cast<float>(fxgen::bounded(intensity, 0.0, 100.0));
    const int workers = fxkit::core_count();
    std::vector<std::vector<float>> light(static_cast<std::size_t>(workers));
    for (std::vector<float> &row : light)
        row.resize(static_cast<std::size_t>(image.width) * 3);
    fxkit::for_rows(image.height, workers, report, [&](int y, int worker) {
        float *sum = light[worker].data();
        std::fill(light[worker].begin(), light[worker].end(), 0.0f);
        for (const ghost &g : ghosts)
            paint_ghost_row(sum, image.width, image.height, y, g, turn_c, turn_s);
        std::uint8_t *pixel = image.row(y);
        const float dy = static_cast<float>(y - ly);
        for (int x = 0; x < image.width; ++x, pixel += image.channels, sum += 3) {
            main.add(static_cast<float>(x - lx), dy, sum);
            for (int c = 0; c < 3; ++c)
                pixel[c] = fxgen::screen(pixel[c], sum[c] * strength);
        }
    });
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("xpos", "light source column", xpos),
    bitmapfx_param("ypos", "light source row", ypos),
    bitmapfx_param("intensity", "brightness of the flare", intensity),
    bitmapfx_param("angle", "rotation of the star in degrees", angle),
    bitmapfx_param("xm", "horizontal scale of the reflections past the center", xm),
    bitmapfx_param("ym", "vertical scale of the reflections past the center", ym),
    bitmapfx_param("xsize", "glow width (fraction of half the diagonal)", xsize),
    bitmapfx_param("ysize", "glow height (fraction of half the diagonal)", ysize),
    bitmapfx_param("rstride", "spacing of the reflections along the line", rstride),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_flare_standard_driver = fxkit::driver(
    "flare.standard", "./src/gfx/2d/bitmap/effects/flare.c", "$path.presets$/standard-flare.preset",
    "render multiple lens flare(s)", fxkit::depths_rgb, parameters, procedures);
