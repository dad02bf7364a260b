// The effect framework's typed values: the colour triples and quads, the
// packed pixel and the picture references that effect parameters hold, with
// their text forms for listings, presets and "talk", installed into the
// library's type table.
#include "gfx/2d/bitmap/effects/bitmapfx.h"

#include "core/dtype.h"
#include "core/message.h"
#include "core/xstring.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/pixel.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <type_traits>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/bitmapfx.c";
static constexpr const char *source_ident = "bitmapfx";

static_assert(sizeof(rgbpack) == 3 && sizeof(rgbapack) == 4);
static_assert(sizeof(rgbint) == 12 && sizeof(rgbaint) == 16);
static_assert(sizeof(rgbscalar) == 24 && sizeof(rgbascalar) == 32);
static_assert(sizeof(void *) == BITMAPFX_CMAP_SIZE, "a cmap value is one pointer");

namespace {

// ---------------------------------------------------------------------------
// Extended typed values

constexpr const char *channel_names[] = {"red", "green", "blue", "alpha"};

// Reads `text` against one of the colour scan forms ("r:%d g:%d b:%d",
// "r:%lf ..."): a blank in the form matches any run of white space (also
// none), a directive takes a number after optional white space, any other
// character must match.  Returns the number of fields stored, like the C
// library's scanner, but without its undefined behaviour on huge numbers:
// integers saturate, so they are caught by the range check.
int scan_fields(const char *text, const char *form, double *reals, long long *integers) {
    int fields = 0;
    const char *at = text;
    auto skip_space = [&at] {
        while (std::isspace(static_cast<unsigned char>(*at)))
            ++at;
    };
    // Blanks before the first field are forgiven too: hand-edited presets pad.
    skip_space();
    for (const char *f = form; *f;) {
        if (*f == ' ') {
            skip_space();
            ++f;
            continue;
        }
        if (*f != '%') {
            if (*at != *f)
                return fields;
            ++at, ++f;
            continue;
        }
        bool real = f[1] == 'l';
        f += real ? 3 : 2;
        skip_space();
        // A leading plus is a sign the number readers below do not take.
        const char *number = *at == '+' && at[1] != '-' && at[1] != '+' ? at + 1 : at;
        const char *end = number + std::strlen(number);
        if (real) {
            auto [stop, error] = std::from_chars(number, end, reals[fields]);
            if (error == std::errc::invalid_argument)
                return fields;
            if (error == std::errc::result_out_of_range)
                reals[fields] = HUGE_VAL;
            at = stop;
        } else {
            auto [stop, error] = std::from_chars(number, end, integers[fields]);
            if (error == std::errc::invalid_argument)
                return fields;
            if (error == std::errc::result_out_of_range)
                integers[fields] = *number == '-' ? LLONG_MIN : LLONG_MAX;
            at = stop;
        }
        ++fields;
    }
    return fields;
}

// One colour type: N channels of type T, stored one after the other.
template <class T, int N> struct colour_type {
    static constexpr bool real = std::is_floating_point_v<T>;
    static constexpr const char *print_form =
        real ? (N == 3 ? "r:%f g:%f b:%f" : "r:%f g:%f b:%f a:%f")
             : (N == 3 ? "r:%3d g:%3d b:%3d" : "r:%3d g:%3d b:%3d a:%3d");
    static constexpr const char *scan_form =
        real ? (N == 3 ? "r:%lf g:%lf b:%lf" : "r:%lf g:%lf b:%lf a:%lf")
             : (N == 3 ? "r:%d g:%d b:%d" : "r:%d g:%d b:%d a:%d");

    static void load(const void *value, T (&channels)[N]) {
        std::memcpy(channels, value, sizeof channels);
    }

    static void print(const void *value, char *text) {
        T c[N];
        load(value, c);
        if constexpr (real) {
            if constexpr (N == 3)
                std::snprintf(text, DTYPE_TEXT_MAX, print_form, c[0], c[1], c[2]);
            else
                std::snprintf(text, DTYPE_TEXT_MAX, print_form, c[0], c[1], c[2], c[3]);
        } else {
            int v[N];
            for (int i = 0; i < N; ++i)
                v[i] = static_cast<int>(c[i]);
            if constexpr (N == 3)
                std::snprintf(text, DTYPE_TEXT_MAX, print_form, v[0], v[1], v[2]);
            else
                std::snprintf(text, DTYPE_TEXT_MAX, print_form, v[0], v[1], v[2], v[3]);
        }
    }

    static int scan(const char *text, void *value) {
        double reals[4] = {};
        long long integers[4] = {};
        if (scan_fields(text, scan_form, reals, integers) != N) {
            std::string expression = std::to_string(N) + " == scan(\"" + scan_form + "\")";
            XERROR("xassert(%s) failed", expression.c_str());
            return 0;
        }
        T c[N];
        for (int i = 0; i < N; ++i) {
            if constexpr (real) {
                // Written so that NaN fails too.
                if (!(reals[i] >= 0.0 && reals[i] <= 1.0)) {
                    XERROR("illegal %s component value (%f)", channel_names[i], reals[i]);
                    return 0;
                }
                c[i] = reals[i];
            } else {
                if (integers[i] < 0 || integers[i] > 255) {
                    long long shown = std::clamp<long long>(integers[i], INT_MIN, INT_MAX);
                    XERROR("illegal %s component value (%d)", channel_names[i],
                           static_cast<int>(shown));
                    return 0;
                }
                c[i] = static_cast<T>(integers[i]);
            }
        }
        std::memcpy(value, c, sizeof c);
        return 1;
    }

    static int compare(const void *a, const void *b) {
        T x[N], y[N];
        load(a, x);
        load(b, y);
        for (int i = 0; i < N; ++i)
            if (!(x[i] == y[i]))
                return 1;
        return 0;
    }
};

void print_pixel(const void *value, char *text) {
    std::uint32_t v;
    std::memcpy(&v, value, sizeof v);
    std::snprintf(text, DTYPE_TEXT_MAX, "0x%08x", static_cast<unsigned>(v));
}

int scan_pixel(const char *text, void *value) {
    int ok = 0;
    for (const char *c = text; *c; ++c)
        if (*c == '-') {
            XERROR("'%s' is not a valid pixel value", text);
            return 0;
        }
    unsigned long parsed = xatoul(text, &ok);
    if (!ok || !*text || parsed > 0xFFFFFFFFul) {
        XERROR("'%s' is not a valid pixel value", text);
        return 0;
    }
    auto v = static_cast<std::uint32_t>(parsed);
    std::memcpy(value, &v, sizeof v);
    return 1;
}

int compare_pixel(const void *a, const void *b) {
    return std::memcmp(a, b, sizeof(std::uint32_t)) != 0;
}

// References: the value is a pointer to the referenced object.
template <class T> const T *load_reference(const void *value) {
    const T *object;
    std::memcpy(&object, value, sizeof object);
    return object;
}

void print_cmap(const void *value, char *text) {
    const colormap *map = load_reference<colormap>(value);
    if (map)
        std::snprintf(text, DTYPE_TEXT_MAX, "colormap of %d colors", map->size);
    else
        std::snprintf(text, DTYPE_TEXT_MAX, "null");
}

void print_bitmap(const void *value, char *text) {
    const bitmap *image = load_reference<bitmap>(value);
    if (image)
        std::snprintf(text, DTYPE_TEXT_MAX, "bitmap '%s' (%ux%u, %d bpp)", bitmap_get_name(image),
                      image->xsize, image->ysize, image->bpp);
    else
        std::snprintf(text, DTYPE_TEXT_MAX, "null");
}

int scan_reference(const char *, void *) {
    XERROR("xassert(%s) failed", "type has a text form");
    return 0;
}

int compare_reference(const void *a, const void *b) {
    return std::memcmp(a, b, sizeof(void *)) != 0;
}

const dtype_entry extended_types[] = {
    {"rgbpack", BITMAPFX_TYPE_RGBPACK, 3, colour_type<std::uint8_t, 3>::print,
     colour_type<std::uint8_t, 3>::scan, colour_type<std::uint8_t, 3>::compare},
    {"rgbapack", BITMAPFX_TYPE_RGBAPACK, 4, colour_type<std::uint8_t, 4>::print,
     colour_type<std::uint8_t, 4>::scan, colour_type<std::uint8_t, 4>::compare},
    {"rgbint", BITMAPFX_TYPE_RGBINT, 12, colour_type<std::int32_t, 3>::print,
     colour_type<std::int32_t, 3>::scan, colour_type<std::int32_t, 3>::compare},
    {"rgbaint", BITMAPFX_TYPE_RGBAINT, 16, colour_type<std::int32_t, 4>::print,
     colour_type<std::int32_t, 4>::scan, colour_type<std::int32_t, 4>::compare},
    {"rgbscalar", BITMAPFX_TYPE_RGBSCALAR, 24, colour_type<double, 3>::print,
     colour_type<double, 3>::scan, colour_type<double, 3>::compare},
    {"rgbascalar", BITMAPFX_TYPE_RGBASCALAR, 32, colour_type<double, 4>::print,
     colour_type<double, 4>::scan, colour_type<double, 4>::compare},
    {"pixel", BITMAPFX_TYPE_PIXEL, 4, print_pixel, scan_pixel, compare_pixel},
    {"cmap", BITMAPFX_TYPE_CMAP, BITMAPFX_CMAP_SIZE, print_cmap, scan_reference, compare_reference},
    {"bitmap", BITMAPFX_TYPE_BITMAP, BITMAPFX_BITMAP_SIZE, print_bitmap, scan_reference,
     compare_reference},
    {nullptr, 0, 0, nullptr, nullptr, nullptr},
};

bool types_installed = false;

} // namespace

void bitmapfx_install_types() {
    if (types_installed)
        return;
    dtype_extend(extended_types);
    types_installed = true;
}
