// "nullio": the null device.  Reads give zeros and never end, writes vanish.
// Its access check declines every file, so it serves only when forced.
#include "file/streamio/drivers.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

static constexpr const char *source_file = "./src/file/streamio/nullio.c";

namespace {

// A handle that is not null and never dereferenced.
void *const null_device = reinterpret_cast<void *>(static_cast<std::intptr_t>(-1));

int access(const char *, const char *) {
    return 0;
}

streamio_stream *give(streamio_stream *stream) {
    return stream;
}

void *open(const char *, const char *, streamio_stream *stream) {
    stream->private_word = 0; // the dummy word the device keeps
    return null_device;
}

int succeed(streamio_stream *) {
    return 0;
}
int null_seek(streamio_stream *, long, int) {
    return 0;
}
long null_tell(streamio_stream *) {
    return 0;
}
void null_rewind(streamio_stream *) {}

char *null_gets(char *text, int size, streamio_stream *) {
    if (!text || size <= 0)
        return nullptr;
    std::memset(text, 0, static_cast<std::size_t>(size));
    return text;
}

int null_puts(const char *, streamio_stream *) {
    return 0;
}

std::size_t null_read(void *data, std::size_t size, std::size_t count, streamio_stream *) {
    if (!data || !size || count > SIZE_MAX / size)
        return 0;
    std::memset(data, 0, size * count);
    return count;
}

std::size_t null_write(const void *, std::size_t, std::size_t count, streamio_stream *) {
    return count;
}

int null_getc(streamio_stream *) {
    return 0;
}
int null_putc(int character, streamio_stream *) {
    return static_cast<unsigned char>(character);
}

int null_ungetc(int character, streamio_stream *) {
    return character == EOF ? EOF : static_cast<unsigned char>(character);
}

int null_scanf(streamio_stream *, const char *, std::va_list) {
    return 0;
}

// The count a real device would have taken.
int null_printf(streamio_stream *, const char *format, std::va_list args) {
    return format ? std::vsnprintf(nullptr, 0, format, args) : -1;
}

} // namespace

streamio_driver nullio_driver = {
    .next = nullptr,
    .hash = 0,
    .name = "nullio",
    .version = "1.0 alpha",
    .source_file = source_file,
    .comment = "null-device driver",
    .modes = "rwa",
    .buffering = 0,
    .init = nullptr,
    .faccess = access,
    .freturn = give,
    .fopen = open,
    .fclose = succeed,
    .feof = succeed,
    .ferror = succeed,
    .fflush = succeed,
    .fseek = null_seek,
    .ftell = null_tell,
    .rewind = null_rewind,
    .fgets = null_gets,
    .fputs = null_puts,
    .fread = null_read,
    .fwrite = null_write,
    .fgetc = null_getc,
    .fputc = null_putc,
    .ungetc = null_ungetc,
    .vfscanf = null_scanf,
    .vfprintf = null_printf,
};
