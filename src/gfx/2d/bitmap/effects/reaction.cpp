// "reaction-diffusion": Turing patterns grown over the picture.
//
// Two chemicals, A (the substrate) and B (the catalyst), react and diffuse on
// a grid of cells (the Gray-Scott model): A is fed in at the rate `value`, B
// turns A into more B (A + 2B -> 3B) and is removed at the rate `stripe` plus
// the feed.  A diffuses twice as fast as B, which is what lets still patterns
// form out of a few seeds.  Feed and kill pick the pattern: the defaults
// (0.055, 0.062) give the winding stripes of a coral or a fingerprint,
// (0.035, 0.065) spots, (0.029, 0.057) mazes, (0.039, 0.058) holes.  The
// picture steers the growth a little: its brightness raises or lowers the
// feed by up to 8 %, so the pattern changes where the picture does.
//
// One cell covers `interval` pixels each way and `speed` is the time step of
// an iteration (held to 0..1, where the explicit scheme is stable).  The grid
// wraps around at the edges, so the pattern tiles.  Work is bounded: at most
// `most_cells` cells (a larger picture gets larger cells, so the pattern keeps
// its proportions) and `most_updates` cell updates a run; more iterations are
// capped, and said so on the verbose channel.  The concentration of B is then
// sampled bilinearly to the picture's size: where it is high the picture
// turns to its own complement, darkened, with a soft edge.
#include "core/message.h"
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

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/reaction.c";
static constexpr const char *source_ident = "bitmapfx::reaction";

namespace {

std::int32_t interval = 2;
std::int32_t iterations = 2000;
double speed = 1.0;
double value = 0.055;
double stripe = 0.062;

// 20480 cells hold a 320 x 200 picture at the default interval of 2; the
// updates allow the default 2000 iterations on them.
constexpr int most_cells = 20 * 1024;
constexpr std::int64_t most_updates = 40LL * 1000 * 1000;
// Seeds of catalyst: one per this many cells.
constexpr int cells_per_seed = 110;
constexpr float substrate_diffusion = 1.0f, catalyst_diffusion = 0.5f;

struct grid {
    int width, height;
    std::vector<float> a, b, feed;
};

// One time step of the whole grid from (a, b) into (na, nb).  Neighbours wrap
// around; the Laplacian weighs the four edge neighbours 0.2 and the four
// corners 0.05.
void step(const grid &g, const std::vector<float> &a, const std::vector<float> &b,
          std::vector<float> &na, std::vector<float> &nb, float dt, float kill) {
    const int w = g.width, h = g.height;
    for (int y = 0; y < h; ++y) {
        const std::size_t up = static_cast<std::size_t>(y == 0 ? h - 1 : y - 1) * w;
        const std::size_t mid = static_cast<std::size_t>(y) * w;
        const std::size_t down = static_cast<std::size_t>(y == h - 1 ? 0 : y + 1) * w;
        auto cell = [&](int x, int left, int right) {
            const float la =
                0.2f * (a[up + x] + a[down + x] + a[mid + left] + a[mid + right]) +
                0.05f * (a[up + left] + a[up + right] + a[down + left] + a[down + right]) -
                a[mid + x];
            const float lb =
                0.2f * (b[up + x] + b[down + x] + b[mid + left] + b[mid + right]) +
                0.05f * (b[up + left] + b[up + right] + b[down + left] + b[down + right]) -
                b[mid + x];
            const float av = a[mid + x], bv = b[mid + x], f = g.feed[mid + x];
            const float reaction = av * bv * bv;
            na[mid + x] = av + dt * (substrate_diffusion * la - reaction + f * (1.0f - av));
            nb[mid + x] = bv + dt * (catalyst_diffusion * lb + reaction - (kill + f) * bv);
        };
        if (w == 1) {
            cell(0, 0, 0);
            continue;
        }
        cell(0, w - 1, 1);
        for (int x = 1; x < w - 1; ++x)
            cell(x, x - 1, x + 1);
        cell(w - 1, w - 2, 0);
    }
}

// The grid over the picture: its size, the seeds and the feed the picture's
// brightness steers.
grid seed(const fxkit::view &picture, double cell, float feed) {
    grid g;
    g.width = std::max(1, static_cast<int>(std::ceil(picture.width / cell)));
    g.height = std::max(1, static_cast<int>(std::ceil(picture.height / cell)));
    const std::size_t cells = static_cast<std::size_t>(g.width) * g.height;
    g.a.assign(cells, 1.0f);
    g.b.assign(cells, 0.0f);
    g.feed.resize(cells);
    for (int y = 0; y < g.height; ++y)
        for (int x = 0; x < g.width; ++x) {
            const int px = std::min(picture.width - 1, static_cast<int>((x + 0.5) * cell));
            const int py = std::min(picture.height - 1, static_cast<int>((y + 0.5) * cell));
            const std::uint8_t *p = picture.at(px, py);
            const float light = (p[0] * 0.3f + p[1] * 0.59f + p[2] * 0.11f) / 255.0f;
            g.feed[static_cast<std::size_t>(y) * g.width + x] = feed * (0.92f + 0.16f * light);
        }
    const int seeds = std::max(1, static_cast<int>(cells / cells_per_seed));
    for (int i = 0; i < seeds; ++i) {
        const int sx = xrand_mm(0, g.width), sy = xrand_mm(0, g.height);
        const float strength = 0.75f + 0.25f * fxgen::unit();
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx) {
                const int x = (sx + dx + g.width) % g.width, y = (sy + dy + g.height) % g.height;
                const std::size_t at = static_cast<std::size_t>(y) * g.width + x;
                g.b[at] = strength;
                g.a[at] = 0.5f;
            }
    }
    return g;
}

float smoothstep(float lo, float hi, float x) {
    const float t = std::clamp((x - lo) / (hi - lo), 0.0f, 1.0f);
    return t * t * (3.0f - 2.0f * t);
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    bitmap *target = bitmap_dup(source);
    const fxkit::view image(target);
    progress_guard report("reaction-diffusion", "reaction diffusion with turing values");

    double cell = std::clamp(interval, 1, 4096);
    auto cells_of = [&image](double side) {
        return std::ceil(image.width / side) * std::ceil(image.height / side);
    };
    if (cells_of(cell) > most_cells) {
        cell *= std::sqrt(cells_of(cell) / most_cells);
        // Partly covered cells at the edges can still tip the count over.
        while (cells_of(cell) > most_cells)
            cell *= 1.01;
    }
    const float dt = static_cast<float>(fxgen::bounded(speed, 0.0, 1.0));
    const float feed = static_cast<float>(fxgen::bounded(value, 0.0, 0.2));
    const float kill = static_cast<float>(fxgen::bounded(stripe, 0.0, 0.2));
    grid g = seed(image, cell, feed);

    const std::int64_t cells = static_cast<std::int64_t>(g.width) * g.height;
    const std::int64_t allowed = std::max<std::int64_t>(1, most_updates / cells);
    std::int64_t steps = std::max(iterations, 0);
    if (steps > allowed) {
        XVERBOSE("capping %d iterations at %d for a grid of %dx%d cells", iterations,
                 static_cast<int>(allowed), g.width, g.height);
        steps = allowed;
    }
    std::vector<float> na(g.a.size()), nb(g.b.size());
    for (std::int64_t i = 0; i < steps; ++i) {
        step(g, g.a, g.b, na, nb, dt, kill);
        g.a.swap(na);
        g.b.swap(nb);
    }

    // Bilinear samples of the catalyst, wrapping like the grid.
    std::vector<int> x0(image.width), x1(image.width);
    std::vector<float> fx(image.width);
    for (int x = 0; x < image.width; ++x) {
        const double u = std::max(0.0, (x + 0.5) / cell - 0.5);
        x0[x] = static_cast<int>(u) % g.width;
        x1[x] = (x0[x] + 1) % g.width;
        fx[x] = static_cast<float>(u - std::floor(u));
    }
    for (int y = 0; y < image.height; ++y) {
        report.add(y, image.height);
        const double v = std::max(0.0, (y + 0.5) / cell - 0.5);
        const int y0 = static_cast<int>(v) % g.height, y1 = (y0 + 1) % g.height;
        const float fy = static_cast<float>(v - std::floor(v));
        const float *top = g.b.data() + static_cast<std::size_t>(y0) * g.width;
        const float *bottom = g.b.data() + static_cast<std::size_t>(y1) * g.width;
        std::uint8_t *pixel = image.row(y);
        for (int x = 0; x < image.width; ++x, pixel += image.channels) {
            const float upper = top[x0[x]] + (top[x1[x]] - top[x0[x]]) * fx[x];
            const float lower = bottom[x0[x]] + (bottom[x1[x]] - bottom[x0[x]]) * fx[x];
            const float mark = smoothstep(0.14f, 0.26f, upper + (lower - upper) * fy);
            for (int c = 0; c < 3; ++c) {
                const float ink = (255.0f - pixel[c]) * 0.8f;
                pixel[c] =
                    fxkit::clamp_byte(static_cast<int>(pixel[c] + (ink - pixel[c]) * mark + 0.5f));
            }
        }
    }
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("interval", "pixels per simulation cell", interval),
    bitmapfx_param("iterations", "number of simulation steps", iterations),
    bitmapfx_param("speed", "time step of one iteration (0..1)", speed),
    bitmapfx_param("value", "feed rate of the substrate", value),
    bitmapfx_param("stripe", "kill rate of the catalyst (stripes or spots)", stripe),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_reaction_diffusion_driver = fxkit::driver(
    "reaction-diffusion", "./src/gfx/2d/bitmap/effects/reaction.c",
    "$path.presets$/reaction-diffusion.preset", "reaction diffusion with turing values",
    fxkit::depths_rgb, parameters, procedures);
