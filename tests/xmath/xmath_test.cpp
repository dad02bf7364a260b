#include "xmath/xmath.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>

namespace {

float from_bits(std::uint32_t bits) {
    return std::bit_cast<float>(bits);
}

} // namespace

TEST(XmathFastSqrt, ExactAtEvenPowersOfTwoAndZero) {
    EXPECT_EQ(xmath_fast_sqrt(4.0f), 2.0f);
    EXPECT_EQ(xmath_fast_sqrt(1.0f), 1.0f);
    EXPECT_EQ(xmath_fast_sqrt(0.25f), 0.5f);
    EXPECT_EQ(xmath_fast_sqrt(1024.0f), 32.0f);
    EXPECT_EQ(xmath_fast_sqrt(0.0f), 0.0f);
    EXPECT_EQ(xmath_fast_sqrt(-0.0f), 0.0f);
}

TEST(XmathFastSqrt, OddExponentsUseTheUpperHalfOfTheTable) {
    // 2 is m = 1 with an odd exponent: the root of 2 rounded to a float.
    EXPECT_EQ(xmath_fast_sqrt(2.0f), std::sqrt(2.0f));
    EXPECT_EQ(xmath_fast_sqrt(8.0f), 2.0f * std::sqrt(2.0f));
    // Below 1 the exponent floors: 0.5 has exponent -1, root exponent -1.
    EXPECT_EQ(xmath_fast_sqrt(0.5f), 0.5f * std::sqrt(2.0f));
}

TEST(XmathFastSqrt, KeepsOnlySevenMantissaBits) {
    // All inputs sharing exponent and top seven mantissa bits give one result,
    // which is the correctly rounded root of the truncated input.
    const float low = from_bits(0x40a30000u);  // 5.09375
    const float high = from_bits(0x40a3ffffu); // just below the next step
    EXPECT_EQ(xmath_fast_sqrt(low), xmath_fast_sqrt(high));
    EXPECT_EQ(xmath_fast_sqrt(high), std::sqrt(low));
    EXPECT_NE(xmath_fast_sqrt(from_bits(0x40a40000u)), xmath_fast_sqrt(low));
    EXPECT_EQ(xmath_fast_sqrt(3.0f), std::sqrt(3.0f)); // 3 needs only one mantissa bit
}

TEST(XmathFastSqrt, RelativeErrorStaysBelowFourTenthsOfAPercent) {
    // Sweep many exponents and every mantissa step, including the worst case
    // just below each step.
    double worst = 0.0;
    for (std::uint32_t exponent = 100; exponent < 160; ++exponent)
        for (std::uint32_t step = 0; step < 128; ++step)
            for (std::uint32_t low : {0x0u, 0x7fffu, 0xffffu}) {
                const float x = from_bits((exponent << 23) | (step << 16) | low);
                const double exact = std::sqrt(static_cast<double>(x));
                const double fast = xmath_fast_sqrt(x);
                ASSERT_LE(fast, exact * (1.0 + 1e-7)) << x; // never above the true root
                worst = std::max(worst, (exact - fast) / exact);
            }
    EXPECT_LT(worst, 0.004);
    EXPECT_GT(worst, 0.003); // the precision really is limited, not refined
}

TEST(XmathFastAtan, PolynomialValues) {
    EXPECT_DOUBLE_EQ(xmath_fast_atan(1.0), 0.7854096);
    EXPECT_GT(xmath_fast_atan(1.0), std::atan(1.0));
    EXPECT_EQ(xmath_fast_atan(0.0), 0.0);
    EXPECT_DOUBLE_EQ(xmath_fast_atan(-1.0), -0.7854096);
    for (double x = -1.0; x <= 1.0; x += 1.0 / 64) {
        EXPECT_EQ(xmath_fast_atan(-x), -xmath_fast_atan(x));
        EXPECT_NEAR(xmath_fast_atan(x), std::atan(x), 2e-5) << x;
    }
}
