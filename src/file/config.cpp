// The configuration store: one process-wide record of headers holding
// key/value texts, read from and written to a text file with the token
// reader of parse.cpp.
#include "file/config.h"

#include "core/dtype.h"
#include "core/memio/memio.h"
#include "core/message.h"
#include "core/path.h"
#include "core/xmain.h"
#include "core/xstring.h"
#include "file/parse.h"
#include "file/streamio/streamio.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

static constexpr const char *source_file = "./src/file/config.c";
static constexpr const char *source_ident = "config";

namespace {

struct config_entry {
    char *key;
    char *value; // owned, or the shared `null_value`
};

struct config_header {
    char *name; // a plain name or a wildcard pattern
    std::int32_t entry_count;
    config_entry *entries; // null when the count is 0
};

struct config_record {
    char *filename; // where it was loaded from; the default target of a save
    std::int32_t header_count;
    config_header *headers; // in file order
    std::int32_t changed;
};

// "No value, use the default": one shared text, never freed, told apart from
// an owned copy reading "null" by its address.
char null_value[] = "null";

const char *const encapsulate = "$*$"; // keys of this form are aliases
const char *const env_concat = "ini";
const char *const ext_concat = "ini";
const char *const time_header = "*.time.logging";

constexpr std::size_t alias_buffer_size = 4096;
// An alias cycle ($a$ = $b$, $b$ = $a$) would expand forever; no sane file
// needs this many expansions in one name.
constexpr int alias_expansion_limit = 64;

config_record config = {};
std::int32_t active = 0;

void free_value(char *value) {
    if (value != null_value)
        xfree(value);
}

void free_record(config_record &record) {
    for (std::int32_t h = 0; h < record.header_count; ++h) {
        config_header &header = record.headers[h];
        for (std::int32_t e = 0; e < header.entry_count; ++e) {
            xfree(header.entries[e].key);
            free_value(header.entries[e].value);
        }
        xfree(header.entries);
        xfree(header.name);
    }
    xfree(record.headers);
    xfree(record.filename);
    record = {};
}

std::string join(const std::string &a, const char *separator, const std::string &b) {
    return a + separator + b;
}

// A candidate is found when it opens for reading.  Directories open too on
// this platform, but cannot be read: they are passed over, so that
// Lumivane_ini may name the folder holding the file.
bool probe(const std::string &candidate) {
    if (candidate.empty())
        return false;
    stream_ptr stream(xfopen(candidate.c_str(), "r"));
    if (!stream)
        return false;
    std::error_code ignored;
    return !std::filesystem::is_directory(stream->name, ignored);
}

char *find_file(const char *name) {
    std::string variable = join(application_name, "_", env_concat);
    const char *directory = std::getenv(variable.c_str());
    std::vector<std::string> candidates;
    if (directory && *directory) {
        candidates.push_back(directory);
        candidates.push_back(join(directory, "/", name));
    }
    candidates.push_back(name);
    candidates.push_back(join(name, ".", ext_concat));
    candidates.push_back(join("", "/", path_get_basename(name)));
    for (const std::string &candidate : candidates)
        if (probe(candidate))
            return xstrdup(candidate.c_str());
    return nullptr;
}

// A header while it is read; committed to the record once the file is whole.
struct loaded_entry {
    std::string key;
    std::string value;
    bool null;
};

struct loaded_header {
    std::string name;
    std::vector<loaded_entry> entries;
};

bool count_valid(int count, const char *what, const char *where) {
    if (count >= 0)
        return true;
    XERROR("invalid number of %s (%d)%s (file %s, line %d)", what, count, where, parse_name(),
           parse_line());
    return false;
}

bool read_entry(loaded_header &header) {
    char key[PARSE_BUFFER_SIZE];
    char value[PARSE_BUFFER_SIZE];
    if (!parse_read("%s = %s", key, value))
        return false;
    if (xstring_match(key, encapsulate) && xstring_match(value, encapsulate) &&
        xstring_compare(key, value)) {
        XERROR("key '%s' contains recursive alias value", key);
        return false;
    }
    bool null = xstring_match(value, null_value);
    if (null)
        XWARNING("entry '%s' (in header '%s') is assigned no value, using default", key,
                 header.name.c_str());
    header.entries.push_back({key, null ? std::string() : std::string(value), null});
    return true;
}

// The counts in the file decide how much is read; nothing is allocated ahead
// of the entries actually present, so a huge count in a short file only
// leads to the end-of-file error.
bool read_header(std::vector<loaded_header> &headers) {
    char name[PARSE_BUFFER_SIZE];
    char word[PARSE_BUFFER_SIZE];
    int entry_count = 0;
    if (!parse_read("[%s] (%d %s)", name, &entry_count, word))
        return false;
    if (!xstring_match(word, "entr*")) {
        XERROR("entry error in '%s'", word);
        return false;
    }
    std::string where = std::string(" in header '") + name + "'";
    if (!count_valid(entry_count, "entries", where.c_str()))
        return false;
    loaded_header header{name, {}};
    for (int e = 0; e < entry_count; ++e)
        if (!read_entry(header))
            return false;
    headers.push_back(std::move(header));
    return true;
}

char *owned_value(const loaded_entry &entry) {
    return entry.null ? null_value : xstrdup(entry.value.c_str());
}

// Builds the record from what was read; with no header the file name is not
// kept.
config_record make_record(const char *path, const std::vector<loaded_header> &headers) {
    config_record record = {};
    if (headers.empty())
        return record;
    record.filename = xstrdup(path);
    record.headers = static_cast<config_header *>(xcalloc(headers.size(), sizeof(config_header)));
    for (const loaded_header &loaded : headers) {
        config_header &header = record.headers[record.header_count++];
        header.name = xstrdup(loaded.name.c_str());
        if (loaded.entries.empty())
            continue;
        header.entries =
            static_cast<config_entry *>(xcalloc(loaded.entries.size(), sizeof(config_entry)));
        for (const loaded_entry &entry : loaded.entries)
            header.entries[header.entry_count++] = {xstrdup(entry.key.c_str()), owned_value(entry)};
    }
    return record;
}

bool read_file(std::vector<loaded_header> &headers) {
    char stored_name[PARSE_BUFFER_SIZE];
    int header_count = 0;
    if (!parse_read("<configuration file for %s, %d header(s)>", stored_name, &header_count))
        return false;
    if (!count_valid(header_count, "headers", ""))
        return false;
    for (int h = 0; h < header_count; ++h)
        if (!read_header(headers))
            return false;
    return parse_read("<eof>") != 0;
}

// Reads the file into a fresh record, replacing the current one only when the
// whole file was read.
bool load_it(const char *path) {
    stream_ptr stream(xfopen(path, "r"));
    if (!stream) {
        XERROR("xassert(%s) failed", "xstream");
        return false;
    }
    std::vector<loaded_header> headers;
    {
        parse_binding binding(stream.get());
        if (!read_file(headers))
            return false;
    }
    if (xfclose(stream.release()) == EOF) {
        XERROR("xassert(%s) failed", "EOF != xfclose(xstream)");
        return false;
    }
    config_record record = make_record(path, headers);
    free_record(config);
    config = record;
    return true;
}

config_entry *find_entry(const char *header, const char *key) {
    for (std::int32_t h = 0; h < config.header_count; ++h) {
        config_header &candidate = config.headers[h];
        if (header && !xstring_match(header, candidate.name))
            continue;
        for (std::int32_t e = 0; e < candidate.entry_count; ++e)
            if (xstring_match(key, candidate.entries[e].key))
                return &candidate.entries[e];
    }
    return nullptr;
}

void put_time(const char *key) {
    std::time_t now = std::time(nullptr);
    const char *text = std::ctime(&now);
    config_put(time_header, key, text ? text : "unknown");
}

bool is_alias(const config_entry &entry, const char *buffer) {
    return entry.value != null_value && entry.key[0] && xstring_match(entry.key, encapsulate) &&
           std::strstr(buffer, entry.key);
}

// The first alias entry, in file order, whose key occurs in the buffer.
const config_entry *find_alias(const char *buffer) {
    for (std::int32_t h = 0; h < config.header_count; ++h) {
        const config_header &header = config.headers[h];
        for (std::int32_t e = 0; e < header.entry_count; ++e)
            if (is_alias(header.entries[e], buffer))
                return &header.entries[e];
    }
    return nullptr;
}

// Texts with blanks are written in quotes, and so are empty texts and texts
// holding "#", which would otherwise come back cut short at the comment
// without any message.  Other single-character tokens ("=", ",", brackets)
// are written bare: such a value does not read back as one token, and the
// next load stops with an error naming the line.  A quote inside a quoted
// text cannot be written; it becomes an apostrophe.
std::string written(const char *text) {
    if (*text && !std::strpbrk(text, " \t#"))
        return text;
    std::string quoted = "\"";
    for (const char *c = text; *c; ++c)
        quoted.push_back(*c == '"' ? '\'' : *c);
    return quoted + "\"";
}

bool write_notes() {
    const char *start = parse_comment_start();
    const char *end = parse_comment_end();
    return parse_write(1, "%s notes : (1) %s", start, end) &&
           parse_write(1, "%s             keys encapsulated within %s format are treated %s", start,
                       encapsulate, end) &&
           parse_write(1, "%s             by the application as expandable strings. %s", start,
                       end) &&
           parse_write(1, "%s         (2) %s", start, end) &&
           parse_write(2, "%s             'null' assigned keys will use default values", start);
}

bool write_header(const config_header &header) {
    if (!parse_write(2, "[%s] (%d %s)", written(header.name).c_str(), header.entry_count,
                     header.entry_count == 1 ? "entry" : "entries"))
        return false;
    int width = 0;
    for (std::int32_t e = 0; e < header.entry_count; ++e)
        width = std::max(width, static_cast<int>(written(header.entries[e].key).size()));
    for (std::int32_t e = 0; e < header.entry_count; ++e) {
        const config_entry &entry = header.entries[e];
        const char *value = entry.value; // the null constant writes as its own word
        if (!parse_write(1, "%-*s = %s", width, written(entry.key).c_str(),
                         entry.value == null_value ? value : written(value).c_str()))
            return false;
    }
    return parse_write(1, nullptr);
}

bool write_file(const char *name) {
    if (!parse_write(2, "<configuration file for %s, %d header(s)>", written(name).c_str(),
                     config.header_count) ||
        !write_notes())
        return false;
    for (std::int32_t h = 0; h < config.header_count; ++h)
        if (!write_header(config.headers[h]))
            return false;
    return parse_write(1, "<eof>") != 0;
}

} // namespace

int config_load(const char *name) {
    std::string default_name = join(application_name, ".", ext_concat);
    xfree_ptr<char> path(find_file(name ? name : default_name.c_str()));
    if (!path || !load_it(path.get()))
        return 0;
    active = 1;
    put_time("last.loadtime");
    return 1;
}

int config_active() {
    return active;
}

const char *config_get(const char *header, const char *key, std::uint32_t type, std::uint32_t size,
                       void *destination) {
    if (!active) {
        XWARNING("trying to get key '%s' from configuration while not active", key);
        return nullptr;
    }
    const config_entry *entry = key ? find_entry(header, key) : nullptr;
    if (!entry || entry->value == null_value)
        return nullptr;
    if (destination)
        dtype_scanin(type, entry->value, destination, size);
    return entry->value;
}

int config_put(const char *header, const char *key, const char *value) {
    const char *shown_header = header ? header : "none";
    if (!active) {
        XWARNING("trying to put key '%s' (header = '%s') to configuration while not active", key,
                 shown_header);
        return 0;
    }
    config_entry *entry = key ? find_entry(header, key) : nullptr;
    if (!entry) {
        XWARNING("trying to put key '%s' (header = '%s') to configuration while key does not "
                 "exist",
                 key, shown_header);
        return 0;
    }
    char *copy = value ? xstrdup(value) : null_value;
    free_value(entry->value);
    entry->value = copy;
    config.changed = 1;
    return 1;
}

char *config_alias(const char *text) {
    if (!text) {
        XERROR("xassert(%s) failed", "text");
        return nullptr;
    }
    if (!active) {
        XWARNING("trying to get alias '%s' from configuration while not active, returning '%s'",
                 text, text);
        return xstrdup(text);
    }
    char buffer[alias_buffer_size];
    if (std::strlen(text) >= sizeof buffer) {
        XERROR("alias source '%s' is too long, maximum is %d characters", text,
               static_cast<int>(sizeof buffer - 1));
        return nullptr;
    }
    std::strcpy(buffer, text);
    // Every expansion restarts the walk: values may hold further aliases.
    for (int expansions = 0;; ++expansions) {
        const config_entry *alias = find_alias(buffer);
        if (!alias)
            return xstrdup(buffer);
        if (expansions == alias_expansion_limit ||
            xstring_sub(buffer, alias->key, alias->value, sizeof buffer) < 0) {
            XERROR("alias string substitution '%s' failed for %s", alias->key, buffer);
            return nullptr;
        }
    }
}

int config_save(const char *name) {
    if (!active) {
        XWARNING("trying to save configuration while not active");
        return 0;
    }
    put_time("last.savetime");
    const char *target = name ? name : config.filename;
    stream_ptr stream(xfopen(target, "w"));
    if (!stream) {
        XERROR("xassert(%s) failed", "stream");
        return 0;
    }
    bool written_whole;
    {
        parse_binding binding(stream.get());
        written_whole = write_file(target);
    }
    if (written_whole)
        config.changed = 0;
    if (xfclose(stream.release()) == EOF) {
        XERROR("xassert(%s) failed", "EOF != xfclose(stream)");
        return 0;
    }
    return written_whole ? 1 : 0;
}

void config_unload() {
    if (!active) {
        XWARNING("trying to unload configuration while not active");
        return;
    }
    // Released also when the save reports an error that returns or unwinds.
    struct release {
        ~release() {
            free_record(config);
            active = 0;
        }
    } released;
    if (config.changed)
        config_save(nullptr);
}
