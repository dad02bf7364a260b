// Noise evaluations: the procedural textures make one or several per pixel.
#include "xmath/xnoise.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

namespace {

struct point {
    float x, y, z;
};

// Points across many lattice cells, as a texture sweep over an image gives.
std::vector<point> noise_points() {
    std::vector<point> points(4096);
    std::uint32_t state = 7u;
    auto next = [&] {
        state = state * 1664525u + 1013904223u;
        return static_cast<float>(state >> 8) / 16777216.0f * 64.0f;
    };
    for (point &p : points)
        p = {next(), next(), next()};
    return points;
}

void BM_xnoise(benchmark::State &state) {
    const auto points = noise_points();
    std::size_t i = 0;
    for (auto _ : state) {
        const point &p = points[i];
        benchmark::DoNotOptimize(xnoise(p.x, p.y, p.z));
        i = (i + 1) & 4095;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_xnoise);

void BM_xnoise_d(benchmark::State &state) {
    const auto points = noise_points();
    std::size_t i = 0;
    float result[3];
    for (auto _ : state) {
        const point &p = points[i];
        xnoise_d(p.x, p.y, p.z, result);
        benchmark::DoNotOptimize(result);
        i = (i + 1) & 4095;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_xnoise_d);

void BM_xnoise_turbulence(benchmark::State &state) {
    const auto points = noise_points();
    const int octaves = static_cast<int>(state.range(0));
    std::size_t i = 0;
    for (auto _ : state) {
        const point &p = points[i];
        benchmark::DoNotOptimize(xnoise_turbulence(p.x, p.y, p.z, octaves));
        i = (i + 1) & 4095;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_xnoise_turbulence)->Arg(1)->Arg(4)->Arg(8);

} // namespace
