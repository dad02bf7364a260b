// Token reader and writer for the library's small text files (the
// configuration, the cookie index).  One stream at a time is bound with
// `parse_init` and released with `parse_deinit`; the stream stays the
// caller's (open and close it yourself).
//
// Reading: the file is a sequence of tokens.  Blanks, tabs and line ends
// separate tokens; each of  # ( ) , < = > [ ] { }  is a token by itself; a
// token in double quotes runs to the next quote on the same line; "#" starts a
// comment that runs to the end of its line.  `parse_read(format, ...)` splits
// `format` by the same rules and matches it token by token against the file:
// a directive ("%s", "%d", "%x", "%u", "%ld", "%lx", "%lu", "%lf") stores the
// file's token into the next argument (texts into a buffer of
// PARSE_BUFFER_SIZE bytes; numbers into int, unsigned, long, unsigned long or
// double), any other format token must equal the file's token.
// Returns 1 on success; on a mismatch it reports an error and returns 0.
//
// Lines are at most PARSE_LINE_MAX characters; a longer line, a NUL byte or a
// quote left open is an error naming the file and the line.
//
// Writing: `parse_write(lines, format, ...)` formats one line (its first line
// feed and first carriage return removed), then writes `lines` newlines; a
// null format writes only the newlines, a negative count writes -lines
// newlines and nothing else.  Returns 1 on success, 0 when the line did not
// fit (reported as an error).
#pragma once

#include "file/streamio/streamio.h"

inline constexpr int PARSE_BUFFER_SIZE = 4096;
inline constexpr int PARSE_LINE_MAX = PARSE_BUFFER_SIZE - 1;

void parse_init(streamio_stream *stream);
void parse_deinit();

int parse_read(const char *format, ...);
int parse_write(int lines, const char *format, ...) __attribute__((format(printf, 2, 3)));

// The line the reader or writer is at (lines counted from 1), and the name
// of the bound stream, for callers' own messages.
int parse_line();
const char *parse_name();

// Binds the reader to a stream for the lifetime of the guard; the binding is
// released also when an error target unwinds through the caller.
class parse_binding {
  public:
    explicit parse_binding(streamio_stream *stream) { parse_init(stream); }
    ~parse_binding() { parse_deinit(); }
    parse_binding(const parse_binding &) = delete;
    parse_binding &operator=(const parse_binding &) = delete;
};

// Writers put these around comment lines: "#" and "".
const char *parse_comment_start();
const char *parse_comment_end();
