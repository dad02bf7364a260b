// The "compressed-postscript" image-file driver: 24-bpp pictures as PostScript, the
// pixels as run-length coded base-85 text, language level 2 (see postscript.h).
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/loaders/postscript.h"

static constexpr const char *source_file = "./src/gfx/2d/bitmap/loaders/psrle.c";

namespace {

constexpr const char *driver_name = "compressed-postscript";
constexpr const char *driver_comments = "compressed ASCII adobe postscript saver";

int compressed_postscript_save(const char *filename, bitmap *image) {
    return postscript_save(filename, image, postscript_encoding::rle_ascii85, driver_name,
                           driver_comments);
}

constexpr const char *compressed_postscript_modes[] = {"w24", nullptr};

} // namespace

bitmapio_driver bitmapio_compressed_postscript_driver = {
    .next = nullptr,
    .hash = 0,
    .name = driver_name,
    .comments = driver_comments,
    .extension = ".ps",
    .source = source_file,
    .modes = compressed_postscript_modes,
    .load = nullptr,
    .save = compressed_postscript_save,
    .dump = nullptr,
};
