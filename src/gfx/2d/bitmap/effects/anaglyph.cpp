// "anaglyph": a red/cyan composite of two views for glasses with a red
// filter on the left eye and a cyan one on the right.  The target's red
// channel comes from the left view, its green and blue from the right view;
// an alpha byte (32 bpp) is the source's.
//
// Views: `left_bitmap` and `right_bitmap` when given, read at any depth and
// stretched to the source's size.  A missing view is made from the other one
// (or, with neither given, from the source, which is then the left view): it
// is that picture with every pixel moved sideways in proportion to its
// brightness, up to a 48th of the width, so bright parts stand out in front
// of dark ones.  The references are the caller's; the driver never frees or
// keeps them beyond the call.
#include "core/message.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/distort.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "gfx/2d/bitmap/pixel.h"

#include <algorithm>
#include <memory>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/anaglyph.c";
static constexpr const char *source_ident = "bitmapfx::anaglyph";

namespace {

struct kill_bitmap {
    void operator()(bitmap *image) const { bitmap_kill(image); }
};
using owned = std::unique_ptr<bitmap, kill_bitmap>;

// A view as a 24- or 32-bpp picture of the source's size: the caller's
// picture itself when it already is one, else a converted or stretched copy
// held in `keep`.
const bitmap *fitted(const bitmap *view, const bitmap *source, owned &keep) {
    if (view->bpp != 24 && view->bpp != 32) {
        keep.reset(bitmap_upgrade(view, 24));
        if (!keep)
            return nullptr;
        view = keep.get();
    }
    if (view->xsize == source->xsize && view->ysize == source->ysize)
        return view;
    owned stretched(bitmap_alloc2(source->xsize, source->ysize, view->bpp));
    if (!stretched)
        return nullptr;
    const fxkit::view from(view), to(stretched.get());
    const double fx = static_cast<double>(from.width) / to.width;
    const double fy = static_cast<double>(from.height) / to.height;
    for (int y = 0; y < to.height; ++y)
        for (int x = 0; x < to.width; ++x)
            fxkit::sample(from, (x + 0.5) * fx - 0.5, (y + 0.5) * fy - 0.5, fxkit::edge::clamp,
                          to.at(x, y));
    keep = std::move(stretched);
    return keep.get();
}

// The other eye's view of `view`: pixels moved by up to `shift` pixels in
// proportion to their brightness (positive: to the left, as the right eye
// sees near things).  A pixel takes the larger move of its own and of the
// point it would show, so a bright (near) shape covers the dark background
// beside it instead of being squeezed.
bitmap *other_eye(const bitmap *view, double shift) {
    const fxkit::view from(view);
    const auto grey = [](const std::uint8_t *p) { return 0.3 * p[0] + 0.59 * p[1] + 0.11 * p[2]; };
    return distort::inverse_map(view, "anaglyph", "create anaglyph from 2 images",
                                fxkit::edge::clamp, [&](int x, int y, double &sx, double &sy) {
                                    std::uint8_t ahead[4];
                                    fxkit::sample(from, x + shift, y, fxkit::edge::clamp, ahead);
                                    const double near = std::max(grey(from.at(x, y)), grey(ahead));
                                    sx = x + shift * near / 255.0;
                                    sy = y;
                                });
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    const auto *given_left =
        static_cast<const bitmap *>(bitmapfx_talk(driver, "left_bitmap", nullptr));
    const auto *given_right =
        static_cast<const bitmap *>(bitmapfx_talk(driver, "right_bitmap", nullptr));
    owned keep_left, keep_right, made;
    const bitmap *left = given_left ? fitted(given_left, source, keep_left) : nullptr;
    const bitmap *right = given_right ? fitted(given_right, source, keep_right) : nullptr;
    if ((given_left && !left) || (given_right && !right)) {
        XWARNING("failed to convert a view to %dx%d pixels", source->xsize, source->ysize);
        return nullptr;
    }
    const double shift = std::max(1.0, source->xsize / 48.0);
    if (!left && !right)
        left = source;
    if (!right) {
        made.reset(other_eye(left, shift));
        right = made.get();
    } else if (!left) {
        made.reset(other_eye(right, -shift));
        left = made.get();
    }

    bitmap *target = bitmap_dup(source);
    const fxkit::view to(target), l(left), r(right);
    for (int y = 0; y < to.height; ++y)
        for (int x = 0; x < to.width; ++x) {
            std::uint8_t *out = to.at(x, y);
            out[0] = l.at(x, y)[0];
            out[1] = r.at(x, y)[1];
            out[2] = r.at(x, y)[2];
        }
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_reference_param("left_bitmap", "the left eye's view (red)"),
    bitmapfx_reference_param("right_bitmap", "the right eye's view (green and blue)"),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_anaglyph_driver = fxkit::driver(
    "anaglyph", "./src/gfx/2d/bitmap/effects/anaglyph.c", "$path.presets$/anaglyph.preset",
    "create anaglyph from 2 images", fxkit::depths_rgb, parameters, procedures);
