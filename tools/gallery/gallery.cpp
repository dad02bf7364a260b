// The effect gallery: renders every built-in effect on one fixed test
// picture, at its defaults and, for an effect with "rand", after three
// seeded "rand" draws, and saves each result as a Targa file.
//
//     gallery <folder>
//
// Writes <folder>/source.tga, one <folder>/NN-<name>-K.tga per render (K = 0
// for the defaults, 1..3 for the draws) and <folder>/tiles.txt, one line per
// effect: "<name>\t<file of K=0>\t<K=1>\t<K=2>\t<K=3>", with "-" where an
// effect has no such render (no "rand", or the effect failed).  An effect
// that reports an error is skipped with a line on the standard error; the
// others go on.  The list is walked as registered, so new effects join the
// gallery by themselves.
#include "core/message.h"
#include "core/progress.h"
#include "core/xmain.h"
#include "file/config.h"
#include "file/streamio/drivers.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitinfo.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/pixel.h"
#include "xmath/xrand.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

struct kill_bitmap {
    void operator()(bitmap *image) const { bitmap_kill(image); }
};
using owned = std::unique_ptr<bitmap, kill_bitmap>;

constexpr int width = 320, height = 200;

struct reported_error {
    std::string text;
};

void throw_error(const char *, int, const char *ident, const char *format, ...) {
    char text[1024];
    std::va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    throw reported_error{std::string(ident) + ": " + text};
}
void print_warning(const char *, int, const char *ident, const char *format, ...) {
    std::va_list args;
    va_start(args, format);
    std::fprintf(stderr, "warning %s: ", ident);
    std::vfprintf(stderr, format, args);
    std::fputc('\n', stderr);
    va_end(args);
}
void drop(const char *, int, const char *, const char *, ...) {}

// Runs the generator from its own state seeded with `seed` while it lives.
class seeded {
  public:
    explicit seeded(std::uint32_t seed) : words_(64) {
        previous_ = xrandom_initstate(seed, words_.data(), static_cast<int>(words_.size() * 4));
    }
    ~seeded() { xrandom_setstate(previous_); }

  private:
    std::vector<std::uint32_t> words_;
    void *previous_;
};

// Keeps a driver's stored values and puts them back when it ends, so that a
// draw never reaches the next render.
class kept_parameters {
  public:
    explicit kept_parameters(bitmapfx_driver *driver) {
        for (bitmapfx_parameter *p = driver->param_list; p && p->key; ++p)
            if (p->write_flag) {
                auto *bytes = static_cast<std::uint8_t *>(p->value);
                saved_.push_back({p, std::vector<std::uint8_t>(bytes, bytes + p->size)});
            }
    }
    ~kept_parameters() {
        for (auto &[parameter, bytes] : saved_)
            std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t *>(parameter->value));
    }

  private:
    std::vector<std::pair<bitmapfx_parameter *, std::vector<std::uint8_t>>> saved_;
};

double smooth(double edge0, double edge1, double x) {
    const double t = std::clamp((x - edge0) / (edge1 - edge0), 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

// The test picture: a sky gradient over a darker ground with receding
// stripes, three shaded balls, all under plasma clouds.  Straight lines and
// round shapes show what a distortion does; the clouds give texture.
bitmap *test_picture() {
    owned scene(bitmap_alloc2(width, height, 24));
    const double horizon = height * 0.62;
    struct ball {
        double x, y, r, red, green, blue;
    } balls[] = {
        {80, 120, 38, 220, 60, 50}, {190, 95, 30, 60, 170, 220}, {265, 140, 24, 240, 200, 60}};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            double r, g, b;
            if (y < horizon) {
                const double t = y / horizon;
                r = 40 + 120 * t, g = 80 + 110 * t, b = 190 + 50 * t;
            } else {
                const double t = (y - horizon) / (height - horizon);
                const double depth = 1.0 / (0.15 + t);
                const bool stripe =
                    std::fmod((x - width / 2.0) * (0.15 + t) / 12.0 + 100.0, 2.0) < 1.0 ||
                    std::fmod(depth, 1.0) < 0.12;
                r = stripe ? 150 : 90, g = stripe ? 120 : 70, b = stripe ? 80 : 50;
                r *= 0.6 + 0.4 * t, g *= 0.6 + 0.4 * t, b *= 0.6 + 0.4 * t;
            }
            for (const ball &o : balls) {
                const double dx = (x - o.x) / o.r, dy = (y - o.y) / o.r;
                const double d2 = dx * dx + dy * dy;
                if (d2 >= 1.0)
                    continue;
                const double z = std::sqrt(1.0 - d2);
                const double light = std::max(0.0, (-0.5 * dx - 0.6 * dy + 0.62 * z));
                const double shine = std::pow(light, 30.0) * 255.0;
                const double edge = smooth(1.0, 0.9, d2);
                const double br = o.red * (0.2 + 0.8 * light) + shine;
                const double bg = o.green * (0.2 + 0.8 * light) + shine;
                const double bb = o.blue * (0.2 + 0.8 * light) + shine;
                r += (br - r) * edge, g += (bg - g) * edge, b += (bb - b) * edge;
            }
            std::uint8_t *p = bitmap_boffset(scene.get(), x, y);
            p[0] = static_cast<std::uint8_t>(std::clamp(std::lround(r), 0L, 255L));
            p[1] = static_cast<std::uint8_t>(std::clamp(std::lround(g), 0L, 255L));
            p[2] = static_cast<std::uint8_t>(std::clamp(std::lround(b), 0L, 255L));
        }
    bitmapfx_driver *plasma = bitmapfx_find_driver("plasma.standard");
    if (!plasma)
        return scene.release();
    kept_parameters keep(plasma);
    rgbscalar source_weight{0.8, 0.8, 0.8}, cloud_weight{0.3, 0.3, 0.3};
    bitmapfx_talk(plasma, "sblend", &source_weight);
    bitmapfx_talk(plasma, "tblend", &cloud_weight);
    seeded random(20260);
    return bitmapfx_simple(plasma, scene.get());
}

bool save(const bitmap *image, const std::string &path) {
    owned copy(image->bpp == 24 ? bitmap_dup(image) : bitmap_upgrade(image, 24));
    return copy && bitmap_filesave(copy.get(), path.c_str(), "targa");
}

// One render: "rand" with the seed first when `draw` is set.  The file name,
// or "-" when the effect failed.
std::string render(bitmapfx_driver *driver, const bitmap *picture, const std::string &path,
                   bool draw, std::uint32_t seed) {
    kept_parameters keep(driver);
    seeded random(seed);
    try {
        if (draw)
            bitmapfx_call(driver, "rand");
        owned result(bitmapfx_simple(driver, picture));
        if (!result) {
            std::fprintf(stderr, "%s: no picture\n", driver->name);
            return "-";
        }
        if (!save(result.get(), path)) {
            std::fprintf(stderr, "%s: failed to save %s\n", driver->name, path.c_str());
            return "-";
        }
    } catch (const reported_error &error) {
        std::fprintf(stderr, "%s failed: %s\n", driver->name, error.text.c_str());
        bitmapfx_reset(driver);
        return "-";
    }
    return path;
}

} // namespace

int xmain(int argc, char **argv) {
    const std::string folder = argc > 1 ? argv[1] : ".";
    streamio_register_builtin_drivers();
    streamio_set_defio(&saferio_driver);
    // The configuration names the data folders ("$path.filters$" and the
    // like); tools/gallery.sh points Lumivane_ini at a working copy.
    if (!config_load(nullptr))
        std::fprintf(stderr, "gallery: no configuration, file aliases stay unexpanded\n");
    bitmapio_register_builtin_drivers();
    bitmapfx_register_builtin_drivers();
    xerror = throw_error;
    xwarning = print_warning;
    xverbose = drop;
    progress_hook([](double) {});

    owned picture(test_picture());
    if (!picture || !save(picture.get(), folder + "/source.tga")) {
        std::fprintf(stderr, "gallery: failed to make the test picture in %s\n", folder.c_str());
        xexit(1);
    }
    std::FILE *list = std::fopen((folder + "/tiles.txt").c_str(), "w");
    if (!list) {
        std::fprintf(stderr, "gallery: cannot write %s/tiles.txt\n", folder.c_str());
        xexit(1);
    }
    int number = 0;
    for (bitmapfx_driver *const *d = bitmapfx_builtin_drivers; *d; ++d, ++number) {
        bitmapfx_driver *driver = *d;
        char stem[300];
        std::snprintf(stem, sizeof stem, "%s/%02d-%s", folder.c_str(), number, driver->name);
        std::fprintf(list, "%s", driver->name);
        std::fprintf(list, "\t%s",
                     render(driver, picture.get(), std::string(stem) + "-0.tga", false, 1).c_str());
        const bool draws = bitmapfx_is_subproc(driver, "rand");
        for (int k = 1; k <= 3; ++k)
            std::fprintf(list, "\t%s",
                         draws ? render(driver, picture.get(),
                                        std::string(stem) + "-" + std::to_string(k) + ".tga", true,
                                        7919u * k)
                                     .c_str()
                               : "-");
        std::fprintf(list, "\n");
        std::printf("%s\n", driver->name);
    }
    std::fclose(list);
    xexit(0);
}
