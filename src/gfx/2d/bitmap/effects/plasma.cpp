// "plasma.standard": fractal colour clouds by recursive midpoint subdivision,
// blended with the source picture.
//
// A pixel whose three colour bytes are all 0 counts as not yet computed, so
// every computed value is clamped to 1..255.  The corners of the whole image
// are never computed: the clouds grow from black edges, which is the look the
// raytracer's backgrounds are tuned for.  The order of the random draws is
// part of the picture a seed gives; keep it.
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "xmath/xrand.h"

#include <algorithm>
#include <cmath>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/plasma.c";
static constexpr const char *source_ident = "bitmapfx::plasma";

namespace {

rgbscalar sblend = {0.25, 0.25, 0.25};
rgbscalar tblend = {0.75, 0.75, 0.75};

// The target picture seen as three bytes per pixel; points outside read as 0
// and are never written.
class canvas {
  public:
    explicit canvas(bitmap *image)
        : bits_(image->bits), width_(static_cast<int>(image->xsize)),
          height_(static_cast<int>(image->ysize)), channels_(image->bpp / 8) {}

    bool inside(int x, int y) const { return x >= 0 && y >= 0 && x < width_ && y < height_; }
    const std::uint8_t *at(int x, int y) const {
        return bits_ + (static_cast<std::size_t>(y) * width_ + x) * channels_;
    }
    std::uint8_t *at(int x, int y) {
        return bits_ + (static_cast<std::size_t>(y) * width_ + x) * channels_;
    }
    bool computed(int x, int y) const {
        const std::uint8_t *p = at(x, y);
        return p[0] || p[1] || p[2];
    }
    int read(int x, int y, int channel) const { return inside(x, y) ? at(x, y)[channel] : 0; }
    void write(int x, int y, const int (&value)[3]) {
        if (!inside(x, y))
            return;
        std::uint8_t *p = at(x, y);
        for (int c = 0; c < 3; ++c)
            p[c] = static_cast<std::uint8_t>(value[c]);
    }
    int width() const { return width_; }
    int height() const { return height_; }

  private:
    std::uint8_t *bits_;
    int width_, height_, channels_;
};

int clamp_level(int value) {
    return std::clamp(value, 1, 255);
}

// Sets the point (x, y) between the ends a and b: their mean, moved by a
// random amount that grows with the distance between them.
void adjust(canvas &image, int xa, int ya, int x, int y, int xb, int yb) {
    if (image.inside(x, y) && image.computed(x, y))
        return;
    const double dx = xb - xa, dy = yb - ya;
    std::int32_t d = static_cast<std::int32_t>(std::round(std::sqrt(dx * dx + dy * dy)));
    if (d == 0)
        d = 1;
    const bool lower = xrand_bool();
    int value[3];
    for (int c = 0; c < 3; ++c) {
        const int mean = (image.read(xa, ya, c) + image.read(xb, yb, c)) / 2;
        const int offset = xrand_mm(0, d) % 255;
        value[c] = clamp_level(lower ? mean - offset : mean + offset);
    }
    image.write(x, y, value);
}

void subdivide(canvas &image, int x1, int y1, int x2, int y2) {
    if (x2 - x1 < 2 && y2 - y1 < 2)
        return;
    const int xm = (x1 + x2) / 2;
    const int ym = (y1 + y2) / 2;
    adjust(image, x1, y1, xm, y1, x2, y1);
    adjust(image, x2, y1, x2, ym, x2, y2);
    adjust(image, x1, y2, xm, y2, x2, y2);
    adjust(image, x1, y1, x1, ym, x1, y2);
    if (!(image.inside(xm, ym) && image.computed(xm, ym))) {
        int value[3];
        for (int c = 0; c < 3; ++c) {
            const int sum = image.read(x1, y1, c) + image.read(x2, y1, c) + image.read(x2, y2, c) +
                            image.read(x1, y2, c);
            value[c] = clamp_level(sum >> 2);
        }
        image.write(xm, ym, value);
    }
    subdivide(image, x1, y1, xm, ym);
    subdivide(image, xm, y1, x2, ym);
    subdivide(image, xm, ym, x2, y2);
    subdivide(image, x1, ym, xm, y2);
}

// round(source weight * source + target weight * target), clamped to 1..255,
// per channel.  Each pair of bytes is worked out once: a picture repeats its
// pairs over and over (over a black source there are only 256 of them), and
// a blended value is never 0, so 0 marks a pair not seen yet.
class blender {
  public:
    blender(const rgbscalar &source, const rgbscalar &target)
        : weights_{{source.r, target.r}, {source.g, target.g}, {source.b, target.b}},
          known_(3 << 16, 0) {}

    std::uint8_t operator()(int channel, int source, int target) {
        std::uint8_t &value = known_[(channel << 16) | (source << 8) | target];
        if (!value) {
            const double mixed =
                std::round(weights_[channel][0] * source + weights_[channel][1] * target);
            value = static_cast<std::uint8_t>(std::clamp(mixed, 1.0, 255.0));
        }
        return value;
    }

  private:
    double weights_[3][2];
    std::vector<std::uint8_t> known_;
};

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    if (source->bpp != 24 && source->bpp != 32) {
        XASSERT(0);
        return nullptr;
    }
    progress *report = progress_init_internal(0, 0, "plasma.standard", "render plasma clouds");
    bitmap *target = bitmap_clear(bitmap_dup(source), 0);
    canvas clouds(target);
    subdivide(clouds, 0, 0, clouds.width() - 1, clouds.height() - 1);

    blender blend(sblend, tblend);
    const int channels = source->bpp / 8;
    for (int y = 0; y < clouds.height(); ++y) {
        progress_add(report, y, clouds.height());
        for (int x = 0; x < clouds.width(); ++x) {
            const std::size_t offset =
                (static_cast<std::size_t>(y) * clouds.width() + x) * channels;
            const std::uint8_t *from = source->bits + offset;
            std::uint8_t *to = target->bits + offset;
            for (int c = 0; c < 3; ++c)
                to[c] = blend(c, from[c], to[c]);
        }
    }
    progress_deinit(report);
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("sblend", "source blending color percentage", sblend),
    bitmapfx_param("tblend", "target blending color percentage", tblend),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_plasma_standard_driver =
    fxkit::driver("plasma.standard", "./src/gfx/2d/bitmap/effects/plasma.c",
                  "$path.presets$/standard-plasma.preset", "render plasma clouds",
                  fxkit::depths_rgb, parameters, procedures);
