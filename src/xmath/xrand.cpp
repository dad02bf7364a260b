#include "xmath/xrand.h"

#include "core/dtype.h"
#include "core/message.h"
#include "file/config.h"
#include "platform/linux/gcc/desktop/system.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <type_traits>

static constexpr const char *source_file = "./src/xmath/xrand.c";
static constexpr const char *source_ident = "xrand";

namespace {

// The packed word is 5 × rear position + type, so 5 is also its modulus.
constexpr int type_count = 5;
constexpr int degrees[type_count] = {0, 7, 15, 31, 63};
constexpr int separations[type_count] = {0, 3, 1, 3, 1};
constexpr std::uint32_t multiplier = 1103515245u;
constexpr std::uint32_t increment = 12345u;
// xrand() values are reduced mod 2^31 - 1 and scaled by 2^-31 into [0, 1).
constexpr std::int32_t modulus = 2147483647;
constexpr std::int64_t two_pow_31 = 2147483648LL;

const char *const seed_header = "*.runtime.random-seeds";

// Exactly the words seed 1 leaves in the 31-word table, with both taps back at
// their start: an unseeded program draws the seed-1 sequence.
std::uint32_t randtbl[32] = {
    3,          0x9a319039, 0x32d9c024, 0x9b663182, 0x5da1f342, 0xde3b81e0, 0xdf0a6fb5, 0xf103bc02,
    0x48f340fb, 0x7449e56b, 0xbeb1dbb0, 0xab5c5918, 0x946554fd, 0x8c2e680f, 0xeb3d799f, 0xb11ee0b7,
    0x2d436b86, 0xda672e2a, 0x1588ca88, 0xe369735d, 0x904f35f7, 0xd7158fd6, 0x6fa6f051, 0x616e6b96,
    0xac94efdc, 0x36413f93, 0xc622c298, 0xf5a42ab8, 0x8a88d77b, 0xf5ad9d0e, 0x8999220b, 0x27fb47b9,
};

std::uint32_t *state = &randtbl[1];
int rand_type = 3;
int rand_deg = 31;
int rand_sep = 3;
std::uint32_t *fptr = &randtbl[1 + 3];
std::uint32_t *rptr = &randtbl[1];
std::uint32_t *end_ptr = &randtbl[1 + 31];
bool initialized = false;

// The polar method makes normal deviates in pairs; the second waits here.
bool gauss_pending = false;
double gauss_v2 = 0.0;
double gauss_s = 0.0;

inline std::int32_t draw() {
    if (rand_type == 0) {
        state[0] = (multiplier * state[0] + increment) & 0x7fffffffu;
        return static_cast<std::int32_t>(state[0]);
    }
    *fptr += *rptr;
    const std::uint32_t value = *fptr >> 1;
    if (++fptr >= end_ptr) {
        fptr = state;
        ++rptr;
    } else if (++rptr >= end_ptr) {
        rptr = state;
    }
    return static_cast<std::int32_t>(value);
}

// The raw value reduced so that 2^31 - 1 cannot come out: 0 to 2^31 - 2.
inline std::int32_t reduced_draw() {
    return draw() % modulus;
}

void store_packed_word() {
    state[-1] =
        rand_type == 0 ? 0u : static_cast<std::uint32_t>(type_count * (rptr - state) + rand_type);
}

void seed_state(std::uint32_t seed) {
    state[0] = seed;
    if (rand_type == 0)
        return;
    for (int i = 1; i < rand_deg; ++i)
        state[i] = multiplier * state[i - 1] + increment;
    rptr = state;
    fptr = state + rand_sep;
    for (int i = 0; i < 10 * rand_deg; ++i)
        draw();
}

void select_type(int type) {
    rand_type = type;
    rand_deg = degrees[type];
    rand_sep = separations[type];
}

int type_for_size(int bytes) {
    if (bytes < 32)
        return 0;
    if (bytes < 64)
        return 1;
    if (bytes < 128)
        return 2;
    if (bytes < 256)
        return 3;
    return 4;
}

bool word_aligned(const void *buffer) {
    return buffer && reinterpret_cast<std::uintptr_t>(buffer) % alignof(std::uint32_t) == 0;
}

template <class T> std::uint32_t magnitude(T value) {
    using unsigned_t = std::make_unsigned_t<T>;
    const auto bits = static_cast<unsigned_t>(value);
    return static_cast<std::uint32_t>(value < 0 ? unsigned_t{0} - bits : bits);
}

} // namespace

std::int32_t xrandom() {
    return draw();
}

void *xrandom_initstate(std::uint32_t seed, void *buffer, int bytes) {
    void *previous = state - 1;
    store_packed_word();
    if (bytes < 8) {
        XERROR("xrand: not enough state (%d bytes); ignored.\n", bytes);
        return nullptr;
    }
    if (!word_aligned(buffer)) {
        XERROR("xassert(%s) failed", "word_aligned(buffer)");
        return nullptr;
    }
    select_type(type_for_size(bytes));
    state = static_cast<std::uint32_t *>(buffer) + 1;
    end_ptr = state + rand_deg;
    seed_state(seed);
    store_packed_word();
    return previous;
}

void *xrandom_setstate(void *buffer) {
    if (!word_aligned(buffer)) {
        XERROR("xassert(%s) failed", "word_aligned(buffer)");
        return nullptr;
    }
    void *previous = state - 1;
    store_packed_word();
    auto *words = static_cast<std::uint32_t *>(buffer);
    // Read signed: a corrupted word shows as a negative type.
    const auto packed = static_cast<std::int32_t>(words[0]);
    const int type = packed % type_count;
    int rear = packed / type_count;
    const bool type_valid = type >= 0 && type < type_count;
    if (type_valid)
        select_type(type);
    else
        XERROR("state info corrupted; not changed");
    state = words + 1;
    if (rand_type != 0) {
        // A rear position outside the table would put both taps outside the
        // caller's buffer; such a word is as corrupted as a bad type, and the
        // taps then start from the beginning.
        if (rear < 0 || rear >= rand_deg) {
            if (type_valid)
                XERROR("state info corrupted; not changed");
            rear = 0;
        }
        rptr = state + rear;
        fptr = state + (rear + rand_sep) % rand_deg;
    }
    end_ptr = state + rand_deg;
    return previous;
}

void xrand_init() {
    std::uint32_t seed = magnitude(system_getpid()) *
                         (static_cast<std::uint32_t>(std::time(nullptr)) * magnitude(std::clock()));
    std::uint32_t saved_seed = 0;
    std::int32_t add_saved_seed = 0;
    // Each value stays at its default when the key is missing or "null".
    config_get(seed_header, "seed.rand", DTYPE_UINT, 4, &seed);
    config_get(seed_header, "seed.save", DTYPE_UINT, 4, &saved_seed);
    config_get(seed_header, "seed.incr", DTYPE_BOOL, 4, &add_saved_seed);
    if (add_saved_seed)
        seed += saved_seed;
    if (initialized)
        XWARNING("re-initializing random seed");
    XVERBOSE("using seed 0x%08x for randomizer", seed);
    char text[16];
    std::snprintf(text, sizeof text, "%u", seed);
    if (!config_put(seed_header, "seed.save", text))
        XWARNING("failed to store random seed to configuration");
    initialized = true;
    seed_state(seed);
}

std::int32_t xrand() {
    return reduced_draw();
}

std::int32_t xrand_mm(std::int32_t min, std::int32_t max) {
    // min + (max - min) × k / 2^31 worked exactly in 64-bit integers: the
    // division truncates toward zero, and no rounding can lift a value onto
    // max.  Wherever a double holds the product exactly (spans below 2^22)
    // this is the same value floating point gives.
    const std::int64_t k = reduced_draw();
    const std::int64_t span = static_cast<std::int64_t>(max) - min;
    return static_cast<std::int32_t>((static_cast<std::int64_t>(min) * two_pow_31 + span * k) /
                                     two_pow_31);
}

double xrand_fmm(double min, double max) {
    const long double u = static_cast<long double>(reduced_draw()) / two_pow_31;
    return static_cast<double>(min + (static_cast<long double>(max) - min) * u);
}

double xrand_gauss() {
    if (gauss_pending) {
        gauss_pending = false;
        return gauss_v2 * std::sqrt(-2.0 * std::log(gauss_s) / gauss_s);
    }
    double v1, v2, s;
    do {
        const double u1 = reduced_draw() / 2147483647.0;
        const double u2 = reduced_draw() / 2147483647.0;
        v1 = 2.0 * u1 - 1.0;
        v2 = 2.0 * u2 - 1.0;
        s = v1 * v1 + v2 * v2;
    } while (s >= 1.0 || s == 0.0);
    gauss_v2 = v2;
    gauss_s = s;
    gauss_pending = true;
    return v1 * std::sqrt(-2.0 * std::log(s) / s);
}

bool xrand_bool() {
    // 100 × u is exact in a double and never lies halfway between integers,
    // so the rounding direction of ties cannot matter.
    const double u = static_cast<double>(reduced_draw()) / two_pow_31;
    return std::round(100.0 * u) > 50.0;
}
