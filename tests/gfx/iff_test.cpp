// The "iff" driver: ILBM files of netpbm's ppmtoilbm (1 to 8 planes, 24-bit
// deep, hold-and-modify, compressed or not) load to the pixels netpbm's own
// reader sees; hand-made files cover the chunk rules; corrupt files fail
// with a warning naming the file.
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "image_readers.h"
#include "image_test_support.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class Iff : public testing::Test {
  protected:
    void SetUp() override { image_streams_ready(); }
    scratch_directory scratch;
};

using bytes = std::vector<std::uint8_t>;

bitmap_ptr load(const std::string &file) {
    return bitmap_ptr(bitmapio_iff_driver.load(file.c_str()));
}

void put_be32(bytes &out, std::uint32_t value) {
    out.insert(out.end(),
               {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
                static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)});
}

struct chunk {
    std::string id;
    bytes data;
};

// A FORM of the chunks, each padded to an even length.
bytes form(const std::vector<chunk> &chunks, const std::string &type = "ILBM") {
    bytes body(type.begin(), type.end());
    for (const chunk &c : chunks) {
        body.insert(body.end(), c.id.begin(), c.id.end());
        put_be32(body, static_cast<std::uint32_t>(c.data.size()));
        body.insert(body.end(), c.data.begin(), c.data.end());
        if (c.data.size() & 1)
            body.push_back(0);
    }
    bytes file{'F', 'O', 'R', 'M'};
    put_be32(file, static_cast<std::uint32_t>(body.size()));
    file.insert(file.end(), body.begin(), body.end());
    return file;
}

chunk bmhd(int width, int height, int planes, int masking = 0, int compression = 0) {
    return {"BMHD",
            {static_cast<std::uint8_t>(width >> 8),
             static_cast<std::uint8_t>(width),
             static_cast<std::uint8_t>(height >> 8),
             static_cast<std::uint8_t>(height),
             0,
             0,
             0,
             0,
             static_cast<std::uint8_t>(planes),
             static_cast<std::uint8_t>(masking),
             static_cast<std::uint8_t>(compression),
             0,
             0,
             0,
             10,
             11,
             0,
             0,
             0,
             0}};
}

// A CMAP whose entry i is (i, 2 i, 255 - i).
chunk cmap(int colours) {
    chunk c{"CMAP", {}};
    for (int i = 0; i < colours; ++i)
        c.data.insert(c.data.end(), {static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(2 * i),
                                     static_cast<std::uint8_t>(255 - i)});
    return c;
}

std::vector<std::uint8_t> entry_rgb(int i) {
    return {static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(2 * i),
            static_cast<std::uint8_t>(255 - i)};
}

bitmap_ptr load_bytes(const bytes &file) {
    put_file("in.iff", file);
    return load("in.iff");
}

// Loads bytes that must fail; returns the warnings joined.
std::string refused(const bytes &file) {
    put_file("bad.iff", file);
    message_capture capture;
    bitmap_ptr image = load("bad.iff");
    EXPECT_EQ(image, nullptr);
    std::string all = driver_warnings(capture);
    EXPECT_NE(all.find("bad.iff"), std::string::npos) << all;
    return all;
}

} // namespace

// --- files of netpbm ------------------------------------------------------

TEST_F(Iff, ReadsThePlanarAndDeepFilesOfPpmtoilbm) {
    put_ppm("f.ppm", f_width, f_height, f_rgb());
    put_ppm("ten.ppm", 7, 5, ten_colour_rgb());
    struct case_ {
        const char *options;
        const char *source;
        int planes, compression, bpp;
    } cases[] = {
        {"", "f.ppm", 1, 1, 8},
        {"-nocompress", "f.ppm", 1, 0, 8},
        {"-fixplanes 8", "f.ppm", 8, 1, 8},
        {"-fixplanes 3 -nocompress", "f.ppm", 3, 0, 8},
        {"", "ten.ppm", 4, 1, 8},
        {"-24force", "ten.ppm", 24, 1, 24},
        {"-24force -nocompress", "f.ppm", 24, 0, 24},
    };
    for (const case_ &c : cases) {
        run_writer(tool_path("ppmtoilbm") + " " + c.options + " " + c.source + " > in.iff");
        std::string file = file_bytes("in.iff");
        ASSERT_GT(file.size(), 40u) << c.options;
        EXPECT_EQ(file[28], c.planes) << c.options;
        EXPECT_EQ(file[30], c.compression) << c.options;
        bitmap_ptr image = load("in.iff");
        ASSERT_NE(image, nullptr) << c.options << " " << c.source;
        EXPECT_EQ(image->bpp, c.bpp) << c.options;
        std::vector<std::uint8_t> expected =
            std::string(c.source) == "f.ppm" ? f_rgb() : ten_colour_rgb();
        EXPECT_EQ(rgb_of(image.get()), expected) << c.options << " " << c.source;
        std::uint32_t width, height;
        EXPECT_EQ(rgb_from_command(netpbm_reads("ilbmtoppm", "in.iff"), width, height), expected);
    }
}

TEST_F(Iff, ReadsHoldAndModifyFilesAsNetpbmDoes) {
    put_ppm("ten.ppm", 7, 5, ten_colour_rgb());
    put_ppm("pattern.ppm", 16, 9, rgb_of(make_pattern(16, 9, 24, 6).get()));
    for (const char *options : {"-hamforce", "-hamforce -hambits 6"})
        for (const char *source : {"ten.ppm", "pattern.ppm"}) {
            run_writer(tool_path("ppmtoilbm") + " " + options + " " + source + " > ham.iff");
            bitmap_ptr image = load("ham.iff");
            ASSERT_NE(image, nullptr) << options << " " << source;
            EXPECT_EQ(image->bpp, 24);
            std::uint32_t width, height;
            EXPECT_EQ(rgb_of(image.get()),
                      rgb_from_command(netpbm_reads("ilbmtoppm", "ham.iff"), width, height))
                << options << " " << source;
        }
}

// --- chunk and body rules ----------------------------------------------------

TEST_F(Iff, MaskPlaneIsSkippedAndOddChunksArePadded) {
    // 3 x 2, one plane and a mask plane, uncompressed; an odd annotation first
    // and the colormap after the body.
    bytes body = {0xA0, 0x00, 0xFF, 0xFF,  // row 0: pixels 1 0 1, mask
                  0x40, 0x00, 0x00, 0x00}; // row 1: pixels 0 1 0
    bitmap_ptr image =
        load_bytes(form({{"ANNO", {'o', 'd', 'd'}}, bmhd(3, 2, 1, 1), {"BODY", body}, cmap(2)}));
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->bpp, 8);
    const std::uint8_t expected[] = {1, 0, 1, 0, 1, 0};
    EXPECT_TRUE(std::equal(expected, expected + 6, image->bits));
    EXPECT_EQ(image->cmap->size, 2);
    EXPECT_EQ(image->cmap->entry[1].g, 2);
}

TEST_F(Iff, ByteRunOneRunsSpanRowsAndStopAtThePictureEnd) {
    // 16 x 2, one plane: two bytes a row.  0x80 does nothing, -2 repeats 0xF0
    // three times (over both rows), and of the final run of 100 only one byte
    // lies within the picture.
    bytes body = {0x80, 0xFE, 0xF0, 0x9D, 0xF0};
    bitmap_ptr image = load_bytes(form({bmhd(16, 2, 1, 0, 1), cmap(2), {"BODY", body}}));
    ASSERT_NE(image, nullptr);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 16; ++x)
            EXPECT_EQ(image->bits[y * 16 + x], (x % 8) < 4 ? 1 : 0) << x << "," << y;
}

TEST_F(Iff, ExtraHalfBrightDoublesTheColormap) {
    // 2 x 1, six planes: indices 1 and 33 (bit 5 set: entry 1 at half brightness).
    bytes body;
    const int indices[] = {1, 33};
    for (int plane = 0; plane < 6; ++plane) {
        std::uint8_t line = 0;
        for (int x = 0; x < 2; ++x)
            if (indices[x] >> plane & 1)
                line |= static_cast<std::uint8_t>(0x80 >> x);
        body.insert(body.end(), {line, 0});
    }
    bytes camg;
    put_be32(camg, 0x80);
    bitmap_ptr image = load_bytes(form({bmhd(2, 1, 6), cmap(32), {"CAMG", camg}, {"BODY", body}}));
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->cmap->size, 64);
    EXPECT_EQ(rgb_of(image.get()), (std::vector<std::uint8_t>{1, 2, 254, 0, 1, 127}));
}

TEST_F(Iff, ChunkyPbmFormsAndPicturesWithoutColoursRead) {
    bitmap_ptr image =
        load_bytes(form({bmhd(3, 1, 8), cmap(256), {"BODY", {9, 200, 4, 0}}}, "PBM "));
    ASSERT_NE(image, nullptr);
    std::vector<std::uint8_t> expected = entry_rgb(9);
    for (int i : {200, 4})
        for (std::uint8_t v : entry_rgb(i))
            expected.push_back(v);
    EXPECT_EQ(rgb_of(image.get()), expected);

    // Two planes without CMAP: four evenly spaced greys.
    image = load_bytes(form({bmhd(4, 1, 2), {"BODY", {0x50, 0, 0x30, 0}}}));
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(rgb_of(image.get()),
              (std::vector<std::uint8_t>{0, 0, 0, 85, 85, 85, 170, 170, 170, 255, 255, 255}));
}

TEST_F(Iff, OversizedColormapsAreCutAndOddHoldAndModifyDepthsReadPlain) {
    // 300 colours and a stray byte: the first 256 colours are kept.
    chunk big = cmap(300);
    big.data.push_back(0x55);
    bitmap_ptr image = load_bytes(form({bmhd(2, 1, 8), big, {"BODY", bytes(16, 0)}}));
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->cmap->size, 256);
    EXPECT_EQ(image->cmap->entry[255].b, 0);

    // Hold-and-modify needs 6 or 8 planes; with 4 the indices are colours.
    bytes camg;
    put_be32(camg, 0x800);
    image = load_bytes(
        form({bmhd(1, 1, 4), cmap(16), {"CAMG", camg}, {"BODY", {0x80, 0, 0, 0, 0, 0, 0x80, 0}}}));
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->bpp, 8);
    EXPECT_EQ(image->bits[0], 9);
}

// --- corrupt files --------------------------------------------------------

TEST_F(Iff, BadContainersFail) {
    bytes good = form({bmhd(2, 1, 1), cmap(2), {"BODY", {0x40, 0}}});
    ASSERT_NE(load_bytes(good), nullptr);
    EXPECT_NE(refused({'F', 'O', 'R'}).find("FORM"), std::string::npos);
    EXPECT_NE(refused(form({bmhd(2, 1, 1)}, "8SVX")).find("8SVX"), std::string::npos);
    EXPECT_NE(refused(form({cmap(2), {"BODY", {0x40, 0}}})).find("no BMHD"), std::string::npos);
    EXPECT_NE(refused(form({bmhd(2, 1, 1), cmap(2)})).find("no BODY"), std::string::npos);
    chunk short_header = bmhd(2, 1, 1);
    short_header.data.resize(18);
    EXPECT_NE(refused(form({short_header, {"BODY", {0x40, 0}}})).find("BMHD"), std::string::npos);
    // A chunk claiming more bytes than the file has.
    bytes cut = good;
    cut.resize(cut.size() - 1);
    EXPECT_NE(refused(cut).find("runs past the end"), std::string::npos);
    bytes huge = good;
    huge[44] = 0x7F; // CMAP size
    EXPECT_NE(refused(huge).find("runs past the end"), std::string::npos);
}

TEST_F(Iff, BadHeadersFail) {
    bytes body = {0x40, 0};
    EXPECT_NE(refused(form({bmhd(2, 1, 1, 0, 2), cmap(2), {"BODY", body}})).find("compression"),
              std::string::npos);
    EXPECT_NE(refused(form({bmhd(2, 1, 1, 4), cmap(2), {"BODY", body}})).find("masking"),
              std::string::npos);
    for (int planes : {0, 9, 10, 32})
        EXPECT_NE(
            refused(form({bmhd(2, 1, planes), cmap(2), {"BODY", bytes(64, 0)}})).find("bitplanes"),
            std::string::npos)
            << planes;
    EXPECT_NE(refused(form({bmhd(0, 1, 1), cmap(2), {"BODY", body}})).find("empty"),
              std::string::npos);
    EXPECT_NE(refused(form({bmhd(65535, 65535, 1), cmap(2), {"BODY", body}})).find("refused"),
              std::string::npos);
    // Fits the limits, but no body of two bytes can hold it.
    EXPECT_NE(refused(form({bmhd(8000, 8000, 24, 0, 1), {"BODY", body}})).find("cannot hold"),
              std::string::npos);
    bytes camg;
    put_be32(camg, 0x800);
    EXPECT_NE(refused(form({bmhd(2, 1, 6), {"CAMG", camg}, {"BODY", bytes(12, 0)}}))
                  .find("without colormap"),
              std::string::npos);
}

TEST_F(Iff, BadBodiesFail) {
    // Index 3 with a colormap of two colours.
    EXPECT_NE(refused(form({bmhd(2, 1, 2), cmap(2), {"BODY", {0x40, 0, 0x40, 0}}})).find("beyond"),
              std::string::npos);
    // A hold-and-modify palette index beyond its colormap.
    bytes camg;
    put_be32(camg, 0x800);
    bytes ham(12, 0);
    ham[0] = 0x80; // index 1 in plane 0, control bits 0
    EXPECT_NE(refused(form({bmhd(2, 1, 6), cmap(1), {"CAMG", camg}, {"BODY", ham}})).find("beyond"),
              std::string::npos);
    // A compressed body that ends inside a literal.
    EXPECT_NE(
        refused(form({bmhd(16, 2, 1, 0, 1), cmap(2), {"BODY", {0x05, 1, 2}}})).find("truncated"),
        std::string::npos);
    EXPECT_NE(refused(form({bmhd(16, 2, 1, 0, 0), cmap(2), {"BODY", {1, 2, 3}}})).find("BODY"),
              std::string::npos);
}

TEST_F(Iff, DumpListsTheChunks) {
    put_file("d.iff", form({bmhd(3, 2, 1, 1), cmap(2), {"ANNO", {'x'}}, {"BODY", bytes(8, 0)}}));
    testing::internal::CaptureStdout();
    bitmapio_iff_driver.dump("d.iff");
    std::string text = testing::internal::GetCapturedStdout();
    EXPECT_NE(text.find("dumping(d.iff)"), std::string::npos);
    EXPECT_NE(text.find("FORM         72 bytes, type 'ILBM'"), std::string::npos) << text;
    EXPECT_NE(text.find("  BMHD         20 bytes\n"), std::string::npos) << text;
    EXPECT_NE(text.find("    xsize        = 3\n"), std::string::npos);
    EXPECT_NE(text.find("    masking      = 1\n"), std::string::npos);
    EXPECT_NE(text.find("  CMAP          6 bytes, 2 colours"), std::string::npos) << text;
    EXPECT_NE(text.find("  ANNO          1 bytes"), std::string::npos) << text;
    EXPECT_NE(text.find("  BODY          8 bytes"), std::string::npos) << text;
}

TEST_F(Iff, TheRegistryFindsTheDriverByMagic) {
    register_image_drivers();
    put_file("shot.dat", form({bmhd(2, 1, 1), cmap(2), {"BODY", {0x40, 0}}}));
    message_capture capture; // the first recognition reports types without driver
    bitmap_ptr back(bitmap_fileload("shot.dat"));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->loader, &bitmapio_iff_driver);
    EXPECT_EQ(rgb_of(back.get()), (std::vector<std::uint8_t>{0, 0, 255, 1, 2, 254}));
}

TEST_F(Iff, FuzzerSeedsLoadAndFuzzerFindingsFailCleanly) {
    expect_all_loaded("fuzz/corpus/iff", bitmapio_iff_driver.load);
    expect_all_refused("tests/data/iff", bitmapio_iff_driver.load);
}
