// "snow": snow crystals drifting over the picture.
//
// Near crystals are large and bright, far ones small and dim: each flake gets
// a random depth, and the depth sets its size and brightness.  Flakes large
// enough to show a shape are six-fold crystals of three habits, stellar
// dendrites (arms with side branches), plates (a hexagon with ribs and an
// inner rim) and sectored plates; the small ones are round specks.  The
// crystals are drawn into a layer of their own (anti-aliased, the brightest
// flake wins where two overlap), the layer is softened by a box blur of
// `blur` pixels and added to the picture:
//   channel = sblend.channel x picture + tblend.channel x 255 x layer / divide,
// so `rdivide`, `gdivide` and `bdivide` tint the snow (a larger divisor takes
// that channel away; 1 keeps it) and the blends weigh picture and snow as the
// plasma effects weigh theirs.  Flake positions and shapes are drawn at every
// run; sizes follow the picture's shorter side, so a preset looks alike at
// every resolution.
#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgen.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

rgbscalar sblend = {0.8, 0.82, 0.85};
rgbscalar tblend = {1.0, 1.0, 1.0};
double rdivide = 1.12;
double gdivide = 1.05;
double bdivide = 1.0;
std::int32_t blur = 0;

// "rand" ranges: the picture kept at 0.6 to 1.0 (a little more blue than red,
// as winter light is), the snow at 0.7 to 1.0, divisors that leave the snow
// white to pale blue or pale gold, and a blur of up to 1 pixel (more turns the
// crystals into blobs).
void *run_rand(bitmapfx_driver *) {
    const double keep = fxgen::draw(0.6, 1.0);
    sblend = {fxgen::thousandths(keep * 0.94), fxgen::thousandths(keep * 0.97), keep};
    const double snow = fxgen::draw(0.7, 1.0);
    tblend = {snow, snow, snow};
    rdivide = fxgen::draw(1.0, 1.35);
    gdivide = fxgen::draw(1.0, 1.2);
    bdivide = fxgen::draw(1.0, 1.15);
    blur = fxgen::draw_int(0, 1);
    return nullptr;
}

// The largest blur radius; beyond it every flake is a faint smudge anyway.
constexpr int widest_blur = 64;
// Flakes on a picture with the proportions of 320 x 200 (more on wider ones).
constexpr double flakes_per_square = 90.0;
constexpr int most_flakes = 4000;

enum class habit { speck, stellar, plate, sectored };

struct flake {
    float x, y;       // centre in pixels
    float radius;     // in pixels
    float brightness; // 0..1
    float turn;       // rotation in radians
    habit kind;
    float branch[3]; // stellar: where the side branches leave the arm (0..1)
};

struct point {
    float along, across; // along the nearest arm and away from it, in radii
};

// Folds a point (in radii, relative to the centre, already rotated) into the
// 30-degree wedge next to an arm; six-fold mirror symmetry does the rest.
point fold(float x, float y) {
    constexpr float sector = 3.14159265f / 3.0f;
    const float r = std::sqrt(x * x + y * y);
    float angle = std::atan2(y, x);
    angle -= sector * std::floor(angle / sector);
    if (angle > sector * 0.5f)
        angle = sector - angle;
    return {r * std::cos(angle), r * std::sin(angle)};
}

// Distance from p to the segment from (sx, 0) leaving at 60 degrees for
// `length`, in radii.
float branch_distance(point p, float start, float length) {
    constexpr float dx = 0.5f, dy = 0.8660254f;
    const float px = p.along - start, py = p.across;
    const float t = std::clamp(px * dx + py * dy, 0.0f, length);
    const float ex = px - t * dx, ey = py - t * dy;
    return std::sqrt(ex * ex + ey * ey);
}

float arm_distance(point p) {
    const float t = std::clamp(p.along, 0.0f, 1.0f);
    const float ex = p.along - t;
    return std::sqrt(ex * ex + p.across * p.across) - 0.06f * (1.0f - 0.6f * t);
}

// Distance outside a hexagon whose corners lie on the arms, `apothem` radii
// from the centre to the middle of an edge (negative inside).
float hexagon_distance(point p, float apothem) {
    // The edge's normal lies halfway between two arms, 30 degrees off.
    return p.along * 0.8660254f + p.across * 0.5f - apothem;
}

// How much of a pixel the crystal covers: its distance from the shape in
// pixels, spread over one pixel.
float cover(float distance, float radius) {
    return std::clamp(0.5f - distance * radius, 0.0f, 1.0f);
}

float crystal(const flake &f, point p) {
    switch (f.kind) {
    case habit::stellar: {
        float d = std::min(arm_distance(p), hexagon_distance(p, 0.12f));
        for (int i = 0; i < 3; ++i) {
            const float length = (1.0f - f.branch[i]) * 0.55f;
            d = std::min(d, branch_distance(p, f.branch[i], length) - 0.035f);
        }
        return cover(d, f.radius);
    }
    case habit::plate: {
        const float outside = hexagon_distance(p, 0.78f);
        const float body = cover(outside, f.radius) * 0.45f;
        const float rim = cover(std::fabs(outside) - 0.05f, f.radius);
        const float inner = cover(std::fabs(hexagon_distance(p, 0.45f)) - 0.03f, f.radius) * 0.8f;
        const float rib = p.along < 0.9f ? cover(p.across - 0.025f, f.radius) * 0.7f : 0.0f;
        return std::max({body, rim, inner, rib});
    }
    case habit::sectored: {
        const float outside = hexagon_distance(p, 0.8f);
        const float body = cover(outside, f.radius) * 0.4f;
        const float rib = cover(std::max(p.across - 0.05f, outside), f.radius);
        const float ridge =
            cover(std::max(std::fabs(p.across - p.along * 0.5f) - 0.02f, outside), f.radius) * 0.6f;
        return std::max({body, rib, ridge});
    }
    case habit::speck:
        break;
    }
    const float r = std::sqrt(p.along * p.along + p.across * p.across);
    return cover(r - 1.0f, f.radius);
}

std::vector<flake> draw_flakes(int width, int height) {
    const double shorter = std::min(width, height), longer = std::max(width, height);
    const int count =
        static_cast<int>(std::min<double>(most_flakes, flakes_per_square * longer / shorter));
    const float scale = static_cast<float>(shorter / 200.0);
    std::vector<flake> flakes(count);
    for (flake &f : flakes) {
        f.x = (0.5f + 0.5f * fxgen::unit()) * width;
        f.y = (0.5f + 0.5f * fxgen::unit()) * height;
        const float depth = 0.5f + 0.5f * fxgen::unit();
        f.radius = scale * (0.9f + 10.0f * depth * depth * depth);
        f.brightness = 0.35f + 0.65f * depth;
        f.turn = 3.14159265f * fxgen::unit();
        const int kind = fxgen::draw_int(0, 2);
        f.kind = f.radius < 3.5f
                     ? habit::speck
                     : (kind == 0 ? habit::stellar : (kind == 1 ? habit::plate : habit::sectored));
        for (float &b : f.branch)
            b = 0.2f + 0.35f * (fxgen::unit() + 1.0f);
        std::sort(f.branch, f.branch + 3);
    }
    return flakes;
}

void paint(std::vector<float> &layer, int width, int height, const flake &f) {
    const float reach = f.radius + 1.5f;
    const int x0 = std::max(0, static_cast<int>(std::floor(f.x - reach)));
    const int x1 = std::min(width - 1, static_cast<int>(std::ceil(f.x + reach)));
    const int y0 = std::max(0, static_cast<int>(std::floor(f.y - reach)));
    const int y1 = std::min(height - 1, static_cast<int>(std::ceil(f.y + reach)));
    const float c = std::cos(f.turn), s = std::sin(f.turn), inverse = 1.0f / f.radius;
    for (int y = y0; y <= y1; ++y) {
        float *row = layer.data() + static_cast<std::size_t>(y) * width;
        const float dy = (y + 0.5f - f.y) * inverse;
        for (int x = x0; x <= x1; ++x) {
            const float dx = (x + 0.5f - f.x) * inverse;
            const float value = f.brightness * crystal(f, fold(c * dx + s * dy, c * dy - s * dx));
            row[x] = std::max(row[x], value);
        }
    }
}

// One box-blur pass of radius r along rows (step 1) or columns (step width),
// edges clamped.
void box_pass(std::vector<float> &layer, std::vector<float> &line, int count, int length,
              std::size_t step, std::size_t next, int r) {
    const float scale = 1.0f / (2 * r + 1);
    for (int i = 0; i < count; ++i) {
        float *base = layer.data() + next * i;
        for (int j = 0; j < length; ++j)
            line[j] = base[step * j];
        float sum = 0.0f;
        for (int k = -r; k <= r; ++k)
            sum += line[std::clamp(k, 0, length - 1)];
        for (int j = 0; j < length; ++j) {
            base[step * j] = sum * scale;
            sum += line[std::min(j + r + 1, length - 1)] - line[std::max(j - r, 0)];
        }
    }
}

void soften(std::vector<float> &layer, int width, int height, int r) {
    std::vector<float> line(std::max(width, height));
    for (int pass = 0; pass < 2; ++pass) {
        box_pass(layer, line, height, width, 1, width, r);
        box_pass(layer, line, width, height, width, 1, r);
    }
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    bitmap *target = bitmap_dup(source);
    const fxkit::view image(target);
    progress_guard report("snow", "render snow plates");

    std::vector<float> layer(static_cast<std::size_t>(image.width) * image.height, 0.0f);
    for (const flake &f : draw_flakes(image.width, image.height))
        paint(layer, image.width, image.height, f);
    const int radius = std::clamp(blur, 0, widest_blur);
    if (radius > 0)
        soften(layer, image.width, image.height, radius);

    const double keep[3] = {sblend.r, sblend.g, sblend.b};
    double snow[3] = {tblend.r, tblend.g, tblend.b};
    const double divisors[3] = {rdivide, gdivide, bdivide};
    for (int c = 0; c < 3; ++c)
        snow[c] *= 255.0 / fxgen::bounded(divisors[c], 0.01, 1e6);
    for (int y = 0; y < image.height; ++y) {
        report.add(y, image.height);
        std::uint8_t *pixel = image.row(y);
        const float *cover = layer.data() + static_cast<std::size_t>(y) * image.width;
        for (int x = 0; x < image.width; ++x, pixel += image.channels)
            for (int c = 0; c < 3; ++c)
                pixel[c] = fxkit::clamp_byte(
                    fxgen::bounded(keep[c] * pixel[c] + snow[c] * cover[x], 0.0, 255.0));
    }
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("sblend", "source blending color percentage", sblend),
    bitmapfx_param("tblend", "snow blending color percentage", tblend),
    bitmapfx_param("rdivide", "red divisor of the snow", rdivide),
    bitmapfx_param("gdivide", "green divisor of the snow", gdivide),
    bitmapfx_param("bdivide", "blue divisor of the snow", bdivide),
    bitmapfx_param("blur", "blur radius of the snow in pixels", blur),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_snow_driver =
    fxkit::driver("snow", "./src/gfx/2d/bitmap/effects/snow.c", "$path.presets$/snow.preset",
                  "render snow plates", fxkit::depths_rgb, parameters, procedures);
