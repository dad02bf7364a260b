// The "alchemy" image-file driver: raw pictures behind a small header that
// starts with the magic "mhwanh", at 8 bpp with a palette or 24 bpp.
//
// The 32-byte header, 16-bit values big-endian:
//
//   offset size field
//        0    6 magic "mhwanh"
//        6    2 version: 4
//        8    2 width in pixels (1..65535)
//       10    2 height in pixels (1..65535)
//       12    2 palette entries: 0 for a 24-bit picture, 1..256 for an
//               indexed one
//       14    2 horizontal aspect (written 1)
//       16    2 vertical aspect (written 1)
//       18    2 gamma times 100 (written 0: unknown)
//       20   12 reserved, zero
//
// Then the palette, red, green, blue per entry, and the pixels, rows top to
// bottom without padding: one index byte per pixel for an indexed picture,
// red, green, blue for a 24-bit one.  Bytes after the last row are ignored.
// An index beyond the palette makes the whole file fail.
#include "core/message.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/colormap.h"
#include "gfx/2d/bitmap/loaders/bytes.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/loaders/alchemy.c";
static constexpr const char *source_ident = "bitmapio::alchemy";

namespace {

constexpr const char *driver_name = "alchemy";
constexpr const char *driver_comments = "image alchemy (hsi) loader & saver";

constexpr std::size_t header_size = 32;
constexpr char magic[6] = {'m', 'h', 'w', 'a', 'n', 'h'};
constexpr std::uint16_t version = 4;
constexpr std::uint32_t max_palette = 256;

struct alchemy_header {
    std::uint16_t version;
    std::uint16_t width, height;
    std::uint16_t palette;
    std::uint16_t xaspect, yaspect;
    std::uint16_t gamma;
};

// False when the file is too short or lacks the magic.
bool read_header(byte_reader &in, alchemy_header &header) {
    std::uint8_t raw[header_size];
    if (!in.read(raw, sizeof raw) || std::memcmp(raw, magic, sizeof magic) != 0)
        return false;
    header.version = get_be16(raw + 6);
    header.width = get_be16(raw + 8);
    header.height = get_be16(raw + 10);
    header.palette = get_be16(raw + 12);
    header.xaspect = get_be16(raw + 14);
    header.yaspect = get_be16(raw + 16);
    header.gamma = get_be16(raw + 18);
    return true;
}

bitmap_ptr decode(byte_reader &in, const char *filename, progress_guard &progress) {
    alchemy_header header;
    if (!read_header(in, header)) {
        XWARNING("alchemy image(%s) has no \"mhwanh\" header", filename);
        return nullptr;
    }
    if (header.version != version) {
        XWARNING("alchemy image(%s) is version %u while version %u is expected", filename,
                 header.version, version);
        return nullptr;
    }
    if (header.width == 0 || header.height == 0) {
        XWARNING("alchemy image(%s) is empty (%ux%u pixels)", filename, header.width,
                 header.height);
        return nullptr;
    }
    if (!size_acceptable(MESSAGE_ORIGIN, "alchemy image", filename, header.width, header.height))
        return nullptr;
    if (header.palette > max_palette) {
        XWARNING("alchemy image(%s): a palette of %u entries exceeds %u", filename, header.palette,
                 max_palette);
        return nullptr;
    }
    bool indexed = header.palette > 0;
    unsigned channels = indexed ? 1 : 3;
    std::uint64_t needed =
        std::uint64_t{header.palette} * 3 + std::uint64_t{header.width} * header.height * channels;
    if (!in.has(needed)) {
        XWARNING("alchemy image(%s) is truncated: %llu bytes of palette and pixels expected, "
                 "at most %llu present",
                 filename, static_cast<unsigned long long>(needed),
                 static_cast<unsigned long long>(in.remaining()));
        return nullptr;
    }

    bitmap_ptr image(bitmap_alloc2(header.width, header.height, indexed ? 8 : 24));
    if (!image)
        return nullptr;
    if (indexed) {
        image->cmap = colormap_alloc(header.palette);
        for (std::int32_t i = 0; i < header.palette; ++i)
            image->cmap->entry[i] = {in.u8(), in.u8(), in.u8()};
    }
    std::size_t row_size = std::size_t{header.width} * channels;
    std::uint8_t *row = image->bits;
    for (unsigned y = 0; y < header.height; ++y, row += row_size) {
        progress.add(y, header.height);
        if (!in.read(row, row_size)) {
            XWARNING("alchemy image(%s) is truncated at row %u of %u", filename, y, header.height);
            return nullptr;
        }
        if (!indexed)
            continue;
        for (unsigned x = 0; x < header.width; ++x) {
            if (row[x] >= header.palette) {
                XWARNING("alchemy image(%s): colour index %u at %u,%u lies beyond its palette of "
                         "%u entries",
                         filename, row[x], x, y, header.palette);
                return nullptr;
            }
        }
    }
    return image;
}

bitmap *alchemy_load(const char *filename) {
    progress_guard progress(driver_name, driver_comments);
    bitmap_ptr image;
    if (!read_file(MESSAGE_ORIGIN, filename,
                   {"error opening alchemy image(%s)", false, "xfclose(file) != EOF"},
                   [&](byte_reader &in) { image = decode(in, filename, progress); }))
        return nullptr;
    progress.finish();
    return image.release();
}

int alchemy_save(const char *filename, bitmap *image) {
    if (!image || !image->bits || (image->bpp != 8 && image->bpp != 24))
        return 0;
    if (image->xsize == 0 || image->ysize == 0 || image->xsize > 0xFFFF || image->ysize > 0xFFFF) {
        XWARNING("alchemy image(%s): a picture of %ux%u pixels does not fit the format", filename,
                 image->xsize, image->ysize);
        return 0;
    }
    progress_guard progress(driver_name, driver_comments);
    stream_ptr stream(xfopen(filename, "wb"));
    if (!stream)
        return 0;
    // An 8-bpp bitmap without colours is shown as the grey ramp, and so saved.
    const colormap *map = image->cmap;
    std::int32_t entries = 0;
    if (image->bpp == 8)
        entries = map && map->size > 0 ? map->size : 256;
    bool written;
    {
        byte_writer out(stream.get());
        std::uint8_t header[header_size] = {};
        std::memcpy(header, magic, sizeof magic);
        put_be16(header + 6, version);
        put_be16(header + 8, image->xsize);
        put_be16(header + 10, image->ysize);
        put_be16(header + 12, static_cast<std::uint32_t>(entries));
        put_be16(header + 14, 1);
        put_be16(header + 16, 1);
        out.write(header, sizeof header);
        for (std::int32_t i = 0; i < entries; ++i) {
            colormap_entry colour = colormap_get_color(map && map->size > 0 ? map : nullptr, i);
            out.u8(static_cast<std::uint32_t>(colour.r));
            out.u8(static_cast<std::uint32_t>(colour.g));
            out.u8(static_cast<std::uint32_t>(colour.b));
        }
        std::size_t row_size = bitmap_rowstride(image);
        for (std::uint32_t y = 0; y < image->ysize; ++y) {
            progress.add(y, image->ysize);
            out.write(image->bits + y * row_size, row_size);
        }
        written = out.finish();
    }
    return finish_save(MESSAGE_ORIGIN, stream, progress, written, {},
                       "error writing alchemy image(%s)", filename);
}

void alchemy_dump(const char *filename) {
    alchemy_header header;
    bool complete = false;
    if (!read_file(MESSAGE_ORIGIN, filename, {},
                   [&](byte_reader &in) { complete = read_header(in, header); }))
        return;
    if (!complete) {
        XWARNING("alchemy image(%s) has no \"mhwanh\" header", filename);
        return;
    }
    std::printf("\ndumping(%s)\n", filename);
    std::printf("version         = %u\n", header.version);
    std::printf("xsize           = %u\n", header.width);
    std::printf("ysize           = %u\n", header.height);
    std::printf("palette_size    = %u\n", header.palette);
    std::printf("aspect          = %u:%u\n", header.xaspect, header.yaspect);
    std::printf("gamma           = %u\n", header.gamma);
    std::fflush(stdout);
}

constexpr const char *alchemy_modes[] = {"rw8", "rw24", nullptr};

} // namespace

bitmapio_driver bitmapio_alchemy_driver = {
    .next = nullptr,
    .hash = 0,
    .name = driver_name,
    .comments = driver_comments,
    .extension = ".raw",
    .source = source_file,
    .modes = alchemy_modes,
    .load = alchemy_load,
    .save = alchemy_save,
    .dump = alchemy_dump,
};
