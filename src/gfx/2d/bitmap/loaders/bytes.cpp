#include "gfx/2d/bitmap/loaders/bytes.h"

#include "core/message.h"
#include "core/progress.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <new>
#include <string>

namespace {

// Large enough that a picture moves in few driver calls, small enough to keep
// a reader cheap for the 18-byte headers that most calls are about.
constexpr std::size_t block_size = 64 * 1024;

} // namespace

void remove_partial_file(const char *name) {
    std::error_code ignored;
    if (std::filesystem::is_regular_file(name, ignored))
        std::filesystem::remove(name, ignored);
}

// ---------------------------------------------------------------------------
// byte_reader

byte_reader::byte_reader(streamio_stream *stream) : stream_(stream) {
    long start = xftell(stream);
    if (start < 0 || xfseek(stream, 0, SEEK_END) != 0)
        return;
    long end = xftell(stream);
    if (xfseek(stream, start, SEEK_SET) != 0 || end < start)
        return;
    position_ = static_cast<std::uint64_t>(start);
    limit_ = std::min<std::uint64_t>(static_cast<std::uint64_t>(end), max_length);
    sized_ = true;
}

std::uint64_t byte_reader::remaining() const {
    return limit_ > position_ ? limit_ - position_ : 0;
}

bool byte_reader::fill() {
    if (head_ < tail_)
        return true;
    if (at_end_)
        return false;
    const auto want = static_cast<std::size_t>(std::min<std::uint64_t>(block_size, remaining()));
    if (want == 0)
        return false;
    buffer_.resize(block_size);
    head_ = 0;
    tail_ = xfread(buffer_.data(), 1, want, stream_);
    if (tail_ == 0) {
        at_end_ = true;
        return false;
    }
    return true;
}

int byte_reader::peek() {
    if (!fill())
        return -1;
    return buffer_[head_];
}

int byte_reader::getc() {
    if (!fill())
        return -1;
    ++position_;
    return buffer_[head_++];
}

std::uint8_t byte_reader::u8() {
    int value = getc();
    if (value < 0) {
        ok_ = false;
        return 0;
    }
    return static_cast<std::uint8_t>(value);
}

std::uint16_t byte_reader::le16() {
    std::uint8_t field[2];
    return read(field, sizeof field) ? get_le16(field) : 0;
}

std::uint32_t byte_reader::le32() {
    std::uint8_t field[4];
    return read(field, sizeof field) ? get_le32(field) : 0;
}

std::uint16_t byte_reader::be16() {
    std::uint8_t field[2];
    return read(field, sizeof field) ? get_be16(field) : 0;
}

std::uint32_t byte_reader::be32() {
    std::uint8_t field[4];
    return read(field, sizeof field) ? get_be32(field) : 0;
}

bool byte_reader::read(void *data, std::size_t count) {
    auto *out = static_cast<std::uint8_t *>(data);
    if (!has(count)) {
        ok_ = false;
        std::memset(out, 0, count);
        return false;
    }
    std::size_t done = 0;
    while (done < count) {
        if (!fill()) {
            std::memset(out + done, 0, count - done);
            ok_ = false;
            return false;
        }
        std::size_t step = std::min(count - done, tail_ - head_);
        std::memcpy(out + done, buffer_.data() + head_, step);
        head_ += step;
        position_ += step;
        done += step;
    }
    return true;
}

bool byte_reader::read(std::string &text, std::uint64_t count) {
    text.clear();
    if (!has(count)) {
        ok_ = false;
        return false;
    }
    while (text.size() < count) {
        if (!fill()) {
            ok_ = false;
            return false;
        }
        std::size_t step =
            static_cast<std::size_t>(std::min<std::uint64_t>(count - text.size(), tail_ - head_));
        text.append(reinterpret_cast<const char *>(buffer_.data() + head_), step);
        head_ += step;
        position_ += step;
    }
    return true;
}

std::size_t byte_reader::read_tail(std::uint8_t *data, std::size_t size) {
    if (sized_ && remaining() > size)
        skip(remaining() - size);
    // A ring of the last `size` bytes, for a stream that cannot say where it ends.
    std::size_t kept = 0, next = 0;
    for (int c; size && (c = getc()) >= 0;) {
        data[next] = static_cast<std::uint8_t>(c);
        next = (next + 1) % size;
        kept = std::min(kept + 1, size);
    }
    if (kept == size)
        std::rotate(data, data + next, data + size);
    return kept;
}

bool byte_reader::seek(std::uint64_t offset) {
    if (offset > limit_) {
        ok_ = false;
        return false;
    }
    // Within what the buffer holds: no need to ask the stream.
    std::uint64_t buffer_start = position_ - head_;
    if (offset >= buffer_start && offset <= buffer_start + tail_) {
        head_ = static_cast<std::size_t>(offset - buffer_start);
        position_ = offset;
        return true;
    }
    if (offset > static_cast<std::uint64_t>(LONG_MAX) ||
        xfseek(stream_, static_cast<long>(offset), SEEK_SET) != 0) {
        ok_ = false;
        return false;
    }
    head_ = tail_ = 0;
    at_end_ = false;
    position_ = offset;
    return true;
}

bool byte_reader::skip(std::uint64_t count) {
    if (!has(count)) {
        ok_ = false;
        return false;
    }
    if (sized_)
        return seek(position_ + count);
    // A stream that cannot seek is read past.
    while (count > 0) {
        if (getc() < 0) {
            ok_ = false;
            return false;
        }
        --count;
    }
    return true;
}

// ---------------------------------------------------------------------------
// byte_writer

byte_writer::byte_writer(streamio_stream *stream) : stream_(stream) {
    buffer_.reserve(block_size);
}

void byte_writer::flush() {
    if (buffer_.empty())
        return;
    if (ok_ && xfwrite(buffer_.data(), 1, buffer_.size(), stream_) != buffer_.size())
        ok_ = false;
    buffer_.clear();
}

void byte_writer::write(const void *data, std::size_t count) {
    const auto *in = static_cast<const std::uint8_t *>(data);
    while (count > 0) {
        std::size_t step = std::min(count, block_size - buffer_.size());
        buffer_.insert(buffer_.end(), in, in + step);
        in += step;
        count -= step;
        if (buffer_.size() >= block_size)
            flush();
    }
}

void byte_writer::fill(std::uint8_t value, std::size_t count) {
    while (count > 0) {
        std::size_t step = std::min(count, block_size - buffer_.size());
        buffer_.insert(buffer_.end(), step, value);
        count -= step;
        if (buffer_.size() >= block_size)
            flush();
    }
}

void byte_writer::u8(std::uint32_t value) {
    buffer_.push_back(static_cast<std::uint8_t>(value));
    if (buffer_.size() >= block_size)
        flush();
}

void byte_writer::le16(std::uint32_t value) {
    std::uint8_t field[2];
    put_le16(field, value);
    write(field, sizeof field);
}

void byte_writer::le32(std::uint32_t value) {
    std::uint8_t field[4];
    put_le32(field, value);
    write(field, sizeof field);
}

void byte_writer::be16(std::uint32_t value) {
    std::uint8_t field[2];
    put_be16(field, value);
    write(field, sizeof field);
}

void byte_writer::be32(std::uint32_t value) {
    std::uint8_t field[4];
    put_be32(field, value);
    write(field, sizeof field);
}

void byte_writer::text(const char *format, ...) {
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (length > 0) {
        std::vector<char> line(static_cast<std::size_t>(length) + 1);
        std::vsnprintf(line.data(), line.size(), format, args);
        write(line.data(), static_cast<std::size_t>(length));
    }
    va_end(args);
}

bool byte_writer::finish() {
    flush();
    return ok_;
}

// ---------------------------------------------------------------------------
// progress_guard

namespace {

// A failed close reported as the assertion a driver states for it.
void report_close_assertion(const message_origin &origin, const char *assertion) {
    xerror(origin.source_file, origin.line, origin.source_ident, "xassert(%s) failed", assertion);
}

} // namespace

bool size_acceptable(const message_origin &origin, const char *what, const char *filename,
                     std::uint64_t width, std::uint64_t height) {
    const char *why = bitmap_check_size(width, height);
    if (why)
        xwarning(origin.source_file, origin.line, origin.source_ident,
                 "%s(%s) of %llux%llu pixels refused: %s", what, filename,
                 static_cast<unsigned long long>(width), static_cast<unsigned long long>(height),
                 why);
    return !why;
}

int finish_save(const message_origin &origin, stream_ptr &stream, progress_guard &progress,
                bool written, const save_ending &ending, const char *message,
                const char *filename) {
    bool closed = xfclose(stream.release()) != EOF;
    if (!closed && ending.close_assertion)
        report_close_assertion(origin, ending.close_assertion);
    progress.finish();
    if (written && (closed || ending.close_assertion))
        return 1;
    xwarning(origin.source_file, origin.line, origin.source_ident, message, filename);
    if (ending.partial_name)
        remove_partial_file(ending.partial_name);
    return 0;
}

bool read_file_with(const message_origin &origin, const char *filename, const read_opening &opening,
                    void (*read)(byte_reader &in, void *context), void *context) {
    streamio_stream *file = internal_xfopen(origin.source_file, origin.line, filename, "rb");
    if (!file) {
        if (opening.open_failure)
            (opening.open_failure_ends ? xerror : xwarning)(origin.source_file, origin.line,
                                                            origin.source_ident,
                                                            opening.open_failure, filename);
        return false;
    }
    {
        stream_ptr guard{file};
        byte_reader in(file);
        // Every size a file announces is capped before it is allocated; a
        // failure that still happens is a refusal of this file, not of the run.
        try {
            read(in, context);
        } catch (const std::bad_alloc &) {
            xwarning(origin.source_file, origin.line, origin.source_ident,
                     "not enough memory to read image(%s)", filename);
        }
        guard.release();
    }
    if (xfclose(file) == EOF && opening.close_assertion)
        report_close_assertion(origin, opening.close_assertion);
    return true;
}
