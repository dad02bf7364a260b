// The stream layer itself: driver choice, mode attributes, the open table, the
// standard streams, registration, listing, backups and the exit check.
//
// Registration and the default driver cannot be undone, so the environment
// below registers every driver once, in the application's order, before any
// test runs.  Tests that change process-wide state for good (sticky answers, a
// full table, drivers that refuse every mode) run in a child process.
#include "file/streamio/drivers.h"
#include "file/streamio/streamio.h"

#include "core/hash.h"
#include "core/memio/memio.h"
#include "core/message.h"
#include "core/xmain.h"
#include "file/config.h"
#include "file/config_test_setup.h"
#include "streamio_test_support.h"
#include "support/capture.h"
#include "support/fixture.h"
#include "support/scratch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

static constexpr const char *source_file = "streamio_layer_test.cpp";

namespace {

class stream_drivers_environment : public testing::Environment {
  public:
    void SetUp() override { config_test_register_streams(); }
};

[[maybe_unused]] testing::Environment *const environment =
    testing::AddGlobalTestEnvironment(new stream_drivers_environment);

stream_ptr open_stream(const char *name, const char *mode) {
    return stream_ptr(xfopen(name, mode));
}

class StreamLayer : public testing::Test {
  protected:
    scratch_directory scratch;
    message_capture capture;
};

// ---------------------------------------------------------------------------

TEST_F(StreamLayer, ChoosesSaferioForOrdinaryFilesAndStdioForMissingOnes) {
    write_file("present.txt", "x");
    auto present = open_stream("present.txt", "r");
    ASSERT_TRUE(present);
    EXPECT_EQ(present->driver, &saferio_driver);
    EXPECT_STREQ(present->name, "present.txt");
    EXPECT_STREQ(present->mode, "r");
    EXPECT_STREQ(present->source_file, source_file);

    auto created = open_stream("created.txt", "w");
    ASSERT_TRUE(created);
    EXPECT_EQ(created->driver, &saferio_driver);
    EXPECT_TRUE(capture.questions.empty()) << "a new file never asks";
}

TEST_F(StreamLayer, FailedOpenReturnsNullAndWarnsAboutTheNullStream) {
    EXPECT_EQ(xfopen("missing.txt", "rb"), nullptr);
    // Every checked driver declines a file it cannot read; "stdio" takes it and fails.
    EXPECT_TRUE(
        capture.warned("driver(stdio) (call:iof_fopen) failed to access file(missing.txt,rb)"));
    EXPECT_TRUE(capture.warned("file 'missing.txt' contains null stream (file was probably never "
                               "opened) driver used was 'stdio' (from streamio_layer_test.cpp("));
    EXPECT_FALSE(streamio_otable_isopen("missing.txt"));
}

TEST_F(StreamLayer, BadNamesAndModesAreErrors) {
    write_file("modes.txt", "x");
    for (const auto &row : fixture_rows("file/bad-opens.txt")) {
        auto given = [](const std::string &field) {
            return field == "(null)" ? nullptr : field.c_str();
        };
        const std::string error = error_of([&] { xfopen(given(row[0]), given(row[1])); });
        if (row[2].ends_with("..."))
            EXPECT_THAT(error, testing::StartsWith(row[2].substr(0, row[2].size() - 3)));
        else
            EXPECT_EQ(error, row[2]);
        EXPECT_FALSE(streamio_otable_isopen(row[0].c_str())) << row[0];
    }
    EXPECT_EQ(error_of([] { xfclose(nullptr); }), "trying to close NULL stream");
    for (const char *good : {"r", "rb", "r+", "rb+", "r+b"})
        EXPECT_TRUE(open_stream("modes.txt", good)) << good;
}

TEST_F(StreamLayer, ModeTestsLookAtTheCPartOnly) {
    EXPECT_TRUE(streamio_is_read("r"));
    EXPECT_TRUE(streamio_is_read("rb;d=saferio"));
    EXPECT_FALSE(streamio_is_read("r+"));
    EXPECT_FALSE(streamio_is_read("w"));
    EXPECT_TRUE(streamio_is_write("wb"));
    EXPECT_FALSE(streamio_is_write("w+b"));
    EXPECT_TRUE(streamio_is_append("a;b=10"));
    EXPECT_FALSE(streamio_is_append("ab+"));
    EXPECT_TRUE(streamio_is_bin("r+b"));
    EXPECT_FALSE(streamio_is_bin("r;d=debugio"));
    EXPECT_FALSE(streamio_is_read(nullptr));
    EXPECT_FALSE(streamio_is_bin(nullptr));
}

TEST_F(StreamLayer, ForcedDriverIsUsedEvenWhenItDeclines) {
    auto stream = open_stream("anything.bin", "rb;d=nullio");
    ASSERT_TRUE(stream);
    EXPECT_EQ(stream->driver, &nullio_driver);
    EXPECT_TRUE(capture.warned("forced io driver(nullio) failed to access file(anything.bin)"));
    EXPECT_TRUE(streamio_otable_isopen("anything.bin"));
}

// Mode texts come from callers and configuration files: whatever they hold,
// an open either fails with a message or gives a stream that closes.
TEST_F(StreamLayer, ArbitraryModeTextsNeverCrash) {
    const char alphabet[] = "rwab+t;=dbx09*?-";
    const char *names[] = {"fuzz.txt", "<stdout>", "<stdin>", "fuzz dir/none.txt"};
    unsigned state = 12345;
    auto next = [&state] { return (state = state * 1103515245u + 12345u) >> 16; };
    write_file("fuzz.txt", "contents");
    for (int round = 0; round < 3000; ++round) {
        std::string mode;
        for (unsigned length = next() % 12; length > 0; --length)
            mode += alphabet[next() % (sizeof alphabet - 1)];
        if (round % 7 == 0)
            mode = std::string("r+;d=") + (round % 2 ? "*cache*" : "saf*");
        const char *name = names[next() % 4];
        streamio_stream *stream = nullptr;
        error_of([&] { stream = xfopen(name, mode.c_str()); });
        if (stream) {
            char byte;
            if (stream->handle != stdin) // a terminal would wait for a key
                xfread(&byte, 1, 1, stream);
            error_of([&] { xfclose(stream); });
        }
        ASSERT_FALSE(streamio_otable_isopen(name)) << name << " " << mode;
    }
}

// ---------------------------------------------------------------------------
// The open table

TEST_F(StreamLayer, OpeningTwiceIsAnErrorAndReopeningAfterCloseReusesTheSlot) {
    write_file("twice.txt", "x");
    auto first = open_stream("twice.txt", "r");
    ASSERT_TRUE(first);
    EXPECT_TRUE(streamio_otable_isopen("twice.txt"));
    EXPECT_EQ(error_of([] { xfopen("twice.txt", "rb"); }),
              "trying to open file 'twice.txt(rb)' multiple times, previous was 'twice.txt(r)'");

    first.reset();
    auto again = open_stream("twice.txt", "r");
    ASSERT_TRUE(again);
    EXPECT_TRUE(streamio_otable_isopen("twice.txt"));
    EXPECT_EQ(xfclose(again.release()), 0);
    EXPECT_FALSE(streamio_otable_isopen("twice.txt"));
    EXPECT_TRUE(streamio_otable_wasopen("twice.txt"));
    EXPECT_STREQ(streamio_otable_mode("twice.txt"), "r");

    auto reopened = open_stream("twice.txt", "rb");
    ASSERT_TRUE(reopened);
    EXPECT_FALSE(streamio_otable_wasopen("twice.txt"));
    EXPECT_STREQ(streamio_otable_mode("twice.txt"), "rb");
    EXPECT_EQ(streamio_otable_mode("never-seen.txt"), nullptr);
}

// In a child: the 257 names would stay remembered in this process's table.
TEST(StreamLayerChild, The257thOpenFileIsRefused) {
    expect_in_child(
        [] {
            message_capture capture;
            std::vector<streamio_stream *> open;
            for (int index = 0; index < 256; ++index) {
                std::string name = "many" + std::to_string(index) + ".txt";
                if (streamio_stream *stream = xfopen(name.c_str(), "w"))
                    open.push_back(stream);
            }
            std::string refused = error_of([] { xfopen("one-too-many.txt", "w"); });
            std::fprintf(stderr, "[%zu][%s][%d]", open.size(), refused.c_str(),
                         streamio_otable_isopen("one-too-many.txt"));
            xfclose(open.back());
            streamio_stream *now = xfopen("one-too-many.txt", "w");
            std::fprintf(stderr, "[%s]", now ? "opened" : "refused");
        },
        "\\[256\\]\\[ran out of allowed open streams, maximum is 256\\]\\[0\\]\\[opened\\]");
}

TEST(StreamLayerChild, TheTableRemembersAtMost512Files) {
    expect_in_child(
        [] {
            message_capture capture;
            std::string last;
            for (int index = 0; index < 600 && last.empty(); ++index) {
                std::string name = "remembered" + std::to_string(index) + ".txt";
                last = error_of([&] { xfclose(xfopen(name.c_str(), "w")); });
            }
            std::fprintf(stderr, "[%s]", last.c_str());
        },
        "\\[ran out of streams, maximum is 512\\]");
}

TEST(StreamLayerChild, ExitCheckWarnsAboutStreamsNeverClosed) {
    expect_in_child(
        [] {
            scratch_directory scratch;
            xwarning = warning_con;
            xfclose(xfopen("closed.txt", "w"));
            xfopen("never-closed.txt", "w");
            xexit(0);
        },
        "stream table\\([0-9]+\\) is still linked to 'never-closed.txt' \\(file was never "
        "closed\\)");
}

// ---------------------------------------------------------------------------
// Standard streams

TEST_F(StreamLayer, StandardStreamsOpenOnlyWithTheirMode) {
    auto out = open_stream("<stdout>", "w");
    ASSERT_TRUE(out);
    EXPECT_EQ(out->handle, stdout);
    EXPECT_EQ(xfprintf(out.get(), "%s", ""), 0);
    EXPECT_FALSE(streamio_otable_isopen("<stdout>")) << "standard streams are not in the table";

    auto in = open_stream("<stdin>", "r");
    ASSERT_TRUE(in);
    EXPECT_EQ(in->handle, stdin);
    auto err = open_stream("<stderr>", "w");
    ASSERT_TRUE(err);
    EXPECT_EQ(err->handle, stderr);
    // Closing one returns 0 and warns; the standard output stays open.
    EXPECT_EQ(xfclose(out.release()), 0);
    EXPECT_TRUE(capture.warned("file '<stdout>' contains null stream"));
    EXPECT_NE(std::fputs("", stdout), EOF);
}

// ---------------------------------------------------------------------------
// Registration

struct counting_driver {
    static inline int offered = 0;
    static int access(const char *name, const char *) {
        ++offered;
        return std::string(name).ends_with(".wonly");
    }
    static void *open(const char *name, const char *mode, streamio_stream *) {
        return std::fopen(name, mode);
    }
};

// A write-only driver that takes "*.wonly" files, on top of everything.
streamio_driver *write_only_driver() {
    static streamio_driver driver = [] {
        streamio_driver copy = stdio_driver;
        copy.next = nullptr;
        copy.name = "test-write-only-io";
        copy.comment = "takes *.wonly files";
        copy.modes = "w";
        copy.faccess = counting_driver::access;
        copy.fopen = counting_driver::open;
        return copy;
    }();
    if (!streamio_find_driver(driver.name))
        streamio_register_driver(&driver);
    return &driver;
}

TEST_F(StreamLayer, LaterRegisteredDriverWinsAndPlusModesAreOfferedToAll) {
    streamio_driver *driver = write_only_driver();
    EXPECT_EQ(streamio_find_driver("*"), driver) << "the newest driver heads the list";

    auto written = open_stream("first.wonly", "w");
    ASSERT_TRUE(written);
    EXPECT_EQ(written->driver, driver);
    written.reset();

    counting_driver::offered = 0;
    auto read = open_stream("first.wonly", "r");
    ASSERT_TRUE(read);
    EXPECT_EQ(counting_driver::offered, 0) << "'r' is never offered to a write-only driver";
    EXPECT_EQ(read->driver, &saferio_driver);
    read.reset();

    auto update = open_stream("first.wonly", "w+");
    ASSERT_TRUE(update);
    EXPECT_EQ(counting_driver::offered, 1);
    EXPECT_EQ(update->driver, driver);
    update.reset();

    // Offered too, but a driver without 'r' cannot then open it.
    EXPECT_EQ(error_of([] { xfopen("first.wonly", "r+"); })
                  .rfind("mode(r+) is not supported by driver(test-write-only-io) for file "
                         "first.wonly (from streamio_layer_test.cpp(",
                         0),
              0u);
    EXPECT_EQ(counting_driver::offered, 2);
}

// ";b=" runs to the end of the mode text, so it cannot be combined with
// ";d="; it works with drivers chosen by their access check.
TEST_F(StreamLayer, BufferAttributeInstallsABufferWhereTheDriverAllowsIt) {
    write_only_driver();
    auto buffered = open_stream("buffered.wonly", "w;b=4096");
    ASSERT_TRUE(buffered);
    EXPECT_TRUE(buffered->driver->buffering);
    EXPECT_NE(buffered->buffer, nullptr);
    EXPECT_EQ(buffered->buffer_size, 4096u);
    EXPECT_EQ(xfputs("through the buffer", buffered.get()), 1);
    EXPECT_EQ(read_file("buffered.wonly"), "") << "fully buffered until closed";
    EXPECT_EQ(xfclose(buffered.release()), 0);
    EXPECT_EQ(read_file("buffered.wonly"), "through the buffer");

    auto unbuffered = open_stream("buffered.wonly", "rb;b=65536");
    ASSERT_TRUE(unbuffered);
    EXPECT_EQ(unbuffered->driver, &saferio_driver);
    EXPECT_EQ(unbuffered->buffer, nullptr) << "saferio takes no buffer";
    EXPECT_EQ(unbuffered->buffer_size, 0u);

    auto standard = open_stream("<stderr>", "w;b=512");
    ASSERT_TRUE(standard);
    EXPECT_EQ(standard->buffer, nullptr) << "standard streams keep their own buffering";
}

TEST_F(StreamLayer, ChangingTheDefaultWarns) {
    streamio_set_defio(&saferio_driver);
    EXPECT_TRUE(capture.warned(
        "changing present default IO driver('saferio'), with new driver('saferio')"));
}

TEST(StreamLayerChild, FailingInitIsAnError) {
    expect_in_child(
        [] {
            message_capture capture;
            static streamio_driver failing = nullio_driver;
            failing.name = "failing-init-io";
            failing.init = [] { return 0; };
            std::fprintf(stderr, "[%s]",
                         error_of([] { streamio_register_driver(&failing); }).c_str());
        },
        "\\[failed to initialize streamio driver 'failing-init-io'\\]");
}

TEST(StreamLayerChild, DriversWithoutModesAreErrors) {
    expect_in_child(
        [] {
            message_capture capture;
            static streamio_driver modeless = nullio_driver;
            modeless.name = "modeless-io";
            modeless.modes = nullptr;
            streamio_register_driver(&modeless);
            std::fprintf(stderr, "[%s][%s]",
                         error_of([] { xfopen("x", "r;d=modeless-io"); }).c_str(),
                         error_of([] { xfopen("x", "r"); }).c_str());
        },
        "\\[forced io driver\\(modeless-io\\) does not support any modes\\]\\[io "
        "driver\\(modeless-io\\) does not support any modes\\]");
}

// ---------------------------------------------------------------------------
// Backups

using streamtest::backup_folder;

TEST_F(StreamLayer, BackupCopiesTheFileUnderTheBackupFolder) {
    std::string folder = backup_folder();
    std::string contents("line one\n\0binary\xff", 17);
    write_file("precious.dat", contents);
    EXPECT_EQ(streamio_backup("precious.dat"), 1);
    EXPECT_EQ(read_file(folder + "/precious.dat"), contents);
    EXPECT_TRUE(capture.said("backing up file 'precious.dat' to '" + folder + "/precious.dat'"));

    std::filesystem::create_directories("sub");
    write_file("sub/nested.dat", "n");
    EXPECT_EQ(streamio_backup("sub/nested.dat"), 1);
    EXPECT_EQ(read_file(folder + "/nested.dat"), "n") << "only the base name is kept";
}

TEST_F(StreamLayer, BackupFailuresAreErrors) {
    EXPECT_EQ(error_of([] { streamio_backup("$path.bak$/same.dat"); }),
              "backup source name ('$path.bak$/same.dat') and target name ('$path.bak$/same.dat') "
              "do not differ (same file)");
    backup_folder();
    EXPECT_EQ(error_of([] { streamio_backup("absent.dat"); }),
              "failed to open source file 'absent.dat' for backup");
    EXPECT_NE(streamio_backup_quiet("absent.dat"), nullptr);
    EXPECT_EQ(error_of([] { streamio_backup(nullptr); }), "xassert(name) failed");
}

TEST_F(StreamLayer, BackupWithoutItsFolderFails) {
    if (config_active())
        GTEST_SKIP() << "the configured backup folder exists";
    write_file("orphan.dat", "o");
    EXPECT_EQ(error_of([] { streamio_backup("orphan.dat"); }),
              "failed to open target file '$path.bak$/orphan.dat' for backup");
}

// ---------------------------------------------------------------------------
// Wrappers

TEST_F(StreamLayer, WrappersRefuseANullStream) {
    char text[8];
    EXPECT_EQ(xfgetc(nullptr), EOF);
    EXPECT_EQ(xfputc('a', nullptr), EOF);
    EXPECT_EQ(xfread(text, 1, 8, nullptr), 0u);
    EXPECT_EQ(xfwrite(text, 1, 8, nullptr), 0u);
    EXPECT_EQ(xfgets(text, 8, nullptr), nullptr);
    EXPECT_EQ(xfputs("a", nullptr), EOF);
    EXPECT_EQ(xfseek(nullptr, 0, SEEK_SET), -1);
    EXPECT_EQ(xftell(nullptr), -1L);
    EXPECT_EQ(xfflush(nullptr), EOF);
    EXPECT_EQ(xfprintf(nullptr, "%d", 1), -1);
    EXPECT_NE(xferror(nullptr), 0);
    xrewind(nullptr);
}

} // namespace
