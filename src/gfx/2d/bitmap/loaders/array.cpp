// The "array" image-file driver: writes a bitmap as C source that an ANSI C
// compiler takes as it is, so that a picture can be built into a program.
//
// For a file "logo.ca" the source defines, with external linkage:
//
//   const unsigned int logo_xsize, logo_ysize, logo_bpp;
//   const unsigned int logo_colors;                    (colormap entries)
//   const unsigned char logo_colormap[colors][3];      (only when colors > 0)
//   const unsigned char logo_bits[xsize*ysize*bytes];  (the pixel block)
//
// The pixel block is the bitmap's own: rows top to bottom without padding,
// 15-, 16- and 32-bpp pixels little-endian, 24-bpp pixels red, green, blue.
// The prefix is the file's base name with everything but letters, digits
// and '_' turned into '_' ("image_" goes in front when that would not start
// with a letter).  Every depth of the bitmap model is written.
#include "core/message.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/colormap.h"
#include "gfx/2d/bitmap/loaders/bytes.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/loaders/array.c";
static constexpr const char *source_ident = "bitmapio::array";

namespace {

constexpr const char *driver_name = "array";
constexpr const char *driver_comments = "ANSI/ISO-C array saver";
constexpr int bytes_per_line = 12;

bool is_alpha(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

// The identifier prefix made of the file's base name without its suffix.
std::string identifier_of(const char *filename) {
    std::string base = filename;
    std::size_t slash = base.find_last_of("/\\");
    if (slash != std::string::npos)
        base.erase(0, slash + 1);
    std::size_t dot = base.rfind('.');
    if (dot != std::string::npos && dot > 0)
        base.erase(dot);
    for (char &c : base)
        if (!is_alpha(c) && !is_digit(c))
            c = '_';
    // Names that start with '_' belong to the C implementation.
    if (base.empty() || !is_alpha(base[0]) || base[0] == '_')
        base.insert(0, "image_");
    return base;
}

// Text safe inside a C comment: printable ASCII only, and no "*/" or "/*".
std::string comment_text(const char *text) {
    std::string safe;
    for (const char *p = text; *p; ++p) {
        char c = *p;
        if (c < 0x20 || c > 0x7E)
            c = ' ';
        if ((c == '/' && !safe.empty() && safe.back() == '*') ||
            (c == '*' && !safe.empty() && safe.back() == '/'))
            c = ' ';
        safe += c;
    }
    return safe;
}

// Twelve "0x.., " values a line; formatted by hand, as a big picture has
// millions of them.
void write_bytes(byte_writer &out, const std::uint8_t *data, std::size_t size,
                 progress_guard &progress) {
    static constexpr char hex[] = "0123456789abcdef";
    std::string line;
    for (std::size_t start = 0; start < size; start += bytes_per_line) {
        if (start % (bytes_per_line * 4096) == 0)
            progress.add(static_cast<double>(start), static_cast<double>(size));
        std::size_t end = std::min(size, start + bytes_per_line);
        line = "   ";
        for (std::size_t i = start; i < end; ++i) {
            line += " 0x";
            line += hex[data[i] >> 4];
            line += hex[data[i] & 15];
            if (i + 1 < size)
                line += ',';
        }
        line += '\n';
        out.write(line.data(), line.size());
    }
}

int array_save(const char *filename, bitmap *image) {
    if (!image || !image->bits || bitmap_depth_channels(image->bpp) == 0)
        return 0;
    std::size_t size = bitmap_bytesize(image);
    if (size == 0)
        return 0;
    progress_guard progress(driver_name, driver_comments);
    stream_ptr stream(xfopen(filename, "wb"));
    if (!stream)
        return 0;
    std::string id = identifier_of(filename);
    const colormap *map = image->cmap;
    std::int32_t colors = map ? map->size : 0;
    bool written;
    {
        byte_writer out(stream.get());
        out.text("/* %s: a %ux%u picture of %d bits per pixel */\n", comment_text(filename).c_str(),
                 image->xsize, image->ysize, image->bpp);
        if (image->info)
            out.text("/* %s */\n", comment_text(image->info).c_str());
        out.text("\nconst unsigned int %s_xsize = %u;\n", id.c_str(), image->xsize);
        out.text("const unsigned int %s_ysize = %u;\n", id.c_str(), image->ysize);
        out.text("const unsigned int %s_bpp = %d;\n", id.c_str(), image->bpp);
        out.text("const unsigned int %s_colors = %d;\n", id.c_str(), colors);
        if (colors > 0) {
            out.text("\nconst unsigned char %s_colormap[%d][3] = {\n", id.c_str(), colors);
            for (std::int32_t i = 0; i < colors; ++i)
                out.text("    {0x%02x, 0x%02x, 0x%02x}%s\n", map->entry[i].r & 0xFF,
                         map->entry[i].g & 0xFF, map->entry[i].b & 0xFF, i + 1 < colors ? "," : "");
            out.text("};\n");
        }
        out.text("\nconst unsigned char %s_bits[%zu] = {\n", id.c_str(), size);
        write_bytes(out, image->bits, size, progress);
        out.text("};\n");
        written = out.finish();
    }
    streamio_stream *file = stream.release();
    bool closed = xfclose(file) != EOF;
    progress.finish();
    if (!written || !closed) {
        XWARNING("error writing C array(%s)", filename);
        return 0;
    }
    return 1;
}

constexpr const char *array_modes[] = {"w*", nullptr};

} // namespace

bitmapio_driver bitmapio_array_driver = {
    .next = nullptr,
    .hash = 0,
    .name = driver_name,
    .comments = driver_comments,
    .extension = ".ca",
    .source = source_file,
    .modes = array_modes,
    .load = nullptr,
    .save = array_save,
    .dump = nullptr,
};
