// The geometry effects (flips, turns, rotations, scaling, crops, offsets,
// borders, tiles): properties a wrong pixel rule breaks, beyond the effect
// contract's sizes and depths.
#include "gfx/bitmapfx_test_util.h"
#include "support/capture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace {

using fxtest::owned;

// One run of a driver with some parameters set for it (put back afterwards).
struct step {
    const char *driver;
    std::function<void(bitmapfx_driver *)> settings = nullptr;
};

using i32 = std::int32_t;
constexpr i32 least = std::numeric_limits<i32>::min(), most = std::numeric_limits<i32>::max();

// Settings as key, value, key, value...
void put(bitmapfx_driver *) {}
template <class T, class... More>
void put(bitmapfx_driver *driver, const char *key, T value, More... more) {
    bitmapfx_talk(driver, key, &value);
    put(driver, more...);
}
template <class... Pairs> std::function<void(bitmapfx_driver *)> set(Pairs... pairs) {
    return [=](bitmapfx_driver *driver) { put(driver, pairs...); };
}

owned run(const step &s, const bitmap *source) {
    bitmapfx_driver *driver = bitmapfx_find_driver(s.driver);
    EXPECT_NE(driver, nullptr) << s.driver;
    if (!driver)
        return nullptr;
    fxtest::parameter_snapshot keep(driver);
    if (s.settings)
        s.settings(driver);
    return owned(bitmapfx_simple(driver, source));
}

step scale_to(i32 width, i32 height) {
    return {"scale", set("new_xsize", width, "new_ysize", height)};
}
step rectangle(i32 x0, i32 y0, i32 x1, i32 y1) {
    return {"rectangle.get", set("xmin", x0, "ymin", y0, "xmax", x1, "ymax", y1)};
}

owned run_all(const std::vector<step> &steps, const bitmap *source) {
    owned image(bitmap_dup(source));
    for (const step &s : steps) {
        image = run(s, image.get());
        if (!image)
            break;
    }
    return image;
}

// An asymmetric picture of odd size (a flip or turn that is off by one, or
// that swaps the axes, shows), at any depth.
owned picture(int bpp, int width = 7, int height = 5) {
    owned rgb(fxtest::photo_like(width, height));
    return bpp == 24 ? std::move(rgb) : owned(bitmap_upgrade(rgb.get(), bpp));
}

std::uint32_t pixel(const bitmap *image, int x, int y) {
    return get_pixel(image, x, y, 32) & 0xffffffu;
}

// A colour as a picture of some depth shows it, packed as 0xBBGGRR.
std::uint32_t as_depth(const rgbpack &colour, int bpp) {
    owned one(bitmap_alloc2(1, 1, 24));
    fxtest::put_rgb(one.get(), 0, 0, colour.r, colour.g, colour.b);
    owned deep(bitmap_upgrade(one.get(), bpp));
    return pixel(deep.get(), 0, 0);
}

class Geometry : public testing::Test {
  protected:
    static void SetUpTestSuite() { fxtest::register_library_effects(); }
    fxtest::quiet_progress quiet_;
};

// Two ways to the same picture.
struct same_picture {
    const char *what;
    std::vector<step> first, second;
};

const same_picture same_pictures[] = {
    {"flipping across twice", {{"flip.horizontal"}, {"flip.horizontal"}}, {}},
    {"flipping upside down twice", {{"flip.vertical"}, {"flip.vertical"}}, {}},
    {"four quarter turns clockwise",
     {{"rotate.90.cw"}, {"rotate.90.cw"}, {"rotate.90.cw"}, {"rotate.90.cw"}},
     {}},
    {"four quarter turns counter-clockwise",
     {{"rotate.90.ccw"}, {"rotate.90.ccw"}, {"rotate.90.ccw"}, {"rotate.90.ccw"}},
     {}},
    {"a quarter turn each way", {{"rotate.90.cw"}, {"rotate.90.ccw"}}, {}},
    {"a half turn", {{"rotate.180"}}, {{"rotate.90.cw"}, {"rotate.90.cw"}}},
    {"a half turn as both flips", {{"rotate.180"}}, {{"flip.horizontal"}, {"flip.vertical"}}},
    {"turning by 90 degrees", {{"rotate.arbitrary", set("degrees", 90.0)}}, {{"rotate.90.cw"}}},
    {"turning by -90 degrees", {{"rotate.arbitrary", set("degrees", -90.0)}}, {{"rotate.90.ccw"}}},
    {"a centred turn by 0 degrees", {{"rotate.arbitrary.centered", set("degrees", 0.0)}}, {}},
    {"a centred turn by ten thousand whole turns",
     {{"rotate.arbitrary.centered", set("degrees", 3600000.0)}},
     {}},
    {"a centred turn by 180 degrees",
     {{"rotate.arbitrary.centered", set("degrees", 180.0)}},
     {{"rotate.180"}}},
    {"a scaled turn by 0 degrees at scale 1",
     {{"rotate.arbitrary.scale", set("degrees", 0.0, "scale", 1.0)}},
     {}},
    {"a scaled turn at scale -1",
     {{"rotate.arbitrary.scale", set("degrees", 0.0, "scale", -1.0)}},
     {{"rotate.180"}}},
    {"resizing by 1", {{"resize", set("degrees", 0.0, "scale", 1.0)}}, {}},
    {"resizing by 1 turned by 270 degrees",
     {{"resize", set("degrees", 270.0, "scale", 1.0)}},
     {{"rotate.90.ccw"}}},
    {"scaling to the same size", {scale_to(7, 5)}, {}},
    {"offsetting by the picture's size with wrap",
     {{"offset", set("xoff", i32{7}, "yoff", i32{-10})}},
     {}},
    {"offsetting round and back",
     {{"offset", set("xoff", i32{3}, "yoff", i32{2})},
      {"offset", set("xoff", i32{-3}, "yoff", i32{-2})}},
     {}},
    {"cropping nothing", {{"crop", set("clip_x", i32{0}, "clip_y", i32{0})}}, {}},
    {"a border of nothing", {{"border", set("border_x", i32{0}, "border_y", i32{0})}}, {}},
};

TEST_F(Geometry, TwoWaysToTheSamePictureAgreeAtEveryDepth) {
    for (const same_picture &row : same_pictures)
        for (int bpp : {8, 15, 16, 24, 32}) {
            SCOPED_TRACE(testing::Message() << row.what << ", " << bpp << " bpp");
            owned source = picture(bpp);
            owned first = run_all(row.first, source.get());
            owned second = run_all(row.second, source.get());
            ASSERT_NE(first, nullptr);
            ASSERT_NE(second, nullptr);
            // Compared as colours: an 8-bpp picture that went through a
            // 24-bit driver comes back with a palette of its own.
            EXPECT_EQ(bitmap_diff(first.get(), second.get()), 0.0);
        }
}

TEST_F(Geometry, ScalingAFlatPictureKeepsItFlat) {
    for (auto [width, height] : {std::pair{17, 13}, std::pair{150, 111}, std::pair{64, 1}}) {
        SCOPED_TRACE(testing::Message() << width << "x" << height);
        owned flat(bitmap_clear(bitmap_alloc2(64, 48, 24), 0));
        for (int y = 0; y < 48; ++y)
            for (int x = 0; x < 64; ++x)
                fxtest::put_rgb(flat.get(), x, y, 201, 99, 7);
        owned scaled = run(scale_to(width, height), flat.get());
        ASSERT_NE(scaled, nullptr);
        ASSERT_EQ(scaled->xsize, static_cast<std::uint32_t>(width));
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                ASSERT_EQ(pixel(scaled.get(), x, y), pixel(flat.get(), 0, 0)) << x << "," << y;
    }
}

TEST_F(Geometry, ShrinkingAveragesAreasAndGrowingInterpolates) {
    // A 1-pixel checker averages to grey when halved; a nearest or bilinear
    // pick would give black or white.
    owned checker(bitmap_alloc2(8, 8, 24));
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            const int level = (x + y) % 2 ? 255 : 0;
            fxtest::put_rgb(checker.get(), x, y, level, level, level);
        }
    owned halved = run(scale_to(4, 4), checker.get());
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            EXPECT_EQ(bitmap_boffset(halved.get(), x, y)[0], 128) << x << "," << y;

    // Growing a two-pixel ramp fourfold: between the two pixels' centres a
    // straight line, beyond them the end held.
    owned ramp(bitmap_alloc2(2, 1, 24));
    fxtest::put_rgb(ramp.get(), 0, 0, 0, 0, 0);
    fxtest::put_rgb(ramp.get(), 1, 0, 200, 200, 200);
    owned grown = run(scale_to(8, 1), ramp.get());
    const int levels[8] = {0, 0, 25, 75, 125, 175, 200, 200};
    for (int x = 0; x < 8; ++x)
        EXPECT_EQ(bitmap_boffset(grown.get(), x, 0)[0], levels[x]) << x;
}

// A part of the picture as its own picture: the source pixels expected.
struct cut_out {
    step cut;
    int x0, y0, width, height;
};

const cut_out cut_outs[] = {
    {{"crop", set("clip_x", i32{2}, "clip_y", i32{1})}, 2, 1, 3, 3},
    {{"crop", set("clip_x", i32{100}, "clip_y", i32{1})}, 3, 1, 1, 3}, // larger than the picture
    {rectangle(1, 2, 5, 3), 1, 2, 5, 2},
    // Corners swapped.
    {rectangle(5, 3, 1, 2), 1, 2, 5, 2},
    // Reaching beyond the picture.
    {rectangle(least, 4, most, 40), 0, 4, 7, 1},
    {{"offset", set("xoff", i32{-2}, "yoff", i32{0}, "wrap", i32{0})}, 2, 0, 5, 5},
};

TEST_F(Geometry, CutsPickTheRightPixelsAtEveryDepth) {
    for (const cut_out &row : cut_outs)
        for (int bpp : {8, 15, 16, 24, 32}) {
            SCOPED_TRACE(testing::Message()
                         << row.cut.driver << " row " << &row - cut_outs << ", " << bpp << " bpp");
            owned source = picture(bpp);
            owned cut = run(row.cut, source.get());
            ASSERT_NE(cut, nullptr);
            EXPECT_EQ(cut->bpp, bpp);
            if (std::string(row.cut.driver) != "offset") {
                ASSERT_EQ(cut->xsize, static_cast<std::uint32_t>(row.width));
            }
            ASSERT_GE(cut->ysize, static_cast<std::uint32_t>(row.height));
            for (int y = 0; y < row.height; ++y)
                for (int x = 0; x < row.width; ++x)
                    ASSERT_EQ(pixel(cut.get(), x, y), pixel(source.get(), row.x0 + x, row.y0 + y))
                        << x << "," << y;
        }
}

TEST_F(Geometry, OffsetWithoutWrapLeavesBlack) {
    owned source = picture(24);
    owned moved =
        run({"offset", set("xoff", i32{3}, "yoff", i32{-9}, "wrap", i32{0})}, source.get());
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x)
            ASSERT_EQ(pixel(moved.get(), x, y), 0u) << x << "," << y;
}

TEST_F(Geometry, BorderPixelsHaveTheBorderColourAtEveryDepth) {
    const rgbpack colour = {10, 200, 30};
    for (int bpp : {8, 15, 16, 24, 32}) {
        SCOPED_TRACE(testing::Message() << bpp << " bpp");
        owned source = picture(bpp);
        owned framed = run({"border", set("border_x", i32{3}, "border_y", i32{2}, "color", colour)},
                           source.get());
        ASSERT_NE(framed, nullptr);
        ASSERT_EQ(framed->xsize, 13u);
        ASSERT_EQ(framed->ysize, 9u);
        // The colour as the depth holds it (15 and 16 bpp drop low bits; 8
        // bpp gets a palette entry of exactly the colour).
        const std::uint32_t want = as_depth(colour, bpp == 8 ? 24 : bpp);
        for (int y = 0; y < 9; ++y)
            for (int x = 0; x < 13; ++x) {
                const bool frame = x < 3 || x >= 10 || y < 2 || y >= 7;
                ASSERT_EQ(pixel(framed.get(), x, y),
                          frame ? want : pixel(source.get(), x - 3, y - 2))
                    << x << "," << y;
            }
    }
}

// A border colour the palette holds already takes no new entry.
TEST_F(Geometry, BorderOfAPaletteColourKeepsThePalette) {
    owned indexed = picture(8);
    const colormap_entry first = indexed->cmap->entry[0];
    const rgbpack colour = {static_cast<std::uint8_t>(first.r), static_cast<std::uint8_t>(first.g),
                            static_cast<std::uint8_t>(first.b)};
    owned framed = run({"border", set("border_x", i32{1}, "border_y", i32{1}, "color", colour)},
                       indexed.get());
    ASSERT_NE(framed, nullptr);
    EXPECT_EQ(framed->cmap->size, indexed->cmap->size);
}

// Neighbours (the last column beside the first, the last row above the
// first) of a picture laid edge to edge differ by at most `step` levels.
int largest_step_when_tiled(const bitmap *image) {
    const int width = static_cast<int>(image->xsize), height = static_cast<int>(image->ysize);
    int largest = 0;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (auto [nx, ny] : {std::pair{(x + 1) % width, y}, std::pair{x, (y + 1) % height}})
                for (int c = 0; c < 3; ++c)
                    largest = std::max(largest, std::abs(bitmap_boffset(image, x, y)[c] -
                                                         bitmap_boffset(image, nx, ny)[c]));
    return largest;
}

TEST_F(Geometry, TilesMeetWithoutASeam) {
    // A smooth ramp jumps by a whole range where it wraps round; each tile
    // effect must hide that inside its tiles and between them.
    owned ramp(fxtest::gradient(96, 64));
    ASSERT_GT(largest_step_when_tiled(ramp.get()), 200);
    for (const char *name : {"tiler", "tile.auto"}) {
        SCOPED_TRACE(name);
        owned tiled = run({name}, ramp.get());
        ASSERT_NE(tiled, nullptr);
        EXPECT_LT(largest_step_when_tiled(tiled.get()), 40);
    }
}

// Inputs with no ordinary answer: a result of a size within the limits, a
// warning or a clear error, never a crash.
struct degenerate {
    step s;
    int width, height;                  // the source
    const char *error = nullptr;        // part of the error expected, or none
    const char *warning = nullptr;      // part of the warning expected, or none
    std::uint32_t xsize = 0, ysize = 0; // the result's size (0: not checked)
};

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double tiny = std::numeric_limits<double>::denorm_min(); // its inverse overflows
const char *const finite = "must be a finite number", *const positive = "positive finite number";
const char *const limits = "beyond the bitmap limits", *const negative = "must not be negative";

const degenerate degenerates[] = {
    // One pixel wide or high.
    {{"rotate.arbitrary"}, 1, 9, nullptr, nullptr, 6, 9},
    {{"scale"}, 9, 1, nullptr, nullptr, 640, 71},
    {{"resize"}, 1, 9, nullptr, nullptr, 1, 5},
    {{"tile.auto"}, 1, 9, nullptr, nullptr, 1, 9},
    {{"tile.rectangle"}, 9, 1, nullptr, nullptr, 9, 1},
    {{"tiler"}, 1, 9, nullptr, nullptr, 1, 9},
    // Angles and scales.
    {{"rotate.arbitrary", set("degrees", nan)}, 7, 5, finite},
    {{"rotate.arbitrary.centered", set("degrees", infinity)}, 7, 5, finite},
    {{"rotate.arbitrary.scale", set("scale", 0.0)}, 7, 5, "other than 0"},
    {{"rotate.arbitrary.scale", set("scale", 1e-300)}, 7, 5, nullptr, nullptr, 7, 5},
    {{"rotate.arbitrary.scale", set("scale", tiny)}, 7, 5, nullptr, nullptr, 7, 5},
    {{"rotate.arbitrary.scale", set("scale", 1e300)}, 7, 5, nullptr, nullptr, 7, 5},
    {{"resize", set("scale", 0.0)}, 7, 5, positive},
    {{"resize", set("scale", -2.0)}, 7, 5, positive},
    {{"resize", set("scale", nan)}, 7, 5, positive},
    {{"resize", set("degrees", 30.0, "scale", 1e-9)}, 7, 5, nullptr, nullptr, 1, 1},
    {{"resize", set("scale", 1e9)}, 65535, 1, nullptr, limits, 65535, 1},
    // Sizes and edges.
    {scale_to(0, 0), 7, 5, "sizes must be positive"},
    {scale_to(-4, 3), 7, 5, "sizes must be positive"},
    {scale_to(100000, 1), 64, 1, nullptr, limits, 65535, 1},
    {{"crop", set("clip_x", i32{-1})}, 7, 5, negative},
    {{"border", set("border_y", i32{-1})}, 7, 5, negative},
    {{"border", set("border_x", most, "border_y", i32{0})}, 1, 1, nullptr, limits, 65535, 1},
    {{"tile.auto", set("xsize", i32{-5})}, 7, 5, negative},
    {{"tile.auto", set("xsize", most, "ysize", most)}, 7, 5, nullptr, nullptr, 7, 5},
    {{"offset", set("xoff", least, "yoff", most)}, 7, 5, nullptr, nullptr, 7, 5}, // wraps
};

TEST_F(Geometry, DegenerateInputsGiveAResultOrAClearMessage) {
    for (const degenerate &row : degenerates) {
        SCOPED_TRACE(testing::Message() << row.s.driver << ", row " << &row - degenerates);
        owned source(fxtest::gradient(std::max(row.width, 2), std::max(row.height, 2)));
        if (row.width < 2 || row.height < 2)
            source.reset(bitmap_alloc2(row.width, row.height, 24));
        message_capture messages;
        owned result;
        const std::string error = error_of([&] { result = run(row.s, source.get()); });
        if (row.error) {
            EXPECT_NE(error.find(row.error), std::string::npos) << error;
            continue;
        }
        EXPECT_EQ(error, "");
        ASSERT_NE(result, nullptr);
        if (row.warning)
            EXPECT_TRUE(messages.warned(row.warning));
        else
            EXPECT_TRUE(messages.warnings.empty());
        if (row.xsize) {
            EXPECT_EQ(result->xsize, row.xsize);
            EXPECT_EQ(result->ysize, row.ysize);
        }
        EXPECT_LE(static_cast<std::uint64_t>(result->xsize) * result->ysize, BITMAP_MAX_PIXELS);
    }
}

} // namespace
