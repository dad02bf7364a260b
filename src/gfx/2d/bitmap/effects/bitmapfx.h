// Image effects ("fx drivers"): the registry and calling convention.
//
// Every effect is a static `bitmapfx_driver` record with a name, a table of
// typed parameters and a table of named procedures.  The application
// registers each driver once at start-up (bitmapfx_drivers.h lists them);
// records are never removed and their parameter values live in the driver's
// own static storage.
//
// Parameters: a parameter with storage (`value` points at the driver's own
// variable when the driver is registered) is copied in and out, `size` bytes
// at a time.  A parameter without storage (the bitmaps) keeps the caller's
// reference in `value` itself; storing never copies or frees the referenced
// object.  "Empty" means a null reference, or storage whose bytes are all 0.
//
// Ownership and results:
// - `bitmapfx_simple` returns a new bitmap owned by the caller; the caller's
//   bitmap is neither changed nor freed.  `bitmapfx_simple2` consumes the
//   bitmap at the given address and stores the new one there.  Both return
//   null when the effect produced nothing or a conversion failed.
// - `bitmapfx_talk` with null returns the reference (bitmaps) or the address
//   of the driver's storage (everything else); that storage stays the
//   driver's.
// - Errors go through the error channel and end the program; when an error
//   target returns instead, the functions return their failure value.
#pragma once

#include "core/dtype.h"

#include <cstdint>
#include <type_traits>

struct bitmap;
struct bitmapfx_driver;

// A procedure's result: "fx" returns the target bitmap, others usually null.
using bitmapfx_operation = void *(*)(bitmapfx_driver *driver);

struct bitmapfx_procedure {
    const char *name; // "fx", "rand", "init", "deinit", ...; null ends a table
    const char *help;
    bitmapfx_operation operation;
};

// Parameter flags.
enum : std::uint32_t {
    BITMAPFX_REQUIRED = 2,     // must hold a value before a call
    BITMAPFX_NOT_STORABLE = 4, // never written by put_parameter, never set from a preset
    BITMAPFX_CLEANED_UP = 8,   // emptied by bitmapfx_reset; must be empty before a call
    BITMAPFX_SOURCE = 16,      // the source bitmap
    BITMAPFX_TARGET = 32,      // the target bitmap
};

struct bitmapfx_parameter {
    const char *key;  // null ends a table
    const char *help; // may be null
    // Null, or the ";"-separated procedure names for which the flags are
    // checked before a call (null: checked for every procedure).
    const char *procedures;
    std::uint32_t flags;
    std::uint32_t type;      // typed-value code (core/dtype.h, or the codes below)
    std::uint32_t size;      // bytes of the value
    void *value;             // the driver's storage, or the reference itself
    std::int32_t write_flag; // set at registration: 1 with storage, else 0
};

struct bitmapfx_driver {
    bitmapfx_driver *next; // registry link, set at registration
    std::uint32_t hash;    // hash_string(name), set at registration
    const char *name;
    const char *file;    // source file name
    const char *preset;  // preset file path, e.g. "$path.presets$/raytrace.preset"
    const char *comment; // one line of description
    // Null-terminated depth words, "in" or "out" and a depth ("in24", "out*"),
    // matched as wildcard patterns.
    const char *const *supported;
    bitmapfx_parameter *param_list;
    const bitmapfx_procedure *proc_list;
};

// The typed values the effect framework adds to the standard types.  Pack
// types hold one byte per channel, int types one 32-bit integer per channel,
// scalar types one double per channel.  Text forms: "r:%3d g:%3d b:%3d",
// "r:%f g:%f b:%f" and the like; channels range over 0..255 for pack and int
// types and 0.0..1.0 for scalar types.  A pixel is a raw 32-bit pixel value,
// written "0x%08x" and read as any number form of the library.  "cmap" and
// "bitmap" are references (a colormap or bitmap pointer) without a text form
// that can be read back: they print a short description and refuse scanning.
enum : std::uint32_t {
    BITMAPFX_TYPE_CMAP = 0xa01f,
    BITMAPFX_TYPE_RGBPACK = 0xa02f,
    BITMAPFX_TYPE_RGBAPACK = 0xa03f,
    BITMAPFX_TYPE_RGBINT = 0xa04f,
    BITMAPFX_TYPE_RGBAINT = 0xa05f,
    BITMAPFX_TYPE_RGBSCALAR = 0xa06f,
    BITMAPFX_TYPE_RGBASCALAR = 0xa07f,
    BITMAPFX_TYPE_BITMAP = 0xa08f,
    BITMAPFX_TYPE_PIXEL = 0xa09f,
};

struct rgbpack {
    std::uint8_t r, g, b;
};
struct rgbapack {
    std::uint8_t r, g, b, a;
};
struct rgbint {
    std::int32_t r, g, b;
};
struct rgbaint {
    std::int32_t r, g, b, a;
};
struct rgbscalar {
    double r, g, b;
};
struct rgbascalar {
    double r, g, b, a;
};

// Sizes as parameter records and preset files state them.  A bitmap
// reference is declared with 36 bytes whatever the host's pointer size: it is
// never copied, only kept by reference.
inline constexpr std::uint32_t BITMAPFX_BITMAP_SIZE = 36;
inline constexpr std::uint32_t BITMAPFX_CMAP_SIZE = 8;

// The two bitmap parameters every effect carries, first in its table.  The
// source is not cleaned up (bitmapfx_simple stores it just before the call,
// and a cleaned-up parameter must be empty then); bitmapfx_simple empties it
// itself afterwards.
#define BITMAPFX_SOURCE_BITMAP                                                                     \
    bitmapfx_parameter {                                                                           \
        .key = "source_bitmap", .help = nullptr, .procedures = "fx", .flags = BITMAPFX_SOURCE,     \
        .type = BITMAPFX_TYPE_BITMAP, .size = BITMAPFX_BITMAP_SIZE, .value = nullptr,              \
        .write_flag = 0                                                                            \
    }
#define BITMAPFX_TARGET_BITMAP                                                                     \
    bitmapfx_parameter {                                                                           \
        .key = "target_bitmap", .help = nullptr, .procedures = "fx",                               \
        .flags = BITMAPFX_CLEANED_UP | BITMAPFX_TARGET, .type = BITMAPFX_TYPE_BITMAP,              \
        .size = BITMAPFX_BITMAP_SIZE, .value = nullptr, .write_flag = 0                            \
    }
#define BITMAPFX_PARAMETER_END                                                                     \
    bitmapfx_parameter {                                                                           \
        .key = nullptr, .help = nullptr, .procedures = nullptr, .flags = 0, .type = 0, .size = 0,  \
        .value = nullptr, .write_flag = 0                                                          \
    }

// Parameter rows, one line each.  The type code follows from the C++ type
// of the driver's storage: std::int32_t is "int", double "scalar", the colour
// records their extended types and a char[4096] buffer "string".  Use
// bitmapfx_param_typed where the storage type alone does not say it (a
// 32-bit "bool" flag, an unsigned number, a "pixel").
template <class T> constexpr std::uint32_t bitmapfx_type_of() {
    using U = std::remove_cv_t<T>;
    if constexpr (std::is_same_v<U, std::int32_t>)
        return DTYPE_INT;
    else if constexpr (std::is_same_v<U, std::uint32_t>)
        return DTYPE_UINT;
    else if constexpr (std::is_same_v<U, double>)
        return DTYPE_DOUBLE;
    else if constexpr (std::is_same_v<U, rgbpack>)
        return BITMAPFX_TYPE_RGBPACK;
    else if constexpr (std::is_same_v<U, rgbapack>)
        return BITMAPFX_TYPE_RGBAPACK;
    else if constexpr (std::is_same_v<U, rgbint>)
        return BITMAPFX_TYPE_RGBINT;
    else if constexpr (std::is_same_v<U, rgbaint>)
        return BITMAPFX_TYPE_RGBAINT;
    else if constexpr (std::is_same_v<U, rgbscalar>)
        return BITMAPFX_TYPE_RGBSCALAR;
    else if constexpr (std::is_same_v<U, rgbascalar>)
        return BITMAPFX_TYPE_RGBASCALAR;
    else if constexpr (std::is_same_v<U, char[4096]>)
        return DTYPE_STRING;
    else
        static_assert(sizeof(U) == 0, "no typed-value code for this storage type");
}

template <class T>
constexpr bitmapfx_parameter bitmapfx_param_typed(const char *key, const char *help,
                                                  std::uint32_t type, T &storage,
                                                  std::uint32_t flags = 0) {
    return {.key = key,
            .help = help,
            .procedures = nullptr,
            .flags = flags,
            .type = type,
            .size = sizeof(T),
            .value = &storage,
            .write_flag = 0};
}

template <class T>
constexpr bitmapfx_parameter bitmapfx_param(const char *key, const char *help, T &storage,
                                            std::uint32_t flags = 0) {
    return bitmapfx_param_typed(key, help, bitmapfx_type_of<T>(), storage, flags);
}

// A bitmap (or colormap) passed by reference, without storage of its own:
// kept as the caller's pointer, checked for the procedures listed.
constexpr bitmapfx_parameter bitmapfx_reference_param(const char *key, const char *help,
                                                      std::uint32_t flags = 0,
                                                      const char *procedures = "fx",
                                                      std::uint32_t type = BITMAPFX_TYPE_BITMAP) {
    return {.key = key,
            .help = help,
            .procedures = procedures,
            .flags = flags,
            .type = type,
            .size = type == BITMAPFX_TYPE_BITMAP ? BITMAPFX_BITMAP_SIZE : BITMAPFX_CMAP_SIZE,
            .value = nullptr,
            .write_flag = 0};
}

// Installs the extended types with the typed-value service (registration
// does this before its first driver check; calling it again does nothing).
void bitmapfx_install_types();

// Registers a driver at the head of the list and checks it: a duplicate name
// is a warning and leaves the first record alone; hash or preset collisions,
// parameters that do not read back what they print and parameters sharing
// storage are errors (the driver is then not registered).
void bitmapfx_register_driver(bitmapfx_driver *driver);

// The newest driver whose name matches `name` (wildcards both ways), or null.
bitmapfx_driver *bitmapfx_find_driver(const char *name);
// The same; a missing driver is the error "failed to find fx driver '%s'".
bitmapfx_driver *bitmapfx_get_driver(const char *name);
// The registry's head (newest driver), for walking the list through `next`.
bitmapfx_driver *bitmapfx_first_driver();
// 1 when the driver has a procedure of that name, else 0.
int bitmapfx_is_subproc(const bitmapfx_driver *driver, const char *name);

// Stores a parameter: a copy of `size` bytes from `value` into the storage
// (null zeroes it), or the reference itself.  Bitmaps given to source and
// target parameters must have a depth the driver supports.  1 on success, 0
// when the key is unknown, the parameter is not storable or a check failed.
int put_parameter(bitmapfx_driver *driver, const char *key, const void *value);
// Reads a parameter into *value: the reference, or the storage address.
// 1 on success, 0 when the key is unknown or a held bitmap's depth is not
// supported.
int get_parameter(bitmapfx_driver *driver, const char *key, void **value);

// Runs a procedure (null: "fx", with "init" before and "deinit" after when
// the driver has them) after checking the parameter flags.  Returns the
// procedure's result, null when the call was refused.
void *bitmapfx_call(bitmapfx_driver *driver, const char *procedure);

// With a value: stores it (put_parameter) and returns null.  With null:
// returns the parameter's value (get_parameter).  Failures are errors.
void *bitmapfx_talk(bitmapfx_driver *driver, const char *key, const void *value);
// The same without messages: a failed read returns null.
void *bitmapfx_talk_raw(bitmapfx_driver *driver, const char *key, const void *value);
// Sets a parameter from its text form.  1 on success, 0 after an error.
int bitmapfx_shout(const char *driver_name, const char *key, const char *text);
// Empties every cleaned-up parameter.
void bitmapfx_reset(bitmapfx_driver *driver);

// Runs "fx" on a copy of `image`, converted first to the highest depth the
// driver reads when it does not read the image's own depth, and converted
// back afterwards.  Returns the new target bitmap (the caller's).
bitmap *bitmapfx_simple(bitmapfx_driver *driver, const bitmap *image);
// The same on the bitmap at `place`, which is consumed: the target replaces
// it there and is returned.  On failure null is returned and *place holds a
// valid bitmap (possibly converted to the driver's depth).
bitmap *bitmapfx_simple2(bitmapfx_driver *driver, bitmap **place);

// Prints the registry to the standard output: with `long_form` non-zero
// each driver's procedures and parameters too, otherwise only the drivers.
void bitmapfx_list_drivers(int long_form);

// Text form of a parameter's current value as a preset shows it: the printed
// value, or "null" for a parameter without storage or a type that has no
// text form.  `text` holds at least DTYPE_TEXT_MAX bytes.  Returns `text`.
char *bitmapfx_print_parameter(const bitmapfx_parameter *parameter, char *text);
// The number of parameters in a driver's table.
int bitmapfx_parameter_count(const bitmapfx_driver *driver);
// 1 when the parameter's value is empty (see the header's opening note).
int bitmapfx_parameter_empty(const bitmapfx_parameter *parameter);
// 1 when "in" or "out" (`direction`) followed by `bpp` matches a word of the
// driver's `supported` list.  A driver without the list fails the assertion.
int bitmapfx_supports(const bitmapfx_driver *driver, const char *direction, int bpp);
