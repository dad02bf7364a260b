// "quant.fast" and "quant.slow" on three kinds of picture, with the quality
// reached (PSNR in dB against the true-colour original) as a counter.
#include "../../tests/gfx/bitmapfx_test_util.h"

#include "gfx/2d/bitmap/effects/quantize.h"

#include <benchmark/benchmark.h>

namespace {

enum picture_kind { plasma, gradient, photo };

bitmap *make_picture(int kind, int width, int height) {
    switch (kind) {
    case plasma:
        return fxtest::plasma_picture(width, height);
    case gradient:
        return fxtest::gradient(width, height);
    default:
        return fxtest::photo_like(width, height);
    }
}

void run_quantiser(benchmark::State &state, bitmapfx_driver *driver) {
    fxtest::register_library_effects();
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    std::int32_t colors = 256, dither = static_cast<std::int32_t>(state.range(3));
    fxtest::owned picture(make_picture(static_cast<int>(state.range(2)), width, height));
    bitmapfx_talk(driver, "max_colors", &colors);
    bitmapfx_talk(driver, "dither", &dither);
    double psnr = 0;
    for (auto _ : state) {
        fxtest::owned result(bitmapfx_simple(driver, picture.get()));
        state.PauseTiming();
        psnr = quant_psnr(picture.get(), result.get());
        state.ResumeTiming();
    }
    dither = 0;
    bitmapfx_talk(driver, "dither", &dither);
    state.SetItemsProcessed(state.iterations() * width * height);
    state.counters["psnr_dB"] = psnr;
}

void BM_quant_fast(benchmark::State &state) {
    run_quantiser(state, &bitmapfx_quant_fast_driver);
}
void BM_quant_slow(benchmark::State &state) {
    run_quantiser(state, &bitmapfx_quant_slow_driver);
}

// Arguments: width, height, picture (0 plasma, 1 gradient, 2 photo-like), dither.
void sizes_and_pictures(benchmark::internal::Benchmark *bench) {
    bench->ArgNames({"w", "h", "picture", "dither"});
    for (auto [w, h] : {std::pair{320, 200}, {1920, 1080}})
        for (int kind : {plasma, gradient, photo})
            bench->Args({w, h, kind, 0});
    bench->Args({1920, 1080, photo, 1});
    bench->Unit(benchmark::kMillisecond);
}
BENCHMARK(BM_quant_fast)->Apply(sizes_and_pictures);
BENCHMARK(BM_quant_slow)->Apply(sizes_and_pictures);

} // namespace
