#include "gfx/2d/bitmap/effects/quantize.h"

#include "core/message.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/colormap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/pixel.h"

#include <algorithm>
#include <cmath>
#include <limits>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/quantize.c";
static constexpr const char *source_ident = "bitmapfx::quantize";

namespace {

bool truecolor(const bitmap *image) {
    return image && image->bits && (image->bpp == 24 || image->bpp == 32);
}

std::size_t pixel_count(const bitmap *image) {
    return static_cast<std::size_t>(image->xsize) * image->ysize;
}

// Calls `visit(r, g, b)` for every pixel, row by row.
template <class Visit> void for_each_pixel(const bitmap *image, Visit visit) {
    const int channels = image->bpp / 8;
    const std::uint8_t *at = image->bits;
    for (std::size_t i = pixel_count(image); i; --i, at += channels)
        visit(at[0], at[1], at[2]);
}

std::uint8_t clamp_byte(int value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

// Nearest entry for each 6-bit cell, filled on first use.
class cell_cache {
  public:
    explicit cell_cache(const quant_search &search) : search_(search), index_(1 << 18, -1) {}
    int nearest(int r, int g, int b) {
        int key = ((r >> 2) << 12) | ((g >> 2) << 6) | (b >> 2);
        int &slot = index_[key];
        if (slot < 0)
            slot = search_.nearest((r & ~3) + 2, (g & ~3) + 2, (b & ~3) + 2);
        return slot;
    }

  private:
    const quant_search &search_;
    std::vector<int> index_;
};

// Exact answers, remembered per colour in a small direct-mapped table:
// neighbouring pixels repeat colours often.
class exact_cache {
  public:
    explicit exact_cache(const quant_search &search)
        : search_(search), key_(1 << 16, -1), index_(1 << 16) {}
    int nearest(int r, int g, int b) {
        int colour = (r << 16) | (g << 8) | b;
        std::size_t slot = (static_cast<std::uint32_t>(colour) * 2654435761u) >> 16;
        if (key_[slot] != colour) {
            key_[slot] = colour;
            index_[slot] = last_ = search_.nearest(r, g, b, last_);
        }
        return index_[slot];
    }

  private:
    const quant_search &search_;
    int last_ = -1; // the previous answer: neighbouring pixels are alike
    std::vector<int> key_;
    std::vector<int> index_;
};

template <class Lookup> void map_plain(const bitmap *source, bitmap *target, Lookup &lookup) {
    std::uint8_t *out = target->bits;
    for_each_pixel(source, [&](int r, int g, int b) {
        *out++ = static_cast<std::uint8_t>(lookup.nearest(r, g, b));
    });
}

// Floyd-Steinberg error diffusion on a serpentine path.  Errors are kept in
// sixteenths per channel in two row buffers with one pixel of margin each
// side, so the arithmetic is exact integer work.
template <class Lookup>
void map_dithered(const bitmap *source, bitmap *target, const quant_palette &palette,
                  Lookup &lookup) {
    const int width = static_cast<int>(source->xsize);
    const int height = static_cast<int>(source->ysize);
    const int channels = source->bpp / 8;
    std::vector<int> current(3 * (width + 2)), next(3 * (width + 2));
    for (int y = 0; y < height; ++y) {
        const bool forward = (y & 1) == 0;
        const int step = forward ? 1 : -1;
        std::fill(next.begin(), next.end(), 0);
        for (int i = 0; i < width; ++i) {
            const int x = forward ? i : width - 1 - i;
            const std::size_t offset = static_cast<std::size_t>(y) * width + x;
            const std::uint8_t *pixel = source->bits + offset * channels;
            int value[3];
            int *error = &current[3 * (x + 1)];
            for (int c = 0; c < 3; ++c)
                value[c] = clamp_byte(pixel[c] + ((error[c] + 8) >> 4));
            int index = lookup.nearest(value[0], value[1], value[2]);
            target->bits[offset] = static_cast<std::uint8_t>(index);
            const quant_rgb &chosen = palette[index];
            const int residue[3] = {value[0] - chosen.r, value[1] - chosen.g, value[2] - chosen.b};
            int *ahead = &current[3 * (x + 1 + step)];
            int *below_behind = &next[3 * (x + 1 - step)];
            int *below = &next[3 * (x + 1)];
            int *below_ahead = &next[3 * (x + 1 + step)];
            for (int c = 0; c < 3; ++c) {
                ahead[c] += residue[c] * 7;
                below_behind[c] += residue[c] * 3;
                below[c] += residue[c] * 5;
                below_ahead[c] += residue[c];
            }
        }
        std::swap(current, next);
    }
}

} // namespace

std::vector<quant_cell> quant_histogram(const bitmap *image, int bits) {
    bits = std::clamp(bits, 1, 8);
    const int shift = 8 - bits;
    std::vector<quant_cell> cells(std::size_t{1} << (3 * bits));
    if (!truecolor(image))
        return cells;
    for_each_pixel(image, [&](int r, int g, int b) {
        quant_cell &cell =
            cells[((r >> shift) << (2 * bits)) | ((g >> shift) << bits) | (b >> shift)];
        ++cell.count;
        cell.r += r;
        cell.g += g;
        cell.b += b;
        cell.squares += static_cast<std::uint64_t>(r * r + g * g + b * b);
    });
    return cells;
}

bool quant_exact_palette(const bitmap *image, int max_colors, quant_palette &palette) {
    palette.clear();
    if (!truecolor(image))
        return false;
    // Open addressing over colours + 1 (0 marks a free slot); the table is
    // at least four times the largest palette, so probes stay short.
    constexpr std::size_t slots = 1024;
    std::uint32_t table[slots] = {};
    bool fits = true;
    const int channels = image->bpp / 8;
    const std::uint8_t *at = image->bits;
    for (std::size_t i = pixel_count(image); i && fits; --i, at += channels) {
        std::uint32_t key = ((at[0] << 16) | (at[1] << 8) | at[2]) + 1u;
        std::size_t slot = (key * 2654435761u) >> 22;
        while (table[slot] && table[slot] != key)
            slot = (slot + 1) & (slots - 1);
        if (table[slot])
            continue;
        if (static_cast<int>(palette.size()) == max_colors) {
            fits = false;
            break;
        }
        table[slot] = key;
        palette.push_back({at[0], at[1], at[2]});
    }
    if (!fits)
        palette.clear();
    return fits;
}

namespace {

int distance(const quant_rgb &c, int r, int g, int b) {
    const int dr = c.r - r, dg = c.g - g, db = c.b - b;
    return dr * dr + dg * dg + db * db;
}

} // namespace

quant_search::quant_search(const quant_palette &palette) : palette_(palette), first_(767) {
    const int count = static_cast<int>(palette.size());
    sorted_.reserve(palette.size());
    for (int i = 0; i < count; ++i) {
        const quant_rgb &c = palette[i];
        sorted_.push_back({c.r + c.g + c.b, c.r, c.g, c.b, i});
    }
    std::sort(sorted_.begin(), sorted_.end(), [](const entry &a, const entry &b) {
        return a.sum != b.sum ? a.sum < b.sum : a.index < b.index;
    });
    std::size_t position = 0;
    for (int s = 0; s <= 766; ++s) {
        while (position < sorted_.size() && sorted_[position].sum < s)
            ++position;
        first_[s] = static_cast<int>(position);
    }
    neighbours_.resize(palette.size() * palette.size());
    for (int i = 0; i < count; ++i) {
        std::uint32_t *list = &neighbours_[static_cast<std::size_t>(i) * count];
        for (int j = 0; j < count; ++j)
            list[j] = static_cast<std::uint32_t>(
                          distance(palette[j], palette[i].r, palette[i].g, palette[i].b))
                          << 8 |
                      static_cast<std::uint32_t>(j);
        std::sort(list, list + count);
    }
}

int quant_search::nearest(int r, int g, int b, int hint) const {
    if (sorted_.empty())
        return 0;
    if (hint >= 0 && hint < static_cast<int>(palette_.size()))
        return search_near(r, g, b, hint);
    return search_by_sum(r, g, b);
}

int quant_search::search_near(int r, int g, int b, int hint) const {
    const int to_hint = distance(palette_[hint], r, g, b);
    int best = to_hint, best_index = hint;
    // An entry c can only be as near as the best when
    // |c - hint| <= |query - hint| + |best| <= 2 |query - hint|, that is
    // |c - hint|^2 <= 4 |query - hint|^2; the list is sorted by that distance.
    const long long reach = 4LL * to_hint;
    const std::size_t count = palette_.size();
    const std::uint32_t *list = &neighbours_[static_cast<std::size_t>(hint) * count];
    for (std::size_t i = 0; i < count; ++i) {
        if (static_cast<long long>(list[i] >> 8) > reach)
            break;
        const int index = static_cast<int>(list[i] & 0xFF);
        const int d = distance(palette_[index], r, g, b);
        if (d < best || (d == best && index < best_index)) {
            best = d;
            best_index = index;
        }
    }
    return best_index;
}

int quant_search::search_by_sum(int r, int g, int b) const {
    const int sum = r + g + b;
    const int count = static_cast<int>(sorted_.size());
    int best = std::numeric_limits<int>::max();
    int best_index = 0;
    auto consider = [&](const entry &e) {
        const int dr = e.r - r, dg = e.g - g, db = e.b - b;
        const int d = dr * dr + dg * dg + db * db;
        if (d < best || (d == best && e.index < best_index)) {
            best = d;
            best_index = e.index;
        }
    };
    // |d|^2 >= (difference of sums)^2 / 3, so a side is done once that bound
    // exceeds the best distance found (a tie may still win on its index).
    int up = first_[std::clamp(sum, 0, 766)];
    int down = up - 1;
    bool up_open = up < count, down_open = down >= 0;
    while (up_open || down_open) {
        if (up_open) {
            const entry &e = sorted_[up];
            const long long ds = e.sum - sum;
            if (ds * ds > 3LL * best) {
                up_open = false;
            } else {
                consider(e);
                up_open = ++up < count;
            }
        }
        if (down_open) {
            const entry &e = sorted_[down];
            const long long ds = sum - e.sum;
            if (ds * ds > 3LL * best) {
                down_open = false;
            } else {
                consider(e);
                down_open = --down >= 0;
            }
        }
    }
    return best_index;
}

bitmap *quant_apply(const bitmap *source, const quant_palette &palette, bool dither,
                    quant_lookup lookup) {
    if (!truecolor(source) || palette.empty() ||
        palette.size() > static_cast<std::size_t>(COLORMAP_MAX_SIZE)) {
        XASSERT(truecolor(source) && !palette.empty() && palette.size() <= 256);
        return nullptr;
    }
    bitmap *target = bitmap_alloc2(source->xsize, source->ysize, 8);
    if (!target)
        return nullptr;
    target->cmap = colormap_alloc(static_cast<std::int32_t>(palette.size()));
    if (!target->cmap) {
        bitmap_kill(target);
        return nullptr;
    }
    for (std::size_t i = 0; i < palette.size(); ++i)
        target->cmap->entry[i] = {palette[i].r, palette[i].g, palette[i].b};
    bitmap_set_name(target, source->name);
    bitmap_set_info(target, source->info);

    quant_search search(palette);
    if (lookup == quant_lookup::cell) {
        cell_cache cache(search);
        if (dither)
            map_dithered(source, target, palette, cache);
        else
            map_plain(source, target, cache);
    } else {
        exact_cache cache(search);
        if (dither)
            map_dithered(source, target, palette, cache);
        else
            map_plain(source, target, cache);
    }
    return target;
}

void *quant_run(bitmapfx_driver *driver, int max_colors, int dither, quant_builder build,
                quant_lookup lookup) {
    auto *source = static_cast<const bitmap *>(bitmapfx_talk(driver, "source_bitmap", nullptr));
    if (!source)
        return nullptr;
    if (source->bpp != 24 && source->bpp != 32) {
        XASSERT(0);
        return nullptr;
    }
    int colors = std::clamp(max_colors, 1, static_cast<int>(COLORMAP_MAX_SIZE));
    if (colors != max_colors)
        XWARNING("max_colors %d of driver '%s' is out of range 1..%d, using %d", max_colors,
                 driver->name, COLORMAP_MAX_SIZE, colors);

    bitmap *target;
    if (!source->bits || pixel_count(source) == 0) {
        // Nothing to look at: a picture of index 0 with one black entry.
        target = bitmap_alloc2(source->xsize, source->ysize, 8);
        if (target)
            target->cmap = colormap_alloc(1);
    } else {
        quant_palette palette;
        if (quant_exact_palette(source, colors, palette))
            target = quant_apply(source, palette, false, quant_lookup::exact);
        else
            target = quant_apply(source, build(source, colors), dither != 0, lookup);
    }
    if (target)
        bitmapfx_talk(driver, "target_bitmap", target);
    return target;
}

double quant_psnr(const bitmap *original, const bitmap *picture) {
    if (original->xsize != picture->xsize || original->ysize != picture->ysize)
        return -1.0;
    std::uint64_t total = 0;
    for (std::uint32_t y = 0; y < original->ysize; ++y) {
        for (std::uint32_t x = 0; x < original->xsize; ++x) {
            std::uint32_t a = get_pixel(original, static_cast<int>(x), static_cast<int>(y), 24);
            std::uint32_t b = get_pixel(picture, static_cast<int>(x), static_cast<int>(y), 24);
            for (int shift = 0; shift < 24; shift += 8) {
                int d =
                    static_cast<int>((a >> shift) & 0xFF) - static_cast<int>((b >> shift) & 0xFF);
                total += static_cast<std::uint64_t>(d * d);
            }
        }
    }
    if (total == 0)
        return std::numeric_limits<double>::infinity();
    double mse = static_cast<double>(total) / (3.0 * pixel_count(original));
    return 10.0 * std::log10(255.0 * 255.0 / mse);
}
