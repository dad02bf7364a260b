// The "binary-postscript" image-file driver: 24-bpp pictures as PostScript, the
// pixels as raw bytes, language level 1 (see postscript.h).
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/loaders/postscript.h"

static constexpr const char *source_file = "./src/gfx/2d/bitmap/loaders/psbin.c";

namespace {

constexpr const char *driver_name = "binary-postscript";
constexpr const char *driver_comments = "standard binary adobe postscript saver";

int binary_postscript_save(const char *filename, bitmap *image) {
    return postscript_save(filename, image, postscript_encoding::binary, driver_name,
                           driver_comments);
}

constexpr const char *binary_postscript_modes[] = {"w24", nullptr};

} // namespace

bitmapio_driver bitmapio_binary_postscript_driver = {
    .next = nullptr,
    .hash = 0,
    .name = driver_name,
    .comments = driver_comments,
    .extension = ".ps",
    .source = source_file,
    .modes = binary_postscript_modes,
    .load = nullptr,
    .save = binary_postscript_save,
    .dump = nullptr,
};
