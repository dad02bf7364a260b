// The raytracer's tracing half: background, the sphere and square tests,
// the intersection walk, shading, light placement and materials.
//
// Every float operation below is the one the pictures were made with, in the
// same order; where work is shared or done four spheres at a time, each lane
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
#include <limits>

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/ray/rayinter.c";
static constexpr const char *source_ident = "bitmapfx::raytrace::shading";

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

ray_v4f splat(float value) {
    return ray_v4f{value, value, value, value};
}

// Bit i set when lane i of the comparison is true.
int lane_bits(ray_v4f less_than_zero) {
#if defined(__SSE__)
    return _mm_movemask_ps(less_than_zero);
#else
    int bits = 0;
    for (int lane = 0; lane < 4; ++lane)
        bits |= (std::bit_cast<std::array<std::uint32_t, 4>>(less_than_zero)[lane] >> 31) << lane;
    return bits;
#endif
}

// The lanes that may hit: not (disc < 0), so that a NaN goes on to the
// scalar test as it would without the filter.
int sphere_candidates(ray_v4f disc) {
    return ~lane_bits(std::bit_cast<ray_v4f>(disc < splat(0.0f))) & 0xf;
}

// The square's determinants expanded along the first column.  With
// w = p0 - origin the parameters solve u e1 + v e2 + t d = w; `tnum` is the
// numerator of t when the caller has it already (primary rays), else null.
bool square_solve(const ray_square_fast &q, const rayvec &w, const float *tnum, const rayvec &d,
                  float &t) {
    const rayvec &e1 = q.e1, &e2 = q.e2;
    const float m1 = e2.y * d.z - d.y * e2.z;
    const float m2 = e2.x * d.z - d.x * e2.z;
    const float m3 = e2.x * d.y - d.x * e2.y;
    const float det = e1.x * m1 - e1.y * m2 + e1.z * m3;
    if (std::fabs(static_cast<double>(det)) < 1e-05)
        return false;
    const float numerator = tnum ? *tnum
                                 : e1.x * (e2.y * w.z - w.y * e2.z) -
                                       e1.y * (e2.x * w.z - w.x * e2.z) +
                                       e1.z * (e2.x * w.y - w.x * e2.y);
    const float tt = numerator / det;
    if (!(tt > 0))
        return false;
    const float u = (w.x * m1 - w.y * m2 + w.z * m3) / det;
    if (!(u >= 0 && u <= 1))
        return false;
    const float n1 = w.y * d.z - d.y * w.z;
    const float n2 = w.x * d.z - d.x * w.z;
    const float n3 = w.x * d.y - d.x * w.y;
    const float v = (e1.x * n1 - e1.y * n2 + e1.z * n3) / det;
    if (!(v >= 0 && v <= 1))
        return false;
    t = tt;
    return true;
}

float square_numerator(const ray_square_fast &q, const rayvec &w) {
    const rayvec &e1 = q.e1, &e2 = q.e2;
    return e1.x * (e2.y * w.z - w.y * e2.z) - e1.y * (e2.x * w.z - w.x * e2.z) +
           e1.z * (e2.x * w.y - w.x * e2.y);
}

int sphere_count(const ray_scene &scene) {
    return static_cast<int>(scene.spheres.size());
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

// Spheres from the last to the first: the disc of four at a time, then the
// whole scalar test for each lane that may hit, highest lane first.  `any`
// only asks whether something is hit (no normal).
template <bool any> int spheres_walk(const ray_scene &scene, const ray_ray &ray, ray_hit &hit) {
    const ray_v4f ox = splat(ray.origin.x), oy = splat(ray.origin.y), oz = splat(ray.origin.z);
    const ray_v4f dx = splat(ray.direction.x), dy = splat(ray.direction.y),
                  dz = splat(ray.direction.z);
    const int count = sphere_count(scene);
    for (int g = scene.sphere_groups - 1; g >= 0; --g) {
        const ray_v4f ocx = ox - scene.sx[g], ocy = oy - scene.sy[g], ocz = oz - scene.sz[g];
        const ray_v4f b = dx * ocx + dy * ocy + dz * ocz;
        const ray_v4f bb = splat(2.0f) * b;
        const ray_v4f c = ocx * ocx + ocy * ocy + ocz * ocz;
        const ray_v4f disc = bb * bb - splat(4.0f) * (c - scene.sr[g]);
        int lanes = sphere_candidates(disc);
        while (lanes) {
            const int lane = 31 - __builtin_clz(static_cast<unsigned>(lanes));
            lanes &= ~(1 << lane);
            const int object = g * 4 + lane;
            if (object >= count || object == ray.ignore)
                continue;
            if (any ? sphere_distance(scene.spheres[object], ray, hit.t)
                    : ray_sphere_intersect(scene, object, ray, hit))
                return object;
        }
    }
    return -1;
}

// Any object at all on the ray (shadow rays, and rays whose hit would be
// shaded black): which one does not matter, so the walk stops at the first.
bool ray_blocked(const ray_scene &scene, const ray_ray &ray) {
    const int spheres = sphere_count(scene);
    for (int q = static_cast<int>(scene.fast_squares.size()) - 1; q >= 0; --q) {
        if (spheres + q == ray.ignore)
            continue;
        const ray_square_fast &square = scene.fast_squares[q];
        rayvec w;
        rayvec_sub(&w, &square.p0, &ray.origin);
        float t;
        if (square_solve(square, w, nullptr, ray.direction, t))
            return true;
    }
    ray_hit hit;
    return spheres_walk<true>(scene, ray, hit) >= 0;
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
    const int count = sphere_count(scene);
    scene.sphere_groups = (count + 3) / 4;
    const std::size_t groups = static_cast<std::size_t>(scene.sphere_groups);
    // Padding lanes: radius value -inf makes disc -inf, never a candidate.
    const float none = -std::numeric_limits<float>::infinity();
    scene.sx.assign(groups, splat(0.0f));
    scene.sy.assign(groups, splat(0.0f));
    scene.sz.assign(groups, splat(0.0f));
    scene.sr.assign(groups, splat(none));
    for (int i = 0; i < count; ++i) {
        const ray_sphere &s = scene.spheres[i];
        scene.sx[i / 4][i % 4] = s.centre.x;
        scene.sy[i / 4][i % 4] = s.centre.y;
        scene.sz[i / 4][i % 4] = s.centre.z;
        scene.sr[i / 4][i % 4] = s.radius;
    }
    scene.fast_squares.clear();
    for (const ray_square &q : scene.squares) {
        ray_square_fast f;
        f.p0 = q.p0;
        rayvec_sub(&f.e1, &q.p0, &q.p1);
        rayvec_sub(&f.e2, &q.p0, &q.p2);
        const rayvec &e1 = f.e1, &e2 = f.e2;
        const rayvec n = {e1.y * e2.z - e2.y * e1.z, -(e1.x * e2.z - e2.x * e1.z),
                          e1.x * e2.y - e2.x * e1.y};
        rayvec_norm(&f.normal, &n);
        scene.fast_squares.push_back(f);
    }
}

void ray_prepare_primary(ray_scene &scene, const rayvec &eye) {
    scene.primary_origin = eye;
    const std::size_t groups = static_cast<std::size_t>(scene.sphere_groups);
    scene.px.resize(groups);
    scene.py.resize(groups);
    scene.pz.resize(groups);
    scene.pk.resize(groups);
    for (std::size_t g = 0; g < groups; ++g) {
        const ray_v4f ocx = splat(eye.x) - scene.sx[g], ocy = splat(eye.y) - scene.sy[g],
                      ocz = splat(eye.z) - scene.sz[g];
        scene.px[g] = ocx;
        scene.py[g] = ocy;
        scene.pz[g] = ocz;
        const ray_v4f c = ocx * ocx + ocy * ocy + ocz * ocz;
        scene.pk[g] = splat(4.0f) * (c - scene.sr[g]);
    }
    scene.square_w.clear();
    scene.square_tnum.clear();
    for (const ray_square_fast &q : scene.fast_squares) {
        rayvec w;
        rayvec_sub(&w, &q.p0, &eye);
        scene.square_w.push_back(w);
        scene.square_tnum.push_back(square_numerator(q, w));
    }
}

bool ray_sphere_intersect(const ray_scene &scene, int object, const ray_ray &ray, ray_hit &hit) {
    const ray_sphere &s = scene.spheres[scene.objects[object].shape];
    float t;
    if (!sphere_distance(s, ray, t))
        return false;
    rayvec p;
    rayvec_product2(&p, &ray.direction, t);
    rayvec_plus(&p, &ray.origin);
    rayvec_min(&p, &s.centre);
    rayvec_norm(&hit.normal, &p);
    hit.t = t;
    hit.object = object;
    return true;
}

bool ray_square_intersect(const ray_scene &scene, int object, const ray_ray &ray, ray_hit &hit) {
    const ray_square_fast &q = scene.fast_squares[scene.objects[object].shape];
    rayvec w;
    rayvec_sub(&w, &q.p0, &ray.origin);
    float t;
    if (!square_solve(q, w, nullptr, ray.direction, t))
        return false;
    hit.t = t;
    hit.normal = q.normal;
    hit.object = object;
    return true;
}

int ray_intersect(const ray_scene &scene, const ray_ray &ray, ray_hit &hit) {
    const int spheres = sphere_count(scene);
    for (int q = static_cast<int>(scene.fast_squares.size()) - 1; q >= 0; --q) {
        const int object = spheres + q;
        if (object != ray.ignore && ray_square_intersect(scene, object, ray, hit))
            return object;
    }
    return spheres_walk<false>(scene, ray, hit);
}

int ray_intersect_primary(const ray_scene &scene, const rayvec &d, ray_hit &hit) {
    const int spheres = sphere_count(scene);
    for (int q = static_cast<int>(scene.fast_squares.size()) - 1; q >= 0; --q) {
        const ray_square_fast &square = scene.fast_squares[q];
        float t;
        if (square_solve(square, scene.square_w[q], &scene.square_tnum[q], d, t)) {
            hit.t = t;
            hit.normal = square.normal;
            hit.object = spheres + q;
            return hit.object;
        }
    }
    const ray_v4f dx = splat(d.x), dy = splat(d.y), dz = splat(d.z);
    const ray_ray ray = {scene.primary_origin, d, 0.0f, -1};
    for (int g = scene.sphere_groups - 1; g >= 0; --g) {
        const ray_v4f b = dx * scene.px[g] + dy * scene.py[g] + dz * scene.pz[g];
        const ray_v4f bb = splat(2.0f) * b;
        const ray_v4f disc = bb * bb - scene.pk[g];
        int lanes = sphere_candidates(disc);
        while (lanes) {
            const int lane = 31 - __builtin_clz(static_cast<unsigned>(lanes));
            lanes &= ~(1 << lane);
            const int object = g * 4 + lane;
            if (object < spheres && ray_sphere_intersect(scene, object, ray, hit))
                return object;
        }
    }
    return -1;
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

    for (int i = static_cast<int>(scene.lights.size()) - 1; i >= 0; --i) {
        const ray_light &light = scene.lights[i];
        rayvec l;
        rayvec_sub(&l, &light.position, &p);
        rayvec_norm(&l, &l);
        const float diffuse = rayvec_dot(&n, &l);
        if (!(diffuse > 0))
            continue;
        const ray_ray shadow = {p, l, light.angle, hit.object};
        if (ray_blocked(scene, shadow))
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
    ray_trace(context, reflected, depth + 1, traced);
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
    ray_trace(context, refracted, depth + 1, traced);
    colour.r = colour.r + traced.r * m.refr.r * m.refr_index;
    colour.g = colour.g + traced.g * m.refr.g * m.refr_index;
    colour.b = colour.b + traced.b * m.refr.b * m.refr_index;
}

void ray_trace(const ray_context &context, const ray_ray &ray, int depth, raycolor &colour) {
    const ray_scene &scene = *context.scene;
    if (depth > 1) {
        // Whatever is hit here is shaded black, so any hit will do.
        if (ray_blocked(scene, ray))
            colour = {0.0f, 0.0f, 0.0f};
        else
            ray_background(context, ray, colour);
        return;
    }
    ray_hit hit;
    if (ray_intersect(scene, ray, hit) >= 0)
        ray_shade(context, hit, ray, depth, colour);
    else
        ray_background(context, ray, colour);
}
