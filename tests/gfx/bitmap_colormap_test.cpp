// Colormaps: allocation limits, deep copies and the nearest-colour search.
#include "gfx/2d/bitmap/colormap.h"
#include "support/capture.h"

#include <gtest/gtest.h>

TEST(BitmapColormap, AllocGivesBlackEntriesWithinTheIndexRange) {
    colormap *map = colormap_alloc(256);
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(map->size, 256);
    EXPECT_EQ(map->entry[255].r + map->entry[255].g + map->entry[255].b, 0);
    colormap_kill(map);

    colormap *empty = colormap_alloc(0);
    EXPECT_EQ(empty->size, 0);
    EXPECT_EQ(colormap_find_color(1, 2, 3, empty, 0), 0);
    colormap_kill(empty);
    colormap_kill(nullptr);
}

TEST(BitmapColormap, SizesAnIndexCannotReachAreRefused) {
    message_capture capture;
    EXPECT_EQ(error_of([] { colormap_alloc(257); }),
              "illegal colormap size 257 (allowed are 0 to 256 entries)");
    EXPECT_NE(error_of([] { colormap_alloc(-1); }), "");
    EXPECT_EQ(capture.errors.front().ident, "bitmap::colormap");
}

TEST(BitmapColormap, DupIsDeep) {
    colormap *map = colormap_alloc(3);
    map->entry[2] = {1, 2, 3};
    colormap *copy = colormap_dup(map);
    map->entry[2].r = 99;
    EXPECT_EQ(copy->size, 3);
    EXPECT_EQ(copy->entry[2].r, 1);
    EXPECT_EQ(copy->entry[2].b, 3);
    EXPECT_EQ(colormap_dup(nullptr), nullptr);
    colormap_kill(map);
    colormap_kill(copy);
}

TEST(BitmapColormap, FindColorTakesTheNearestAndTheLowerIndexOnTies) {
    colormap *map = colormap_alloc(4);
    map->entry[0] = {0, 0, 0};
    map->entry[1] = {200, 0, 0};
    map->entry[2] = {0, 200, 0};
    map->entry[3] = {200, 0, 0};
    EXPECT_EQ(colormap_find_color(190, 20, 5, map, 0), 1);
    EXPECT_EQ(colormap_find_color(20, 150, 20, map, 0), 2);
    EXPECT_EQ(colormap_find_color(10, 10, 10, map, 0), 0);
    // Searching from a later index skips the earlier entries.
    EXPECT_EQ(colormap_find_color(190, 20, 5, map, 2), 3);
    // Values beyond 0..255 still find the nearest entry.
    EXPECT_EQ(colormap_find_color(1000, -50, 0, map, 0), 1);
    colormap_kill(map);
}

TEST(BitmapColormap, MissingMapActsAsGreyRamp) {
    EXPECT_EQ(colormap_find_color(30, 30, 30, nullptr, 0), 30);
    EXPECT_EQ(colormap_find_color(10, 11, 12, nullptr, 0), 11);
    EXPECT_EQ(colormap_get_color(nullptr, 77).g, 77);
}

TEST(BitmapColormap, IndicesBeyondTheMapReadBlack) {
    colormap *map = colormap_alloc(2);
    map->entry[1] = {9, 8, 7};
    EXPECT_EQ(colormap_get_color(map, 1).r, 9);
    colormap_entry outside = colormap_get_color(map, 200);
    EXPECT_EQ(outside.r + outside.g + outside.b, 0);
    outside = colormap_get_color(map, -1);
    EXPECT_EQ(outside.r + outside.g + outside.b, 0);
    colormap_kill(map);
}
