// "raytrace": one whole picture of the default scene (16 spheres, 3 squares,
// 4 lights), per background kind, size and thread count.  Modes 1 to 3 are
// the gradient backgrounds; mode 4 adds the plasma clouds and one background
// effect.
#include "../../tests/gfx/bitmapfx_test_util.h"
#include "gfx/2d/bitmap/effects/ray/raytrace.h"

#include <benchmark/benchmark.h>

namespace {

// The first seed from `from` on whose seventh draw gives the mode.
std::uint32_t seed_for_mode(int mode, std::uint32_t from) {
    for (std::uint32_t seed = from;; ++seed) {
        fxtest::seeded_random random(seed);
        for (int i = 0; i < 6; ++i)
            xrand();
        const int m = xrand_mm(0, 8);
        if ((m < 3 ? m + 1 : 4) == mode)
            return seed;
    }
}

void BM_raytrace(benchmark::State &state) {
    fxtest::register_library_effects();
    progress_hook([](double) {});
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    const int mode = static_cast<int>(state.range(3));
    raytrace_set_threads(static_cast<int>(state.range(2)));
    fxtest::owned blank(bitmap_alloc2(width, height, 24));
    // Modes 1 to 3 take turns over three seeds each, so that one lucky
    // scene does not decide the figure.
    std::vector<std::uint32_t> seeds;
    // Modes alternate, so that the three runs of the large picture see
    // each gradient once.
    for (std::uint32_t from : {1u, 100u, 200u})
        for (int m = mode == 4 ? 4 : 1; m <= (mode == 4 ? 4 : 3); ++m)
            seeds.push_back(seed_for_mode(m, from));
    std::size_t next = 0;
    for (auto _ : state) {
        fxtest::seeded_random random(seeds[next++ % seeds.size()]);
        fxtest::owned picture(bitmapfx_simple(&bitmapfx_raytrace_driver, blank.get()));
        benchmark::DoNotOptimize(picture->bits);
    }
    raytrace_set_threads(0);
    progress_hook(nullptr);
    state.SetItemsProcessed(state.iterations() * width * height);
}
// Arguments: width, height, threads, background (1: the gradients of modes
// 1 to 3, three seeds each in turn; 4: the textured background).  The large
// picture runs once per seed of its background.
BENCHMARK(BM_raytrace)
    ->ArgNames({"w", "h", "threads", "bg"})
    ->ArgsProduct({{320}, {200}, {1, 2}, {1, 4}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_raytrace)
    ->ArgNames({"w", "h", "threads", "bg"})
    ->ArgsProduct({{1920}, {1080}, {1, 2}, {1, 4}})
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace
