// The stream layer: every file the program touches is opened with `xfopen`
// and used through the x-prefixed wrappers below instead of the C library's
// stdio calls.  Each open expands configuration aliases in the name
// ("$path.tmp$/x"), picks a stream driver (forced by the mode, offered by the
// drivers themselves newest first, or the default) and records the file in a
// table that catches double opens and files never closed.
//
// Ownership and results:
// - `internal_xfopen` returns a stream record owned by the layer, or null when
//   the file could not be opened (a warning says why).  Close it with
//   `xfclose`, which frees the record and returns the driver's close result
//   (-1 when the stream was not in the open table).
// - Drivers are static records owned by their modules; they are registered by
//   pointer once at start-up and never unregistered.
// - The wrappers hand their arguments unchanged to the stream's driver and
//   return its result; a null stream or a driver without the operation gives
//   the C library's failure value (EOF, 0, null, -1).
//
// Mode texts are C modes ("r", "wb", "r+b", ...) optionally followed by
// attributes: ";b=<size>" asks for a character buffer of that size, and
// ";d=<driver>" forces a driver by name ("rb;d=saferio").  The names
// "<stderr>", "<stdout>" (mode "w") and "<stdin>" (mode "r") give the process's
// standard streams.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <memory>

struct streamio_stream;

// A stream driver.  The operations take the same arguments as their C library
// namesakes with the stream record in place of the C stream.  Slots a driver
// lacks stay null.
struct streamio_driver {
    streamio_driver *next; // set by registration
    std::uint32_t hash;    // hash_string(name), set by registration
    const char *name;
    const char *version;
    const char *source_file;
    const char *comment;
    const char *modes;      // accepted letters among "rwa"; null accepts none
    std::int32_t buffering; // nonzero when a ";b=" character buffer may be installed
    int (*init)();          // optional, nonzero on success; called once at registration
    int (*faccess)(const char *name, const char *mode); // nonzero: wants to serve this file
    streamio_stream *(*freturn)(streamio_stream *stream);
    void *(*fopen)(const char *name, const char *mode, streamio_stream *stream);
    int (*fclose)(streamio_stream *stream);
    int (*feof)(streamio_stream *stream);
    int (*ferror)(streamio_stream *stream);
    int (*fflush)(streamio_stream *stream);
    int (*fseek)(streamio_stream *stream, long offset, int whence);
    long (*ftell)(streamio_stream *stream);
    void (*rewind)(streamio_stream *stream);
    char *(*fgets)(char *text, int size, streamio_stream *stream);
    int (*fputs)(const char *text, streamio_stream *stream);
    std::size_t (*fread)(void *data, std::size_t size, std::size_t count, streamio_stream *stream);
    std::size_t (*fwrite)(const void *data, std::size_t size, std::size_t count,
                          streamio_stream *stream);
    int (*fgetc)(streamio_stream *stream);
    int (*fputc)(int character, streamio_stream *stream);
    int (*ungetc)(int character, streamio_stream *stream);
    int (*vfscanf)(streamio_stream *stream, const char *format, std::va_list args);
    int (*vfprintf)(streamio_stream *stream, const char *format, std::va_list args);
};

// An open stream, allocated by `internal_xfopen` and freed by `xfclose`.
struct streamio_stream {
    char *name;                  // owned; aliases expanded, host separators
    char *mode;                  // owned; the mode cut at its first ';'
    void *handle;                // what the driver's fopen returned, or a standard stream
    std::uintptr_t private_word; // the driver's own, zero at open
    char *buffer;                // owned ";b=" character buffer, or null
    std::uint32_t buffer_size;   // 0 for none
    const char *source_file;     // the opener's, not owned
    std::int32_t source_line;
    streamio_driver *driver;
};

streamio_stream *internal_xfopen(const char *source_file, int source_line, const char *name,
                                 const char *mode);
// Callers name their own module: every module declares `source_file` at file
// scope.  Code without one calls internal_xfopen(__FILE__, __LINE__, ...).
#define xfopen(name, mode) internal_xfopen(source_file, __LINE__, (name), (mode))

int xfclose(streamio_stream *stream);

// Owner of an open stream: closes it with xfclose when it goes out of scope,
// so that an error unwinding through the code that uses it leaves nothing in
// the open table.  The close's result is lost (and a report it raises while
// an error unwinds goes no further); code that must hear of a failed close
// releases the stream and closes it itself.
struct stream_closer {
    void operator()(streamio_stream *stream) const;
};
using stream_ptr = std::unique_ptr<streamio_stream, stream_closer>;
int xfeof(streamio_stream *stream);
int xferror(streamio_stream *stream);
int xfflush(streamio_stream *stream);
int xfseek(streamio_stream *stream, long offset, int whence);
long xftell(streamio_stream *stream);
void xrewind(streamio_stream *stream);
char *xfgets(char *text, int size, streamio_stream *stream);
int xfputs(const char *text, streamio_stream *stream);
std::size_t xfread(void *data, std::size_t size, std::size_t count, streamio_stream *stream);
std::size_t xfwrite(const void *data, std::size_t size, std::size_t count, streamio_stream *stream);
int xfgetc(streamio_stream *stream);
int xfputc(int character, streamio_stream *stream);
int xungetc(int character, streamio_stream *stream);
int xfscanf(streamio_stream *stream, const char *format, ...) __attribute__((format(scanf, 2, 3)));
int xfprintf(streamio_stream *stream, const char *format, ...)
    __attribute__((format(printf, 2, 3)));
int xvfscanf(streamio_stream *stream, const char *format, std::va_list args);
int xvfprintf(streamio_stream *stream, const char *format, std::va_list args);

// Puts the driver at the head of the list (so it is tried first), runs its
// init and fingerprints its name.  A duplicate name is a warning and ignored.
void streamio_register_driver(streamio_driver *driver);
// Sets the driver used when no other takes a file.  The first call also binds
// the standard streams, clears the open table and installs the exit check.
void streamio_set_defio(streamio_driver *driver);
// The first registered driver, newest first, whose name matches `name` both
// ways as a wildcard pattern; null when none.
streamio_driver *streamio_find_driver(const char *name);
// Prints every registered driver to the standard output.
void streamio_list_drivers();

// Mode tests for drivers: true for exactly "r"/"rb", "w"/"wb", "a"/"ab" (an
// attribute part after ';' is ignored); "+" modes are none of them.
int streamio_is_read(const char *mode);
int streamio_is_write(const char *mode);
int streamio_is_append(const char *mode);
// True when the mode has a 'b'.
int streamio_is_bin(const char *mode);

// Nonzero when the C library can open `name` in mode "rb".
int streamio_access(const char *name);

// The open table, by exact file name (after alias expansion): open now, opened
// and closed since, and the recorded mode (null when not in the table).
int streamio_otable_isopen(const char *name);
int streamio_otable_wasopen(const char *name);
const char *streamio_otable_mode(const char *name);

// Copies `name` byte by byte to "$path.bak$/<basename>".  Failures are errors;
// returns 1 when copied, 0 when an error was reported and returned.
int streamio_backup(const char *name);
// The same copy without any message: null on success, else a short reason.
const char *streamio_backup_quiet(const char *name);
