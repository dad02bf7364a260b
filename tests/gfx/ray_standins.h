// TEST-ONLY STAND-INS for the effects the raytracer calls ("flare.standard"
// and the 44 background effects of `random_fx`).  The tracer refuses to run
// while any of them is missing, and those drivers are built elsewhere.  Each
// stand-in copies its source picture and nothing else.  `register_ray_standins`
// registers one only for a name that no driver holds yet, so once the real
// drivers are registered (the library's list, or a test program that
// registered them first) the stand-ins are never used.
//
// Also here: small guards that let a test hide a registered driver or swap
// its procedures for the length of a scope.
#pragma once

#include "bitmapfx_test_util.h"
#include "gfx/2d/bitmap/effects/ray/raytrace.h"

#include <array>
#include <string>

namespace fxtest {

namespace standin {

// "flare.standard" keeps the position it was given, like the real flare.
inline std::int32_t flare_xpos = 0, flare_ypos = 0;

inline void *copy_source(bitmapfx_driver *driver) {
    const bitmap *source =
        static_cast<const bitmap *>(bitmapfx_talk(driver, "source_bitmap", nullptr));
    if (!source)
        return nullptr;
    bitmap *copy = bitmap_dup(source);
    bitmapfx_talk(driver, "target_bitmap", copy);
    return copy;
}
inline void *do_nothing(bitmapfx_driver *) {
    return nullptr;
}

inline const char *const depths[] = {"in24", "in32", "out24", "out32", nullptr};
inline const bitmapfx_procedure copy_procedures[] = {{"fx", "run the effect", copy_source},
                                                     {nullptr, nullptr, nullptr}};
inline const bitmapfx_procedure flare_procedures[] = {{"fx", "run the effect", copy_source},
                                                      {"rand", "randomize effect data", do_nothing},
                                                      {nullptr, nullptr, nullptr}};

constexpr int count = RAY_RANDOM_FX_COUNT + 1;

struct slot {
    std::string preset;
    std::array<bitmapfx_parameter, 5> parameters;
    bitmapfx_driver driver;
};

inline std::array<slot, count> &slots() {
    static std::array<slot, count> all;
    return all;
}

} // namespace standin

// Registers a copying stand-in for each of "flare.standard" and the 44
// background effects that is not registered yet.
inline void register_ray_standins() {
    register_library_effects();
    for (int i = 0; i < standin::count; ++i) {
        const char *name = i < RAY_RANDOM_FX_COUNT ? random_fx[i] : "flare.standard";
        if (bitmapfx_find_driver(name))
            continue;
        standin::slot &s = standin::slots()[i];
        const bool flare = i == RAY_RANDOM_FX_COUNT;
        s.preset = std::string("$path.presets$/test-standin-") + name + ".preset";
        s.parameters = {
            BITMAPFX_SOURCE_BITMAP, BITMAPFX_TARGET_BITMAP,
            flare ? bitmapfx_param("xpos", nullptr, standin::flare_xpos) : BITMAPFX_PARAMETER_END,
            flare ? bitmapfx_param("ypos", nullptr, standin::flare_ypos) : BITMAPFX_PARAMETER_END,
            BITMAPFX_PARAMETER_END};
        s.driver = {.next = nullptr,
                    .hash = 0,
                    .name = name,
                    .file = "./tests/gfx/ray_standins.h",
                    .preset = s.preset.c_str(),
                    .comment = "test stand-in: copies its source",
                    .supported = standin::depths,
                    .param_list = s.parameters.data(),
                    .proc_list = flare ? standin::flare_procedures : standin::copy_procedures};
        bitmapfx_register_driver(&s.driver);
    }
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

} // namespace fxtest
