// The "iff" image-file driver: interleaved bitmaps (ILBM) and chunky
// bitmaps (PBM) in an IFF "FORM" container; reading and dumping only.
//
// An IFF file is "FORM", a 32-bit big-endian size and a form type, then
// chunks of a four-letter identifier, a 32-bit big-endian size and that many
// bytes, padded to an even length.  The chunks read here:
//
//   BMHD (20 bytes, 16-bit values big-endian): width, height, x and y
//        position, number of planes (1), masking (1: 0 none, 1 an extra mask
//        plane, 2 transparent colour, 3 lasso), compression (1: 0 none, 1
//        ByteRun1), pad (1), transparent colour, x and y aspect (1 each),
//        page width and height;
//   CMAP red, green, blue per colour;
//   CAMG 32-bit display mode: 0x80 extra half-bright, 0x800 hold-and-modify;
//   BODY the rows top to bottom.  In an ILBM each row holds every plane in
//        turn (plane 0, the lowest bit, first) and then the mask plane, each
//        plane a line of ((width + 15) / 16) * 2 bytes, one bit per pixel,
//        the leftmost pixel in the top bit.  In a PBM a row is one index byte
//        per pixel, padded to an even length.
//
// ByteRun1 compression: a control byte n of 0..127 is followed by n + 1
// bytes taken as they are, one of -1..-127 by one byte repeated 1 - n times;
// -128 does nothing.  Runs are decoded as one stream over the whole body, so
// an encoder that runs over a line's end still reads; a run reaching past the
// picture's last row is cut there.
//
// Pictures of 1 to 8 planes become 8-bpp bitmaps with the CMAP's colours
// (a grey ramp without one; 64 colours with half-bright); 24 planes (8 red,
// 8 green, 8 blue, lowest bit first) and hold-and-modify pictures of 6 or 8
// planes become 24-bpp bitmaps.  A pixel whose index lies beyond the colormap
// makes the whole file fail.
#include "core/message.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/colormap.h"
#include "gfx/2d/bitmap/loaders/bytes.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/loaders/iff.c";
static constexpr const char *source_ident = "bitmapio::iff";

namespace {

constexpr const char *driver_name = "iff";
constexpr const char *driver_comments = "amiga ilbm/iff loader";

constexpr std::uint32_t bmhd_size = 20;
constexpr std::uint32_t camg_halfbright = 0x80;
constexpr std::uint32_t camg_ham = 0x800;
constexpr int max_colours = 256;

struct bmhd {
    std::uint16_t width, height;
    std::int16_t x, y;
    std::uint8_t planes, masking, compression, pad;
    std::uint16_t transparent;
    std::uint8_t xaspect, yaspect;
    std::int16_t page_width, page_height;
};

struct colour {
    std::uint8_t r, g, b;
};

// What the chunk walk gathers for decoding.
struct ilbm_file {
    bool chunky = false; // a PBM form
    bool has_header = false;
    bmhd header{};
    std::vector<colour> palette;
    bool has_palette = false;
    std::uint32_t camg = 0;
    bool has_body = false;
    std::uint64_t body_offset = 0;
    std::uint32_t body_size = 0;
};

bmhd parse_bmhd(const std::uint8_t *raw) {
    bmhd h;
    h.width = get_be16(raw);
    h.height = get_be16(raw + 2);
    h.x = static_cast<std::int16_t>(get_be16(raw + 4));
    h.y = static_cast<std::int16_t>(get_be16(raw + 6));
    h.planes = raw[8];
    h.masking = raw[9];
    h.compression = raw[10];
    h.pad = raw[11];
    h.transparent = get_be16(raw + 12);
    h.xaspect = raw[14];
    h.yaspect = raw[15];
    h.page_width = static_cast<std::int16_t>(get_be16(raw + 16));
    h.page_height = static_cast<std::int16_t>(get_be16(raw + 18));
    return h;
}

// A chunk identifier fit for a message.
struct chunk_id {
    char text[5];
    explicit chunk_id(const std::uint8_t *raw) {
        for (int i = 0; i < 4; ++i)
            text[i] = raw[i] >= 0x20 && raw[i] < 0x7F ? static_cast<char>(raw[i]) : '?';
        text[4] = 0;
    }
    bool is(const char *name) const { return std::memcmp(text, name, 4) == 0; }
};

// Walks the chunks of the FORM: `visit` gets each chunk's identifier and size
// with the reader at its first data byte, and tells whether to go on.  The
// form type is handed to `form` first.  False (after a warning) when the file
// is no FORM or a chunk runs past its end.
bool walk_chunks(byte_reader &in, const char *filename,
                 const std::function<bool(const chunk_id &, std::uint32_t)> &form,
                 const std::function<bool(const chunk_id &, std::uint32_t)> &visit) {
    std::uint8_t raw[12];
    if (!in.read(raw, sizeof raw) || std::memcmp(raw, "FORM", 4) != 0) {
        XWARNING("iff image(%s) does not start with a FORM chunk", filename);
        return false;
    }
    std::uint32_t form_size = get_be32(raw + 4);
    chunk_id type(raw + 8);
    if (!form(type, form_size))
        return false;
    if (form_size < 4) {
        XWARNING("iff image(%s): its FORM size %u cannot hold a form type", filename, form_size);
        return false;
    }
    // A FORM that claims more than the file holds is read as far as it goes;
    // its chunks must still be whole.
    std::uint64_t form_end = 8 + std::uint64_t{form_size};
    if (in.sized())
        form_end = std::min(form_end, in.position() + in.remaining());
    while (in.position() + 8 <= form_end) {
        std::uint8_t head[8];
        if (!in.read(head, sizeof head))
            break;
        chunk_id id(head);
        std::uint32_t size = get_be32(head + 4);
        std::uint64_t start = in.position();
        if (start + size > form_end) {
            XWARNING("iff image(%s): chunk '%s' of %u bytes at offset %llu runs past the end",
                     filename, id.text, size, static_cast<unsigned long long>(start - 8));
            return false;
        }
        if (!visit(id, size))
            return true;
        // Odd sizes are followed by a pad byte that the size does not count.
        std::uint64_t next = start + size + (size & 1);
        if (next >= form_end || !in.seek(next))
            break;
    }
    return true;
}

bool gather(byte_reader &in, const char *filename, ilbm_file &file) {
    auto form = [&](const chunk_id &type, std::uint32_t) {
        file.chunky = type.is("PBM ");
        if (!type.is("ILBM") && !file.chunky) {
            XWARNING("iff image(%s) is a FORM of type '%s', not an ILBM or PBM picture", filename,
                     type.text);
            return false;
        }
        return true;
    };
    bool valid = true;
    auto visit = [&](const chunk_id &id, std::uint32_t size) {
        if (id.is("BMHD")) {
            std::uint8_t raw[bmhd_size];
            if (size != bmhd_size || !in.read(raw, sizeof raw)) {
                XWARNING("iff image(%s): its BMHD chunk has %u bytes, not %u", filename, size,
                         bmhd_size);
                return valid = false;
            }
            file.header = parse_bmhd(raw);
            file.has_header = true;
        } else if (id.is("CMAP")) {
            // More than 256 colours cannot be indexed; the rest is ignored.
            std::uint32_t count = std::min<std::uint32_t>(size / 3, max_colours);
            file.palette.resize(count);
            for (auto &entry : file.palette)
                entry = {in.u8(), in.u8(), in.u8()};
            file.has_palette = true;
        } else if (id.is("CAMG") && size >= 4) {
            file.camg = in.be32();
        } else if (id.is("BODY")) {
            file.has_body = true;
            file.body_offset = in.position();
            file.body_size = size;
            // Chunks after the body may still carry a colormap.
        }
        return true;
    };
    if (!walk_chunks(in, filename, form, visit) || !valid)
        return false;
    if (!in.ok()) {
        XWARNING("iff image(%s) is truncated", filename);
        return false;
    }
    if (!file.has_header) {
        XWARNING("iff image(%s) has no BMHD chunk", filename);
        return false;
    }
    if (!file.has_body) {
        XWARNING("iff image(%s) has no BODY chunk", filename);
        return false;
    }
    return true;
}

// The body's bytes, uncompressed or ByteRun1-decoded, in one stream.
class body_decoder {
  public:
    body_decoder(byte_reader &in, std::uint64_t end, bool compressed)
        : in_(in), end_(end), compressed_(compressed) {}

    // Fills `line`; false when the body ends first.
    bool next(std::uint8_t *line, std::size_t size) {
        std::size_t done = 0;
        while (done < size) {
            if (literal_ > 0 || repeat_ > 0) {
                std::size_t step = std::min<std::size_t>(literal_ + repeat_, size - done);
                if (repeat_ > 0) {
                    std::memset(line + done, value_, step);
                    repeat_ -= static_cast<unsigned>(step);
                } else {
                    for (std::size_t i = 0; i < step; ++i) {
                        int byte = take();
                        if (byte < 0)
                            return false;
                        line[done + i] = static_cast<std::uint8_t>(byte);
                    }
                    literal_ -= static_cast<unsigned>(step);
                }
                done += step;
                continue;
            }
            if (!compressed_) {
                literal_ = static_cast<unsigned>(size - done);
                continue;
            }
            int control = take();
            if (control < 0)
                return false;
            auto n = static_cast<std::int8_t>(control);
            if (n >= 0) {
                literal_ = static_cast<unsigned>(n) + 1;
            } else if (n != -128) {
                int byte = take();
                if (byte < 0)
                    return false;
                value_ = static_cast<std::uint8_t>(byte);
                repeat_ = static_cast<unsigned>(1 - n);
            }
        }
        return true;
    }

  private:
    int take() { return in_.position() < end_ ? in_.getc() : -1; }

    byte_reader &in_;
    std::uint64_t end_;
    bool compressed_;
    unsigned literal_ = 0, repeat_ = 0;
    std::uint8_t value_ = 0;
};

// The 8-bpp colormap of a picture of `planes` planes.
colormap *make_colormap(const ilbm_file &file, unsigned planes) {
    bool halfbright = (file.camg & camg_halfbright) && planes == 6 && file.palette.size() >= 32;
    if (halfbright) {
        colormap *map = colormap_alloc(64);
        for (int i = 0; i < 32; ++i) {
            const colour &c = file.palette[static_cast<std::size_t>(i)];
            map->entry[i] = {c.r, c.g, c.b};
            map->entry[i + 32] = {c.r / 2, c.g / 2, c.b / 2};
        }
        return map;
    }
    if (file.has_palette && !file.palette.empty()) {
        colormap *map = colormap_alloc(static_cast<std::int32_t>(file.palette.size()));
        for (std::size_t i = 0; i < file.palette.size(); ++i)
            map->entry[i] = {file.palette[i].r, file.palette[i].g, file.palette[i].b};
        return map;
    }
    // Without colours the indices are read as evenly spaced greys.
    int levels = 1 << planes;
    colormap *map = colormap_alloc(levels);
    for (int i = 0; i < levels; ++i) {
        int grey = i * 255 / (levels - 1);
        map->entry[i] = {grey, grey, grey};
    }
    return map;
}

// Hold-and-modify: the top two bits of an index choose between a palette
// colour and changing one channel of the pixel to the left.  Returns the
// first column whose palette index lies beyond the palette, or `width`.
std::uint32_t ham_row(const std::uint32_t *indices, std::uint32_t width, unsigned planes,
                      const std::vector<colour> &palette, std::uint8_t *out) {
    unsigned value_bits = planes - 2;
    unsigned value_mask = (1u << value_bits) - 1;
    // As the display hardware does, a value replaces the channel's top bits
    // and the bits below them stay as they were.
    unsigned low_mask = (1u << (8 - value_bits)) - 1;
    auto modify = [&](std::uint8_t &channel, unsigned v) {
        channel = static_cast<std::uint8_t>((v << (8 - value_bits)) | (channel & low_mask));
    };
    colour current = palette[0];
    for (std::uint32_t x = 0; x < width; ++x) {
        unsigned value = indices[x] & value_mask;
        switch (indices[x] >> value_bits) {
        case 0:
            if (value >= palette.size())
                return x;
            current = palette[value];
            break;
        case 1:
            modify(current.b, value);
            break;
        case 2:
            modify(current.r, value);
            break;
        default:
            modify(current.g, value);
            break;
        }
        *out++ = current.r;
        *out++ = current.g;
        *out++ = current.b;
    }
    return width;
}

// False (after a warning) for a header this reader cannot follow.
bool check_header(const ilbm_file &file, const char *filename) {
    const bmhd &h = file.header;
    if (h.width == 0 || h.height == 0) {
        XWARNING("iff image(%s) is empty (%ux%u pixels)", filename, h.width, h.height);
        return false;
    }
    if (!size_acceptable(MESSAGE_ORIGIN, "iff image", filename, h.width, h.height))
        return false;
    unsigned planes = h.planes;
    if (file.chunky ? planes != 8 : !(planes == 24 || (planes >= 1 && planes <= 8))) {
        XWARNING("iff image(%s): %u bitplanes are not supported", filename, planes);
        return false;
    }
    if (h.compression > 1) {
        XWARNING("iff image(%s): unknown compression %u", filename, h.compression);
        return false;
    }
    if (h.masking > 3) {
        XWARNING("iff image(%s): unknown masking %u", filename, h.masking);
        return false;
    }
    return true;
}

bitmap_ptr decode(byte_reader &in, const char *filename, progress_guard &progress) {
    ilbm_file file;
    if (!gather(in, filename, file) || !check_header(file, filename))
        return nullptr;
    const bmhd &h = file.header;
    unsigned planes = h.planes;
    bool deep = planes == 24;
    bool ham = !file.chunky && (file.camg & camg_ham) && (planes == 6 || planes == 8);
    if (ham && file.palette.empty()) {
        XWARNING("iff image(%s): a hold-and-modify picture without colormap", filename);
        return nullptr;
    }

    std::size_t line_bytes = file.chunky ? (std::size_t{h.width} + 1) & ~std::size_t{1}
                                         : (std::size_t{h.width} + 15) / 16 * 2;
    unsigned lines = file.chunky ? 1 : planes + (h.masking == 1 ? 1 : 0);
    std::uint64_t decoded = std::uint64_t{line_bytes} * lines * h.height;
    // ByteRun1 turns two bytes into at most 128.
    std::uint64_t least = h.compression ? (decoded + 127) / 128 * 2 : decoded;
    if (file.body_size < least) {
        XWARNING("iff image(%s): a BODY of %u bytes cannot hold %ux%u pixels of %u planes",
                 filename, file.body_size, h.width, h.height, planes);
        return nullptr;
    }
    if (!in.seek(file.body_offset))
        return nullptr;

    bool true_colour = deep || ham;
    bitmap_ptr image(bitmap_alloc2(h.width, h.height, true_colour ? 24 : 8));
    if (!image)
        return nullptr;
    if (!true_colour)
        image->cmap = make_colormap(file, planes);
    std::int32_t colours = image->cmap ? image->cmap->size : 0;

    body_decoder body(in, file.body_offset + file.body_size, h.compression == 1);
    std::vector<std::uint8_t> row(line_bytes * lines);
    std::vector<std::uint32_t> indices(h.width);
    std::uint8_t *out = image->bits;
    for (unsigned y = 0; y < h.height; ++y) {
        progress.add(y, h.height);
        if (!body.next(row.data(), row.size())) {
            XWARNING("iff image(%s): its BODY is truncated at row %u of %u", filename, y, h.height);
            return nullptr;
        }
        if (file.chunky) {
            for (unsigned x = 0; x < h.width; ++x)
                indices[x] = row[x];
        } else {
            std::fill(indices.begin(), indices.end(), 0);
            for (unsigned plane = 0; plane < planes; ++plane) {
                const std::uint8_t *line = &row[plane * line_bytes];
                for (unsigned x = 0; x < h.width; ++x)
                    indices[x] |= std::uint32_t((line[x >> 3] >> (7 - (x & 7))) & 1) << plane;
            }
        }
        if (deep) {
            for (unsigned x = 0; x < h.width; ++x) {
                *out++ = static_cast<std::uint8_t>(indices[x]);
                *out++ = static_cast<std::uint8_t>(indices[x] >> 8);
                *out++ = static_cast<std::uint8_t>(indices[x] >> 16);
            }
        } else if (ham) {
            std::uint32_t bad = ham_row(indices.data(), h.width, planes, file.palette, out);
            if (bad < h.width) {
                XWARNING("iff image(%s): colour index %u at %u,%u lies beyond the %zu colours of "
                         "its colormap",
                         filename, indices[bad] & ((1u << (planes - 2)) - 1), bad, y,
                         file.palette.size());
                return nullptr;
            }
            out += std::size_t{h.width} * 3;
        } else {
            for (unsigned x = 0; x < h.width; ++x) {
                if (indices[x] >= static_cast<std::uint32_t>(colours)) {
                    XWARNING("iff image(%s): colour index %u at %u,%u lies beyond the %d colours "
                             "of its colormap",
                             filename, indices[x], x, y, colours);
                    return nullptr;
                }
                *out++ = static_cast<std::uint8_t>(indices[x]);
            }
        }
    }
    return image;
}

bitmap *iff_load(const char *filename) {
    progress_guard progress(driver_name, driver_comments);
    bitmap_ptr image;
    if (!read_file(MESSAGE_ORIGIN, filename,
                   {"error opening iff image(%s)", false, "xfclose(file) != EOF"},
                   [&](byte_reader &in) { image = decode(in, filename, progress); }))
        return nullptr;
    progress.finish();
    return image.release();
}

void print_bmhd(const bmhd &h) {
    std::printf("    xsize        = %u\n", h.width);
    std::printf("    ysize        = %u\n", h.height);
    std::printf("    position     = %d,%d\n", h.x, h.y);
    std::printf("    planes       = %u\n", h.planes);
    std::printf("    masking      = %u\n", h.masking);
    std::printf("    compression  = %u\n", h.compression);
    std::printf("    transparent  = %u\n", h.transparent);
    std::printf("    aspect       = %u:%u\n", h.xaspect, h.yaspect);
    std::printf("    page         = %dx%d\n", h.page_width, h.page_height);
}

void iff_dump(const char *filename) {
    if (!read_file(MESSAGE_ORIGIN, filename, {}, [&](byte_reader &in) {
            std::printf("\ndumping(%s)\n", filename);
            auto form = [&](const chunk_id &type, std::uint32_t size) {
                std::printf("FORM %10u bytes, type '%s'\n", size, type.text);
                return true;
            };
            auto visit = [&](const chunk_id &id, std::uint32_t size) {
                std::printf("  %s %10u bytes", id.text, size);
                if (id.is("BMHD") && size == bmhd_size) {
                    std::uint8_t raw[bmhd_size];
                    if (in.read(raw, sizeof raw)) {
                        std::printf("\n");
                        print_bmhd(parse_bmhd(raw));
                        return true;
                    }
                } else if (id.is("CMAP")) {
                    std::printf(", %u colours", size / 3);
                } else if (id.is("CAMG") && size >= 4) {
                    std::uint32_t mode = in.be32();
                    std::printf(", mode 0x%08x%s%s", mode,
                                mode & camg_ham ? " hold-and-modify" : "",
                                mode & camg_halfbright ? " half-bright" : "");
                }
                std::printf("\n");
                return true;
            };
            walk_chunks(in, filename, form, visit);
        }))
        return;
    std::fflush(stdout);
}

constexpr const char *iff_modes[] = {"r8", "r24", nullptr};

} // namespace

bitmapio_driver bitmapio_iff_driver = {
    .next = nullptr,
    .hash = 0,
    .name = driver_name,
    .comments = driver_comments,
    .extension = ".iff",
    .source = source_file,
    .modes = iff_modes,
    .load = iff_load,
    .save = nullptr,
    .dump = iff_dump,
};
