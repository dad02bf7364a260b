#include "gfx/2d/bitmap/bitfont.h"

#include "core/message.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/pixel.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/bitfont.c";
static constexpr const char *source_ident = "bitfont";

std::uint8_t default_font[FONT_FILESIZE] = {
#include "gfx/2d/bitmap/bitfont_builtin.inc"
};
std::uint32_t font_xsize = 8;
std::uint32_t font_ysize = 14;
void (*putpixel)(bitmap *image, int x, int y, std::uint32_t colour) = bitmap_putpixel;

namespace {

constexpr std::size_t glyph_bytes = 16;
constexpr std::size_t printf_buffer_size = 4096;
constexpr int tab_cells = 8;

std::uint8_t reverse_bits(std::uint8_t byte) {
    std::uint8_t reversed = 0;
    for (int bit = 0; bit < 8; ++bit)
        if (byte & (1u << bit))
            reversed |= static_cast<std::uint8_t>(0x80u >> bit);
    return reversed;
}

// The pen moves in 64-bit steps, so that no spacing or text length can
// overflow it; a glyph whose cell lies beyond the int range cannot touch any
// bitmap and is skipped.
void draw_glyph(bitmap *image, std::int64_t x, std::int64_t y, std::uint32_t colour, int code) {
    constexpr std::int64_t reach = 16;
    if (x < INT_MIN || x > INT_MAX - reach || y < INT_MIN || y > INT_MAX - reach)
        return;
    // A glyph slot holds 16 rows of 8 columns; a wider spacing leaves the
    // columns beyond the eighth empty.
    std::uint32_t rows = font_ysize < glyph_bytes ? font_ysize : glyph_bytes;
    std::uint32_t columns = font_xsize < 8 ? font_xsize : 8;
    const std::uint8_t *glyph = default_font + static_cast<std::size_t>(code) * glyph_bytes;
    for (std::uint32_t r = 0; r < rows; ++r)
        for (std::uint32_t k = 0; k < columns; ++k)
            if (glyph[r] & (1u << k))
                putpixel(image, static_cast<int>(x + k), static_cast<int>(y + r), colour);
}

} // namespace

int bitfont_load(const char *filename) {
    streamio_stream *fp = xfopen(filename, "rb");
    if (!fp)
        return 0;
    // Read into a scratch buffer and close before judging, so that a short
    // file leaves neither the font changed nor the stream open, whatever the
    // error channel does.
    std::uint8_t loaded[FONT_FILESIZE];
    std::size_t got = xfread(loaded, 1, FONT_FILESIZE, fp);
    bool closed = xfclose(fp) == 0;
    if (got != FONT_FILESIZE) {
        XERROR("xassert(%s) failed", "xfread(default_font, 1, FONT_FILESIZE, fp) == FONT_FILESIZE");
        return 0;
    }
    font_xsize = 8;
    font_ysize = 16;
    for (std::size_t i = 0; i < FONT_FILESIZE; ++i)
        default_font[i] = reverse_bits(loaded[i]);
    return closed ? 1 : 0;
}

void bitfont_unload() {}

int bitfont_printf(bitmap *image, int x, int y, std::uint32_t colour, const char *format, ...) {
    char buffer[printf_buffer_size];
    std::va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    return bitfont_puts(image, x, y, colour, buffer);
}

int bitfont_puts(bitmap *image, int x, int y, std::uint32_t colour, const char *text) {
    if (!text)
        return 0;
    std::int64_t px = x, py = y;
    int count = 0;
    std::int64_t advance = font_xsize;
    for (const char *c = text; *c; ++c, ++count) {
        auto code = static_cast<signed char>(*c);
        switch (code) {
        case '\t':
            px += tab_cells * advance;
            break;
        case '\n':
            py += font_ysize;
            px = x;
            break;
        case '\r':
            break;
        default:
            if (code > 0)
                draw_glyph(image, px, py, colour, code);
            px += advance;
            break;
        }
    }
    return count;
}

int bitfont_putch(bitmap *image, int x, int y, std::uint32_t colour, int character) {
    char text[2] = {static_cast<char>(character), 0};
    if (text[0])
        bitfont_puts(image, x, y, colour, text);
    return 1;
}

void bitfont_set_spacing(std::uint32_t width) {
    font_xsize = width;
}
std::uint32_t bitfont_charlen() {
    return font_xsize;
}
std::uint32_t bitfont_charhgt() {
    return font_ysize;
}

std::uint32_t bitfont_strlen(const char *text) {
    return text ? font_xsize * static_cast<std::uint32_t>(std::strlen(text)) : 0;
}

std::uint32_t bitfont_strhgt(const char *text) {
    return text && *text ? font_ysize : 0;
}
