// File-type recognition: the signature table, the suffix fallback and the
// first-call pass that resolves every type to a driver.
#include "gfx/2d/bitmap/bitmapio.h"
#include "image_test_support.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct signature_case {
    std::string contents;
    const char *type;
};

std::string bytes(std::initializer_list<int> values) {
    std::string text;
    for (int value : values)
        text.push_back(static_cast<char>(value));
    return text;
}

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
    const signature_case cases[] = {
        {"id=ImageMagick\n", "miff"},
        {"#?RADIANCE\n", "radiance"},
        {bytes({0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A, 0}), "png"},
        {"LBLSIZE=", "vicar"},
        {"NJPL1I00", "vicar"},
        {"SIMPLE  =", "fits"},
        {"mhwanh\x00\x04", "alchemy"},
        {"%!PDF-1.4", "pdf"},
        {"GIF87a", "gif87a"},
        {"GIF89a", "gif89a"},
        {"FORM\x00\x00\x00\x10ILBM", "iff"},
        {"SBM2\xC8", "sbm2"},
        {"SBM3\nversion", "sbm3"},
        {bytes({0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 'J', 'F', 'I', 'F', 0}), "jpeg"},
        {bytes({0x0E, 0x03, 0x13, 0x01, 0}), "hdf"},
        {"PCD_OPA", "pcd"},
        {bytes({0x59, 0xA6, 0x6A, 0x95, 0}), "sun"},
        {bytes({0x4D, 0x4D, 0x00, 0x2A}), "tiff"},
        {bytes({0x49, 0x49, 0x2A, 0x00}), "tiff"},
        {"IKRA", "ikr"},
        {"IKRB", "ikr"},
        {"%!PS-Adobe-3.0", "*postscript"},
        {"IT0", "fits"},
        {"P6\n6 5\n255\n", "portable pixmap"},
        {"P3\n", "portable pixmap"},
        {"P5\n", "portable pixmap"},
        {"P2\n", "portable pixmap"},
        {"BM", "windows bitmap"},
        {bytes({0x01, 0xDA, 1}), "sgi"},
        {bytes({0x52, 0xCC}), "rle"},
        {bytes({0x10, 5, 1}), "pcx"},
        {bytes({0x00, 1, 2}), "targa"},
    };
    for (const signature_case &entry : cases) {
        // A suffix that matches no entry, so only the magic can answer.
        write_file("sample.unknown", entry.contents);
        const char *type = bitmap_filetype("sample.unknown");
        ASSERT_NE(type, nullptr) << entry.type;
        EXPECT_STREQ(type, entry.type);
    }
}

// Without a signature (short or unknown contents, or no file at all) the
// lower-cased suffix decides.
TEST_F(ImageFileType, WithoutASignatureTheSuffixDecides) {
    struct row {
        const char *name, *contents, *type; // contents null: no such file
    };
    const row rows[] = {
        {"notes.tga", "plain text", "targa"},    {"empty.bmp", "", "windows bitmap"},
        {"almost.raw", "P6 6 5 255", "alchemy"}, // "P6" without its line feed
        {"plain.txt", "plain text", nullptr},    {"shot0001.tga", nullptr, "targa"},
        {"SHOT0001.TGA", nullptr, "targa"},      {"frame.pnm", nullptr, "portable pixmap"},
        {"page.ps", nullptr, "*postscript"},     {"dir.d/picture.sba", nullptr, "sbm3"},
        {"picture", nullptr, nullptr},           {"dir.d/picture", nullptr, nullptr},
    };
    for (const row &r : rows) {
        if (r.contents)
            write_file(r.name, r.contents);
        const char *type = bitmap_filetype(r.name);
        EXPECT_EQ(std::string(type ? type : "(none)"), r.type ? r.type : "(none)") << r.name;
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
