// "plasma.standard": clouds and blend over a black picture, as the raytracer
// asks for its textured background.
#include "../../tests/gfx/bitmapfx_test_util.h"

#include <benchmark/benchmark.h>

namespace {

void BM_plasma_standard(benchmark::State &state) {
    fxtest::register_library_effects();
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    fxtest::owned black(bitmap_alloc2(width, height, 24));
    fxtest::seeded_random random(1);
    for (auto _ : state) {
        fxtest::owned clouds(bitmapfx_simple(&bitmapfx_plasma_standard_driver, black.get()));
        benchmark::DoNotOptimize(clouds->bits);
    }
    state.SetItemsProcessed(state.iterations() * width * height);
    state.counters["pixels"] = static_cast<double>(width) * height;
}
BENCHMARK(BM_plasma_standard)->Args({320, 200})->Args({1920, 1080})->Unit(benchmark::kMillisecond);

} // namespace
