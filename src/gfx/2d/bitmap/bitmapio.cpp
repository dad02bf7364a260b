#include "gfx/2d/bitmap/bitmapio.h"

#include "core/hash.h"
#include "core/memio/memio.h"
#include "core/message.h"
#include "core/path.h"
#include "core/registry.h"
#include "core/xstring.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/loaders/bytes.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/bitmapio.c";
static constexpr const char *source_ident = "bitmapio";

namespace {

driver_registry<bitmapio_driver> drivers;
// Set before the resolution pass runs, so that the pass runs once per process
// even when it comes back through bitmapio_find_driver.
bool types_resolved = false;

struct file_signature {
    long offset;
    std::size_t length;
    const char *magic;
    const char *extension;
    const char *type;
};

// Longest magic first, so that a short signature never hides a longer one
// that also matches.  The last real entry, a single zero byte, takes any file
// that starts with one as Targa (an image-identification length of 0).
constexpr file_signature signatures[] = {
    {0, 14, "id=ImageMagick", ".mif", "miff"},
    {0, 10, "#?RADIANCE", ".rad", "radiance"},
    {0, 8, "\x89\x50\x4E\x47\x0D\x0A\x1A\x0A", ".png", "png"},
    {0, 7, "LBLSIZE", ".vic", "vicar"},
    {0, 6, "NJPL1I", ".vic", "vicar"},
    {0, 6, "SIMPLE", ".fit", "fits"},
    {0, 6, "mhwanh", ".raw", "alchemy"},
    {0, 5, "%!PDF", ".pdf", "pdf"},
    {0, 5, "GIF87", ".gif", "gif87a"},
    {0, 5, "GIF89", ".gif", "gif89a"},
    {0, 4, "FORM", ".iff", "iff"},
    {0, 4, "SBM2", ".sbm", "sbm2"},
    {0, 4, "SBM3", ".sba", "sbm3"},
    {6, 4, "JFIF", ".jpg", "jpeg"},
    {0, 4, "\x0E\x03\x13\x01", ".hdf", "hdf"},
    {0, 4, "PCD_", ".pcd", "pcd"},
    {0, 4, "\x59\xA6\x6A\x95", ".sun", "sun"},
    {0, 4, "\x4D\x4D\x00\x2A", ".tif", "tiff"},
    {0, 4, "\x49\x49\x2A\x00", ".tif", "tiff"},
    {0, 4, "IKRA", ".ikr", "ikr"},
    {0, 4, "IKRB", ".ikr", "ikr"},
    {0, 4, "%!PS", ".ps", "*postscript"},
    {0, 3, "IT0", ".fit", "fits"},
    {0, 3, "P6\n", ".ppm", "portable pixmap"},
    {0, 3, "P6\n", ".pnm", "portable pixmap"},
    {0, 3, "P3\n", ".ppm", "portable pixmap"},
    {0, 3, "P5\n", ".pgm", "portable pixmap"},
    {0, 3, "P2\n", ".pgm", "portable pixmap"},
    {0, 2, "BM", ".bmp", "windows bitmap"},
    {0, 2, "\x01\xDA", ".sgi", "sgi"},
    {0, 2, "\x52\xCC", ".rle", "rle"},
    {0, 1, "\x10", ".pcx", "pcx"},
    {0, 1, "\x00", ".tga", "targa"},
    {0, 0, nullptr, nullptr, nullptr},
};
static_assert(sizeof signatures / sizeof signatures[0] == 34, "33 signatures and the end mark");

struct mode_entry {
    const char *key;
    const char *description;
};

constexpr mode_entry mode_table[] = {
    {"r1", "1-bpp reading"},
    {"r4", "4-bpp reading"},
    {"r8", "8-bpp reading"},
    {"r15", "15-bpp reading"},
    {"r16", "16-bpp reading"},
    {"r24", "24-bpp reading"},
    {"r32", "32-bpp reading"},
    {"w1", "1-bpp writing"},
    {"w4", "4-bpp writing"},
    {"w8", "8-bpp writing"},
    {"w15", "15-bpp writing"},
    {"w16", "16-bpp writing"},
    {"w24", "24-bpp writing"},
    {"w32", "32-bpp writing"},
    {"rw1", "1-bpp reading & writing"},
    {"rw4", "4-bpp reading & writing"},
    {"rw8", "8-bpp reading & writing"},
    {"rw15", "15-bpp reading & writing"},
    {"rw16", "16-bpp reading & writing"},
    {"rw24", "24-bpp reading & writing"},
    {"rw32", "32-bpp reading & writing"},
};

void resolve_signature_types() {
    for (const file_signature *entry = signatures; entry->type; ++entry) {
        bitmapio_driver *driver = bitmapio_find_driver(entry->type, nullptr);
        if (!driver)
            XWARNING("failed to resolve bitmap loader for filetype '%s'", entry->type);
        else
            XVERBOSE("resolved bitmap loader for filetype '%s' (found driver ; %s)", entry->type,
                     driver->name);
    }
}

const char *type_by_magic(const char *filename) {
    streamio_stream *stream = xfopen(filename, "rb");
    if (!stream)
        return nullptr;
    const char *found = nullptr;
    {
        stream_ptr guard{stream};
        // The reader knows the file's size, so a signature longer than a
        // short file is passed over without a short read for the layer to
        // report.
        byte_reader reader(stream);
        std::uint8_t head[16];
        for (const file_signature *entry = signatures; entry->type && !found; ++entry) {
            if (entry->length == 0 || entry->length > sizeof head)
                continue;
            if (reader.seek(static_cast<std::uint64_t>(entry->offset)) &&
                reader.read(head, entry->length) &&
                std::memcmp(head, entry->magic, entry->length) == 0)
                found = entry->type;
        }
        guard.release();
    }
    XASSERT(EOF != xfclose(stream));
    return found;
}

const char *type_by_extension(const char *filename) {
    const char *dot = std::strrchr(filename, '.');
    if (!dot)
        return nullptr;
    std::string suffix(dot);
    for (char &c : suffix)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (const file_signature *entry = signatures; entry->type; ++entry)
        if (xstring_match(entry->extension, suffix.c_str()))
            return entry->type;
    return nullptr;
}

bool extension_matches(const bitmapio_driver *driver, const char *filename) {
    const char *dot = std::strrchr(filename, '.');
    return dot && driver->extension && xstring_match(driver->extension, dot);
}

} // namespace

void bitmapio_register_driver(bitmapio_driver *driver) {
    drivers.add(MESSAGE_ORIGIN, driver);
}

void bitmapio_reset_registry() {
    drivers.clear();
    types_resolved = false;
}

bitmapio_driver *bitmapio_find_driver(const char *name, const char *filename) {
    if (filename) {
        if (const char *type = bitmap_filetype(filename)) {
            name = type;
            filename = nullptr;
        }
    }
    if (name)
        return drivers.find_name(name);
    if (!filename)
        return nullptr;
    return drivers.find(
        [&](const bitmapio_driver *driver) { return extension_matches(driver, filename); });
}

bitmapio_driver *bitmapio_find_mode(const char *mode) {
    if (!mode)
        return nullptr;
    return drivers.find([&](const bitmapio_driver *driver) {
        for (const char *const *pattern = driver->modes; pattern && *pattern; ++pattern)
            if (xstring_match(*pattern, mode))
                return true;
        return false;
    });
}

void bitmapio_list_drivers() {
    drivers.list(
        "\nno bitmapio drivers available\n", 1, [](const bitmapio_driver *driver, int number) {
            std::printf("\nbitmap IO driver(%d)\n", number);
            std::printf("\tdriver name = %s\n", driver->name);
            std::printf("\tsource file = %s\n", driver->source);
            if (driver->comments)
                std::printf("\tcomments    = %s\n", driver->comments);
            std::printf("\textension   = %s\n", driver->extension);
            std::printf("\tdriver hash = 0x%08lx\n", static_cast<unsigned long>(driver->hash));
            std::printf("\n\t\t*supported modes*\n\n");
            int index = 0;
            for (const char *const *pattern = driver->modes; pattern && *pattern;
                 ++pattern, ++index)
                for (const mode_entry &mode : mode_table)
                    if (xstring_match(mode.key, *pattern))
                        std::printf("\t\tmode(%d) %s\n", index, mode.description);
        });
}

const char *bitmap_filetype(const char *filename) {
    if (!types_resolved) {
        types_resolved = true;
        resolve_signature_types();
    }
    if (!filename)
        return nullptr;
    if (const char *type = type_by_magic(filename))
        return type;
    return type_by_extension(filename);
}

bitmap *bitmap_fileload(const char *filename) {
    bitmapio_driver *driver = bitmapio_find_driver(nullptr, filename);
    if (!driver)
        return nullptr;
    if (!driver->load) {
        XERROR("'%s' does not support loading", driver->name);
        return nullptr;
    }
    bitmap *image = driver->load(filename);
    if (!image) {
        XWARNING("loader '%s' failed to load image(%s)", driver->name, filename);
        return nullptr;
    }
    bitmap_set_name(image, filename);
    bitmap_set_loader(image, driver);
    return image;
}

int bitmap_filesave(bitmap *image, const char *filename, const char *driver_name) {
    if (!image || !filename)
        return 0;
    bitmapio_driver *driver = nullptr;
    if (driver_name) {
        driver = bitmapio_find_driver(driver_name, nullptr);
    } else {
        driver = bitmapio_find_driver(nullptr, filename);
        if (!driver) {
            char mode[16];
            std::snprintf(mode, sizeof mode, "w%d", static_cast<int>(image->bpp));
            driver = bitmapio_find_mode(mode);
        }
    }
    if (!driver)
        driver = image->loader;
    if (!driver)
        return 0;
    std::string name = filename;
    if (!*path_last_suffix(filename) && driver->extension)
        name += driver->extension;
    if (!driver->save) {
        XERROR("'%s' does not support saving", driver->name);
        return 0;
    }
    return driver->save(name.c_str(), image);
}

void bitmap_filedump(const char *filename) {
    bitmapio_driver *driver = bitmapio_find_driver(nullptr, filename);
    if (!driver) {
        XERROR("failed to find dump driver for '%s'", filename);
        return;
    }
    if (!driver->dump) {
        XERROR("'%s' does not support dumping", driver->name);
        return;
    }
    driver->dump(filename);
}
