// "secureio": the failsafe driver.  Every failure ends the program; the end
// of a file is not a failure, so reading up to it stays possible.
#include "file/streamio/checked.h"
#include "file/streamio/drivers.h"

#include "core/message.h"

static constexpr const char *source_file = "./src/file/streamio/secureio.c";
static constexpr const char *source_ident = "streamio::secure";

namespace {

overwrite_guard guard = {"secureio", source_file, source_ident, 0, 0, 0};

constexpr cstream_policy policy = {
    .source_file = source_file,
    .source_ident = source_ident,
    .prefix = "secureio ",
    .failures = io_report::error,
    .close_failure = io_report::error,
    .short_read = io_report::error,
    .short_read_at_end = false,
};
using ops = cstream_ops<policy>;

int access(const char *name, const char *mode) {
    return streamio_overwrite_access(guard, name, mode);
}

void *open(const char *name, const char *mode, streamio_stream *) {
    std::FILE *stream = std::fopen(name, mode);
    if (!stream)
        XERROR("secureio fopen() failed on file '%s'", name);
    return stream;
}

} // namespace

streamio_driver secureio_driver = {
    .next = nullptr,
    .hash = 0,
    .name = "secureio",
    .version = "1.0 alpha",
    .source_file = source_file,
    .comment = "failsafe streams",
    .modes = "rwa",
    .buffering = 0,
    .init = nullptr,
    .faccess = access,
    .freturn = ops::freturn,
    .fopen = open,
    CSTREAM_OPERATIONS(ops),
};
