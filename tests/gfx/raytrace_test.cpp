// "raytrace": the exact bytes, flare position and draws of scenes against a
// golden run (draw order, camera, both tests, the first-hit-from-the-last
// rule, shading, backgrounds, anaglyph passes, brightest pixel), the edge
// cases, every error, presets, the thread count and the same bytes at any
// number of threads.
//
// The effects the tracer calls are the registered ones; where a test needs a
// known background effect or wants to see the flare's position, it swaps
// that driver's procedures for its own while it runs.
#include "gfx/bitmapfx_test_util.h"

#include "file/config.h"
#include "file/config_test_setup.h"
#include "gfx/2d/bitmap/effects/bitmapfx_preset.h"
#include "gfx/2d/bitmap/effects/ray/raytrace.h"
#include "support/capture.h"
#include "support/scratch.h"
#include "xmath/xmath.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using fxtest::owned;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

bitmapfx_driver *const raytrace = &bitmapfx_raytrace_driver;

// ------------------------------------------------------------------ probes

// Hands the source back as the target.
void *copy_source(bitmapfx_driver *driver) {
    const bitmap *source =
        static_cast<const bitmap *>(bitmapfx_talk(driver, "source_bitmap", nullptr));
    bitmap *copy = bitmap_dup(source);
    bitmapfx_talk(driver, "target_bitmap", copy);
    return copy;
}
void *do_nothing(bitmapfx_driver *) {
    return nullptr;
}

int read_position(bitmapfx_driver *driver, const char *key) {
    return *static_cast<const std::int32_t *>(bitmapfx_talk(driver, key, nullptr));
}

// Stands in for "flare.standard": remembers where the tracer put the flare
// and leaves the picture alone.
struct flare_probe {
    static inline bool called = false;
    static inline int x = -1, y = -1;
    static void *run(bitmapfx_driver *driver) {
        called = true;
        x = read_position(driver, "xpos");
        y = read_position(driver, "ypos");
        return copy_source(driver);
    }
    static inline const bitmapfx_procedure procedures[] = {
        {"fx", "run the effect", run},
        {"rand", "randomize effect data", do_nothing},
        {nullptr, nullptr, nullptr}};
};

// Background effects that hand back a known picture: the clouds unchanged,
// or a pattern of another size (wider, and less than half as high).
struct background_probe {
    static inline int calls = 0;
    static int pattern_width(int width) { return 2 * width + 1; }
    static int pattern_height(int height) { return height / 2 + 1; }
    static std::uint8_t level(int x, int y, int c) {
        // Dark, so that no background pixel is bright enough for a flare.
        return static_cast<std::uint8_t>((x * 7 + y * 13 + c * 29) % 64);
    }
    static void *copy(bitmapfx_driver *driver) {
        ++calls;
        return copy_source(driver);
    }
    static void *resize(bitmapfx_driver *driver) {
        ++calls;
        const bitmap *source =
            static_cast<const bitmap *>(bitmapfx_talk(driver, "source_bitmap", nullptr));
        const int w = pattern_width(static_cast<int>(source->xsize));
        const int h = pattern_height(static_cast<int>(source->ysize));
        bitmap *out = bitmap_alloc2(w, h, source->bpp);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                fxtest::put_rgb(out, x, y, level(x, y, 0), level(x, y, 1), level(x, y, 2));
        bitmapfx_talk(driver, "target_bitmap", out);
        return out;
    }
    static inline const bitmapfx_procedure copying[] = {{"fx", "run the effect", copy},
                                                        {nullptr, nullptr, nullptr}};
    static inline const bitmapfx_procedure resizing[] = {{"fx", "run the effect", resize},
                                                         {nullptr, nullptr, nullptr}};
};

// Every background effect runs `procedures` while it lives.
class background_effects {
  public:
    explicit background_effects(const bitmapfx_procedure *procedures) {
        for (const char *name : random_fx)
            swaps_.push_back(std::make_unique<fxtest::swapped_procedures>(name, procedures));
    }

  private:
    std::vector<std::unique_ptr<fxtest::swapped_procedures>> swaps_;
};

// ------------------------------------------------------------------ scene draws

namespace ref {

template <class T> T parameter(const char *key) {
    return *static_cast<const T *>(bitmapfx_talk(raytrace, key, nullptr));
}
double scalar(const char *key) {
    return parameter<double>(key);
}
const rgbscalar &range(const char *key) {
    return *static_cast<const rgbscalar *>(bitmapfx_talk(raytrace, key, nullptr));
}

struct picture {
    owned image;
    int best_x = -1, best_y = -1;
    std::int32_t next_draw = 0;
};

// The background mode a seed gives (the seventh draw).
int mode_of(std::uint32_t seed) {
    fxtest::seeded_random random(seed);
    for (int i = 0; i < 6; ++i)
        xrand();
    const int m = xrand_mm(0, 8);
    return m < 3 ? m + 1 : 4;
}

} // namespace ref

// The first seed from `from` on whose background has the mode.
std::uint32_t seed_for_mode(int mode, std::uint32_t from = 1) {
    for (std::uint32_t seed = from; seed < from + 500; ++seed)
        if (ref::mode_of(seed) == mode)
            return seed;
    ADD_FAILURE() << "no seed for mode " << mode;
    return from;
}

// ------------------------------------------------------------------ fixture

class Raytrace : public testing::Test {
  protected:
    static void SetUpTestSuite() { fxtest::register_library_effects(); }
    void TearDown() override { raytrace_set_threads(0); }

    template <class T> static void set(const char *key, T value) {
        bitmapfx_talk(raytrace, key, &value);
    }
    static void counts(int spheres, int squares, int lights) {
        set<std::int32_t>("spheres", spheres);
        set<std::int32_t>("squares", squares);
        set<std::int32_t>("lights", lights);
    }

    // One run of the driver, with the flare watched.
    ref::picture run(int width, int height, std::uint32_t seed, int bpp = 24) {
        fxtest::swapped_procedures flare("flare.standard", flare_probe::procedures);
        flare_probe::called = false;
        flare_probe::x = flare_probe::y = -1;
        fxtest::seeded_random random(seed);
        owned blank(bitmap_alloc2(width, height, bpp));
        ref::picture out;
        out.image.reset(bitmapfx_simple(raytrace, blank.get()));
        out.next_draw = xrand();
        out.best_x = flare_probe::x;
        out.best_y = flare_probe::y;
        return out;
    }

    fxtest::parameter_snapshot keep_{raytrace};
    fxtest::quiet_progress quiet_;
    message_capture capture_;
};

bool same_bytes(const bitmap *a, const bitmap *b) {
    return a && b && bitmap_compare(a, b, 1) == 1;
}

// A run as a golden field: the seed, the picture's CRC, where the flare went
// (-1,-1: nowhere) and the next draw (the draws the scene consumed).
std::string fingerprint(std::uint32_t seed, const ref::picture &p) {
    const std::string bytes(reinterpret_cast<const char *>(p.image->bits),
                            bitmap_bytesize(p.image.get()));
    return std::to_string(seed) + ":" + fxtest::crc_text(bytes) + "," + std::to_string(p.best_x) +
           "," + std::to_string(p.best_y) + "," + std::to_string(p.next_draw);
}

// What the golden run gave (a tracer written apart from the driver, from the
// documented rules, checked these runs when they were written).
std::string golden(const std::string &name, const std::string &runs) {
    const fxtest::golden_file sums(std::string(LUMIVANE_TEST_DATA) + "/golden/raytrace.txt",
                                   "raytraced scenes: seed:CRC,flare x,flare y,next draw");
    return sums.expected(name, runs);
}

} // namespace

// ------------------------------------------------------------------ exact pictures

struct exact_case {
    const char *name;
    int spheres, squares, lights;
    int mode;
    int width, height;
    std::function<void()> tune = nullptr;
    // Mode 4's background effects: the clouds unchanged, or another size.
    const bitmapfx_procedure *background = background_probe::copying;
};

class RaytraceExact : public Raytrace, public testing::WithParamInterface<exact_case> {};

TEST_P(RaytraceExact, BytesFlareAndDrawsMatchTheGoldenRun) {
    const exact_case &c = GetParam();
    counts(c.spheres, c.squares, c.lights);
    if (c.tune)
        c.tune();
    background_effects backgrounds(c.background);
    background_probe::calls = 0;
    std::string runs;
    for (std::uint32_t seed : {seed_for_mode(c.mode), seed_for_mode(c.mode, 1000)}) {
        ref::picture got = run(c.width, c.height, seed);
        ASSERT_NE(got.image, nullptr);
        EXPECT_EQ(flare_probe::called, got.best_x > 0 && got.best_y > 0);
        runs += (runs.empty() ? "" : " ") + fingerprint(seed, got);
    }
    EXPECT_EQ(golden(c.name, runs), runs);
    if (c.background == background_probe::resizing) {
        EXPECT_GT(background_probe::calls, 0) << "the draws kept the clouds";
    }
}

void anaglyph(int type) {
    std::int32_t value = type;
    bitmapfx_talk(raytrace, "anaglyph", &value);
}

INSTANTIATE_TEST_SUITE_P(
    Scenes, RaytraceExact,
    testing::Values(exact_case{"one_of_each_mode1", 1, 1, 1, 1, 48, 36},
                    exact_case{"one_of_each_mode2", 1, 1, 1, 2, 48, 36},
                    exact_case{"one_of_each_mode3", 1, 1, 1, 3, 48, 36},
                    exact_case{"no_objects", 0, 0, 2, 1, 32, 20},
                    exact_case{"no_lights", 5, 2, 0, 2, 40, 30},
                    exact_case{"headlight_only", 6, 1, 1, 3, 40, 30},
                    exact_case{"default_scene_mode1", 16, 3, 4, 1, 64, 48},
                    exact_case{"default_scene_mode2", 16, 3, 4, 2, 64, 48},
                    exact_case{"default_scene_mode3", 16, 3, 4, 3, 64, 48},
                    exact_case{"default_scene_mode4", 16, 3, 4, 4, 64, 48},
                    exact_case{"crowded", 40, 6, 5, 1, 50, 40},
                    exact_case{"anaglyph1", 16, 3, 4, 3, 48, 36, [] { anaglyph(1); }},
                    exact_case{"anaglyph2", 16, 3, 4, 4, 48, 36, [] { anaglyph(2); }},
                    exact_case{"one_pixel", 16, 3, 4, 2, 1, 1},
                    exact_case{"resized_background", 0, 0, 1, 4, 23, 14, nullptr,
                               background_probe::resizing}),
    [](const testing::TestParamInfo<exact_case> &info) { return std::string(info.param.name); });

// ------------------------------------------------------------------ edge cases

TEST_F(Raytrace, TheHigherIndexWinsAndTheIgnoredObjectIsSkipped) {
    ray_scene scene;
    scene.width = scene.height = 1;
    for (int i = 0; i < 2; ++i) {
        ray_object object{};
        object.kind = RAY_SPHERE;
        object.shape = i;
        ray_intersect_setup(object);
        scene.objects.push_back(object);
        // Sphere 1 lies behind sphere 0 on the ray.
        scene.spheres.push_back({{0.0f, 0.0f, 5.0f + 5.0f * i}, 1.0f});
    }
    ray_prepare(scene);
    const rayvec eye = {0, 0, 0};
    ray_prepare_primary(scene, eye);
    const ray_ray ahead = {eye, {0, 0, 1}, 0.0f, -1};
    ray_hit hit{};
    EXPECT_EQ(ray_intersect(scene, ahead, hit), 1);
    EXPECT_FLOAT_EQ(hit.t, 9.0f);
    EXPECT_EQ(ray_intersect_from(scene, scene.primary, ahead.direction, -1, hit), 1);
    EXPECT_FLOAT_EQ(hit.t, 9.0f);
    const ray_ray leaving_one = {eye, {0, 0, 1}, 0.0f, 1};
    EXPECT_EQ(ray_intersect(scene, leaving_one, hit), 0);
    EXPECT_FLOAT_EQ(hit.t, 4.0f);
    EXPECT_FLOAT_EQ(hit.normal.z, -1.0f);
    const ray_ray aside = {eye, {1, 0, 0}, 0.0f, -1};
    EXPECT_EQ(ray_intersect(scene, aside, hit), -1);

    // Second-generation rays: a hit is black, a miss is the background.
    scene.background_mode = 0;
    scene.background = {0.25f, 0.5f, 0.75f};
    const ray_context context = {&scene, 0, 0, nullptr};
    raycolor colour;
    ray_trace(context, ahead, 2, colour);
    EXPECT_EQ(colour.r + colour.g + colour.b, 0.0f);
    ray_trace(context, aside, 2, colour);
    EXPECT_EQ(colour.b, 0.75f);

    // Clear glass of index 1, from inside sphere 0 along no direction: the
    // refracted ray has no direction either and is not traced.
    ray_material &glass = scene.objects[0].material;
    glass.index = glass.refr_index = 1.0f;
    glass.refr = {1.0f, 1.0f, 1.0f};
    ray_trace(context, {{0, 0, 5.5f}, {0, 0, 0}, 0.0f, -1}, 0, colour);
    EXPECT_EQ(colour.r + colour.g + colour.b, 0.0f);
    ray_scene_clear(scene);
}

TEST_F(Raytrace, FlareOnlyForABrightestPixelPastRowAndColumnZero) {
    // No objects: the picture is the background alone, brightest at one of
    // its corners as the camera rolls (in row or column 0 for some seeds).
    counts(0, 0, 0);
    set("color_min_bg", rgbscalar{0.5, 0.5, 0.5});
    std::string runs;
    std::uint32_t lit = 0;
    for (std::uint32_t seed = 1; seed < 300; ++seed)
        if (ref::mode_of(seed) == 1) {
            ref::picture got = run(12, 10, seed);
            runs += fingerprint(seed, got) + " ";
            lit = flare_probe::called ? seed : lit;
        }
    EXPECT_EQ(golden("corners", fxtest::crc_text(runs)), fxtest::crc_text(runs));
    ASSERT_NE(lit, 0u);
    {
        fxtest::hidden_driver hide("flare.standard");
        EXPECT_EQ(error_of([&] { run(12, 10, lit); }),
                  "failed to find 'flare.standard' driver, needed by 'raytrace'");
    }
    // Nothing brighter than 1.2: no flare.
    set("color_min_bg", rgbscalar{0.01, 0.01, 0.01});
    set("color_max_bg", rgbscalar{0.02, 0.02, 0.02});
    run(12, 10, seed_for_mode(3));
    EXPECT_FALSE(flare_probe::called);
}

TEST_F(Raytrace, FastRootMatchesTheLibrary) {
    counts(1, 0, 0);
    run(2, 2, 1); // builds the tracer's copy of the table
    std::uint32_t bits = 12345u;
    ray_vf lanes{};
    for (int i = 0; i < 200000; ++i) {
        bits = bits * 1664525u + 1013904223u;
        // Mostly positive normal numbers; every fourth group of lanes any bit
        // pattern (zeros, subnormals, negatives, infinities, NaNs).
        lanes[i % RAY_LANES] = std::bit_cast<float>(
            i / RAY_LANES % 4 == 0 ? bits : (bits & 0x7f7fffffu) | 0x00800000u);
        if (i % RAY_LANES != RAY_LANES - 1)
            continue;
        ray_vf roots;
        ray_fast_sqrt_lanes(lanes, roots);
        for (int lane = 0; lane < RAY_LANES; ++lane) {
            const std::uint32_t want = std::bit_cast<std::uint32_t>(xmath_fast_sqrt(lanes[lane]));
            ASSERT_EQ(std::bit_cast<std::uint32_t>(ray_fast_sqrt(lanes[lane])), want)
                << lanes[lane];
            ASSERT_EQ(std::bit_cast<std::uint32_t>(roots[lane]), want) << lanes[lane];
        }
    }
    for (float x : {0.0f, -0.0f, 4.0f})
        EXPECT_EQ(std::bit_cast<std::uint32_t>(ray_fast_sqrt(x)),
                  std::bit_cast<std::uint32_t>(xmath_fast_sqrt(x)));
}

// ------------------------------------------------------------------ errors

TEST_F(Raytrace, ErrorsNameWhatIsMissingOrWrong) {
    counts(2, 1, 2);
    struct error_case {
        const char *what;
        std::function<void()> action;
        const char *error;
    };
    const error_case table[] = {
        {"two background effects missing: the last is named",
         [this] {
             fxtest::hidden_driver first("whirl"), last("protex.multi-color");
             run(8, 6, 1);
         },
         "bitmapfx driver 'protex.multi-color' not linked, needed by 'raytrace'"},
        {"anaglyph 3 (nor any other but 0, 1 and 2)",
         [this] {
             anaglyph(3);
             run(8, 6, 1);
         },
         "xassert(0) failed"},
        {"an object of no known kind",
         [] {
             ray_object object{};
             object.kind = 2;
             ray_intersect_setup(object);
         },
         "xassert(0) failed"},
    };
    for (const error_case &c : table) {
        SCOPED_TRACE(c.what);
        fxtest::parameter_snapshot keep(raytrace);
        EXPECT_EQ(error_of(c.action), c.error);
    }
}

// ------------------------------------------------------------------ presets

TEST_F(Raytrace, PresetKeepsFocalSpaceAsOneKeyAndLoadsBack) {
    config_test_register_streams();
    scratch_directory scratch;
    set("focal space", 0.35);
    set("color_max_refr", rgbscalar{0.5, 0.25, 0.125});
    ASSERT_EQ(bitmapfx_save_preset(raytrace, "raytrace.preset"), nullptr);
    const std::string text = read_file("raytrace.preset");
    EXPECT_THAT(text, AllOf(HasSubstr("parameters = 50\n"),
                            HasSubstr("\t\tkey         = \"focal space\"\n"),
                            HasSubstr("\t\thelp        = \"anaglyph's focal space\"\n"),
                            Not(HasSubstr("\"focal\"")), Not(HasSubstr("\"space\""))));

    set("focal space", 9.0);
    set("color_max_refr", rgbscalar{0, 0, 0});
    set<std::int32_t>("spheres", 99);
    ASSERT_EQ(bitmapfx_load_preset("raytrace.preset"), nullptr);
    EXPECT_EQ(ref::scalar("focal space"), 0.35);
    EXPECT_EQ(ref::range("color_max_refr").g, 0.25);
    EXPECT_EQ(ref::parameter<std::int32_t>("spheres"), 16);
    ASSERT_EQ(bitmapfx_save_preset(raytrace, "again.preset"), nullptr);
    const std::string again = read_file("again.preset");
    // Equal but for the line with the time of writing.
    EXPECT_EQ(again.substr(again.find("# written on host")),
              text.substr(text.find("# written on host")));
}

// ------------------------------------------------------------------ threads

TEST_F(Raytrace, SameBytesAtAnyThreadCount) {
    background_effects identity(background_probe::copying);
    for (int mode : {1, 3, 4}) {
        const std::uint32_t seed = seed_for_mode(mode, 40);
        SCOPED_TRACE(testing::Message() << "mode " << mode << ", seed " << seed);
        raytrace_set_threads(1);
        ref::picture one = run(97, 61, seed);
        for (int threads : {2, 7}) {
            raytrace_set_threads(threads);
            ref::picture many = run(97, 61, seed);
            EXPECT_TRUE(same_bytes(one.image.get(), many.image.get())) << threads << " threads";
            EXPECT_EQ(many.best_x, one.best_x);
            EXPECT_EQ(many.best_y, one.best_y);
            EXPECT_EQ(many.next_draw, one.next_draw);
        }
    }
}

TEST_F(Raytrace, ThreadCountComesFromTheConfiguration) {
    config_session session;
    scratch_directory scratch;
    const int cores = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
    struct row {
        const char *value;
        int threads;
    };
    for (const row &r : {row{"3", 3}, row{"0", cores}, row{"null", cores}, row{"-2", cores}}) {
        SCOPED_TRACE(r.value);
        write_file("threads.ini", std::string("<configuration file for threads.ini, 1 header(s)>\n"
                                              "[lumivane.raytrace] (1 entry)\nthreads = ") +
                                      r.value + "\n<eof>\n");
        ASSERT_EQ(error_of([] { config_load("threads.ini"); }), "");
        ASSERT_TRUE(config_active());
        EXPECT_EQ(raytrace_threads(), r.threads);
        raytrace_set_threads(5);
        EXPECT_EQ(raytrace_threads(), 5);
        raytrace_set_threads(0);
        config_session::discard();
    }
}
