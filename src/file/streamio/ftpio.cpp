// "ftpio": a placeholder for a network source.  Its access check reports that
// no socket could be opened and declines; it never opens anything.
#include "file/streamio/checked.h"
#include "file/streamio/drivers.h"

static constexpr const char *source_file = "./src/file/streamio/ftpio.c";
static constexpr const char *source_ident = "streamio::ftp";

namespace {

// "tranfser" is the documented text, kept verbatim.
constexpr placeholder_policy policy = {
    source_file, source_ident, __LINE__,
    "failed to open socket for file tranfser protocol (ftp) '%s'"};
using ops = placeholder_ops<policy>;

} // namespace

streamio_driver ftpio_driver = {
    .next = nullptr,
    .hash = 0,
    .name = "ftpio",
    .version = "1.0 alpha",
    .source_file = source_file,
    .comment = "ftp socket driver",
    .modes = "rwa",
    .buffering = 0,
    .init = nullptr,
    .faccess = ops::access,
    .freturn = nullptr,
    .fopen = ops::open,
    .fclose = nullptr,
    .feof = nullptr,
    .ferror = nullptr,
    .fflush = nullptr,
    .fseek = nullptr,
    .ftell = nullptr,
    .rewind = nullptr,
    .fgets = nullptr,
    .fputs = nullptr,
    .fread = nullptr,
    .fwrite = nullptr,
    .fgetc = nullptr,
    .fputc = nullptr,
    .ungetc = nullptr,
    .vfscanf = nullptr,
    .vfprintf = nullptr,
};
