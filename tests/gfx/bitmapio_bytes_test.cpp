// The byte-field helpers of the image-file drivers: field order, reads that
// fail whole and stay failed, positions, and the writer's blocks.
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/loaders/bytes.h"
#include "image_test_support.h"
#include "support/capture.h"
#include "support/child.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace {

class ByteFields : public testing::Test {
  protected:
    void SetUp() override { image_streams_ready(); }
    stream_ptr open(const char *name, const char *mode) {
        return stream_ptr(internal_xfopen(__FILE__, __LINE__, name, mode));
    }
    scratch_directory scratch;
    message_capture messages;
};

} // namespace

TEST(ByteOrder, FieldsAtAnAddress) {
    const std::uint8_t bytes[] = {0x01, 0x02, 0x03, 0x84};
    EXPECT_EQ(get_le16(bytes), 0x0201u);
    EXPECT_EQ(get_be16(bytes), 0x0102u);
    EXPECT_EQ(get_le32(bytes), 0x84030201u);
    EXPECT_EQ(get_be32(bytes), 0x01020384u);
    std::uint8_t out[4] = {};
    put_le32(out, 0xA1B2C3D4u);
    EXPECT_EQ(std::vector<std::uint8_t>(out, out + 4),
              (std::vector<std::uint8_t>{0xD4, 0xC3, 0xB2, 0xA1}));
    put_be32(out, 0xA1B2C3D4u);
    EXPECT_EQ(std::vector<std::uint8_t>(out, out + 4),
              (std::vector<std::uint8_t>{0xA1, 0xB2, 0xC3, 0xD4}));
    put_le16(out, 0x1234);
    put_be16(out + 2, 0x1234);
    EXPECT_EQ(std::vector<std::uint8_t>(out, out + 4),
              (std::vector<std::uint8_t>{0x34, 0x12, 0x12, 0x34}));
}

TEST_F(ByteFields, ReaderKnowsTheSizeAndFailsShortReadsWhole) {
    write_file("in.bin", "\1\2\3\4\5\6\7");
    stream_ptr stream = open("in.bin", "rb");
    ASSERT_TRUE(stream);
    byte_reader in(stream.get());
    EXPECT_TRUE(in.sized());
    EXPECT_EQ(in.remaining(), 7u);
    EXPECT_EQ(in.le16(), 0x0201u);
    EXPECT_EQ(in.be16(), 0x0304u);
    EXPECT_EQ(in.position(), 4u);
    std::uint8_t rest[4] = {9, 9, 9, 9};
    EXPECT_FALSE(in.read(rest, 4));
    EXPECT_EQ(std::vector<std::uint8_t>(rest, rest + 4), (std::vector<std::uint8_t>(4, 0)));
    EXPECT_FALSE(in.ok());
    // Nothing was taken by the failed read.
    EXPECT_EQ(in.position(), 4u);
    EXPECT_EQ(in.u8(), 5);
    EXPECT_FALSE(in.ok()) << "failure is sticky";
    // And the stream layer saw no short read to report.
    EXPECT_FALSE(messages.warned("fread"));
}

TEST_F(ByteFields, ReaderSeeksSkipsAndScans) {
    write_file("in.bin", "ab cd");
    stream_ptr stream = open("in.bin", "rb");
    byte_reader in(stream.get());
    EXPECT_EQ(in.peek(), 'a');
    EXPECT_EQ(in.getc(), 'a');
    EXPECT_TRUE(in.skip(2));
    EXPECT_EQ(in.getc(), 'c');
    EXPECT_TRUE(in.seek(1));
    EXPECT_EQ(in.getc(), 'b');
    EXPECT_TRUE(in.seek(5));
    EXPECT_EQ(in.getc(), -1);
    EXPECT_EQ(in.peek(), -1);
    EXPECT_TRUE(in.ok()) << "the end of a text is no failure";
    EXPECT_FALSE(in.seek(6));
    EXPECT_FALSE(in.skip(1));
    EXPECT_FALSE(in.ok());

    // A pipe cannot seek: skipping reads past, zero bytes included.
    filled_pipe pipe(std::string("\0\0z", 3));
    stream_ptr piped = open(pipe.name(), "rb");
    byte_reader from_pipe(piped.get());
    EXPECT_FALSE(from_pipe.sized());
    EXPECT_TRUE(from_pipe.skip(2));
    EXPECT_EQ(from_pipe.getc(), 'z');
}

TEST_F(ByteFields, ReaderCrossesItsBlocks) {
    std::vector<std::uint8_t> bytes(200000);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(i * 7);
    write_file("big.bin", std::string(bytes.begin(), bytes.end()));
    stream_ptr stream = open("big.bin", "rb");
    byte_reader in(stream.get());
    std::vector<std::uint8_t> got(150000);
    EXPECT_EQ(in.u8(), bytes[0]);
    ASSERT_TRUE(in.read(got.data(), got.size()));
    EXPECT_TRUE(std::equal(got.begin(), got.end(), bytes.begin() + 1));
    ASSERT_TRUE(in.seek(10));
    EXPECT_EQ(in.le32(), get_le32(bytes.data() + 10));
    ASSERT_TRUE(in.seek(199998));
    EXPECT_EQ(in.le16(), get_le16(bytes.data() + 199998));
    EXPECT_EQ(in.remaining(), 0u);
}

TEST_F(ByteFields, WriterPutsFieldsInOrder) {
    {
        stream_ptr stream = open("out.bin", "wb");
        byte_writer out(stream.get());
        out.u8(0x1FF);
        out.le16(0x0102);
        out.be16(0x0102);
        out.le32(0x01020304);
        out.be32(0x01020304);
        out.fill(0xAA, 2);
        out.text("%s=%d", "n", 42);
        out.write("xy", 2);
        EXPECT_TRUE(out.finish());
    }
    EXPECT_EQ(file_bytes("out.bin"), std::string("\xFF\x02\x01\x01\x02\x04\x03\x02\x01"
                                                 "\x01\x02\x03\x04\xAA\xAA"
                                                 "n=42xy",
                                                 21));
}

TEST_F(ByteFields, WriterMovesLargeBlocks) {
    std::vector<std::uint8_t> bytes(300001, 0x5A);
    {
        stream_ptr stream = open("out.bin", "wb");
        byte_writer out(stream.get());
        out.write(bytes.data(), bytes.size());
        out.fill(1, 70000);
        EXPECT_TRUE(out.finish());
    }
    EXPECT_EQ(file_bytes("out.bin").size(), 370001u);
}

TEST_F(ByteFields, ReadingAFileThatCannotBeOpenedFailsWithTheAskedReport) {
    const message_origin origin{"bytes_test.c", 1, "test"};
    bool called = false;
    auto read = [&](byte_reader &) { called = true; };
    EXPECT_FALSE(read_file(origin, "absent.bin", {}, read));
    EXPECT_FALSE(read_file(origin, "absent.bin", {"cannot open %s", false, nullptr}, read));
    EXPECT_TRUE(messages.warned("cannot open absent.bin"));
    EXPECT_EQ(error_of([&] {
                  read_file(origin, "absent.bin", {"no %s", true, nullptr}, read);
              }),
              "no absent.bin");
    EXPECT_FALSE(called);
    write_file("present.bin", "x");
    EXPECT_TRUE(read_file(origin, "present.bin", {}, read));
    EXPECT_TRUE(called);
}

TEST_F(ByteFields, PartialFilesGoButDevicesStay) {
    write_file("partial.tga", "half");
    remove_partial_file("partial.tga");
    EXPECT_FALSE(file_exists("partial.tga"));
    remove_partial_file("/dev/null");
    EXPECT_TRUE(file_exists("/dev/null"));
}
