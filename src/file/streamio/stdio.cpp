// "stdio": the C library's streams as they are.  It takes every file and
// checks nothing.
#include "file/streamio/checked.h"
#include "file/streamio/drivers.h"

static constexpr const char *source_file = "./src/file/streamio/stdio.c";
static constexpr const char *source_ident = "streamio::stdio";

namespace {

constexpr cstream_policy policy = {
    .source_file = source_file,
    .source_ident = source_ident,
    .prefix = "",
    .failures = io_report::none,
    .close_failure = io_report::none,
    .short_read = io_report::none,
    .short_read_at_end = false,
};
using ops = cstream_ops<policy>;

int access(const char *, const char *) {
    return 1;
}

void *open(const char *name, const char *mode, streamio_stream *) {
    return std::fopen(name, mode);
}

} // namespace

streamio_driver stdio_driver = {
    .next = nullptr,
    .hash = 0,
    .name = "stdio",
    .version = "1.0 alpha",
    .source_file = source_file,
    .comment = "standard streams, directly linked to <stdio.h>",
    .modes = "rwa",
    .buffering = 1,
    .init = nullptr,
    .faccess = access,
    .freturn = ops::freturn,
    .fopen = open,
    CSTREAM_OPERATIONS(ops),
};
