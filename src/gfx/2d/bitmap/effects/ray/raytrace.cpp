// "raytrace": one picture of a random scene of spheres, parallelograms and
// point lights, with shadows, reflection, refraction, one of five
// backgrounds and a lens flare on the brightest pixel.
//
// All random draws happen in ray_init, in one fixed order, before any row is
// traced; rows are then traced on every core.  A row's bytes depend on the
// scene alone, and each row keeps its own brightest pixel, combined in row
// order afterwards, so the picture (flare included) is the same at any
// thread count.  Workers only trace: progress is reported from the calling
// thread once per finished row.
#include "gfx/2d/bitmap/effects/ray/raytrace.h"

#include "core/dtype.h"
#include "core/message.h"
#include "core/progress.h"
#include "core/xstring.h"
#include "file/config.h"
#include "gfx/2d/bitmap/bitinfo.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "gfx/2d/bitmap/pixel.h"
#include "xmath/xrand.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <thread>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/ray/raytrace.c";
static constexpr const char *source_ident = "bitmapfx::raytrace";

const char *const random_fx[RAY_RANDOM_FX_COUNT] = {
    "whirl",
    "wave",
    "nova",
    "emboss",
    "filter",
    "motion-blur.linear",
    "motion-blur.radial",
    "motion-blur.zoom",
    "photo.negative",
    "photo.positive",
    "noise.fractal",
    "noise.random",
    "polar",
    "checker",
    "illusion",
    "rainbow",
    "blur.gaussian",
    "snow",
    "edge-detect",
    "color-block",
    "plasma.block",
    "flare.fast",
    "blur.random",
    "tiler",
    "tile.auto",
    "tile.rectangle",
    "plasma.tile",
    "protex.marble",
    "protex.agate",
    "protex.granite",
    "protex.planet",
    "protex.leopard",
    "protex.onion",
    "protex.sinus",
    "protex.zebra",
    "protex.horizontal-wood",
    "protex.vertical-wood",
    "protex.turbulent-wood",
    "protex.hetero-terrain",
    "protex.rigid-multi-fractal",
    "protex.hybrid-multi-fractal",
    "protex.multi-fractal",
    "protex.fbm",
    "protex.multi-color",
};

float ray_draw(float min, float max) {
    return static_cast<float>(xrand_fmm(min, max));
}

namespace {

constexpr const char *driver_name = "raytrace";
constexpr const char *driver_comment = "random recursive raytracing";

ray_parameters settings = {
    .lights = 4,
    .spheres = 16,
    .squares = 3,
    .fov = 40.0,
    .anaglyph = 0,
    .focal_space = 0.2,
    .light_minx = -10.0,
    .light_maxx = 10.0,
    .light_miny = -10.0,
    .light_maxy = 10.0,
    .light_minz = -10.0,
    .light_maxz = 10.0,
    .light_mina = -360.0,
    .light_maxa = 360.0,
    .sphere_minx = -3.0,
    .sphere_maxx = 3.0,
    .sphere_miny = -3.0,
    .sphere_maxy = 3.0,
    .sphere_minz = 0.0,
    .sphere_maxz = 4.0,
    .sphere_minr = 0.01,
    .sphere_maxr = 1.5,
    .quad_dist = 4.0,
    .quad_zdist = 2.0,
    .color_min_bg = {0.1, 0.1, 0.1},
    .color_max_bg = {0.4, 0.4, 0.4},
    .color_min_amb = {0.001, 0.001, 0.001},
    .color_max_amb = {0.15, 0.15, 0.15},
    .color_min_diff = {0.001, 0.001, 0.001},
    .color_max_diff = {0.35, 0.35, 0.35},
    .color_min_spec = {0.001, 0.001, 0.001},
    .color_max_spec = {0.55, 0.55, 0.55},
    .color_min_refl = {0.001, 0.001, 0.001},
    .color_max_refl = {0.95, 0.95, 0.95},
    .color_min_refr = {0.001, 0.001, 0.001},
    .color_max_refr = {0.75, 0.75, 0.75},
    .color_min_refl_index = 0.001,
    .color_max_refl_index = 1.0,
    .color_min_refr_index = 0.001,
    .color_max_refr_index = 0.55,
    .color_min_refl_diff = 0.01,
    .color_max_refl_diff = 1.0,
    .color_min_refr_diff = 0.01,
    .color_max_refr_diff = 1.0,
    .color_min_width = 79.0,
    .color_max_width = 80.0,
    .color_min_index = 1.0,
    .color_max_index = 40.0,
};

// The brightest pixel of the run (column and row -1 while none passed the
// threshold).
struct brightest_pixel {
    int column, row;
    float value;
};
brightest_pixel brightest = {-1, -1, 1.2f};

std::atomic<int> threads_override{0};

// Object counts beyond this are refused (clamped, with a warning): the
// scene's arrays and the draws grow with them.
constexpr std::int32_t max_objects = 1 << 16;

int clamped_count(std::int32_t value, const char *what) {
    if (value < 0)
        return 0;
    if (value > max_objects) {
        XWARNING("too many %s (%d), using %d", what, value, max_objects);
        return max_objects;
    }
    return value;
}

struct kill_bitmap {
    void operator()(bitmap *image) const { bitmap_kill(image); }
};
using owned_bitmap = std::unique_ptr<bitmap, kill_bitmap>;

// Mode 4: plasma clouds over the blank target, then one of the background
// effects over the clouds.  Returns the background (null after an error).
bitmap *textured_background(const bitmap *target) {
    bitmapfx_driver *plasma = bitmapfx_get_driver("plasma.standard");
    if (!plasma)
        return nullptr;
    bitmap *clouds = bitmapfx_simple(plasma, target);
    if (!clouds)
        return nullptr;
    owned_bitmap background(clouds);
    // The draw can give 0 .. 43 only; an index past the list keeps the
    // clouds as they are.
    const std::int32_t k = xrand_mm(0, RAY_RANDOM_FX_COUNT);
    if (k >= 0 && k < RAY_RANDOM_FX_COUNT) {
        bitmapfx_driver *effect = bitmapfx_get_driver(random_fx[k]);
        if (effect) {
            if (bitmapfx_is_subproc(effect, "rand"))
                bitmapfx_call(effect, "rand");
            bitmap *place = background.release();
            bitmapfx_simple2(effect, &place);
            background.reset(place);
        }
    }
    // The tracer reads three colour bytes a pixel.
    if (background && background->bpp != 24 && background->bpp != 32) {
        bitmap *place = background.release();
        bitmap_upgrade2(&place, 24);
        background.reset(place);
        if (background->bpp != 24)
            return nullptr;
    }
    return background.release();
}

// Where each picture column and row reads the background.  An effect may
// hand back a picture of another size (the tilers may): it is then read
// stretched over the picture by nearest neighbour, column x * bw / w and row
// y * bh / h, and never outside.
void map_background(ray_scene &scene) {
    const bitmap *bg = scene.background_bitmap;
    const std::uint64_t w = static_cast<std::uint64_t>(scene.width),
                        h = static_cast<std::uint64_t>(scene.height);
    const std::uint64_t bw = bg->xsize, bh = bg->ysize;
    const std::size_t channels = static_cast<std::size_t>(bitmap_channels(bg));
    const std::size_t stride = bitmap_rowstride(bg);
    scene.background_column.resize(w);
    scene.background_row.resize(h);
    for (std::uint64_t x = 0; x < w; ++x)
        scene.background_column[x] = static_cast<std::size_t>(x * bw / w) * channels;
    for (std::uint64_t y = 0; y < h; ++y)
        scene.background_row[y] = static_cast<std::size_t>(y * bh / h) * stride;
}

} // namespace

void ray_scene_clear(ray_scene &scene) {
    bitmap_kill(scene.background_bitmap);
    scene = ray_scene{};
}

bool ray_init(ray_scene &scene, bitmap *target, const ray_parameters &p) {
    for (int i = RAY_RANDOM_FX_COUNT - 1; i >= 0; --i)
        if (!bitmapfx_find_driver(random_fx[i])) {
            XERROR("bitmapfx driver '%s' not linked, needed by '%s'", random_fx[i], driver_name);
            return false;
        }

    const int spheres = clamped_count(p.spheres, "spheres");
    const int squares = clamped_count(p.squares, "squares");
    const int lights = clamped_count(p.lights, "lights");
    scene.objects.resize(static_cast<std::size_t>(spheres) + squares);
    scene.spheres.resize(static_cast<std::size_t>(spheres));
    scene.squares.resize(static_cast<std::size_t>(squares));
    scene.lights.resize(static_cast<std::size_t>(lights));
    scene.width = static_cast<int>(bitmap_xsize(target));
    scene.height = static_cast<int>(bitmap_ysize(target));

    scene.fov_scale =
        static_cast<float>(std::tan(p.fov * std::numbers::pi / 180.0) / std::sqrt(2.0));
    scene.eye = {1.0f, 0.0f, -2.0f};
    scene.view = {-0.5f, 0.0f, 1.0f};

    scene.up_hint.x = ray_draw(-360.0f, 360.0f);
    scene.up_hint.y = ray_draw(-360.0f, 360.0f);
    scene.up_hint.z = ray_draw(-360.0f, 360.0f);

    scene.background.r =
        ray_draw(static_cast<float>(p.color_min_bg.r), static_cast<float>(p.color_max_bg.r));
    scene.background.g =
        ray_draw(static_cast<float>(p.color_min_bg.g), static_cast<float>(p.color_max_bg.g));
    scene.background.b =
        ray_draw(static_cast<float>(p.color_min_bg.b), static_cast<float>(p.color_max_bg.b));

    const std::int32_t m = xrand_mm(0, 8);
    scene.background_mode = m == 0 ? 1 : m == 1 ? 2 : m == 2 ? 3 : 4;
    if (scene.background_mode == 4) {
        scene.background_bitmap = textured_background(target);
        if (scene.background_bitmap)
            map_background(scene);
    }

    const rayvec &eye = scene.eye;
    for (int i = 0; i < spheres; ++i) {
        ray_object &object = scene.objects[i];
        ray_sphere &s = scene.spheres[i];
        object.kind = RAY_SPHERE;
        object.shape = i;
        s.centre.x = ray_draw(eye.x + static_cast<float>(p.sphere_minx),
                              eye.x + static_cast<float>(p.sphere_maxx));
        s.centre.y = ray_draw(eye.y + static_cast<float>(p.sphere_miny),
                              eye.y + static_cast<float>(p.sphere_maxy));
        s.centre.z = ray_draw(eye.z + static_cast<float>(p.sphere_minz),
                              eye.z + static_cast<float>(p.sphere_maxz));
        s.radius = ray_draw(static_cast<float>(p.sphere_minr), static_cast<float>(p.sphere_maxr));
        set_color(object, p);
        ray_intersect_setup(object);
    }

    const float q = static_cast<float>(p.quad_dist);
    const float zc = eye.z + static_cast<float>(p.quad_zdist);
    for (int i = 0; i < squares; ++i) {
        ray_object &object = scene.objects[static_cast<std::size_t>(spheres) + i];
        ray_square &s = scene.squares[i];
        object.kind = RAY_SQUARE;
        object.shape = i;
        for (rayvec *point : {&s.p0, &s.p1, &s.p2}) {
            point->x = ray_draw(eye.x - q, eye.x + q);
            point->y = ray_draw(eye.y - q, eye.y + q);
            point->z = ray_draw(zc - q, zc + q);
        }
        set_color(object, p);
        ray_intersect_setup(object);
    }

    add_lights(scene, p);
    ray_prepare(scene);
    return true;
}

int raytrace_threads() {
    int count = threads_override.load();
    if (count <= 0 && config_active()) {
        const char *text = config_get("*.raytrace", "threads", 0, 0, nullptr);
        if (text)
            count = static_cast<int>(std::strtol(text, nullptr, 0));
    }
    if (count <= 0)
        count = fxkit::core_count();
    return std::clamp(count, 1, 256);
}

void raytrace_set_threads(int count) {
    threads_override.store(count);
}

namespace {

// One pass over the picture: the eye it looks from and the bytes it writes
// (bit c set: byte c of each pixel).
struct pass {
    rayvec eye;
    unsigned bytes;
};

// The brightest pixel of one row, found as the single pass would (strictly
// brighter than what came before, starting at the threshold).
struct row_best {
    int column;
    float value;
};

std::uint8_t channel_byte(float c) {
    const float level = c * 255;
    if (!(level <= 255))
        return 255;
    if (level >= 0) {
        // roundf (halves away from zero) of 0 .. 255: the fraction above the
        // whole part is exact in float.
        const int whole = static_cast<int>(level);
        return static_cast<std::uint8_t>(whole + (level - static_cast<float>(whole) >= 0.5f));
    }
    // Colours never go below 0 here; the wrap keeps a stray negative defined.
    const float rounded = std::max(roundf(level), -2147483648.0f);
    return static_cast<std::uint8_t>(static_cast<std::int32_t>(rounded));
}

class row_tracer {
  public:
    row_tracer(const ray_scene &scene, bitmap *target, const pass &plan, float threshold)
        : scene_(scene), plan_(plan), threshold_(threshold), bits_(target->bits),
          stride_(bitmap_rowstride(target)),
          channels_(static_cast<std::size_t>(bitmap_channels(target))) {
        // u and v run as float sums, u from -1 by 2/width along each row,
        // v from 1 down by 2/height, row after row.  The camera offsets
        // each column and row adds to the view are the same for every
        // pixel, so they are worked out once.
        const float s = scene.fov_scale;
        const float step_u = 2.0f / scene.width, step_v = 2.0f / scene.height;
        float u = -1.0f;
        columns_.resize(static_cast<std::size_t>(scene.width));
        for (rayvec &column : columns_) {
            rayvec offset;
            rayvec_product2(&offset, &scene.right, u * s);
            rayvec_add(&column, &scene.view, &offset);
            u = u + step_u;
        }
        float v = 1.0f;
        rows_.resize(static_cast<std::size_t>(scene.height));
        for (rayvec &row : rows_) {
            rayvec_product2(&row, &scene.up, v * s);
            v = v - step_v;
        }
    }

    // `work` is the worker's own scratch.
    row_best trace(int y, ray_workspace &work) const {
        row_best best = {-1, threshold_};
        ray_context context = {&scene_, 0, y, &work};
        std::uint8_t *out = bits_ + static_cast<std::size_t>(y) * stride_;
        for (int x = 0; x < scene_.width; ++x, out += channels_) {
            context.column = x;
            ray_ray ray = {plan_.eye, {}, 0.0f, -1};
            rayvec_add(&ray.direction, &columns_[x], &rows_[y]);
            rayvec_norm(&ray.direction, &ray.direction);
            raycolor colour;
            ray_hit hit;
            if (ray_intersect_from(scene_, scene_.primary, ray.direction, -1, hit) >= 0)
                ray_shade(context, hit, ray, 0, colour);
            else
                ray_background(context, ray, colour);
            const float brightness = colour.r + colour.g + colour.b;
            if (brightness > best.value)
                best = {x, brightness};
            if (plan_.bytes & 1u)
                out[0] = channel_byte(colour.r);
            if (plan_.bytes & 2u)
                out[1] = channel_byte(colour.g);
            if (plan_.bytes & 4u)
                out[2] = channel_byte(colour.b);
        }
        return best;
    }

    const ray_scene &scene() const { return scene_; }

  private:
    const ray_scene &scene_;
    pass plan_;
    float threshold_;
    std::uint8_t *bits_;
    std::size_t stride_, channels_;
    std::vector<rayvec> columns_, rows_;
};

// Traces every row of a pass on `threads` workers and fills `best` (one slot
// a row).  Each worker's scratch is made here, so that workers never
// allocate.
void trace_pass(const row_tracer &tracer, int height, int threads, progress_guard &progress,
                std::vector<row_best> &best) {
    std::vector<ray_workspace> works(static_cast<std::size_t>(threads));
    for (ray_workspace &work : works)
        work.reserve(tracer.scene());
    fxkit::for_rows(height, threads, progress,
                    [&](int y, int worker) { best[y] = tracer.trace(y, works[worker]); });
}

// Renders the scene into `target` (cleared by the caller): the passes, the
// brightest pixel, and the clean-up.
void trace_rays(bitmap *target) {
    progress_guard progress(driver_name, driver_comment);
    ray_scene scene;
    struct scene_release {
        ray_scene &scene;
        ~scene_release() { ray_scene_clear(scene); }
    } release{scene};
    if (!ray_init(scene, target, settings))
        return;

    rayvec_cross(&scene.right, &scene.up_hint, &scene.view);
    rayvec_norm(&scene.right, &scene.right);
    rayvec_cross(&scene.up, &scene.view, &scene.right);
    rayvec_norm(&scene.up, &scene.up);

    // Anaglyph: the eye moved right for the first pass (blue, or green and
    // blue), left for the second (red).
    std::vector<pass> passes;
    const float half = 0.5f * static_cast<float>(settings.focal_space);
    const rayvec eye = scene.eye;
    switch (settings.anaglyph) {
    case 0:
        passes = {{eye, 7u}};
        break;
    case 1:
    case 2:
        passes = {{{eye.x + half, eye.y, eye.z}, settings.anaglyph == 1 ? 4u : 6u},
                  {{eye.x - half, eye.y, eye.z}, 1u}};
        break;
    default:
        XASSERT(0);
        return;
    }

    const int height = scene.height;
    const int threads = std::min(raytrace_threads(), std::max(height, 1));
    std::vector<row_best> best(static_cast<std::size_t>(height));
    for (const pass &plan : passes) {
        ray_prepare_primary(scene, plan.eye);
        const row_tracer tracer(scene, target, plan, brightest.value);
        trace_pass(tracer, height, threads, progress, best);
        for (int y = 0; y < height; ++y)
            if (best[y].column >= 0 && best[y].value > brightest.value)
                brightest = {best[y].column, y, best[y].value};
    }
}

// Stores the flare's position parameter in the type the flare keeps it in.
void set_position(bitmapfx_driver *flare, const char *key, int value) {
    std::uint32_t type = DTYPE_INT;
    for (const bitmapfx_parameter *p = flare->param_list; p && p->key; ++p)
        if (xstring_compare(p->key, key))
            type = p->type;
    if (type == DTYPE_DOUBLE) {
        const double position = value;
        bitmapfx_talk(flare, key, &position);
    } else if (type == DTYPE_FLOAT) {
        const float position = static_cast<float>(value);
        bitmapfx_talk(flare, key, &position);
    } else {
        const std::int32_t position = value;
        bitmapfx_talk(flare, key, &position);
    }
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    owned_bitmap result(fxkit::resized_like(source, source->xsize, source->ysize));
    if (!result)
        return nullptr;
    brightest = {-1, -1, 1.2f};
    trace_rays(result.get());

    if (brightest.column > 0 && brightest.row > 0) {
        bitmapfx_driver *flare = bitmapfx_find_driver("flare.standard");
        if (!flare) {
            XERROR("failed to find '%s' driver, needed by '%s'", "flare.standard", driver_name);
        } else {
            if (bitmapfx_is_subproc(flare, "rand"))
                bitmapfx_call(flare, "rand");
            set_position(flare, "xpos", brightest.column);
            set_position(flare, "ypos", brightest.row);
            bitmap *place = result.release();
            bitmapfx_simple2(flare, &place);
            result.reset(place);
        }
    }
    return fxkit::finish(driver, result.release());
}

// Scenes are drawn afresh in every run; there is nothing to randomise.
void *run_rand(bitmapfx_driver *) {
    return nullptr;
}

ray_parameters &s = settings;
bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("lights", "number of lights", s.lights),
    bitmapfx_param("spheres", "number of spheres", s.spheres),
    bitmapfx_param("squares", "number of squares", s.squares),
    bitmapfx_param("fov", "field of view", s.fov),
    bitmapfx_param("anaglyph", "anaglyph type", s.anaglyph),
    bitmapfx_param("focal space", "anaglyph's focal space", s.focal_space),
    bitmapfx_param("light_minx", "lights spacing (min xpos)", s.light_minx),
    bitmapfx_param("light_maxx", "lights spacing (max xpos)", s.light_maxx),
    bitmapfx_param("light_miny", "lights spacing (min ypos)", s.light_miny),
    bitmapfx_param("light_maxy", "lights spacing (max ypos)", s.light_maxy),
    bitmapfx_param("light_minz", "lights spacing (mim zpos)", s.light_minz),
    bitmapfx_param("light_maxz", "lights spacing (max zpos)", s.light_maxz),
    bitmapfx_param("light_mina", "lights spacing (min angle)", s.light_mina),
    bitmapfx_param("light_maxa", "lights spacing (max angle)", s.light_maxa),
    bitmapfx_param("sphere_minx", "sphere spacing (min xpos)", s.sphere_minx),
    bitmapfx_param("sphere_maxx", "sphere spacing (max xpos)", s.sphere_maxx),
    bitmapfx_param("sphere_miny", "sphere spacing (min ypos)", s.sphere_miny),
    bitmapfx_param("sphere_maxy", "sphere spacing (max ypos)", s.sphere_maxy),
    bitmapfx_param("sphere_minz", "sphere spacing (min zpos)", s.sphere_minz),
    bitmapfx_param("sphere_maxz", "sphere spacing (max zpos)", s.sphere_maxz),
    bitmapfx_param("sphere_minr", "sphere spacing (min rad)", s.sphere_minr),
    bitmapfx_param("sphere_maxr", "sphere spacing (max rad)", s.sphere_maxr),
    bitmapfx_param("quad_dist", "quad distance", s.quad_dist),
    bitmapfx_param("quad_zdist", "quad Z distance", s.quad_zdist),
    bitmapfx_param("color_min_bg", "color space minimum bg", s.color_min_bg),
    bitmapfx_param("color_max_bg", "color space maximum bg", s.color_max_bg),
    bitmapfx_param("color_min_amb", "color space minimum ambient", s.color_min_amb),
    bitmapfx_param("color_max_amb", "color space maximum ambient", s.color_max_amb),
    bitmapfx_param("color_min_diff", "color space minimum diffuse", s.color_min_diff),
    bitmapfx_param("color_max_diff", "color space maximum diffuse", s.color_max_diff),
    bitmapfx_param("color_min_spec", "color space minimum specular", s.color_min_spec),
    bitmapfx_param("color_max_spec", "color space maximum specular", s.color_max_spec),
    bitmapfx_param("color_min_refl", "color space minimum reflection", s.color_min_refl),
    bitmapfx_param("color_max_refl", "color space maximum reflection", s.color_max_refl),
    bitmapfx_param("color_min_refr", "color space minimum refraction", s.color_min_refr),
    bitmapfx_param("color_max_refr", "color space maximum refraction", s.color_max_refr),
    bitmapfx_param("color_min_refl_index", "color space minimum reflection index",
                   s.color_min_refl_index),
    bitmapfx_param("color_max_refl_index", "color space maximum reflection index",
                   s.color_max_refl_index),
    bitmapfx_param("color_min_refr_index", "color space minimum refraction index",
                   s.color_min_refr_index),
    bitmapfx_param("color_max_refr_index", "color space maximum refraction index",
                   s.color_max_refr_index),
    bitmapfx_param("color_min_refl_diff", "color space minimum reflection diffuse",
                   s.color_min_refl_diff),
    bitmapfx_param("color_max_refl_diff", "color space maximum reflection diffuse",
                   s.color_max_refl_diff),
    bitmapfx_param("color_min_refr_diff", "color space minimum refraction diffuse",
                   s.color_min_refr_diff),
    bitmapfx_param("color_max_refr_diff", "color space maximum refraction diffuse",
                   s.color_max_refr_diff),
    bitmapfx_param("color_min_width", "color space mimimum width", s.color_min_width),
    bitmapfx_param("color_max_width", "color space maximum width", s.color_max_width),
    bitmapfx_param("color_min_index", "color space mimimum width", s.color_min_index),
    bitmapfx_param("color_max_index", "color space maximum width", s.color_max_index),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect),
                                         fxkit::rand_procedure(run_rand), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_raytrace_driver = fxkit::driver(
    driver_name, "./src/gfx/2d/bitmap/effects/ray/raytrace.c", "$path.presets$/raytrace.preset",
    driver_comment, fxkit::depths_rgb, parameters, procedures);
