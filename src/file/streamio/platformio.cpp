// "platformio": plain C streams with the overwrite question and one platform
// check: a file written next to a name that differs only in letter case is
// reported, because the two become one file on platforms that ignore case.
#include "file/streamio/checked.h"
#include "file/streamio/drivers.h"

#include "core/message.h"
#include "core/path.h"
#include "core/xstring.h"

#include <filesystem>
#include <string>

static constexpr const char *source_file = "./src/file/streamio/platformio.c";
static constexpr const char *source_ident = "streamio::platform";

namespace {

overwrite_guard guard = {"platformio", source_file, source_ident, 0, 0, 0};

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

void check_case_clash(const char *name) {
    const char *base = path_get_basename(name);
    if (!*base)
        return;
    std::string folder(name, static_cast<std::size_t>(base - name));
    std::error_code failed;
    std::filesystem::directory_iterator entries(folder.empty() ? "." : folder, failed);
    for (; !failed && entries != std::filesystem::directory_iterator(); entries.increment(failed)) {
        std::string other = entries->path().filename().string();
        if (other != base && xstringi_compare(other.c_str(), base)) {
            XWARNING("platformio: file '%s' clashes with '%s' where names ignore case", name,
                     other.c_str());
            return;
        }
    }
}

int access(const char *name, const char *mode) {
    return streamio_overwrite_access(guard, name, mode);
}

void *open(const char *name, const char *mode, streamio_stream *) {
    if (mode[0] != 'r' || std::string(mode).find('+') != std::string::npos)
        check_case_clash(name);
    return std::fopen(name, mode);
}

} // namespace

streamio_driver platformio_driver = {
    .next = nullptr,
    .hash = 0,
    .name = "platformio",
    .version = "1.0 alpha",
    .source_file = source_file,
    .comment = "automatic platform clash detection",
    .modes = "rwa",
    .buffering = 0,
    .init = nullptr,
    .faccess = access,
    .freturn = ops::freturn,
    .fopen = open,
    CSTREAM_OPERATIONS(ops),
};
