#include "file/parse.h"

#include "core/message.h"
#include "core/xstring.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

static constexpr const char *source_file = "./src/file/parse.c";
static constexpr const char *source_ident = "parse";

namespace {

enum class token_kind {
    end,        // nothing left on the line
    word,       // a run of ordinary characters
    quoted,     // a text between double quotes, quotes removed
    single,     // one of the single-character tokens
    open_quote, // a quote without its closing partner
};

// The reader's state: one file at a time.
struct parse_state {
    const char *name = "<none>";
    streamio_stream *stream = nullptr;
    int line = 0;
    bool after_return = false; // the last line ended with CR: an LF may follow
    char buffer[PARSE_BUFFER_SIZE] = {};
    std::string token;
    const char *cursor = buffer;
};

parse_state parse;

bool is_single(int c) {
    return c && std::strchr("#(),<=>[]{}", c) != nullptr;
}
bool is_blank(int c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Takes the next token from `cursor` and moves the cursor past it.
token_kind extract_token(const char *&cursor, std::string &token) {
    token.clear();
    while (is_blank(*cursor))
        ++cursor;
    if (!*cursor)
        return token_kind::end;
    if (is_single(*cursor)) {
        token.assign(1, *cursor++);
        return token_kind::single;
    }
    if (*cursor != '"') {
        while (*cursor && !is_blank(*cursor) && !is_single(*cursor) && *cursor != '"')
            token.push_back(*cursor++);
        if (*cursor != '"')
            return token_kind::word;
        // A quote inside a word starts a quoted token; the word so far is dropped.
        token.clear();
    }
    const char *close = std::strchr(cursor + 1, '"');
    if (!close) {
        cursor += std::strlen(cursor);
        return token_kind::open_quote;
    }
    token.assign(cursor + 1, close);
    cursor = close + 1;
    return token_kind::quoted;
}

enum class line_result { read, end_of_file, failed };

// Reads the next line into the buffer (line end kept out).  Lines end with
// LF, CR LF or a lone CR: a carriage return never reaches a token, so no text
// read can hold one that the writer would then drop.  A UTF-8 byte order
// mark at the start of the file is skipped: editors add it silently.
line_result read_line() {
    int length = 0;
    int c = xfgetc(parse.stream);
    if (c == '\n' && parse.after_return)
        c = xfgetc(parse.stream); // the LF of a CR LF pair
    parse.after_return = false;
    if (c == EOF)
        return line_result::end_of_file;
    ++parse.line;
    for (; c != EOF && c != '\n' && c != '\r'; c = xfgetc(parse.stream)) {
        if (c == 0) {
            XERROR("unexpected NUL byte in file(%s) at line %d", parse.name, parse.line);
            return line_result::failed;
        }
        if (length == PARSE_LINE_MAX) {
            XERROR("line too long in file(%s) at line %d, maximum is %d characters", parse.name,
                   parse.line, PARSE_LINE_MAX);
            return line_result::failed;
        }
        parse.buffer[length++] = static_cast<char>(c);
    }
    parse.after_return = c == '\r';
    parse.buffer[length] = '\0';
    parse.cursor = parse.buffer;
    if (parse.line == 1 && std::strncmp(parse.buffer, "\xEF\xBB\xBF", 3) == 0)
        parse.cursor += 3;
    return line_result::read;
}

enum class read_result { token, end_of_file, failed };

// The next token of the file; end of line and comments move on to the next
// line that holds a token.
read_result read_next_token() {
    for (;;) {
        token_kind kind = extract_token(parse.cursor, parse.token);
        if (kind == token_kind::open_quote) {
            XERROR("unexpected end of string in file(%s) at line %d", parse.name, parse.line);
            return read_result::failed;
        }
        bool comment = kind == token_kind::single && parse.token == "#";
        if (kind != token_kind::end && !comment)
            return read_result::token;
        switch (read_line()) {
        case line_result::read:
            break;
        case line_result::end_of_file:
            parse.token.clear();
            return read_result::end_of_file;
        case line_result::failed:
            return read_result::failed;
        }
    }
}

enum class directive { text, signed_int, unsigned_int, signed_long, unsigned_long, real, none };

// Directives are found by prefix, in this order.
directive find_directive(const std::string &token) {
    static constexpr struct {
        const char *prefix;
        directive kind;
    } table[] = {
        {"%s", directive::text},           {"%d", directive::signed_int},
        {"%x", directive::signed_int},     {"%u", directive::unsigned_int},
        {"%ld", directive::signed_long},   {"%lx", directive::signed_long},
        {"%lu", directive::unsigned_long}, {"%lf", directive::real},
    };
    for (const auto &row : table)
        if (token.compare(0, std::strlen(row.prefix), row.prefix) == 0)
            return row.kind;
    return directive::none;
}

// Converts the file's token for one directive into the next argument.
bool store(directive kind, const char *format, const std::string &token, std::va_list &args) {
    const char *text = token.c_str();
    int ok = 1;
    const char *invalid = nullptr;
    switch (kind) {
    case directive::text:
        std::memcpy(va_arg(args, char *), text, token.size() + 1);
        return true;
    case directive::signed_int:
        *va_arg(args, int *) = xatoi(text, &ok);
        invalid = "'%s' is not a valid signed integer (file %s, line %d)";
        break;
    case directive::unsigned_int:
        *va_arg(args, unsigned *) = xatoui(text, &ok);
        invalid = "'%s' is not a valid unsigned integer (file %s, line %d)";
        break;
    case directive::signed_long:
        *va_arg(args, long *) = xatol(text, &ok);
        invalid = "'%s' is not a valid signed long integer (file %s, line %d)";
        break;
    case directive::unsigned_long:
        *va_arg(args, unsigned long *) = xatoul(text, &ok);
        invalid = "'%s' is not a valid unsigned long integer (file %s, line %d)";
        break;
    case directive::real:
        *va_arg(args, double *) = static_cast<double>(xatold(text, &ok));
        invalid = "'%s' is not a valid floating point value (file %s, line %d)";
        break;
    case directive::none:
        XERROR("failed to parse format token from (source='%s' target ='%s')", format, text);
        return false;
    }
    if (!ok) {
        XERROR(invalid, text, parse.name, parse.line);
        return false;
    }
    return true;
}

bool is_directive(const std::string &token) {
    return token.size() > 1 && token[0] == '%' && token[1] != '%';
}

bool bound() {
    if (parse.stream)
        return true;
    XERROR("xassert(%s) failed", "parse.stream");
    return false;
}

bool write_newlines(int count) {
    for (int i = 0; i < count; ++i) {
        if (xfputc('\n', parse.stream) == EOF)
            return false;
        ++parse.line;
    }
    return true;
}

// Removes the first occurrence of `c`, if any.
void erase_first(char *text, char c) {
    if (char *found = std::strchr(text, c))
        std::memmove(found, found + 1, std::strlen(found + 1) + 1);
}

} // namespace

void parse_init(streamio_stream *stream) {
    parse.stream = stream;
    parse.name = stream && stream->name ? stream->name : "<none>";
    parse.line = 0;
    parse.after_return = false;
    parse.buffer[0] = '\0';
    parse.cursor = parse.buffer;
    parse.token.clear();
}

void parse_deinit() {
    parse.stream = nullptr;
    parse.name = "<none>";
    parse.buffer[0] = '\0';
    parse.cursor = parse.buffer;
}

int parse_read(const char *format, ...) {
    if (!format) {
        XERROR("xassert(%s) failed", "format");
        return 0;
    }
    if (!bound())
        return 0;
    std::va_list args;
    va_start(args, format);
    const char *cursor = format;
    std::string expected;
    int result = 1;
    for (token_kind kind; (kind = extract_token(cursor, expected)) != token_kind::end;) {
        if (kind == token_kind::open_quote) {
            XERROR("xassert(%s) failed", "closing quote in format");
            result = 0;
            break;
        }
        read_result got = read_next_token();
        if (got == read_result::end_of_file)
            XERROR("unexpected end of file '%s' at line %d", parse.name, parse.line);
        if (got != read_result::token) {
            result = 0;
            break;
        }
        if (is_directive(expected)) {
            if (!store(find_directive(expected), format, parse.token, args)) {
                result = 0;
                break;
            }
        } else if (expected != parse.token) {
            XERROR("expecting '%s' instead of '%s' (file %s, line %d)", expected.c_str(),
                   parse.token.c_str(), parse.name, parse.line);
            result = 0;
            break;
        }
    }
    va_end(args);
    return result;
}

int parse_write(int lines, const char *format, ...) {
    if (!bound())
        return 0;
    if (lines < 0)
        return write_newlines(-lines) ? 1 : 0;
    if (format) {
        char text[PARSE_BUFFER_SIZE];
        std::va_list args;
        va_start(args, format);
        int length = std::vsnprintf(text, sizeof text, format, args);
        va_end(args);
        if (length < 0 || length >= PARSE_BUFFER_SIZE) {
            XERROR("line too long for file(%s) at line %d, maximum is %d characters", parse.name,
                   parse.line + 1, PARSE_LINE_MAX);
            return 0;
        }
        erase_first(text, '\n');
        erase_first(text, '\r');
        if (xfputs(text, parse.stream) == EOF)
            return 0;
    }
    return write_newlines(lines) ? 1 : 0;
}

int parse_line() {
    return parse.line;
}
const char *parse_name() {
    return parse.name;
}

const char *parse_comment_start() {
    return "#";
}
const char *parse_comment_end() {
    return "";
}
