// The "portable pixmap" image-file driver: grey and colour maps in text
// (P2, P3) and binary (P5, P6) form.
//
// A file is the magic ("P2", "P3", "P5" or "P6"), the width, the height and
// the largest sample value (maxval, 1 to 65535) as decimal numbers separated
// by white space, with "#" comments to the end of a line allowed anywhere
// between them.  Samples follow, rows top to bottom, one per pixel for grey
// and red, green, blue for colour: in the text forms as decimal numbers
// separated by white space (comments allowed there too), in the binary forms
// after exactly one white-space byte, one byte per sample when maxval is below
// 256 and two bytes, most significant first, otherwise.
//
// Read: every sample is scaled from 0..maxval to 0..255 (rounded).  Grey maps
// give an 8-bpp bitmap with a grey-ramp colormap, colour maps a 24-bpp
// bitmap; the header's comments become the bitmap's comment.  Only the first
// picture of a file is read.
// Written: 24 bpp as P6; 8 bpp as P5 when every colour of its palette is a
// grey (or it has none: the grey ramp), else as P6, so that no colour is
// lost.  The bitmap's comment goes into "#" lines after the magic line.
#include "core/message.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/colormap.h"
#include "gfx/2d/bitmap/loaders/bytes.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/loaders/ppm.c";
static constexpr const char *source_ident = "bitmapio::portable-pixmap";

namespace {

constexpr const char *driver_name = "portable pixmap";
constexpr const char *driver_comments = "portable pixmap loader & saver (ascii & binary)";

constexpr std::uint32_t max_maxval = 65535;
// Header comments kept as the bitmap's comment; the rest is skipped.
constexpr std::size_t max_comment = 4096;

bool is_space(int c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}
bool is_digit(int c) {
    return c >= '0' && c <= '9';
}

// Scans the text parts of a file: numbers between white space and comments.
class pnm_scanner {
  public:
    pnm_scanner(byte_reader &in, const char *filename) : in_(in), filename_(filename) {}

    std::string comment;

    // Skips white space and comments up to the next number; false (after a
    // warning) at the end of the file or on anything else.
    bool skip_to_number(const char *what) {
        for (;;) {
            int c = in_.peek();
            if (c == '#') {
                if (!read_comment())
                    return false;
            } else if (is_space(c)) {
                in_.getc();
            } else if (is_digit(c)) {
                return true;
            } else {
                if (c < 0)
                    XWARNING("portable pixmap(%s) ends before its %s", filename_, what);
                else
                    XWARNING("portable pixmap(%s): unexpected byte 0x%02x where its %s should be",
                             filename_, c, what);
                return false;
            }
        }
    }

    // A decimal number no greater than `limit`.
    bool number(const char *what, std::uint32_t limit, std::uint32_t &value) {
        if (!skip_to_number(what))
            return false;
        std::uint64_t result = 0;
        while (is_digit(in_.peek())) {
            result = result * 10 + static_cast<unsigned>(in_.getc() - '0');
            if (result > limit) {
                XWARNING("portable pixmap(%s): %s exceeds %u", filename_, what, limit);
                return false;
            }
        }
        value = static_cast<std::uint32_t>(result);
        return true;
    }

  private:
    bool read_comment() {
        in_.getc();
        bool first = comment_lines_ == 0;
        ++comment_lines_;
        if (!first && comment.size() < max_comment)
            comment += '\n';
        if (in_.peek() == ' ')
            in_.getc();
        for (;;) {
            int c = in_.getc();
            if (c < 0) {
                XWARNING("portable pixmap(%s) ends inside a comment", filename_);
                return false;
            }
            if (c == '\n' || c == '\r')
                return true;
            if (comment.size() < max_comment)
                comment += static_cast<char>(c);
        }
    }

    byte_reader &in_;
    const char *filename_;
    int comment_lines_ = 0;
};

colormap *grey_ramp() {
    colormap *map = colormap_alloc(256);
    if (map)
        for (int i = 0; i < 256; ++i)
            map->entry[i] = {i, i, i};
    return map;
}

bitmap_ptr decode(byte_reader &in, const char *filename, progress_guard &progress) {
    if (in.getc() != 'P') {
        XWARNING("portable pixmap(%s) does not start with 'P'", filename);
        return nullptr;
    }
    int kind = in.getc();
    if (kind != '2' && kind != '3' && kind != '5' && kind != '6') {
        XWARNING("portable pixmap(%s): kind 'P%c' is not supported (only P2, P3, P5 and P6)",
                 filename, kind < 0 ? '?' : kind);
        return nullptr;
    }
    bool plain = kind == '2' || kind == '3';
    bool colour = kind == '3' || kind == '6';
    pnm_scanner scan(in, filename);
    std::uint32_t width, height, maxval;
    if (!scan.number("width", BITMAP_MAX_SIDE, width) ||
        !scan.number("height", BITMAP_MAX_SIDE, height) ||
        !scan.number("maxval", max_maxval, maxval))
        return nullptr;
    if (width == 0 || height == 0) {
        XWARNING("portable pixmap(%s) is empty (%ux%u pixels)", filename, width, height);
        return nullptr;
    }
    if (maxval == 0) {
        XWARNING("portable pixmap(%s) has a maxval of 0", filename);
        return nullptr;
    }
    if (!size_acceptable(MESSAGE_ORIGIN, "portable pixmap", filename, width, height))
        return nullptr;
    unsigned channels = colour ? 3 : 1;
    std::uint64_t samples = std::uint64_t{width} * height * channels;
    if (!plain) {
        // Exactly one white-space byte ends the header of the binary forms.
        if (!is_space(in.getc())) {
            XWARNING("portable pixmap(%s): no white space after its maxval", filename);
            return nullptr;
        }
    }
    unsigned sample_bytes = maxval > 255 ? 2 : 1;
    // A text sample takes at least a digit and a separator.
    std::uint64_t least = plain ? samples * 2 - 1 : samples * sample_bytes;
    if (!in.has(least)) {
        XWARNING("portable pixmap(%s) is truncated: %ux%u pixels need %llu bytes, at most %llu are "
                 "left",
                 filename, width, height, static_cast<unsigned long long>(least),
                 static_cast<unsigned long long>(in.remaining()));
        return nullptr;
    }

    bitmap_ptr image(bitmap_alloc2(width, height, colour ? 24 : 8));
    if (!image)
        return nullptr;
    if (!colour)
        image->cmap = grey_ramp();
    std::uint8_t *out = image->bits;
    std::size_t row_samples = std::size_t{width} * channels;
    std::vector<std::uint8_t> raw(plain ? 0 : row_samples * sample_bytes);
    for (std::uint32_t y = 0; y < height; ++y) {
        progress.add(y, height);
        if (!plain && !in.read(raw.data(), raw.size())) {
            XWARNING("portable pixmap(%s) is truncated at row %u of %u", filename, y, height);
            return nullptr;
        }
        for (std::size_t i = 0; i < row_samples; ++i) {
            std::uint32_t value;
            if (plain) {
                if (!scan.number("sample", UINT32_MAX, value)) {
                    XWARNING("portable pixmap(%s): row %u of %u is incomplete", filename, y,
                             height);
                    return nullptr;
                }
            } else if (sample_bytes == 2) {
                value = get_be16(&raw[i * 2]);
            } else {
                value = raw[i];
            }
            if (value > maxval) {
                XWARNING("portable pixmap(%s): sample %u at row %u exceeds maxval %u", filename,
                         value, y, maxval);
                return nullptr;
            }
            *out++ = static_cast<std::uint8_t>((value * 255 + maxval / 2) / maxval);
        }
    }
    if (!scan.comment.empty())
        bitmap_set_info(image.get(), scan.comment.c_str());
    return image;
}

bitmap *ppm_load(const char *filename) {
    progress_guard progress(driver_name, driver_comments);
    bitmap_ptr image;
    if (!read_file(MESSAGE_ORIGIN, filename,
                   {"error opening portable pixmap(%s)", false, "xfclose(file) != EOF"},
                   [&](byte_reader &in) { image = decode(in, filename, progress); }))
        return nullptr;
    progress.finish();
    return image.release();
}

bool grey_palette(const colormap *map) {
    if (!map)
        return true;
    for (std::int32_t i = 0; i < map->size; ++i)
        if (map->entry[i].r != map->entry[i].g || map->entry[i].g != map->entry[i].b)
            return false;
    return true;
}

// The comment as "#" lines; control bytes become blanks so that nothing can
// end a comment line early.
void write_comment(byte_writer &out, const char *info) {
    if (!info || !*info)
        return;
    out.text("# ");
    for (const char *p = info; *p; ++p) {
        auto c = static_cast<unsigned char>(*p);
        if (c == '\n')
            out.text("\n# ");
        else
            out.u8(c < 0x20 || c == 0x7F ? ' ' : c);
    }
    out.u8('\n');
}

int ppm_save(const char *filename, bitmap *image) {
    if (!image || !image->bits || (image->bpp != 8 && image->bpp != 24))
        return 0;
    progress_guard progress(driver_name, driver_comments);
    stream_ptr stream(xfopen(filename, "wb"));
    if (!stream)
        return 0;
    bool grey = image->bpp == 8 && grey_palette(image->cmap);
    bool written;
    {
        byte_writer out(stream.get());
        out.text("P%c\n", grey ? '5' : '6');
        write_comment(out, image->info);
        out.text("%u %u\n255\n", image->xsize, image->ysize);
        const std::uint8_t *pixels = image->bits;
        std::vector<std::uint8_t> row(std::size_t{image->xsize} * (grey ? 1 : 3));
        for (std::uint32_t y = 0; y < image->ysize; ++y) {
            progress.add(y, image->ysize);
            std::uint8_t *at = row.data();
            for (std::uint32_t x = 0; x < image->xsize; ++x) {
                if (image->bpp == 24) {
                    at[0] = pixels[0];
                    at[1] = pixels[1];
                    at[2] = pixels[2];
                    at += 3;
                    pixels += 3;
                    continue;
                }
                colormap_entry colour = colormap_get_color(image->cmap, *pixels++);
                *at++ = static_cast<std::uint8_t>(colour.r);
                if (!grey) {
                    *at++ = static_cast<std::uint8_t>(colour.g);
                    *at++ = static_cast<std::uint8_t>(colour.b);
                }
            }
            out.write(row.data(), row.size());
        }
        written = out.finish();
    }
    return finish_save(MESSAGE_ORIGIN, stream, progress, written, {},
                       "error writing portable pixmap(%s)", filename);
}

void ppm_dump(const char *filename) {
    std::uint32_t width = 0, height = 0, maxval = 0;
    int kind = -1;
    bool complete = false;
    std::string comment;
    if (!read_file(MESSAGE_ORIGIN, filename, {}, [&](byte_reader &in) {
            pnm_scanner scan(in, filename);
            if (in.getc() == 'P') {
                kind = in.getc();
                complete = scan.number("width", UINT32_MAX, width) &&
                           scan.number("height", UINT32_MAX, height) &&
                           scan.number("maxval", UINT32_MAX, maxval);
            }
            comment = scan.comment;
        }))
        return;
    if (!complete) {
        XWARNING("portable pixmap(%s) has no complete header", filename);
        return;
    }
    std::printf("\ndumping(%s)\n", filename);
    std::printf("magic           = P%c\n", kind > ' ' && kind < 0x7F ? kind : '?');
    std::printf("xsize           = %u\n", width);
    std::printf("ysize           = %u\n", height);
    std::printf("maxval          = %u\n", maxval);
    std::printf("comment         = %s\n", comment.empty() ? "<no info>" : comment.c_str());
    std::fflush(stdout);
}

constexpr const char *ppm_modes[] = {"rw8", "rw24", nullptr};

} // namespace

bitmapio_driver bitmapio_ppm_driver = {
    .next = nullptr,
    .hash = 0,
    .name = driver_name,
    .comments = driver_comments,
    .extension = ".ppm",
    .source = source_file,
    .modes = ppm_modes,
    .load = ppm_load,
    .save = ppm_save,
    .dump = ppm_dump,
};
