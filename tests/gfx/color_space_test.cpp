// Colour spaces (HSL and HSV with hue in 0..1) and the named-colour table.
#include "gfx/2d/bitmap/color.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace {

using convert = int (*)(double, double, double, double *, double *, double *);
using invert = void (*)(double, double, double, double *, double *, double *);

struct triple {
    double a = -1, b = -1, c = -1;
};

triple apply(invert f, triple in) {
    triple out;
    f(in.a, in.b, in.c, &out.a, &out.b, &out.c);
    return out;
}

// Hue is an angle: 0.999999... and 0 are the same.
void expect_near(const triple &got, const triple &want, double within = 1e-9) {
    const double d = std::fabs(got.a - want.a);
    EXPECT_LT(std::min(d, 1.0 - d), within) << got.a << " vs " << want.a;
    EXPECT_NEAR(got.b, want.b, within);
    EXPECT_NEAR(got.c, want.c, within);
}

} // namespace

// Black, greys and white have no hue and answer 0; above one half HSL
// lightness uses the other saturation form.
TEST(ColorSpaces, KnownColours) {
    const struct {
        convert to;
        triple rgb, expected;
        int chromatic;
    } rows[] = {
        {color_rgb2hsl, {0, 0, 0}, {0, 0, 0}, 0},
        {color_rgb2hsl, {0.5, 0.5, 0.5}, {0, 0, 0.5}, 0},
        {color_rgb2hsl, {1, 1, 1}, {0, 0, 1}, 0},
        {color_rgb2hsl, {1, 0, 0}, {0, 1, 0.5}, 1},
        {color_rgb2hsl, {0, 1, 0}, {1.0 / 3, 1, 0.5}, 1},
        {color_rgb2hsl, {0, 0, 1}, {2.0 / 3, 1, 0.5}, 1},
        {color_rgb2hsl, {1, 0.5, 0}, {1.0 / 12, 1, 0.5}, 1},  // orange, 30 degrees
        {color_rgb2hsl, {1, 0, 0.5}, {11.0 / 12, 1, 0.5}, 1}, // rose, 330 degrees
        {color_rgb2hsl, {0.2, 0.4, 0.6}, {7.0 / 12, 0.5, 0.4}, 1},
        {color_rgb2hsl, {1, 0.8, 0.8}, {0, 1, 0.9}, 1},
        {color_rgb2hsl, {0.9, 0.7, 0.8}, {11.0 / 12, 0.5, 0.8}, 1},
        {color_rgb2hsv, {0, 0, 0}, {0, 0, 0}, 0},
        {color_rgb2hsv, {0.4, 0.4, 0.4}, {0, 0, 0.4}, 0},
        {color_rgb2hsv, {1, 0.5, 0}, {1.0 / 12, 1, 1}, 1},
        {color_rgb2hsv, {0.2, 0.4, 0.6}, {7.0 / 12, 2.0 / 3, 0.6}, 1},
        {color_rgb2hsv, {1, 0, 0}, {0, 1, 1}, 1},
    };
    for (const auto &r : rows) {
        SCOPED_TRACE(testing::Message() << r.rgb.a << " " << r.rgb.b << " " << r.rgb.c);
        triple got;
        EXPECT_EQ(r.to(r.rgb.a, r.rgb.b, r.rgb.c, &got.a, &got.b, &got.c), r.chromatic);
        expect_near(got, r.expected, 1e-12);
    }
    // Output places may be null.
    double l = -1, red = -1;
    EXPECT_EQ(color_rgb2hsl(0.2, 0.4, 0.6, nullptr, nullptr, &l), 1);
    EXPECT_NEAR(l, 0.4, 1e-12);
    color_hsl2rgb(0, 1, 0.5, &red, nullptr, nullptr);
    EXPECT_NEAR(red, 1, 1e-12);
}

// The known values and the round trips pin the inverse; what they never
// reach is a hue outside 0..1.
TEST(ColorSpaces, InverseTakesHueCyclically) {
    expect_near(apply(color_hsl2rgb, {1.0 + 1.0 / 3, 1, 0.5}), {0, 1, 0}, 1e-12);
    expect_near(apply(color_hsl2rgb, {-1.0 / 3, 1, 0.5}), {0, 0, 1}, 1e-12);
}

TEST(ColorSpaces, RoundTripsBothWays) {
    for (auto [to, from] : {std::pair<convert, invert>{color_rgb2hsl, color_hsl2rgb},
                            {color_rgb2hsv, color_hsv2rgb}}) {
        // Every colour of a grid comes back, with a hue in 0..1.
        for (int i = 0; i < 11 * 11 * 11; ++i) {
            const triple rgb{i % 11 / 10.0, i / 11 % 11 / 10.0, i / 121 / 10.0};
            triple h;
            to(rgb.a, rgb.b, rgb.c, &h.a, &h.b, &h.c);
            EXPECT_TRUE(h.a >= 0.0 && h.a < 1.0) << h.a;
            const triple back = apply(from, h);
            EXPECT_NEAR(back.a, rgb.a, 1e-9);
            EXPECT_NEAR(back.b, rgb.b, 1e-9);
            EXPECT_NEAR(back.c, rgb.c, 1e-9);
        }
        // And every chromatic colour of the other space.
        for (int i = 0; i < 12 * 9; ++i) {
            const triple h{i % 12 / 12.0, (0.25 * (1 << (i / 12 % 3))), 0.2 + 0.3 * (i / 36)};
            const triple rgb = apply(from, h);
            triple back;
            to(rgb.a, rgb.b, rgb.c, &back.a, &back.b, &back.c);
            expect_near(back, h);
        }
    }
}

TEST(ColorNames, LookupByNameOrPattern) {
    const color_entry *red = color_get_by_name("red");
    ASSERT_NE(red, nullptr);
    EXPECT_EQ(std::vector<double>({red->r, red->g, red->b}), std::vector<double>({0.8, 0, 0}));
    EXPECT_DOUBLE_EQ(color_get_by_name("grey50")->g, 0.498039);
    EXPECT_DOUBLE_EQ(color_get_by_name("gray")->r, 0.752941);
    EXPECT_DOUBLE_EQ(color_get_by_name("grey")->b, 0.752941);
    EXPECT_NE(color_get_by_name("light_cyan"), nullptr);
    EXPECT_NE(color_get_by_name("lightcyan"), nullptr);
    EXPECT_EQ(color_get_by_name("ultraviolet"), nullptr);
    EXPECT_EQ(color_get_by_name(nullptr), nullptr);
    // A pattern finds the last entry that matches.
    EXPECT_STREQ(color_get_by_name("yellow*")->name, "yellow_green");
    EXPECT_STREQ(color_get_by_name("antiquewhite?")->name, "antiquewhite4");
    EXPECT_STREQ(color_get_by_name("grey?")->name, "grey9");
}

TEST(ColorNames, NearestNameForAColour) {
    EXPECT_STREQ(color_name_find(0.8, 0, 0), "red");
    EXPECT_STREQ(color_name_find(0.79, 0.01, 0), "red"); // red3 is 0.803922
    EXPECT_STREQ(color_name_find(1, 1, 1), "white");
    EXPECT_STREQ(color_name_find(0, 0, 0), "black");
    EXPECT_STREQ(color_name_find(0.5, 0.5, 0.5), "gray50");
    EXPECT_STREQ(color_name_find(0.94, 0.97, 1.0), "aliceblue");
}
