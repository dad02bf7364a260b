// "single-file-cacheio": the whole file lives in memory while it is open.
// Opening for reading (or update) reads the file at once and every later
// read, seek and tell is served from memory; writes change the memory copy,
// which is written back to the file at close when anything was written.  A
// write mode truncates (or creates) the file at open, as the C library does,
// so a file that cannot be written fails at open rather than at close.
// The stream is a C stream over the memory copy, so every operation behaves
// as on a real file.  The access check declines every file: the driver serves
// only when forced with ";d=".
#include "file/streamio/checked.h"
#include "file/streamio/drivers.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

static constexpr const char *source_file = "./src/file/streamio/single_file_cacheio.c";
static constexpr const char *source_ident = "streamio::single-file-cache";

namespace {

constexpr cstream_policy policy = {
    .source_file = source_file,
    .source_ident = source_ident,
    .prefix = "",
    .failures = io_report::warning,
    .close_failure = io_report::warning,
    .short_read = io_report::none,
    .short_read_at_end = false,
};
using ops = cstream_ops<policy>;

struct memory_file {
    std::string path;
    std::vector<char> data;
    std::size_t position = 0;
    bool append = false; // every write goes to the end
    bool dirty = false;
};

struct file_closer {
    void operator()(std::FILE *stream) const { std::fclose(stream); }
};
using c_file = std::unique_ptr<std::FILE, file_closer>;

bool load(const char *name, std::vector<char> &data) {
    c_file input(std::fopen(name, "rb"));
    if (!input)
        return false;
    char chunk[16384];
    for (std::size_t got; (got = std::fread(chunk, 1, sizeof chunk, input.get())) > 0;)
        data.insert(data.end(), chunk, chunk + got);
    return !std::ferror(input.get());
}

bool can_write(const char *name, const char *mode) {
    c_file output(std::fopen(name, mode));
    return output != nullptr;
}

ssize_t cache_read(void *cookie, char *buffer, std::size_t size) {
    auto *file = static_cast<memory_file *>(cookie);
    if (file->position >= file->data.size())
        return 0;
    std::size_t count = std::min(size, file->data.size() - file->position);
    std::memcpy(buffer, file->data.data() + file->position, count);
    file->position += count;
    return static_cast<ssize_t>(count);
}

ssize_t cache_write(void *cookie, const char *buffer, std::size_t size) {
    auto *file = static_cast<memory_file *>(cookie);
    if (file->append)
        file->position = file->data.size();
    std::size_t end = file->position + size;
    if (end < file->position || end > static_cast<std::size_t>(PTRDIFF_MAX)) {
        errno = EFBIG;
        return 0;
    }
    try {
        if (end > file->data.size())
            file->data.resize(end); // a gap after a seek past the end reads as zeros
    } catch (const std::exception &) {
        errno = ENOMEM;
        return 0;
    }
    std::memcpy(file->data.data() + file->position, buffer, size);
    file->position = end;
    file->dirty = true;
    return static_cast<ssize_t>(size);
}

int cache_seek(void *cookie, off64_t *offset, int whence) {
    auto *file = static_cast<memory_file *>(cookie);
    off64_t base = whence == SEEK_SET   ? 0
                   : whence == SEEK_CUR ? static_cast<off64_t>(file->position)
                   : whence == SEEK_END ? static_cast<off64_t>(file->data.size())
                                        : -1;
    if (base < 0 || (*offset < 0 && base + *offset < 0) ||
        (*offset > 0 && *offset > PTRDIFF_MAX - base)) {
        errno = EINVAL;
        return -1;
    }
    file->position = static_cast<std::size_t>(base + *offset);
    *offset = base + *offset;
    return 0;
}

int cache_close(void *cookie) {
    std::unique_ptr<memory_file> file(static_cast<memory_file *>(cookie));
    if (!file->dirty)
        return 0;
    c_file output(std::fopen(file->path.c_str(), "wb"));
    if (!output)
        return -1;
    bool written = file->data.empty() ||
                   std::fwrite(file->data.data(), file->data.size(), 1, output.get()) == 1;
    return written && std::fclose(output.release()) == 0 ? 0 : -1;
}

int access(const char *, const char *) {
    return 0;
}

void *open(const char *name, const char *mode, streamio_stream *) {
    auto file = std::unique_ptr<memory_file>(new (std::nothrow) memory_file);
    if (!file)
        return nullptr;
    try {
        file->path = name;
        if (mode[0] == 'r' && !load(name, file->data))
            return nullptr;
        if (mode[0] == 'w' && !can_write(name, "wb"))
            return nullptr;
        if (mode[0] == 'a') {
            if (!can_write(name, "ab") || !load(name, file->data))
                return nullptr;
            file->append = true;
        }
    } catch (const std::exception &) {
        return nullptr;
    }
    cookie_io_functions_t functions = {cache_read, cache_write, cache_seek, cache_close};
    std::FILE *stream = fopencookie(file.get(), mode, functions);
    if (stream)
        file.release(); // the stream's close frees it
    return stream;
}

} // namespace

streamio_driver single_file_cacheio_driver = {
    .next = nullptr,
    .hash = 0,
    .name = "single-file-cacheio",
    .version = "1.0 alpha",
    .source_file = source_file,
    .comment = "single file read & write cache",
    .modes = "rwa",
    .buffering = 0,
    .init = nullptr,
    .faccess = access,
    .freturn = ops::freturn,
    .fopen = open,
    CSTREAM_OPERATIONS(ops),
};
