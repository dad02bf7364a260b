// "debugio": "saferio" with a trace: every open is logged to "io_log".
#include "file/streamio/checked.h"
#include "file/streamio/drivers.h"

#include "core/message.h"

static constexpr const char *source_file = "./src/file/streamio/debugio.c";
static constexpr const char *source_ident = "streamio::debug";

namespace {

overwrite_guard guard = {"debugio", source_file, source_ident, 0, 0, 0};

constexpr cstream_policy policy = {
    .source_file = source_file,
    .source_ident = source_ident,
    .prefix = "",
    .failures = io_report::warning,
    .close_failure = io_report::warning,
    .short_read = io_report::warning,
    .short_read_at_end = true,
};
using ops = cstream_ops<policy>;

// The trace file stays open for the whole run and is flushed after every line,
// so it is complete even when the program ends through the abort path.
std::FILE *io_log = nullptr;

void trace_open(const char *name, const char *mode, const void *handle) {
    if (!io_log)
        io_log = std::fopen("io_log", "w");
    if (!io_log)
        return;
    std::fprintf(io_log, "fopen = [%s %s] = %p\r\n", name, mode, handle);
    std::fflush(io_log);
}

int access(const char *name, const char *mode) {
    return streamio_overwrite_access(guard, name, mode);
}

void *open(const char *name, const char *mode, streamio_stream *) {
    std::FILE *stream = std::fopen(name, mode);
    trace_open(name, mode, stream);
    if (!stream)
        XWARNING("fopen (io) failure on file %s(%s)", name, mode);
    return stream;
}

} // namespace

streamio_driver debugio_driver = {
    .next = nullptr,
    .hash = 0,
    .name = "debugio",
    .version = "1.0 alpha",
    .source_file = source_file,
    .comment = "debugger stream driver",
    .modes = "rwa",
    .buffering = 1,
    .init = nullptr,
    .faccess = access,
    .freturn = ops::freturn,
    .fopen = open,
    CSTREAM_OPERATIONS(ops),
};
