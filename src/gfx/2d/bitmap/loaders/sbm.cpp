// The simple bitmap formats, the library's own lossless image files: "sbm2"
// stores a bitmap as it is in memory behind a 92-byte binary header, "sbm3"
// stores the same fields as 7-bit text.  Both drivers live here because they
// share the model and the checks that turn the fields into a bitmap.
//
// The "sbm3" layout, whitespace-separated tokens (the writer puts the header
// fields one per line, the colormap one entry per line and the pixels one row
// per line):
//
//     SBM3
//     version 300
//     size <xsize> <ysize>
//     depth <bpp>
//     colormap <entries>
//     comment <bytes> [<the comment as hexadecimal byte pairs>]
//     <red> <green> <blue>           (decimal, once per colormap entry)
//     <pixel> <pixel> ...            (per pixel its bytes in memory order as
//                                     hexadecimal pairs: 2, 4, 6 or 8 digits)
//
// Hexadecimal keeps any comment byte and any pixel value in 7-bit text
// without escapes.
#include "core/memio/memio.h"
#include "core/message.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/loaders/bytes.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/loaders/sbm.c";
static constexpr const char *source_ident = "bitmapio::sbm";

namespace {

constexpr const char *sbm2_name = "sbm2";
constexpr const char *sbm2_comments = "simple bitmap (binary) loader & saver";
constexpr const char *sbm3_name = "sbm3";
constexpr const char *sbm3_comments = "simple bitmap (7-bit ascii) loader & saver";

constexpr std::uint32_t sbm2_version = 200;
constexpr std::uint32_t sbm3_version = 300;

// The sbm2 header.
constexpr std::size_t at_magic = 0;
constexpr std::size_t at_version = 4;
constexpr std::size_t at_xsize = 8;
constexpr std::size_t at_ysize = 12;
constexpr std::size_t at_bpp = 16;
constexpr std::size_t at_colormap_entries = 20;
constexpr std::size_t at_comment_length = 24;
constexpr std::size_t at_reserved = 28;
constexpr std::size_t reserved_size = 64;
constexpr std::size_t header_size = 92;
static_assert(at_reserved + reserved_size == header_size, "the sbm2 header is 92 bytes");

// The fields both layouts carry.
struct sbm_fields {
    std::uint32_t version;
    std::uint32_t xsize;
    std::uint32_t ysize;
    std::uint32_t bpp;
    std::uint32_t colormap_entries;
    std::uint32_t comment_length;
};

// ---------------------------------------------------------------------------
// The shared model

sbm_fields fields_of(const bitmap *image, std::uint32_t version) {
    sbm_fields fields{};
    fields.version = version;
    fields.xsize = image->xsize;
    fields.ysize = image->ysize;
    fields.bpp = static_cast<std::uint32_t>(image->bpp);
    fields.colormap_entries = image->cmap ? static_cast<std::uint32_t>(image->cmap->size) : 0;
    fields.comment_length = image->info ? static_cast<std::uint32_t>(std::strlen(image->info)) : 0;
    return fields;
}

bool has_pixels(const sbm_fields &fields) {
    return std::uint64_t{fields.xsize} * fields.ysize != 0;
}

// Checks the fields that size what the reader allocates, before it does;
// `per_byte` and `per_entry` are the least file bytes a byte of comment or
// pixel and a colormap entry take in the layout, so that the file must be
// able to hold what it claims.  Reports and returns false for a file that
// cannot be a bitmap.
bool fields_acceptable(const sbm_fields &fields, const byte_reader &in, std::uint64_t per_byte,
                       std::uint64_t per_entry, const char *format, const char *filename) {
    if (fields.colormap_entries && fields.bpp != 8) {
        // "inconsistend" is the documented text, kept verbatim.
        XERROR("inconsistend imagebody pixelsize and colormap in sbm(%s)", filename);
        return false;
    }
    int channels = bitmap_depth_channels(static_cast<std::int32_t>(fields.bpp));
    XASSERT(channels != 0);
    if (channels == 0)
        return false;
    if (fields.colormap_entries > static_cast<std::uint32_t>(COLORMAP_MAX_SIZE)) {
        XWARNING("%s image(%s) claims %u colormap entries (%d at most)", format, filename,
                 fields.colormap_entries, COLORMAP_MAX_SIZE);
        return false;
    }
    if (!size_acceptable(MESSAGE_ORIGIN, (std::string(format) + " image").c_str(), filename,
                         fields.xsize, fields.ysize))
        return false;
    std::uint64_t needed = per_byte * fields.comment_length + per_entry * fields.colormap_entries +
                           per_byte * channels * fields.xsize * fields.ysize;
    if (!in.has(needed)) {
        XWARNING("%s image(%s) is truncated: its header announces at least %llu more bytes, at "
                 "most %llu are left",
                 format, filename, static_cast<unsigned long long>(needed),
                 static_cast<unsigned long long>(in.remaining()));
        return false;
    }
    return true;
}

// The empty bitmap the fields describe, with its comment; the pixel block
// and colormap come later.
bitmap_ptr start_bitmap(const sbm_fields &fields, const std::string &comment) {
    bitmap_ptr image(bitmap_alloc());
    if (!comment.empty())
        bitmap_set_info(image.get(), comment.c_str());
    image->xsize = fields.xsize;
    image->ysize = fields.ysize;
    image->bpp = static_cast<std::int32_t>(fields.bpp);
    return image;
}

// A block of exactly the picture's size, zero-filled.
void attach_block(bitmap *image) {
    image->bits = static_cast<std::uint8_t *>(xcalloc(1, bitmap_bytesize(image)));
}

bool check_version(std::uint32_t found, std::uint32_t expected, const char *filename) {
    if (found == expected)
        return true;
    XERROR("%s is version %d while version %d is expected", filename, static_cast<int>(found),
           static_cast<int>(expected));
    return false;
}

// The writer's own opening and closing, shared by both layouts: `body`
// writes everything after the stream is open.
template <class Body>
int save_with(const char *filename, const char *name, const char *comments, Body body) {
    streamio_stream *stream = xfopen(filename, "wb");
    if (!stream)
        return 0;
    stream_ptr guard{stream};
    std::string written_name = stream->name;
    progress_guard progress(name, comments);
    bool written;
    {
        byte_writer out(stream);
        body(out, progress);
        written = out.finish();
    }
    // `name` is one of this module's driver names, free of '%'.
    std::string message = std::string("failed to write ") + name + " image(%s)";
    return finish_save(MESSAGE_ORIGIN, guard, progress, written,
                       {"xfclose(stream) != EOF", written_name.c_str()}, message.c_str(), filename);
}

// The reader's opening and closing: `decode` reads from the stream and
// returns the bitmap or null.
template <class Decode>
bitmap *load_with(const char *filename, const char *name, const char *comments, Decode decode) {
    bitmap_ptr result;
    // The indicator starts once the file is open and ends after it is closed.
    std::optional<progress_guard> progress;
    if (!read_file(MESSAGE_ORIGIN, filename, {nullptr, false, "xfclose(stream) != EOF"},
                   [&](byte_reader &in) {
                       progress.emplace(name, comments);
                       result.reset(decode(in, *progress));
                   }))
        return nullptr;
    progress->finish();
    return result.release();
}

void print_fields(const char *filename, const char *magic, const sbm_fields &fields) {
    std::printf("\ndumping(%s)\n", filename);
    std::printf("magic           = %s\n", magic);
    std::printf("version         = %u\n", fields.version);
    std::printf("xsize           = %u\n", fields.xsize);
    std::printf("ysize           = %u\n", fields.ysize);
    std::printf("bpp             = %u\n", fields.bpp);
    std::printf("colormap_length = %u\n", fields.colormap_entries);
    std::printf("comment_length  = %u\n", fields.comment_length);
    std::fflush(stdout);
}

// ---------------------------------------------------------------------------
// sbm2

int sbm2_save(const char *filename, bitmap *image) {
    if (!image)
        return 0;
    return save_with(filename, sbm2_name, sbm2_comments,
                     [&](byte_writer &out, progress_guard &progress) {
                         sbm_fields fields = fields_of(image, sbm2_version);
                         std::uint8_t header[header_size] = {};
                         std::memcpy(header + at_magic, "SBM2", 4);
                         put_le32(header + at_version, fields.version);
                         put_le32(header + at_xsize, fields.xsize);
                         put_le32(header + at_ysize, fields.ysize);
                         put_le32(header + at_bpp, fields.bpp);
                         put_le32(header + at_colormap_entries, fields.colormap_entries);
                         put_le32(header + at_comment_length, fields.comment_length);
                         out.write(header, sizeof header);
                         out.write(image->info, fields.comment_length);
                         for (std::uint32_t i = 0; i < fields.colormap_entries; ++i) {
                             const colormap_entry &entry = image->cmap->entry[i];
                             out.u8(entry.r);
                             out.u8(entry.g);
                             out.u8(entry.b);
                         }
                         if (image->bits) {
                             std::size_t stride = bitmap_rowstride(image);
                             for (std::uint32_t y = 0; y < image->ysize; ++y) {
                                 progress.add(y, image->ysize);
                                 out.write(bitmap_boffset(image, 0, y), stride);
                             }
                         }
                     });
}

// Reads the header; false after the report for a file that is not sbm2.
bool sbm2_read_header(byte_reader &in, sbm_fields &fields, const char *filename) {
    std::uint8_t header[header_size] = {};
    bool complete = in.read(header, sizeof header);
    if (!complete) {
        // What there is of a short file still tells whether it is one.
        in.seek(0);
        std::size_t part = static_cast<std::size_t>(std::min<std::uint64_t>(4, in.remaining()));
        in.read(header, part);
    }
    if (std::memcmp(header + at_magic, "SBM2", 4) != 0) {
        XERROR("Corrupted magic id in sbm image file(%s)", filename);
        return false;
    }
    if (!complete) {
        XWARNING("sbm2 image(%s) is shorter than its %d-byte header", filename,
                 static_cast<int>(header_size));
        return false;
    }
    fields.version = get_le32(header + at_version);
    fields.xsize = get_le32(header + at_xsize);
    fields.ysize = get_le32(header + at_ysize);
    fields.bpp = get_le32(header + at_bpp);
    fields.colormap_entries = get_le32(header + at_colormap_entries);
    fields.comment_length = get_le32(header + at_comment_length);
    return true;
}

bitmap *sbm2_decode(byte_reader &in, progress_guard &progress, const char *filename) {
    sbm_fields fields{};
    if (!sbm2_read_header(in, fields, filename) ||
        !check_version(fields.version, sbm2_version, filename) ||
        !fields_acceptable(fields, in, 1, 3, sbm2_name, filename))
        return nullptr;
    std::string comment;
    in.read(comment, fields.comment_length);
    // The comment is a text: it ends at its first zero byte, if any.
    comment.resize(std::strlen(comment.c_str()));
    bitmap_ptr image = start_bitmap(fields, comment);
    if (fields.colormap_entries) {
        image->cmap = colormap_alloc(static_cast<std::int32_t>(fields.colormap_entries));
        if (!image->cmap)
            return nullptr;
        for (std::uint32_t i = 0; i < fields.colormap_entries; ++i) {
            colormap_entry &entry = image->cmap->entry[i];
            entry.r = in.u8();
            entry.g = in.u8();
            entry.b = in.u8();
        }
    } else if (fields.bpp == 8) {
        XWARNING("file(%s) does not contain a colormap", filename);
    }
    if (has_pixels(fields)) {
        attach_block(image.get());
        std::size_t stride = bitmap_rowstride(image.get());
        for (std::uint32_t y = 0; y < fields.ysize; ++y) {
            progress.add(y, fields.ysize);
            in.read(bitmap_boffset(image.get(), 0, y), stride);
        }
    }
    if (!in.ok()) {
        XWARNING("sbm2 image(%s) is truncated", filename);
        return nullptr;
    }
    return image.release();
}

bitmap *sbm2_load(const char *filename) {
    return load_with(filename, sbm2_name, sbm2_comments,
                     [&](byte_reader &in, progress_guard &progress) {
                         return sbm2_decode(in, progress, filename);
                     });
}

void sbm2_dump(const char *filename) {
    sbm_fields fields{};
    bool complete = false;
    if (!read_file(MESSAGE_ORIGIN, filename, {nullptr, false, "xfclose(stream) != EOF"},
                   [&](byte_reader &in) { complete = sbm2_read_header(in, fields, filename); }))
        return;
    if (complete)
        print_fields(filename, "SBM2", fields);
}

// ---------------------------------------------------------------------------
// sbm3

constexpr char hex_digits[] = "0123456789abcdef";

void put_hex(byte_writer &out, const std::uint8_t *bytes, std::size_t count) {
    char pair[2];
    for (std::size_t i = 0; i < count; ++i) {
        pair[0] = hex_digits[bytes[i] >> 4];
        pair[1] = hex_digits[bytes[i] & 0x0F];
        out.write(pair, 2);
    }
}

int sbm3_save(const char *filename, bitmap *image) {
    if (!image)
        return 0;
    return save_with(filename, sbm3_name, sbm3_comments,
                     [&](byte_writer &out, progress_guard &progress) {
                         sbm_fields fields = fields_of(image, sbm3_version);
                         out.text("SBM3\nversion %u\nsize %u %u\ndepth %u\ncolormap %u\ncomment %u",
                                  fields.version, fields.xsize, fields.ysize, fields.bpp,
                                  fields.colormap_entries, fields.comment_length);
                         if (fields.comment_length) {
                             out.u8(' ');
                             put_hex(out, reinterpret_cast<const std::uint8_t *>(image->info),
                                     fields.comment_length);
                         }
                         out.u8('\n');
                         for (std::uint32_t i = 0; i < fields.colormap_entries; ++i) {
                             const colormap_entry &entry = image->cmap->entry[i];
                             out.text("%d %d %d\n", entry.r & 0xFF, entry.g & 0xFF, entry.b & 0xFF);
                         }
                         if (!image->bits)
                             return;
                         int channels = bitmap_channels(image);
                         for (std::uint32_t y = 0; y < image->ysize; ++y) {
                             progress.add(y, image->ysize);
                             const std::uint8_t *pixel = bitmap_boffset(image, 0, y);
                             for (std::uint32_t x = 0; x < image->xsize; ++x, pixel += channels) {
                                 if (x)
                                     out.u8(' ');
                                 put_hex(out, pixel, static_cast<std::size_t>(channels));
                             }
                             out.u8('\n');
                         }
                     });
}

// Whitespace-separated tokens of an sbm3 file, each at most `limit` bytes.
class sbm3_tokens {
  public:
    sbm3_tokens(byte_reader &in, const char *filename) : in_(in), filename_(filename) {}

    // The next token, or false (after a warning naming `what`) at the end or
    // for a token longer than `limit`.
    bool next(std::string &token, std::size_t limit, const char *what) {
        token.clear();
        int c;
        while ((c = in_.getc()) >= 0 && is_space(c)) {
        }
        while (c >= 0 && !is_space(c)) {
            if (token.size() >= limit) {
                XWARNING("sbm3 image(%s) has a %s longer than %zu characters", filename_, what,
                         limit);
                return false;
            }
            token.push_back(static_cast<char>(c));
            c = in_.getc();
        }
        if (token.empty()) {
            XWARNING("sbm3 image(%s) ends before its %s", filename_, what);
            return false;
        }
        return true;
    }

    bool keyword(const char *expected) {
        std::string token;
        if (!next(token, 16, expected))
            return false;
        if (token != expected) {
            XWARNING("sbm3 image(%s) has '%s' where '%s' belongs", filename_, token.c_str(),
                     expected);
            return false;
        }
        return true;
    }

    // A decimal number of at most 10 digits that fits 32 bits.
    bool number(std::uint32_t &value, const char *what) {
        std::string token;
        if (!next(token, 10, what))
            return false;
        std::uint64_t result = 0;
        for (char c : token) {
            if (c < '0' || c > '9') {
                XWARNING("sbm3 image(%s) has '%s' for its %s (a decimal number expected)",
                         filename_, token.c_str(), what);
                return false;
            }
            result = result * 10 + static_cast<unsigned>(c - '0');
        }
        if (result > 0xFFFFFFFFull) {
            XWARNING("sbm3 image(%s) has %s %s beyond 32 bits", filename_, what, token.c_str());
            return false;
        }
        value = static_cast<std::uint32_t>(result);
        return true;
    }

    // Exactly `count` bytes written as 2 * count hexadecimal digits.
    bool hex(std::uint8_t *out, std::size_t count, const char *what) {
        std::string token;
        return next(token, 2 * count, what) && decode_hex(token, out, count, what);
    }

    // The same into a text, which is sized only once its digits have arrived.
    bool hex(std::string &out, std::size_t count, const char *what) {
        std::string token;
        if (!next(token, 2 * count, what))
            return false;
        // Never larger than what arrived; a short token fails in decode_hex.
        out.assign(token.size() / 2, '\0');
        return decode_hex(token, reinterpret_cast<std::uint8_t *>(out.data()), count, what);
    }

  private:
    bool decode_hex(const std::string &token, std::uint8_t *out, std::size_t count,
                    const char *what) {
        if (token.size() != 2 * count) {
            XWARNING("sbm3 image(%s) has '%s' for a %s of %zu bytes", filename_, token.c_str(),
                     what, count);
            return false;
        }
        for (std::size_t i = 0; i < count; ++i) {
            int high = digit(token[2 * i]), low = digit(token[2 * i + 1]);
            if (high < 0 || low < 0) {
                XWARNING("sbm3 image(%s) has '%s' for a %s (hexadecimal digits expected)",
                         filename_, token.c_str(), what);
                return false;
            }
            out[i] = static_cast<std::uint8_t>(high << 4 | low);
        }
        return true;
    }

    static bool is_space(int c) {
        return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\f' || c == '\v';
    }
    static int digit(char c) {
        if (c >= '0' && c <= '9')
            return c - '0';
        if (c >= 'a' && c <= 'f')
            return c - 'a' + 10;
        if (c >= 'A' && c <= 'F')
            return c - 'A' + 10;
        return -1;
    }
    byte_reader &in_;
    const char *filename_;
};

bool sbm3_read_header(byte_reader &in, sbm_fields &fields, const char *filename) {
    std::uint8_t magic[4] = {};
    if (!in.read(magic, sizeof magic) || std::memcmp(magic, "SBM3", 4) != 0) {
        XERROR("Corrupted magic id in sbm image file(%s)", filename);
        return false;
    }
    sbm3_tokens tokens(in, filename);
    return tokens.keyword("version") && tokens.number(fields.version, "version") &&
           tokens.keyword("size") && tokens.number(fields.xsize, "xsize") &&
           tokens.number(fields.ysize, "ysize") && tokens.keyword("depth") &&
           tokens.number(fields.bpp, "depth") && tokens.keyword("colormap") &&
           tokens.number(fields.colormap_entries, "colormap size") && tokens.keyword("comment") &&
           tokens.number(fields.comment_length, "comment length");
}

bitmap *sbm3_decode(byte_reader &in, progress_guard &progress, const char *filename) {
    sbm_fields fields{};
    if (!sbm3_read_header(in, fields, filename) ||
        !check_version(fields.version, sbm3_version, filename) ||
        // Two digits per byte, and at least "0 0 0\n" per colormap entry.
        !fields_acceptable(fields, in, 2, 6, sbm3_name, filename))
        return nullptr;
    sbm3_tokens tokens(in, filename);
    std::string comment;
    if (fields.comment_length && !tokens.hex(comment, fields.comment_length, "comment"))
        return nullptr;
    comment.resize(std::strlen(comment.c_str()));
    bitmap_ptr image = start_bitmap(fields, comment);
    if (fields.colormap_entries) {
        image->cmap = colormap_alloc(static_cast<std::int32_t>(fields.colormap_entries));
        if (!image->cmap)
            return nullptr;
        for (std::uint32_t i = 0; i < fields.colormap_entries; ++i) {
            std::uint32_t rgb[3];
            for (std::uint32_t &component : rgb) {
                if (!tokens.number(component, "colormap entry"))
                    return nullptr;
                if (component > 255) {
                    XWARNING("sbm3 image(%s) has colormap component %u (0 to 255 allowed)",
                             filename, component);
                    return nullptr;
                }
            }
            image->cmap->entry[i] = {static_cast<std::int32_t>(rgb[0]),
                                     static_cast<std::int32_t>(rgb[1]),
                                     static_cast<std::int32_t>(rgb[2])};
        }
    } else if (fields.bpp == 8) {
        XWARNING("file(%s) does not contain a colormap", filename);
    }
    if (has_pixels(fields)) {
        attach_block(image.get());
        std::size_t channels = static_cast<std::size_t>(bitmap_channels(image.get()));
        for (std::uint32_t y = 0; y < fields.ysize; ++y) {
            progress.add(y, fields.ysize);
            std::uint8_t *pixel = bitmap_boffset(image.get(), 0, y);
            for (std::uint32_t x = 0; x < fields.xsize; ++x, pixel += channels)
                if (!tokens.hex(pixel, channels, "pixel"))
                    return nullptr;
        }
    }
    return image.release();
}

bitmap *sbm3_load(const char *filename) {
    return load_with(filename, sbm3_name, sbm3_comments,
                     [&](byte_reader &in, progress_guard &progress) {
                         return sbm3_decode(in, progress, filename);
                     });
}

void sbm3_dump(const char *filename) {
    sbm_fields fields{};
    bool complete = false;
    if (!read_file(MESSAGE_ORIGIN, filename, {nullptr, false, "xfclose(stream) != EOF"},
                   [&](byte_reader &in) { complete = sbm3_read_header(in, fields, filename); }))
        return;
    if (complete)
        print_fields(filename, "SBM3", fields);
}

const char *const modes[] = {"rw*", nullptr};

} // namespace

bitmapio_driver bitmapio_sbm2_driver = {
    .next = nullptr,
    .hash = 0,
    .name = sbm2_name,
    .comments = sbm2_comments,
    .extension = ".sbm",
    .source = source_file,
    .modes = modes,
    .load = sbm2_load,
    .save = sbm2_save,
    .dump = sbm2_dump,
};

bitmapio_driver bitmapio_sbm3_driver = {
    .next = nullptr,
    .hash = 0,
    .name = sbm3_name,
    .comments = sbm3_comments,
    .extension = ".sba",
    .source = source_file,
    .modes = modes,
    .load = sbm3_load,
    .save = sbm3_save,
    .dump = sbm3_dump,
};
