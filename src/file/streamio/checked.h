// Pieces shared by the stream drivers that sit on a C stream: the overwrite
// question of the checked drivers and the C-stream operations with a per-driver
// failure policy; also the body of the network placeholders.  Each driver keeps its own
// `overwrite_guard` (its sticky answers) and its own `cstream_policy`; the code lives here once.
#pragma once

#include "file/streamio/streamio.h"

#include <cstdio>

// The sticky answers of one checked driver; all 0 at start.
struct overwrite_guard {
    const char *driver_name; // shown in the question
    const char *source_file; // the driver's, for the question's source position
    const char *source_ident;
    int always; // "always": overwrite without asking
    int never;  // "never": decline without asking
    int aback;  // "always backup and overwrite"
};

// The access check every checked driver uses: appends are accepted, read and
// update modes when the file can be read, a write of a new file at once, and a
// write over an existing file after the question "%s: overwrite file '%s' ?".
int streamio_overwrite_access(overwrite_guard &guard, const char *name, const char *mode);

enum class io_report { none, warning, error };

// How a driver on a C stream reports failed operations.
struct cstream_policy {
    const char *source_file;
    const char *source_ident;
    const char *prefix; // put before the operation's name ("secureio ")
    io_report failures; // failed operations
    io_report close_failure;
    io_report short_read;   // fread returning fewer items than asked
    bool short_read_at_end; // false: a short read is a failure only when the stream has an error
};

// Reports "<prefix><operation>() IO failure on file %s(%s)" on the channel.
void cstream_report(const cstream_policy &policy, io_report level, int line, const char *operation,
                    const streamio_stream *stream);
// Reports "ungetc() called on invalid stream" on the policy's failure channel.
void cstream_report_invalid_ungetc(const cstream_policy &policy, int line);

// The operations of a driver whose handle is a C stream, reporting by `policy`.
// A stream without a handle is refused with a failure value, never passed on.
template <const cstream_policy &policy> struct cstream_ops {
    static std::FILE *file(const streamio_stream *stream) {
        return static_cast<std::FILE *>(stream->handle);
    }

    static bool usable(const streamio_stream *stream, const char *operation) {
        if (stream->handle)
            return true;
        cstream_report(policy, policy.failures, __LINE__, operation, stream);
        return false;
    }

    static streamio_stream *freturn(streamio_stream *stream) { return stream; }

    static int fclose(streamio_stream *stream) {
        if (!usable(stream, "fclose"))
            return EOF;
        int result = std::fclose(file(stream));
        stream->handle = nullptr;
        if (result == EOF)
            cstream_report(policy, policy.close_failure, __LINE__, "fclose", stream);
        return result;
    }

    static int feof(streamio_stream *stream) {
        return usable(stream, "feof") ? std::feof(file(stream)) : 1;
    }

    static int ferror(streamio_stream *stream) {
        return usable(stream, "ferror") ? std::ferror(file(stream)) : 1;
    }

    static int fflush(streamio_stream *stream) {
        if (!usable(stream, "fflush"))
            return EOF;
        int result = std::fflush(file(stream));
        if (result == EOF)
            cstream_report(policy, policy.failures, __LINE__, "fflush", stream);
        return result;
    }

    static int fseek(streamio_stream *stream, long offset, int whence) {
        if (!usable(stream, "fseek"))
            return -1;
        int result = std::fseek(file(stream), offset, whence);
        if (result != 0)
            cstream_report(policy, policy.failures, __LINE__, "fseek", stream);
        return result;
    }

    static long ftell(streamio_stream *stream) {
        if (!usable(stream, "ftell"))
            return -1L;
        long result = std::ftell(file(stream));
        if (result < 0)
            cstream_report(policy, policy.failures, __LINE__, "ftell", stream);
        return result;
    }

    static void rewind(streamio_stream *stream) {
        if (usable(stream, "rewind"))
            std::rewind(file(stream));
    }

    // End of file is an answer, not a failure: only the error flag counts.
    static char *fgets(char *text, int size, streamio_stream *stream) {
        if (!usable(stream, "fgets") || !text || size <= 0)
            return nullptr;
        char *result = std::fgets(text, size, file(stream));
        if (!result && std::ferror(file(stream)))
            cstream_report(policy, policy.failures, __LINE__, "fgets", stream);
        return result;
    }

    static int fputs(const char *text, streamio_stream *stream) {
        if (!usable(stream, "fputs") || !text)
            return EOF;
        int result = std::fputs(text, file(stream));
        if (result == EOF)
            cstream_report(policy, policy.failures, __LINE__, "fputs", stream);
        return result;
    }

    static std::size_t fread(void *data, std::size_t size, std::size_t count,
                             streamio_stream *stream) {
        if (!usable(stream, "fread") || !data)
            return 0;
        std::size_t result = std::fread(data, size, count, file(stream));
        if (result < count && size && (policy.short_read_at_end || std::ferror(file(stream))))
            cstream_report(policy, policy.short_read, __LINE__, "fread", stream);
        return result;
    }

    static std::size_t fwrite(const void *data, std::size_t size, std::size_t count,
                              streamio_stream *stream) {
        if (!usable(stream, "fwrite") || !data)
            return 0;
        std::size_t result = std::fwrite(data, size, count, file(stream));
        if (result < count && size)
            cstream_report(policy, policy.failures, __LINE__, "fwrite", stream);
        return result;
    }

    static int fgetc(streamio_stream *stream) {
        if (!usable(stream, "fgetc"))
            return EOF;
        int result = std::fgetc(file(stream));
        if (result == EOF && std::ferror(file(stream)))
            cstream_report(policy, policy.failures, __LINE__, "fgetc", stream);
        return result;
    }

    static int fputc(int character, streamio_stream *stream) {
        if (!usable(stream, "fputc"))
            return EOF;
        int result = std::fputc(character, file(stream));
        if (result == EOF)
            cstream_report(policy, policy.failures, __LINE__, "fputc", stream);
        return result;
    }

    static int ungetc(int character, streamio_stream *stream) {
        if (!stream->handle) {
            if (*policy.prefix)
                cstream_report(policy, policy.failures, __LINE__, "ungetc", stream);
            else
                cstream_report_invalid_ungetc(policy, __LINE__);
            return EOF;
        }
        int result = std::ungetc(character, file(stream));
        if (result == EOF && character != EOF)
            cstream_report(policy, policy.failures, __LINE__, "ungetc", stream);
        return result;
    }

    static int vfscanf(streamio_stream *stream, const char *format, std::va_list args) {
        if (!usable(stream, "vfscanf") || !format)
            return EOF;
        int result = std::vfscanf(file(stream), format, args);
        if (result == EOF && std::ferror(file(stream)))
            cstream_report(policy, policy.failures, __LINE__, "vfscanf", stream);
        return result;
    }

    static int vfprintf(streamio_stream *stream, const char *format, std::va_list args) {
        if (!usable(stream, "vfprintf") || !format)
            return -1;
        int result = std::vfprintf(file(stream), format, args);
        if (result < 0)
            cstream_report(policy, policy.failures, __LINE__, "vfprintf", stream);
        return result;
    }
};

// Fills the operation slots of a driver descriptor from `cstream_ops<policy>`;
// used inside a designated initializer after `.fopen`.
#define CSTREAM_OPERATIONS(ops)                                                                    \
    .fclose = ops::fclose, .feof = ops::feof, .ferror = ops::ferror, .fflush = ops::fflush,        \
    .fseek = ops::fseek, .ftell = ops::ftell, .rewind = ops::rewind, .fgets = ops::fgets,          \
    .fputs = ops::fputs, .fread = ops::fread, .fwrite = ops::fwrite, .fgetc = ops::fgetc,          \
    .fputc = ops::fputc, .ungetc = ops::ungetc, .vfscanf = ops::vfscanf, .vfprintf = ops::vfprintf

// A network placeholder: its access check warns with `message` (one "%s", the
// file name) and declines; it never opens anything.
struct placeholder_policy {
    const char *source_file;
    const char *source_ident;
    int line; // where the driver states its message
    const char *message;
};

// Reports the policy's warning for `name`; always 0.
int placeholder_report(const placeholder_policy &policy, const char *name);

template <const placeholder_policy &policy> struct placeholder_ops {
    // A warning, not an error: offering a file to a driver that cannot serve
    // it is not a reason to end the program.
    static int access(const char *name, const char *) { return placeholder_report(policy, name); }
    static void *open(const char *, const char *, streamio_stream *) { return nullptr; }
};
