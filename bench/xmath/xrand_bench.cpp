// The generator: every random choice of a picture goes through these.
#include "xmath/xrand.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

namespace {

// Runs a benchmark on its own state buffer of `bytes`, then restores the
// program's state.
class bench_state {
  public:
    explicit bench_state(int bytes) : words_(static_cast<std::size_t>(bytes / 4 + 1)) {
        previous_ = xrandom_initstate(20240607u, words_.data(), bytes);
    }
    ~bench_state() { xrandom_setstate(previous_); }

  private:
    std::vector<std::uint32_t> words_;
    void *previous_;
};

void BM_xrandom(benchmark::State &state) {
    bench_state buffer(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(xrandom());
    state.SetItemsProcessed(state.iterations());
}
// 8 bytes: the linear congruential fallback; 128: the default 31-word table.
BENCHMARK(BM_xrandom)->Arg(8)->Arg(128)->Arg(256);

void BM_xrand(benchmark::State &state) {
    bench_state buffer(128);
    for (auto _ : state)
        benchmark::DoNotOptimize(xrand());
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_xrand);

void BM_xrand_mm(benchmark::State &state) {
    bench_state buffer(128);
    for (auto _ : state)
        benchmark::DoNotOptimize(xrand_mm(0, 44));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_xrand_mm);

void BM_xrand_fmm(benchmark::State &state) {
    bench_state buffer(128);
    for (auto _ : state)
        benchmark::DoNotOptimize(xrand_fmm(-360.0, 360.0));
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_xrand_fmm);

void BM_xrand_bool(benchmark::State &state) {
    bench_state buffer(128);
    for (auto _ : state)
        benchmark::DoNotOptimize(xrand_bool());
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_xrand_bool);

void BM_xrand_gauss(benchmark::State &state) {
    bench_state buffer(128);
    for (auto _ : state)
        benchmark::DoNotOptimize(xrand_gauss());
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_xrand_gauss);

} // namespace
