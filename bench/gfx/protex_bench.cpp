// The procedural textures ("protex.*") at their default parameters over a
// black picture, at the program's default size and at full HD.  The five
// fractal terrains run 8 octaves by default; BM_protex_terrain_octaves runs
// them at 4, 8 and 12 octaves to show what each octave costs.
#include "../../tests/gfx/bitmapfx_test_util.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

const char *const textures[] = {
    "protex.marble",
    "protex.granite",
    "protex.horizontal-wood",
    "protex.vertical-wood",
    "protex.turbulent-wood",
    "protex.planet",
    "protex.leopard",
    "protex.zebra",
    "protex.agate",
    "protex.sinus",
    "protex.onion",
    "protex.fbm",
    "protex.multi-fractal",
    "protex.hybrid-multi-fractal",
    "protex.rigid-multi-fractal",
    "protex.hetero-terrain",
    "protex.multi-color",
};
constexpr int texture_count = sizeof textures / sizeof textures[0];

void render(benchmark::State &state, bitmapfx_driver *driver, int width, int height) {
    fxtest::owned black(bitmap_alloc2(width, height, 24));
    fxtest::quiet_progress quiet;
    for (auto _ : state) {
        fxtest::owned texture(bitmapfx_simple(driver, black.get()));
        benchmark::DoNotOptimize(texture->bits);
    }
    state.SetItemsProcessed(state.iterations() * width * height);
}

void BM_protex(benchmark::State &state) {
    fxtest::register_library_effects();
    bitmapfx_driver *driver = bitmapfx_find_driver(textures[state.range(0)]);
    state.SetLabel(driver->name);
    render(state, driver, static_cast<int>(state.range(1)), static_cast<int>(state.range(2)));
}

void BM_protex_terrain_octaves(benchmark::State &state) {
    fxtest::register_library_effects();
    bitmapfx_driver *driver = bitmapfx_find_driver(textures[state.range(0)]);
    fxtest::parameter_snapshot keep(driver);
    const std::int32_t octaves = static_cast<std::int32_t>(state.range(3));
    bitmapfx_talk(driver, "octaves", &octaves);
    state.SetLabel(std::string(driver->name) + ", " + std::to_string(octaves) + " octaves");
    render(state, driver, static_cast<int>(state.range(1)), static_cast<int>(state.range(2)));
}

void every_texture(benchmark::internal::Benchmark *b) {
    for (int i = 0; i < texture_count; ++i) {
        b->Args({i, 320, 200});
        b->Args({i, 1920, 1080});
    }
}

void every_terrain(benchmark::internal::Benchmark *b) {
    for (int i = 11; i <= 15; ++i)
        for (int octaves : {4, 8, 12}) {
            b->Args({i, 320, 200, octaves});
            b->Args({i, 1920, 1080, octaves});
        }
}

BENCHMARK(BM_protex)->Apply(every_texture)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_protex_terrain_octaves)->Apply(every_terrain)->Unit(benchmark::kMillisecond);

} // namespace
