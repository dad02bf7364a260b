// "reslogio": plain C streams with the overwrite question that also writes
// the name of every file opened for reading to "reslog.logfile", one name a
// line, so that a run tells which resources it used.
#include "file/streamio/checked.h"
#include "file/streamio/drivers.h"

#include "core/exithand.h"

static constexpr const char *source_file = "./src/file/streamio/reslogio.c";
static constexpr const char *source_ident = "streamio::reslog";

namespace {

overwrite_guard guard = {"reslogio", source_file, source_ident, 0, 0, 0};

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

std::FILE *reslog = nullptr;

void reslog_deinit() {
    if (reslog)
        std::fclose(reslog);
    reslog = nullptr;
}

void log_resource(const char *name) {
    if (!reslog) {
        reslog = std::fopen("reslog.logfile", "w");
        if (!reslog)
            return;
        if (!exithand_find(reslog_deinit, nullptr))
            exithand_add(reslog_deinit, "reslog deinit");
    }
    std::fprintf(reslog, "%s\n", name);
    std::fflush(reslog);
}

int access(const char *name, const char *mode) {
    return streamio_overwrite_access(guard, name, mode);
}

void *open(const char *name, const char *mode, streamio_stream *) {
    std::FILE *stream = std::fopen(name, mode);
    if (stream && mode[0] == 'r')
        log_resource(name);
    return stream;
}

} // namespace

streamio_driver reslogio_driver = {
    .next = nullptr,
    .hash = 0,
    .name = "reslogio",
    .version = "1.0 alpha",
    .source_file = source_file,
    .comment = "resource logging driver, writes access files (read mode) to logfile",
    .modes = "rwa",
    .buffering = 1,
    .init = nullptr,
    .faccess = access,
    .freturn = ops::freturn,
    .fopen = open,
    CSTREAM_OPERATIONS(ops),
};
