#include "scale.h"

#include <algorithm>
#include <cstddef>

namespace {

// A source coordinate for each target coordinate: the two neighbours and
// the weight of the second in 1/256.
struct tap {
    int first;
    int second;
    int weight;
};

std::vector<tap> taps(int source, int target) {
    std::vector<tap> result(static_cast<std::size_t>(target));
    for (int t = 0; t < target; ++t) {
        // Centre of target pixel t in source pixels, in 1/65536, minus half
        // a pixel: (t + 0.5) * source / target - 0.5.
        long long position = ((2LL * t + 1) * source * 65536) / (2LL * target) - 32768;
        position = std::max(position, 0LL);
        int first = static_cast<int>(position >> 16);
        int weight = static_cast<int>((position >> 8) & 255);
        if (first >= source - 1) {
            first = source - 1;
            weight = 0;
        }
        result[static_cast<std::size_t>(t)] = {first, std::min(first + 1, source - 1), weight};
    }
    return result;
}

void fill(const std::uint8_t *picture, int width, int height, int screen_width, int screen_height,
          std::uint8_t *out) {
    std::vector<tap> columns = taps(width, screen_width);
    std::vector<tap> rows = taps(height, screen_height);
    const std::size_t stride = static_cast<std::size_t>(width) * 3;
    for (const tap &row : rows) {
        const std::uint8_t *top = picture + row.first * stride;
        const std::uint8_t *bottom = picture + row.second * stride;
        const int wy = row.weight;
        for (const tap &column : columns) {
            const int a = column.first * 3, b = column.second * 3, wx = column.weight;
            for (int c = 0; c < 3; ++c) {
                int upper = top[a + c] * (256 - wx) + top[b + c] * wx;
                int lower = bottom[a + c] * (256 - wx) + bottom[b + c] * wx;
                *out++ = static_cast<std::uint8_t>((upper * (256 - wy) + lower * wy + 32768) >> 16);
            }
        }
    }
}

void center(const std::uint8_t *picture, int width, int height, int screen_width, int screen_height,
            std::uint8_t *out) {
    const int left = (screen_width - width) / 2;
    const int top = (screen_height - height) / 2;
    for (int y = 0; y < screen_height; ++y) {
        const int sy = y - top;
        if (sy < 0 || sy >= height)
            continue;
        for (int x = 0; x < screen_width; ++x) {
            const int sx = x - left;
            if (sx < 0 || sx >= width)
                continue;
            const std::uint8_t *in = picture + (static_cast<std::size_t>(sy) * width + sx) * 3;
            std::uint8_t *at = out + (static_cast<std::size_t>(y) * screen_width + x) * 3;
            std::copy(in, in + 3, at);
        }
    }
}

void tile(const std::uint8_t *picture, int width, int height, int screen_width, int screen_height,
          std::uint8_t *out) {
    for (int y = 0; y < screen_height; ++y) {
        const std::uint8_t *row = picture + static_cast<std::size_t>(y % height) * width * 3;
        for (int x = 0; x < screen_width; ++x, out += 3)
            std::copy(row + (x % width) * 3, row + (x % width) * 3 + 3, out);
    }
}

} // namespace

std::vector<std::uint8_t> scale_picture(const std::uint8_t *picture, int width, int height,
                                        int screen_width, int screen_height, scale_mode mode) {
    std::vector<std::uint8_t> out(static_cast<std::size_t>(screen_width) * screen_height * 3, 0);
    if (width <= 0 || height <= 0 || screen_width <= 0 || screen_height <= 0)
        return out;
    switch (mode) {
    case scale_mode::fill:
        fill(picture, width, height, screen_width, screen_height, out.data());
        break;
    case scale_mode::center:
        center(picture, width, height, screen_width, screen_height, out.data());
        break;
    case scale_mode::tile:
        tile(picture, width, height, screen_width, screen_height, out.data());
        break;
    }
    return out;
}
