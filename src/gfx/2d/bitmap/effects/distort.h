// Inverse mapping shared by the distortion effects ("whirl", "wave",
// "polar", "illusion", "anaglyph"): for every target pixel the effect names
// the point of the source it shows, and the source is read there bilinearly
// (fxkit::sample).  Mapping this way round leaves no holes in the target,
// whatever the distortion does to distances.
//
// The target is a new bitmap of the source's size, depth, colormap, name and
// comment, owned by the caller.  Progress is reported once per row.
#pragma once

#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <cmath>

namespace distort {

// The centre of a picture of `size` pixels in pixel coordinates (pixel i is
// at i), so that mirroring about it maps pixels onto pixels.
inline double centre(int size) {
    return (size - 1) * 0.5;
}

// A finite copy of a user's value: NaN and infinities read as `fallback`.
inline double finite_or(double value, double fallback) {
    return std::isfinite(value) ? value : fallback;
}

// Folds a coordinate into 0 .. size-1 as mirrors at both edges of the
// picture would (pixel -1 reads pixel 0, pixel size reads pixel size-1).
inline double mirrored(double c, int size) {
    const double period = 2.0 * size;
    double t = std::fmod(c + 0.5, period);
    if (t < 0)
        t += period;
    if (t > size)
        t = period - t;
    return t - 0.5;
}

// `map(x, y, sx, sy)` sets the source point (sx, sy) that target pixel (x, y)
// shows; points outside the picture read by the edge rule.
template <class Map>
bitmap *inverse_map(const bitmap *source, const char *name, const char *info, fxkit::edge edge,
                    Map map) {
    bitmap *target = bitmap_dup(source);
    if (!target)
        return nullptr;
    const fxkit::view from(source), to(target);
    progress_guard progress(name, info);
    for (int y = 0; y < to.height; ++y) {
        progress.add(y, to.height);
        std::uint8_t *out = to.row(y);
        for (int x = 0; x < to.width; ++x, out += to.channels) {
            double sx, sy;
            map(x, y, sx, sy);
            fxkit::sample(from, sx, sy, edge, out);
        }
    }
    return target;
}

} // namespace distort
