// The wood shared by "protex.horizontal-wood", "protex.vertical-wood" and
// "protex.turbulent-wood": growth rings of a trunk cut lengthwise, laid as
// boards.
//
// The trunk's axis runs along the grain (x for horizontal wood, y for
// vertical wood) at some depth below the cut; the rings are the distance from
// that axis, so a cut near the axis shows long stripes and a deeper or tilted
// cut the arches of real boards.  Noise makes the rings wander and draws thin
// fibres along the grain.
//
// `svec` scales, per channel: r the ring density (3 to 33 rings per noise
// unit), g how far the rings wander, b the strength of the fibres.
// `mvec` moves, per channel: r the axis across the grain (0.5: through the
// centre of the picture), g the depth of the axis below the cut (0 to 1.5
// noise units), b the tilt of the axis against the grain (0.5: none).
// `board`: the width of one board in noise units; boards are five widths
// long, staggered, and each lies at its own place in its own trunk.  0 (or
// less) lays one piece over the whole picture.
#pragma once

#include "gfx/2d/bitmap/effects/proctext/protex.h"

namespace protex::wood {

struct settings {
    bool vertical;  // grain along y instead of x
    bool turbulent; // rings swirled by turbulence instead of wandering gently
    rgbscalar svec, mvec;
    double board;
    colour light, dark; // early wood, late wood
};

// The noise fields the wood reads; declare before rendering.
struct fields {
    int wander; // turbulence octaves for turbulent wood
    int fibre;
};
fields declare(noise_field &noise, const settings &wood);

colour shade(noise_field &noise, const fields &f, const sample &s, const settings &wood);

// The "rand" of every wood, in this order: vscale [1, 4], svec r [0.2, 0.9],
// g [0.05, 0.6], b [0.1, 0.9], mvec r [0.2, 0.8], g [0, 0.8], b [0.3, 0.7], board 0 or
// [0.15, 0.6] (one in two), basic_color (draw_tint: r [0.6, 0.95], g/r
// [0.6, 0.8], b/g [0.4, 0.75]), strip_color (r [0.25, 0.55], g/r [0.45, 0.7],
// b/g [0.25, 0.6]), tblend grey [0.6, 1] with sblend 1 - tblend.
void draw(double &vscale, rgbscalar &svec, rgbscalar &mvec, double &board, rgbscalar &basic,
          rgbscalar &strip, rgbscalar &sblend, rgbscalar &tblend);

} // namespace protex::wood
