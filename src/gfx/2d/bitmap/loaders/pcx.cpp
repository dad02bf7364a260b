// The "pcx" image-file driver: paintbox PCX files.
//
// A PCX file is a 128-byte header, the picture's rows and, for 256-colour
// files, a palette at the end.  Header fields, 16-bit values little-endian:
//
//   offset size field
//        0    1 manufacturer: 0x0A
//        1    1 version: 0, 2, 3, 4 or 5 (this writer: 5)
//        2    1 encoding: 1 run-length coded (0, raw rows, is also read)
//        3    1 bits per pixel in one plane: 1, 4 or 8
//        4    8 xmin, ymin, xmax, ymax: signed, inclusive bounds of the picture
//       12    4 horizontal and vertical resolution in dots per inch
//       16   48 16-entry palette (red, green, blue) for pictures of up to 16 colours
//       64    1 reserved
//       65    1 number of planes: 1 to 4 (1-bit planes), 1 (4 or 8 bits), 3 (8 bits)
//       66    2 bytes per line of one plane (even)
//       68    2 palette information: 1 colour, 2 grey
//       70    4 screen size
//       74   54 filler
//
// Each row is stored plane after plane, every plane `bytes per line` long.
// Run-length coding works on the byte stream: a byte with its two top bits
// set carries a count (its low six bits) for the byte that follows; any other
// byte stands for itself.  Runs may go on from one row into the next.  A
// 256-colour picture (one 8-bit plane) ends with the byte 0x0C and 768 bytes
// of palette.
//
// Read: 1-bit with 1 to 4 planes and 4-bit with one plane (8-bpp bitmap with
// the header's palette), 8-bit with one plane (8 bpp with the end palette),
// 8-bit with three planes (24 bpp).  Written: 8 bpp with the end palette and
// 24 bpp as three planes, both run-length coded.
#include "core/message.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/colormap.h"
#include "gfx/2d/bitmap/loaders/bytes.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/loaders/pcx.c";
static constexpr const char *source_ident = "bitmapio::pcx";

namespace {

constexpr const char *driver_name = "pcx";
constexpr const char *driver_comments = "deluxe paint pcx loader & saver";

constexpr std::size_t header_size = 128;
constexpr std::uint8_t manufacturer = 0x0A;
// The byte the file-type table knows PCX files by; files that start with it
// are read as well.
constexpr std::uint8_t manufacturer_alias = 0x10;
constexpr std::uint8_t palette_marker = 0x0C;
constexpr std::size_t end_palette_size = 1 + 256 * 3;
constexpr std::uint8_t run_flag = 0xC0;
constexpr unsigned max_run = 0x3F;

struct pcx_header {
    std::uint8_t manufacturer;
    std::uint8_t version;
    std::uint8_t encoding;
    std::uint8_t bits;
    std::int16_t xmin, ymin, xmax, ymax;
    std::uint16_t hdpi, vdpi;
    std::uint8_t palette[48];
    std::uint8_t planes;
    std::uint16_t bytes_per_line;
    std::uint16_t palette_info;
    std::uint16_t hscreen, vscreen;
};

bool read_header(byte_reader &in, pcx_header &header) {
    std::uint8_t raw[header_size];
    if (!in.read(raw, sizeof raw))
        return false;
    header.manufacturer = raw[0];
    header.version = raw[1];
    header.encoding = raw[2];
    header.bits = raw[3];
    header.xmin = static_cast<std::int16_t>(get_le16(raw + 4));
    header.ymin = static_cast<std::int16_t>(get_le16(raw + 6));
    header.xmax = static_cast<std::int16_t>(get_le16(raw + 8));
    header.ymax = static_cast<std::int16_t>(get_le16(raw + 10));
    header.hdpi = get_le16(raw + 12);
    header.vdpi = get_le16(raw + 14);
    std::copy(raw + 16, raw + 64, header.palette);
    header.planes = raw[65];
    header.bytes_per_line = get_le16(raw + 66);
    header.palette_info = get_le16(raw + 68);
    header.hscreen = get_le16(raw + 70);
    header.vscreen = get_le16(raw + 72);
    return true;
}

bool supported_layout(unsigned bits, unsigned planes) {
    return (bits == 1 && planes >= 1 && planes <= 4) || (bits == 4 && planes == 1) ||
           (bits == 8 && (planes == 1 || planes == 3));
}

// The decoded byte stream of the rows.  A run that reaches past a row goes
// on in the next one; what is left of a run after the last row is dropped.
class row_decoder {
  public:
    row_decoder(byte_reader &in, bool coded, std::uint64_t data_end)
        : in_(in), coded_(coded), data_end_(data_end) {}

    // Fills `row`; false when the data ends first.
    bool next(std::vector<std::uint8_t> &row) {
        std::size_t done = 0;
        while (done < row.size()) {
            if (pending_ > 0) {
                std::size_t step = std::min<std::size_t>(pending_, row.size() - done);
                std::fill_n(row.begin() + static_cast<std::ptrdiff_t>(done), step, value_);
                done += step;
                pending_ -= static_cast<unsigned>(step);
                continue;
            }
            int byte = take();
            if (byte < 0)
                return false;
            if (coded_ && (byte & run_flag) == run_flag) {
                // A count of zero is an empty run: nothing to repeat.
                pending_ = static_cast<unsigned>(byte) & max_run;
                int repeated = take();
                if (repeated < 0)
                    return false;
                value_ = static_cast<std::uint8_t>(repeated);
            } else {
                row[done++] = static_cast<std::uint8_t>(byte);
            }
        }
        return true;
    }

  private:
    int take() { return in_.position() < data_end_ ? in_.getc() : -1; }

    byte_reader &in_;
    bool coded_;
    std::uint64_t data_end_;
    unsigned pending_ = 0;
    std::uint8_t value_ = 0;
};

// The fewest file bytes that can hold `decoded` bytes of rows.
std::uint64_t least_data(std::uint64_t decoded, bool coded) {
    if (!coded)
        return decoded;
    return (decoded + max_run - 1) / max_run * 2;
}

colormap *header_colormap(const pcx_header &header, unsigned depth) {
    unsigned colours = 1u << depth;
    colormap *map = colormap_alloc(static_cast<std::int32_t>(colours));
    if (!map)
        return nullptr;
    for (unsigned i = 0; i < colours; ++i) {
        map->entry[i].r = header.palette[i * 3];
        map->entry[i].g = header.palette[i * 3 + 1];
        map->entry[i].b = header.palette[i * 3 + 2];
    }
    // Many writers leave the palette of a two-colour picture empty and mean
    // black and white.
    if (colours == 2 && map->entry[0].r == map->entry[1].r && map->entry[0].g == map->entry[1].g &&
        map->entry[0].b == map->entry[1].b) {
        map->entry[0] = {0, 0, 0};
        map->entry[1] = {255, 255, 255};
    }
    return map;
}

// The palette behind the 0x0C marker in the file's last bytes, read after
// the pixels (so also from a stream that cannot tell its size); a grey ramp
// (with a warning) when the marker is missing.
colormap *end_colormap(byte_reader &in, const char *filename) {
    colormap *map = colormap_alloc(256);
    if (!map)
        return nullptr;
    std::uint8_t raw[end_palette_size];
    if (in.read_tail(raw, sizeof raw) == sizeof raw && raw[0] == palette_marker) {
        for (int i = 0; i < 256; ++i)
            map->entry[i] = {raw[1 + i * 3], raw[2 + i * 3], raw[3 + i * 3]};
        return map;
    }
    XWARNING("256-colour pcx image(%s) has no palette, reading it as grey", filename);
    for (int i = 0; i < 256; ++i)
        map->entry[i] = {i, i, i};
    return map;
}

// Index of pixel x of a row of `planes` planes of `bits`-bit pixels.
std::uint8_t plane_index(const std::uint8_t *row, std::size_t bytes_per_line, unsigned bits,
                         unsigned planes, std::uint32_t x) {
    unsigned index = 0;
    std::size_t bit = std::size_t{x} * bits;
    unsigned shift = 8 - bits - static_cast<unsigned>(bit % 8);
    unsigned mask = (1u << bits) - 1;
    for (unsigned plane = 0; plane < planes; ++plane) {
        unsigned value = (row[plane * bytes_per_line + bit / 8] >> shift) & mask;
        index |= value << (plane * bits);
    }
    return static_cast<std::uint8_t>(index);
}

// False (after a warning) for a header this reader cannot or should not
// follow; otherwise the picture's size.
bool check_header(const pcx_header &header, const char *filename, std::int32_t &width,
                  std::int32_t &height) {
    if (header.manufacturer != manufacturer && header.manufacturer != manufacturer_alias) {
        XWARNING("pcx image(%s) starts with 0x%02x, not 0x%02x", filename, header.manufacturer,
                 manufacturer);
        return false;
    }
    if (header.version > 5 || header.version == 1) {
        XWARNING("pcx image(%s) has unknown version %u", filename, header.version);
        return false;
    }
    if (header.encoding > 1) {
        XWARNING("pcx image(%s) has unknown encoding %u", filename, header.encoding);
        return false;
    }
    if (!supported_layout(header.bits, header.planes)) {
        XWARNING("pcx image(%s) has an unsupported layout of %u plane(s) of %u bit(s)", filename,
                 header.planes, header.bits);
        return false;
    }
    width = std::int32_t{header.xmax} - header.xmin + 1;
    height = std::int32_t{header.ymax} - header.ymin + 1;
    if (width <= 0 || height <= 0) {
        XWARNING("pcx image(%s) is empty (window %d,%d to %d,%d)", filename, header.xmin,
                 header.ymin, header.xmax, header.ymax);
        return false;
    }
    if (!size_acceptable(MESSAGE_ORIGIN, "pcx image", filename, static_cast<std::uint64_t>(width),
                         static_cast<std::uint64_t>(height)))
        return false;
    if (std::uint64_t{header.bytes_per_line} * 8 < std::uint64_t(width) * header.bits) {
        XWARNING("pcx image(%s): %u bytes per line are too few for a width of %d", filename,
                 header.bytes_per_line, width);
        return false;
    }
    return true;
}

bitmap_ptr decode(byte_reader &in, const char *filename, progress_guard &progress) {
    pcx_header header;
    if (!read_header(in, header)) {
        XWARNING("pcx image(%s) is shorter than its 128-byte header", filename);
        return nullptr;
    }
    std::int32_t width, height;
    if (!check_header(header, filename, width, height))
        return nullptr;

    bool coded = header.encoding == 1;
    bool paletted_256 = header.bits == 8 && header.planes == 1;
    // Where the size is known the rows stop short of the end palette.
    std::uint64_t data_end = UINT64_MAX;
    if (paletted_256 && in.sized() && in.remaining() >= end_palette_size)
        data_end = in.position() + in.remaining() - end_palette_size;
    std::size_t row_size = std::size_t{header.bytes_per_line} * header.planes;
    std::uint64_t decoded = std::uint64_t(row_size) * std::uint64_t(height);
    std::uint64_t available = std::min(in.remaining(), data_end - in.position());
    if (least_data(decoded, coded) > available) {
        XWARNING("pcx image(%s) is truncated: %dx%d pixels need more than its %llu data bytes",
                 filename, width, height, static_cast<unsigned long long>(available));
        return nullptr;
    }

    std::int32_t bpp = header.bits == 8 && header.planes == 3 ? 24 : 8;
    bitmap_ptr image(
        bitmap_alloc2(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), bpp));
    if (!image)
        return nullptr;
    std::vector<std::uint8_t> row(row_size);
    row_decoder rows(in, coded, data_end);
    std::uint8_t *out = image->bits;
    for (std::int32_t y = 0; y < height; ++y) {
        progress.add(y, height);
        if (!rows.next(row)) {
            XWARNING("pcx image(%s) is truncated at row %d of %d", filename, y, height);
            return nullptr;
        }
        if (bpp == 24) {
            for (std::int32_t x = 0; x < width; ++x) {
                *out++ = row[x];
                *out++ = row[header.bytes_per_line + x];
                *out++ = row[2 * std::size_t{header.bytes_per_line} + x];
            }
        } else if (paletted_256) {
            out = std::copy_n(row.begin(), width, out);
        } else {
            for (std::int32_t x = 0; x < width; ++x)
                *out++ = plane_index(row.data(), header.bytes_per_line, header.bits, header.planes,
                                     static_cast<std::uint32_t>(x));
        }
    }
    if (paletted_256)
        image->cmap = end_colormap(in, filename);
    else if (bpp == 8)
        image->cmap = header_colormap(header, unsigned{header.bits} * header.planes);
    return image;
}

bitmap *pcx_load(const char *filename) {
    progress_guard progress(driver_name, driver_comments);
    bitmap_ptr image;
    if (!read_file(MESSAGE_ORIGIN, filename,
                   {"error opening pcx image(%s)", false, "xfclose(file) != EOF"},
                   [&](byte_reader &in) { image = decode(in, filename, progress); }))
        return nullptr;
    progress.finish();
    return image.release();
}

// Run-length codes one plane line: runs of up to 63 equal bytes, and single
// bytes that could be mistaken for a count also as runs (of one).
void encode_line(byte_writer &out, const std::uint8_t *line, std::size_t size) {
    std::size_t i = 0;
    while (i < size) {
        std::uint8_t value = line[i];
        std::size_t run = 1;
        while (i + run < size && run < max_run && line[i + run] == value)
            ++run;
        if (run > 1 || (value & run_flag) == run_flag)
            out.u8(run_flag | static_cast<std::uint8_t>(run));
        out.u8(value);
        i += run;
    }
}

int pcx_save(const char *filename, bitmap *image) {
    if (!image || !image->bits || (image->bpp != 8 && image->bpp != 24))
        return 0;
    std::uint32_t width = image->xsize, height = image->ysize;
    std::uint32_t bytes_per_line = (width + 1) & ~1u;
    // The window's bounds are signed 16-bit values.
    if (width == 0 || height == 0 || width > 0x8000 || height > 0x8000) {
        XWARNING("pcx image(%s): a picture of %ux%u pixels does not fit the format", filename,
                 width, height);
        return 0;
    }
    progress_guard progress(driver_name, driver_comments);
    stream_ptr stream(xfopen(filename, "wb"));
    if (!stream)
        return 0;
    unsigned planes = image->bpp == 24 ? 3 : 1;
    bool written;
    {
        byte_writer out(stream.get());
        std::uint8_t header[header_size] = {};
        header[0] = manufacturer;
        header[1] = 5;
        header[2] = 1;
        header[3] = 8;
        put_le16(header + 8, width - 1);
        put_le16(header + 10, height - 1);
        put_le16(header + 12, 72);
        put_le16(header + 14, 72);
        header[65] = static_cast<std::uint8_t>(planes);
        put_le16(header + 66, bytes_per_line);
        put_le16(header + 68, 1);
        out.write(header, sizeof header);

        std::vector<std::uint8_t> line(bytes_per_line, 0);
        const std::uint8_t *pixels = image->bits;
        for (std::uint32_t y = 0; y < height; ++y) {
            progress.add(y, height);
            for (unsigned plane = 0; plane < planes; ++plane) {
                for (std::uint32_t x = 0; x < width; ++x)
                    line[x] = pixels[std::size_t{x} * planes + plane];
                encode_line(out, line.data(), line.size());
            }
            pixels += std::size_t{width} * planes;
        }
        if (image->bpp == 8) {
            // No colormap means the grey ramp, as the 8-bpp bitmap is shown.
            out.u8(palette_marker);
            for (int i = 0; i < 256; ++i) {
                colormap_entry colour = colormap_get_color(image->cmap, i);
                if (image->cmap && i >= image->cmap->size)
                    colour = {0, 0, 0};
                out.u8(static_cast<std::uint32_t>(colour.r));
                out.u8(static_cast<std::uint32_t>(colour.g));
                out.u8(static_cast<std::uint32_t>(colour.b));
            }
        }
        written = out.finish();
    }
    return finish_save(MESSAGE_ORIGIN, stream, progress, written, {}, "error writing pcx image(%s)",
                       filename);
}

void pcx_dump(const char *filename) {
    pcx_header header;
    bool complete = false;
    if (!read_file(MESSAGE_ORIGIN, filename, {},
                   [&](byte_reader &in) { complete = read_header(in, header); }))
        return;
    if (!complete) {
        XWARNING("pcx image(%s) is shorter than its 128-byte header", filename);
        return;
    }
    std::printf("\ndumping(%s)\n", filename);
    std::printf("manufacturer    = 0x%02x\n", header.manufacturer);
    std::printf("version         = %u\n", header.version);
    std::printf("encoding        = %u\n", header.encoding);
    std::printf("bits_per_pixel  = %u\n", header.bits);
    std::printf("window          = %d,%d - %d,%d\n", header.xmin, header.ymin, header.xmax,
                header.ymax);
    std::printf("xsize           = %d\n", header.xmax - header.xmin + 1);
    std::printf("ysize           = %d\n", header.ymax - header.ymin + 1);
    std::printf("resolution      = %u x %u dpi\n", header.hdpi, header.vdpi);
    std::printf("planes          = %u\n", header.planes);
    std::printf("bytes_per_line  = %u\n", header.bytes_per_line);
    std::printf("palette_info    = %u\n", header.palette_info);
    std::printf("screen          = %u x %u\n", header.hscreen, header.vscreen);
    std::fflush(stdout);
}

constexpr const char *pcx_modes[] = {"r1", "r4", "r8", "r24", "w8", "w24", nullptr};

} // namespace

bitmapio_driver bitmapio_pcx_driver = {
    .next = nullptr,
    .hash = 0,
    .name = driver_name,
    .comments = driver_comments,
    .extension = ".pcx",
    .source = source_file,
    .modes = pcx_modes,
    .load = pcx_load,
    .save = pcx_save,
    .dump = pcx_dump,
};
