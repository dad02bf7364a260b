#include "scale.h"

#include <algorithm>
#include <cstddef>
#include <vector>

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
          std::uint8_t *row, const scaled_row &emit) {
    const std::vector<tap> columns = taps(width, screen_width);
    const std::vector<tap> rows = taps(height, screen_height);
    const std::size_t stride = static_cast<std::size_t>(width) * 3;
    for (int y = 0; y < screen_height; ++y) {
        const tap &r = rows[static_cast<std::size_t>(y)];
        const std::uint8_t *top = picture + r.first * stride;
        const std::uint8_t *bottom = picture + r.second * stride;
        const int wy = r.weight;
        std::uint8_t *out = row;
        for (const tap &column : columns) {
            const int a = column.first * 3, b = column.second * 3, wx = column.weight;
            for (int c = 0; c < 3; ++c) {
                int upper = top[a + c] * (256 - wx) + top[b + c] * wx;
                int lower = bottom[a + c] * (256 - wx) + bottom[b + c] * wx;
                *out++ = static_cast<std::uint8_t>((upper * (256 - wy) + lower * wy + 32768) >> 16);
            }
        }
        emit(y, row);
    }
}

void center(const std::uint8_t *picture, int width, int height, int screen_width, int screen_height,
            std::uint8_t *row, const scaled_row &emit) {
    const int left = (screen_width - width) / 2;
    const int top = (screen_height - height) / 2;
    // The columns of the picture that land on the screen.
    const int first = std::max(0, -left);
    const int last = std::min(width, screen_width - left);
    for (int y = 0; y < screen_height; ++y) {
        std::fill(row, row + static_cast<std::size_t>(screen_width) * 3, 0);
        const int sy = y - top;
        if (sy >= 0 && sy < height && first < last) {
            const std::uint8_t *in = picture + (static_cast<std::size_t>(sy) * width + first) * 3;
            std::copy(in, in + (last - first) * 3, row + (first + left) * 3);
        }
        emit(y, row);
    }
}

void tile(const std::uint8_t *picture, int width, int height, int screen_width, int screen_height,
          std::uint8_t *row, const scaled_row &emit) {
    for (int y = 0; y < screen_height; ++y) {
        const std::uint8_t *in = picture + static_cast<std::size_t>(y % height) * width * 3;
        for (int x = 0; x < screen_width; x += width) {
            const int count = std::min(width, screen_width - x);
            std::copy(in, in + count * 3, row + x * 3);
        }
        emit(y, row);
    }
}

} // namespace

void scale_picture(const std::uint8_t *picture, int width, int height, int screen_width,
                   int screen_height, scale_mode mode, const scaled_row &emit) {
    if (screen_width <= 0 || screen_height <= 0)
        return;
    std::vector<std::uint8_t> row(static_cast<std::size_t>(screen_width) * 3, 0);
    if (width <= 0 || height <= 0) {
        for (int y = 0; y < screen_height; ++y)
            emit(y, row.data());
        return;
    }
    switch (mode) {
    case scale_mode::fill:
        fill(picture, width, height, screen_width, screen_height, row.data(), emit);
        break;
    case scale_mode::center:
        center(picture, width, height, screen_width, screen_height, row.data(), emit);
        break;
    case scale_mode::tile:
        tile(picture, width, height, screen_width, screen_height, row.data(), emit);
        break;
    }
}
