// "flare.fast": one lens flare at (`xpos`, `ypos`) made of a white core, a
// coloured glow, a coloured ring and noisy star streaks.
//
// Distances are measured in glow radii q = r / R with R = `size` x half the
// picture's diagonal:
//   core   = 2 intensity / (1 + (5q)^falloff), white;
//   glow   = 0.6 intensity x glow colour x exp(-glow_falloff q);
//   ring   = 0.35 intensity x ring colour x a bump from q = ring_min to ring_max;
//   streak = streak_intensity x profile(angle) / (1 + q/2)^2, where the profile
//            has `streak_count` thin rays and, mixed in by streak_noise_level
//            (0..1), noise around the circle at streak_noise_freq, so some
//            rays are long and bright and others faint.
// Everything depends on the distance or the angle alone, so both are
// tabulated once a run and only pixels within reach of a visible amount of
// light are touched; that keeps the effect fast at any size.  The noise's
// phase is drawn at every run.
//
// The light pixel is always the brightest: the core saturates it and every
// other part is weaker than the core there.  "rand" never touches `xpos` and
// `ypos` (whoever places the flare sets them); a light outside the picture is
// fine.
#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/color.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgen.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "xmath/xnoise.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

std::int32_t xpos = 212;
std::int32_t ypos = 62;
double size = 0.1;
double intensity = 1.0;
double falloff = 2.0;
double streak_intensity = 0.7;
std::int32_t streak_count = 8;
double streak_noise_freq = 12.0;
double streak_noise_level = 0.6;
double ring_min = 1.5;
double ring_max = 1.9;
double ring_r = 0.3;
double ring_g = 0.55;
double ring_b = 1.0;
double glow_r = 1.0;
double glow_g = 0.75;
double glow_b = 0.45;
double glow_falloff = 1.2;

// A colour of the given hue range at saturation s (0..1) and full value,
// each channel rounded to thousandths.
void draw_colour(double hue_lo, double hue_hi, double s_lo, double s_hi, double &r, double &g,
                 double &b) {
    const double hue = fxgen::draw(hue_lo, hue_hi), saturation = fxgen::draw(s_lo, s_hi);
    color_hsv2rgb(hue, saturation, 1.0, &r, &g, &b);
    r = fxgen::thousandths(r);
    g = fxgen::thousandths(g);
    b = fxgen::thousandths(b);
}

// "rand" ranges (never the position): glow radius 0.05 to 0.15, intensity
// 0.8 to 1.2, core falloff 1.5 to 3, streaks 0.25 to 0.8 strong, 4 to 16
// rays, noise at 6 to 30 around the circle mixed in at 0.3 to 0.9, a ring
// 1.2 to 2.2 radii out and 0.1 to 0.4 wide in any clear hue, and a pale glow
// of any hue falling off at 0.8 to 2.5.
void *run_rand(bitmapfx_driver *) {
    size = fxgen::draw(0.05, 0.15);
    intensity = fxgen::draw(0.8, 1.2);
    falloff = fxgen::draw(1.5, 3.0);
    streak_intensity = fxgen::draw(0.25, 0.8);
    streak_count = fxgen::draw_int(4, 16);
    streak_noise_freq = fxgen::draw(6.0, 30.0);
    streak_noise_level = fxgen::draw(0.3, 0.9);
    ring_min = fxgen::draw(1.2, 2.2);
    ring_max = fxgen::thousandths(ring_min + fxgen::draw(0.1, 0.4));
    draw_colour(0.0, 1.0, 0.5, 0.9, ring_r, ring_g, ring_b);
    draw_colour(0.0, 1.0, 0.15, 0.55, glow_r, glow_g, glow_b);
    glow_falloff = fxgen::draw(0.8, 2.5);
    return nullptr;
}

constexpr int angle_steps = 2048;
constexpr int most_radius_steps = 8192;
constexpr float visible = 1.0f / 512.0f;

// A table over 0..reach pixels, linearly interpolated.
struct radial_table {
    float step;
    std::vector<float> values[3];

    float lookup(int c, float r) const {
        const float at = r / step;
        const std::size_t i = static_cast<std::size_t>(at);
        if (i + 1 >= values[c].size())
            return 0.0f;
        const float f = at - static_cast<float>(i);
        return values[c][i] + (values[c][i + 1] - values[c][i]) * f;
    }
};

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    bitmap *target = bitmap_dup(source);
    const fxkit::view image(target);
    progress_guard report("flare.fast", "render fast lens flare");

    const double half = fxgen::half_diagonal(image.width, image.height);
    const double radius = std::max(0.5, fxgen::bounded(size, 0.0, 4.0) * half);
    const double strength = fxgen::bounded(intensity, 0.0, 100.0);
    const double core_falloff = fxgen::bounded(falloff, 0.25, 16.0);
    const double glow_rate = fxgen::bounded(glow_falloff, 0.01, 100.0);
    const double streaks = fxgen::bounded(streak_intensity, 0.0, 100.0);
    const double glow[3] = {fxgen::bounded(glow_r, 0.0, 1.0), fxgen::bounded(glow_g, 0.0, 1.0),
                            fxgen::bounded(glow_b, 0.0, 1.0)};
    const double ring[3] = {fxgen::bounded(ring_r, 0.0, 1.0), fxgen::bounded(ring_g, 0.0, 1.0),
                            fxgen::bounded(ring_b, 0.0, 1.0)};
    const double inner = fxgen::bounded(std::min(ring_min, ring_max), 0.0, 1000.0);
    const double outer = fxgen::bounded(std::max(ring_min, ring_max), 0.0, 1000.0);

    // How far (in radii) each part stays visible, and so how far to paint.
    const double q_core =
        std::pow(std::max(0.0, 2.0 * strength / visible - 1.0), 1.0 / core_falloff) / 5.0;
    const double q_glow = std::log(std::max(1.0, 0.6 * strength / visible)) / glow_rate;
    const double q_streak = (std::sqrt(std::max(1.0, streaks / visible)) - 1.0) / 0.5;
    const double lx = xpos, ly = ypos;
    const double farthest = std::max(
        std::hypot(std::max(lx, image.width - 1 - lx), std::max(ly, image.height - 1 - ly)), 1.0);
    const double reach =
        std::min(farthest, std::max({q_core, q_glow, q_streak, outer}) * radius + 1.0);

    // Radial parts: 0..2 the light without streaks, per channel; the streaks'
    // falloff is kept apart because the angle multiplies it.
    radial_table light, streak_fall;
    light.step = streak_fall.step = static_cast<float>(std::max(0.25, reach / most_radius_steps));
    const std::size_t steps = static_cast<std::size_t>(reach / light.step) + 2;
    for (auto &v : light.values)
        v.resize(steps);
    streak_fall.values[0].resize(steps);
    for (std::size_t i = 0; i < steps; ++i) {
        const double q = i * light.step / radius;
        const double core = 2.0 * strength / (1.0 + std::pow(5.0 * q, core_falloff));
        const double bright = 0.6 * strength * std::exp(-glow_rate * q);
        double band = 0.0;
        if (outer > inner && q > inner && q < outer) {
            const double s = std::sin((q - inner) / (outer - inner) * 3.14159265358979);
            band = 0.35 * strength * s * s;
        }
        for (int c = 0; c < 3; ++c)
            light.values[c][i] = static_cast<float>(core + bright * glow[c] + band * ring[c]);
        streak_fall.values[0][i] =
            static_cast<float>(streaks / ((1.0 + 0.5 * q) * (1.0 + 0.5 * q)));
    }

    // The angular profile: thin rays plus noise around the circle.
    const int rays = std::clamp(streak_count, 0, 1024);
    const double level = fxgen::bounded(streak_noise_level, 0.0, 1.0);
    const float frequency = static_cast<float>(fxgen::bounded(streak_noise_freq, 0.0, 1000.0));
    const float phase = 64.0f * fxgen::unit();
    std::vector<float> profile(angle_steps + 1);
    for (int i = 0; i <= angle_steps; ++i) {
        const double a = i * (2.0 * 3.14159265358979 / angle_steps);
        const double ray = rays ? std::pow(std::fabs(std::cos(rays * a * 0.5)), 24.0) : 0.0;
        const float n = xnoise(frequency * static_cast<float>(std::cos(a)) + phase,
                               frequency * static_cast<float>(std::sin(a)), phase);
        const double noisy = std::pow(std::clamp(0.5 + 0.9 * n, 0.0, 1.0), 3.0);
        profile[i] = static_cast<float>((1.0 - level) * ray + level * noisy);
    }
    const float per_radian = static_cast<float>(angle_steps / (2.0 * 3.14159265358979));

    const int y0 = std::max(0, static_cast<int>(std::floor(std::max(-1.0, ly - reach))));
    const int y1 = static_cast<int>(std::min<double>(image.height - 1, std::ceil(ly + reach)));
    for (int y = 0; y < image.height; ++y) {
        report.add(y, image.height);
        if (y < y0 || y > y1)
            continue;
        const double dy = y - ly;
        const double span = std::sqrt(std::max(0.0, reach * reach - dy * dy));
        const int x0 = std::max(0, static_cast<int>(std::floor(std::max(-1.0, lx - span))));
        const int x1 = static_cast<int>(std::min<double>(image.width - 1, std::ceil(lx + span)));
        std::uint8_t *pixel = image.at(std::min(x0, image.width - 1), y);
        const float fy = static_cast<float>(dy);
        for (int x = x0; x <= x1; ++x, pixel += image.channels) {
            const float fx = static_cast<float>(x - lx);
            const float r = std::sqrt(fx * fx + fy * fy);
            float angle = (std::atan2(fy, fx) + 3.14159265f) * per_radian;
            const int i = std::clamp(static_cast<int>(angle), 0, angle_steps - 1);
            const float f = angle - static_cast<float>(i);
            const float around = profile[i] + (profile[i + 1] - profile[i]) * f;
            const float rays_here =
                r > 0.0f ? around * streak_fall.lookup(0, r) : static_cast<float>(streaks);
            for (int c = 0; c < 3; ++c)
                pixel[c] = fxgen::screen(pixel[c], light.lookup(c, r) + rays_here);
        }
    }
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("xpos", "light source column", xpos),
    bitmapfx_param("ypos", "light source row", ypos),
    bitmapfx_param("size", "glow radius (fraction of half the diagonal)", size),
    bitmapfx_param("intensity", "brightness of core, glow and ring", intensity),
    bitmapfx_param("falloff", "core falloff exponent", falloff),
    bitmapfx_param("streak_intensity", "brightness of the streaks", streak_intensity),
    bitmapfx_param("streak_count", "number of regular streaks", streak_count),
    bitmapfx_param("streak_noise_freq", "frequency of the streak noise around the circle",
                   streak_noise_freq),
    bitmapfx_param("streak_noise_level", "share of noise in the streaks (0..1)",
                   streak_noise_level),
    bitmapfx_param("ring_min", "inner ring radius (glow radii)", ring_min),
    bitmapfx_param("ring_max", "outer ring radius (glow radii)", ring_max),
    bitmapfx_param("ring_r", "ring red (0..1)", ring_r),
    bitmapfx_param("ring_g", "ring green (0..1)", ring_g),
    bitmapfx_param("ring_b", "ring blue (0..1)", ring_b),
    bitmapfx_param("glow_r", "glow red (0..1)", glow_r),
    bitmapfx_param("glow_g", "glow green (0..1)", glow_g),
    bitmapfx_param("glow_b", "glow blue (0..1)", glow_b),
    bitmapfx_param("glow_falloff", "glow falloff rate (per glow radius)", glow_falloff),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_flare_fast_driver = fxkit::driver(
    "flare.fast", "./src/gfx/2d/bitmap/effects/flare2.c", "$path.presets$/fast-flare.preset",
    "render fast lens flare", fxkit::depths_rgb, parameters, procedures);
