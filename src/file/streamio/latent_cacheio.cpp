// "latent-cacheio": a block cache in front of a C stream.  The file is read
// in whole blocks of 4096 bytes (read-ahead) into a small fixed set of blocks
// per stream; writes only change the cached blocks, which reach the file when
// a block is evicted, on fflush and at close (write-behind).  Small reads and
// writes thus cost a memory copy instead of a system call.  The stream handed
// out is a C stream over the cache (unbuffered itself, the blocks are the
// buffer), so every operation behaves as on a real file.  The access check
// declines every file: the driver serves only when forced with ";d=".
#include "file/streamio/checked.h"
#include "file/streamio/drivers.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

static constexpr const char *source_file = "./src/file/streamio/latent_cacheio.c";
static constexpr const char *source_ident = "streamio::latent-cache";

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

constexpr long long block_size = 4096;
constexpr int block_count = 8;

struct cache_block {
    long long index = -1; // block number in the file, -1 when unused
    bool dirty = false;
    unsigned long long last_use = 0;
    char bytes[block_size];
};

struct latent_file {
    std::FILE *file = nullptr; // the file behind the cache, unbuffered
    long long size = 0;        // including bytes not yet written back
    long long position = 0;
    bool append = false;
    unsigned long long clock = 0;
    cache_block blocks[block_count];
};

bool write_back(latent_file &cache, cache_block &block) {
    if (!block.dirty)
        return true;
    long long start = block.index * block_size;
    long long length = std::min(block_size, cache.size - start);
    if (length > 0 && (fseeko64(cache.file, start, SEEK_SET) != 0 ||
                       std::fwrite(block.bytes, 1, static_cast<std::size_t>(length), cache.file) !=
                           static_cast<std::size_t>(length)))
        return false;
    block.dirty = false;
    return true;
}

bool write_back_all(latent_file &cache) {
    // In file order, so that a file grows front to back.
    cache_block *order[block_count];
    for (int slot = 0; slot < block_count; ++slot)
        order[slot] = &cache.blocks[slot];
    std::sort(order, order + block_count,
              [](const cache_block *a, const cache_block *b) { return a->index < b->index; });
    bool ok = true;
    for (cache_block *block : order)
        ok = write_back(cache, *block) && ok;
    return ok && std::fflush(cache.file) == 0;
}

// The cached block with this number, read from the file on a miss.  Bytes
// past the file's end read as zeros.
cache_block *fetch(latent_file &cache, long long index) {
    cache_block *victim = &cache.blocks[0];
    for (cache_block &block : cache.blocks) {
        if (block.index == index) {
            block.last_use = ++cache.clock;
            return &block;
        }
        if (block.last_use < victim->last_use)
            victim = &block;
    }
    if (!write_back(cache, *victim))
        return nullptr;
    std::memset(victim->bytes, 0, sizeof victim->bytes);
    if (fseeko64(cache.file, index * block_size, SEEK_SET) != 0)
        return nullptr;
    std::fread(victim->bytes, 1, sizeof victim->bytes, cache.file);
    if (std::ferror(cache.file)) {
        std::clearerr(cache.file);
        victim->index = -1;
        return nullptr;
    }
    victim->index = index;
    victim->last_use = ++cache.clock;
    return victim;
}

ssize_t cache_read(void *cookie, char *buffer, std::size_t size) {
    auto &cache = *static_cast<latent_file *>(cookie);
    std::size_t done = 0;
    while (done < size && cache.position < cache.size) {
        cache_block *block = fetch(cache, cache.position / block_size);
        if (!block)
            return done ? static_cast<ssize_t>(done) : -1;
        long long offset = cache.position % block_size;
        long long count = std::min({block_size - offset, cache.size - cache.position,
                                    static_cast<long long>(size - done)});
        std::memcpy(buffer + done, block->bytes + offset, static_cast<std::size_t>(count));
        done += static_cast<std::size_t>(count);
        cache.position += count;
    }
    return static_cast<ssize_t>(done);
}

ssize_t cache_write(void *cookie, const char *buffer, std::size_t size) {
    auto &cache = *static_cast<latent_file *>(cookie);
    if (cache.append)
        cache.position = cache.size;
    if (static_cast<unsigned long long>(size) > static_cast<unsigned long long>(INT64_MAX) ||
        cache.position > INT64_MAX - static_cast<long long>(size)) {
        errno = EFBIG;
        return 0;
    }
    std::size_t done = 0;
    while (done < size) {
        cache_block *block = fetch(cache, cache.position / block_size);
        if (!block) {
            errno = EIO;
            return static_cast<ssize_t>(done);
        }
        long long offset = cache.position % block_size;
        long long count = std::min(block_size - offset, static_cast<long long>(size - done));
        std::memcpy(block->bytes + offset, buffer + done, static_cast<std::size_t>(count));
        block->dirty = true;
        done += static_cast<std::size_t>(count);
        cache.position += count;
        cache.size = std::max(cache.size, cache.position);
    }
    return static_cast<ssize_t>(done);
}

int cache_seek(void *cookie, off64_t *offset, int whence) {
    auto &cache = *static_cast<latent_file *>(cookie);
    long long base = whence == SEEK_SET   ? 0
                     : whence == SEEK_CUR ? cache.position
                     : whence == SEEK_END ? cache.size
                                          : -1;
    if (base < 0 || (*offset < 0 && base + *offset < 0) ||
        (*offset > 0 && *offset > INT64_MAX - base)) {
        errno = EINVAL;
        return -1;
    }
    cache.position = base + *offset;
    *offset = cache.position;
    return 0;
}

int cache_close(void *cookie) {
    std::unique_ptr<latent_file> cache(static_cast<latent_file *>(cookie));
    bool ok = write_back_all(*cache);
    ok = std::fclose(cache->file) == 0 && ok;
    return ok ? 0 : -1;
}

// The mode of the file behind the cache: it is always read (blocks are
// completed from it before a partial write) and written at any offset, so
// appends are done by the cache, never by the C library.
const char *backing_mode(const char *name, const char *mode) {
    bool update = std::strchr(mode, '+') != nullptr;
    switch (mode[0]) {
    case 'r':
        return update ? "r+b" : "rb";
    case 'w':
        return "w+b";
    default:
        return streamio_access(name) ? "r+b" : "w+b";
    }
}

int access(const char *, const char *) {
    return 0;
}

void *open(const char *name, const char *mode, streamio_stream *stream) {
    auto cache = std::unique_ptr<latent_file>(new (std::nothrow) latent_file);
    if (!cache)
        return nullptr;
    cache->file = std::fopen(name, backing_mode(name, mode));
    if (!cache->file)
        return nullptr;
    std::setvbuf(cache->file, nullptr, _IONBF, 0);
    cache->size = fseeko64(cache->file, 0, SEEK_END) == 0 ? ftello64(cache->file) : -1;
    cache->append = mode[0] == 'a';
    cookie_io_functions_t functions = {cache_read, cache_write, cache_seek, cache_close};
    std::FILE *handle = cache->size < 0 ? nullptr : fopencookie(cache.get(), mode, functions);
    if (!handle) {
        std::fclose(cache->file);
        return nullptr;
    }
    std::setvbuf(handle, nullptr, _IONBF, 0);
    stream->private_word = reinterpret_cast<std::uintptr_t>(cache.release()); // freed by the close
    return handle;
}

// A flush also writes the dirty blocks back.  Standard streams have no cache.
int flush(streamio_stream *stream) {
    int result = ops::fflush(stream);
    if (auto *cache = reinterpret_cast<latent_file *>(stream->private_word);
        cache && !write_back_all(*cache)) {
        cstream_report(policy, policy.failures, __LINE__, "fflush", stream);
        return EOF;
    }
    return result;
}

} // namespace

streamio_driver latent_cacheio_driver = {
    .next = nullptr,
    .hash = 0,
    .name = "latent-cacheio",
    .version = "1.0 alpha",
    .source_file = source_file,
    .comment = "latent read cache for multiple files & multiple entries",
    .modes = "rwa",
    .buffering = 0,
    .init = nullptr,
    .faccess = access,
    .freturn = ops::freturn,
    .fopen = open,
    .fclose = ops::fclose,
    .feof = ops::feof,
    .ferror = ops::ferror,
    .fflush = flush,
    .fseek = ops::fseek,
    .ftell = ops::ftell,
    .rewind = ops::rewind,
    .fgets = ops::fgets,
    .fputs = ops::fputs,
    .fread = ops::fread,
    .fwrite = ops::fwrite,
    .fgetc = ops::fgetc,
    .fputc = ops::fputc,
    .ungetc = ops::ungetc,
    .vfscanf = ops::vfscanf,
    .vfprintf = ops::vfprintf,
};
