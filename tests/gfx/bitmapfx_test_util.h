// Helpers shared by the effect tests: driver registration once per program,
// owned bitmaps, seeded random numbers and small test pictures.
#pragma once

#include "core/hash.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/pixel.h"
#include "xmath/xrand.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace fxtest {

// A test name made of a driver's name or a label: all but letters and digits
// become '_'.
inline std::string test_name(std::string name) {
    for (char &c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '_';
    return name;
}

using kill_bitmap = bitmap_killer;
using owned = bitmap_ptr;

// Registers a driver unless one of that name is there already (other test
// files of the program may have registered it first).
inline void ensure_registered(bitmapfx_driver *driver) {
    for (bitmapfx_driver *d = bitmapfx_first_driver(); d; d = d->next)
        if (d == driver)
            return;
    if (!bitmapfx_find_driver(driver->name))
        bitmapfx_register_driver(driver);
}

// Every built-in effect, in the application's order.
inline void register_library_effects() {
    for (bitmapfx_driver *const *driver = bitmapfx_builtin_drivers; *driver; ++driver)
        ensure_registered(*driver);
}

// Keeps a driver's stored parameter values while it lives and puts them back
// afterwards, so that a test's settings (or a "rand") never reach the next.
class parameter_snapshot {
  public:
    explicit parameter_snapshot(bitmapfx_driver *driver) {
        for (bitmapfx_parameter *p = driver->param_list; p && p->key; ++p)
            if (p->write_flag) {
                auto *bytes = static_cast<std::uint8_t *>(p->value);
                saved_.push_back({p, std::vector<std::uint8_t>(bytes, bytes + p->size)});
            }
    }
    ~parameter_snapshot() {
        for (auto &[parameter, bytes] : saved_)
            std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t *>(parameter->value));
    }
    parameter_snapshot(const parameter_snapshot &) = delete;
    parameter_snapshot &operator=(const parameter_snapshot &) = delete;

  private:
    std::vector<std::pair<bitmapfx_parameter *, std::vector<std::uint8_t>>> saved_;
};

// One parameter row; the fields tests rarely set come last.
inline bitmapfx_parameter parameter(const char *key, std::uint32_t type, std::uint32_t size,
                                    void *value, std::uint32_t flags = 0,
                                    const char *procedures = nullptr, const char *help = nullptr) {
    return {.key = key,
            .help = help,
            .procedures = procedures,
            .flags = flags,
            .type = type,
            .size = size,
            .value = value,
            .write_flag = 0};
}

// While it lives, progress reports go to a hook that drops them, so that an
// effect's text bar does not fill the test log.
class quiet_progress {
  public:
    quiet_progress() {
        progress_hook([](double) {});
    }
    ~quiet_progress() { progress_hook(nullptr); }
    quiet_progress(const quiet_progress &) = delete;
    quiet_progress &operator=(const quiet_progress &) = delete;
};

// Runs the generator from its own state seeded with `seed` while it lives.
class seeded_random {
  public:
    explicit seeded_random(std::uint32_t seed) : words_(64) {
        previous_ = xrandom_initstate(seed, words_.data(), static_cast<int>(words_.size() * 4));
    }
    ~seeded_random() { xrandom_setstate(previous_); }
    seeded_random(const seeded_random &) = delete;
    seeded_random &operator=(const seeded_random &) = delete;

  private:
    std::vector<std::uint32_t> words_;
    void *previous_;
};

inline void put_rgb(bitmap *image, int x, int y, int r, int g, int b) {
    std::uint8_t *p = bitmap_boffset(image, x, y);
    p[0] = static_cast<std::uint8_t>(r);
    p[1] = static_cast<std::uint8_t>(g);
    p[2] = static_cast<std::uint8_t>(b);
}

// A smooth two-way colour gradient.
inline bitmap *gradient(int width, int height, int bpp = 24) {
    bitmap *image = bitmap_alloc2(width, height, bpp);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            put_rgb(image, x, y, x * 255 / (width - 1), y * 255 / (height - 1),
                    255 - (x + y) * 255 / (width + height - 2));
    return image;
}

// Something like a photograph: soft shapes of colour under grain.  The
// grain comes from a fixed linear congruential sequence, not from the
// program's generator, so the picture never depends on other tests.
inline bitmap *photo_like(int width, int height, int bpp = 24) {
    bitmap *image = bitmap_alloc2(width, height, bpp);
    std::uint32_t state = 12345u;
    auto grain = [&state] {
        state = state * 1664525u + 1013904223u;
        return static_cast<int>((state >> 24) % 25) - 12;
    };
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            double u = static_cast<double>(x) / width, v = static_cast<double>(y) / height;
            double r = 128 + 100 * std::sin(6.0 * u + 1.0) * std::cos(4.0 * v);
            double g = 110 + 90 * std::sin(3.0 * v + 5.0 * u * v);
            double b = 140 + 80 * std::cos(7.0 * u - 2.0 * v);
            auto level = [&](double value) {
                int n = static_cast<int>(value) + grain();
                return n < 0 ? 0 : (n > 255 ? 255 : n);
            };
            put_rgb(image, x, y, level(r), level(g), level(b));
        }
    return image;
}

// Plasma clouds of a fixed seed over a black picture.
inline bitmap *plasma_picture(int width, int height, std::uint32_t seed = 7u) {
    register_library_effects();
    seeded_random random(seed);
    owned black(bitmap_alloc2(width, height, 24));
    return bitmapfx_simple(&bitmapfx_plasma_standard_driver, black.get());
}

// Hides a registered driver from the look-ups while it lives (its name is
// changed to one nobody asks for).
class hidden_driver {
  public:
    explicit hidden_driver(const char *name) : driver_(bitmapfx_find_driver(name)) {
        if (driver_) {
            name_ = driver_->name;
            driver_->name = "hidden by a test";
        }
    }
    ~hidden_driver() {
        if (driver_)
            driver_->name = name_;
    }
    hidden_driver(const hidden_driver &) = delete;
    hidden_driver &operator=(const hidden_driver &) = delete;

  private:
    bitmapfx_driver *driver_;
    const char *name_ = nullptr;
};

// Gives a registered driver other procedures while it lives.
class swapped_procedures {
  public:
    swapped_procedures(const char *name, const bitmapfx_procedure *procedures)
        : driver_(bitmapfx_find_driver(name)) {
        if (driver_) {
            saved_ = driver_->proc_list;
            driver_->proc_list = procedures;
        }
    }
    ~swapped_procedures() {
        if (driver_)
            driver_->proc_list = saved_;
    }
    swapped_procedures(const swapped_procedures &) = delete;
    swapped_procedures &operator=(const swapped_procedures &) = delete;
    bool active() const { return driver_ != nullptr; }

  private:
    bitmapfx_driver *driver_;
    const bitmapfx_procedure *saved_ = nullptr;
};

// The CRC-32 of some bytes as eight hex digits.
inline std::string crc_text(const std::string &bytes) {
    char text[16];
    std::snprintf(text, sizeof text, "%08x",
                  static_cast<unsigned>(hash_compute(bytes.data(), bytes.size())));
    return text;
}

// A golden file of "name value" lines after a '#' header: `expected` gives the
// file's value of a name, or with LUMIVANE_WRITE_GOLDEN in the environment
// stores the value given in the file.
class golden_file {
  public:
    golden_file(std::string path, std::string header)
        : path_(std::move(path)), header_(std::move(header)) {}
    std::string expected(const std::string &name, const std::string &value) const {
        std::map<std::string, std::string> values;
        std::ifstream in(path_);
        for (std::string line; std::getline(in, line);)
            if (!line.empty() && line[0] != '#')
                values[line.substr(0, line.find(' '))] = line.substr(line.find(' ') + 1);
        if (!std::getenv("LUMIVANE_WRITE_GOLDEN"))
            return values.count(name) ? values[name] : "(none in " + path_ + ")";
        values[name] = value;
        std::ofstream out(path_);
        out << "# " << header_ << "\n";
        for (const auto &[key, text] : values)
            out << key << " " << text << "\n";
        return value;
    }

  private:
    std::string path_, header_;
};

} // namespace fxtest
