// File-type recognition: the signature table, the suffix fallback and the
// first-call pass that resolves every type to a driver.
#include "gfx/2d/bitmap/bitmapio.h"
#include "image_test_support.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class ImageFileType : public testing::Test {
  protected:
    void SetUp() override {
        register_image_drivers();
        message_capture quiet;
        bitmap_filetype(nullptr); // the resolution pass, out of the way
    }
    void TearDown() override { bitmapio_reset_registry(); }
    scratch_directory scratch;
    message_capture messages;
};

} // namespace

TEST_F(ImageFileType, EverySignature) {
    for (const auto &line : index_lines("filetype/signatures.txt", 1)) {
        SCOPED_TRACE(line[0]);
        // A suffix that matches no entry, so only the magic can answer.
        write_file("sample.unknown", unescaped(line[0]));
        const char *type = bitmap_filetype("sample.unknown");
        EXPECT_EQ(std::string(type ? type : "(none)"), line[1]);
    }
}

// Without a signature (short or unknown contents, or no file at all) the
// lower-cased suffix decides.
TEST_F(ImageFileType, WithoutASignatureTheSuffixDecides) {
    for (const auto &line : index_lines("filetype/suffixes.txt", 2)) {
        if (line[1] != "-")
            write_file(line[0], line[1] == "\"\"" ? "" : unescaped(line[1]));
        const char *type = bitmap_filetype(line[0].c_str());
        EXPECT_EQ(std::string(type ? type : "(none)"), line[2]) << line[0];
    }
    // Short reads past the end of a small file are not the stream layer's business.
    EXPECT_FALSE(messages.warned("fread"));
}

TEST(ImageFileTypeFirstCall, ResolvesEveryTypeOnceAndWarnsForTypesWithoutDriver) {
    register_image_drivers();
    scratch_directory scratch;
    message_capture messages;
    write_file("photo.gif", "GIF89a");
    EXPECT_STREQ(bitmap_filetype("photo.gif"), "gif89a");
    EXPECT_TRUE(messages.warned("failed to resolve bitmap loader for filetype 'gif89a'"));
    EXPECT_TRUE(messages.warned("failed to resolve bitmap loader for filetype 'gif87a'"));
    EXPECT_TRUE(messages.warned("failed to resolve bitmap loader for filetype 'png'"));
    EXPECT_TRUE(
        messages.said("resolved bitmap loader for filetype 'targa' (found driver ; targa)"));
    EXPECT_TRUE(messages.said(
        "resolved bitmap loader for filetype 'windows bitmap' (found driver ; windows bitmap)"));
    EXPECT_TRUE(messages.said("resolved bitmap loader for filetype 'sbm3' (found driver ; sbm3)"));
    // One line per signature entry, 33 in all, and only on the first call.
    auto resolution_lines = [&messages] {
        std::size_t count = 0;
        for (const captured_message &line : messages.warnings)
            count += line.text.find("failed to resolve bitmap loader") != std::string::npos;
        for (const captured_message &line : messages.verboses)
            count += line.text.find("resolved bitmap loader") != std::string::npos;
        return count;
    };
    EXPECT_EQ(resolution_lines(), 33u);
    EXPECT_EQ(bitmap_fileload("photo.gif"), nullptr);
    EXPECT_EQ(bitmap_filetype("photo.gif"), std::string("gif89a"));
    EXPECT_EQ(resolution_lines(), 33u);
    bitmapio_reset_registry();
}
