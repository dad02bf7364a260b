// The raytracer's tracing half: background, the sphere and square tests,
// the intersection walk, shading, light placement and materials.
//
// Every float operation below is the one the pictures were made with, in the
// same order; where work is shared or done for several objects at once, each lane
// still performs exactly the operations of the scalar test (the build never
// contracts or reassociates), so the result is the same to the bit.
#include "gfx/2d/bitmap/effects/ray/raytrace.h"

#include "core/message.h"
#include "gfx/2d/bitmap/bitinfo.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "xmath/xmath.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

// The functions that run the lanes, built for 8-float registers and for the
// baseline; the program picks one at start.  ThreadSanitizer builds keep the
// baseline only: the picking runs before that sanitizer's runtime is ready.
// clang builds (the fuzz harnesses) keep it too: clang will not pass 8-float
// vectors between functions of differing targets.  The bytes are the same.
#if defined(__x86_64__) && !defined(__SANITIZE_THREAD__) && !defined(__clang__)
#define RAY_LANE_CODE __attribute__((target_clones("avx2", "default")))
#else
#define RAY_LANE_CODE
#endif
// clang refuses noinline beside target_clones; the hint only matters for
// speed, never for the bytes.
#if defined(__clang__)
#define RAY_NOINLINE
#else
#define RAY_NOINLINE [[gnu::noinline]]
#endif

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/ray/rayinter.c";
static constexpr const char *source_ident = "bitmapfx::raytrace::shading";

// Lane vectors are passed by reference between functions; the small helpers
// that return one are always inlined, so no vector crosses a call whose two
// builds would pass it differently.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace {

// The fast square root's table, copied from the library's own so that the
// root inlines into the intersection tests.  Filled during the single-
// threaded set-up, only read afterwards.
std::array<std::uint32_t, 256> sqrt_mantissa;
bool sqrt_ready = false;

void copy_sqrt_table() {
    if (sqrt_ready)
        return;
    // Entry k is what xmath_fast_sqrt adds to an exponent field of 127 for
    // an input with exponent 0 (k < 128) or 1 (k >= 128) and top mantissa
    // bits k mod 128.
    for (std::uint32_t k = 0; k < 128; ++k) {
        const float even = std::bit_cast<float>((k << 16) | 0x3f800000u);
        const float odd = std::bit_cast<float>((k << 16) | 0x40000000u);
        sqrt_mantissa[k] = std::bit_cast<std::uint32_t>(xmath_fast_sqrt(even)) - (127u << 23);
        sqrt_mantissa[128 + k] = std::bit_cast<std::uint32_t>(xmath_fast_sqrt(odd)) - (127u << 23);
    }
    sqrt_ready = true;
}

typedef std::int32_t ray_vi __attribute__((vector_size(4 * RAY_LANES)));
typedef std::uint32_t ray_vu __attribute__((vector_size(4 * RAY_LANES)));
typedef float ray_v4f __attribute__((vector_size(16)));

constexpr int all_lanes = (1 << RAY_LANES) - 1;

// The bits of one lane vector as another (the compiler's vector cast, which
// reinterprets vectors of one size).
template <class To, class From> [[gnu::always_inline]] inline To lanes_as(const From &from) {
    static_assert(sizeof(To) == sizeof(From));
    return (To)from;
}

[[gnu::always_inline]] inline ray_vf splat(float value) {
    ray_vf v;
    for (int lane = 0; lane < RAY_LANES; ++lane)
        v[lane] = value;
    return v;
}

static_assert(RAY_LANES == 8, "the halves below are written for eight lanes");

[[gnu::always_inline]] inline ray_v4f low_half(const ray_vf &x) {
    return __builtin_shufflevector(x, x, 0, 1, 2, 3);
}
[[gnu::always_inline]] inline ray_v4f high_half(const ray_vf &x) {
    return __builtin_shufflevector(x, x, 4, 5, 6, 7);
}
[[gnu::always_inline]] inline ray_vf join(const ray_v4f &low, const ray_v4f &high) {
    return __builtin_shufflevector(low, high, 0, 1, 2, 3, 4, 5, 6, 7);
}

// Bit i set when lane i of the comparison is true (its sign bit is set).
[[gnu::always_inline]] inline int lane_bits(const ray_vf &mask) {
#if defined(__SSE__)
    return _mm_movemask_ps(low_half(mask)) | _mm_movemask_ps(high_half(mask)) << 4;
#else
    int bits = 0;
    for (int lane = 0; lane < RAY_LANES; ++lane)
        bits |= static_cast<int>(lanes_as<ray_vu>(mask)[lane] >> 31) << lane;
    return bits;
#endif
}

// The lanes that may hit: not (disc < 0), so that a NaN goes on to the
// scalar test as it would without the filter.
[[gnu::always_inline]] inline int sphere_candidates(const ray_vf &disc) {
    return ~lane_bits(lanes_as<ray_vf>(disc < splat(0.0f))) & all_lanes;
}

// The square's determinants expanded along the first column.  With
// w = p0 - origin the parameters solve u e1 + v e2 + t d = w.
bool square_solve(const ray_square_fast &q, const rayvec &w, const rayvec &d, float &t) {
    const rayvec &e1 = q.e1, &e2 = q.e2;
    const float m1 = e2.y * d.z - d.y * e2.z;
    const float m2 = e2.x * d.z - d.x * e2.z;
    const float m3 = e2.x * d.y - d.x * e2.y;
    const float det = e1.x * m1 - e1.y * m2 + e1.z * m3;
    if (std::fabs(static_cast<double>(det)) < 1e-05)
        return false;
    // A hit needs 0 <= u <= 1, 0 <= v <= 1 and t > 0; the cheapest test
    // that fails ends it.
    const float u = (w.x * m1 - w.y * m2 + w.z * m3) / det;
    if (!(u >= 0 && u <= 1))
        return false;
    const float n1 = w.y * d.z - d.y * w.z;
    const float n2 = w.x * d.z - d.x * w.z;
    const float n3 = w.x * d.y - d.x * w.y;
    const float v = (e1.x * n1 - e1.y * n2 + e1.z * n3) / det;
    if (!(v >= 0 && v <= 1))
        return false;
    const float numerator = e1.x * (e2.y * w.z - w.y * e2.z) - e1.y * (e2.x * w.z - w.x * e2.z) +
                            e1.z * (e2.x * w.y - w.x * e2.y);
    const float tt = numerator / det;
    if (!(tt > 0))
        return false;
    t = tt;
    return true;
}

// The float below which |det| counts as 0: |det| < 1e-05 compared in double
// holds exactly when the float |det| is below the first float above 1e-05.
const float flat_det = [] {
    float f = static_cast<float>(1e-05);
    while (static_cast<double>(f) < 1e-05)
        f = std::nextafterf(f, 1.0f);
    while (static_cast<double>(std::nextafterf(f, 0.0f)) >= 1e-05)
        f = std::nextafterf(f, 0.0f);
    return f;
}();

int sphere_count(const ray_scene &scene) {
    return static_cast<int>(scene.spheres.size());
}
int square_count(const ray_scene &scene) {
    return static_cast<int>(scene.squares.size());
}

// The sphere test up to its distance; false when the ray misses or the
// sphere lies behind the origin.
bool sphere_distance(const ray_sphere &s, const ray_ray &ray, float &t) {
    rayvec oc;
    rayvec_sub(&oc, &ray.origin, &s.centre);
    const float b = rayvec_dot(&ray.direction, &oc);
    const float bb = 2.0f * b;
    const float c = rayvec_dot(&oc, &oc);
    const float disc = bb * bb - 4.0f * (c - s.radius);
    if (disc < 0)
        return false;
    const float root = ray_fast_sqrt(disc);
    float t1 = (-bb + root) * 0.5f;
    float t2 = 0.5f * (-bb - root);
    if (t1 <= 0)
        t1 = t2;
    if (t2 <= 0)
        t2 = t1;
    t = t2 < t1 ? t2 : t1;
    return !(t <= 0);
}

// The hit record of a sphere met at distance t: the normal is
// norm(origin + d t - centre).
void sphere_hit(const ray_sphere &s, const rayvec &origin, const rayvec &d, float t, int object,
                ray_hit &hit) {
    rayvec p;
    rayvec_product2(&p, &d, t);
    rayvec_plus(&p, &origin);
    rayvec_min(&p, &s.centre);
    rayvec_norm(&hit.normal, &p);
    hit.t = t;
    hit.object = object;
}

// The lanes of the squares of group g that the ray from the origin hits
// (bit i for lane i), with their distances in t: the one-square test in
// every lane, without its early exits.
[[gnu::always_inline]] inline int square_lanes(const ray_scene &s, const ray_origin &o, int g,
                                               const ray_vf &dx, const ray_vf &dy, const ray_vf &dz,
                                               ray_vf &t) {
    const ray_square_group &q = s.square_group[g];
    const ray_square_from &f = o.squares[g];
    const ray_vf e1x = q.e1x, e1y = q.e1y, e1z = q.e1z;
    const ray_vf e2x = q.e2x, e2y = q.e2y, e2z = q.e2z;
    const ray_vf wx = f.wx, wy = f.wy, wz = f.wz;
    const ray_vf m1 = e2y * dz - dy * e2z;
    const ray_vf m2 = e2x * dz - dx * e2z;
    const ray_vf m3 = e2x * dy - dx * e2y;
    const ray_vf det = e1x * m1 - e1y * m2 + e1z * m3;
    t = f.tn / det;
    const ray_vf u = (wx * m1 - wy * m2 + wz * m3) / det;
    const ray_vf n1 = wy * dz - dy * wz;
    const ray_vf n2 = wx * dz - dx * wz;
    const ray_vf n3 = wx * dy - dx * wy;
    const ray_vf v = (e1x * n1 - e1y * n2 + e1z * n3) / det;
    const auto magnitude = lanes_as<ray_vf>(lanes_as<ray_vi>(det) & 0x7fffffff);
    const auto hit = ~(magnitude < splat(flat_det)) & (t > splat(0.0f)) & (u >= splat(0.0f)) &
                     (u <= splat(1.0f)) & (v >= splat(0.0f)) & (v <= splat(1.0f));
    return lane_bits(lanes_as<ray_vf>(hit));
}

// sqrtf in every lane.
[[gnu::always_inline]] inline ray_vf sqrt_lanes(const ray_vf &x) {
#if defined(__SSE__)
    return join(_mm_sqrt_ps(low_half(x)), _mm_sqrt_ps(high_half(x)));
#else
    ray_vf root;
    for (int lane = 0; lane < RAY_LANES; ++lane)
        root[lane] = sqrtf(x[lane]);
    return root;
#endif
}

// ray_fast_sqrt in every lane.  Each table entry is the correctly rounded
// root of an input cut to its top seven mantissa bits (exponent 0 or 1), and
// scaling by an even power of two is exact, so for positive normal inputs
// the table's result is the true root of the input so cut: one root
// instruction instead of a table look-up per lane.  Other inputs (subnormal,
// negative, infinite, NaN) go through the table itself.
[[gnu::always_inline]] inline ray_vf fast_sqrt_lanes(const ray_vf &x) {
    const ray_vu bits = lanes_as<ray_vu>(x);
    const auto zero = x == splat(0.0f);
    const auto normal = (bits >> 23) - 1u < 254u; // exponent 1 .. 254, sign clear
    if (lane_bits(lanes_as<ray_vf>(normal | zero)) == all_lanes) [[likely]] {
        const ray_vf root = sqrt_lanes(lanes_as<ray_vf>(bits & 0xffff0000u));
        return zero ? splat(0.0f) : root;
    }
    const ray_vi exponent = lanes_as<ray_vi>(bits >> 23) - 127;
    const ray_vu index = ((bits >> 16) & 0x7fu) + lanes_as<ray_vu>(exponent & 1) * 128u;
    const ray_vu half = lanes_as<ray_vu>((exponent >> 1) + 127);
    ray_vu mantissa;
    for (int lane = 0; lane < RAY_LANES; ++lane)
        mantissa[lane] = sqrt_mantissa[index[lane]];
    const ray_vf root = lanes_as<ray_vf>((half << 23) + mantissa);
    return zero ? splat(0.0f) : root;
}

// The rest of the sphere test for the lanes whose disc is not negative:
// the lanes hit in front of the origin, with their distances in t.
RAY_NOINLINE RAY_LANE_CODE int sphere_hits(const ray_vf &bb, const ray_vf &disc, int candidates,
                                           ray_vf &t) {
    const ray_vf root = fast_sqrt_lanes(disc);
    const ray_vf zero = splat(0.0f);
    ray_vf t1 = (-bb + root) * splat(0.5f);
    ray_vf t2 = splat(0.5f) * (-bb - root);
    t1 = t1 <= zero ? t2 : t1;
    t2 = t2 <= zero ? t1 : t2;
    t = t2 < t1 ? t2 : t1;
    return candidates & ~lane_bits(lanes_as<ray_vf>(t <= zero));
}

// The sphere test for the spheres of group g from the origin's shared values: the
// lanes hit in front of the origin, with their distances in t.
[[gnu::always_inline]] inline int sphere_lanes(const ray_origin &o, int g, const ray_vf &dx,
                                               const ray_vf &dy, const ray_vf &dz, ray_vf &t) {
    const ray_sphere_from &f = o.spheres[g];
    const ray_vf b = dx * f.ox + dy * f.oy + dz * f.oz;
    const ray_vf bb = splat(2.0f) * b;
    const ray_vf disc = bb * bb - f.k;
    const int candidates = sphere_candidates(disc);
    if (!candidates) [[likely]]
        return 0;
    return sphere_hits(bb, disc, candidates, t);
}

int highest_lane(int lanes) {
    return 31 - __builtin_clz(static_cast<unsigned>(lanes));
}

// Clears the lane of object `ignore` when it lies in the group starting at
// object `first`.
int without(int lanes, int first, int ignore) {
    const int lane = ignore - first;
    return lane >= 0 && lane < RAY_LANES ? lanes & ~(1 << lane) : lanes;
}

// Whether the ray from the origin's point hits the object (the one-object
// tests, with the same operations as the lanes).
bool object_blocks(const ray_scene &scene, const ray_origin &o, const rayvec &d, int object) {
    float t;
    const int spheres = sphere_count(scene);
    if (object < spheres) {
        const ray_ray ray = {o.point, d, 0.0f, -1};
        return sphere_distance(scene.spheres[object], ray, t);
    }
    const ray_square_fast &q = scene.fast_squares[object - spheres];
    rayvec w;
    rayvec_sub(&w, &q.p0, &o.point);
    return square_solve(q, w, d, t);
}

// Spheres from the last to the first, a group at a time; the normal is worked
// out for the one returned.  `any` only asks whether something is hit.
template <bool any>
[[gnu::always_inline]] inline int spheres_walk(const ray_scene &scene, const ray_origin &o,
                                               const rayvec &d, int ignore, ray_hit &hit) {
    const ray_vf dx = splat(d.x), dy = splat(d.y), dz = splat(d.z);
    const int count = sphere_count(scene);
    for (int g = scene.sphere_groups - 1; g >= 0; --g) {
        ray_vf t;
        const int first = RAY_LANES * g;
        int lanes = without(sphere_lanes(o, g, dx, dy, dz, t), first, ignore);
        if (first + RAY_LANES > count)
            lanes &= (1 << (count - first)) - 1;
        if (!lanes)
            continue;
        const int lane = highest_lane(lanes);
        const int object = first + lane;
        if (!any)
            sphere_hit(scene.spheres[object], o.point, d, t[lane], object, hit);
        return object;
    }
    return -1;
}

} // namespace

float ray_fast_sqrt(float x) {
    if (x == 0.0f)
        return 0.0f;
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(x);
    const int exponent = static_cast<int>(bits >> 23) - 127;
    std::uint32_t index = (bits >> 16) & 0x7fu;
    if (exponent & 1)
        index += 128;
    const auto half_exponent = static_cast<std::uint32_t>((exponent >> 1) + 127);
    return std::bit_cast<float>((half_exponent << 23) + sqrt_mantissa[index]);
}

void ray_intersect_setup(ray_object &object) {
    switch (object.kind) {
    case RAY_SPHERE:
        object.intersect = ray_sphere_intersect;
        break;
    case RAY_SQUARE:
        object.intersect = ray_square_intersect;
        break;
    default:
        object.intersect = nullptr;
        XASSERT(0);
        break;
    }
}

void set_color(ray_object &object, const ray_parameters &p) {
    auto colour = [](const rgbscalar &min, const rgbscalar &max) {
        raycolor c;
        c.r = ray_draw(static_cast<float>(min.r), static_cast<float>(max.r));
        c.g = ray_draw(static_cast<float>(min.g), static_cast<float>(max.g));
        c.b = ray_draw(static_cast<float>(min.b), static_cast<float>(max.b));
        return c;
    };
    auto scalar = [](double min, double max) {
        return ray_draw(static_cast<float>(min), static_cast<float>(max));
    };
    ray_material &m = object.material;
    m.ambient = colour(p.color_min_amb, p.color_max_amb);
    m.diffuse = colour(p.color_min_diff, p.color_max_diff);
    m.specular = colour(p.color_min_spec, p.color_max_spec);
    m.refl = colour(p.color_min_refl, p.color_max_refl);
    m.refr = colour(p.color_min_refr, p.color_max_refr);
    m.refl_index = scalar(p.color_min_refl_index, p.color_max_refl_index);
    m.refr_index = scalar(p.color_min_refr_index, p.color_max_refr_index);
    m.refl_diff = scalar(p.color_min_refl_diff, p.color_max_refl_diff);
    m.refr_diff = scalar(p.color_min_refr_diff, p.color_max_refr_diff);
    m.refl_diff = static_cast<float>(m.refl_diff * 0.017453292);
    m.refr_diff = static_cast<float>(m.refr_diff * 0.017453292);
    m.width = scalar(p.color_min_width, p.color_max_width);
    m.index = scalar(p.color_min_index, p.color_max_index);
}

void add_lights(ray_scene &scene, const ray_parameters &p) {
    const rayvec &eye = scene.eye;
    for (int i = static_cast<int>(scene.lights.size()) - 1; i >= 1; --i) {
        ray_light &light = scene.lights[i];
        light.position.x = ray_draw(eye.x + static_cast<float>(p.light_minx),
                                    eye.x + static_cast<float>(p.light_maxx));
        light.position.y = ray_draw(eye.y + static_cast<float>(p.light_miny),
                                    eye.y + static_cast<float>(p.light_maxy));
        light.position.z = ray_draw(eye.z + static_cast<float>(p.light_minz),
                                    eye.z + static_cast<float>(p.light_maxz));
        const float degrees =
            ray_draw(static_cast<float>(p.light_mina), static_cast<float>(p.light_maxa));
        light.angle = static_cast<float>(degrees * 0.017453292519943295);
    }
    // The headlight.
    if (!scene.lights.empty())
        scene.lights[0] = {eye, 0.0f};
}

void ray_prepare(ray_scene &scene) {
    copy_sqrt_table();
    const int spheres = sphere_count(scene), squares = square_count(scene);
    scene.sphere_groups = (spheres + RAY_LANES - 1) / RAY_LANES;
    scene.square_groups = (squares + RAY_LANES - 1) / RAY_LANES;
    const std::size_t sg = static_cast<std::size_t>(scene.sphere_groups);
    const std::size_t qg = static_cast<std::size_t>(scene.square_groups);
    // Padding spheres: radius value -inf makes disc -inf, never a candidate.
    // Padding squares: zero edges make det 0, never a hit.
    const float none = -std::numeric_limits<float>::infinity();
    scene.sphere_group.assign(sg, {splat(0.0f), splat(0.0f), splat(0.0f), splat(none)});
    const ray_vf zero = splat(0.0f);
    scene.square_group.assign(qg, {zero, zero, zero, zero, zero, zero, zero, zero, zero});
    for (int i = 0; i < spheres; ++i) {
        const ray_sphere &s = scene.spheres[i];
        ray_sphere_group &group = scene.sphere_group[i / RAY_LANES];
        const int lane = i % RAY_LANES;
        group.x[lane] = s.centre.x;
        group.y[lane] = s.centre.y;
        group.z[lane] = s.centre.z;
        group.r[lane] = s.radius;
    }
    const int lights = static_cast<int>(scene.lights.size());
    scene.light_groups = (lights + RAY_LANES - 1) / RAY_LANES;
    scene.light_group.assign(static_cast<std::size_t>(scene.light_groups), {zero, zero, zero});
    for (int i = 0; i < lights; ++i) {
        ray_light_group &group = scene.light_group[i / RAY_LANES];
        const int lane = i % RAY_LANES;
        group.x[lane] = scene.lights[i].position.x;
        group.y[lane] = scene.lights[i].position.y;
        group.z[lane] = scene.lights[i].position.z;
    }
    scene.fast_squares.clear();
    for (int i = 0; i < squares; ++i) {
        const ray_square &q = scene.squares[i];
        ray_square_fast f;
        f.p0 = q.p0;
        rayvec_sub(&f.e1, &q.p0, &q.p1);
        rayvec_sub(&f.e2, &q.p0, &q.p2);
        const rayvec &e1 = f.e1, &e2 = f.e2;
        const rayvec n = {e1.y * e2.z - e2.y * e1.z, -(e1.x * e2.z - e2.x * e1.z),
                          e1.x * e2.y - e2.x * e1.y};
        rayvec_norm(&f.normal, &n);
        scene.fast_squares.push_back(f);
        ray_square_group &group = scene.square_group[i / RAY_LANES];
        const int lane = i % RAY_LANES;
        group.px[lane] = f.p0.x;
        group.py[lane] = f.p0.y;
        group.pz[lane] = f.p0.z;
        group.e1x[lane] = e1.x;
        group.e1y[lane] = e1.y;
        group.e1z[lane] = e1.z;
        group.e2x[lane] = e2.x;
        group.e2y[lane] = e2.y;
        group.e2z[lane] = e2.z;
    }
}

RAY_LANE_CODE void ray_origin_set(const ray_scene &scene, ray_origin &o, const rayvec &point) {
    o.point = point;
    const std::size_t sg = static_cast<std::size_t>(scene.sphere_groups);
    const std::size_t qg = static_cast<std::size_t>(scene.square_groups);
    if (o.spheres.size() != sg)
        o.spheres.resize(sg);
    if (o.squares.size() != qg)
        o.squares.resize(qg);
    const ray_vf px = splat(point.x), py = splat(point.y), pz = splat(point.z);
    for (std::size_t g = 0; g < sg; ++g) {
        const ray_sphere_group &s = scene.sphere_group[g];
        ray_sphere_from &f = o.spheres[g];
        f.ox = px - s.x;
        f.oy = py - s.y;
        f.oz = pz - s.z;
        const ray_vf c = f.ox * f.ox + f.oy * f.oy + f.oz * f.oz;
        f.k = splat(4.0f) * (c - s.r);
    }
    for (std::size_t g = 0; g < qg; ++g) {
        const ray_square_group &q = scene.square_group[g];
        ray_square_from &f = o.squares[g];
        const ray_vf wx = q.px - px, wy = q.py - py, wz = q.pz - pz;
        f.wx = wx;
        f.wy = wy;
        f.wz = wz;
        f.tn = q.e1x * (q.e2y * wz - wy * q.e2z) - q.e1y * (q.e2x * wz - wx * q.e2z) +
               q.e1z * (q.e2x * wy - wx * q.e2y);
    }
}

RAY_LANE_CODE void ray_origin_lights(const ray_scene &scene, ray_origin &o, const rayvec &n) {
    const std::size_t groups = static_cast<std::size_t>(scene.light_groups);
    if (o.lights.size() != groups)
        o.lights.resize(groups);
    const ray_vf px = splat(o.point.x), py = splat(o.point.y), pz = splat(o.point.z);
    const ray_vf nx = splat(n.x), ny = splat(n.y), nz = splat(n.z);
    for (std::size_t g = 0; g < groups; ++g) {
        const ray_light_group &light = scene.light_group[g];
        ray_light_from &f = o.lights[g];
        // norm(light - point), then its dot product with the normal.
        const ray_vf x = light.x - px, y = light.y - py, z = light.z - pz;
        const ray_vf length = sqrt_lanes(x * x + y * y + z * z);
        f.x = x / length;
        f.y = y / length;
        f.z = z / length;
        f.d = nx * f.x + ny * f.y + nz * f.z;
    }
}

void ray_prepare_primary(ray_scene &scene, const rayvec &eye) {
    ray_origin_set(scene, scene.primary, eye);
}

bool ray_sphere_intersect(const ray_scene &scene, int object, const ray_ray &ray, ray_hit &hit) {
    const ray_sphere &s = scene.spheres[scene.objects[object].shape];
    float t;
    if (!sphere_distance(s, ray, t))
        return false;
    sphere_hit(s, ray.origin, ray.direction, t, object, hit);
    return true;
}

bool ray_square_intersect(const ray_scene &scene, int object, const ray_ray &ray, ray_hit &hit) {
    const ray_square_fast &q = scene.fast_squares[scene.objects[object].shape];
    rayvec w;
    rayvec_sub(&w, &q.p0, &ray.origin);
    float t;
    if (!square_solve(q, w, ray.direction, t))
        return false;
    hit.t = t;
    hit.normal = q.normal;
    hit.object = object;
    return true;
}

// One object at a time through each object's own test.
int ray_intersect(const ray_scene &scene, const ray_ray &ray, ray_hit &hit) {
    for (int i = static_cast<int>(scene.objects.size()) - 1; i >= 0; --i)
        if (i != ray.ignore && scene.objects[i].intersect(scene, i, ray, hit))
            return i;
    return -1;
}

RAY_LANE_CODE int ray_intersect_from(const ray_scene &scene, const ray_origin &o, const rayvec &d,
                                     int ignore, ray_hit &hit) {
    const int spheres = sphere_count(scene);
    const ray_vf dx = splat(d.x), dy = splat(d.y), dz = splat(d.z);
    for (int g = scene.square_groups - 1; g >= 0; --g) {
        ray_vf t;
        const int lanes =
            without(square_lanes(scene, o, g, dx, dy, dz, t), spheres + RAY_LANES * g, ignore);
        if (lanes) {
            const int lane = highest_lane(lanes);
            hit.t = t[lane];
            hit.normal = scene.fast_squares[RAY_LANES * g + lane].normal;
            hit.object = spheres + RAY_LANES * g + lane;
            return hit.object;
        }
    }
    return spheres_walk<false>(scene, o, d, ignore, hit);
}

RAY_LANE_CODE bool ray_blocked_from(const ray_scene &scene, const ray_origin &o, const rayvec &d,
                                    int ignore, int *last) {
    if (last && *last >= 0 && *last != ignore && object_blocks(scene, o, d, *last))
        return true;
    const int spheres = sphere_count(scene);
    const ray_vf dx = splat(d.x), dy = splat(d.y), dz = splat(d.z);
    for (int g = scene.square_groups - 1; g >= 0; --g) {
        ray_vf t;
        const int lanes =
            without(square_lanes(scene, o, g, dx, dy, dz, t), spheres + RAY_LANES * g, ignore);
        if (lanes) {
            if (last)
                *last = spheres + RAY_LANES * g + highest_lane(lanes);
            return true;
        }
    }
    ray_hit hit;
    const int object = spheres_walk<true>(scene, o, d, ignore, hit);
    if (object < 0)
        return false;
    if (last)
        *last = object;
    return true;
}

// Sized once, so that tracing never allocates (nor throws) in a worker.
void ray_workspace::reserve(const ray_scene &scene) {
    kinds = static_cast<int>(scene.lights.size()) + 2;
    blockers.assign(2 * static_cast<std::size_t>(kinds), -1);
    for (ray_origin &o : points) {
        o.spheres.resize(static_cast<std::size_t>(scene.sphere_groups));
        o.squares.resize(static_cast<std::size_t>(scene.square_groups));
        o.lights.resize(static_cast<std::size_t>(scene.light_groups));
    }
}

void ray_fast_sqrt_lanes(const ray_vf &x, ray_vf &root) {
    root = fast_sqrt_lanes(x);
}

void ray_background(const ray_context &context, const ray_ray &ray, raycolor &colour) {
    const ray_scene &scene = *context.scene;
    float f;
    switch (scene.background_mode) {
    case 1:
        f = ray.direction.x;
        break;
    case 2:
        f = ray.direction.y;
        break;
    case 3:
        f = ray.direction.z;
        break;
    case 4: {
        // The textured background at the current pixel, whatever the ray.
        if (!scene.background_bitmap) {
            colour = {0.0f, 0.0f, 0.0f};
            return;
        }
        const std::uint8_t *p = scene.background_bitmap->bits + scene.background_row[context.row] +
                                scene.background_column[context.column];
        colour.r = static_cast<float>(p[0] / 255.0);
        colour.g = static_cast<float>(p[1] / 255.0);
        colour.b = static_cast<float>(p[2] / 255.0);
        return;
    }
    default:
        colour = scene.background;
        return;
    }
    if (f > 0) {
        colour = scene.background;
        return;
    }
    const raycolor &bg = scene.background;
    const float grey = static_cast<float>((bg.r + bg.g + bg.b) / 3.0 - f * 0.8);
    colour = {grey, grey, grey};
}

namespace {

// A secondary ray from the origin's point: traced at depth 1, or only
// looked along at depth 2, where any hit is shaded black (`kind` picks the
// remembered blocker).
void trace_from(const ray_context &context, const ray_origin &from, const ray_ray &ray, int depth,
                int kind, raycolor &colour) {
    const ray_scene &scene = *context.scene;
    if (depth > 1) {
        int *last = context.work ? context.work->blocker(depth - 1, kind) : nullptr;
        if (ray_blocked_from(scene, from, ray.direction, ray.ignore, last))
            colour = {0.0f, 0.0f, 0.0f};
        else
            ray_background(context, ray, colour);
        return;
    }
    ray_hit hit;
    if (ray_intersect_from(scene, from, ray.direction, ray.ignore, hit) >= 0)
        ray_shade(context, hit, ray, depth, colour);
    else
        ray_background(context, ray, colour);
}

} // namespace

void ray_shade(const ray_context &context, const ray_hit &hit, const ray_ray &ray, int depth,
               raycolor &colour) {
    if (depth > 1) {
        colour = {0.0f, 0.0f, 0.0f};
        return;
    }
    const ray_scene &scene = *context.scene;
    const ray_material &m = scene.objects[hit.object].material;
    const rayvec &n = hit.normal;
    const rayvec &d = ray.direction;
    colour = m.ambient;
    rayvec p;
    rayvec_product2(&p, &d, hit.t);
    rayvec_plus(&p, &ray.origin);
    // Every ray from here (shadows, reflection, refraction) shares p.
    ray_origin own;
    ray_origin &from = context.work ? context.work->points[depth] : own;
    ray_origin_set(scene, from, p);
    ray_origin_lights(scene, from, n);
    const int lights = static_cast<int>(scene.lights.size());

    for (int i = lights - 1; i >= 0; --i) {
        // l = norm(light - p), diffuse = n . l
        const ray_light_from &to = from.lights[i / RAY_LANES];
        const int lane = i % RAY_LANES;
        const float diffuse = to.d[lane];
        if (!(diffuse > 0))
            continue;
        const rayvec l = {to.x[lane], to.y[lane], to.z[lane]};
        // The shadow ray has no length: what lies behind the light shadows too.
        int *last = context.work ? context.work->blocker(depth, i) : nullptr;
        if (ray_blocked_from(scene, from, l, hit.object, last))
            continue;
        colour.r = colour.r + diffuse * m.diffuse.r;
        colour.g = colour.g + diffuse * m.diffuse.g;
        colour.b = colour.b + diffuse * m.diffuse.b;
        rayvec r, twice;
        rayvec_product2(&twice, &n, 2.0f * diffuse);
        rayvec_sub(&r, &l, &twice);
        const float e = rayvec_dot(&r, &d);
        if (e < 0)
            continue;
        const float highlight = powf(e, m.width);
        colour.r = colour.r + highlight * m.specular.r;
        colour.g = colour.g + highlight * m.specular.g;
        colour.b = colour.b + highlight * m.specular.b;
    }

    // Reflection, whatever its strength.
    const float c = rayvec_dot(&n, &d);
    ray_ray reflected = {p, {}, m.refl_diff, hit.object};
    rayvec twice;
    rayvec_product2(&twice, &n, 2.0f * c);
    rayvec_sub(&reflected.direction, &d, &twice);
    raycolor traced;
    trace_from(context, from, reflected, depth + 1, lights, traced);
    colour.r = colour.r + traced.r * m.refl.r * m.refl_index;
    colour.g = colour.g + traced.g * m.refl.g * m.refl_index;
    colour.b = colour.b + traced.b * m.refl.b * m.refl_index;

    // Refraction; leaving the object (c >= 0) inverts the index.
    float index = m.index;
    if (c >= 0)
        index = 1.0f / index;
    const float k = 1.0f - (1.0f - c * c) / (index * index);
    if (k < 0)
        return; // total internal reflection
    const float root = ray_fast_sqrt(k);
    const float along = c >= 0 ? -c / index + root : -c / index - root;
    ray_ray refracted = {p, {}, m.refr_diff, hit.object};
    rayvec bent;
    rayvec_product2(&refracted.direction, &n, along);
    rayvec_product2(&bent, &d, 1.0f / index);
    rayvec_plus(&refracted.direction, &bent);
    const rayvec &t = refracted.direction;
    if (t.x == 0 && t.y == 0 && t.z == 0)
        return;
    trace_from(context, from, refracted, depth + 1, lights + 1, traced);
    colour.r = colour.r + traced.r * m.refr.r * m.refr_index;
    colour.g = colour.g + traced.g * m.refr.g * m.refr_index;
    colour.b = colour.b + traced.b * m.refr.b * m.refr_index;
}

void ray_trace(const ray_context &context, const ray_ray &ray, int depth, raycolor &colour) {
    ray_hit hit;
    if (ray_intersect(context.scene[0], ray, hit) >= 0)
        ray_shade(context, hit, ray, depth, colour);
    else
        ray_background(context, ray, colour);
}
