// The raytracer's shared parts: what the driver unit (raytrace.cpp: scene
// set-up, pixel loop, driver record) and the tracing unit (rayinter.cpp:
// background, intersection tests, shading, light placement, materials) both
// use.
//
// All geometry and colour arithmetic is single precision, and every float
// operation is written out in the one order the pictures were made with:
// the build never contracts a*b+c and never reassociates, so a seed gives the
// same bytes on every build, machine and thread count.  The vector helpers
// are inline here because both units call them in their inner loops.
//
// Ownership: the scene owns its objects, shapes, lights and the background
// bitmap for one run; `ray_scene_clear` releases them.  The scene is filled
// before any worker starts and only read while rows are traced; what changes
// per pixel (the current column and row, read by the background) lives in a
// `ray_context` of each worker.
#pragma once

#include "gfx/2d/bitmap/effects/bitmapfx.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

struct bitmap;

// ---------------------------------------------------------------- vectors

struct rayvec {
    float x, y, z;
};

inline rayvec *rayvec_add(rayvec *d, const rayvec *a, const rayvec *b) {
    d->x = a->x + b->x;
    d->y = a->y + b->y;
    d->z = a->z + b->z;
    return d;
}
inline rayvec *rayvec_plus(rayvec *d, const rayvec *a) {
    d->x = d->x + a->x;
    d->y = d->y + a->y;
    d->z = d->z + a->z;
    return d;
}
inline rayvec *rayvec_min(rayvec *d, const rayvec *a) {
    d->x = d->x - a->x;
    d->y = d->y - a->y;
    d->z = d->z - a->z;
    return d;
}
inline rayvec *rayvec_sub(rayvec *d, const rayvec *a, const rayvec *b) {
    d->x = a->x - b->x;
    d->y = a->y - b->y;
    d->z = a->z - b->z;
    return d;
}
inline rayvec *rayvec_neg(rayvec *d, const rayvec *a) {
    d->x = -a->x;
    d->y = -a->y;
    d->z = -a->z;
    return d;
}
inline rayvec *rayvec_product(rayvec *d, float s) {
    d->x = d->x * s;
    d->y = d->y * s;
    d->z = d->z * s;
    return d;
}
inline rayvec *rayvec_product2(rayvec *d, const rayvec *a, float s) {
    d->x = a->x * s;
    d->y = a->y * s;
    d->z = a->z * s;
    return d;
}
inline float rayvec_dot(const rayvec *a, const rayvec *b) {
    return a->x * b->x + a->y * b->y + a->z * b->z;
}
inline rayvec *rayvec_cross(rayvec *d, const rayvec *a, const rayvec *b) {
    const rayvec r = {a->y * b->z - a->z * b->y, a->z * b->x - a->x * b->z,
                      a->x * b->y - a->y * b->x};
    *d = r;
    return d;
}
// a / |a|: each component divided by the root of the squared length (a true
// root here; only the intersection and refraction roots are the fast one).
inline rayvec *rayvec_norm(rayvec *d, const rayvec *a) {
    const float length = sqrtf(rayvec_dot(a, a));
    d->x = a->x / length;
    d->y = a->y / length;
    d->z = a->z / length;
    return d;
}
inline rayvec *rayvec_copy(rayvec *d, const rayvec *a) {
    *d = *a;
    return d;
}

// ---------------------------------------------------------------- scene

struct raycolor {
    float r, g, b;
};

// `ignore` is the index of the object the ray leaves from, -1 for none.
// `tag` is carried from the light or material that spawned the ray.
struct ray_ray {
    rayvec origin;
    rayvec direction;
    float tag;
    int ignore;
};

struct ray_hit {
    float t;
    rayvec normal;
    int object;
};

struct ray_material {
    float refl_index, refr_index;
    raycolor refl, refr;
    float refl_diff, refr_diff; // spread angles in radians: carried as tags only
    raycolor ambient, diffuse, specular;
    float width; // specular exponent
    float index; // index of refraction
};

// The fourth value is used directly where the squared radius would stand
// (the visible radius is its root): the scene ranges were tuned so.
struct ray_sphere {
    rayvec centre;
    float radius;
};

// The parallelogram p0 - u (p0 - p1) - v (p0 - p2), u and v in [0, 1].
struct ray_square {
    rayvec p0, p1, p2;
};

struct ray_light {
    rayvec position;
    float angle; // drawn, never used by the shading
};

struct ray_scene;
struct ray_context;

// One object's intersection test: true and the hit (t, unit normal, object)
// when the ray meets it in front of its origin.
using ray_intersect_fn = bool (*)(const ray_scene &scene, int object, const ray_ray &ray,
                                  ray_hit &hit);

enum : int { RAY_SPHERE = 0, RAY_SQUARE = 1 };

struct ray_object {
    int kind;  // RAY_SPHERE or RAY_SQUARE
    int shape; // index into the scene's spheres or squares
    ray_intersect_fn intersect;
    ray_material material;
};

// A square with what does not depend on the ray worked out once.
struct ray_square_fast {
    rayvec p0;
    rayvec e1, e2; // p0 - p1, p0 - p2
    rayvec normal; // norm(e1 x e2)
};

// One float per object: the inner loops test RAY_LANES spheres or squares
// at once, every lane doing exactly the operations of the one-object test.
// Where the processor has them, the loops run on 8-float registers (the
// functions are built twice and picked at start); elsewhere each operation
// takes two 4-float steps.  The alignment is stated: without it the
// baseline build would align the type for its own registers only.
inline constexpr int RAY_LANES = 8;
typedef float ray_vf __attribute__((vector_size(4 * RAY_LANES), aligned(4 * RAY_LANES)));

// RAY_LANES spheres or squares of the scene, lane i of group g holding
// object RAY_LANES g + i of its kind.
struct ray_sphere_group {
    ray_vf x, y, z, r; // centre, radius value
};
struct ray_square_group {
    ray_vf px, py, pz;    // p0
    ray_vf e1x, e1y, e1z; // p0 - p1
    ray_vf e2x, e2y, e2z; // p0 - p2
};

// What every ray leaving one point shares: per sphere, point - centre and
// 4 (|point - centre|^2 - radius); per square, w = p0 - point and the
// numerator of t.  Filled once per point (the eye, a hit point) and used by
// all the rays that leave it.
struct ray_sphere_from {
    ray_vf ox, oy, oz, k;
};
struct ray_square_from {
    ray_vf wx, wy, wz, tn;
};
// From a hit point: the unit direction to each light and its dot product
// with the surface normal, RAY_LANES lights to a group.
struct ray_light_from {
    ray_vf x, y, z, d;
};

// Workers write their scratch for every ray.  Blocks that share a cache line
// with another worker's scratch make the cores steal the line from each
// other at every write (measured: a third of the two-thread speed), so
// scratch lives in whole cache lines of its own.
constexpr std::size_t RAY_CACHE_LINE = 64;
template <class T> struct ray_line_allocator {
    using value_type = T;
    ray_line_allocator() = default;
    template <class U> ray_line_allocator(const ray_line_allocator<U> &) {}
    static std::size_t whole_lines(std::size_t n) {
        return (n * sizeof(T) + RAY_CACHE_LINE - 1) / RAY_CACHE_LINE * RAY_CACHE_LINE;
    }
    T *allocate(std::size_t n) {
        return static_cast<T *>(::operator new(whole_lines(n), std::align_val_t(RAY_CACHE_LINE)));
    }
    // The unsized form: clang only declares sized deallocation on request.
    void deallocate(T *p, std::size_t) { ::operator delete(p, std::align_val_t(RAY_CACHE_LINE)); }
    template <class U> bool operator==(const ray_line_allocator<U> &) const { return true; }
};
template <class T> using ray_scratch = std::vector<T, ray_line_allocator<T>>;

struct ray_origin {
    rayvec point{};
    ray_scratch<ray_sphere_from> spheres;
    ray_scratch<ray_square_from> squares;
    ray_scratch<ray_light_from> lights;
};
struct ray_light_group {
    ray_vf x, y, z;
};

struct ray_scene {
    int width = 0, height = 0;
    rayvec right{}, up{}, view{}, eye{}, up_hint{};
    float fov_scale = 0;
    int background_mode = 0; // 0 .. 4
    raycolor background{};
    // Mode 4: the textured background (owned) and where each picture column
    // and row reads it (the background may come back in another size).
    bitmap *background_bitmap = nullptr;
    std::vector<std::size_t> background_column, background_row;
    std::vector<ray_light> lights;
    std::vector<ray_object> objects; // spheres first, then squares
    std::vector<ray_sphere> spheres;
    std::vector<ray_square> squares;

    // Flat copies for the inner loops (ray_prepare), RAY_LANES objects to a
    // group; padding lanes never hit.
    int sphere_groups = 0, square_groups = 0, light_groups = 0;
    std::vector<ray_light_group> light_group;
    std::vector<ray_sphere_group> sphere_group;
    std::vector<ray_square_group> square_group;
    std::vector<ray_square_fast> fast_squares;

    // The eye of the current pass (ray_prepare_primary).
    ray_origin primary;
};

// A worker's own scratch: the shared values of its hit points of depth 0
// and 1, and for every kind of blocked-or-not ray (per depth: one a light,
// then the depth-2 reflection and refraction) the object that blocked the
// last one.  That object is tried first: neighbouring pixels are mostly
// blocked by the same object, and whether a ray is blocked does not depend
// on the order of the tests.
struct alignas(RAY_CACHE_LINE) ray_workspace {
    ray_origin points[2];
    ray_scratch<int> blockers;
    int kinds = 0; // slots per depth
    void reserve(const ray_scene &scene);
    int *blocker(int depth, int kind) { return &blockers[depth * kinds + kind]; }
};

// What changes per pixel while a worker traces a row, and the worker's own
// scratch (null: made when needed).
struct ray_context {
    const ray_scene *scene;
    int column, row;
    ray_workspace *work;
};

// ---------------------------------------------------------------- parameters

// The driver's stored parameters (the parameter table points into one
// instance); doubles and ints as stored, narrowed to float where used.
struct ray_parameters {
    std::int32_t lights, spheres, squares;
    double fov;
    std::int32_t anaglyph;
    double focal_space;
    double light_minx, light_maxx, light_miny, light_maxy, light_minz, light_maxz;
    double light_mina, light_maxa;
    double sphere_minx, sphere_maxx, sphere_miny, sphere_maxy, sphere_minz, sphere_maxz;
    double sphere_minr, sphere_maxr;
    double quad_dist, quad_zdist;
    rgbscalar color_min_bg, color_max_bg;
    rgbscalar color_min_amb, color_max_amb;
    rgbscalar color_min_diff, color_max_diff;
    rgbscalar color_min_spec, color_max_spec;
    rgbscalar color_min_refl, color_max_refl;
    rgbscalar color_min_refr, color_max_refr;
    double color_min_refl_index, color_max_refl_index;
    double color_min_refr_index, color_max_refr_index;
    double color_min_refl_diff, color_max_refl_diff;
    double color_min_refr_diff, color_max_refr_diff;
    double color_min_width, color_max_width;
    double color_min_index, color_max_index;
};

// The 44 effects the textured background picks from, in their fixed order
// (the order decides which effect a seed selects).
inline constexpr int RAY_RANDOM_FX_COUNT = 44;
extern const char *const random_fx[RAY_RANDOM_FX_COUNT];

// A float drawn from [min, max]: both bounds as floats, the result stored as
// a float.
float ray_draw(float min, float max);

// ---------------------------------------------------------------- rayinter.cpp

// Chooses the object's intersection test by its kind (an unknown kind is an
// assertion failure).
void ray_intersect_setup(ray_object &object);
// Draws the object's material from the parameter ranges.
void set_color(ray_object &object, const ray_parameters &parameters);
// Fills the light array: light 0 at the eye, the others drawn around it
// from the last to the second.
void add_lights(ray_scene &scene, const ray_parameters &parameters);

// Builds the flat copies once the objects are drawn.
void ray_prepare(ray_scene &scene);
// Fills what the rays leaving `point` share.
void ray_origin_set(const ray_scene &scene, ray_origin &origin, const rayvec &point);
// Fills the directions to the lights from the origin's point, and their dot
// products with the normal there.
void ray_origin_lights(const ray_scene &scene, ray_origin &origin, const rayvec &normal);
// The eye of a pass: scene.primary.
void ray_prepare_primary(ray_scene &scene, const rayvec &eye);

// The table-driven square root of the library's fast math, inline, and
// for RAY_LANES values at once.  Same bits as xmath_fast_sqrt for every
// input.
float ray_fast_sqrt(float x);
void ray_fast_sqrt_lanes(const ray_vf &x, ray_vf &root);

bool ray_sphere_intersect(const ray_scene &scene, int object, const ray_ray &ray, ray_hit &hit);
bool ray_square_intersect(const ray_scene &scene, int object, const ray_ray &ray, ray_hit &hit);
// The first object, walking from the last to the first, that the ray hits
// (never its ignored object): its index with `hit` filled, or -1.  Not the
// nearest: the highest index wins where several lie on the ray.
int ray_intersect(const ray_scene &scene, const ray_ray &ray, ray_hit &hit);
// The same for a ray from origin.point in direction d, from the shared
// values of the origin.
int ray_intersect_from(const ray_scene &scene, const ray_origin &origin, const rayvec &d,
                       int ignore, ray_hit &hit);
// Whether any object but `ignore` lies on the ray (which one does not
// matter: shadow rays, and rays whose hit would be shaded black).  With
// `last`, the object it holds is tested first and the blocking object is
// stored there.
bool ray_blocked_from(const ray_scene &scene, const ray_origin &origin, const rayvec &d, int ignore,
                      int *last = nullptr);
void ray_background(const ray_context &context, const ray_ray &ray, raycolor &colour);
void ray_shade(const ray_context &context, const ray_hit &hit, const ray_ray &ray, int depth,
               raycolor &colour);
void ray_trace(const ray_context &context, const ray_ray &ray, int depth, raycolor &colour);

// ---------------------------------------------------------------- raytrace.cpp

// Draws the scene for a picture of `target`'s size (ray_init of the
// driver).  False when a needed effect is missing (after the error).
bool ray_init(ray_scene &scene, bitmap *target, const ray_parameters &parameters);
// Frees the background and empties the scene.
void ray_scene_clear(ray_scene &scene);

// The number of threads tracing rows: set by raytrace_set_threads, else the
// key "threads" under "*.raytrace" in the configuration, where 0 or no value
// means one per core.
int raytrace_threads();
// Fixes the thread count for the following runs (0: back to the
// configuration).  For tests and benchmarks.
void raytrace_set_threads(int count);
