// "telnetio": a placeholder for a network source.  Its access check reports that
// no socket could be opened and declines; it never opens anything.
#include "file/streamio/checked.h"
#include "file/streamio/drivers.h"

static constexpr const char *source_file = "./src/file/streamio/telnetio.c";
static constexpr const char *source_ident = "streamio::telnet";

namespace {

constexpr placeholder_policy policy = {source_file, source_ident, __LINE__,
                                       "failed to open telnet socket for file '%s'"};
using ops = placeholder_ops<policy>;

} // namespace

streamio_driver telnetio_driver = {
    .next = nullptr,
    .hash = 0,
    .name = "telnetio",
    .version = "1.0 alpha",
    .source_file = source_file,
    .comment = "telnet socket driver",
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
