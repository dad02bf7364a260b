// Colour spaces (HSL and HSV with hue in 0..1) and the named-colour table.
#include "gfx/2d/bitmap/color.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace {

struct triple {
    double a = -1, b = -1, c = -1;
};

triple hsl(double r, double g, double b, int *result = nullptr) {
    triple t;
    int chromatic = color_rgb2hsl(r, g, b, &t.a, &t.b, &t.c);
    if (result)
        *result = chromatic;
    return t;
}

triple hsv(double r, double g, double b, int *result = nullptr) {
    triple t;
    int chromatic = color_rgb2hsv(r, g, b, &t.a, &t.b, &t.c);
    if (result)
        *result = chromatic;
    return t;
}

void expect_triple(const triple &t, double a, double b, double c) {
    EXPECT_NEAR(t.a, a, 1e-12);
    EXPECT_NEAR(t.b, b, 1e-12);
    EXPECT_NEAR(t.c, c, 1e-12);
}

// Hue is an angle: 0.999999... and 0 are the same.
void expect_hue(double got, double want) {
    double d = std::fabs(got - want);
    EXPECT_LT(std::min(d, 1.0 - d), 1e-9) << got << " vs " << want;
}

void expect_cyclic_triple(const triple &t, double h, double b, double c) {
    expect_hue(t.a, h);
    EXPECT_NEAR(t.b, b, 1e-9);
    EXPECT_NEAR(t.c, c, 1e-9);
}

} // namespace

TEST(ColorHsl, BlackGreyAndWhiteHaveNoHue) {
    int result = -1;
    expect_triple(hsl(0, 0, 0, &result), 0, 0, 0);
    EXPECT_EQ(result, 0);
    expect_triple(hsl(0.5, 0.5, 0.5, &result), 0, 0, 0.5);
    EXPECT_EQ(result, 0);
    expect_triple(hsl(1, 1, 1, &result), 0, 0, 1);
    EXPECT_EQ(result, 0);
}

TEST(ColorHsl, PrimariesAndKnownColours) {
    int result = -1;
    expect_triple(hsl(1, 0, 0, &result), 0, 1, 0.5);
    EXPECT_EQ(result, 1);
    expect_triple(hsl(0, 1, 0), 1.0 / 3, 1, 0.5);
    expect_triple(hsl(0, 0, 1), 2.0 / 3, 1, 0.5);
    expect_triple(hsl(1, 0.5, 0), 1.0 / 12, 1, 0.5);  // orange, 30 degrees
    expect_triple(hsl(1, 0, 0.5), 11.0 / 12, 1, 0.5); // rose, 330 degrees
    expect_triple(hsl(0.2, 0.4, 0.6), 7.0 / 12, 0.5, 0.4);
    // Lightness above one half uses the other saturation form.
    expect_triple(hsl(1, 0.8, 0.8), 0, 1, 0.9);
    expect_triple(hsl(0.9, 0.7, 0.8), 11.0 / 12, 0.5, 0.8);
}

TEST(ColorHsl, OutputPlacesMayBeNull) {
    double l = -1;
    EXPECT_EQ(color_rgb2hsl(0.2, 0.4, 0.6, nullptr, nullptr, &l), 1);
    EXPECT_NEAR(l, 0.4, 1e-12);
    double r = -1;
    color_hsl2rgb(0, 1, 0.5, &r, nullptr, nullptr);
    EXPECT_NEAR(r, 1, 1e-12);
}

// The known forward values above and the round trips below pin the inverse;
// what they never reach is a hue outside 0..1.
TEST(ColorHsl, InverseTakesHueCyclically) {
    triple t;
    color_hsl2rgb(1.0 + 1.0 / 3, 1, 0.5, &t.a, &t.b, &t.c);
    expect_triple(t, 0, 1, 0);
    color_hsl2rgb(-1.0 / 3, 1, 0.5, &t.a, &t.b, &t.c);
    expect_triple(t, 0, 0, 1);
}

TEST(ColorHsv, KnownColours) {
    int result = -1;
    expect_triple(hsv(0, 0, 0, &result), 0, 0, 0);
    EXPECT_EQ(result, 0);
    expect_triple(hsv(0.4, 0.4, 0.4, &result), 0, 0, 0.4);
    EXPECT_EQ(result, 0);
    expect_triple(hsv(1, 0.5, 0, &result), 1.0 / 12, 1, 1);
    EXPECT_EQ(result, 1);
    expect_triple(hsv(0.2, 0.4, 0.6), 7.0 / 12, 2.0 / 3, 0.6);
    expect_triple(hsv(1, 0, 0), 0, 1, 1);
}

TEST(ColorSpaces, RoundTripsOverAGrid) {
    for (int ri = 0; ri <= 10; ++ri)
        for (int gi = 0; gi <= 10; ++gi)
            for (int bi = 0; bi <= 10; ++bi) {
                double r = ri / 10.0, g = gi / 10.0, b = bi / 10.0;
                triple h = hsl(r, g, b), back;
                color_hsl2rgb(h.a, h.b, h.c, &back.a, &back.b, &back.c);
                EXPECT_NEAR(back.a, r, 1e-9) << r << " " << g << " " << b;
                EXPECT_NEAR(back.b, g, 1e-9) << r << " " << g << " " << b;
                EXPECT_NEAR(back.c, b, 1e-9) << r << " " << g << " " << b;
                EXPECT_GE(h.a, 0.0);
                EXPECT_LT(h.a, 1.0);

                triple v = hsv(r, g, b);
                color_hsv2rgb(v.a, v.b, v.c, &back.a, &back.b, &back.c);
                EXPECT_NEAR(back.a, r, 1e-9) << r << " " << g << " " << b;
                EXPECT_NEAR(back.b, g, 1e-9) << r << " " << g << " " << b;
                EXPECT_NEAR(back.c, b, 1e-9) << r << " " << g << " " << b;
                // Both models agree on hue.
                EXPECT_NEAR(v.a, h.a, 1e-12);
            }
}

TEST(ColorSpaces, HslAndHsvOfChromaticColoursRoundTrip) {
    for (int hi = 0; hi < 12; ++hi)
        for (double s : {0.25, 0.5, 1.0})
            for (double l : {0.2, 0.5, 0.8}) {
                double h = hi / 12.0;
                triple rgb;
                color_hsl2rgb(h, s, l, &rgb.a, &rgb.b, &rgb.c);
                expect_cyclic_triple(hsl(rgb.a, rgb.b, rgb.c), h, s, l);
                color_hsv2rgb(h, s, l, &rgb.a, &rgb.b, &rgb.c);
                expect_cyclic_triple(hsv(rgb.a, rgb.b, rgb.c), h, s, l);
            }
}

TEST(ColorNames, TableHoldsTheTellingRows) {
    EXPECT_EQ(COLOR_LIST_SIZE, 738u);
    EXPECT_STREQ(color_list[0].name, "aliceblue");
    EXPECT_DOUBLE_EQ(color_list[0].r, 0.941176);
    EXPECT_DOUBLE_EQ(color_list[0].g, 0.972549);
    EXPECT_DOUBLE_EQ(color_list[0].b, 1.0);
    const color_entry &last = color_list[COLOR_LIST_SIZE - 1];
    EXPECT_STREQ(last.name, "yellow_green");
    EXPECT_DOUBLE_EQ(last.r, 0.603922);
    EXPECT_DOUBLE_EQ(last.g, 0.803922);
    EXPECT_DOUBLE_EQ(last.b, 0.196078);
    for (const color_entry &entry : color_list) {
        EXPECT_EQ(std::string(entry.name).find(' '), std::string::npos) << entry.name;
        EXPECT_GE(entry.r, 0.0);
        EXPECT_LE(entry.b, 1.0);
    }
}

TEST(ColorNames, LookupByName) {
    const color_entry *red = color_get_by_name("red");
    ASSERT_NE(red, nullptr);
    EXPECT_DOUBLE_EQ(red->r, 0.8);
    EXPECT_EQ(red->g, 0.0);
    EXPECT_EQ(red->b, 0.0);
    EXPECT_DOUBLE_EQ(color_get_by_name("grey50")->g, 0.498039);
    EXPECT_DOUBLE_EQ(color_get_by_name("gray")->r, 0.752941);
    EXPECT_DOUBLE_EQ(color_get_by_name("grey")->b, 0.752941);
    EXPECT_NE(color_get_by_name("light_cyan"), nullptr);
    EXPECT_NE(color_get_by_name("lightcyan"), nullptr);
    EXPECT_EQ(color_get_by_name("ultraviolet"), nullptr);
    EXPECT_EQ(color_get_by_name(nullptr), nullptr);
}

TEST(ColorNames, PatternsFindTheLastMatchingEntry) {
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
