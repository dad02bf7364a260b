// The typed values the effect framework adds: text forms, ranges, compare.
#include "core/dtype.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "support/capture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

std::string print(std::uint32_t type, const void *value) {
    char text[DTYPE_TEXT_MAX];
    dtype_print(type, value, text);
    return text;
}

class ExtendedTypes : public testing::Test {
  protected:
    void SetUp() override { bitmapfx_install_types(); }
    message_capture capture;
};

} // namespace

TEST_F(ExtendedTypes, NamesCodesAndSizes) {
    struct row {
        std::uint32_t code;
        const char *name;
        std::uint32_t size;
    } rows[] = {
        {0xa02f, "rgbpack", 3},  {0xa03f, "rgbapack", 4},   {0xa04f, "rgbint", 12},
        {0xa05f, "rgbaint", 16}, {0xa06f, "rgbscalar", 24}, {0xa07f, "rgbascalar", 32},
        {0xa09f, "pixel", 4},    {0xa01f, "cmap", 8},       {0xa08f, "bitmap", 36},
    };
    for (const row &r : rows) {
        EXPECT_STREQ(dtype_name(r.code), r.name);
        EXPECT_EQ(dtype_size(r.code), r.size) << r.name;
    }
    // The standard types are still there behind the extension.
    EXPECT_STREQ(dtype_name(5), "int");
}

TEST_F(ExtendedTypes, ColoursPrintInTheirFixedForms) {
    rgbpack pack{1, 22, 255};
    rgbapack apack{0, 10, 200, 7};
    rgbint integers{3, 4, 5};
    rgbaint aintegers{255, 0, 128, 64};
    rgbscalar scalars{0.25, 0.5, 1.0};
    rgbascalar ascalars{0.0, 0.125, 0.75, 1.0};
    EXPECT_EQ(print(BITMAPFX_TYPE_RGBPACK, &pack), "r:  1 g: 22 b:255");
    EXPECT_EQ(print(BITMAPFX_TYPE_RGBAPACK, &apack), "r:  0 g: 10 b:200 a:  7");
    EXPECT_EQ(print(BITMAPFX_TYPE_RGBINT, &integers), "r:  3 g:  4 b:  5");
    EXPECT_EQ(print(BITMAPFX_TYPE_RGBAINT, &aintegers), "r:255 g:  0 b:128 a: 64");
    EXPECT_EQ(print(BITMAPFX_TYPE_RGBSCALAR, &scalars), "r:0.250000 g:0.500000 b:1.000000");
    EXPECT_EQ(print(BITMAPFX_TYPE_RGBASCALAR, &ascalars),
              "r:0.000000 g:0.125000 b:0.750000 a:1.000000");
}

TEST_F(ExtendedTypes, ColoursScanBackAndCompare) {
    rgbapack pack{};
    ASSERT_TRUE(dtype_scan(BITMAPFX_TYPE_RGBAPACK, "r:  9 g: 18 b:255 a:  0", &pack));
    EXPECT_EQ(pack.r, 9);
    EXPECT_EQ(pack.g, 18);
    EXPECT_EQ(pack.b, 255);
    EXPECT_EQ(pack.a, 0);

    rgbscalar a{}, b{0.1, 0.2, 0.3};
    // Blanks around the fields are free, as in the C scanner's forms.
    ASSERT_TRUE(dtype_scan(BITMAPFX_TYPE_RGBSCALAR, "  r:0.1   g:  0.2 b:0.3", &a));
    EXPECT_EQ(dtype_compare(BITMAPFX_TYPE_RGBSCALAR, &a, &b), 0);
    b.g = 0.25;
    EXPECT_NE(dtype_compare(BITMAPFX_TYPE_RGBSCALAR, &a, &b), 0);

    rgbint i{}, j{1, 2, 3};
    ASSERT_TRUE(dtype_scan(BITMAPFX_TYPE_RGBINT, "r:1 g:2 b:+3", &i));
    EXPECT_EQ(dtype_compare(BITMAPFX_TYPE_RGBINT, &i, &j), 0);
}

TEST_F(ExtendedTypes, MissingComponentsFailTheScanAssertion) {
    rgbpack pack{5, 6, 7};
    EXPECT_EQ(error_of([&] { dtype_scan(BITMAPFX_TYPE_RGBPACK, "r:1 g:2", &pack); }),
              "xassert(3 == scan(\"r:%d g:%d b:%d\")) failed");
    EXPECT_EQ(error_of([&] { dtype_scan(BITMAPFX_TYPE_RGBASCALAR, "r:0 g:0 b:0", &pack); }),
              "xassert(4 == scan(\"r:%lf g:%lf b:%lf a:%lf\")) failed");
    // Nothing was stored by the failed scans.
    EXPECT_EQ(pack.r, 5);
    EXPECT_EQ(pack.b, 7);
}

TEST_F(ExtendedTypes, OutOfRangeComponentsNameTheChannel) {
    rgbaint value{1, 1, 1, 1};
    EXPECT_EQ(error_of([&] { dtype_scan(BITMAPFX_TYPE_RGBAINT, "r:256 g:0 b:0 a:0", &value); }),
              "illegal red component value (256)");
    EXPECT_EQ(error_of([&] { dtype_scan(BITMAPFX_TYPE_RGBAINT, "r:0 g:-1 b:0 a:0", &value); }),
              "illegal green component value (-1)");
    EXPECT_EQ(error_of([&] { dtype_scan(BITMAPFX_TYPE_RGBAINT, "r:0 g:0 b:0 a:300", &value); }),
              "illegal alpha component value (300)");
    // Numbers too large for any integer saturate instead of wrapping into range.
    EXPECT_EQ(error_of([&] {
                  dtype_scan(BITMAPFX_TYPE_RGBPACK, "r:0 g:0 b:99999999999999999999", &value);
              }),
              "illegal blue component value (2147483647)");
    rgbscalar scalar{};
    EXPECT_EQ(error_of([&] { dtype_scan(BITMAPFX_TYPE_RGBSCALAR, "r:0 g:0 b:1.5", &scalar); }),
              "illegal blue component value (1.500000)");
    EXPECT_EQ(error_of([&] { dtype_scan(BITMAPFX_TYPE_RGBSCALAR, "r:nan g:0 b:0", &scalar); }),
              "illegal red component value (nan)");
    EXPECT_EQ(value.r, 1);
}

TEST_F(ExtendedTypes, PixelsAreRawNumbers) {
    std::uint32_t pixel = 0x00FF00FF;
    EXPECT_EQ(print(BITMAPFX_TYPE_PIXEL, &pixel), "0x00ff00ff");
    ASSERT_TRUE(dtype_scan(BITMAPFX_TYPE_PIXEL, "0x12345678", &pixel));
    EXPECT_EQ(pixel, 0x12345678u);
    ASSERT_TRUE(dtype_scan(BITMAPFX_TYPE_PIXEL, "255", &pixel));
    EXPECT_EQ(pixel, 255u);
    EXPECT_EQ(error_of([&] { dtype_scan(BITMAPFX_TYPE_PIXEL, "0x100000000", &pixel); }),
              "'0x100000000' is not a valid pixel value");
    EXPECT_EQ(error_of([&] { dtype_scan(BITMAPFX_TYPE_PIXEL, "-1", &pixel); }),
              "'-1' is not a valid pixel value");
    EXPECT_EQ(error_of([&] { dtype_scan(BITMAPFX_TYPE_PIXEL, "red", &pixel); }),
              "'red' is not a valid pixel value");
    EXPECT_EQ(pixel, 255u);
}

TEST_F(ExtendedTypes, ReferencesDescribeButNeverScan) {
    bitmap *none = nullptr;
    EXPECT_EQ(print(BITMAPFX_TYPE_BITMAP, &none), "null");
    EXPECT_EQ(error_of([&] { dtype_scan(BITMAPFX_TYPE_BITMAP, "null", &none); }),
              "xassert(type has a text form) failed");
    EXPECT_EQ(error_of([&] { dtype_scan(BITMAPFX_TYPE_CMAP, "null", &none); }),
              "xassert(type has a text form) failed");
}
