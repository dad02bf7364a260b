// What each stream driver adds: the overwrite question of the checked drivers
// and its sticky answers, backups, the failure channels, the null device, the
// placeholders, the traces and the resource and cache drivers.  The drivers
// are registered by the environment in streamio_layer_test.cpp.
#include "file/streamio/drivers.h"
#include "file/streamio/streamio.h"

#include "core/exithand.h"
#include "core/memio/memio.h"
#include "core/message.h"
#include "file/config.h"
#include "streamio_test_support.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

static constexpr const char *source_file = "streamio_drivers_test.cpp";

namespace {

using streamtest::alias;
using streamtest::backup_folder;

stream_ptr open_stream(const char *name, const char *mode) {
    return stream_ptr(xfopen(name, mode));
}

class StreamDrivers : public testing::Test {
  protected:
    scratch_directory scratch;
    message_capture capture;
};

// ---------------------------------------------------------------------------
// The overwrite question

const streamio_driver *const checked_drivers[] = {&saferio_driver,  &safeio_driver,
                                                  &debugio_driver,  &reslogio_driver,
                                                  &secureio_driver, &platformio_driver};

TEST_F(StreamDrivers, EveryCheckedDriverSharesTheAccessCheck) {
    write_file("exists.txt", "old");
    for (const streamio_driver *driver : checked_drivers) {
        SCOPED_TRACE(driver->name);
        capture.questions.clear();
        EXPECT_EQ(driver->faccess("exists.txt", "a"), 1);
        EXPECT_EQ(driver->faccess("exists.txt", "r"), 1);
        EXPECT_EQ(driver->faccess("exists.txt", "r+b"), 1);
        EXPECT_EQ(driver->faccess("exists.txt", "w+"), 1) << "update modes only need to read";
        EXPECT_EQ(driver->faccess("absent.txt", "rb"), 0);
        EXPECT_EQ(driver->faccess("absent.txt", "w+"), 0);
        EXPECT_EQ(driver->faccess("absent.txt", "wb"), 1);
        EXPECT_TRUE(capture.questions.empty()) << "nothing so far overwrites";

        capture.answers = {'n'};
        EXPECT_EQ(driver->faccess("exists.txt", "w"), 0);
        ASSERT_EQ(capture.questions.size(), 1u);
        EXPECT_EQ(capture.questions[0].text,
                  std::string(driver->name) + ": overwrite file 'exists.txt' ?");
        capture.answers = {'y'};
        EXPECT_EQ(driver->faccess("exists.txt", "wb"), 1);
    }
    EXPECT_EQ(read_file("exists.txt"), "old") << "asking changes nothing";
}

// An open for writing over an existing file asks "saferio" first: yes
// overwrites, backup keeps the old contents first, and no passes the file on
// ("safeio" asks again, then "stdio" takes every file: "no" alone does not
// stop the overwrite).
TEST_F(StreamDrivers, TheOverwriteAnswerChoosesTheDriver) {
    const std::string folder = backup_folder();
    struct row {
        std::deque<int> answers;
        const streamio_driver *driver;
        std::vector<std::string> asked;
    };
    const row rows[] = {
        {{'y'}, &saferio_driver, {"saferio: overwrite file 'exists.txt' ?"}},
        {{'b'}, &saferio_driver, {"saferio: overwrite file 'exists.txt' ?"}},
        {{'n', 'n'},
         &stdio_driver,
         {"saferio: overwrite file 'exists.txt' ?", "safeio: overwrite file 'exists.txt' ?"}},
    };
    for (const row &r : rows) {
        write_file("exists.txt", "previous version");
        std::filesystem::remove(folder + "/exists.txt");
        capture.questions.clear();
        capture.answers = r.answers;
        auto stream = open_stream("exists.txt", "w");
        ASSERT_TRUE(stream);
        EXPECT_EQ(stream->driver, r.driver) << r.answers[0];
        ASSERT_EQ(texts(capture.questions), r.asked);
        EXPECT_EQ(capture.questions[0].ident, "streamio::safer");
        EXPECT_EQ(read_file("exists.txt"), "");
        const std::string backup = folder + "/exists.txt";
        EXPECT_EQ(file_exists(backup) ? read_file(backup) : "(none)",
                  r.answers[0] == 'b' ? "previous version" : "(none)");
    }
}

TEST_F(StreamDrivers, AnUnknownAnswerIsAnAssertion) {
    write_file("exists.txt", "old");
    capture.answers = {'z'};
    EXPECT_EQ(error_of([] { xfopen("exists.txt", "w"); }), "xassert(0) failed");
    EXPECT_FALSE(streamio_otable_isopen("exists.txt"));
}

// A question target that behaves as the real ones do with a marked answer
// (it is the standing answer, nobody is asked) and otherwise gives the
// scripted replies, then "n".
struct scripted_question {
    static inline std::deque<int> replies;
    static inline int standing = 0; // questions answered by a sticky flag
    static int ask(const char *, int, const char *, const question_option *options, const char *,
                   ...) {
        for (const question_option *option = options; option->option; ++option)
            if (option->is_default && *option->is_default) {
                ++standing;
                return option->retval;
            }
        if (replies.empty())
            return 'n';
        int reply = replies.front();
        replies.pop_front();
        return reply;
    }
    static void install(std::deque<int> script) {
        replies = std::move(script);
        xquestion = ask;
        xwarning = warning_nil;
        xverbose = verbose_nil;
    }
};

TEST(StreamDriversChild, AlwaysSticksForThatDriverOnly) {
    expect_in_child(
        [] {
            scratch_directory scratch;
            scripted_question::install({'a'});
            write_file("exists.txt", "old");
            open_stream("exists.txt", "w").reset();
            write_file("exists.txt", "old");
            stream_ptr second = open_stream("exists.txt", "w");
            std::fprintf(stderr, "[%s][%s][%d]", second ? second->driver->name : "none",
                         read_file("exists.txt").c_str(), scripted_question::standing);
            // Another driver has flags of its own: it asks and gets "n".
            std::fprintf(stderr, "[safeio %d]", safeio_driver.faccess("exists.txt", "w"));
        },
        "\\[saferio\\]\\[\\]\\[1\\]\\[safeio 0\\]");
}

TEST(StreamDriversChild, NeverSticksAndDeclines) {
    expect_in_child(
        [] {
            scratch_directory scratch;
            scripted_question::install({'e', 'y'});
            write_file("exists.txt", "old");
            int first = saferio_driver.faccess("exists.txt", "w");
            int second = saferio_driver.faccess("exists.txt", "w");
            // The open goes on to "safeio", which takes the scripted "y".
            stream_ptr stream = open_stream("exists.txt", "w");
            std::fprintf(stderr, "[%d][%d][%d][%s]", first, second, scripted_question::standing,
                         stream ? stream->driver->name : "none");
        },
        "\\[0\\]\\[0\\]\\[2\\]\\[safeio\\]");
}

TEST(StreamDriversChild, AlwaysBackupBacksUpEveryLaterOverwrite) {
    expect_in_child(
        [] {
            scratch_directory scratch;
            scripted_question::install({'c'});
            std::string folder = backup_folder();
            write_file("exists.txt", "first");
            open_stream("exists.txt", "w").reset();
            std::fprintf(stderr, "[%s]", read_file(folder + "/exists.txt").c_str());
            write_file("exists.txt", "second");
            open_stream("exists.txt", "w").reset();
            std::fprintf(stderr, "[%s][%s]", read_file(folder + "/exists.txt").c_str(),
                         read_file("exists.txt").c_str());
            write_file("other.txt", "third");
            open_stream("other.txt", "wb").reset();
            std::fprintf(stderr, "[%s][%d]", read_file(folder + "/other.txt").c_str(),
                         scripted_question::standing);
        },
        "\\[first\\]\\[second\\]\\[\\]\\[third\\]\\[2\\]");
}

// ---------------------------------------------------------------------------
// Failure channels

TEST_F(StreamDrivers, SaferioFailuresAreWarningsButAFailedCloseIsAnError) {
    // /dev/full accepts the open and fails every write that reaches it.
    stream_ptr stream = open_stream("/dev/full", "a;d=saferio");
    ASSERT_TRUE(stream);
    EXPECT_GE(xfputs("lost", stream.get()), 0);
    EXPECT_EQ(xfflush(stream.get()), EOF);
    EXPECT_TRUE(capture.warned("fflush() IO failure on file /dev/full(a)"));
    std::string closing = error_of([&] { xfclose(stream.release()); });
    EXPECT_TRUE(closing.empty() || closing == "fclose() IO failure on file /dev/full(a)")
        << closing;
    EXPECT_FALSE(streamio_otable_isopen("/dev/full"));
}

TEST_F(StreamDrivers, SecureioFailuresAreErrors) {
    stream_ptr stream = open_stream("/dev/full", "a;d=secureio");
    ASSERT_TRUE(stream);
    std::string big(1 << 16, 'x');
    EXPECT_EQ(error_of([&] { xfwrite(big.data(), 1, big.size(), stream.get()); }),
              "secureio fwrite() IO failure on file /dev/full(a)");
    error_of([&] { xfclose(stream.release()); });
    EXPECT_EQ(error_of([] { xfopen("absent.txt", "r;d=secureio"); }),
              "secureio fopen() failed on file 'absent.txt'");
}

TEST_F(StreamDrivers, SafeioWarnsAboutShortReadsAndFailedWrites) {
    write_file("short.txt", "abc");
    stream_ptr stream = open_stream("short.txt", "r;d=safeio");
    ASSERT_TRUE(stream);
    char buffer[8];
    EXPECT_EQ(xfread(buffer, 1, sizeof buffer, stream.get()), 3u);
    EXPECT_TRUE(capture.warned("fread() IO failure on file short.txt(r)"));

    stream_ptr full = open_stream("/dev/full", "a;d=safeio");
    ASSERT_TRUE(full);
    std::string big(1 << 16, 'x');
    EXPECT_LT(xfwrite(big.data(), 1, big.size(), full.get()), big.size());
    EXPECT_TRUE(capture.warned("fwrite() IO failure on file /dev/full(a)"));
}

TEST_F(StreamDrivers, StdioAcceptsAnyNameAndChecksNothing) {
    EXPECT_EQ(stdio_driver.faccess("no/such/file", "r"), 1);
    EXPECT_EQ(xfopen("no-such-file.txt", "r;d=stdio"), nullptr);
    write_file("short.txt", "abc");
    stream_ptr stream = open_stream("short.txt", "r;d=stdio");
    ASSERT_TRUE(stream);
    char buffer[8];
    capture.warnings.clear();
    EXPECT_EQ(xfread(buffer, 1, sizeof buffer, stream.get()), 3u);
    EXPECT_TRUE(capture.warnings.empty());
}

// ---------------------------------------------------------------------------
// Special drivers

TEST_F(StreamDrivers, NullioReadsZerosAndIsNeverChosenUnlessForced) {
    write_file("exists.txt", "data");
    EXPECT_EQ(nullio_driver.faccess("exists.txt", "r"), 0);
    EXPECT_EQ(nullio_driver.faccess("exists.txt", "w"), 0);

    stream_ptr stream = open_stream("nowhere.bin", "w+b;d=nullio");
    ASSERT_TRUE(stream);
    EXPECT_EQ(stream->handle, reinterpret_cast<void *>(static_cast<std::intptr_t>(-1)));
    EXPECT_EQ(stream->private_word, 0u);
    unsigned char buffer[32];
    std::memset(buffer, 0xAA, sizeof buffer);
    EXPECT_EQ(xfread(buffer, 4, 8, stream.get()), 8u);
    for (unsigned char byte : buffer)
        EXPECT_EQ(byte, 0);
    EXPECT_EQ(xfgetc(stream.get()), 0);
    EXPECT_EQ(xfwrite("abc", 1, 3, stream.get()), 3u);
    EXPECT_EQ(xfprintf(stream.get(), "%d-%s", 12, "ab"), 5);
    EXPECT_EQ(xfputc('q', stream.get()), 'q');
    char line[8] = "garbage";
    EXPECT_EQ(xfgets(line, sizeof line, stream.get()), line);
    EXPECT_STREQ(line, "");
    EXPECT_EQ(xfeof(stream.get()), 0) << "a null device never ends";
    EXPECT_EQ(xfread(buffer, SIZE_MAX / 2, 4, stream.get()), 0u) << "an impossible size";
    EXPECT_EQ(xfclose(stream.release()), 0);
    EXPECT_FALSE(file_exists("nowhere.bin"));
}

TEST_F(StreamDrivers, NetworkPlaceholdersReportAndOpenNothing) {
    const char *expected[][2] = {
        {"httpio", "failed to open http socket for file 'remote.txt'"},
        {"ftpio", "failed to open socket for file tranfser protocol (ftp) 'remote.txt'"},
        {"telnetio", "failed to open telnet socket for file 'remote.txt'"},
    };
    for (const auto &[driver, text] : expected) {
        std::string mode = std::string("r;d=") + driver;
        EXPECT_EQ(xfopen("remote.txt", mode.c_str()), nullptr);
        EXPECT_TRUE(capture.warned(text)) << driver;
        EXPECT_TRUE(capture.warned(std::string("driver(") + driver +
                                   ") (call:iof_fopen) failed to access file(remote.txt,r)"));
    }
}

TEST(StreamDriversChild, DebugioTracesEveryOpen) {
    expect_in_child(
        [] {
            scratch_directory scratch;
            message_capture capture;
            xfclose(xfopen("traced.txt", "w;d=debugio"));
            xfopen("absent.txt", "r;d=debugio");
            std::fprintf(stderr, "[%s][%d]", read_file("io_log").c_str(),
                         capture.warned("fopen (io) failure on file absent.txt(r)"));
        },
        "\\[fopen = \\[traced.txt w\\] = 0x[0-9a-f]+\r\nfopen = \\[absent.txt r\\] = "
        "\\(nil\\)\r\n\\]\\[1\\]");
}

TEST(StreamDriversChild, ReslogioLogsFilesOpenedForReading) {
    expect_in_child(
        [] {
            scratch_directory scratch;
            message_capture capture;
            write_file("resource.txt", "r");
            xfclose(xfopen("resource.txt", "rb;d=reslogio"));
            xfclose(xfopen("written.txt", "w;d=reslogio"));
            std::fprintf(stderr, "[%s][%d]", read_file("reslog.logfile").c_str(),
                         exithand_find(nullptr, "reslog deinit"));
        },
        "\\[resource.txt\n\\]\\[1\\]");
}

TEST_F(StreamDrivers, SilentBackupioBacksUpAndDeclines) {
    std::string folder = backup_folder();
    write_file("keep.txt", "kept");
    EXPECT_EQ(silent_backupio_driver.faccess("keep.txt", "w"), 0);
    EXPECT_EQ(read_file(folder + "/keep.txt"), "kept");
    EXPECT_TRUE(capture.questions.empty());
    EXPECT_TRUE(capture.verboses.empty()) << "silently";
    EXPECT_EQ(silent_backupio_driver.faccess("absent.txt", "r"), 0);
    EXPECT_FALSE(file_exists(folder + "/absent.txt"));
}

TEST_F(StreamDrivers, SilentBackupioWarnsWhenTheBackupFails) {
    if (config_active())
        GTEST_SKIP() << "the configured backup folder exists";
    write_file("keep.txt", "kept"); // no backup folder in this fresh directory
    EXPECT_EQ(silent_backupio_driver.faccess("keep.txt", "r"), 0);
    EXPECT_TRUE(capture.warned("silent-backupio : failed to backup file 'keep.txt'"));
}

TEST_F(StreamDrivers, PlatformioReportsNamesThatClashWhereCaseIsIgnored) {
    write_file("Report.txt", "upper");
    stream_ptr stream = open_stream("report.txt", "w;d=platformio");
    ASSERT_TRUE(stream);
    EXPECT_TRUE(capture.warned("platformio: file 'report.txt' clashes with 'Report.txt'"));
    stream.reset();
    capture.warnings.clear();
    stream_ptr reading = open_stream("Report.txt", "r;d=platformio");
    EXPECT_FALSE(capture.warned("clashes")) << "reading cannot clash";
}

TEST_F(StreamDrivers, ResioServesFilesFromTheResourceFolder) {
    std::string folder = alias("$path.res$");
    if (folder != "$path.res$")
        GTEST_SKIP() << "a configured resource folder is not ours to fill";
    std::filesystem::create_directories(folder);
    write_file(folder + "/icon.dat", "resource bytes");
    write_file("plain.dat", "plain");

    stream_ptr resource = open_stream("icon.dat", "rb");
    ASSERT_TRUE(resource);
    EXPECT_EQ(resource->driver, &resio_driver);
    char buffer[32] = {};
    EXPECT_EQ(xfread(buffer, 1, 14, resource.get()), 14u);
    EXPECT_STREQ(buffer, "resource bytes");

    stream_ptr plain = open_stream("plain.dat", "rb");
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->driver, &saferio_driver) << "ordinary files are not resources";

    EXPECT_EQ(resio_driver.faccess("icon.dat", "r+"), 0) << "resources are read-only";
    EXPECT_EQ(resio_driver.faccess("missing.dat", "r"), 0);
    EXPECT_EQ(xfopen("icon.dat", "r+;d=resio"), nullptr);
}

TEST_F(StreamDrivers, SingleFileCacheWritesAtCloseAndReadsASnapshot) {
    stream_ptr writing = open_stream("cached.txt", "w;d=single-file-cacheio");
    ASSERT_TRUE(writing);
    EXPECT_TRUE(file_exists("cached.txt")) << "created at open, like a C stream";
    EXPECT_GE(xfputs("in memory", writing.get()), 0);
    EXPECT_EQ(xfflush(writing.get()), 0);
    EXPECT_EQ(read_file("cached.txt"), "") << "nothing reaches the file before the close";
    EXPECT_EQ(xfclose(writing.release()), 0);
    EXPECT_EQ(read_file("cached.txt"), "in memory");

    stream_ptr reading = open_stream("cached.txt", "r;d=single-file-cacheio");
    ASSERT_TRUE(reading);
    write_file("cached.txt", "changed on disk");
    char line[32];
    ASSERT_NE(xfgets(line, sizeof line, reading.get()), nullptr);
    EXPECT_STREQ(line, "in memory") << "the file was read whole at open";
    EXPECT_NE(xfseek(reading.get(), LONG_MAX, SEEK_END), 0) << "beyond every offset";
    reading.reset();
    EXPECT_EQ(read_file("cached.txt"), "changed on disk") << "reading writes nothing back";

    EXPECT_EQ(xfopen("no/such/folder/x.txt", "w;d=single-file-cacheio"), nullptr);
    stream_ptr full = open_stream("/dev/full", "w;d=single-file-cacheio");
    ASSERT_TRUE(full);
    EXPECT_GE(xfputs("lost", full.get()), 0);
    EXPECT_EQ(xfclose(full.release()), EOF) << "the write at the close fails";
}

TEST_F(StreamDrivers, LatentCacheWritesBehind) {
    stream_ptr stream = open_stream("latent.bin", "wb;d=latent-cacheio");
    ASSERT_TRUE(stream);
    std::string small(100, 's');
    EXPECT_EQ(xfwrite(small.data(), 1, small.size(), stream.get()), small.size());
    EXPECT_EQ(std::filesystem::file_size("latent.bin"), 0u) << "held in the block";
    EXPECT_EQ(xfflush(stream.get()), 0);
    EXPECT_EQ(std::filesystem::file_size("latent.bin"), 100u);

    // More blocks than the cache holds: the oldest are written back early.
    std::string large(20 * 4096, 'L');
    EXPECT_EQ(xfwrite(large.data(), 1, large.size(), stream.get()), large.size());
    EXPECT_GT(std::filesystem::file_size("latent.bin"), 100u);
    EXPECT_LT(std::filesystem::file_size("latent.bin"), 100u + large.size());
    EXPECT_EQ(xfclose(stream.release()), 0);
    EXPECT_EQ(read_file("latent.bin"), small + large);
}

TEST_F(StreamDrivers, CacheDriversDeclineOrdinaryFiles) {
    write_file("exists.txt", "x");
    for (const streamio_driver *driver :
         {&resio_driver, &single_file_cacheio_driver, &latent_cacheio_driver})
        for (const char *mode : {"r", "rb", "w", "a", "r+", "w+b"})
            EXPECT_EQ(driver->faccess("exists.txt", mode), 0) << driver->name << " " << mode;
}

TEST_F(StreamDrivers, CacheDriversServeTheStandardStreams) {
    for (const char *driver : {"single-file-cacheio", "latent-cacheio"}) {
        std::string mode = std::string("w;d=") + driver;
        stream_ptr stream = open_stream("<stdout>", mode.c_str());
        ASSERT_TRUE(stream) << driver;
        EXPECT_EQ(stream->handle, stdout);
        EXPECT_EQ(xfprintf(stream.get(), "%s", ""), 0);
        EXPECT_EQ(xfflush(stream.get()), 0);
    }
}

} // namespace
