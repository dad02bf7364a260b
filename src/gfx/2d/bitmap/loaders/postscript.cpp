#include "gfx/2d/bitmap/loaders/postscript.h"

#include "core/message.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/loaders/bytes.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/loaders/postscript.c";
static constexpr const char *source_ident = "bitmapio::postscript";

namespace {

// Document structuring comments must stay below 255 characters a line.
constexpr std::size_t max_title = 200;
constexpr std::size_t text_line = 72;
// Strings of PostScript hold at most 65535 bytes.
constexpr std::uint32_t max_string = 65535;

// Printable ASCII for a structuring comment; anything else becomes '?'.
std::string comment_text(const char *text) {
    std::string safe;
    for (const char *p = text; *p && safe.size() < max_title; ++p)
        safe += *p >= 0x20 && *p < 0x7F ? *p : '?';
    return safe;
}

// Base-85 text in lines of 72 characters, ended by "~>".
class ascii85_writer {
  public:
    explicit ascii85_writer(byte_writer &out) : out_(out) {}

    void put(std::uint8_t byte) {
        group_ = group_ << 8 | byte;
        if (++count_ == 4)
            emit_group(4);
    }

    void finish() {
        if (count_ > 0) {
            std::uint32_t filled = count_;
            while (count_ < 4) {
                group_ <<= 8;
                ++count_;
            }
            emit_group(filled);
        }
        // "~>" must not be split over two lines.
        if (column_ + 2 > text_line)
            newline();
        out_.write("~>\n", 3);
    }

  private:
    void emit_group(std::uint32_t bytes) {
        if (bytes == 4 && group_ == 0) {
            emit('z');
        } else {
            char digits[5];
            std::uint32_t value = group_;
            for (int i = 4; i >= 0; --i) {
                digits[i] = static_cast<char>('!' + value % 85);
                value /= 85;
            }
            for (std::uint32_t i = 0; i <= bytes; ++i)
                emit(digits[i]);
        }
        group_ = 0;
        count_ = 0;
    }
    void emit(char c) {
        if (column_ == text_line)
            newline();
        out_.u8(static_cast<std::uint8_t>(c));
        ++column_;
    }
    void newline() {
        out_.u8('\n');
        column_ = 0;
    }

    byte_writer &out_;
    std::uint32_t group_ = 0;
    std::uint32_t count_ = 0;
    std::size_t column_ = 0;
};

// PostScript run-length coding into a base-85 writer: a length byte of
// 0..127 copies that many plus one bytes, one of 129..255 repeats the next
// byte 257 minus it times, 128 ends the data.  Runs span rows.
void write_run_length(ascii85_writer &out, const std::uint8_t *data, std::size_t size,
                      progress_guard &progress) {
    constexpr std::size_t longest = 128;
    std::size_t i = 0;
    std::size_t next_report = 0;
    while (i < size) {
        if (i >= next_report) {
            progress.add(static_cast<double>(i), static_cast<double>(size));
            next_report = i + 65536;
        }
        std::size_t run = 1;
        while (i + run < size && run < longest && data[i + run] == data[i])
            ++run;
        if (run >= 2) {
            out.put(static_cast<std::uint8_t>(257 - run));
            out.put(data[i]);
            i += run;
            continue;
        }
        // A literal goes on until two equal bytes start a run.
        std::size_t start = i++;
        while (i < size && i - start < longest && !(i + 1 < size && data[i] == data[i + 1]))
            ++i;
        out.put(static_cast<std::uint8_t>(i - start - 1));
        for (std::size_t k = start; k < i; ++k)
            out.put(data[k]);
    }
    out.put(128);
}

// The largest divisor of `width` whose three-byte pixels fit one string:
// colorimage's reading procedure then never reads past the data.
std::uint32_t pixels_per_string(std::uint32_t width) {
    for (std::uint32_t pixels = std::min(width, max_string / 3); pixels > 1; --pixels)
        if (width % pixels == 0)
            return pixels;
    return 1;
}

void write_prolog(byte_writer &out, const char *filename, const bitmap *image,
                  postscript_encoding encoding) {
    std::uint32_t w = image->xsize, h = image->ysize;
    out.text("%%!PS-Adobe-3.0 EPSF-3.0\n");
    out.text("%%%%Creator: Lumivane\n");
    out.text("%%%%Title: %s\n", comment_text(filename).c_str());
    out.text("%%%%BoundingBox: 0 0 %u %u\n", w, h);
    out.text("%%%%LanguageLevel: %d\n", encoding == postscript_encoding::rle_ascii85 ? 2 : 1);
    out.text("%%%%DocumentData: %s\n",
             encoding == postscript_encoding::binary ? "Binary" : "Clean7Bit");
    out.text("%%%%Pages: 1\n%%%%EndComments\n%%%%Page: 1 1\n");
    if (image->info)
        out.text("%% %s\n", comment_text(image->info).c_str());
    out.text("gsave\n%u %u scale\n", w, h);
    // Rows come top row first, so the image matrix turns the unit square over.
    switch (encoding) {
    case postscript_encoding::ascii_hex:
    case postscript_encoding::binary:
        out.text("/picstr %u string def\n", pixels_per_string(w) * 3);
        out.text("%u %u 8 [%u 0 0 -%u 0 %u]\n", w, h, w, h, h);
        out.text("{currentfile picstr %s pop}\nfalse 3 colorimage\n",
                 encoding == postscript_encoding::binary ? "readstring" : "readhexstring");
        break;
    case postscript_encoding::rle_ascii85:
        // Both filters are flushed after the image, so that the text after
        // the data is read as program again, wherever the image stopped.
        out.text("/rawdata currentfile /ASCII85Decode filter def\n");
        out.text("/picdata rawdata /RunLengthDecode filter def\n");
        out.text("{%u %u 8 [%u 0 0 -%u 0 %u] picdata false 3 colorimage\n", w, h, w, h, h);
        out.text(" picdata flushfile rawdata flushfile} exec\n");
        break;
    }
}

void write_pixels(byte_writer &out, const bitmap *image, postscript_encoding encoding,
                  progress_guard &progress) {
    static constexpr char hex[] = "0123456789abcdef";
    std::size_t row_size = std::size_t{image->xsize} * 3;
    if (encoding == postscript_encoding::rle_ascii85) {
        ascii85_writer base85(out);
        write_run_length(base85, image->bits, row_size * image->ysize, progress);
        base85.finish();
        return;
    }
    std::string line;
    for (std::uint32_t y = 0; y < image->ysize; ++y) {
        progress.add(y, image->ysize);
        const std::uint8_t *row = image->bits + y * row_size;
        if (encoding == postscript_encoding::binary) {
            out.write(row, row_size);
            continue;
        }
        for (std::size_t i = 0; i < row_size; ++i) {
            line += hex[row[i] >> 4];
            line += hex[row[i] & 15];
            if (line.size() == text_line) {
                line += '\n';
                out.write(line.data(), line.size());
                line.clear();
            }
        }
    }
    if (encoding == postscript_encoding::binary)
        out.write("\n", 1);
    else if (!line.empty())
        out.write((line += '\n').data(), line.size());
}

} // namespace

int postscript_save(const char *filename, const bitmap *image, postscript_encoding encoding,
                    const char *driver_name, const char *comments) {
    if (!image || !image->bits || image->bpp != 24 || image->xsize == 0 || image->ysize == 0)
        return 0;
    progress_guard progress(driver_name, comments);
    stream_ptr stream(xfopen(filename, "wb"));
    if (!stream)
        return 0;
    bool written;
    {
        byte_writer out(stream.get());
        write_prolog(out, filename, image, encoding);
        write_pixels(out, image, encoding, progress);
        out.text("grestore\nshowpage\n%%%%Trailer\n%%%%EOF\n");
        written = out.finish();
    }
    streamio_stream *file = stream.release();
    bool closed = xfclose(file) != EOF;
    progress.finish();
    if (!written || !closed) {
        XWARNING("error writing postscript image(%s)", filename);
        return 0;
    }
    return 1;
}
