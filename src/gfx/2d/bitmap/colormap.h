// Colormaps: the palette of an 8-bpp bitmap.
//
// A colormap is a count of entries and an owned array of that many entries of
// red, green and blue, each 0..255.  `colormap_alloc` and `colormap_dup`
// return a new colormap owned by the caller, who frees it with
// `colormap_kill` (a bitmap owns its colormap and frees it with itself).
#pragma once

#include <cstdint>

struct colormap_entry {
    std::int32_t r;
    std::int32_t g;
    std::int32_t b;
};

struct colormap {
    std::int32_t size;     // number of entries, 0..COLORMAP_MAX_SIZE
    colormap_entry *entry; // `size` entries, owned; null when size is 0
};

// An 8-bit index reaches no further.
constexpr std::int32_t COLORMAP_MAX_SIZE = 256;

// A colormap of `size` black entries.  A size outside 0..COLORMAP_MAX_SIZE is
// an error; the result is then null.
colormap *colormap_alloc(std::int32_t size);
// Deep copy; null gives null.
colormap *colormap_dup(const colormap *source);
// Frees the entries and the record; null is accepted.
void colormap_kill(colormap *map);

// The index of the entry nearest to (r, g, b) by squared distance, searching
// from index `first` on (0 searches the whole map); on a tie the lower index
// wins.  A null colormap stands for the grey ramp (index i = (i, i, i)), the
// way an 8-bpp bitmap without palette is shown; a map with no entry to search
// yields 0.
std::int32_t colormap_find_color(int r, int g, int b, const colormap *map, std::int32_t first);

// The colour of an index: the entry itself, the grey ramp for a null map, and
// black for an index the map does not hold (so no pixel can read past it).
colormap_entry colormap_get_color(const colormap *map, std::int32_t index);
