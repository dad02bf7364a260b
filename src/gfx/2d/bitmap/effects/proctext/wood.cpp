#include "gfx/2d/bitmap/effects/proctext/wood.h"

#include "xmath/xrand.h"

namespace protex::wood {

namespace {

// A board's own numbers: a well-mixed hash of its position, 0..1 each.
std::uint32_t mix_bits(std::uint64_t v) {
    v ^= v >> 33;
    v *= 0xff51afd7ed558ccdull;
    v ^= v >> 33;
    v *= 0xc4ceb9fe1a85ec53ull;
    v ^= v >> 33;
    return static_cast<std::uint32_t>(v);
}

float hashed(std::uint64_t id, int which) {
    return static_cast<float>(mix_bits(id * 8 + static_cast<std::uint64_t>(which)) >> 8) /
           16777216.0f;
}

// floor(v), kept inside the range where a 64-bit integer holds it.
std::int64_t whole(double v) {
    constexpr double limit = 4503599627370496.0; // 2^52
    if (!(v > -limit))
        v = -limit;
    if (v > limit)
        v = limit;
    return static_cast<std::int64_t>(std::floor(v));
}

constexpr double board_length = 5.0; // in board widths
constexpr int turbulent_octaves = 5;

// Wander reads a slow noise stretched along the grain (the picture's x stays
// in the noise's x slot, so that rows stay rows).
affine stretched(const settings &wood) {
    const double along = 0.8, across = 3.0;
    return wood.vertical ? scale(across, along, 1.0) : scale(along, across, 1.0);
}

} // namespace

fields declare(noise_field &noise, const settings &wood) {
    fields f;
    f.wander = wood.turbulent
                   ? turbulence_fields(noise, turbulent_octaves, scale(stretched(wood), 0.7))
                   : noise.field(stretched(wood));
    f.fibre = noise.field(
        moved(wood.vertical ? scale(60.0, 2.0, 1.0) : scale(2.0, 60.0, 1.0), 0.0, 0.0, 17.0));
    return f;
}

colour shade(noise_field &noise, const fields &f, const sample &s, const settings &wood) {
    const point &p = s.p;
    const double along = wood.vertical ? p.y : p.x;
    const double across = wood.vertical ? p.x : p.y;

    // Which board, and where in it.
    std::uint64_t id = 0;
    float edge = 1.0f; // distance to the nearest seam, in board widths (capped)
    if (wood.board > 0.0) {
        const double width = wood.board, length = width * board_length;
        const std::int64_t row = whole(across / width);
        const double stagger = hashed(static_cast<std::uint64_t>(row), 7) * length;
        const std::int64_t piece = whole((along + stagger) / length);
        id = static_cast<std::uint64_t>(row) * 0x9E3779B97F4A7C15ull +
             static_cast<std::uint64_t>(piece);
        const double in_row = across / width - static_cast<double>(row);
        const double in_piece = (along + stagger) / length - static_cast<double>(piece);
        edge = static_cast<float>(std::min(
            {in_row, 1.0 - in_row, in_piece * board_length, (1.0 - in_piece) * board_length}));
    }
    const float h_axis = wood.board > 0.0 ? hashed(id, 0) - 0.5f : 0.0f;
    const float h_depth = wood.board > 0.0 ? hashed(id, 1) : 0.0f;
    const float h_tilt = wood.board > 0.0 ? hashed(id, 2) - 0.5f : 0.0f;
    const float h_tone = wood.board > 0.0 ? hashed(id, 3) - 0.5f : 0.0f;

    // The trunk's axis: across position and tilt, depth below the cut.
    const double axis = (wood.mvec.r - 0.5) * 3.0 + h_axis * 1.5 +
                        ((wood.mvec.b - 0.5) * 0.5 + h_tilt * 0.12) * along;
    const double depth = wood.mvec.g * 1.5 + h_depth * 0.4;
    const double off = across - axis;
    double radius = std::sqrt(off * off + depth * depth);

    const double wander = 0.6 * wood.svec.g;
    if (wood.turbulent)
        radius += 2.0 * wander * turbulence(noise, f.wander, turbulent_octaves, s);
    else
        radius += wander * noise(f.wander, s);

    const double density = 3.0 + 30.0 * wood.svec.r;
    const float ring = fraction(radius * density + static_cast<double>(h_axis) * 13.0);
    // Early wood light and wide, late wood darkening towards the ring's end.
    float t = ring * ring * ring;
    t += static_cast<float>(wood.svec.b) * 0.35f * noise(f.fibre, s);

    colour c = mix(wood.light, wood.dark, t);
    c = scaled(c, 1.0f + 0.25f * h_tone);
    // Seams: a thin dark bevel round every board.
    if (edge < 0.04f)
        c = scaled(c, 0.55f + 0.45f * smoothstep(0.0f, 0.04f, edge));
    return c;
}

void draw(double &vscale, rgbscalar &svec, rgbscalar &mvec, double &board, rgbscalar &basic,
          rgbscalar &strip, rgbscalar &sblend, rgbscalar &tblend) {
    vscale = protex::draw(1.0, 4.0);
    svec = draw_colour({0.2, 0.05, 0.1}, {0.9, 0.6, 0.9});
    mvec = draw_colour({0.2, 0.0, 0.3}, {0.8, 0.8, 0.7});
    board = xrand_bool() ? protex::draw(0.15, 0.6) : 0.0;
    basic = draw_tint(0.6, 0.95, 0.6, 0.8, 0.4, 0.75);
    strip = draw_tint(0.25, 0.55, 0.45, 0.7, 0.25, 0.6);
    draw_blend(sblend, tblend, 0.6, 1.0);
}

} // namespace protex::wood
