// The "windows bitmap" image-file driver: uncompressed Windows BMP files at 8
// and 24 bits per pixel.
//
// The writer produces a 14-byte file header, a 40-byte information header,
// the palette of an 8-bpp bitmap and the rows bottom row first, each padded
// to four bytes.  The reader takes what the writer produces and what other
// programs commonly write at these depths: the 12-byte core header and the
// 40-, 52-, 56-, 108- and 124-byte information headers, bottom-up and
// top-down rows, gaps before the pixel data and a zero image size.
#include "core/message.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/loaders/bytes.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/loaders/bmp.c";
static constexpr const char *source_ident = "bitmapio::windows-bitmap";

namespace {

constexpr const char *driver_name = "windows bitmap";
// "windowz" is the documented text, kept verbatim.
constexpr const char *driver_comments = "windowz bitmap loader & saver";

// File header.
constexpr std::size_t at_magic = 0;
constexpr std::size_t at_file_size = 2;
constexpr std::size_t at_reserved = 6;
constexpr std::size_t at_data_offset = 10;
constexpr std::size_t file_header_size = 14;
static_assert(at_data_offset + 4 == file_header_size, "the file header is 14 bytes");

// Information header, offsets from its start.
constexpr std::size_t at_header_size = 0;
constexpr std::size_t at_width = 4;
constexpr std::size_t at_height = 8;
constexpr std::size_t at_planes = 12;
constexpr std::size_t at_bits = 14;
constexpr std::size_t at_compression = 16;
constexpr std::size_t at_image_size = 20;
constexpr std::size_t at_x_resolution = 24;
constexpr std::size_t at_y_resolution = 28;
constexpr std::size_t at_colours_used = 32;
constexpr std::size_t at_colours_important = 36;
constexpr std::size_t info_header_size = 40;
static_assert(at_colours_important + 4 == info_header_size, "the information header is 40 bytes");

// The older core header: 16-bit sizes, three-byte palette entries.
constexpr std::size_t core_at_width = 4;
constexpr std::size_t core_at_height = 6;
constexpr std::size_t core_at_planes = 8;
constexpr std::size_t core_at_bits = 10;
constexpr std::size_t core_header_size = 12;
static_assert(core_at_bits + 2 == core_header_size, "the core header is 12 bytes");

constexpr std::size_t headers_size = file_header_size + info_header_size;
static_assert(headers_size == 54, "pixel data or palette start at 54 in a written file");

// 2925 pixels per metre, about 74 dots per inch.
constexpr std::uint32_t resolution = 0x0B6D;

std::uint64_t row_bytes(std::uint64_t bits, std::uint64_t width) {
    return ((bits * width + 31) >> 5) * 4;
}

// ---------------------------------------------------------------------------
// Writing

int save(const char *filename, bitmap *image) {
    // Only 8 and 24 bpp are written, and a size beyond the 32-bit fields is
    // refused; both before the file is created, so nothing is left behind.
    if (!image || (image->bpp != 8 && image->bpp != 24) || !image->bits)
        return 0;
    std::uint32_t bits = static_cast<std::uint32_t>(image->bpp);
    std::uint32_t colours =
        bits == 8 && image->cmap ? static_cast<std::uint32_t>(image->cmap->size) : 0;
    std::uint64_t rowsize = row_bytes(bits, image->xsize);
    std::uint64_t image_size = rowsize * image->ysize;
    std::uint64_t data_offset = headers_size + 4ull * colours;
    std::uint64_t file_size = data_offset + image_size;
    if (file_size > 0xFFFFFFFFull || image->xsize > 0x7FFFFFFFu || image->ysize > 0x7FFFFFFFu)
        return 0;

    streamio_stream *stream = xfopen(filename, "wb");
    if (!stream)
        return 0;
    stream_ptr guard{stream};
    std::string written_name = stream->name;
    progress_guard progress(driver_name, driver_comments);
    bool written;
    {
        byte_writer out(stream);
        std::uint8_t header[headers_size] = {};
        header[at_magic] = 'B';
        header[at_magic + 1] = 'M';
        put_le32(header + at_file_size, static_cast<std::uint32_t>(file_size));
        put_le32(header + at_reserved, 0);
        put_le32(header + at_data_offset, static_cast<std::uint32_t>(data_offset));
        std::uint8_t *info = header + file_header_size;
        put_le32(info + at_header_size, info_header_size);
        put_le32(info + at_width, image->xsize);
        put_le32(info + at_height, image->ysize);
        put_le16(info + at_planes, 1);
        put_le16(info + at_bits, bits);
        put_le32(info + at_compression, 0);
        put_le32(info + at_image_size, static_cast<std::uint32_t>(image_size));
        put_le32(info + at_x_resolution, resolution);
        put_le32(info + at_y_resolution, resolution);
        put_le32(info + at_colours_used, colours);
        put_le32(info + at_colours_important, colours);
        out.write(header, sizeof header);
        for (std::uint32_t i = 0; i < colours; ++i) {
            const colormap_entry &entry = image->cmap->entry[i];
            out.u8(entry.b);
            out.u8(entry.g);
            out.u8(entry.r);
            out.u8(0);
        }
        std::vector<std::uint8_t> row(static_cast<std::size_t>(rowsize), 0);
        for (std::uint32_t y = image->ysize; y-- > 0;) {
            progress.add(image->ysize - y, image->ysize);
            const std::uint8_t *in = bitmap_boffset(image, 0, y);
            if (bits == 8) {
                std::memcpy(row.data(), in, image->xsize);
            } else {
                std::uint8_t *to = row.data();
                for (std::uint32_t x = 0; x < image->xsize; ++x, in += 3, to += 3) {
                    to[0] = in[2];
                    to[1] = in[1];
                    to[2] = in[0];
                }
            }
            out.write(row.data(), row.size());
        }
        written = out.finish();
    }
    return finish_save(MESSAGE_ORIGIN, guard, progress, written,
                       {"xfclose(stream) != EOF", written_name.c_str()},
                       "failed to write windows bitmap(%s)", filename);
}

// ---------------------------------------------------------------------------
// Reading

struct bmp_header {
    std::uint32_t file_size;
    std::uint32_t data_offset;
    std::uint32_t header_size;
    std::int64_t width;
    std::int64_t height; // negative: rows stored top row first
    std::uint32_t planes;
    std::uint32_t bits;
    std::uint32_t compression;
    std::uint32_t image_size;
    std::uint32_t colours_used;
    std::uint32_t colours_important;
};

bool known_header_size(std::uint32_t size) {
    return size == core_header_size || size == 40 || size == 52 || size == 56 || size == 108 ||
           size == 124;
}

// Reads both headers; false (after a warning) for anything else than a BMP
// header of a known size.
bool read_headers(byte_reader &in, bmp_header &header, const char *filename) {
    std::uint8_t file[file_header_size];
    if (!in.read(file, sizeof file) || file[at_magic] != 'B' || file[at_magic + 1] != 'M') {
        XWARNING("windows bitmap(%s) does not start with \"BM\"", filename);
        return false;
    }
    header.file_size = get_le32(file + at_file_size);
    header.data_offset = get_le32(file + at_data_offset);
    header.header_size = in.le32();
    if (!in.ok() || !known_header_size(header.header_size)) {
        XWARNING("windows bitmap(%s) has an information header of %u bytes (12, 40, 52, 56, 108 "
                 "or 124 expected)",
                 filename, header.header_size);
        return false;
    }
    std::uint8_t info[info_header_size] = {};
    if (!in.read(info + 4,
                 (header.header_size == core_header_size ? core_header_size : info_header_size) -
                     4)) {
        XWARNING("windows bitmap(%s) ends within its headers", filename);
        return false;
    }
    if (header.header_size == core_header_size) {
        header.width = get_le16(info + core_at_width);
        header.height = get_le16(info + core_at_height);
        header.planes = get_le16(info + core_at_planes);
        header.bits = get_le16(info + core_at_bits);
        return true;
    }
    header.width = static_cast<std::int32_t>(get_le32(info + at_width));
    header.height = static_cast<std::int32_t>(get_le32(info + at_height));
    header.planes = get_le16(info + at_planes);
    header.bits = get_le16(info + at_bits);
    header.compression = get_le32(info + at_compression);
    header.image_size = get_le32(info + at_image_size);
    header.colours_used = get_le32(info + at_colours_used);
    header.colours_important = get_le32(info + at_colours_important);
    return true;
}

struct bmp_layout {
    std::uint32_t width;
    std::uint32_t height;
    bool top_first;
    std::uint32_t palette_entries;
    std::uint32_t palette_entry_bytes;
    std::uint64_t palette_offset;
    std::uint64_t rowsize;
};

// Checks every field against the others and against the file before
// anything is allocated.
bool plan_layout(const bmp_header &header, std::uint64_t file_size, bmp_layout &layout,
                 const char *filename) {
    if (header.planes != 1) {
        XWARNING("windows bitmap(%s) has %u planes (1 expected)", filename, header.planes);
        return false;
    }
    if (header.bits != 8 && header.bits != 24) {
        XWARNING("windows bitmap(%s) has unsupported depth %u (8 or 24 supported)", filename,
                 header.bits);
        return false;
    }
    if (header.compression != 0) {
        XWARNING("windows bitmap(%s) uses unsupported compression %u (only uncompressed is "
                 "supported)",
                 filename, header.compression);
        return false;
    }
    // The height is taken apart in 64 bits, so INT_MIN never gets negated in 32.
    if (header.width <= 0 || header.height == 0 || header.height == INT32_MIN) {
        XWARNING("windows bitmap(%s) has an unusable size of %lld x %lld pixels", filename,
                 static_cast<long long>(header.width), static_cast<long long>(header.height));
        return false;
    }
    std::uint64_t width = static_cast<std::uint64_t>(header.width);
    std::uint64_t height =
        static_cast<std::uint64_t>(header.height < 0 ? -header.height : header.height);
    if (!size_acceptable(MESSAGE_ORIGIN, "windows bitmap", filename, width, height))
        return false;
    layout.width = static_cast<std::uint32_t>(width);
    layout.height = static_cast<std::uint32_t>(height);
    layout.top_first = header.height < 0;
    layout.palette_entry_bytes = header.header_size == core_header_size ? 3 : 4;
    layout.palette_offset = file_header_size + std::uint64_t{header.header_size};
    layout.rowsize = row_bytes(header.bits, width);

    if (header.colours_used > 256) {
        XWARNING("windows bitmap(%s) claims %u palette colours (256 at most)", filename,
                 header.colours_used);
        return false;
    }
    if (header.data_offset < layout.palette_offset || header.data_offset > file_size) {
        XWARNING("windows bitmap(%s) has its pixel data at offset %u, outside %llu to %llu",
                 filename, header.data_offset,
                 static_cast<unsigned long long>(layout.palette_offset),
                 static_cast<unsigned long long>(file_size));
        return false;
    }
    // An 8-bpp palette without a count fills the room before the pixels, up
    // to 256 entries; a file written without palette has none.
    std::uint64_t room = (header.data_offset - layout.palette_offset) / layout.palette_entry_bytes;
    layout.palette_entries = 0;
    if (header.bits == 8) {
        std::uint64_t wanted = header.colours_used ? header.colours_used : 256;
        if (header.colours_used && wanted > room) {
            XWARNING("windows bitmap(%s) has no room for its %u palette colours before its pixel "
                     "data",
                     filename, header.colours_used);
            return false;
        }
        layout.palette_entries = static_cast<std::uint32_t>(wanted < room ? wanted : room);
    }
    std::uint64_t data_size = layout.rowsize * height;
    if (data_size > file_size - header.data_offset) {
        XWARNING("windows bitmap(%s) is truncated: %llu bytes of pixel data expected, %llu found",
                 filename, static_cast<unsigned long long>(data_size),
                 static_cast<unsigned long long>(file_size - header.data_offset));
        return false;
    }
    return true;
}

bitmap *decode(byte_reader &in, const char *filename, progress_guard &progress) {
    bmp_header header{};
    if (!read_headers(in, header, filename))
        return nullptr;
    // A stream of unknown size is taken to hold what the header says; the
    // reads below still stop at its end.
    std::uint64_t file_size = in.sized() ? in.position() + in.remaining() : UINT32_MAX;
    bmp_layout layout{};
    if (!plan_layout(header, file_size, layout, filename))
        return nullptr;

    std::vector<colormap_entry> palette(layout.palette_entries);
    if (!in.seek(layout.palette_offset))
        return nullptr;
    for (colormap_entry &entry : palette) {
        entry.b = in.u8();
        entry.g = in.u8();
        entry.r = in.u8();
        if (layout.palette_entry_bytes == 4)
            in.u8();
    }
    if (!in.ok() || !in.seek(header.data_offset)) {
        XWARNING("windows bitmap(%s) ends within its palette", filename);
        return nullptr;
    }

    bitmap_ptr image(
        bitmap_alloc2(layout.width, layout.height, static_cast<std::int32_t>(header.bits)));
    if (!image)
        return nullptr;
    if (!palette.empty()) {
        image->cmap = colormap_alloc(static_cast<std::int32_t>(palette.size()));
        if (!image->cmap)
            return nullptr;
        std::copy(palette.begin(), palette.end(), image->cmap->entry);
    }
    std::vector<std::uint8_t> row(static_cast<std::size_t>(layout.rowsize));
    bool index_reported = false;
    for (std::uint32_t i = 0; i < layout.height; ++i) {
        progress.add(i, layout.height);
        if (!in.read(row.data(), row.size())) {
            XWARNING("windows bitmap(%s) is truncated at row %u", filename, i);
            return nullptr;
        }
        std::uint32_t y = layout.top_first ? i : layout.height - 1 - i;
        std::uint8_t *out = bitmap_boffset(image.get(), 0, y);
        if (header.bits == 8) {
            std::memcpy(out, row.data(), layout.width);
            // Indices beyond the palette stay (the bitmap shows them black)
            // so that a load and save keeps the file's pixels.
            for (std::uint32_t x = 0; x < layout.width && !palette.empty() && !index_reported; ++x)
                if (out[x] >= palette.size()) {
                    XWARNING("windows bitmap(%s) uses colour index %d beyond its palette of %d "
                             "colours",
                             filename, static_cast<int>(out[x]), static_cast<int>(palette.size()));
                    index_reported = true;
                }
        } else {
            const std::uint8_t *from = row.data();
            for (std::uint32_t x = 0; x < layout.width; ++x, from += 3, out += 3) {
                out[0] = from[2];
                out[1] = from[1];
                out[2] = from[0];
            }
        }
    }
    return image.release();
}

bitmap *load(const char *filename) {
    progress_guard progress(driver_name, driver_comments);
    bitmap_ptr result;
    // The stream layer reports a file it cannot open.
    if (!read_file(MESSAGE_ORIGIN, filename, {nullptr, false, "xfclose(stream) != EOF"},
                   [&](byte_reader &in) { result.reset(decode(in, filename, progress)); }))
        return nullptr;
    progress.finish();
    return result.release();
}

void dump(const char *filename) {
    bmp_header header{};
    bool complete = false;
    if (!read_file(MESSAGE_ORIGIN, filename, {nullptr, false, "xfclose(stream) != EOF"},
                   [&](byte_reader &in) { complete = read_headers(in, header, filename); }))
        return;
    if (!complete)
        return;
    std::printf("\ndumping(%s)\n", filename);
    std::printf("file_size       = %u\n", header.file_size);
    std::printf("data_offset     = %u\n", header.data_offset);
    std::printf("header_size     = %u\n", header.header_size);
    std::printf("xsize           = %lld\n", static_cast<long long>(header.width));
    std::printf("ysize           = %lld\n", static_cast<long long>(header.height));
    std::printf("planes          = %u\n", header.planes);
    std::printf("bpp             = %u\n", header.bits);
    std::printf("compression     = %u\n", header.compression);
    std::printf("image_size      = %u\n", header.image_size);
    std::printf("colors_used     = %u\n", header.colours_used);
    std::printf("colors_needed   = %u\n", header.colours_important);
    std::fflush(stdout);
}

const char *const modes[] = {"rw8", "rw24", nullptr};

} // namespace

bitmapio_driver bitmapio_bmp_driver = {
    .next = nullptr,
    .hash = 0,
    .name = driver_name,
    .comments = driver_comments,
    .extension = ".bmp",
    .source = source_file,
    .modes = modes,
    .load = load,
    .save = save,
    .dump = dump,
};
