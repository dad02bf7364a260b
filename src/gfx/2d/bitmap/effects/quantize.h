// Colour quantisation shared by the "quant.fast" and "quant.slow" effects:
// colour histograms, the exact palette of pictures with few colours, the
// nearest-colour search, the mapping of a true-colour picture onto a palette
// (optionally with Floyd-Steinberg error diffusion) and the driver entry
// both effects run.
//
// Sources are 24- or 32-bpp bitmaps read as bytes red, green, blue (alpha
// ignored).  Results are new 8-bpp bitmaps with a colormap of at most 256
// entries, owned by the caller.  Everything here is deterministic: the same
// picture and parameters give the same bytes on every run and machine.
#pragma once

#include "core/dtype.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"

#include <cstdint>
#include <vector>

struct bitmap;

struct quant_rgb {
    std::uint8_t r, g, b;
};
using quant_palette = std::vector<quant_rgb>;

// One histogram cell: pixel count, the sums of their channels and the sum
// of their squared channels (r^2 + g^2 + b^2).
struct quant_cell {
    std::uint64_t count;
    std::uint64_t r, g, b;
    std::uint64_t squares;
};

// A histogram of (2^bits)^3 cells (bits 1..8) indexed by
// ((r >> (8 - bits)) << 2 bits) | ((g >> (8 - bits)) << bits) | (b >> (8 - bits)).
std::vector<quant_cell> quant_histogram(const bitmap *image, int bits);

// The picture's distinct colours in order of first appearance, when there are
// at most `max_colors` of them; false (palette left empty) otherwise.
bool quant_exact_palette(const bitmap *image, int max_colors, quant_palette &palette);

// Nearest palette entry by squared RGB distance; on equal distances the
// lower index wins, so the answer never depends on how it was found.
//
// Without a hint, entries are searched in order of their channel sum outward
// from the query's: the difference of sums bounds the distance still
// possible.  With a hint (an index likely to be near, such as the previous
// answer for the same colour or the neighbouring pixel's), only the hint's
// neighbours closer than twice the query's distance to it can win (triangle
// inequality), and they are kept sorted by that distance.
class quant_search {
  public:
    explicit quant_search(const quant_palette &palette);
    int nearest(int r, int g, int b, int hint = -1) const;

  private:
    struct entry {
        int sum, r, g, b, index;
    };
    int search_by_sum(int r, int g, int b) const;
    int search_near(int r, int g, int b, int hint) const;

    quant_palette palette_;
    std::vector<entry> sorted_;
    std::vector<int> first_; // first sorted position with sum >= s, for s = 0..766
    // For each index, every entry as (squared distance << 8 | index), nearest
    // first: one sortable word per neighbour (distances stay below 2^18).
    std::vector<std::uint32_t> neighbours_;
};

enum class quant_lookup {
    // Nearest entry per 6-bit cell, found once for the cell's centre: fast,
    // within a few levels of the exact answer.
    cell,
    // Exact nearest entry for every pixel.
    exact,
};

// Maps a 24/32-bpp picture onto the palette; the new 8-bpp bitmap carries
// the palette as its colormap and the source's name and comment.
bitmap *quant_apply(const bitmap *source, const quant_palette &palette, bool dither,
                    quant_lookup lookup);

using quant_builder = quant_palette (*)(const bitmap *source, int max_colors);

// The "fx" procedure of a quantiser: reads "source_bitmap", builds the
// palette (the exact one when the picture has few enough colours, else by
// `build`), maps the picture and stores the result as "target_bitmap".
// `max_colors` outside 1..256 is clamped with a warning.
void *quant_run(bitmapfx_driver *driver, int max_colors, int dither, quant_builder build,
                quant_lookup lookup);

// Peak signal-to-noise ratio in dB of a picture against the original, over
// the red, green and blue channels of both read as 24-bpp pixels (any depth);
// infinity for identical pictures, -1 when the sizes differ.
double quant_psnr(const bitmap *original, const bitmap *picture);

// The depths every quantiser takes and gives.
inline constexpr const char *quant_supported[] = {"in24", "in32", "out8", nullptr};

// The settings, parameter rows and procedure table of one quantiser; the
// quantisers differ only in how they build the palette and look colours up.
// Each instantiation has its own settings, so two drivers never share storage.
template <quant_builder build, quant_lookup lookup> struct quant_tables {
    static inline std::int32_t max_colors = 256;
    static inline std::int32_t dither = 0;

    static void *run_effect(bitmapfx_driver *driver) {
        return quant_run(driver, max_colors, dither, build, lookup);
    }

    static inline bitmapfx_parameter parameters[] = {
        BITMAPFX_SOURCE_BITMAP,
        BITMAPFX_TARGET_BITMAP,
        {.key = "max_colors",
         .help = "maximum number of colors (1..256)",
         .procedures = nullptr,
         .flags = 0,
         .type = DTYPE_INT,
         .size = sizeof max_colors,
         .value = &max_colors,
         .write_flag = 0},
        {.key = "dither",
         .help = "error diffusion (0 = none, 1 = floyd-steinberg)",
         .procedures = nullptr,
         .flags = 0,
         .type = DTYPE_INT,
         .size = sizeof dither,
         .value = &dither,
         .write_flag = 0},
        BITMAPFX_PARAMETER_END,
    };

    static inline const bitmapfx_procedure procedures[] = {
        {"fx", "run the effect", run_effect},
        {nullptr, nullptr, nullptr},
    };
};
