// The typed values the effect framework adds: text forms, ranges, compare.
#include "core/dtype.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "support/capture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

std::string print(std::uint32_t type, const void *value) {
    char text[DTYPE_TEXT_MAX];
    dtype_print(type, value, text);
    return text;
}

// A text scanned into a value of the type, then printed in its fixed form;
// or the error the scan raises, having stored nothing.
struct text_case {
    std::uint32_t type;
    const char *text;
    const char *printed; // null: the scan fails
    const char *error = "";
};

const text_case text_cases[] = {
    {BITMAPFX_TYPE_RGBPACK, "r:1 g:22 b:255", "r:  1 g: 22 b:255"},
    {BITMAPFX_TYPE_RGBAPACK, "r:  0 g: 10 b:200 a:  7", "r:  0 g: 10 b:200 a:  7"},
    {BITMAPFX_TYPE_RGBINT, "r:3 g:4 b:+5", "r:  3 g:  4 b:  5"},
    {BITMAPFX_TYPE_RGBAINT, "r:255 g:0 b:128 a:64", "r:255 g:  0 b:128 a: 64"},
    // Blanks around the fields are free, as in the C scanner's forms.
    {BITMAPFX_TYPE_RGBSCALAR, "  r:0.25   g:  0.5 b:1", "r:0.250000 g:0.500000 b:1.000000"},
    {BITMAPFX_TYPE_RGBASCALAR, "r:0 g:0.125 b:0.75 a:1",
     "r:0.000000 g:0.125000 b:0.750000 a:1.000000"},
    {BITMAPFX_TYPE_PIXEL, "0x12345678", "0x12345678"},
    {BITMAPFX_TYPE_PIXEL, "255", "0x000000ff"},
    {BITMAPFX_TYPE_RGBPACK, "r:1 g:2", nullptr, "xassert(3 == scan(\"r:%d g:%d b:%d\")) failed"},
    {BITMAPFX_TYPE_RGBASCALAR, "r:0 g:0 b:0", nullptr,
     "xassert(4 == scan(\"r:%lf g:%lf b:%lf a:%lf\")) failed"},
    {BITMAPFX_TYPE_RGBAINT, "r:256 g:0 b:0 a:0", nullptr, "illegal red component value (256)"},
    {BITMAPFX_TYPE_RGBAINT, "r:0 g:-1 b:0 a:0", nullptr, "illegal green component value (-1)"},
    {BITMAPFX_TYPE_RGBAINT, "r:0 g:0 b:0 a:300", nullptr, "illegal alpha component value (300)"},
    // Numbers too large for any integer saturate instead of wrapping into range.
    {BITMAPFX_TYPE_RGBPACK, "r:0 g:0 b:99999999999999999999", nullptr,
     "illegal blue component value (2147483647)"},
    {BITMAPFX_TYPE_RGBSCALAR, "r:0 g:0 b:1.5", nullptr, "illegal blue component value (1.500000)"},
    {BITMAPFX_TYPE_RGBSCALAR, "r:nan g:0 b:0", nullptr, "illegal red component value (nan)"},
    {BITMAPFX_TYPE_PIXEL, "0x100000000", nullptr, "'0x100000000' is not a valid pixel value"},
    {BITMAPFX_TYPE_PIXEL, "-1", nullptr, "'-1' is not a valid pixel value"},
    {BITMAPFX_TYPE_PIXEL, "red", nullptr, "'red' is not a valid pixel value"},
    // References describe themselves but never scan.
    {BITMAPFX_TYPE_BITMAP, "null", nullptr, "xassert(type has a text form) failed"},
    {BITMAPFX_TYPE_CMAP, "null", nullptr, "xassert(type has a text form) failed"},
};

class ExtendedTypes : public testing::Test {
  protected:
    void SetUp() override { bitmapfx_install_types(); }
    message_capture capture;
};

} // namespace

TEST_F(ExtendedTypes, TextsScanAndPrintInTheFixedFormsOrAreRefused) {
    for (const text_case &c : text_cases) {
        SCOPED_TRACE(c.text);
        alignas(8) unsigned char value[64], before[64];
        std::memset(value, 0x11, sizeof value);
        std::memcpy(before, value, sizeof value);
        EXPECT_EQ(error_of([&] { dtype_scan(c.type, c.text, value); }), c.error);
        if (c.printed)
            EXPECT_EQ(print(c.type, value), c.printed);
        else
            EXPECT_EQ(std::memcmp(value, before, sizeof value), 0) << "a refused text was stored";
    }
    bitmap *none = nullptr;
    EXPECT_EQ(print(BITMAPFX_TYPE_BITMAP, &none), "null");
}

TEST_F(ExtendedTypes, ColoursCompareByValue) {
    rgbscalar a{}, b{0.1, 0.2, 0.3};
    ASSERT_TRUE(dtype_scan(BITMAPFX_TYPE_RGBSCALAR, "r:0.1 g:0.2 b:0.3", &a));
    EXPECT_EQ(dtype_compare(BITMAPFX_TYPE_RGBSCALAR, &a, &b), 0);
    b.g = 0.25;
    EXPECT_NE(dtype_compare(BITMAPFX_TYPE_RGBSCALAR, &a, &b), 0);
    rgbint i{}, j{1, 2, 3};
    ASSERT_TRUE(dtype_scan(BITMAPFX_TYPE_RGBINT, "r:1 g:2 b:3", &i));
    EXPECT_EQ(dtype_compare(BITMAPFX_TYPE_RGBINT, &i, &j), 0);
}
