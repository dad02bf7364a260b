// The fast square root against the library's exact one, on the kind of
// arguments the raytracer's intersection tests give it.
#include "xmath/xmath.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace {

std::vector<float> sqrt_arguments() {
    std::vector<float> values(4096);
    std::uint32_t state = 1u;
    for (float &value : values) {
        state = state * 1664525u + 1013904223u;
        value = static_cast<float>(state >> 8) / 16777216.0f * 100.0f + 1e-3f;
    }
    return values;
}

void BM_xmath_fast_sqrt(benchmark::State &state) {
    const auto values = sqrt_arguments();
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(xmath_fast_sqrt(values[i]));
        i = (i + 1) & 4095;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_xmath_fast_sqrt);

void BM_std_sqrt_float(benchmark::State &state) {
    const auto values = sqrt_arguments();
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::sqrt(values[i]));
        i = (i + 1) & 4095;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_std_sqrt_float);

void BM_xmath_fast_atan(benchmark::State &state) {
    double x = -1.0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(xmath_fast_atan(x));
        x = x < 1.0 ? x + 1.0 / 1024 : -1.0;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_xmath_fast_atan);

} // namespace
