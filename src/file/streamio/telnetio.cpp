// "telnetio": a placeholder for a network source.  Its access check reports that
// no socket could be opened and declines; it never opens anything.
#include "file/streamio/drivers.h"

#include "core/message.h"

static constexpr const char *source_file = "./src/file/streamio/telnetio.c";
static constexpr const char *source_ident = "streamio::telnet";

namespace {

// Reported as a warning: offering a file to a driver that cannot serve it is
// not a reason to end the program.
int access(const char *name, const char *) {
    XWARNING("failed to open telnet socket for file '%s'", name);
    return 0;
}

void *open(const char *, const char *, streamio_stream *) {
    return nullptr;
}

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
    .faccess = access,
    .freturn = nullptr,
    .fopen = open,
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
