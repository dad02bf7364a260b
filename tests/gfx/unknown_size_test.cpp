// Files whose size the reader cannot tell (a pipe, as /dev/stdin or a fifo
// gives) and the largest pictures: every length field is held against the
// reader's fixed cap before anything is allocated, and a picture is decoded
// into its bitmap without a second copy.  Memory is measured in a child
// process of its own.  (Every file of tests/data/decodes.txt is also read
// through a pipe by the image driver suite.)
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/loaders/bytes.h"
#include "image_test_support.h"
#include "support/capture.h"
#include "support/child.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>


namespace {

const std::string data = std::string(LUMIVANE_TEST_DATA) + "/";

struct huge_length {
    const char *fixture;
    bitmapio_driver *driver;
    const char *refusal;
};

const huge_length huge_lengths[] = {
    {"sbm/comment-length-7fffffff.sbm", &bitmapio_sbm2_driver, "is truncated"},
    {"sbm/comment-length-ffffffff.sbm", &bitmapio_sbm2_driver, "is truncated"},
    {"sbm/comment-length-3fff0000.sbm", &bitmapio_sbm2_driver, "is truncated"},
    {"sbm/comment-length-ffffffff.sba", &bitmapio_sbm3_driver, "is truncated"},
    {"sbm/comment-length-1fff0000.sba", &bitmapio_sbm3_driver,
     "has '6869' for a comment of 536805376 bytes"},
};

} // namespace

TEST(UnknownSize, ReaderCapsWhatAPipeMayHold) {
    image_streams_ready();
    filled_pipe pipe("0123456789");
    stream_ptr stream(internal_xfopen(__FILE__, __LINE__, pipe.name(), "rb"));
    ASSERT_TRUE(stream);
    byte_reader in(stream.get());
    EXPECT_FALSE(in.sized());
    EXPECT_EQ(in.remaining(), byte_reader::max_length);
    EXPECT_FALSE(in.has(byte_reader::max_length + 1));
    std::string text;
    EXPECT_TRUE(in.read(text, 4));
    EXPECT_EQ(text, "0123");
    EXPECT_EQ(in.remaining(), byte_reader::max_length - 4);
    EXPECT_FALSE(in.read(text, 0x7FFFFFF0)) << "beyond the cap";
    EXPECT_FALSE(in.read(text, 1000)) << "beyond what arrives";
    EXPECT_EQ(text, "456789");
}

TEST(UnknownSize, HugeLengthFieldsAreRefusedInLittleMemory) {
    image_streams_ready();
    for (const huge_length &input : huge_lengths) {
        SCOPED_TRACE(input.fixture);
        const std::string bytes = file_bytes(data + input.fixture);
        expect_in_child(
            [&] {
                filled_pipe pipe(bytes);
                message_capture messages;
                peak_memory peak;
                bitmap_ptr image(input.driver->load(pipe.name()));
                const long grown = peak.grown_mib();
                std::fprintf(stderr, "%s: %s; memory %s (%ld MiB)", image ? "loaded" : "refused",
                             messages.warnings.empty() ? "" : messages.warnings.back().text.c_str(),
                             grown <= 32 ? "bounded" : "unbounded", grown);
            },
            std::string("refused: .*") + input.refusal + ".*; memory bounded");
    }
}

TEST(UnknownSize, LargestRunLengthTargaNeedsOnePicture) {
    image_streams_ready();
    scratch_directory scratch;
    // 8192 x 8192 pixels of 32 bits in packets of 128 equal pixels: 2.6 MB
    // of file for a 256 MiB picture.
    std::string file = {0, 0, 10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x20, 0, 0x20, 32, 0x20};
    const std::string packet = {'\xFF', 1, 2, 3, 4};
    for (int i = 0; i < 8192 * 8192 / 128; ++i)
        file += packet;
    write_file("large.tga", file);
    expect_in_child(
        [] {
            peak_memory peak;
            bitmap_ptr image(bitmapio_targa_driver.load("large.tga"));
            const long grown = peak.grown_mib();
            std::fprintf(stderr, "%s, memory %s (%ld MiB)",
                         image && image->bits[4 * 8192 * 8192 - 2] == 1 ? "decoded" : "failed",
                         grown <= 256 + 64 ? "one picture" : "more", grown);
        },
        "decoded, memory one picture");
}
