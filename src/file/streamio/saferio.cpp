// "saferio", the default driver: the overwrite question guards every plain
// write over an existing file, and failures of writes and closes are errors.
#include "file/streamio/checked.h"
#include "file/streamio/drivers.h"

#include "core/message.h"

static constexpr const char *source_file = "./src/file/streamio/saferio.c";
static constexpr const char *source_ident = "streamio::safer";

namespace {

overwrite_guard guard = {"saferio", source_file, source_ident, 0, 0, 0};

constexpr cstream_policy policy = {
    .source_file = source_file,
    .source_ident = source_ident,
    .prefix = "",
    .failures = io_report::warning,
    .close_failure = io_report::error,
    .short_read = io_report::warning,
    .short_read_at_end = true,
};
using ops = cstream_ops<policy>;

int access(const char *name, const char *mode) {
    return streamio_overwrite_access(guard, name, mode);
}

// A file that cannot be read is for the layer to report; one that cannot be
// written is an error.
void *open(const char *name, const char *mode, streamio_stream *) {
    std::FILE *stream = std::fopen(name, mode);
    if (!stream && mode[0] != 'r')
        XERROR("fopen() IO failure on file %s(%s)", name, mode);
    return stream;
}

// A failed close has been reported; the caller gets success either way.
int close(streamio_stream *stream) {
    ops::fclose(stream);
    return 0;
}

} // namespace

streamio_driver saferio_driver = {
    .next = nullptr,
    .hash = 0,
    .name = "saferio",
    .version = "1.0 alpha",
    .source_file = source_file,
    .comment = "safer streams (explicit error detection)",
    .modes = "rwa",
    .buffering = 0,
    .init = nullptr,
    .faccess = access,
    .freturn = ops::freturn,
    .fopen = open,
    .fclose = close,
    .feof = ops::feof,
    .ferror = ops::ferror,
    .fflush = ops::fflush,
    .fseek = ops::fseek,
    .ftell = ops::ftell,
    .rewind = ops::rewind,
    .fgets = ops::fgets,
    .fputs = ops::fputs,
    .fread = ops::fread,
    .fwrite = ops::fwrite,
    .fgetc = ops::fgetc,
    .fputc = ops::fputc,
    .ungetc = ops::ungetc,
    .vfscanf = ops::vfscanf,
    .vfprintf = ops::vfprintf,
};
