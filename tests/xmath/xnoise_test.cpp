#include "support/child.h"
#include "xmath_test_support.h"

#include "xmath/xnoise.h"
#include "xmath/xrand.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numbers>
#include <set>
#include <string>
#include <vector>

namespace {

// Points spread over many cells, away from lattice planes, without touching
// the program's generator.
struct point {
    float x, y, z;
};

std::vector<point> sample_points(int count) {
    std::vector<point> points;
    std::uint32_t state = 12345u;
    auto next = [&] {
        state = state * 1664525u + 1013904223u;
        return static_cast<float>(state >> 8) / 16777216.0f;
    };
    for (int i = 0; i < count; ++i)
        points.push_back(
            {next() * 600.0f - 300.0f, next() * 600.0f - 300.0f, next() * 600.0f - 300.0f});
    return points;
}

} // namespace

TEST(XnoiseLattice, ZeroAtEveryLatticePoint) {
    for (int x = -20; x <= 20; x += 3)
        for (int y = -20; y <= 20; y += 5)
            for (int z = -300; z <= 300; z += 37)
                ASSERT_EQ(
                    xnoise(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)),
                    0.0f)
                    << x << " " << y << " " << z;
}

TEST(XnoiseLattice, SlopeAtLatticePointsIsOneOfTwelveEdgeDirections) {
    // Next to a lattice point the noise is its gradient's dot product with the
    // offset (the other corners weigh in only at third order), so one-sided
    // differences reveal the gradient: two components of one magnitude, the
    // third zero.
    const float step = 1.0f / 1024.0f;
    std::set<std::vector<int>> directions;
    float magnitude = 0.0f;
    for (int x = 0; x < 8; ++x)
        for (int y = 0; y < 8; ++y)
            for (int z = -4; z < 4; ++z) {
                const float fx = static_cast<float>(x), fy = static_cast<float>(y),
                            fz = static_cast<float>(z);
                const float slope[3] = {xnoise(fx + step, fy, fz) / step,
                                        xnoise(fx, fy + step, fz) / step,
                                        xnoise(fx, fy, fz + step) / step};
                std::vector<int> direction;
                int zeros = 0;
                for (float s : slope) {
                    if (std::fabs(s) < 0.01f) {
                        ++zeros;
                        direction.push_back(0);
                    } else {
                        magnitude = std::max(magnitude, std::fabs(s));
                        ASSERT_NEAR(std::fabs(s), magnitude, 0.01f);
                        direction.push_back(s > 0 ? 1 : -1);
                    }
                }
                ASSERT_EQ(zeros, 1) << x << " " << y << " " << z;
                directions.insert(direction);
            }
    EXPECT_EQ(directions.size(), 12u);
    EXPECT_GT(magnitude, 0.9f);
}

TEST(XnoiseContinuity, ValueSlopeAndCurvatureMeetAcrossCellBorders) {
    const float h = 1.0f / 256.0f;
    for (const point &p : sample_points(2000)) {
        // Put one coordinate on a cell border in turn.
        for (int axis = 0; axis < 3; ++axis) {
            float at[3] = {p.x, p.y, p.z};
            at[axis] = std::round(at[axis]);
            auto f = [&](float steps) {
                float q[3] = {at[0], at[1], at[2]};
                q[axis] += steps * h;
                return xnoise(q[0], q[1], q[2]);
            };
            const float on = f(0), before = f(-1), after = f(1);
            // Values meet: no jump beyond what a slope of a few units gives.
            ASSERT_NEAR(before, on, 8.0f * h);
            ASSERT_NEAR(after, on, 8.0f * h);
            // Slopes meet: the one-sided slopes agree.
            ASSERT_NEAR((on - before) / h, (after - on) / h, 0.2f);
            // Curvatures meet (the quintic fade's second derivative vanishes
            // at both ends of a cell, a cubic one's would jump here).
            const float curvature_before = (on - 2.0f * before + f(-2)) / (h * h);
            const float curvature_after = (f(2) - 2.0f * after + on) / (h * h);
            ASSERT_NEAR(curvature_before, curvature_after, 1.5f) << axis;
        }
    }
}

TEST(XnoiseRange, StaysInsideMinusOneToOneAndUsesIt) {
    float lowest = 0.0f, highest = 0.0f;
    double sum = 0.0;
    const auto points = sample_points(300000);
    for (const point &p : points) {
        const float value = xnoise(p.x, p.y, p.z);
        ASSERT_GE(value, -1.0f);
        ASSERT_LE(value, 1.0f);
        lowest = std::min(lowest, value);
        highest = std::max(highest, value);
        sum += value;
    }
    EXPECT_LT(lowest, -0.6f);
    EXPECT_GT(highest, 0.6f);
    EXPECT_NEAR(sum / static_cast<double>(points.size()), 0.0, 0.01);
}

TEST(XnoiseDeterminism, RepeatsExactlyAndWithThePeriod) {
    for (const point &p : sample_points(200)) {
        const float value = xnoise(p.x, p.y, p.z);
        EXPECT_EQ(xnoise(p.x, p.y, p.z), value);
    }
    // Period 256 on each axis, at coordinates a float holds exactly.
    for (float x : {0.375f, 1.625f, -3.25f}) {
        EXPECT_EQ(xnoise(x + 256.0f, 0.75f, 2.5f), xnoise(x, 0.75f, 2.5f));
        EXPECT_EQ(xnoise(0.75f, x - 512.0f, 2.5f), xnoise(0.75f, x, 2.5f));
        EXPECT_EQ(xnoise(2.5f, 0.75f, x + 256.0f * 1000.0f), xnoise(2.5f, 0.75f, x));
    }
}

TEST(XnoiseDeterminism, HugeAndNonFiniteCoordinatesAreSafe) {
    const float huge = 3.0e9f; // a multiple of 256, so the plane of cell 0
    EXPECT_EQ(xnoise(huge, 0.25f, 0.5f), xnoise(0.0f, 0.25f, 0.5f));
    EXPECT_EQ(xnoise(-huge, 0.25f, 0.5f), xnoise(0.0f, 0.25f, 0.5f));
    const float inf = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(xnoise(inf, 0.25f, 0.5f), xnoise(0.0f, 0.25f, 0.5f));
    EXPECT_EQ(xnoise(0.25f, nan, 0.5f), xnoise(0.25f, 0.0f, 0.5f));
    EXPECT_EQ(xnoise(nan, nan, nan), 0.0f);
    EXPECT_EQ(xnoise_turbulence(nan, 1.0f, 2.0f, 8), xnoise_turbulence(0.0f, 1.0f, 2.0f, 8));
}

TEST(XnoiseDeterminism, NeverTouchesTheProgramsRandomNumbers) {
    // In a program that has drawn nothing and built no noise table yet.
    expect_in_child(
        [] {
            xnoise(0.3f, 0.4f, 0.5f); // builds the table
            const int first = xrandom(), second = xrandom();
            std::fprintf(stderr, "[%d %d]", first, second);
        },
        "\\[2078917053 143302914\\]");
    // And the noise does not follow the generator's state.
    float before, after;
    {
        borrowed_state buffer(1, 128);
        before = xnoise(10.3f, -4.7f, 0.9f);
    }
    {
        borrowed_state buffer(987654321u, 256);
        xrandom();
        after = xnoise(10.3f, -4.7f, 0.9f);
    }
    EXPECT_EQ(before, after);
    xnoise_init(); // a second build request changes nothing
    EXPECT_EQ(xnoise(10.3f, -4.7f, 0.9f), before);
}

TEST(XnoiseVector, ComponentsAreNoisesFromUnrelatedParts) {
    double products = 0.0, squares0 = 0.0, squares1 = 0.0;
    for (const point &p : sample_points(20000)) {
        float v[3];
        xnoise_d(p.x, p.y, p.z, v);
        ASSERT_EQ(v[0], xnoise(p.x, p.y, p.z));
        for (float c : v) {
            ASSERT_GE(c, -1.0f);
            ASSERT_LE(c, 1.0f);
        }
        products += static_cast<double>(v[1]) * v[2];
        squares0 += static_cast<double>(v[1]) * v[1];
        squares1 += static_cast<double>(v[2]) * v[2];
    }
    // Uncorrelated components.
    EXPECT_LT(std::fabs(products / std::sqrt(squares0 * squares1)), 0.05);
    float at_lattice[3];
    xnoise_d(3.0f, -7.0f, 12.0f, at_lattice);
    EXPECT_EQ(at_lattice[1], 0.0f);
    EXPECT_EQ(at_lattice[2], 0.0f);
}

TEST(XnoiseTurbulence, SumsHalvingOctavesOfMagnitude) {
    for (const point &p : sample_points(2000)) {
        EXPECT_EQ(xnoise_turbulence(p.x, p.y, p.z, 0), 0.0f);
        EXPECT_EQ(xnoise_turbulence(p.x, p.y, p.z, -3), 0.0f);
        EXPECT_EQ(xnoise_turbulence(p.x, p.y, p.z, 1), std::fabs(xnoise(p.x, p.y, p.z)));
        const float two = xnoise_turbulence(p.x, p.y, p.z, 2);
        EXPECT_NEAR(two,
                    std::fabs(xnoise(p.x, p.y, p.z)) +
                        0.5f * std::fabs(xnoise(2 * p.x, 2 * p.y, 2 * p.z)),
                    1e-6f);
        float previous = 0.0f;
        for (int octaves = 1; octaves <= 12; ++octaves) {
            const float value = xnoise_turbulence(p.x, p.y, p.z, octaves);
            ASSERT_GE(value, previous);
            ASSERT_LT(value, 2.0f);
            previous = value;
        }
        EXPECT_EQ(xnoise_turbulence(p.x, p.y, p.z, 1000), xnoise_turbulence(p.x, p.y, p.z, 32));
    }
}

TEST(XnoiseWaves, CycloidalSineAndTriangleWaveOfPeriodOne) {
    EXPECT_EQ(xnoise_cycloidal(0.0f), 0.0f);
    EXPECT_FLOAT_EQ(xnoise_cycloidal(0.25f), 1.0f);
    EXPECT_FLOAT_EQ(xnoise_cycloidal(-0.25f), -1.0f);
    EXPECT_EQ(xnoise_cycloidal(1000.125f), xnoise_cycloidal(0.125f));
    EXPECT_EQ(xnoise_twave(0.5f), 1.0f);
    EXPECT_EQ(xnoise_twave(-0.25f), 0.5f);
    EXPECT_EQ(xnoise_twave(-3.0f), 0.0f);
    for (float v = -3.0f; v < 3.0f; v += 0.01f) {
        EXPECT_NEAR(xnoise_cycloidal(v), std::sin(2.0 * std::numbers::pi * v), 2e-5) << v;
        ASSERT_NEAR(xnoise_twave(v), 1.0f - std::fabs(2.0f * (v - std::floor(v)) - 1.0f), 1e-6f)
            << v;
    }
}

TEST(XnoiseRow, AgreesWithTheNoiseAlongRowsAndAcrossThem) {
    xnoise_row row;
    // Sweeps along rows, as a picture asks...
    for (const point &p : sample_points(300))
        for (int i = 0; i < 64; ++i) {
            const float x = p.x + static_cast<float>(i) * 0.0625f;
            ASSERT_NEAR(row(x, p.y, p.z), xnoise(x, p.y, p.z), 1e-6f) << x << " " << p.y;
        }
    // ...and points that change row at every call, in a different order from
    // the sweep: the kept columns never leak into another row's values.
    const auto points = sample_points(3000);
    for (auto p = points.rbegin(); p != points.rend(); ++p)
        ASSERT_NEAR(row(p->x, p->y, p->z), xnoise(p->x, p->y, p->z), 1e-6f);
    EXPECT_EQ(row(3.0, -7.0, 12.0), 0.0f);
}

TEST(XnoiseRow, SweepsLinesOfPointsInEitherDirection) {
    xnoise_row row;
    float line[300];
    for (const point &p : sample_points(40))
        for (double dx : {0.013, -0.37, 1.9, 0.0}) {
            row.sweep(p.x, dx, 300, p.y, p.z, line);
            // Against the row's own points (doubles: a float could not hold
            // x0 + i * dx), which agree with xnoise as checked above.
            for (int i = 0; i < 300; ++i)
                ASSERT_NEAR(line[i], row(p.x + i * dx, p.y, p.z), 1e-6f)
                    << p.x << " " << dx << " " << i;
        }
    // Lines longer than the period, far out, or through non-finite points.
    row.sweep(-1000.0, 3.75, 300, 0.5, 0.25, line);
    EXPECT_NEAR(line[299], xnoise(-1000.0f + 299 * 3.75f, 0.5f, 0.25f), 1e-6f);
    row.sweep(1e18, 1.0, 4, 0.5, 0.25, line);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(line[i], row(1e18 + i, 0.5, 0.25));
    row.sweep(std::numeric_limits<double>::infinity(), 1.0, 2, 0.5, 0.25, line);
    EXPECT_NEAR(line[0], xnoise(0.0f, 0.5f, 0.25f), 1e-6f);
    row.sweep(0.3, 1.0, 0, 0.5, 0.25, nullptr); // nothing to do
}

TEST(XnoiseRow, KeepsDetailFarOutAndSurvivesNonFiniteCoordinates) {
    xnoise_row row;
    // 2^40 + x lies on the same point of the period as x; a float could not
    // hold the fraction there, the row's doubles do (to 2^-12).
    const double far = 1099511627776.0;
    for (double x : {0.375, 17.5625, 200.125})
        EXPECT_NEAR(row(far + x, 0.4, 5.7), xnoise(static_cast<float>(x), 0.4f, 5.7f), 1e-6f);
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_NEAR(row(inf, 0.25, 0.5), xnoise(0.0f, 0.25f, 0.5f), 1e-6f);
    EXPECT_NEAR(row(0.25, nan, 0.5), xnoise(0.25f, 0.0f, 0.5f), 1e-6f);
    EXPECT_NEAR(row(0.25, 0.5, -inf), xnoise(0.25f, 0.5f, 0.0f), 1e-6f);
    EXPECT_EQ(row(1e300, 1e300, 1e300), row(1e300, 1e300, 1e300));
}
