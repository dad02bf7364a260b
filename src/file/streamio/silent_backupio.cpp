// "silent-backupio": never takes a file.  Its access check copies every
// existing file it is offered to "$path.bak$" and declines, so the next
// driver serves the file.  Forced with ";d=", it serves plain C streams.
#include "file/streamio/checked.h"
#include "file/streamio/drivers.h"

#include "core/message.h"

static constexpr const char *source_file = "./src/file/streamio/silent_backupio.c";
static constexpr const char *source_ident = "streamio::silent-backup";

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

int access(const char *name, const char *) {
    if (name && streamio_access(name) && streamio_backup_quiet(name))
        XWARNING("%s : failed to backup file '%s'", "silent-backupio", name);
    return 0;
}

void *open(const char *name, const char *mode, streamio_stream *) {
    return std::fopen(name, mode);
}

} // namespace

streamio_driver silent_backupio_driver = {
    .next = nullptr,
    .hash = 0,
    .name = "silent-backupio",
    .version = "1.0 alpha",
    .source_file = source_file,
    .comment = "silently backs up all accessed files",
    .modes = "rwa",
    .buffering = 1,
    .init = nullptr,
    .faccess = access,
    .freturn = ops::freturn,
    .fopen = open,
    CSTREAM_OPERATIONS(ops),
};
