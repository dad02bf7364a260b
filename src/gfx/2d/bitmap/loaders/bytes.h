// Byte fields for the image-file drivers.
//
// File formats are parsed field by field from bytes, never by reading a
// struct into memory: the get_/put_ helpers decode and encode little- and
// big-endian 16- and 32-bit values at a byte address, and the reader and
// writer below move fields through a stream of the stream layer.
//
// - byte_reader measures the bytes left in the file when it is made and checks
//   every read against that count first.  No file is taken to hold more than
//   `byte_reader::max_length` bytes, also one whose size the stream cannot
//   tell (a pipe or a device), so a length field read from any file is held
//   against a fixed cap before anything is allocated by it.  A read that
//   would run past the end reads nothing, yields zeros and sets a sticky
//   failure flag, so a driver may parse a whole header and test `ok()` once.
//   `has(n)` lets a driver refuse a header whose data the file cannot hold
//   before anything is allocated; a text field of a claimed length is read
//   with `read(std::string &, n)`, which grows only with the bytes that
//   arrive.  Once a reader is made, read the stream only through it (it
//   buffers).
// - byte_writer collects bytes and writes them in blocks; a short write sets a
//   sticky failure flag.  `finish()` writes what is left and tells whether
//   every byte reached the stream.  Write the stream only through it.  A
//   writer dropped without finish() drops what it still buffers: the write is
//   being abandoned.
// - stream_ptr (file/streamio/streamio.h) owns the open stream, so that a
//   reported error unwinding through a driver does not leave the file in the
//   stream layer's open table.  On the normal path a driver releases it and
//   closes the stream itself, to report a failed close.
// - progress_guard (core/progress.h): call finish() on the normal path so
//   that whatever ending the indicator reports reaches the caller.
// - finish_save and read_file are the ends of a driver's save and the whole
//   of its reading a file, with the driver's own messages passed in and
//   reported from the driver's position (MESSAGE_ORIGIN).
#pragma once

#include "core/message.h"
#include "core/progress.h"
#include "file/streamio/streamio.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

inline std::uint16_t get_le16(const std::uint8_t *p) {
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}
inline std::uint32_t get_le32(const std::uint8_t *p) {
    return std::uint32_t{p[0]} | (std::uint32_t{p[1]} << 8) | (std::uint32_t{p[2]} << 16) |
           (std::uint32_t{p[3]} << 24);
}
inline std::uint16_t get_be16(const std::uint8_t *p) {
    return static_cast<std::uint16_t>((p[0] << 8) | p[1]);
}
inline std::uint32_t get_be32(const std::uint8_t *p) {
    return (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 8) |
           std::uint32_t{p[3]};
}
inline void put_le16(std::uint8_t *p, std::uint32_t v) {
    p[0] = static_cast<std::uint8_t>(v);
    p[1] = static_cast<std::uint8_t>(v >> 8);
}
inline void put_le32(std::uint8_t *p, std::uint32_t v) {
    p[0] = static_cast<std::uint8_t>(v);
    p[1] = static_cast<std::uint8_t>(v >> 8);
    p[2] = static_cast<std::uint8_t>(v >> 16);
    p[3] = static_cast<std::uint8_t>(v >> 24);
}
inline void put_be16(std::uint8_t *p, std::uint32_t v) {
    p[0] = static_cast<std::uint8_t>(v >> 8);
    p[1] = static_cast<std::uint8_t>(v);
}
inline void put_be32(std::uint8_t *p, std::uint32_t v) {
    p[0] = static_cast<std::uint8_t>(v >> 24);
    p[1] = static_cast<std::uint8_t>(v >> 16);
    p[2] = static_cast<std::uint8_t>(v >> 8);
    p[3] = static_cast<std::uint8_t>(v);
}

// Removes what a failed write left of a file, when it is a plain file (a
// device or pipe written to stays).  The name is the stream's own, with its
// aliases expanded.
void remove_partial_file(const char *name);

class byte_reader {
  public:
    explicit byte_reader(streamio_stream *stream);
    byte_reader(const byte_reader &) = delete;
    byte_reader &operator=(const byte_reader &) = delete;

    // The most bytes read from one file.  The largest picture (2^26 pixels)
    // in the most verbose layout read (a text format at a dozen characters a
    // pixel) stays below it.
    static constexpr std::uint64_t max_length = std::uint64_t{1} << 30;

    // False once any read ran short (sticky).
    bool ok() const { return ok_; }
    // Bytes that may be left from the read position: those the file holds,
    // and never more than max_length minus the position (also when the size
    // is unknown).
    std::uint64_t remaining() const;
    // True when at least `count` more bytes can be read.
    bool has(std::uint64_t count) const { return count <= remaining(); }
    // Offset of the next byte from the start of the file.
    std::uint64_t position() const { return position_; }
    // True when the file size is known (the stream could seek).
    bool sized() const { return sized_; }

    std::uint8_t u8();
    std::uint16_t le16();
    std::uint32_t le32();
    std::uint16_t be16();
    std::uint32_t be32();
    // All `count` bytes or none: a short file fails without reading.
    bool read(void *data, std::size_t count);
    // All `count` bytes into `text` (replacing what it held), which grows
    // block by block with what arrives; a short file fails and leaves what
    // there was.
    bool read(std::string &text, std::uint64_t count);
    // Reads to the end of the file and keeps its last `size` bytes in `data`;
    // the count kept (fewer when fewer were left).
    std::size_t read_tail(std::uint8_t *data, std::size_t size);
    // Moves forward; fails (without moving) past the end.
    bool skip(std::uint64_t count);
    // Moves to an offset from the start of the file (within the file).
    bool seek(std::uint64_t offset);
    // Text scanning: the next byte or -1 at the end (the end is no failure).
    int getc();
    int peek();

  private:
    bool fill();
    streamio_stream *stream_;
    std::vector<std::uint8_t> buffer_;
    std::size_t head_ = 0, tail_ = 0;  // unread bytes are buffer_[head_, tail_)
    std::uint64_t position_ = 0;       // file offset of buffer_[head_]
    std::uint64_t limit_ = max_length; // the file size when sized_, at most max_length
    bool sized_ = false;
    bool at_end_ = false; // an unsized stream returned nothing more
    bool ok_ = true;
};

class byte_writer {
  public:
    explicit byte_writer(streamio_stream *stream);
    byte_writer(const byte_writer &) = delete;
    byte_writer &operator=(const byte_writer &) = delete;

    // False once a write ran short (sticky).
    bool ok() const { return ok_; }
    void u8(std::uint32_t value);
    void le16(std::uint32_t value);
    void le32(std::uint32_t value);
    void be16(std::uint32_t value);
    void be32(std::uint32_t value);
    void write(const void *data, std::size_t count);
    void fill(std::uint8_t value, std::size_t count);
    // printf-style text, for the text formats.
    void text(const char *format, ...) __attribute__((format(printf, 2, 3)));
    // Writes the buffered bytes; true when every byte so far was written.
    bool finish();

  private:
    void flush();
    streamio_stream *stream_;
    std::vector<std::uint8_t> buffer_;
    bool ok_ = true;
};

// Holds a header's picture size against the library's limits before anything
// is allocated: false after the warning "<what>(<file>) of <width>x<height>
// pixels refused: <why>" ("targa image", "pcx image", ...).
bool size_acceptable(const message_origin &origin, const char *what, const char *filename,
                     std::uint64_t width, std::uint64_t height);

// What a driver does when a save fails.
struct save_ending {
    // Null: a failed close is a failed write.  Otherwise a failed close is a
    // broken assertion, reported as "xassert(<close_assertion>) failed".
    const char *close_assertion;
    // Null, or the file to remove after a failure (see remove_partial_file).
    const char *partial_name;
};

// The end of a save on the normal path: releases and closes the stream, ends
// the progress indicator and returns 1; when a write (or, by `ending`, the
// close) failed, warns `message` (printf-style, one "%s": `filename`),
// removes the partial file by `ending` and returns 0.
int finish_save(const message_origin &origin, stream_ptr &stream, progress_guard &progress,
                bool written, const save_ending &ending, const char *message, const char *filename);

// How a driver opens and closes a file it reads.
struct read_opening {
    // Null: the stream layer's own report of a file it cannot open suffices.
    // Otherwise reported with the file name, as an error when `open_failure_ends`,
    // else as a warning.
    const char *open_failure;
    bool open_failure_ends;
    // Null: a failed close is ignored.  Otherwise a failed close is reported
    // as "xassert(<close_assertion>) failed".
    const char *close_assertion;
};

bool read_file_with(const message_origin &origin, const char *filename, const read_opening &opening,
                    void (*read)(byte_reader &in, void *context), void *context);

// Opens `filename` for reading, calls `read` with a reader on it and closes
// it (also when a reported error unwinds through `read`).  False, after the
// report `opening` asks for, when the file cannot be opened.
template <class Read>
bool read_file(const message_origin &origin, const char *filename, const read_opening &opening,
               Read &&read) {
    using reader = std::remove_reference_t<Read>;
    return read_file_with(
        origin, filename, opening,
        [](byte_reader &in, void *context) { (*static_cast<reader *>(context))(in); }, &read);
}
