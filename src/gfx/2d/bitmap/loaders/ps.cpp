// The "ascii-postscript" image-file driver: 24-bpp pictures as PostScript, the
// pixels as hex digits, language level 1 (see postscript.h).
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/loaders/postscript.h"

static constexpr const char *source_file = "./src/gfx/2d/bitmap/loaders/ps.c";

namespace {

constexpr const char *driver_name = "ascii-postscript";
constexpr const char *driver_comments = "standard ASCII adobe postscript saver";

int ascii_postscript_save(const char *filename, bitmap *image) {
    return postscript_save(filename, image, postscript_encoding::ascii_hex, driver_name,
                           driver_comments);
}

constexpr const char *ascii_postscript_modes[] = {"w24", nullptr};

} // namespace

bitmapio_driver bitmapio_ascii_postscript_driver = {
    .next = nullptr,
    .hash = 0,
    .name = driver_name,
    .comments = driver_comments,
    .extension = ".ps",
    .source = source_file,
    .modes = ascii_postscript_modes,
    .load = nullptr,
    .save = ascii_postscript_save,
    .dump = nullptr,
};
