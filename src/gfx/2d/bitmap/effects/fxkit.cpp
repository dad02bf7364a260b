#include "gfx/2d/bitmap/effects/fxkit.h"

#include "gfx/2d/bitmap/bitinfo.h"
#include "gfx/2d/bitmap/colormap.h"

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

namespace fxkit {

const bitmap *source(bitmapfx_driver *driver) {
    return static_cast<const bitmap *>(bitmapfx_talk(driver, "source_bitmap", nullptr));
}

void *finish(bitmapfx_driver *driver, bitmap *target) {
    if (target)
        bitmapfx_talk(driver, "target_bitmap", target);
    return target;
}

bitmap *resized_like(const bitmap *source, std::uint32_t xsize, std::uint32_t ysize) {
    bitmap *target = bitmap_alloc2(xsize, ysize, source->bpp);
    if (target && source->cmap)
        target->cmap = colormap_dup(source->cmap);
    return target;
}

namespace {

// Maps a coordinate outside 0 .. size-1 by the edge rule; false when the
// point reads as zero bytes.
bool place(int &coordinate, int size, edge mode) {
    if (coordinate >= 0 && coordinate < size)
        return true;
    switch (mode) {
    case edge::clamp:
        coordinate = coordinate < 0 ? 0 : size - 1;
        return true;
    case edge::wrap:
        coordinate %= size;
        if (coordinate < 0)
            coordinate += size;
        return true;
    case edge::zero:
        break;
    }
    return false;
}

const std::uint8_t *pixel(const view &image, int x, int y, edge mode) {
    static constexpr std::uint8_t zero[4] = {0, 0, 0, 0};
    if (!place(x, image.width, mode) || !place(y, image.height, mode))
        return zero;
    return image.at(x, y);
}

// Coordinates far outside any picture (a huge angle, a zero scale) stay
// well-defined integers.
int floor_to_int(double value, double *fraction) {
    constexpr double limit = 1 << 30;
    value = std::isnan(value) ? -limit : std::clamp(value, -limit, limit);
    const double whole = std::floor(value);
    *fraction = value - whole;
    return static_cast<int>(whole);
}

} // namespace

void sample(const view &image, double x, double y, edge mode, std::uint8_t *out) {
    if (image.width <= 0 || image.height <= 0) {
        std::memset(out, 0, image.channels);
        return;
    }
    double fx, fy;
    const int x0 = floor_to_int(x, &fx), y0 = floor_to_int(y, &fy);
    if (image.channels < 3) {
        const int nx = fx < 0.5 ? x0 : x0 + 1, ny = fy < 0.5 ? y0 : y0 + 1;
        std::memcpy(out, pixel(image, nx, ny, mode), image.channels);
        return;
    }
    const std::uint8_t *p00 = pixel(image, x0, y0, mode), *p10 = pixel(image, x0 + 1, y0, mode);
    const std::uint8_t *p01 = pixel(image, x0, y0 + 1, mode),
                       *p11 = pixel(image, x0 + 1, y0 + 1, mode);
    const float wx = static_cast<float>(fx), wy = static_cast<float>(fy);
    for (int c = 0; c < image.channels; ++c) {
        const float top = p00[c] + (p10[c] - p00[c]) * wx;
        const float bottom = p01[c] + (p11[c] - p01[c]) * wx;
        out[c] = static_cast<std::uint8_t>(std::lround(top + (bottom - top) * wy));
    }
}

void for_rows(int height, int workers, progress_guard &report,
              const std::function<void(int y, int worker)> &row) {
    workers = std::clamp(workers, 1, std::max(height, 1));
    if (workers == 1) {
        for (int y = 0; y < height; ++y) {
            row(y, 0);
            report.add(y, height);
        }
        return;
    }
    std::atomic<int> next{0};
    std::atomic<bool> stop{false};
    std::mutex lock;
    std::condition_variable finished_one;
    int finished = 0;
    std::vector<std::jthread> threads;
    struct stopper {
        std::atomic<bool> &stop;
        ~stopper() { stop.store(true); }
    } stop_on_exit{stop}; // destroyed before the threads are joined
    for (int i = 0; i < workers; ++i)
        threads.emplace_back([&, i] {
            for (int y = next++; y < height && !stop.load(); y = next++) {
                row(y, i);
                {
                    std::lock_guard<std::mutex> guard(lock);
                    ++finished;
                }
                finished_one.notify_one();
            }
        });
    for (int reported = 0; reported < height;) {
        int done;
        {
            std::unique_lock<std::mutex> guard(lock);
            finished_one.wait(guard, [&] { return finished > reported; });
            done = finished;
        }
        for (; reported < done; ++reported)
            report.add(reported, height);
    }
}

int core_count() {
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1u, 256u));
}

} // namespace fxkit
