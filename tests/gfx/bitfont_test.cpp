// The bitmap font: glyph orientation, pen movement, spacing, the putpixel
// hook and loading font files through the stream layer.
#include "file/config_test_setup.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitfont.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/pixel.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using point = std::pair<int, int>;

struct drawn_pixel {
    int x, y;
    std::uint32_t colour;
};
std::vector<drawn_pixel> drawn;

void record_pixel(bitmap *, int x, int y, std::uint32_t colour) {
    drawn.push_back({x, y, colour});
}

std::set<point> drawn_points() {
    std::set<point> points;
    for (const drawn_pixel &p : drawn)
        points.insert({p.x, p.y});
    return points;
}

// Glyphs of the built-in face as they look, leftmost pixel first.
const char *const glyph_a[14] = {"........", "........", "........", "........", "........",
                                 "........", "..####..", "......#.", "..#####.", ".#....#.",
                                 ".#...##.", "..###.#.", "........", "........"};
const char *const glyph_b[14] = {"........", "........", "........", ".#......", ".#......",
                                 ".#......", ".#.###..", ".##...#.", ".#....#.", ".#....#.",
                                 ".##...#.", ".#.###..", "........", "........"};
const char *const glyph_m[14] = {"........", "........", "........", "#.....#.", "#.....#.",
                                 "##...##.", "#.#.#.#.", "#..#..#.", "#..#..#.", "#.....#.",
                                 "#.....#.", "#.....#.", "........", "........"};

// The points a glyph sets when its cell starts at (x, y), keeping columns
// below `columns` only.
std::set<point> points_of(const char *const glyph[14], int x, int y, int columns = 8) {
    std::set<point> points;
    for (int r = 0; r < 14; ++r)
        for (int k = 0; k < columns; ++k)
            if (glyph[r][k] == '#')
                points.insert({x + k, y + r});
    return points;
}

std::set<point> merged(std::set<point> a, const std::set<point> &b) {
    a.insert(b.begin(), b.end());
    return a;
}

const std::string shipped_font = std::string(LUMIVANE_SOURCE_DIR) + "/data/fonts/lumivane8x16.fnt";

// Every test starts from the built-in font with the recording hook and
// leaves the process-wide font as it found it.
class Bitfont : public testing::Test {
  protected:
    void SetUp() override {
        std::memcpy(saved_font, default_font, FONT_FILESIZE);
        saved_x = font_xsize;
        saved_y = font_ysize;
        saved_hook = putpixel;
        putpixel = record_pixel;
        drawn.clear();
    }
    void TearDown() override {
        std::memcpy(default_font, saved_font, FONT_FILESIZE);
        font_xsize = saved_x;
        font_ysize = saved_y;
        putpixel = saved_hook;
    }

    std::uint8_t saved_font[FONT_FILESIZE];
    std::uint32_t saved_x = 0, saved_y = 0;
    void (*saved_hook)(bitmap *, int, int, std::uint32_t) = nullptr;
};

// Font files go through the stream layer, in a scratch folder.
class BitfontLoad : public Bitfont {
  protected:
    void SetUp() override {
        Bitfont::SetUp();
        config_test_register_streams();
    }
    message_capture capture;
    scratch_directory scratch;
};

} // namespace

TEST_F(Bitfont, BuiltInCellAndTextMeasures) {
    EXPECT_EQ(bitfont_charlen(), 8u);
    EXPECT_EQ(bitfont_charhgt(), 14u);
    EXPECT_EQ(bitfont_strlen("cookie"), 48u);
    EXPECT_EQ(bitfont_strlen(""), 0u);
    EXPECT_EQ(bitfont_strlen(nullptr), 0u);
    EXPECT_EQ(bitfont_strhgt("x"), 14u);
    EXPECT_EQ(bitfont_strhgt(""), 0u);
    EXPECT_EQ(bitfont_strhgt(nullptr), 0u);
    bitfont_set_spacing(10);
    EXPECT_EQ(bitfont_charlen(), 10u);
    EXPECT_EQ(bitfont_strlen("abc"), 30u);
}

// Where the pen puts each glyph: leftmost bit first, cells of the spacing's
// width (narrower cuts the right columns), a tab as a fixed advance of eight
// cells, a line feed back to the start column, and a cell for codes the face
// lacks.
TEST_F(Bitfont, PenMovesCellByCell) {
    const auto a = [](int x, int y, int columns = 8) { return points_of(glyph_a, x, y, columns); };
    const auto b = [](int x, int y) { return points_of(glyph_b, x, y); };
    const auto m = [](int x, int y, int columns = 8) { return points_of(glyph_m, x, y, columns); };
    struct row {
        int spacing, x, y;
        const char *text;
        int count;
        std::set<point> points;
    };
    const row rows[] = {
        {8, 3, 2, "M", 1, m(3, 2)},
        {10, 0, 0, "MM", 2, merged(m(0, 0), m(10, 0))},
        {6, 0, 0, "M", 1, m(0, 0, 6)},
        {6, 0, 0, "aa", 2, merged(a(0, 0, 6), a(6, 0, 6))},
        {0x7FFFFFFF, 0, 0, "M\tMM", 4, m(0, 0)},
        {8, 0, 0, "a\tb", 3, merged(a(0, 0), b(72, 0))},
        {8, 3, 0, "a\tb", 3, merged(a(3, 0), b(75, 0))}, // not a tab stop
        {8, 5, 7, "a\nb", 3, merged(a(5, 7), b(5, 21))},
        {8, 0, 0, "a\rb", 3, merged(a(0, 0), b(8, 0))},
        {8, 0, 0, "\x80\xffM", 3, m(16, 0)},
    };
    for (const row &r : rows) {
        bitfont_set_spacing(r.spacing);
        drawn.clear();
        EXPECT_EQ(bitfont_puts(nullptr, r.x, r.y, 0xFFFFFFFF, r.text), r.count) << r.text;
        EXPECT_EQ(drawn_points(), r.points) << r.spacing << " " << r.text;
        for (const drawn_pixel &p : drawn)
            ASSERT_EQ(p.colour, 0xFFFFFFFFu);
    }
    bitfont_set_spacing(8);
    drawn.clear();
    EXPECT_EQ(bitfont_printf(nullptr, 0, 0, 1, "%c%s", 'a', "\tb"), 3);
    EXPECT_EQ(drawn_points(), merged(a(0, 0), b(72, 0)));
    // The buffer holds about 4 KB; longer output is cut, not overrun.
    EXPECT_EQ(bitfont_printf(nullptr, 0, 0, 1, "%6000s", ""), 4095);
    drawn.clear();
    EXPECT_EQ(bitfont_putch(nullptr, 2, 1, 1, 'b'), 1);
    EXPECT_EQ(drawn_points(), b(2, 1));
}

TEST_F(Bitfont, BackgroundStaysAndPixelsOutsideAreLeftToPutpixel) {
    putpixel = bitmap_putpixel;
    bitmap *image = bitmap_alloc2(8, 10, 24);
    bitmap_clear(image, 0x112233);
    // The cell starts above the bitmap: rows 0..3 of the glyph fall outside.
    bitfont_puts(image, 0, -4, 0x00FF00, "M");
    std::set<point> ink = points_of(glyph_m, 0, -4);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 8; ++x) {
            std::uint32_t expected = ink.count({x, y}) ? 0x00FF00u : 0x112233u;
            EXPECT_EQ(get_pixel(image, x, y, 24), expected) << x << "," << y;
        }
    bitmap_kill(image);
}

TEST_F(BitfontLoad, ShippedFileGivesAnEightBySixteenCell) {
    ASSERT_EQ(bitfont_load(shipped_font.c_str()), 1);
    EXPECT_EQ(bitfont_charlen(), 8u);
    EXPECT_EQ(bitfont_charhgt(), 16u);
    EXPECT_EQ(bitfont_strhgt("A"), 16u);
    // The file keeps bit 7 leftmost; the loaded glyphs bit 0.
    std::string file = read_file(shipped_font);
    for (std::size_t i = 0; i < FONT_FILESIZE; ++i) {
        auto stored = static_cast<std::uint8_t>(file[i]);
        for (int bit = 0; bit < 8; ++bit)
            ASSERT_EQ((default_font[i] >> bit) & 1, (stored >> (7 - bit)) & 1) << i;
    }
    EXPECT_FALSE(streamio_otable_isopen(shipped_font.c_str()));
}

TEST_F(BitfontLoad, AllSixteenRowsAreDrawnLeftmostFirst) {
    std::string font(FONT_FILESIZE, '\0');
    font['X' * 16 + 0] = '\x80';  // top row, leftmost pixel
    font['X' * 16 + 15] = '\x01'; // bottom row, rightmost pixel
    write_file("cell.fnt", font);
    ASSERT_EQ(bitfont_load("cell.fnt"), 1);
    bitfont_puts(nullptr, 10, 20, 1, "X");
    EXPECT_EQ(drawn_points(), (std::set<point>{{10, 20}, {17, 35}}));
}

TEST_F(BitfontLoad, MissingOrShortFileKeepsTheBuiltInFont) {
    EXPECT_EQ(bitfont_load("no-such.fnt"), 0);
    write_file("short.fnt", std::string(FONT_FILESIZE - 1, '\xff'));
    EXPECT_EQ(error_of([] { bitfont_load("short.fnt"); }),
              "xassert(xfread(default_font, 1, FONT_FILESIZE, fp) == FONT_FILESIZE) failed");
    EXPECT_EQ(capture.errors.front().ident, "bitfont");
    EXPECT_FALSE(streamio_otable_isopen("short.fnt"));
    EXPECT_EQ(bitfont_charhgt(), 14u);
    bitfont_puts(nullptr, 0, 0, 1, "M");
    EXPECT_EQ(drawn_points(), points_of(glyph_m, 0, 0));
}
