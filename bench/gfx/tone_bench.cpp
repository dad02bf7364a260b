// The blur, relief, edge and tone effects at their default settings on a
// photo-like picture, at the program's default size and at full HD.
#include "../../tests/gfx/bitmapfx_test_util.h"

#include <benchmark/benchmark.h>

namespace {

void run_effect(benchmark::State &state, const char *name) {
    fxtest::register_library_effects();
    bitmapfx_driver *driver = bitmapfx_find_driver(name);
    if (!driver) {
        state.SkipWithError("driver not registered");
        return;
    }
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    fxtest::owned picture(fxtest::photo_like(width, height));
    fxtest::quiet_progress quiet;
    fxtest::seeded_random random(1);
    for (auto _ : state) {
        fxtest::owned result(bitmapfx_simple(driver, picture.get()));
        benchmark::DoNotOptimize(result->bits);
    }
    state.SetItemsProcessed(state.iterations() * width * height);
}

#define TONE_BENCH(id, name)                                                                       \
    BENCHMARK_CAPTURE(run_effect, id, name)                                                        \
        ->Args({320, 200})                                                                         \
        ->Args({1920, 1080})                                                                       \
        ->Unit(benchmark::kMillisecond)

TONE_BENCH(blur_simple, "blur.simple");
TONE_BENCH(blur_gaussian, "blur.gaussian");
TONE_BENCH(blur_random, "blur.random");
TONE_BENCH(motion_blur_linear, "motion-blur.linear");
TONE_BENCH(motion_blur_radial, "motion-blur.radial");
TONE_BENCH(motion_blur_zoom, "motion-blur.zoom");
TONE_BENCH(emboss, "emboss");
TONE_BENCH(edge_detect, "edge-detect");
TONE_BENCH(equalize, "equalize");
TONE_BENCH(gamma_correct, "gamma-correct");
TONE_BENCH(dim_or_flash, "dim-or-flash");
TONE_BENCH(random_flash, "random-flash");
TONE_BENCH(greyscale, "greyscale");
TONE_BENCH(invert, "invert");
TONE_BENCH(photo_negative, "photo.negative");
TONE_BENCH(photo_positive, "photo.positive");
TONE_BENCH(flip_rgb, "flip-rgb");

} // namespace
