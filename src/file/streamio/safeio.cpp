// "safeio": plain C streams with the overwrite question; failed operations
// and short reads are warnings.
#include "file/streamio/checked.h"
#include "file/streamio/drivers.h"

static constexpr const char *source_file = "./src/file/streamio/safeio.c";
static constexpr const char *source_ident = "streamio::safe";

namespace {

overwrite_guard guard = {"safeio", source_file, source_ident, 0, 0, 0};

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

int access(const char *name, const char *mode) {
    return streamio_overwrite_access(guard, name, mode);
}

void *open(const char *name, const char *mode, streamio_stream *) {
    return std::fopen(name, mode);
}

} // namespace

streamio_driver safeio_driver = {
    .next = nullptr,
    .hash = 0,
    .name = "safeio",
    .version = "1.0 alpha",
    .source_file = source_file,
    .comment = "safe streams (added error detection)",
    .modes = "rwa",
    .buffering = 1,
    .init = nullptr,
    .faccess = access,
    .freturn = ops::freturn,
    .fopen = open,
    CSTREAM_OPERATIONS(ops),
};
