// "raytrace": the driver record and its parameters, the exact bytes of
// scenes checked against a plain scalar tracer written here from the
// documented rules (draw order, camera, both tests, the first-hit-from-the-
// last rule, shading, backgrounds, anaglyph passes, brightest pixel), the
// edge cases, every error, presets, the thread count and the same bytes at
// any number of threads.
//
// The effects the tracer calls are the registered ones; where a test needs a
// known background effect or wants to see the flare's position, it swaps
// that driver's procedures for its own while it runs.
#include "gfx/bitmapfx_test_util.h"

#include "core/dtype.h"
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
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <numbers>
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

// ------------------------------------------------------------------ reference

// A plain tracer written from the documented rules, one object at a time,
// with no precomputation, no filters and no threads.
namespace ref {

struct vec {
    float x, y, z;
    vec operator+(vec b) const { return {x + b.x, y + b.y, z + b.z}; }
    vec operator-(vec b) const { return {x - b.x, y - b.y, z - b.z}; }
    vec operator*(float s) const { return {x * s, y * s, z * s}; }
    friend float dot(vec a, vec b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
    friend vec cross(vec a, vec b) {
        return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
    }
    friend vec norm(vec a) {
        const float length = sqrtf(dot(a, a));
        return {a.x / length, a.y / length, a.z / length};
    }
};
// The 3x3 determinant of the columns a, b, c, expanded along the first.
float det(vec a, vec b, vec c) {
    return a.x * (b.y * c.z - c.y * b.z) - a.y * (b.x * c.z - c.x * b.z) +
           a.z * (b.x * c.y - c.x * b.y);
}

struct colour {
    float r, g, b;
    colour operator+(colour o) const { return {r + o.r, g + o.g, b + o.b}; }
    colour operator*(colour o) const { return {r * o.r, g * o.g, b * o.b}; }
    colour operator*(float s) const { return {r * s, g * s, b * s}; }
};

struct object {
    bool square;
    vec centre;
    float radius;
    vec p0, p1, p2;
    colour amb, diff, specular, refl, refr;
    float refl_index, refr_index, width, index;
};

float draw(double min, double max) {
    return static_cast<float>(xrand_fmm(static_cast<float>(min), static_cast<float>(max)));
}
colour draw(const rgbscalar &min, const rgbscalar &max) {
    return {draw(min.r, max.r), draw(min.g, max.g), draw(min.b, max.b)}; // drawn in this order
}

template <class T> T parameter(const char *key) {
    return *static_cast<const T *>(bitmapfx_talk(raytrace, key, nullptr));
}
double scalar(const char *key) {
    return parameter<double>(key);
}
const rgbscalar &range(const char *key) {
    return *static_cast<const rgbscalar *>(bitmapfx_talk(raytrace, key, nullptr));
}

struct tracer {
    int width = 0, height = 0;
    vec eye{1.0f, 0.0f, -2.0f}, view{-0.5f, 0.0f, 1.0f};
    vec up_hint{};
    colour bg{};
    int mode = 0;
    owned background;
    std::vector<object> objects;
    std::vector<vec> lights;
    int x = 0, y = 0; // the pixel being traced

    // The scene's draws, in the documented order.
    void draw_scene(const bitmap *blank) {
        width = static_cast<int>(blank->xsize);
        height = static_cast<int>(blank->ysize);
        up_hint = {draw(-360, 360), draw(-360, 360), draw(-360, 360)};
        bg = draw(range("color_min_bg"), range("color_max_bg"));
        const int m = xrand_mm(0, 8);
        mode = m < 3 ? m + 1 : 4;
        if (mode == 4) {
            bitmap *clouds = bitmapfx_simple(bitmapfx_get_driver("plasma.standard"), blank);
            const int k = xrand_mm(0, 44);
            if (k < 44) {
                bitmapfx_driver *effect = bitmapfx_get_driver(random_fx[k]);
                if (bitmapfx_is_subproc(effect, "rand"))
                    bitmapfx_call(effect, "rand");
                bitmapfx_simple2(effect, &clouds);
            }
            background.reset(clouds);
        }
        const int spheres = parameter<std::int32_t>("spheres");
        for (int i = 0; i < spheres; ++i) {
            object o{};
            o.centre = place("sphere");
            o.radius = draw(scalar("sphere_minr"), scalar("sphere_maxr"));
            material(o);
            objects.push_back(o);
        }
        const float q = static_cast<float>(scalar("quad_dist"));
        const float zc = eye.z + static_cast<float>(scalar("quad_zdist"));
        const int squares = parameter<std::int32_t>("squares");
        for (int i = 0; i < squares; ++i) {
            object o{};
            o.square = true;
            for (vec *p : {&o.p0, &o.p1, &o.p2})
                *p = {draw(eye.x - q, eye.x + q), draw(eye.y - q, eye.y + q), draw(zc - q, zc + q)};
            material(o);
            objects.push_back(o);
        }
        const int count = parameter<std::int32_t>("lights");
        lights.assign(count > 0 ? count : 0, eye);
        for (int i = count - 1; i >= 1; --i) {
            lights[i] = place("light");
            draw(scalar("light_mina"), scalar("light_maxa"));
        }
    }

    // A point drawn in the box "<what>_minx".."<what>_maxz" around the eye.
    vec place(const std::string &what) const {
        auto axis = [&](float at, const char *a) {
            return draw(at + static_cast<float>(scalar((what + "_min" + a).c_str())),
                        at + static_cast<float>(scalar((what + "_max" + a).c_str())));
        };
        return {axis(eye.x, "x"), axis(eye.y, "y"), axis(eye.z, "z")};
    }

    void material(object &o) {
        o.amb = draw(range("color_min_amb"), range("color_max_amb"));
        o.diff = draw(range("color_min_diff"), range("color_max_diff"));
        o.specular = draw(range("color_min_spec"), range("color_max_spec"));
        o.refl = draw(range("color_min_refl"), range("color_max_refl"));
        o.refr = draw(range("color_min_refr"), range("color_max_refr"));
        o.refl_index = draw(scalar("color_min_refl_index"), scalar("color_max_refl_index"));
        o.refr_index = draw(scalar("color_min_refr_index"), scalar("color_max_refr_index"));
        draw(scalar("color_min_refl_diff"), scalar("color_max_refl_diff"));
        draw(scalar("color_min_refr_diff"), scalar("color_max_refr_diff"));
        o.width = draw(scalar("color_min_width"), scalar("color_max_width"));
        o.index = draw(scalar("color_min_index"), scalar("color_max_index"));
    }

    static bool hits(const object &o, vec origin, vec d, float &t, vec &normal) {
        if (o.square) {
            const vec e1 = o.p0 - o.p1, e2 = o.p0 - o.p2, w = o.p0 - origin;
            const float dt = det(e1, e2, d);
            if (std::fabs(static_cast<double>(dt)) < 1e-05)
                return false;
            t = det(e1, e2, w) / dt;
            const float u = det(w, e2, d) / dt, v = det(e1, w, d) / dt;
            if (!(t > 0 && u >= 0 && u <= 1 && v >= 0 && v <= 1))
                return false;
            normal = norm(vec{e1.y * e2.z - e2.y * e1.z, -(e1.x * e2.z - e2.x * e1.z),
                              e1.x * e2.y - e2.x * e1.y});
            return true;
        }
        const vec oc = origin - o.centre;
        const float b2 = 2 * dot(d, oc);
        const float disc = b2 * b2 - 4 * (dot(oc, oc) - o.radius);
        if (disc < 0)
            return false;
        const float root = xmath_fast_sqrt(disc);
        float t1 = (-b2 + root) * 0.5f, t2 = 0.5f * (-b2 - root);
        if (t1 <= 0)
            t1 = t2;
        if (t2 <= 0)
            t2 = t1;
        t = std::min(t1, t2);
        if (t <= 0)
            return false;
        normal = norm(origin + d * t - o.centre);
        return true;
    }

    int first_hit(vec origin, vec d, int ignore, float &t, vec &normal) const {
        for (int i = static_cast<int>(objects.size()) - 1; i >= 0; --i)
            if (i != ignore && hits(objects[i], origin, d, t, normal))
                return i;
        return -1;
    }

    colour miss(vec d) const {
        if (mode == 4) {
            const bitmap *b = background.get();
            const std::uint8_t *p =
                bitmap_boffset(b, static_cast<std::uint32_t>(std::uint64_t(x) * b->xsize / width),
                               static_cast<std::uint32_t>(std::uint64_t(y) * b->ysize / height));
            return {static_cast<float>(p[0] / 255.0), static_cast<float>(p[1] / 255.0),
                    static_cast<float>(p[2] / 255.0)};
        }
        const float f = mode == 1 ? d.x : mode == 2 ? d.y : d.z;
        if (f > 0)
            return bg;
        const float grey = static_cast<float>((bg.r + bg.g + bg.b) / 3.0 - f * 0.8);
        return {grey, grey, grey};
    }

    colour trace(vec origin, vec d, int ignore, int depth) const {
        float t;
        vec n;
        const int i = first_hit(origin, d, ignore, t, n);
        if (i < 0)
            return miss(d);
        if (depth > 1)
            return {0, 0, 0};
        const object &o = objects[i];
        colour c = o.amb;
        const vec p = origin + d * t;
        for (int l = static_cast<int>(lights.size()) - 1; l >= 0; --l) {
            const vec to = norm(lights[l] - p);
            const float k = dot(n, to);
            float ignored_t;
            vec ignored_n;
            if (!(k > 0) || first_hit(p, to, i, ignored_t, ignored_n) >= 0)
                continue;
            c = c + o.diff * k;
            const float e = dot(to - n * (2 * dot(n, to)), d);
            if (e < 0)
                continue;
            const float s = powf(e, o.width);
            c = c + o.specular * s;
        }
        const colour reflected = trace(p, d - n * (2 * dot(n, d)), i, depth + 1);
        c = c + reflected * o.refl * o.refl_index;
        const float cosine = dot(n, d);
        float index = o.index;
        if (cosine >= 0)
            index = 1 / index;
        const float k = 1 - (1 - cosine * cosine) / (index * index);
        if (k < 0)
            return c;
        const float root = xmath_fast_sqrt(k);
        const vec bent =
            n * (cosine >= 0 ? -cosine / index + root : -cosine / index - root) + d * (1 / index);
        if (bent.x == 0 && bent.y == 0 && bent.z == 0)
            return c;
        const colour refracted = trace(p, bent, i, depth + 1);
        return c + refracted * o.refr * o.refr_index;
    }
};

struct picture {
    owned image;
    int best_x = -1, best_y = -1;
    std::int32_t next_draw = 0;
};

std::uint8_t byte_of(float c) {
    return c * 255 <= 255 ? static_cast<std::uint8_t>(static_cast<int>(roundf(c * 255))) : 255;
}

// The picture of a seed as the documented rules give it.
picture render(int width, int height, std::uint32_t seed, int bpp = 24) {
    fxtest::seeded_random random(seed);
    owned blank(bitmap_alloc2(width, height, bpp));
    tracer scene;
    scene.draw_scene(blank.get());
    picture out;
    out.next_draw = xrand();
    out.image.reset(bitmap_alloc2(width, height, bpp));

    const float s =
        static_cast<float>(std::tan(scalar("fov") * std::numbers::pi / 180.0) / std::sqrt(2.0));
    const vec right = norm(cross(scene.up_hint, scene.view));
    const vec up = norm(cross(scene.view, right));
    const int anaglyph = parameter<std::int32_t>("anaglyph");
    const float half = 0.5f * static_cast<float>(scalar("focal space"));
    struct pass {
        float shift;
        unsigned bytes;
    };
    std::vector<pass> passes = {{0.0f, 7u}};
    if (anaglyph == 1 || anaglyph == 2)
        passes = {{half, anaglyph == 1 ? 4u : 6u}, {-half, 1u}};
    float best = 1.2f;
    for (const pass &p : passes) {
        const vec eye = {scene.eye.x + p.shift, scene.eye.y, scene.eye.z};
        float v = 1.0f;
        for (int y = 0; y < height; ++y) {
            float u = -1.0f;
            for (int x = 0; x < width; ++x) {
                scene.x = x;
                scene.y = y;
                const vec d = norm(scene.view + right * (u * s) + up * (v * s));
                const colour c = scene.trace(eye, d, -1, 0);
                const float brightness = c.r + c.g + c.b;
                if (brightness > best) {
                    best = brightness;
                    out.best_x = x;
                    out.best_y = y;
                }
                std::uint8_t *px = bitmap_boffset(out.image.get(), x, y);
                if (p.bytes & 1u)
                    px[0] = byte_of(c.r);
                if (p.bytes & 2u)
                    px[1] = byte_of(c.g);
                if (p.bytes & 4u)
                    px[2] = byte_of(c.b);
                u += 2.0f / width;
            }
            v -= 2.0f / height;
        }
    }
    return out;
}

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

// The first byte where two pictures differ, for the failure message.
std::string first_difference(const bitmap *a, const bitmap *b) {
    for (std::size_t i = 0; i < bitmap_bytesize(a); ++i)
        if (a->bits[i] != b->bits[i])
            return "byte " + std::to_string(i) + ": " + std::to_string(a->bits[i]) + " vs " +
                   std::to_string(b->bits[i]);
    return "none";
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

void PrintTo(const exact_case &c, std::ostream *out) {
    *out << c.name;
}

class RaytraceExact : public Raytrace, public testing::WithParamInterface<exact_case> {};

TEST_P(RaytraceExact, BytesBrightestPixelAndDrawsFollowTheRules) {
    const exact_case &c = GetParam();
    counts(c.spheres, c.squares, c.lights);
    if (c.tune)
        c.tune();
    background_effects backgrounds(c.background);
    background_probe::calls = 0;
    for (std::uint32_t seed : {seed_for_mode(c.mode), seed_for_mode(c.mode, 1000)}) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        ref::picture expected = ref::render(c.width, c.height, seed);
        ref::picture got = run(c.width, c.height, seed);
        ASSERT_NE(got.image, nullptr);
        EXPECT_TRUE(same_bytes(got.image.get(), expected.image.get()))
            << first_difference(got.image.get(), expected.image.get());
        const bool flare_expected = expected.best_x > 0 && expected.best_y > 0;
        EXPECT_EQ(flare_probe::called, flare_expected);
        if (flare_expected) {
            EXPECT_EQ(got.best_x, expected.best_x);
            EXPECT_EQ(got.best_y, expected.best_y);
        }
        EXPECT_EQ(got.next_draw, expected.next_draw) << "draws consumed";
    }
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
    ray_scene_clear(scene);
}

TEST_F(Raytrace, FlareOnlyForABrightestPixelPastRowAndColumnZero) {
    // No objects: the picture is the background alone, brightest at one of
    // its corners as the camera rolls.
    counts(0, 0, 0);
    set("color_min_bg", rgbscalar{0.5, 0.5, 0.5});
    int seen_row0 = 0, seen_column0 = 0, seen_inside = 0;
    for (std::uint32_t seed = 1; seed < 300; ++seed) {
        if (ref::mode_of(seed) != 1)
            continue;
        ref::picture expected = ref::render(12, 10, seed);
        ref::picture got = run(12, 10, seed);
        ASSERT_TRUE(same_bytes(got.image.get(), expected.image.get()));
        const bool inside = expected.best_x > 0 && expected.best_y > 0;
        EXPECT_EQ(flare_probe::called, inside) << "seed " << seed;
        if (inside && !seen_inside) {
            fxtest::hidden_driver hide("flare.standard");
            EXPECT_EQ(error_of([&] { run(12, 10, seed); }),
                      "failed to find 'flare.standard' driver, needed by 'raytrace'");
        }
        if (inside) {
            EXPECT_EQ(got.best_x, expected.best_x);
            EXPECT_EQ(got.best_y, expected.best_y);
        }
        seen_row0 += expected.best_y == 0 && expected.best_x > 0;
        seen_column0 += expected.best_x == 0 && expected.best_y > 0;
        seen_inside += inside;
    }
    EXPECT_GT(seen_row0, 0);
    EXPECT_GT(seen_column0, 0);
    EXPECT_GT(seen_inside, 0);

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
            EXPECT_TRUE(same_bytes(one.image.get(), many.image.get()))
                << threads << " threads: " << first_difference(one.image.get(), many.image.get());
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
