// The geometry effects on a photo-like 24-bpp picture at the program's
// default size and at full HD, each through bitmapfx_simple as the program
// calls it (which copies the source first).
//
// Each run allocates a source copy and a target of several megabytes.  With
// the allocator's default thresholds whether that memory is handed back to
// the system between runs depends on what ran before, and on a virtual
// machine the page faults of fresh memory can cost ten times the effect
// itself (a flip of a full HD picture: about 45 ms of faults against 2 ms of
// work).  The allocator is told to keep freed memory, so that every effect
// is measured by its own work.
#include "../../tests/gfx/bitmapfx_test_util.h"

#include <benchmark/benchmark.h>
#include <malloc.h>

namespace {

using settings = void (*)(bitmapfx_driver *);

void defaults(bitmapfx_driver *) {}
template <int Degrees> void degrees(bitmapfx_driver *driver) {
    double value = Degrees;
    bitmapfx_talk(driver, "degrees", &value);
}
template <int Percent> void scale_to(bitmapfx_driver *driver) {
    // A share of the full HD width; the height follows the shape.
    std::int32_t width = 1920 * Percent / 100, height = 0;
    bitmapfx_talk(driver, "new_xsize", &width);
    bitmapfx_talk(driver, "new_ysize", &height);
}
// A crop of a tenth off each edge of a full HD picture.
void crop_tenth(bitmapfx_driver *driver) {
    std::int32_t x = 192, y = 108;
    bitmapfx_talk(driver, "clip_x", &x);
    bitmapfx_talk(driver, "clip_y", &y);
}

void BM_geometry(benchmark::State &state, const char *name, settings setup) {
    static const bool kept =
        mallopt(M_MMAP_THRESHOLD, 32 << 20) && mallopt(M_TRIM_THRESHOLD, 1 << 30);
    benchmark::DoNotOptimize(kept);
    fxtest::register_library_effects();
    fxtest::quiet_progress quiet;
    bitmapfx_driver *driver = bitmapfx_find_driver(name);
    fxtest::parameter_snapshot keep(driver);
    setup(driver);
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    fxtest::owned photo(fxtest::photo_like(width, height));
    fxtest::seeded_random random(1);
    for (auto _ : state) {
        fxtest::owned result(bitmapfx_simple(driver, photo.get()));
        benchmark::DoNotOptimize(result->bits);
    }
    state.SetItemsProcessed(state.iterations() * width * height);
}

#define GEOMETRY(label, name, setup)                                                               \
    BENCHMARK_CAPTURE(BM_geometry, label, name, setup)                                             \
        ->Args({320, 200})                                                                         \
        ->Args({1920, 1080})                                                                       \
        ->Unit(benchmark::kMillisecond)

GEOMETRY(flip_horizontal, "flip.horizontal", defaults);
GEOMETRY(flip_vertical, "flip.vertical", defaults);
GEOMETRY(rotate_90_cw, "rotate.90.cw", defaults);
GEOMETRY(rotate_90_ccw, "rotate.90.ccw", defaults);
GEOMETRY(rotate_180, "rotate.180", defaults);
GEOMETRY(rotate_arbitrary_30, "rotate.arbitrary", degrees<30>);
GEOMETRY(rotate_arbitrary_centered, "rotate.arbitrary.centered", defaults);
GEOMETRY(rotate_arbitrary_scale, "rotate.arbitrary.scale", defaults);
GEOMETRY(scale_to_half_hd_width, "scale", scale_to<50>);
GEOMETRY(scale_to_double_hd_width, "scale", scale_to<200>);
GEOMETRY(resize, "resize", defaults);
GEOMETRY(crop, "crop", crop_tenth);
GEOMETRY(rectangle_get, "rectangle.get", defaults);
GEOMETRY(offset, "offset", defaults);
GEOMETRY(border, "border", defaults);
GEOMETRY(tile_auto, "tile.auto", defaults);
GEOMETRY(tile_rectangle, "tile.rectangle", defaults);
GEOMETRY(tiler, "tiler", defaults);

} // namespace
