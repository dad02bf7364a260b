// The distortions and their companions at their defaults on a photo-like
// picture, at the raytracer's default size and at full HD.  The swirl, wave
// and polar rows have one-thread counterparts in common image tools, which
// the report compares them with.
#include "../../tests/gfx/bitmapfx_test_util.h"

#include <benchmark/benchmark.h>

#include <string>
#include <utility>
#include <vector>

namespace {

// Runs one driver with `settings` (key, text pairs) on a picture of the
// benchmark's size.
void run_effect(benchmark::State &state, const char *name,
                std::vector<std::pair<const char *, const char *>> settings) {
    fxtest::register_library_effects();
    fxtest::quiet_progress quiet;
    bitmapfx_driver *driver = bitmapfx_find_driver(name);
    fxtest::parameter_snapshot keep(driver);
    for (const auto &[key, value] : settings)
        bitmapfx_shout(name, key, value);
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    fxtest::owned picture(fxtest::photo_like(width, height));
    for (auto _ : state) {
        fxtest::owned result(bitmapfx_simple(driver, picture.get()));
        benchmark::DoNotOptimize(result->bits);
    }
    state.SetItemsProcessed(state.iterations() * width * height);
}

void BM_whirl(benchmark::State &state) {
    run_effect(state, "whirl", {});
}
// The floor under every inverse mapping: a whirl of angle 0 only resamples.
void BM_resample_only(benchmark::State &state) {
    run_effect(state, "whirl", {{"angle", "0"}});
}
void BM_wave(benchmark::State &state) {
    run_effect(state, "wave", {});
}
void BM_polar(benchmark::State &state) {
    run_effect(state, "polar", {{"inverse", "false"}});
}
void BM_polar_inverse(benchmark::State &state) {
    run_effect(state, "polar", {{"inverse", "true"}});
}
void BM_illusion(benchmark::State &state) {
    run_effect(state, "illusion", {});
}
void BM_diffraction(benchmark::State &state) {
    run_effect(state, "diffraction", {});
}
void BM_filter_sharpen(benchmark::State &state) {
    run_effect(state, "filter", {{"file", ""}, {"name", "sharpen"}});
}
void BM_anaglyph(benchmark::State &state) {
    run_effect(state, "anaglyph", {});
}
void BM_remap(benchmark::State &state) {
    run_effect(state, "remap", {});
}

#define SIZES ->Args({320, 200})->Args({1920, 1080})->Unit(benchmark::kMillisecond)
BENCHMARK(BM_whirl) SIZES;
BENCHMARK(BM_resample_only) SIZES;
BENCHMARK(BM_wave) SIZES;
BENCHMARK(BM_polar) SIZES;
BENCHMARK(BM_polar_inverse) SIZES;
BENCHMARK(BM_illusion) SIZES;
BENCHMARK(BM_diffraction) SIZES;
BENCHMARK(BM_filter_sharpen) SIZES;
BENCHMARK(BM_anaglyph) SIZES;
BENCHMARK(BM_remap) SIZES;

} // namespace
