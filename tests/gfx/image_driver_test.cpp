// The contract every image-file driver keeps, driven by one table of drivers
// and three indexes of files:
//
// - tests/data/decodes.txt: files (the fuzzers' seeds, the outside tools'
//   files among them, and hand-made files for each decoding rule) and the
//   picture of tests/data/pictures each must decode to, from a file and,
//   where the format needs no seeking, from a pipe;
// - tests/data/refusals.txt: files each reader must refuse, with the one
//   message it gives;
// - tests/data/golden/: what each writer makes of the 6 x 5 "F" at every
//   depth it writes (and of a few variants), byte for byte, and what each
//   dump prints.
//
// A new driver joins with one row below, its golden files (run once with
// LUMIVANE_WRITE_GOLDEN=1 in the environment and read what was written) and
// its lines in the indexes.
#include "core/memio/memio.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "image_test_support.h"
#include "support/capture.h"
#include "support/child.h"
#include "support/scratch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

using testing::Contains;
using testing::Field;

namespace {

const std::string source_dir = std::string(LUMIVANE_SOURCE_DIR) + "/";
const std::string data_dir = std::string(LUMIVANE_TEST_DATA) + "/";

struct driver_row {
    bitmapio_driver *driver;
    std::vector<int> writes;  // depths of the golden files and the round trip
    std::vector<int> refuses; // depths the writer refuses before a file exists
    bool reads_pipes;         // decodes without seeking
    bool keeps_comment;       // the round trip keeps the bitmap's comment
    const char *dumped;       // a file whose dump is golden (from the repository root)
};

const driver_row drivers[] = {
    {&bitmapio_targa_driver, {8, 15, 16, 24, 32}, {4}, true, false, "fuzz/corpus/targa/ours8.tga"},
    {&bitmapio_ppm_driver, {8, 24}, {15, 16, 32}, true, true, "fuzz/corpus/ppm/comments_p3.ppm"},
    {&bitmapio_alchemy_driver, {8, 24}, {15, 16, 32}, true, false, "fuzz/corpus/alchemy/f8.raw"},
    {&bitmapio_iff_driver, {}, {}, false, false, "fuzz/corpus/iff/mask.iff"},
    {&bitmapio_bmp_driver, {8, 24}, {15, 16, 32}, true, false, "fuzz/corpus/bmp/ours8.bmp"},
    {&bitmapio_pcx_driver, {8, 24}, {15, 16, 32}, true, false, "fuzz/corpus/pcx/f_24bit.pcx"},
    {&bitmapio_compressed_postscript_driver, {24}, {8, 15, 16, 32}, false, false, nullptr},
    {&bitmapio_binary_postscript_driver, {24}, {8, 15, 16, 32}, false, false, nullptr},
    {&bitmapio_ascii_postscript_driver, {24}, {8, 15, 16, 32}, false, false, nullptr},
    {&bitmapio_sbm2_driver, {8, 15, 16, 24, 32}, {}, true, true, "fuzz/corpus/sbm/ours8.sbm"},
    {&bitmapio_sbm3_driver, {8, 15, 16, 24, 32}, {}, true, true, "fuzz/corpus/sbm/ours8.sba"},
    {&bitmapio_array_driver, {8, 15, 16, 24, 32}, {}, false, false, nullptr},
};

void PrintTo(const driver_row &row, std::ostream *out) {
    *out << row.driver->name;
}

std::string label(const bitmapio_driver *driver) {
    std::string name = driver->name;
    for (char &c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '_';
    return name;
}

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

// Compares `bytes` with a golden file of tests/data/golden; with
// LUMIVANE_WRITE_GOLDEN in the environment it writes the file instead.
void expect_golden(const std::string &name, const std::string &bytes) {
    const std::string path = data_dir + "golden/" + name;
    if (std::getenv("LUMIVANE_WRITE_GOLDEN")) {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        write_file(path, bytes);
        return;
    }
    ASSERT_TRUE(file_exists(path)) << path << " is missing";
    EXPECT_TRUE(file_bytes(path) == bytes) << name << " differs from what the writer made";
}

// The driver a file's suffix names (recognition by suffix alone, so that a
// file with another format's magic still reaches the reader under test).
bitmapio_driver *driver_for(const std::string &file) {
    const std::string unborn = "no such folder/x" + file.substr(file.rfind('.'));
    return bitmapio_find_driver(nullptr, unborn.c_str());
}

const driver_row *row_of(const bitmapio_driver *driver) {
    for (const driver_row &row : drivers)
        if (row.driver == driver)
            return &row;
    return nullptr;
}

// A picture as its size and red, green, blue bytes.
using picture = std::tuple<std::uint32_t, std::uint32_t, std::vector<std::uint8_t>>;

picture seen(const bitmap *image) {
    return {image->xsize, image->ysize, rgb_of(image)};
}

class ImageFiles : public testing::Test {
  protected:
    void SetUp() override {
        register_image_drivers();
        message_capture quiet;
        bitmap_filetype(nullptr); // the first-call resolution pass
    }
    void TearDown() override { bitmapio_reset_registry(); }
    scratch_directory scratch;
    message_capture messages;
};

class ImageDriver : public ImageFiles, public testing::WithParamInterface<driver_row> {};
class ImageDump : public ImageDriver {};
class ImageRoundTrip : public ImageDriver {};

template <class Keep> std::vector<driver_row> rows_where(Keep keep) {
    std::vector<driver_row> kept;
    for (const driver_row &row : drivers)
        if (keep(row))
            kept.push_back(row);
    return kept;
}

std::string row_label(const testing::TestParamInfo<driver_row> &info) {
    return label(info.param.driver);
}

} // namespace

TEST_P(ImageDriver, WritesTheGoldenFiles) {
    const driver_row &row = GetParam();
    const std::string stem = "golden/" + label(row.driver) + "/";
    std::vector<std::pair<std::string, int>> files;
    for (int bpp : row.writes)
        files.push_back({"f", bpp});
    for (const char *variant : {"nomap", "grey"})
        if (!row.writes.empty() && row.writes[0] == 8)
            files.push_back({variant, 8});
    if (row.keeps_comment)
        files.push_back({"comment", 24});
    for (const auto &[variant, bpp] : files) {
        bitmap_ptr image = golden_picture(variant, bpp);
        const std::string name = variant + std::to_string(bpp) + row.driver->extension;
        ASSERT_EQ(row.driver->save(name.c_str(), image.get()), 1) << name;
        expect_golden(label(row.driver) + "/" + name, file_bytes(name));
    }
    EXPECT_THAT(messages.errors, testing::IsEmpty());
}

TEST_P(ImageDriver, RefusesDepthsItDoesNotWriteBeforeTheFileExists) {
    const driver_row &row = GetParam();
    for (int bpp : row.refuses) {
        // A record made by hand: the library allocates no 4-bit pictures.
        bitmap_ptr image(bitmap_alloc());
        image->xsize = image->ysize = 2;
        image->bpp = bpp;
        image->bits = static_cast<std::uint8_t *>(xcalloc(1, 64));
        const std::string name = std::string("refused") + row.driver->extension;
        EXPECT_EQ(row.driver->save(name.c_str(), image.get()), 0) << bpp;
        EXPECT_FALSE(file_exists(name)) << bpp;
    }
}

TEST_P(ImageDump, PrintsTheHeader) {
    const driver_row &row = GetParam();
    const std::string file = source_dir + row.dumped;
    testing::internal::CaptureStdout();
    row.driver->dump(file.c_str());
    expect_golden(label(row.driver) + "/dump.txt",
                  replaced(testing::internal::GetCapturedStdout(), file, "{}"));
}

// Through the program's own entry points (bitmap_filesave by driver name,
// bitmap_fileload by recognition) every pixel block comes back byte for byte:
// odd widths catch row padding, a one-pixel picture the smallest headers, a
// wide one run-length packets across rows.
TEST_P(ImageRoundTrip, ReproducesThePixelBlock) {
    const driver_row &row = GetParam();
    std::uint32_t seed = 1;
    for (int bpp : row.writes)
        for (auto [width, height] :
             {std::pair{1u, 1u}, {6u, 5u}, {7u, 3u}, {33u, 2u}, {130u, 3u}}) {
            bitmap_ptr image = make_pattern(width, height, bpp, seed++);
            // Targa keeps 16-bit pixels in 5-5-5 form: green loses its lowest bit.
            if (row.driver == &bitmapio_targa_driver && bpp == 16)
                for (std::size_t i = 0; i + 1 < bitmap_bytesize(image.get()); i += 2)
                    image->bits[i] &= 0xDF;
            // The portable pixmap writes a coloured 8-bit picture as true colour.
            if (row.driver == &bitmapio_ppm_driver && bpp == 8)
                for (std::int32_t i = 0; i < image->cmap->size; ++i)
                    image->cmap->entry[i] = {i, i, i};
            if (row.keeps_comment)
                bitmap_set_info(image.get(), "round trip (\"1\")");
            const std::string stem = "rt" + std::to_string(width) + "x" + std::to_string(height);
            ASSERT_NE(bitmap_filesave(image.get(), stem.c_str(), row.driver->name), 0);
            const std::string name = stem + row.driver->extension;
            bitmap_ptr loaded(bitmap_fileload(name.c_str()));
            ASSERT_TRUE(loaded) << name;
            EXPECT_EQ(loaded->loader, row.driver) << name;
            EXPECT_EQ(bitmap_compare(loaded.get(), image.get(), 1), 1) << name << " at " << bpp;
            EXPECT_EQ(rgb_of(loaded.get()), rgb_of(image.get())) << name << " at " << bpp;
            if (row.keeps_comment) {
                EXPECT_STREQ(loaded->info, image->info) << name;
            }
        }
    EXPECT_THAT(messages.errors, testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Drivers, ImageDriver, testing::ValuesIn(drivers), row_label);
INSTANTIATE_TEST_SUITE_P(Drivers, ImageDump,
                         testing::ValuesIn(rows_where([](auto &row) { return row.dumped; })),
                         row_label);
INSTANTIATE_TEST_SUITE_P(Drivers, ImageRoundTrip, testing::ValuesIn(rows_where([](auto &row) {
                             return row.driver->load && !row.writes.empty();
                         })),
                         row_label);

TEST_F(ImageFiles, DecodeToTheirPictures) {
    for (const auto &line : index_lines("decodes.txt", 3)) {
        const std::string &file = line[0];
        SCOPED_TRACE(file);
        const std::string path = source_dir + file;
        bitmapio_driver *driver = driver_for(file);
        ASSERT_NE(driver, nullptr);
        picture expected;
        ASSERT_TRUE(parse_ppm(file_bytes(data_dir + "pictures/" + line[1] + ".ppm"),
                              std::get<0>(expected), std::get<1>(expected), std::get<2>(expected)));
        messages.warnings.clear();
        bitmap_ptr image(driver->load(path.c_str()));
        ASSERT_TRUE(image);
        EXPECT_EQ(seen(image.get()), expected);
        EXPECT_EQ(image->bpp, std::stoi(line[2]));
        if (!line[3].empty()) {
            EXPECT_THAT(messages.warnings,
                        Contains(Field(&captured_message::text, replaced(line[3], "{}", path))));
        }
        if (row_of(driver) && row_of(driver)->reads_pipes) {
            filled_pipe pipe(file_bytes(path));
            bitmap_ptr piped(driver->load(pipe.name()));
            ASSERT_TRUE(piped) << "through a pipe";
            EXPECT_EQ(seen(piped.get()), expected) << "through a pipe";
        }
    }
}

TEST_F(ImageFiles, AreRefusedWithTheirMessage) {
    for (const auto &line : index_lines("refusals.txt", 2)) {
        const std::string &file = line[0];
        SCOPED_TRACE(file);
        const std::string path = data_dir + file;
        const std::string message = replaced(line[2], "{}", path);
        bitmapio_driver *driver = driver_for(file);
        ASSERT_NE(driver, nullptr);
        messages.warnings.clear();
        bitmap *image = nullptr;
        const std::string error = error_of([&] { image = driver->load(path.c_str()); });
        EXPECT_EQ(image, nullptr);
        bitmap_kill(image);
        // Every warning the reader gave, in order: the first fault found ends
        // the reading, so there is one unless the index lists follow-ups.
        std::string said;
        for (const captured_message &m : messages.warnings)
            if (m.ident != "config")
                said += (said.empty() ? "" : " | ") + m.text;
        EXPECT_EQ(error, line[1] == "error" ? message : "");
        if (line[1] == "warning") {
            EXPECT_EQ(said, message);
        }
    }
}

// What the golden files do not show.

TEST_F(ImageFiles, PcxCodesRunsOfAtMost63AndBytesThatLookLikeCounts) {
    // One row: 0xC5 alone, then 70 sevens (a run of 63 and one of 7).
    bitmap_ptr picture(bitmap_alloc2(71, 1, 8));
    picture->bits[0] = 0xC5;
    std::fill(picture->bits + 1, picture->bits + 71, 7);
    ASSERT_EQ(bitmapio_pcx_driver.save("runs.pcx", picture.get()), 1);
    // 72 bytes per line: the padding byte 0 is a literal of its own.
    const std::string expected = {'\xC1', '\xC5', '\xFF', '\x07', '\xC7', '\x07', '\x00'};
    const std::string bytes = file_bytes("runs.pcx");
    EXPECT_EQ(bytes.substr(128, expected.size()), expected);
    EXPECT_EQ(bytes.size(), 128 + expected.size() + 769);
}

TEST_F(ImageFiles, SbmPictureOfNoPixelsHasNoBlockAndOthersExactlyTheirSize) {
    bitmap_ptr empty(bitmap_alloc());
    empty->ysize = 7;
    empty->bpp = 16;
    ASSERT_EQ(bitmapio_sbm2_driver.save("empty.sbm", empty.get()), 1);
    bitmap_ptr loaded(bitmapio_sbm2_driver.load("empty.sbm"));
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->bits, nullptr);
    EXPECT_EQ(loaded->ysize, 7u);

    bitmap_ptr image = make_pattern(3, 3, 24);
    ASSERT_EQ(bitmapio_sbm2_driver.save("out.sbm", image.get()), 1);
    const std::size_t before = memio_bytes_held();
    bitmap_ptr block(bitmapio_sbm2_driver.load("out.sbm"));
    ASSERT_TRUE(block);
    EXPECT_EQ(memio_bytes_held() - before, sizeof(bitmap) + 27u);
}
