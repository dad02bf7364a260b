// "rainbow": a rainbow arching over the picture, as the sky shows one.
//
// The bows are circles around a point below the picture's bottom edge: the
// primary bow (red outside, violet inside), inside it the brighter sky the
// bow's light spills into, outside it the darker band between the bows and a
// fainter, wider secondary bow with the colours reversed, about 1.2 times
// the primary's radius as the angles of 42 and 51 degrees give it.  The
// light is added to the picture as a photograph adds light (fxgen::screen),
// so nothing underneath clips.
#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxgen.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <cmath>

namespace {

struct rgb {
    float r, g, b;
};

// The colour at t across a bow, 0 = outer (red) edge, 1 = inner (violet)
// edge: hue from red through yellow, green and blue to violet.
rgb spectrum(float t) {
    // 0 red .. 4.8 violet on the six-sector wheel; the warm end gets more
    // room, as it has in the sky.
    const float hue = t * t * 0.8f * 6.0f * 0.6f + t * 0.8f * 6.0f * 0.4f;
    auto channel = [hue](float centre) {
        float d = std::fabs(hue - centre);
        d = std::min(d, 6.0f - d);
        return std::clamp(2.0f - d, 0.0f, 1.0f);
    };
    return {channel(0.0f), 0.8f * channel(2.0f), channel(4.0f)};
}

// A smooth bump over 0..1 (0 at both ends, 1 in the middle).
float bump(float t) {
    if (t <= 0.0f || t >= 1.0f)
        return 0.0f;
    return std::sin(t * 3.14159265f);
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    bitmap *target = bitmap_dup(source);
    const fxkit::view image(target);
    progress_guard report("rainbow", "render circle rainbow");

    const float width = static_cast<float>(image.width), height = static_cast<float>(image.height);
    const float cx = width * 0.5f, cy = height * 1.15f;
    // The primary bow passes a little below the top edge and reaches the
    // lower corners' side.
    const float outer = std::max(1.0f, std::max(cy - height * 0.06f, width * 0.62f));
    const float band = outer * 0.11f;
    const float inner = outer - band;
    const float second = outer * 1.2f, second_band = band * 1.6f;

    for (int y = 0; y < image.height; ++y) {
        report.add(y, image.height);
        std::uint8_t *pixel = image.row(y);
        const float dy = y + 0.5f - cy;
        for (int x = 0; x < image.width; ++x, pixel += image.channels) {
            const float dx = x + 0.5f - cx;
            const float d = std::sqrt(dx * dx + dy * dy);
            float light[3] = {0, 0, 0};
            float shade = 1.0f;
            const float t1 = (outer - d) / band;
            if (t1 > 0.0f && t1 < 1.0f) {
                const rgb colour = spectrum(t1);
                const float strength = 0.5f * bump(t1);
                light[0] += colour.r * strength;
                light[1] += colour.g * strength;
                light[2] += colour.b * strength;
            }
            // The sky inside the bow is brighter, most of all under the bow
            // itself, and fades inward.
            const float sky = d < inner ? 0.12f * std::exp((d - inner) / (band * 3.0f))
                                        : (t1 > 0.0f ? 0.12f * std::min(t1, 1.0f) : 0.0f);
            for (float &l : light)
                l += sky;
            const float t2 = (d - (second - second_band)) / second_band; // reversed colours
            if (t2 > 0.0f && t2 < 1.0f) {
                const rgb colour = spectrum(t2);
                const float strength = 0.2f * bump(t2);
                light[0] += colour.r * strength;
                light[1] += colour.g * strength;
                light[2] += colour.b * strength;
            }
            if (d > outer && d < second - second_band) // the dark band between the bows
                shade = 0.86f + 0.14f * (1.0f - bump((d - outer) / (second - second_band - outer)));
            for (int c = 0; c < 3; ++c)
                pixel[c] = fxgen::screen(static_cast<std::uint8_t>(pixel[c] * shade), light[c]);
        }
    }
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_rainbow_driver = fxkit::driver(
    "rainbow", "./src/gfx/2d/bitmap/effects/rainbow.c", "$path.presets$/rainbow.preset",
    "render circle rainbow", fxkit::depths_rgb, parameters, procedures);
