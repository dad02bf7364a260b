// "color-block": the picture's quarters tinted with the four primary colours
// of colour vision, red, yellow, green and blue (clockwise from the top
// left), like four panes of stained glass: each pane keeps the picture's
// light and shade under its own colour.
//
// Works at every depth: 24 and 32 bpp by bytes, 15 and 16 bpp through the
// native colour masks, 8 bpp by remapping each palette index once per pane
// to the palette entry nearest its tinted colour (the grey ramp stands in
// for a missing palette).
#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/color.h"
#include "gfx/2d/bitmap/colormap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <array>
#include <cstring>

namespace {

constexpr int panes[4][3] = {{255, 24, 16}, {255, 220, 0}, {0, 200, 60}, {24, 64, 255}};

// The pane's colour over a picture colour: the picture's brightness carries
// the shading, the pane the hue, and a little of the picture's own colour
// stays so the panes do not look flat.
void tint(const int *pane, int &r, int &g, int &b) {
    const int light = (r * 77 + g * 150 + b * 29) >> 8;
    const int in[3] = {r, g, b};
    int out[3];
    for (int c = 0; c < 3; ++c) {
        const int glass = (pane[c] * (light + light / 2 + 72)) / 255;
        out[c] = std::min(255, (glass * 3 + in[c]) / 4);
    }
    r = out[0];
    g = out[1];
    b = out[2];
}

int pane_of(int x, int y, int width, int height) {
    const bool right = x >= (width + 1) / 2, lower = y >= (height + 1) / 2;
    return lower ? (right ? 3 : 2) : (right ? 1 : 0);
}

std::uint32_t read_word(const std::uint8_t *at, int bytes) {
    std::uint32_t word = 0;
    std::memcpy(&word, at, bytes);
    return word;
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    bitmap *target = bitmap_dup(source);
    const fxkit::view image(target);
    progress_guard report("color-block", "render four primary color blocks");

    // 8 bpp: the remapped index of every (pane, index), worked out when met.
    std::array<std::array<int, 256>, 4> remap;
    for (auto &pane : remap)
        pane.fill(-1);

    for (int y = 0; y < image.height; ++y) {
        report.add(y, image.height);
        std::uint8_t *pixel = image.row(y);
        for (int x = 0; x < image.width; ++x, pixel += image.channels) {
            const int pane = pane_of(x, y, image.width, image.height);
            int r, g, b, a = 0;
            switch (target->bpp) {
            case 8: {
                int &index = remap[pane][pixel[0]];
                if (index < 0) {
                    const colormap_entry entry = colormap_get_color(target->cmap, pixel[0]);
                    r = entry.r, g = entry.g, b = entry.b;
                    tint(panes[pane], r, g, b);
                    index = colormap_find_color(r, g, b, target->cmap, 0);
                }
                pixel[0] = static_cast<std::uint8_t>(index);
                break;
            }
            case 15:
            case 16: {
                color_unpack(nullptr, read_word(pixel, 2), &r, &g, &b, &a, target->bpp);
                tint(panes[pane], r, g, b);
                const auto word =
                    static_cast<std::uint16_t>(color_pack(nullptr, r, g, b, a, target->bpp));
                std::memcpy(pixel, &word, 2);
                break;
            }
            default:
                r = pixel[0], g = pixel[1], b = pixel[2];
                tint(panes[pane], r, g, b);
                pixel[0] = static_cast<std::uint8_t>(r);
                pixel[1] = static_cast<std::uint8_t>(g);
                pixel[2] = static_cast<std::uint8_t>(b);
                break;
            }
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

bitmapfx_driver bitmapfx_color_block_driver = fxkit::driver(
    "color-block", "./src/gfx/2d/bitmap/effects/colblock.c", "$path.presets$/color-block.preset",
    "render four primary color blocks", fxkit::depths_any, parameters, procedures);
