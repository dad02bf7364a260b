// Feeds arbitrary bytes to the token reader and to the option reader's
// response files.  The first byte picks what is done with the rest: read it
// with one of the formats the library uses, write it through the token
// writer, or restore it as a response file and read the options it holds.
#include "core/getopt.h"
#include "file/parse.h"
#include "file/streamio/drivers.h"
#include "file/streamio/streamio.h"
#include "support/fuzz_support.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace {

const char *const formats[] = {
    "%s",
    "%s = %s",
    "[%s] (%d %s)",
    "<configuration file for %s, %d header(s)>",
    "total cookies = %d",
    "%d %x %u",
    "%ld %lx %lu %lf",
    "{ %s , %s }",
    "%q",
    "<eof>",
};
constexpr int format_count = sizeof formats / sizeof formats[0];

const getopt_option options[] = {
    {"h", nullptr, "help", "display simple help", nullptr},
    {"x:d", "<value>", "xres", "set video's x-resolution", nullptr},
    {"f:f", "<value>", "factor", "a factor", nullptr},
    {"s:s", "<template>", "save", "save pictures to disk", nullptr},
    {"d", nullptr, "no_display", "don't display images", nullptr},
    {"X:d", nullptr, "cookie_xpos", "cookie's x position", nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

void register_streams() {
    if (streamio_find_driver("saferio"))
        return;
    streamio_register_builtin_drivers();
    streamio_set_defio(&saferio_driver);
}

bool write_input(const char *name, const std::uint8_t *data, std::size_t size) {
    std::FILE *file = std::fopen(name, "wb");
    if (!file)
        return false;
    std::fwrite(data, 1, size, file);
    return std::fclose(file) == 0;
}

void read_tokens(const char *format) {
    stream_ptr stream(internal_xfopen(__FILE__, __LINE__, "tokens.txt", "r"));
    if (!stream)
        return;
    parse_binding binding(stream.get());
    char a[PARSE_BUFFER_SIZE], b[PARSE_BUFFER_SIZE], c[PARSE_BUFFER_SIZE];
    int i = 0;
    unsigned u = 0;
    long l = 0, m = 0;
    unsigned long ul = 0;
    double f = 0;
    // Every successful read takes at least one token, so the input bounds the loop.
    for (int more = 1; more;) {
        std::string which = format;
        if (which == "%s")
            more = parse_read(format, a);
        else if (which == "%s = %s" || which == "{ %s , %s }")
            more = parse_read(format, a, b);
        else if (which == "[%s] (%d %s)")
            more = parse_read(format, a, &i, b);
        else if (which == "<configuration file for %s, %d header(s)>")
            more = parse_read(format, a, &i);
        else if (which == "total cookies = %d")
            more = parse_read(format, &i);
        else if (which == "%d %x %u")
            more = parse_read(format, &i, &i, &u);
        else if (which == "%ld %lx %lu %lf")
            more = parse_read(format, &l, &m, &ul, &f);
        else
            more = parse_read(format, c);
    }
}

void write_tokens(const std::uint8_t *data, std::size_t size) {
    stream_ptr stream(internal_xfopen(__FILE__, __LINE__, "written.txt", "w"));
    if (!stream)
        return;
    parse_binding binding(stream.get());
    std::string text(reinterpret_cast<const char *>(data), size);
    text = text.substr(0, text.find('\0'));
    parse_write(1, "%s", text.c_str());
    parse_write(size % 5 - 2, "%s = \"%s\"", text.c_str(), text.c_str());
}

void read_options() {
    char program[] = "lumivane";
    char response[] = "@opts.txt";
    char *argv[] = {program, response, nullptr};
    getopt_state state = {1, 1, 0, nullptr};
    // Each call takes at least one character of the arguments; the reader
    // resets itself when it returns -1 or when an error unwinds.
    while (getopt_get(2, argv, options, &state) != -1) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size == 0)
        return 0;
    fuzz_guard([&] {
        register_streams();
        int mode = data[0] % (format_count + 2);
        ++data, --size;
        if (mode < format_count) {
            if (write_input("tokens.txt", data, size))
                read_tokens(formats[mode]);
        } else if (mode == format_count) {
            write_tokens(data, size);
        } else if (write_input("opts.txt", data, size)) {
            read_options();
        }
    });
    return 0;
}
