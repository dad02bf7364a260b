// The bitmap font: one process-wide fixed-width font that prints text onto a
// bitmap.  A built-in 8 x 14 face is there from the start; `bitfont_load`
// replaces it with an 8 x 16 font file.
//
// Glyphs are 256 slots of 16 bytes, one byte per row, bit 0 the leftmost
// pixel.  A font file is FONT_FILESIZE bytes without header, one byte per row
// with bit 7 leftmost (the usual character-cell layout); loading turns it
// around.
//
// Printing draws only set glyph bits (transparent background) through the
// `putpixel` hook, which does its own bounds handling; nothing is clipped
// here.  Tab advances the pen eight cells, line feed goes to the next line at
// the starting column, carriage return does nothing.  Only codes 1 to 127
// have glyphs to draw (text is expected to be 7-bit); other codes advance the
// pen by one empty cell.  Every character counts in the returned number.
#pragma once

#include <cstddef>
#include <cstdint>

struct bitmap;

constexpr std::size_t FONT_FILESIZE = 4096;

extern std::uint8_t default_font[FONT_FILESIZE];
extern std::uint32_t font_xsize; // glyph width and advance; built-in 8
extern std::uint32_t font_ysize; // glyph rows; built-in 14
// How a glyph pixel is set; initially bitmap_putpixel.
extern void (*putpixel)(bitmap *image, int x, int y, std::uint32_t colour);

// 1 when the file was read and closed, 0 when it could not be opened (the
// font is then unchanged) or closed.  A file shorter than FONT_FILESIZE bytes
// is an assertion failure and leaves the font unchanged.
int bitfont_load(const char *filename);
// Nothing to do: the font is static.
void bitfont_unload();

// Formats into a buffer of 4 KB (longer output is cut) and prints it like
// bitfont_puts; returns the number of characters processed.
int bitfont_printf(bitmap *image, int x, int y, std::uint32_t colour, const char *format, ...)
    __attribute__((format(printf, 5, 6)));
int bitfont_puts(bitmap *image, int x, int y, std::uint32_t colour, const char *text);
// One character at (x, y); returns 1.
int bitfont_putch(bitmap *image, int x, int y, std::uint32_t colour, int character);

void bitfont_set_spacing(std::uint32_t width); // sets font_xsize
std::uint32_t bitfont_charlen();               // font_xsize
std::uint32_t bitfont_charhgt();               // font_ysize
// font_xsize times the number of characters (0 for null).
std::uint32_t bitfont_strlen(const char *text);
// font_ysize for a non-empty text, 0 for an empty or null one.
std::uint32_t bitfont_strhgt(const char *text);
