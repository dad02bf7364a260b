#include "gfx/2d/bitmap/colormap.h"

#include "core/memio/memio.h"
#include "core/message.h"

static constexpr const char *source_file = "./src/gfx/2d/bitmap/colormap.c";
static constexpr const char *source_ident = "bitmap::colormap";

namespace {

// The grey ramp stands in for a missing colormap.
constexpr std::int32_t grey_ramp_size = 256;

std::int32_t entries_of(const colormap *map) {
    return map ? map->size : grey_ramp_size;
}

long long distance2(const colormap_entry &entry, int r, int g, int b) {
    long long dr = static_cast<long long>(entry.r) - r;
    long long dg = static_cast<long long>(entry.g) - g;
    long long db = static_cast<long long>(entry.b) - b;
    return dr * dr + dg * dg + db * db;
}

} // namespace

colormap *colormap_alloc(std::int32_t size) {
    if (size < 0 || size > COLORMAP_MAX_SIZE) {
        XERROR("illegal colormap size %d (allowed are 0 to %d entries)", size, COLORMAP_MAX_SIZE);
        return nullptr;
    }
    auto *map = static_cast<colormap *>(xcalloc(1, sizeof(colormap)));
    map->size = size;
    map->entry =
        size ? static_cast<colormap_entry *>(xcalloc(size, sizeof(colormap_entry))) : nullptr;
    return map;
}

colormap *colormap_dup(const colormap *source) {
    if (!source)
        return nullptr;
    auto *map = static_cast<colormap *>(xcalloc(1, sizeof(colormap)));
    map->size = source->size;
    if (source->size > 0 && source->entry)
        map->entry = static_cast<colormap_entry *>(xmemdup(
            source->entry, sizeof(colormap_entry) * static_cast<std::size_t>(source->size)));
    else
        map->size = 0;
    return map;
}

void colormap_kill(colormap *map) {
    if (!map)
        return;
    xfree(map->entry);
    xfree(map);
}

colormap_entry colormap_get_color(const colormap *map, std::int32_t index) {
    if (!map) {
        if (index >= 0 && index < grey_ramp_size)
            return {index, index, index};
        return {0, 0, 0};
    }
    if (index < 0 || index >= map->size || !map->entry)
        return {0, 0, 0};
    return map->entry[index];
}

std::int32_t colormap_find_color(int r, int g, int b, const colormap *map, std::int32_t first) {
    std::int32_t count = entries_of(map);
    if (map && !map->entry)
        count = 0;
    std::int32_t best = 0;
    long long best_distance = -1;
    for (std::int32_t index = first > 0 ? first : 0; index < count; ++index) {
        long long d = distance2(colormap_get_color(map, index), r, g, b);
        if (best_distance < 0 || d < best_distance) {
            best = index;
            best_distance = d;
            if (d == 0)
                break;
        }
    }
    return best;
}
