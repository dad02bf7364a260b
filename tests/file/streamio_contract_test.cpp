// The contract every stream driver that serves files keeps, run over each of
// them with the driver forced by ";d=": the data written comes back, seeks and
// tells agree with a real file, the end of a file is seen, short reads return
// what there is, and modes the driver does not serve are refused.
#include "file/streamio/drivers.h"
#include "file/streamio/streamio.h"

#include "support/capture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

static constexpr const char *source_file = "streamio_contract_test.cpp";

namespace {

struct driver_case {
    const char *name;
    bool writes; // serves write, append and update modes
};

const driver_case file_drivers[] = {
    {"stdio", true},          {"safeio", true},
    {"saferio", true},        {"secureio", true},
    {"debugio", true},        {"platformio", true},
    {"reslogio", true},       {"silent-backupio", true},
    {"resio", false},         {"single-file-cacheio", true},
    {"latent-cacheio", true},
};

std::vector<driver_case> writing_drivers() {
    std::vector<driver_case> found;
    for (const driver_case &driver : file_drivers)
        if (driver.writes)
            found.push_back(driver);
    return found;
}

// A pattern long enough to span many cache blocks, with no two nearby bytes alike.
std::string pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t index = 0; index < size; ++index)
        bytes[index] = static_cast<char>((index * 7 + index / 251) & 0xff);
    return bytes;
}

class StreamDriverContract : public testing::TestWithParam<driver_case> {
  protected:
    scratch_directory scratch;
    message_capture capture;

    std::string mode(const char *base) const { return std::string(base) + ";d=" + GetParam().name; }

    stream_ptr open(const char *name, const char *base) {
        std::string full = mode(base);
        stream_ptr stream(xfopen(name, full.c_str()));
        if (stream) {
            EXPECT_STREQ(stream->driver->name, GetParam().name);
        }
        return stream;
    }

    bool writes() const { return GetParam().writes; }
};

// The part of the contract about writing, for drivers that write.
class WritingStreamDriverContract : public StreamDriverContract {};

TEST_P(StreamDriverContract, ReadsWhatIsThere) {
    write_file("contract.dat", "first line\nsecond 42 word\n");
    auto stream = open("contract.dat", "r");
    ASSERT_TRUE(stream);
    char line[64];
    ASSERT_NE(xfgets(line, sizeof line, stream.get()), nullptr);
    EXPECT_STREQ(line, "first line\n");
    char word[16];
    int number = 0;
    EXPECT_EQ(xfscanf(stream.get(), "second %d %15s", &number, word), 2);
    EXPECT_EQ(number, 42);
    EXPECT_STREQ(word, "word");
    EXPECT_EQ(xfgetc(stream.get()), '\n');
    EXPECT_EQ(xfeof(stream.get()), 0);
    EXPECT_EQ(xfgetc(stream.get()), EOF);
    EXPECT_NE(xfeof(stream.get()), 0);
    EXPECT_EQ(xferror(stream.get()), 0);
    EXPECT_EQ(xfgets(line, sizeof line, stream.get()), nullptr);
    EXPECT_EQ(xfclose(stream.release()), 0);
}

TEST_P(StreamDriverContract, ShortReadReturnsWhatThereIs) {
    write_file("contract.dat", "0123456789");
    auto stream = open("contract.dat", "rb");
    ASSERT_TRUE(stream);
    char buffer[16] = {};
    EXPECT_EQ(xfread(buffer, 1, sizeof buffer, stream.get()), 10u);
    EXPECT_EQ(std::string(buffer, 10), "0123456789");
    EXPECT_NE(xfeof(stream.get()), 0);
    EXPECT_EQ(xfread(buffer, 4, 2, stream.get()), 0u);
    xrewind(stream.get());
    EXPECT_EQ(xfread(buffer, 4, 3, stream.get()), 2u) << "only whole items count";
}

TEST_P(StreamDriverContract, SeeksAndTellsLikeAFile) {
    const std::string bytes = pattern(50000);
    write_file("contract.dat", bytes);
    auto stream = open("contract.dat", "rb");
    ASSERT_TRUE(stream);
    char buffer[100];
    for (long offset : {0L, 4095L, 4096L, 40000L, 17L, 49990L, 8191L}) {
        ASSERT_EQ(xfseek(stream.get(), offset, SEEK_SET), 0);
        EXPECT_EQ(xftell(stream.get()), offset);
        std::size_t expected = std::min<std::size_t>(sizeof buffer, bytes.size() - offset);
        ASSERT_EQ(xfread(buffer, 1, expected, stream.get()), expected);
        EXPECT_EQ(std::string(buffer, expected), bytes.substr(offset, expected)) << offset;
        EXPECT_EQ(xftell(stream.get()), offset + static_cast<long>(expected));
    }
    ASSERT_EQ(xfseek(stream.get(), -10, SEEK_END), 0);
    EXPECT_EQ(xftell(stream.get()), 49990L);
    ASSERT_EQ(xfseek(stream.get(), -5, SEEK_CUR), 0);
    EXPECT_EQ(xfgetc(stream.get()), static_cast<unsigned char>(bytes[49985]));
    // Before the start: a failure, which the failsafe driver turns into an error.
    std::string failure = error_of([&] { EXPECT_NE(xfseek(stream.get(), -1, SEEK_SET), 0); });
    if (std::string(GetParam().name) == "secureio")
        EXPECT_EQ(failure, "secureio fseek() IO failure on file contract.dat(rb)");
    else
        EXPECT_EQ(failure, "");
    xrewind(stream.get());
    EXPECT_EQ(xftell(stream.get()), 0L);
    EXPECT_EQ(xfgetc(stream.get()), static_cast<unsigned char>(bytes[0]));
}

TEST_P(StreamDriverContract, UngetcGivesTheCharacterBack) {
    write_file("contract.dat", "ab");
    auto stream = open("contract.dat", "r");
    ASSERT_TRUE(stream);
    EXPECT_EQ(xfgetc(stream.get()), 'a');
    EXPECT_EQ(xungetc('Z', stream.get()), 'Z');
    EXPECT_EQ(xfgetc(stream.get()), 'Z');
    EXPECT_EQ(xfgetc(stream.get()), 'b');
    EXPECT_EQ(xfgetc(stream.get()), EOF);
    EXPECT_EQ(xungetc('b', stream.get()), 'b');
    EXPECT_EQ(xfeof(stream.get()), 0) << "ungetc clears the end of file";
    EXPECT_EQ(xfgetc(stream.get()), 'b');
}

TEST_P(WritingStreamDriverContract, WritesComeBackThroughTheSameDriver) {
    const std::string block = pattern(20000);
    {
        auto stream = open("written.dat", "wb");
        ASSERT_TRUE(stream);
        EXPECT_GE(xfputs("header\n", stream.get()), 0);
        EXPECT_EQ(xfputc('#', stream.get()), '#');
        EXPECT_EQ(xfprintf(stream.get(), "%05d|%s\n", 42, "text"), 11);
        EXPECT_EQ(xfwrite(block.data(), 1000, 20, stream.get()), 20u);
        EXPECT_EQ(xfflush(stream.get()), 0);
        EXPECT_EQ(xftell(stream.get()), static_cast<long>(7 + 1 + 11 + block.size()));
        EXPECT_EQ(xfclose(stream.release()), 0);
    }
    const std::string expected = "header\n#00042|text\n" + block;
    EXPECT_EQ(read_file("written.dat"), expected);

    auto stream = open("written.dat", "rb");
    ASSERT_TRUE(stream);
    std::string back(expected.size(), '\0');
    EXPECT_EQ(xfread(back.data(), 1, back.size(), stream.get()), back.size());
    EXPECT_EQ(back, expected);
}

TEST_P(WritingStreamDriverContract, UpdateModesOverwriteInPlace) {
    std::string expected = pattern(30000);
    write_file("update.dat", expected);
    {
        auto stream = open("update.dat", "r+b");
        ASSERT_TRUE(stream);
        for (long offset : {10L, 4090L, 29995L, 12000L}) {
            ASSERT_EQ(xfseek(stream.get(), offset, SEEK_SET), 0);
            ASSERT_EQ(xfwrite("UPDATE", 1, 6, stream.get()), 6u);
            expected.replace(static_cast<std::size_t>(offset), 6, "UPDATE");
        }
        ASSERT_EQ(xfseek(stream.get(), 4088L, SEEK_SET), 0);
        char seen[10];
        ASSERT_EQ(xfread(seen, 1, sizeof seen, stream.get()), sizeof seen);
        EXPECT_EQ(std::string(seen, sizeof seen), expected.substr(4088, 10));
        ASSERT_EQ(xfseek(stream.get(), 0, SEEK_END), 0);
        EXPECT_EQ(xftell(stream.get()), 30001L);
        EXPECT_EQ(xfclose(stream.release()), 0);
    }
    EXPECT_EQ(read_file("update.dat"), expected);

    {
        auto stream = open("update.dat", "w+b");
        ASSERT_TRUE(stream);
        ASSERT_EQ(xfseek(stream.get(), 5000, SEEK_SET), 0);
        ASSERT_GE(xfputs("after a gap", stream.get()), 0);
        ASSERT_EQ(xfseek(stream.get(), 4999, SEEK_SET), 0);
        EXPECT_EQ(xfgetc(stream.get()), 0) << "a gap reads as zeros";
        EXPECT_EQ(xfgetc(stream.get()), 'a');
    }
    EXPECT_EQ(read_file("update.dat"), std::string(5000, '\0') + "after a gap");
}

TEST_P(WritingStreamDriverContract, AppendAddsAtTheEnd) {
    write_file("append.dat", "start");
    {
        auto stream = open("append.dat", "a");
        ASSERT_TRUE(stream);
        EXPECT_GE(xfputs("+more", stream.get()), 0);
    }
    {
        auto stream = open("append.dat", "a+b");
        ASSERT_TRUE(stream);
        ASSERT_EQ(xfseek(stream.get(), 0, SEEK_SET), 0);
        EXPECT_EQ(xfgetc(stream.get()), 's') << "a+ reads anywhere";
        EXPECT_GE(xfputs("+end", stream.get()), 0);
    }
    EXPECT_EQ(read_file("append.dat"), "start+more+end");
}

TEST_P(StreamDriverContract, RefusesWhatItCannotServe) {
    EXPECT_EQ(error_of([&] { xfopen("contract.dat", mode("rt").c_str()); }),
              "non ANSI/ISO fopen() mode(rt)");
    if (!writes()) {
        std::string expected = std::string("forced io driver(") + GetParam().name +
                               ") does not support requested mode(w)";
        EXPECT_EQ(error_of([&] { xfopen("contract.dat", mode("w").c_str()); }), expected);
        write_file("contract.dat", "x");
        EXPECT_EQ(xfopen("contract.dat", mode("r+").c_str()), nullptr) << "update modes write too";
    }
    // A file that is not there cannot be read: a null stream, or an error for
    // the failsafe driver.
    std::string failure;
    streamio_stream *stream = nullptr;
    failure = error_of([&] { stream = xfopen("absent.dat", mode("rb").c_str()); });
    EXPECT_EQ(stream, nullptr);
    if (std::string(GetParam().name) == "secureio")
        EXPECT_EQ(failure, "secureio fopen() failed on file 'absent.dat'");
    else
        EXPECT_EQ(failure, "");
    EXPECT_FALSE(streamio_otable_isopen("absent.dat"));
}

TEST_P(StreamDriverContract, ClosedFilesLeaveTheOpenTable) {
    write_file("contract.dat", "x");
    auto stream = open("contract.dat", "r");
    ASSERT_TRUE(stream);
    EXPECT_TRUE(streamio_otable_isopen("contract.dat"));
    EXPECT_EQ(xfclose(stream.release()), 0);
    EXPECT_TRUE(streamio_otable_wasopen("contract.dat"));
}

std::string case_name(const testing::TestParamInfo<driver_case> &info) {
    std::string name = info.param.name;
    for (char &c : name)
        if (c == '-')
            c = '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(EveryFileDriver, StreamDriverContract, testing::ValuesIn(file_drivers),
                         case_name);
INSTANTIATE_TEST_SUITE_P(EveryWritingDriver, WritingStreamDriverContract,
                         testing::ValuesIn(writing_drivers()), case_name);

} // namespace
