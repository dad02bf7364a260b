#include "file/cookie.h"

#include "core/memio/memio.h"
#include "core/message.h"
#include "file/config.h"
#include "file/parse.h"
#include "file/streamio/streamio.h"
#include "xmath/xrand.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

static constexpr const char *source_file = "./src/file/cookie.c";
static constexpr const char *source_ident = "cookie";

namespace {

constexpr std::size_t cookie_size = 4096;
const char *const index_name = "$path.cookies$/$default.cookie$/index";
const char *const cookie_template = "$path.cookies$/$default.cookie$/%08d.asc";

// One byte beyond the 4096 read keeps even a full buffer terminated.
char cookie[cookie_size + 1];

// The name as the user can find it on disk, for messages.
std::string shown(const char *name) {
    if (!config_active())
        return name;
    xfree_ptr<char> expanded(config_alias(name));
    return expanded ? expanded.get() : name;
}

// The number of cookies and the index file's name; nothing when the index
// cannot be read.
std::optional<int> read_total(std::string &name) {
    stream_ptr stream(xfopen(index_name, "r"));
    if (!stream) {
        XWARNING("failed to open cookie index file '%s'", shown(index_name).c_str());
        return std::nullopt;
    }
    name = stream->name;
    int total = 0;
    parse_binding binding(stream.get());
    if (!parse_read("total cookies = %d", &total))
        return std::nullopt;
    return total;
}

} // namespace

char *cookie_get(std::int32_t index) {
    std::string index_file;
    std::optional<int> counted = read_total(index_file);
    if (!counted)
        return nullptr;
    int total = *counted;
    if (index >= total) { // index > N - 1, without the overflow at the lowest N
        index = -1;
        XWARNING("cookie index (%d) is out of range for cookie file '%s', maximum range is %s",
                 index, index_file.c_str(), std::to_string(total).c_str());
    }
    if (index < 0)
        index = xrand_mm(0, total);
    char name[64];
    std::snprintf(name, sizeof name, cookie_template, index);
    stream_ptr stream(xfopen(name, "r"));
    if (!stream) {
        XWARNING("failed to open cookie file '%s'", shown(name).c_str());
        return nullptr;
    }
    std::memset(cookie, 0, sizeof cookie);
    // Byte by byte: a cookie is always shorter than the buffer, and a short
    // block read would make the checked drivers warn about every cookie.
    std::size_t length = 0;
    for (int c; length < cookie_size && (c = xfgetc(stream.get())) != EOF;)
        cookie[length++] = static_cast<char>(c);
    return cookie;
}
