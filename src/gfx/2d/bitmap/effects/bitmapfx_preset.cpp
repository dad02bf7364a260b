#include "gfx/2d/bitmap/effects/bitmapfx_preset.h"

#include "core/dtype.h"
#include "core/message.h"
#include "core/xstring.h"
#include "file/parse.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "platform/linux/gcc/desktop/system.h"

#include <cctype>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/bitmapfx.c";
static constexpr const char *source_ident = "bitmapfx";

namespace {

constexpr const char *rejected = "preset file rejected";

// Binds the token reader to an open stream; if the work is abandoned (an
// error that unwinds, or an early return) the reader is released and the
// stream closed, so no file stays open.  `close` is the normal way out and
// reports the close result.
class bound_stream {
  public:
    explicit bound_stream(streamio_stream *stream) : stream_(stream) { parse_init(stream); }
    bound_stream(const bound_stream &) = delete;
    bound_stream &operator=(const bound_stream &) = delete;
    ~bound_stream() {
        if (stream_) {
            parse_deinit();
            xfclose(stream_);
        }
    }
    bool close() {
        parse_deinit();
        streamio_stream *stream = stream_;
        stream_ = nullptr;
        return xfclose(stream) == 0;
    }

  private:
    streamio_stream *stream_;
};

bitmapfx_driver *find_exact(const char *name) {
    for (bitmapfx_driver *d = bitmapfx_first_driver(); d; d = d->next)
        if (xstring_compare(d->name, name))
            return d;
    return nullptr;
}

const char *text_or_empty(const char *text) {
    return text ? text : "";
}

bool write_preset(const bitmapfx_driver *driver) {
    const char *start = parse_comment_start();
    const char *end = parse_comment_end();
    std::time_t now = std::time(nullptr);
    bool ok = parse_write(1, "%s preset file for %s driver %s", start, driver->name, end) &&
              parse_write(1, "%s written on %s %s", start, std::ctime(&now), end) &&
              parse_write(2, "%s written on host '%s'", start, system_hostname()) &&
              parse_write(1, "name     = \"%s\" ", driver->name) &&
              parse_write(1, "file     = \"%s\" ", text_or_empty(driver->file)) &&
              parse_write(1, "preset   = \"%s\" ", text_or_empty(driver->preset)) &&
              parse_write(1, "comments = \"%s\" ", text_or_empty(driver->comment)) &&
              parse_write(2, "hash     = 0x%08lx", static_cast<unsigned long>(driver->hash)) &&
              parse_write(1, "parameters = %d", bitmapfx_parameter_count(driver));
    std::vector<char> value(DTYPE_TEXT_MAX);
    int index = 0;
    for (const bitmapfx_parameter *p = driver->param_list; ok && p && p->key; ++p, ++index) {
        bitmapfx_print_parameter(p, value.data());
        ok = parse_write(1, nullptr) && parse_write(1, "\tparameter (%d) = {", index) &&
             parse_write(1, "\t\tflags       = %lu", static_cast<unsigned long>(p->flags)) &&
             parse_write(1, "\t\tkey         = \"%s\"", p->key) &&
             parse_write(1, "\t\thelp        = \"%s\"", p->help ? p->help : "none") &&
             parse_write(1, "\t\ttype string = \"%s\"", dtype_name(p->type)) &&
             parse_write(1, "\t\ttype int    = %d", static_cast<int>(p->type)) &&
             parse_write(1, "\t\tvalue       = \"%s\"", value.data()) &&
             parse_write(1, "\t\tsize        = %lu", static_cast<unsigned long>(p->size)) &&
             parse_write(1, "\t\twrite_flag  = %s", xstring_putbool(p->write_flag ? 1 : 0)) &&
             parse_write(1, "} %s %s %s", start, p->key, end);
    }
    return ok;
}

const char *save_one(bitmapfx_driver *driver, const char *file) {
    streamio_stream *stream = xfopen(file, "w");
    if (!stream)
        return "failed to open file";
    bound_stream bound(stream);
    if (!write_preset(driver))
        return rejected;
    return bound.close() ? nullptr : "failed to close";
}

// A value read from the file, kept aside until the whole file is accepted.
struct pending_value {
    bitmapfx_parameter *parameter;
    std::vector<unsigned char> value;
};

// Reads one "parameter (i) = { ... }" block and checks it against the
// driver's parameter.  The value, when it is to be set, is scanned into
// `pending`.  False after an error.
bool read_parameter(const bitmapfx_driver *driver, int index, bitmapfx_parameter *p,
                    std::vector<pending_value> &pending) {
    static char text[PARSE_BUFFER_SIZE];
    static char value[PARSE_BUFFER_SIZE];
    int number = 0;
    if (!parse_read("parameter (%d) = {", &number))
        return false;
    if (number != index) {
        XERROR("driver '%s' parameter %d is out of sequence", driver->name, number);
        return false;
    }
    unsigned long flags = 0;
    if (!parse_read("flags = %lu", &flags))
        return false;
    if (flags != p->flags) {
        XERROR("driver '%s' parameter flags '%08lx' mismatch (should be '%08lx')", driver->name,
               flags, static_cast<unsigned long>(p->flags));
        return false;
    }
    if (!parse_read("key = %s", text))
        return false;
    if (!xstring_compare(text, p->key)) {
        XERROR("driver '%s' parameter key '%s' mismatch (should be '%s')", driver->name, text,
               p->key);
        return false;
    }
    if (!parse_read("help = %s", text))
        return false;
    if (p->help && !xstring_compare(text, p->help)) {
        XERROR("driver '%s' parameter help '%s' mismatch (should be '%s')", driver->name, text,
               p->help);
        return false;
    }
    int type = 0;
    if (!parse_read("type string = %s", text) || !parse_read("type int = %d", &type))
        return false;
    if (static_cast<std::uint32_t>(type) != p->type) {
        XERROR("driver '%s' parameter type '%d' mismatch (should be '%d')", driver->name, type,
               static_cast<int>(p->type));
        return false;
    }
    unsigned long size = 0;
    if (!parse_read("value = %s", value) || !parse_read("size = %lu", &size))
        return false;
    if (size != p->size) {
        XERROR("driver '%s' parameter size '%lu' mismatch (should be '%lu')", driver->name, size,
               static_cast<unsigned long>(p->size));
        return false;
    }
    if (!parse_read("write_flag = %s", text))
        return false;
    int write_flag = xstring_getbool(text);
    if (write_flag != (p->write_flag ? 1 : 0)) {
        XERROR("driver '%s' parameter write_flag '%s' mismatch (should be '%s')", driver->name,
               text, xstring_putbool(p->write_flag ? 1 : 0));
        return false;
    }
    // Bitmaps and other references have no text form to read back: their
    // "null" is a placeholder, never a value.
    bool settable = p->write_flag && !(p->flags & BITMAPFX_NOT_STORABLE) &&
                    p->type != BITMAPFX_TYPE_BITMAP && p->type != BITMAPFX_TYPE_CMAP;
    if (settable) {
        pending_value entry{p, std::vector<unsigned char>(p->size)};
        if (!dtype_scan(p->type, value, entry.value.data()))
            return false;
        pending.push_back(std::move(entry));
    }
    return parse_read("}") != 0;
}

const char *load_one(const char *file) {
    streamio_stream *stream = xfopen(file, "r");
    if (!stream)
        return "failed to open file for reading";
    bound_stream bound(stream);
    static char text[PARSE_BUFFER_SIZE];

    if (!parse_read("name = %s", text))
        return rejected;
    bitmapfx_driver *driver = find_exact(text);
    if (!driver) {
        XERROR("unknown driver '%s' in preset file '%s'", text, file);
        return rejected;
    }
    struct identity {
        const char *format;
        const char *what;
        const char *expected;
    } identities[] = {
        {"file = %s", "source file", driver->file},
        {"preset = %s", "preset", driver->preset},
        {"comments = %s", "comments", driver->comment},
    };
    for (const identity &field : identities) {
        if (!parse_read(field.format, text))
            return rejected;
        if (!xstring_compare(text, text_or_empty(field.expected)))
            XWARNING("driver '%s' '%s' mismatch in preset file '%s' between '%s' and '%s'",
                     driver->name, field.what, file, text, text_or_empty(field.expected));
    }
    long hash = 0;
    if (!parse_read("hash = %lx", &hash))
        return rejected;
    if (hash < 0 || static_cast<unsigned long>(hash) != driver->hash) {
        XERROR("driver '%s' 'hash' mismatch in preset file '%s' between 0x%08lx and 0x%08lx",
               driver->name, file, static_cast<unsigned long>(hash),
               static_cast<unsigned long>(driver->hash));
        return rejected;
    }
    int count = 0;
    int expected = bitmapfx_parameter_count(driver);
    if (!parse_read("parameters = %d", &count))
        return rejected;
    if (count != expected) {
        XERROR("driver '%s' parameter count mismatch in preset file '%s' between %d and %d",
               driver->name, file, count, expected);
        return rejected;
    }
    std::vector<pending_value> pending;
    for (int i = 0; i < count; ++i) {
        if (i >= expected) {
            XERROR("driver '%s' parameter %d is out of sequence (missing key)", driver->name, i);
            return rejected;
        }
        if (!read_parameter(driver, i, &driver->param_list[i], pending))
            return rejected;
    }
    if (!bound.close())
        return "failed to close file";
    for (const pending_value &entry : pending)
        std::memcpy(entry.parameter->value, entry.value.data(), entry.parameter->size);
    return nullptr;
}

// Matches `text` against a form of fixed words and fields ("%"); the last
// field takes the rest of the text.  Fills `fields` and returns true when
// every word matched and every field is non-empty.
bool match_form(const char *text, const std::vector<const char *> &form,
                std::vector<std::string> &fields) {
    fields.clear();
    const char *at = text;
    auto skip_blanks = [&at] {
        while (std::isspace(static_cast<unsigned char>(*at)))
            ++at;
    };
    for (std::size_t i = 0; i < form.size(); ++i) {
        skip_blanks();
        const char *start = at;
        bool last = i + 1 == form.size();
        if (last) {
            std::string rest(start);
            while (!rest.empty() && std::isspace(static_cast<unsigned char>(rest.back())))
                rest.pop_back();
            if (rest.empty())
                return false;
            fields.push_back(rest);
            break;
        }
        while (*at && !std::isspace(static_cast<unsigned char>(*at)))
            ++at;
        std::string word(start, at);
        if (word.empty())
            return false;
        if (xstring_compare(form[i], "%"))
            fields.push_back(word);
        else if (word != form[i])
            return false;
    }
    return true;
}

void run_meta(const std::string &driver_name, const std::string &input, const std::string &output) {
    bitmap *image = bitmap_fileload(input.c_str());
    if (!image) {
        XERROR("no such bitmap '%s'", input.c_str());
        return;
    }
    bitmapfx_driver *driver = bitmapfx_find_driver(driver_name.c_str());
    if (!driver) {
        bitmap_kill(image);
        XERROR("failed to find fx driver '%s'", driver_name.c_str());
        return;
    }
    if (!bitmapfx_simple2(driver, &image)) {
        bitmap_kill(image);
        return;
    }
    int saved = bitmap_filesave(image, output.c_str(), nullptr);
    bitmap_kill(image);
    if (!saved)
        XERROR("failed to save bitmap '%s'", output.c_str());
}

} // namespace

const char *bitmapfx_save_preset(bitmapfx_driver *driver, const char *file) {
    if (driver)
        return save_one(driver, file ? file : driver->preset);
    for (bitmapfx_driver *d = bitmapfx_first_driver(); d; d = d->next) {
        XVERBOSE("saving '%s' driver's preset '%s'", d->name, d->preset);
        if (const char *failure = save_one(d, d->preset))
            return failure;
    }
    return nullptr;
}

const char *bitmapfx_load_preset(const char *file) {
    if (file)
        return load_one(file);
    for (bitmapfx_driver *d = bitmapfx_first_driver(); d; d = d->next) {
        XVERBOSE("loading '%s' driver's preset '%s'", d->preset, d->name);
        if (const char *failure = load_one(d->preset))
            return failure;
    }
    return nullptr;
}

int bitmapfx_meta_command(const char *text) {
    if (!text)
        return 0;
    std::vector<std::string> fields;
    if (match_form(text, {"run", "fxdriver", "%", "on", "bitmap", "%", "and", "save", "as", "%"},
                   fields)) {
        run_meta(fields[0], fields[1], fields[2]);
        return 1;
    }
    if (match_form(text, {"set", "fxdriver", "%", "parameter", "%", "to", "%"}, fields)) {
        bitmapfx_shout(fields[0].c_str(), fields[1].c_str(), fields[2].c_str());
        return 1;
    }
    return 0;
}
