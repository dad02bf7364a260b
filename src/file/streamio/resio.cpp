// "resio": read-only resource streams.  A relative name that does not exist
// as given is looked up in the program's resource folder, the configuration
// alias "$path.res$".  The access check takes exactly those files: a read of
// a name found only in the resource folder.  Every ordinary file is declined,
// so it goes on to the drivers after this one.  Forced with ";d=", the driver
// serves the name as given when it exists, else its resource.  Reading is all
// it does: update modes are refused at open.
#include "file/streamio/checked.h"
#include "file/streamio/drivers.h"

#include "core/memio/memio.h"
#include "file/config.h"

#include <cstring>
#include <memory>
#include <string>

static constexpr const char *source_file = "./src/file/streamio/resio.c";
static constexpr const char *source_ident = "streamio::res";

namespace {

constexpr cstream_policy policy = {
    .source_file = source_file,
    .source_ident = source_ident,
    .prefix = "",
    .failures = io_report::warning,
    .close_failure = io_report::warning,
    .short_read = io_report::none,
    .short_read_at_end = false,
};
using ops = cstream_ops<policy>;

bool is_read_only(const char *mode) {
    return mode && mode[0] == 'r' && !std::strchr(mode, '+');
}

// The resource path of a relative name; empty for absolute names.
std::string resource_path(const char *name) {
    if (!*name || name[0] == '/')
        return {};
    std::string unexpanded = std::string("$path.res$/") + name;
    xfree_ptr<char> expanded(config_alias(unexpanded.c_str()));
    return expanded ? std::string(expanded.get()) : unexpanded;
}

int access(const char *name, const char *mode) {
    if (!name || !is_read_only(mode) || streamio_access(name))
        return 0;
    std::string resource = resource_path(name);
    return !resource.empty() && streamio_access(resource.c_str());
}

void *open(const char *name, const char *mode, streamio_stream *) {
    if (!is_read_only(mode))
        return nullptr;
    if (std::FILE *stream = std::fopen(name, mode))
        return stream;
    std::string resource = resource_path(name);
    return resource.empty() ? nullptr : std::fopen(resource.c_str(), mode);
}

} // namespace

streamio_driver resio_driver = {
    .next = nullptr,
    .hash = 0,
    .name = "resio",
    .version = "1.0 alpha",
    .source_file = source_file,
    .comment = "resource manager streamio",
    .modes = "r",
    .buffering = 1,
    .init = nullptr,
    .faccess = access,
    .freturn = ops::freturn,
    .fopen = open,
    CSTREAM_OPERATIONS(ops),
};
