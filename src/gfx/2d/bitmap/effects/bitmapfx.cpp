// The effect framework: the driver registry with the checks a driver passes
// when it is registered, calls of a driver's procedures, parameter access by
// key ("talk", "shout"), the one-call runs with depth conversion, and the
// listing.  The typed values the parameters hold are in bitmapfx_types.cpp.
#include "gfx/2d/bitmap/effects/bitmapfx.h"

#include "core/dtype.h"
#include "core/hash.h"
#include "core/message.h"
#include "core/registry.h"
#include "core/xstring.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/pixel.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/bitmapfx.c";
static constexpr const char *source_ident = "bitmapfx";

namespace {

// Picture references have no text form: presets and "shout" skip them.
bool has_text_form(std::uint32_t type) {
    return type != BITMAPFX_TYPE_CMAP && type != BITMAPFX_TYPE_BITMAP;
}

// ---------------------------------------------------------------------------
// Registry

driver_registry<bitmapfx_driver> registry;

bool is_registered(const bitmapfx_driver *driver) {
    return registry.contains(driver);
}

// Parameter values are only meaningful once registration has told storage
// from references; refusing unregistered records keeps a reference from
// being written over a driver's storage pointer.
bool require_registered(const bitmapfx_driver *driver) {
    if (driver && is_registered(driver))
        return true;
    XERROR("xassert(%s) failed", "driver is registered");
    return false;
}

bitmapfx_parameter *find_parameter(bitmapfx_driver *driver, const char *key) {
    if (!key || !driver->param_list)
        return nullptr;
    for (bitmapfx_parameter *p = driver->param_list; p->key; ++p)
        if (xstring_compare(p->key, key))
            return p;
    return nullptr;
}

const bitmapfx_procedure *find_procedure(const bitmapfx_driver *driver, const char *name) {
    if (!driver->proc_list)
        return nullptr;
    for (const bitmapfx_procedure *p = driver->proc_list; p->name; ++p)
        if (xstring_compare(p->name, name))
            return p;
    return nullptr;
}

bool in_procedure_list(const char *list, const char *name) {
    std::string names = list;
    std::size_t start = 0;
    while (start <= names.size()) {
        std::size_t end = names.find(';', start);
        if (end == std::string::npos)
            end = names.size();
        if (names.compare(start, end - start, name) == 0)
            return true;
        start = end + 1;
    }
    return false;
}

// A held bitmap must have a depth the driver reads (source) or writes
// (target).  Nothing to check for other types, empty values or parameters
// that are neither source nor target.
bool depth_allowed(const bitmapfx_driver *driver, const bitmapfx_parameter *p, const void *value) {
    if (p->type != BITMAPFX_TYPE_BITMAP || !value ||
        !(p->flags & (BITMAPFX_SOURCE | BITMAPFX_TARGET)))
        return true;
    if (!driver->supported) {
        XERROR("xassert(%s) failed", "driver -> supported");
        return false;
    }
    int bpp = static_cast<const bitmap *>(value)->bpp;
    if ((p->flags & BITMAPFX_SOURCE) && !bitmapfx_supports(driver, "in", bpp)) {
        XERROR("fxdriver '%s' does not support %d bpp bitmaps for %s", driver->name, bpp, "input");
        return false;
    }
    if ((p->flags & BITMAPFX_TARGET) && !bitmapfx_supports(driver, "out", bpp)) {
        XERROR("fxdriver '%s' does not support %d bpp bitmaps for %s", driver->name, bpp, "output");
        return false;
    }
    return true;
}

// The structural checks a driver must pass before it joins the list.
bool check_parameters(bitmapfx_driver *driver) {
    if (!driver->param_list)
        return true;
    for (bitmapfx_parameter *p = driver->param_list; p->key; ++p) {
        if (!dtype_find(p->type)) {
            dtype_size(p->type); // reports the unknown type
            return false;
        }
        if (!p->write_flag)
            continue;
        // Storage is copied `size` bytes at a time and scanned by the type:
        // both must agree, and a bitmap is only ever held by reference.
        if (p->size != dtype_size(p->type)) {
            XERROR("xassert(%s) failed", "parameter -> size == dtype_size(parameter -> type)");
            return false;
        }
        if (p->type == BITMAPFX_TYPE_BITMAP) {
            XERROR("xassert(%s) failed", "parameter -> type != bitmap || !parameter -> value");
            return false;
        }
        for (bitmapfx_parameter *q = driver->param_list; q != p; ++q) {
            if (q->write_flag && q->value == p->value) {
                XERROR("linked pointers in parameter '%s' and parameter '%s' in driver '%s'",
                       q->key, p->key, driver->name);
                return false;
            }
        }
        if ((p->flags & BITMAPFX_NOT_STORABLE) || !has_text_form(p->type))
            continue;
        std::vector<char> printed(DTYPE_TEXT_MAX), reprinted(DTYPE_TEXT_MAX);
        std::vector<unsigned char> scanned(p->size);
        dtype_print(p->type, p->value, printed.data());
        int ok = dtype_scan(p->type, printed.data(), scanned.data());
        dtype_print(p->type, scanned.data(), reprinted.data());
        if (!ok || dtype_compare(p->type, p->value, scanned.data()) != 0) {
            XERROR("read/write mismatch for parameter '%s' ('%s' != '%s') in driver '%s'", p->key,
                   printed.data(), reprinted.data(), driver->name);
            return false;
        }
    }
    return true;
}

int highest_depth(const bitmapfx_driver *driver, const char *direction) {
    for (int bpp = 63; bpp >= 0; --bpp)
        if (bitmapfx_supports(driver, direction, bpp))
            return bpp;
    return -1;
}

// One run of "fx" on `source`.  The source is bound only for the call, so the
// driver never keeps a reference to a bitmap that is freed afterwards, and a
// target left behind by a failed run (an error target that returns, or one
// that unwinds) is freed rather than leaked.
class fx_run {
  public:
    fx_run(bitmapfx_driver *driver, bitmap *source) : driver_(driver), source_(source) {}
    fx_run(const fx_run &) = delete;
    fx_run &operator=(const fx_run &) = delete;
    ~fx_run() {
        bitmapfx_parameter *p = find_parameter(driver_, "source_bitmap");
        if (p && !p->write_flag)
            p->value = nullptr;
        if (!finished_) {
            bitmapfx_parameter *t = find_parameter(driver_, "target_bitmap");
            if (t && !t->write_flag && t->value && t->value != source_) {
                bitmap_kill(static_cast<bitmap *>(t->value));
                t->value = nullptr;
            }
        }
    }

    // The target bitmap, or null; afterwards the driver holds neither bitmap.
    bitmap *run() {
        if (!put_parameter(driver_, "source_bitmap", source_)) {
            XERROR("failed to store parameter '%s' in driver '%s'", "source_bitmap", driver_->name);
            return nullptr;
        }
        bitmapfx_call(driver_, nullptr);
        auto *target = static_cast<bitmap *>(bitmapfx_talk(driver_, "target_bitmap", nullptr));
        bitmapfx_reset(driver_);
        finished_ = true;
        return target;
    }

  private:
    bitmapfx_driver *driver_;
    bitmap *source_;
    bool finished_ = false;
};

void announce_depth_change(const bitmap *image, int from, int to, const bitmapfx_driver *driver) {
    XVERBOSE("doing auto-change of bitmap '%s' bits per pixel from %d to %d bpp for driver '%s'",
             bitmap_get_name(image), from, to, driver->name);
}

void list_parameter(const bitmapfx_parameter *p, int index) {
    std::printf("\n\t\tparameter %d\n", index);
    std::printf("\t\t\tkey        = %s", p->key);
    if (p->flags & BITMAPFX_REQUIRED)
        std::printf(" (required)");
    if (p->flags & BITMAPFX_CLEANED_UP)
        std::printf(" (cleaned up)");
    if (p->flags & BITMAPFX_SOURCE)
        std::printf(" (source)");
    if (p->flags & BITMAPFX_TARGET)
        std::printf(" (target)");
    std::printf("\n");
    std::printf("\t\t\thelp       = %s\n", p->help ? p->help : "none");
    std::printf("\t\t\ttype       = %s\n", dtype_name(p->type));
    std::printf("\t\t\tsize       = %lu\n", static_cast<unsigned long>(p->size));
    std::printf("\t\t\twrite_flag = %s\n", xstring_putbool(p->write_flag ? 1 : 0));
    std::vector<char> text(DTYPE_TEXT_MAX);
    if (p->write_flag)
        dtype_print(p->type, p->value, text.data());
    else if (p->value)
        dtype_print(p->type, &p->value, text.data());
    else
        std::snprintf(text.data(), text.size(), "null");
    std::printf("\t\t\tvalue      = %s\n", text.data());
}

} // namespace

// ---------------------------------------------------------------------------
// Public interface

int bitmapfx_supports(const bitmapfx_driver *driver, const char *direction, int bpp) {
    if (!driver->supported) {
        XERROR("xassert(%s) failed", "driver -> supported");
        return 0;
    }
    char word[32];
    std::snprintf(word, sizeof word, "%s%d", direction, bpp);
    for (const char *const *s = driver->supported; *s; ++s)
        if (xstring_match(word, *s))
            return 1;
    return 0;
}

int bitmapfx_parameter_count(const bitmapfx_driver *driver) {
    int count = 0;
    for (const bitmapfx_parameter *p = driver->param_list; p && p->key; ++p)
        ++count;
    return count;
}

int bitmapfx_parameter_empty(const bitmapfx_parameter *parameter) {
    if (!parameter->write_flag)
        return parameter->value == nullptr;
    const auto *bytes = static_cast<const unsigned char *>(parameter->value);
    for (std::uint32_t i = 0; i < parameter->size; ++i)
        if (bytes[i])
            return 0;
    return 1;
}

char *bitmapfx_print_parameter(const bitmapfx_parameter *parameter, char *text) {
    if (parameter->write_flag && has_text_form(parameter->type))
        dtype_print(parameter->type, parameter->value, text);
    else
        std::snprintf(text, DTYPE_TEXT_MAX, "null");
    return text;
}

void bitmapfx_register_driver(bitmapfx_driver *driver) {
    if (!driver || !driver->name) {
        XERROR("xassert(%s) failed", "driver && driver -> name");
        return;
    }
    bitmapfx_install_types();
    registry.add(MESSAGE_ORIGIN, driver, [](bitmapfx_driver *added) {
        // Presets are files named by the driver: two drivers sharing one
        // would overwrite each other's.
        const bitmapfx_driver *sharing = registry.find([&](const bitmapfx_driver *d) {
            return d->preset && added->preset && xstring_compare(d->preset, added->preset);
        });
        if (sharing) {
            XERROR("driver preset collision between '%s' and '%s'", sharing->name, added->name);
            return false;
        }
        for (bitmapfx_parameter *p = added->param_list; p && p->key; ++p)
            p->write_flag = p->value ? 1 : 0;
        return check_parameters(added);
    });
}

bitmapfx_driver *bitmapfx_find_driver(const char *name) {
    return registry.find_name(name);
}

bitmapfx_driver *bitmapfx_get_driver(const char *name) {
    bitmapfx_driver *driver = bitmapfx_find_driver(name);
    if (!driver)
        XERROR("failed to find fx driver '%s'", name ? name : "(null)");
    return driver;
}

bitmapfx_driver *bitmapfx_first_driver() {
    return registry.first();
}

int bitmapfx_is_subproc(const bitmapfx_driver *driver, const char *name) {
    return driver && name && find_procedure(driver, name) ? 1 : 0;
}

int put_parameter(bitmapfx_driver *driver, const char *key, const void *value) {
    if (!require_registered(driver))
        return 0;
    bitmapfx_parameter *p = find_parameter(driver, key);
    if (!p || (p->flags & BITMAPFX_NOT_STORABLE))
        return 0;
    if (!depth_allowed(driver, p, p->write_flag ? nullptr : value))
        return 0;
    if (!p->write_flag) {
        p->value = const_cast<void *>(value);
        return 1;
    }
    if (!value) {
        std::memset(p->value, 0, p->size);
        return 1;
    }
    if (p->value == value) {
        XERROR("xassert(%s) failed", "parameter -> value != value");
        return 0;
    }
    std::memcpy(p->value, value, p->size);
    return 1;
}

int get_parameter(bitmapfx_driver *driver, const char *key, void **value) {
    if (!require_registered(driver))
        return 0;
    bitmapfx_parameter *p = find_parameter(driver, key);
    if (!p)
        return 0;
    if (!p->write_flag && !depth_allowed(driver, p, p->value))
        return 0;
    *value = p->value;
    return 1;
}

void *bitmapfx_call(bitmapfx_driver *driver, const char *procedure) {
    if (!require_registered(driver))
        return nullptr;
    const char *name = procedure ? procedure : "fx";
    const bitmapfx_procedure *proc = find_procedure(driver, name);
    if (!proc || !proc->operation) {
        XERROR("unknown procedure '%s' for driver '%s'", name, driver->name);
        return nullptr;
    }
    for (bitmapfx_parameter *p = driver->param_list; p && p->key; ++p) {
        if (p->procedures && !in_procedure_list(p->procedures, name))
            continue;
        bool empty = bitmapfx_parameter_empty(p);
        if ((p->flags & BITMAPFX_REQUIRED) && empty) {
            XERROR("required parameter '%s' is missing from driver '%s'", p->key, driver->name);
            return nullptr;
        }
        if ((p->flags & BITMAPFX_CLEANED_UP) && !empty) {
            XERROR("cleaning parameter '%s' is already present in driver '%s'", p->key,
                   driver->name);
            return nullptr;
        }
        if ((p->flags & BITMAPFX_SOURCE) && empty)
            XWARNING("source parameter '%s' is missing from driver '%s'", p->key, driver->name);
        if ((p->flags & BITMAPFX_TARGET) && !empty)
            XWARNING("target parameter '%s' is already present in driver '%s'", p->key,
                     driver->name);
    }
    bool effect = xstring_compare(name, "fx");
    if (effect)
        if (const bitmapfx_procedure *init = find_procedure(driver, "init");
            init && init->operation)
            init->operation(driver);
    void *result = proc->operation(driver);
    if (effect)
        if (const bitmapfx_procedure *deinit = find_procedure(driver, "deinit");
            deinit && deinit->operation)
            deinit->operation(driver);
    return result;
}

void *bitmapfx_talk(bitmapfx_driver *driver, const char *key, const void *value) {
    if (value) {
        if (!put_parameter(driver, key, value) && driver)
            XERROR("failed to store parameter '%s' in driver '%s'", key, driver->name);
        return nullptr;
    }
    void *result = nullptr;
    if (!get_parameter(driver, key, &result) && driver)
        XERROR("failed to retrieve parameter '%s' in driver '%s'", key, driver->name);
    return result;
}

void *bitmapfx_talk_raw(bitmapfx_driver *driver, const char *key, const void *value) {
    if (value) {
        put_parameter(driver, key, value);
        return nullptr;
    }
    void *result = nullptr;
    get_parameter(driver, key, &result);
    return result;
}

int bitmapfx_shout(const char *driver_name, const char *key, const char *text) {
    bitmapfx_driver *driver = bitmapfx_find_driver(driver_name);
    if (!driver) {
        XERROR("no such fx driver '%s'", driver_name ? driver_name : "(null)");
        return 0;
    }
    bitmapfx_parameter *p = find_parameter(driver, key);
    if (!p) {
        XERROR("no such parameter '%s' for driver '%s'", key ? key : "(null)", driver->name);
        return 0;
    }
    if (!p->write_flag || (p->flags & BITMAPFX_NOT_STORABLE) || !has_text_form(p->type)) {
        XERROR("trying to write to unwritable parameter '%s' in driver '%s'", p->key, driver->name);
        return 0;
    }
    // Scanned aside first, so that a text the type refuses leaves the value alone.
    std::vector<unsigned char> scanned(p->size);
    if (!dtype_scan(p->type, text ? text : "", scanned.data()))
        return 0;
    std::memcpy(p->value, scanned.data(), p->size);
    return 1;
}

void bitmapfx_reset(bitmapfx_driver *driver) {
    if (!require_registered(driver))
        return;
    for (bitmapfx_parameter *p = driver->param_list; p && p->key; ++p)
        if ((p->flags & BITMAPFX_CLEANED_UP) && !put_parameter(driver, p->key, nullptr))
            XERROR("xassert(%s) failed", "put_parameter(self, parameter -> key, NULL)");
}

bitmap *bitmapfx_simple(bitmapfx_driver *driver, const bitmap *image) {
    if (!require_registered(driver) || !image) {
        XASSERT(image);
        return nullptr;
    }
    bitmapfx_reset(driver);
    const int depth = image->bpp;
    int work_depth = depth;
    bitmap_ptr source;
    if (bitmapfx_supports(driver, "in", depth)) {
        source.reset(bitmap_dup(image));
    } else {
        work_depth = highest_depth(driver, "in");
        announce_depth_change(image, depth, work_depth, driver);
        if (work_depth >= 0)
            source.reset(bitmap_upgrade(image, work_depth));
        if (!source) {
            XERROR("failed to re-upgrade bitmap '%s' to (resulting bpp = %d)",
                   bitmap_get_name(image), work_depth);
            return nullptr;
        }
    }
    bitmap *target = fx_run(driver, source.get()).run();
    if (target == source.get())
        source.release();
    if (target && work_depth != depth && target->bpp != depth) {
        announce_depth_change(target, target->bpp, depth, driver);
        if (!bitmap_upgrade2(&target, depth)) {
            XERROR("failed to re-upgrade bitmap '%s' to (source bpp = %d)", bitmap_get_name(target),
                   depth);
            bitmap_kill(target);
            return nullptr;
        }
    }
    return target;
}

bitmap *bitmapfx_simple2(bitmapfx_driver *driver, bitmap **place) {
    if (!require_registered(driver) || !place || !*place) {
        XASSERT(place && *place);
        return nullptr;
    }
    bitmapfx_reset(driver);
    const int depth = (*place)->bpp;
    int work_depth = depth;
    if (!bitmapfx_supports(driver, "in", depth)) {
        work_depth = highest_depth(driver, "in");
        announce_depth_change(*place, depth, work_depth, driver);
        if (work_depth < 0 || !bitmap_upgrade2(place, work_depth)) {
            XERROR("failed to upgrade bitmap '%s' to (resulting bpp = %d)", bitmap_get_name(*place),
                   work_depth);
            return nullptr;
        }
    }
    bitmap *source = *place;
    bitmap *target = fx_run(driver, source).run();
    if (!target)
        return nullptr;
    if (work_depth != depth && target->bpp != depth) {
        announce_depth_change(target, target->bpp, depth, driver);
        if (!bitmap_upgrade2(&target, depth)) {
            XERROR("failed to upgrade bitmap '%s' to (source bpp = %d)", bitmap_get_name(target),
                   depth);
            if (target != source)
                bitmap_kill(target);
            return nullptr;
        }
    }
    if (target != source)
        bitmap_kill(source);
    *place = target;
    return target;
}

void bitmapfx_list_drivers(int long_form) {
    registry.list(
        "\nno 2d bitmapfx drivers available\n", 0, [&](const bitmapfx_driver *d, int index) {
            std::printf("\nbitmap fx driver(%d)\n", index);
            std::printf("\tname        = %s\n", d->name);
            std::printf("\tfile        = %s\n", d->file ? d->file : "none");
            std::printf("\tpreset      = %s\n", d->preset ? d->preset : "none");
            std::printf("\tcomments    = %s\n", d->comment ? d->comment : "none");
            std::printf("\tdriver hash = 0x%08lx\n", static_cast<unsigned long>(d->hash));
            if (!long_form)
                return;
            int number = 0;
            for (const bitmapfx_procedure *p = d->proc_list; p && p->name; ++p, ++number) {
                std::printf("\n\t\tprocedure %d\n", number);
                std::printf("\t\tname = %s\n", p->name);
                std::printf("\t\thelp = %s\n", p->help ? p->help : "none");
            }
            number = 0;
            for (const bitmapfx_parameter *p = d->param_list; p && p->key; ++p, ++number)
                list_parameter(p, number);
        });
}
