#include "xmath/xmath.h"

#include "core/memio/gc.h"
#include "core/memio/memio.h"

#include <bit>
#include <cmath>
#include <cstdint>

namespace {

// The memory tracker names the table after the "file" it was allocated from.
constexpr const char *table_name = "sqrt-table";

std::uint32_t *sqrt_table = nullptr;

std::uint32_t root_mantissa(std::uint32_t float_bits) {
    return std::bit_cast<std::uint32_t>(std::sqrt(std::bit_cast<float>(float_bits))) & 0x7fffffu;
}

// Entries 0..127 hold the roots of m in [1, 2), entries 128..255 those of m in
// [2, 4), each m taken with its top seven mantissa bits only.
void build_sqrt_table() {
    auto *table =
        static_cast<std::uint32_t *>(xcalloc(256, sizeof(std::uint32_t), table_name, __LINE__));
    for (std::uint32_t i = 0; i < 128; ++i) {
        table[i] = root_mantissa((i << 16) | 0x3f800000u);
        table[128 + i] = root_mantissa((i << 16) | 0x40000000u);
    }
    gc_add_internal__(table, table_name, __LINE__);
    sqrt_table = table;
}

} // namespace

float xmath_fast_sqrt(float x) {
    if (!sqrt_table) [[unlikely]]
        build_sqrt_table();
    if (x == 0.0f)
        return 0.0f;
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(x);
    const int exponent = static_cast<int>(bits >> 23) - 127;
    std::uint32_t index = (bits >> 16) & 0x7fu;
    if (exponent & 1)
        index += 128;
    // The shift floors, so exponents below zero halve correctly (-1 gives -1).
    const auto half_exponent = static_cast<std::uint32_t>((exponent >> 1) + 127);
    return std::bit_cast<float>((half_exponent << 23) + sqrt_table[index]);
}

double xmath_fast_atan(double x) {
    const double s = x * x;
    return x * (0.999866 + s * (-0.3302995 + s * (0.180141 + s * (-0.085133 + s * 0.0208351))));
}
