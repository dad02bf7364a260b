// The generating effects over a plasma background, as the raytracer runs
// them for its textured backgrounds (and the standard flare for the final
// picture), at the default picture size and at full HD.
#include "../../tests/gfx/bitmapfx_test_util.h"

#include <benchmark/benchmark.h>

namespace {

void run_generator(benchmark::State &state, const char *name) {
    fxtest::register_library_effects();
    fxtest::quiet_progress quiet;
    bitmapfx_driver *driver = bitmapfx_find_driver(name);
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    fxtest::owned background(fxtest::plasma_picture(width, height));
    fxtest::seeded_random random(1);
    for (auto _ : state) {
        fxtest::owned result(bitmapfx_simple(driver, background.get()));
        benchmark::DoNotOptimize(result->bits);
    }
    state.SetItemsProcessed(state.iterations() * width * height);
}

#define GENERATOR_BENCHMARK(label, name)                                                           \
    void BM_##label(benchmark::State &state) {                                                     \
        run_generator(state, name);                                                                \
    }                                                                                              \
    BENCHMARK(BM_##label)->Args({320, 200})->Args({1920, 1080})->Unit(benchmark::kMillisecond)

GENERATOR_BENCHMARK(plasma_block, "plasma.block");
GENERATOR_BENCHMARK(plasma_tile, "plasma.tile");
GENERATOR_BENCHMARK(checker, "checker");
GENERATOR_BENCHMARK(color_block, "color-block");
GENERATOR_BENCHMARK(rainbow, "rainbow");
GENERATOR_BENCHMARK(nova, "nova");
GENERATOR_BENCHMARK(snow, "snow");
GENERATOR_BENCHMARK(noise_fractal, "noise.fractal");
GENERATOR_BENCHMARK(noise_random, "noise.random");
GENERATOR_BENCHMARK(flare_fast, "flare.fast");
GENERATOR_BENCHMARK(flare_standard, "flare.standard");
GENERATOR_BENCHMARK(reaction_diffusion, "reaction-diffusion");

} // namespace
