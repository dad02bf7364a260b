// The "targa" image-file driver: Truevision Targa files, the program's default
// output format.
//
// The writer stores every picture uncompressed, top row first: 8 bpp as a
// colour-mapped image with 24-bit palette entries, 15, 16, 24 and 32 bpp as
// true colour (16 bpp in 5-5-5 form, like 15).  The reader takes the
// uncompressed and run-length-encoded colour-mapped, true-colour and grey
// images in any of the four origins and gives a top-row-first bitmap of the
// file's depth in the layout the writer reverses, so that writing a loaded
// file reproduces its pixels.
#include "core/memio/memio.h"
#include "core/message.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/color.h"
#include "gfx/2d/bitmap/loaders/bytes.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/loaders/targa.c";
static constexpr const char *source_ident = "bitmapio::targa";

namespace {

constexpr const char *driver_name = "targa";
constexpr const char *driver_comments = "targa loader & saver";

// The 18-byte file header, field offsets.
constexpr std::size_t at_id_length = 0;
constexpr std::size_t at_colormap_type = 1;
constexpr std::size_t at_image_type = 2;
constexpr std::size_t at_colormap_first = 3;
constexpr std::size_t at_colormap_length = 5;
constexpr std::size_t at_colormap_entry_bits = 7;
constexpr std::size_t at_x_origin = 8;
constexpr std::size_t at_y_origin = 10;
constexpr std::size_t at_width = 12;
constexpr std::size_t at_height = 14;
constexpr std::size_t at_pixel_depth = 16;
constexpr std::size_t at_descriptor = 17;
constexpr std::size_t header_size = 18;
static_assert(at_descriptor + 1 == header_size, "the targa header is 18 bytes");

constexpr std::uint8_t descriptor_top_first = 0x20;
constexpr std::uint8_t descriptor_right_to_left = 0x10;
constexpr std::uint8_t descriptor_interleave = 0xC0;

struct targa_header {
    unsigned id_length;
    unsigned colormap_type;
    unsigned image_type;
    unsigned colormap_first;
    unsigned colormap_length;
    unsigned colormap_entry_bits;
    unsigned width;
    unsigned height;
    unsigned pixel_depth;
    unsigned descriptor;
};

targa_header parse_header(const std::uint8_t *field) {
    targa_header header{};
    header.id_length = field[at_id_length];
    header.colormap_type = field[at_colormap_type];
    header.image_type = field[at_image_type];
    header.colormap_first = get_le16(field + at_colormap_first);
    header.colormap_length = get_le16(field + at_colormap_length);
    header.colormap_entry_bits = field[at_colormap_entry_bits];
    header.width = get_le16(field + at_width);
    header.height = get_le16(field + at_height);
    header.pixel_depth = field[at_pixel_depth];
    header.descriptor = field[at_descriptor];
    return header;
}

bool depth_written(std::int32_t bpp) {
    return bpp == 8 || bpp == 15 || bpp == 16 || bpp == 24 || bpp == 32;
}

// ---------------------------------------------------------------------------
// Writing

void write_header(byte_writer &out, const bitmap *image) {
    bool mapped = image->bpp == 8;
    std::uint8_t field[header_size] = {};
    field[at_id_length] = 0;
    field[at_colormap_type] = mapped ? 1 : 0;
    field[at_image_type] = mapped ? 1 : 2;
    put_le16(field + at_colormap_first, 0);
    put_le16(field + at_colormap_length,
             mapped && image->cmap ? static_cast<std::uint32_t>(image->cmap->size) : 0);
    field[at_colormap_entry_bits] = mapped ? 24 : 0;
    put_le16(field + at_x_origin, 0);
    put_le16(field + at_y_origin, 0);
    // Only the low 16 bits of a side fit the field.
    put_le16(field + at_width, image->xsize);
    put_le16(field + at_height, image->ysize);
    field[at_pixel_depth] = static_cast<std::uint8_t>(image->bpp);
    // Rows go top row first at every depth; no alpha bits are declared, also at 32 bpp.
    field[at_descriptor] = descriptor_top_first;
    out.write(field, sizeof field);
}

void write_row(byte_writer &out, const bitmap *image, std::uint32_t y,
               std::vector<std::uint8_t> &row) {
    const std::uint8_t *in = bitmap_boffset(image, 0, y);
    std::size_t count = image->xsize;
    row.clear();
    switch (image->bpp) {
    case 8:
        row.assign(in, in + count);
        break;
    case 15:
    case 16:
        // Both depths are stored as 5-5-5, whatever the header says.
        for (std::size_t x = 0; x < count; ++x, in += 2) {
            int r = 0, g = 0, b = 0;
            color_unpack(nullptr, get_le16(in), &r, &g, &b, nullptr, image->bpp);
            std::uint32_t value = ((r >> 3) << 10) | ((g >> 3) << 5) | (b >> 3);
            row.push_back(static_cast<std::uint8_t>(value));
            row.push_back(static_cast<std::uint8_t>(value >> 8));
        }
        break;
    case 24:
        for (std::size_t x = 0; x < count; ++x, in += 3)
            row.insert(row.end(), {in[2], in[1], in[0]});
        break;
    case 32:
        for (std::size_t x = 0; x < count; ++x, in += 4)
            row.insert(row.end(), {in[2], in[1], in[0], in[3]});
        break;
    }
    out.write(row.data(), row.size());
}

int save(const char *filename, bitmap *image) {
    // A depth the format cannot hold is refused before the file is created,
    // so that no empty file is left behind.
    if (!image || !depth_written(image->bpp) || !image->bits)
        return 0;
    streamio_stream *stream = xfopen(filename, "wb");
    if (!stream)
        return 0;
    stream_ptr guard{stream};
    std::string written_name = stream->name; // aliases expanded, for removing a partial file
    progress_guard progress(driver_name, driver_comments);
    bool written;
    {
        byte_writer out(stream);
        write_header(out, image);
        // A colormap goes out whatever the depth; only the 8-bpp header announces it.
        if (image->cmap) {
            for (std::int32_t i = 0; i < image->cmap->size; ++i) {
                const colormap_entry &entry = image->cmap->entry[i];
                out.u8(entry.b);
                out.u8(entry.g);
                out.u8(entry.r);
            }
        }
        std::vector<std::uint8_t> row;
        for (std::uint32_t y = 0; y < image->ysize; ++y) {
            progress.add(y, image->ysize);
            write_row(out, image, y, row);
        }
        written = out.finish();
    }
    return finish_save(MESSAGE_ORIGIN, guard, progress, written,
                       {"xfclose(stream) != EOF", written_name.c_str()},
                       "failed to write targa image(%s)", filename);
}

// ---------------------------------------------------------------------------
// Reading

bool pixel_depth_fits(const targa_header &header) {
    switch (header.image_type) {
    case 1:
    case 9:
    case 3:
    case 11:
        return header.pixel_depth == 8;
    default:
        return header.pixel_depth == 15 || header.pixel_depth == 16 || header.pixel_depth == 24 ||
               header.pixel_depth == 32;
    }
}

bool run_length_encoded(const targa_header &header) {
    return header.image_type >= 9;
}

// The palette of a colour-mapped file, indexed as the file's pixels are
// (from 0, entries below the first one black).
struct palette {
    std::vector<colormap_entry> entries;
};

colormap_entry read_colormap_entry(byte_reader &in, unsigned entry_bits) {
    colormap_entry entry{};
    switch (entry_bits) {
    case 8:
        entry.r = entry.g = entry.b = in.u8();
        break;
    case 16: {
        unsigned value = in.le16();
        entry.r = static_cast<std::int32_t>(((value >> 10) & 0x1F) << 3);
        entry.g = static_cast<std::int32_t>(((value >> 5) & 0x1F) << 3);
        entry.b = static_cast<std::int32_t>((value & 0x1F) << 3);
        break;
    }
    case 24:
    case 32:
        entry.b = in.u8();
        entry.g = in.u8();
        entry.r = in.u8();
        if (entry_bits == 32)
            in.u8();
        break;
    }
    return entry;
}

// The pixel data in file order, one file row at a time.  Run-length packets
// may span rows; a packet reaching past the last pixel is cut at it.
class pixel_rows {
  public:
    pixel_rows(byte_reader &in, const targa_header &header, std::size_t pixel_bytes)
        : in_(in), coded_(header.image_type >= 9), pixel_bytes_(pixel_bytes), width_(header.width) {
    }

    // Fills `row` with the next `width` pixels; false when the data ends first.
    bool next(std::uint8_t *row) {
        if (!coded_)
            return in_.read(row, width_ * pixel_bytes_);
        std::size_t done = 0;
        while (done < width_) {
            if (left_ == 0) {
                int packet = in_.getc();
                if (packet < 0)
                    return false;
                left_ = static_cast<std::size_t>(packet & 0x7F) + 1;
                repeated_ = packet & 0x80;
                if (repeated_ && !in_.read(pixel_, pixel_bytes_))
                    return false;
            }
            std::size_t run = std::min(left_, width_ - done);
            std::uint8_t *out = row + done * pixel_bytes_;
            if (!repeated_) {
                if (!in_.read(out, run * pixel_bytes_))
                    return false;
            } else {
                for (std::size_t i = 0; i < run; ++i, out += pixel_bytes_)
                    std::memcpy(out, pixel_, pixel_bytes_);
            }
            left_ -= run;
            done += run;
        }
        return true;
    }

    // True when the last packet read reaches past the last pixel.
    bool cut() const { return left_ > 0; }

  private:
    byte_reader &in_;
    bool coded_;
    std::size_t pixel_bytes_;
    std::size_t width_;
    std::size_t left_ = 0; // pixels of the current packet still to come
    bool repeated_ = false;
    std::uint8_t pixel_[4] = {};
};

// The least a file of this header must still hold for its pixels: every
// pixel for plain data, a packet header and one pixel per 128 pixels for
// run-length data.
std::uint64_t least_pixel_bytes(const targa_header &header, std::size_t pixel_bytes) {
    std::uint64_t count = std::uint64_t{header.width} * header.height;
    if (!run_length_encoded(header))
        return count * pixel_bytes;
    return (count + 127) / 128 * (1 + pixel_bytes);
}

// Turns a row read from the file into the bitmap's layout, in place (a
// pixel takes as many bytes in the file as in the bitmap).
void finish_row(std::uint8_t *row, std::uint32_t width, std::int32_t bpp, bool right_to_left) {
    const auto pixel_bytes = static_cast<std::size_t>(bitmap_depth_channels(bpp));
    if (right_to_left)
        for (std::uint32_t x = 0; x < width / 2; ++x)
            std::swap_ranges(row + x * pixel_bytes, row + (x + 1) * pixel_bytes,
                             row + (width - 1 - x) * pixel_bytes);
    for (std::uint8_t *out = row, *end = row + width * pixel_bytes; out < end; out += pixel_bytes) {
        switch (bpp) {
        case 15:
        case 16: {
            // The attribute bit is not colour; each channel is five bits.
            unsigned value = get_le16(out);
            int r = static_cast<int>(((value >> 10) & 0x1F) << 3);
            int g = static_cast<int>(((value >> 5) & 0x1F) << 3);
            int b = static_cast<int>((value & 0x1F) << 3);
            put_le16(out, color_pack(nullptr, r, g, b, 0, bpp));
            break;
        }
        case 24:
        case 32:
            std::swap(out[0], out[2]);
            break;
        }
    }
}

// Checks what the header says before anything is allocated; reports and
// returns false for a file this reader will not decode.
bool header_acceptable(const targa_header &header, const char *filename) {
    if (header.image_type != 1 && header.image_type != 2 && header.image_type != 3 &&
        header.image_type != 9 && header.image_type != 10 && header.image_type != 11) {
        XERROR("Unsupported file type %d in targa image(%s)", static_cast<int>(header.image_type),
               filename);
        return false;
    }
    if (!pixel_depth_fits(header)) {
        XERROR("Bad pixelsize in color (%d)", static_cast<int>(header.pixel_depth));
        return false;
    }
    if (header.colormap_type > 1) {
        XWARNING("targa image(%s) has colormap type %u (0 or 1 expected)", filename,
                 header.colormap_type);
        return false;
    }
    bool mapped_type = header.image_type == 1 || header.image_type == 9;
    if (mapped_type && header.colormap_type != 1) {
        XWARNING("colour-mapped targa image(%s) has no colormap", filename);
        return false;
    }
    if (header.descriptor & descriptor_interleave) {
        XWARNING("targa image(%s) uses interleaved rows (descriptor 0x%02x), which are not "
                 "supported",
                 filename, header.descriptor);
        return false;
    }
    if (header.width == 0 || header.height == 0) {
        XWARNING("targa image(%s) is empty (%u x %u pixels)", filename, header.width,
                 header.height);
        return false;
    }
    if (!size_acceptable(MESSAGE_ORIGIN, "targa image", filename, header.width, header.height))
        return false;
    return true;
}

bool read_colormap(byte_reader &in, const targa_header &header, palette &map,
                   const char *filename) {
    unsigned bits = header.colormap_entry_bits;
    if (bits != 8 && bits != 16 && bits != 24 && bits != 32) {
        XERROR("Unsupported color map bit depth (%d bpp) in targa image(%s)",
               static_cast<int>(bits), filename);
        return false;
    }
    // Indices are absolute: the first stored entry answers index `first`.
    std::uint64_t end = std::uint64_t{header.colormap_first} + header.colormap_length;
    if (end > COLORMAP_MAX_SIZE) {
        XWARNING("targa image(%s) has colormap entries %u to %llu, beyond the %d an 8-bit index "
                 "reaches",
                 filename, header.colormap_first, static_cast<unsigned long long>(end),
                 COLORMAP_MAX_SIZE);
        return false;
    }
    if (!in.has(std::uint64_t{header.colormap_length} * (bits / 8))) {
        XERROR("error reading color map from targa image(%s)", filename);
        return false;
    }
    map.entries.assign(static_cast<std::size_t>(end), colormap_entry{});
    for (unsigned i = 0; i < header.colormap_length; ++i)
        map.entries[header.colormap_first + i] = read_colormap_entry(in, bits);
    if (!in.ok()) {
        XERROR("error reading color map from targa image(%s)", filename);
        return false;
    }
    return true;
}

// Out-of-range indices stay as they are (the bitmap shows them black), so a
// file keeps its pixels through a load and save; the user hears about it once.
void check_indices(const bitmap *image, const palette &map, const char *filename) {
    const std::uint8_t *begin = image->bits, *end = begin + bitmap_bytesize(image);
    const std::uint8_t *beyond =
        std::find_if(begin, end, [&](std::uint8_t index) { return index >= map.entries.size(); });
    if (beyond != end)
        XWARNING("targa image(%s) uses colour index %d beyond its colormap of %d entries", filename,
                 static_cast<int>(*beyond), static_cast<int>(map.entries.size()));
}

bitmap *decode(byte_reader &in, const char *filename, progress_guard &progress) {
    std::uint8_t field[header_size];
    if (!in.read(field, sizeof field)) {
        XWARNING("targa image(%s) is shorter than its %d-byte header", filename,
                 static_cast<int>(header_size));
        return nullptr;
    }
    targa_header header = parse_header(field);
    unsigned channels = header.pixel_depth / 8;
    // Only colour-mapped images use a colormap; any other only skips it.
    bool colormap_kept =
        header.colormap_type == 1 && (header.image_type == 1 || header.image_type == 9);
    // "informatiom" and "lenght" are the message's own spelling, kept verbatim.
    if (channels > 1 && header.colormap_type == 1)
        XWARNING("multi-channel (%d channels) targa file '%s' contains colormap informatiom (size "
                 "= %d, lenght = %d), assuming multi-channel targa, discarding color map "
                 "information",
                 static_cast<int>(channels), filename,
                 static_cast<int>(header.colormap_entry_bits / 8),
                 static_cast<int>(header.colormap_length));
    if (!header_acceptable(header, filename))
        return nullptr;
    if (!in.skip(header.id_length)) {
        XERROR("error reading data from targa image(%s)", filename);
        return nullptr;
    }
    palette map;
    if (colormap_kept) {
        if (!read_colormap(in, header, map, filename))
            return nullptr;
    } else if (header.colormap_type == 1) {
        std::uint64_t skipped =
            std::uint64_t{header.colormap_length} * ((header.colormap_entry_bits + 7) / 8);
        if (!in.skip(skipped)) {
            XERROR("error reading color map from targa image(%s)", filename);
            return nullptr;
        }
    }
    std::size_t pixel_bytes = (header.pixel_depth + 7) / 8;
    if (!in.has(least_pixel_bytes(header, pixel_bytes))) {
        XERROR("error reading data from targa image(%s)", filename);
        return nullptr;
    }
    // The rows are read straight into the bitmap: no second copy of the picture.
    bitmap_ptr image(
        bitmap_alloc2(header.width, header.height, static_cast<std::int32_t>(header.pixel_depth)));
    if (!image)
        return nullptr;
    const bool top_first = header.descriptor & descriptor_top_first;
    const bool right_to_left = header.descriptor & descriptor_right_to_left;
    pixel_rows rows(in, header, pixel_bytes);
    for (std::uint32_t r = 0; r < header.height; ++r) {
        progress.add(r, header.height);
        std::uint8_t *row = bitmap_boffset(image.get(), 0, top_first ? r : header.height - 1 - r);
        if (!rows.next(row)) {
            XERROR("error reading data from targa image(%s)", filename);
            return nullptr;
        }
        finish_row(row, header.width, image->bpp, right_to_left);
    }
    if (rows.cut())
        XWARNING("run-length packet runs past the end of targa image(%s); cut at its last pixel",
                 filename);
    if (colormap_kept && header.colormap_length > 0)
        check_indices(image.get(), map, filename);
    if (colormap_kept && !map.entries.empty()) {
        image->cmap = colormap_alloc(static_cast<std::int32_t>(map.entries.size()));
        if (!image->cmap)
            return nullptr;
        std::copy(map.entries.begin(), map.entries.end(), image->cmap->entry);
    }
    return image.release();
}

bitmap *load(const char *filename) {
    progress_guard progress(driver_name, driver_comments);
    bitmap_ptr result;
    if (!read_file(MESSAGE_ORIGIN, filename,
                   {"error opening targa image(%s)", true, "xfclose(stream) != EOF"},
                   [&](byte_reader &in) { result.reset(decode(in, filename, progress)); }))
        return nullptr;
    progress.finish();
    return result.release();
}

void dump(const char *filename) {
    std::uint8_t field[header_size];
    bool complete = false;
    if (!read_file(MESSAGE_ORIGIN, filename, {nullptr, false, "xfclose(stream) != EOF"},
                   [&](byte_reader &in) { complete = in.read(field, sizeof field); }))
        return;
    if (!complete) {
        XWARNING("targa image(%s) is shorter than its %d-byte header", filename,
                 static_cast<int>(header_size));
        return;
    }
    targa_header header = parse_header(field);
    std::printf("\ndumping(%s)\n", filename);
    std::printf("magic_length    = %u\n", header.id_length);
    std::printf("filetype        = %u\n", header.image_type);
    std::printf("colormap_length = %u\n", header.colormap_length);
    std::printf("colormap_size   = %u\n", header.colormap_entry_bits / 8);
    std::printf("xsize           = %u\n", header.width);
    std::printf("ysize           = %u\n", header.height);
    std::printf("channels        = %u\n", header.pixel_depth / 8);
    std::printf("orientation     = %u\n", header.descriptor & descriptor_top_first);
    std::fflush(stdout);
}

const char *const modes[] = {"rw8", "rw15", "rw16", "rw24", "rw32", nullptr};

} // namespace

bitmapio_driver bitmapio_targa_driver = {
    .next = nullptr,
    .hash = 0,
    .name = driver_name,
    .comments = driver_comments,
    .extension = ".tga",
    .source = source_file,
    .modes = modes,
    .load = load,
    .save = save,
    .dump = dump,
};
