// The "targa" driver: the writer's bytes, the reader's paths (run-length,
// origins, colour maps, grey, 15/16-bit pixels) and what it does with
// corrupt files.
#include "core/memio/memio.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/color.h"
#include "gfx/2d/bitmap/pixel.h"
#include "image_readers.h"
#include "image_test_support.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct tga_fields {
    int id_length = 0;
    int colormap_type = 0;
    int image_type = 2;
    int first = 0;
    int length = 0;
    int entry_bits = 0;
    int width = 1;
    int height = 1;
    int depth = 24;
    int descriptor = 0x20;
};

std::vector<std::uint8_t> tga(const tga_fields &f, const std::vector<std::uint8_t> &body = {}) {
    std::vector<std::uint8_t> bytes = {
        static_cast<std::uint8_t>(f.id_length),
        static_cast<std::uint8_t>(f.colormap_type),
        static_cast<std::uint8_t>(f.image_type),
        static_cast<std::uint8_t>(f.first),
        static_cast<std::uint8_t>(f.first >> 8),
        static_cast<std::uint8_t>(f.length),
        static_cast<std::uint8_t>(f.length >> 8),
        static_cast<std::uint8_t>(f.entry_bits),
        0,
        0,
        0,
        0,
        static_cast<std::uint8_t>(f.width),
        static_cast<std::uint8_t>(f.width >> 8),
        static_cast<std::uint8_t>(f.height),
        static_cast<std::uint8_t>(f.height >> 8),
        static_cast<std::uint8_t>(f.depth),
        static_cast<std::uint8_t>(f.descriptor),
    };
    bytes.insert(bytes.end(), body.begin(), body.end());
    return bytes;
}

std::string text(std::initializer_list<int> values) {
    std::string bytes;
    for (int value : values)
        bytes.push_back(static_cast<char>(value));
    return bytes;
}

std::vector<std::uint8_t> bits_of(const bitmap *image) {
    return std::vector<std::uint8_t>(image->bits, image->bits + bitmap_bytesize(image));
}

class Targa : public testing::Test {
  protected:
    void SetUp() override { image_streams_ready(); }

    int save(const bitmap *image, const char *name = "out.tga") {
        return bitmapio_targa_driver.save(name, const_cast<bitmap *>(image));
    }
    bitmap_ptr load(const std::vector<std::uint8_t> &bytes, const char *name = "in.tga") {
        put_file(name, bytes);
        return bitmap_ptr(bitmapio_targa_driver.load(name));
    }

    scratch_directory scratch;
    message_capture messages;
};

} // namespace

// ---------------------------------------------------------------------------
// Writing

TEST_F(Targa, TwoPixelsAt24BppAreExactly24Bytes) {
    bitmap_ptr image(bitmap_alloc2(2, 1, 24));
    const std::uint8_t pixels[] = {1, 2, 3, 4, 5, 6};
    bitmap_setbits(image.get(), pixels);
    ASSERT_EQ(save(image.get()), 1);
    EXPECT_EQ(file_bytes("out.tga"),
              text({0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 1, 0, 24, 0x20, 3, 2, 1, 6, 5, 4}));
}

TEST_F(Targa, EightBppWithoutColormapAnnouncesAnEmptyOne) {
    bitmap_ptr image(bitmap_alloc2(3, 2, 8));
    ASSERT_EQ(save(image.get()), 1);
    std::string bytes = file_bytes("out.tga");
    ASSERT_EQ(bytes.size(), 18u + 6u);
    EXPECT_EQ(bytes.substr(0, 8), text({0, 1, 1, 0, 0, 0, 0, 24}));
    EXPECT_EQ(bytes[16], 8);
    EXPECT_EQ(bytes[17], 0x20);
}

TEST_F(Targa, EightBppColormapGoesOutBlueGreenRed) {
    bitmap_ptr image = make_f_picture(8);
    ASSERT_EQ(save(image.get()), 1);
    std::string bytes = file_bytes("out.tga");
    ASSERT_EQ(bytes.size(), 18u + 2 * 3 + f_width * f_height);
    EXPECT_EQ(le16_at(bytes, 5), 2u);
    EXPECT_EQ(bytes.substr(18, 6), text({255, 0, 0, 0, 0, 255}));
    // First row of the F: blue, four red, blue.
    EXPECT_EQ(bytes.substr(24, 6), text({0, 1, 1, 1, 1, 0}));
}

TEST_F(Targa, SixteenAndFifteenBppWhiteIsFF7F) {
    for (int bpp : {15, 16}) {
        bitmap_ptr image(bitmap_alloc2(1, 1, bpp));
        bitmap_putpixel(image.get(), 0, 0, color_pack(nullptr, 255, 255, 255, 255, bpp));
        ASSERT_EQ(save(image.get()), 1);
        std::string bytes = file_bytes("out.tga");
        EXPECT_EQ(bytes[16], bpp);
        EXPECT_EQ(bytes.substr(18), text({0xFF, 0x7F})) << bpp;
    }
}

TEST_F(Targa, ThirtyTwoBppKeepsAlphaLastAndDeclaresNoAlphaBits) {
    bitmap_ptr image(bitmap_alloc2(1, 1, 32));
    const std::uint8_t pixel[] = {1, 2, 3, 4};
    bitmap_setbits(image.get(), pixel);
    ASSERT_EQ(save(image.get()), 1);
    std::string bytes = file_bytes("out.tga");
    EXPECT_EQ(bytes[17], 0x20);
    EXPECT_EQ(bytes.substr(18), text({3, 2, 1, 4}));
}

TEST_F(Targa, ColormapOfADeepBitmapFollowsTheHeaderUnannounced) {
    bitmap_ptr image(bitmap_alloc2(1, 1, 24));
    image->cmap = colormap_alloc(1);
    image->cmap->entry[0] = {10, 20, 30};
    ASSERT_EQ(save(image.get()), 1);
    std::string bytes = file_bytes("out.tga");
    EXPECT_EQ(bytes.substr(1, 7), text({0, 2, 0, 0, 0, 0, 0}));
    EXPECT_EQ(bytes.substr(18), text({30, 20, 10, 0, 0, 0}));
}

TEST_F(Targa, SidesAreStoredModulo65536) {
    // Larger than any allocated bitmap may be: a record made by hand.
    bitmap_ptr image(bitmap_alloc());
    image->xsize = 65537;
    image->ysize = 1;
    image->bpp = 8;
    image->bits = static_cast<std::uint8_t *>(xcalloc(1, 65537));
    ASSERT_EQ(save(image.get()), 1);
    std::string bytes = file_bytes("out.tga");
    EXPECT_EQ(le16_at(bytes, 12), 1u);
    EXPECT_EQ(bytes.size(), 18u + 65537u);
}

TEST_F(Targa, UnsupportedDepthWritesNothing) {
    bitmap_ptr image(bitmap_alloc());
    image->xsize = image->ysize = 1;
    image->bpp = 4;
    image->bits = static_cast<std::uint8_t *>(xcalloc(1, 8));
    EXPECT_EQ(save(image.get(), "never.tga"), 0);
    EXPECT_FALSE(file_exists("never.tga"));
}

TEST_F(Targa, DumpPrintsTheHeader) {
    bitmap_ptr image = make_f_picture(8);
    ASSERT_EQ(save(image.get()), 1);
    testing::internal::CaptureStdout();
    bitmapio_targa_driver.dump("out.tga");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\ndumping(out.tga)\n"
                                                      "magic_length    = 0\n"
                                                      "filetype        = 1\n"
                                                      "colormap_length = 2\n"
                                                      "colormap_size   = 3\n"
                                                      "xsize           = 6\n"
                                                      "ysize           = 5\n"
                                                      "channels        = 1\n"
                                                      "orientation     = 32\n");
    testing::internal::CaptureStdout();
    bitmapio_targa_driver.dump("missing.tga");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

// ---------------------------------------------------------------------------
// Reading

TEST_F(Targa, AllFourOriginsGiveTheSamePicture) {
    // Top left red, top right green, bottom left blue, bottom right magenta,
    // stored blue, green, red.
    const std::vector<std::uint8_t> red = {0, 0, 255}, green = {0, 255, 0}, blue = {255, 0, 0},
                                    magenta = {255, 0, 255};
    struct origin {
        int descriptor;
        std::vector<std::vector<std::uint8_t>> order; // file order of the pixels
    };
    const origin origins[] = {
        {0x20, {red, green, blue, magenta}},
        {0x30, {green, red, magenta, blue}},
        {0x00, {blue, magenta, red, green}},
        {0x10, {magenta, blue, green, red}},
    };
    for (const origin &o : origins) {
        std::vector<std::uint8_t> body;
        for (const auto &pixel : o.order)
            body.insert(body.end(), pixel.begin(), pixel.end());
        tga_fields f;
        f.width = f.height = 2;
        f.descriptor = o.descriptor;
        bitmap_ptr image = load(tga(f, body));
        ASSERT_TRUE(image) << o.descriptor;
        EXPECT_EQ(rgb_of(image.get()),
                  (std::vector<std::uint8_t>{255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 0, 255}))
            << "descriptor " << o.descriptor;
    }
}

TEST_F(Targa, RunLengthPacketsMaySpanRows) {
    tga_fields f;
    f.image_type = 10;
    f.width = 3;
    f.height = 2;
    // A run of four red pixels over the row end, then two raw pixels.
    bitmap_ptr image = load(tga(f, {0x83, 0, 0, 255, 0x01, 255, 0, 0, 0, 255, 0}));
    ASSERT_TRUE(image);
    EXPECT_EQ(rgb_of(image.get()), (std::vector<std::uint8_t>{255, 0, 0, 255, 0, 0, 255, 0, 0, //
                                                              255, 0, 0, 0, 0, 255, 0, 255, 0}));
    EXPECT_FALSE(messages.warned("run-length"));
}

TEST_F(Targa, RunLengthPacketPastTheImageIsCut) {
    tga_fields f;
    f.image_type = 10;
    f.width = 2;
    f.height = 1;
    bitmap_ptr image = load(tga(f, {0xFF, 1, 2, 3}));
    ASSERT_TRUE(image);
    EXPECT_EQ(bits_of(image.get()), (std::vector<std::uint8_t>{3, 2, 1, 3, 2, 1}));
    EXPECT_TRUE(messages.warned("run-length packet runs past the end of targa image(in.tga)"));
    // A raw packet too: only what fits is taken.
    image = load(tga(f, {0x02, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    ASSERT_TRUE(image);
    EXPECT_EQ(bits_of(image.get()), (std::vector<std::uint8_t>{3, 2, 1, 6, 5, 4}));
}

TEST_F(Targa, ColourMappedWithAFirstEntryAndSixteenBitEntries) {
    tga_fields f;
    f.colormap_type = 1;
    f.image_type = 1;
    f.first = 2;
    f.length = 2;
    f.entry_bits = 16;
    f.width = 2;
    f.depth = 8;
    // Entry 2: red 31 (0x7C00), entry 3: blue 31 with the attribute bit (0x801F).
    bitmap_ptr image = load(tga(f, {0x00, 0x7C, 0x1F, 0x80, 3, 2}));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->bpp, 8);
    ASSERT_TRUE(image->cmap);
    EXPECT_EQ(image->cmap->size, 4);
    EXPECT_EQ(bits_of(image.get()), (std::vector<std::uint8_t>{3, 2}));
    EXPECT_EQ(rgb_of(image.get()), (std::vector<std::uint8_t>{0, 0, 248, 248, 0, 0}));
}

TEST_F(Targa, RunLengthColourMapped) {
    tga_fields f;
    f.colormap_type = 1;
    f.image_type = 9;
    f.length = 2;
    f.entry_bits = 24;
    f.width = 4;
    f.depth = 8;
    bitmap_ptr image = load(tga(f, {0, 0, 255, 255, 0, 0, 0x82, 1, 0x00, 0}));
    ASSERT_TRUE(image);
    EXPECT_EQ(bits_of(image.get()), (std::vector<std::uint8_t>{1, 1, 1, 0}));
    EXPECT_EQ(image->cmap->entry[1].b, 255);
}

TEST_F(Targa, GreyImagesHaveNoColormap) {
    tga_fields f;
    f.image_type = 3;
    f.width = 2;
    f.depth = 8;
    bitmap_ptr plain = load(tga(f, {10, 200}));
    ASSERT_TRUE(plain);
    f.image_type = 11;
    bitmap_ptr packed = load(tga(f, {0x81, 7}));
    ASSERT_TRUE(packed);
    EXPECT_EQ(plain->cmap, nullptr);
    EXPECT_EQ(bits_of(plain.get()), (std::vector<std::uint8_t>{10, 200}));
    EXPECT_EQ(bits_of(packed.get()), (std::vector<std::uint8_t>{7, 7}));
}

TEST_F(Targa, FifteenBitPixelsIgnoreTheAttributeBit) {
    tga_fields f;
    f.width = 2;
    f.depth = 15;
    bitmap_ptr image = load(tga(f, {0x1F, 0x80, 0xE0, 0x03}));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->bpp, 15);
    EXPECT_EQ(rgb_of(image.get()), (std::vector<std::uint8_t>{0, 0, 248, 0, 248, 0}));
}

TEST_F(Targa, IdentificationFieldIsSkipped) {
    tga_fields f;
    f.id_length = 3;
    bitmap_ptr image = load(tga(f, {'a', 'b', 'c', 1, 2, 3}));
    ASSERT_TRUE(image);
    EXPECT_EQ(bits_of(image.get()), (std::vector<std::uint8_t>{3, 2, 1}));
}

TEST_F(Targa, ColormapOfATrueColourImageIsSkippedWithAWarning) {
    tga_fields f;
    f.colormap_type = 1;
    f.length = 2;
    f.entry_bits = 24;
    bitmap_ptr image = load(tga(f, {9, 9, 9, 9, 9, 9, 1, 2, 3}));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->cmap, nullptr);
    EXPECT_EQ(bits_of(image.get()), (std::vector<std::uint8_t>{3, 2, 1}));
    EXPECT_TRUE(messages.warned(
        "multi-channel (3 channels) targa file 'in.tga' contains colormap informatiom (size = 3, "
        "lenght = 2), assuming multi-channel targa, discarding color map information"));
}

TEST_F(Targa, IndexBeyondTheColormapIsKeptAndReported) {
    tga_fields f;
    f.colormap_type = 1;
    f.image_type = 1;
    f.length = 1;
    f.entry_bits = 24;
    f.width = 2;
    f.depth = 8;
    bitmap_ptr image = load(tga(f, {1, 2, 3, 0, 200}));
    ASSERT_TRUE(image);
    EXPECT_EQ(bits_of(image.get()), (std::vector<std::uint8_t>{0, 200}));
    EXPECT_TRUE(messages.warned("uses colour index 200 beyond its colormap of 1 entries"));
    // Shown black, never read past the colormap.
    EXPECT_EQ(rgb_of(image.get()), (std::vector<std::uint8_t>{3, 2, 1, 0, 0, 0}));
}

// ---------------------------------------------------------------------------
// Corrupt files

TEST_F(Targa, MissingFileIsAnError) {
    EXPECT_EQ(error_of([] { bitmapio_targa_driver.load("missing.tga"); }),
              "error opening targa image(missing.tga)");
}

TEST_F(Targa, SpecifiedErrors) {
    struct bad_case {
        std::vector<std::uint8_t> bytes;
        const char *error;
    };
    tga_fields type5;
    type5.image_type = 5;
    tga_fields entry15;
    entry15.colormap_type = 1, entry15.image_type = 1, entry15.length = 1;
    entry15.entry_bits = 15, entry15.depth = 8;
    tga_fields short_map = entry15;
    short_map.entry_bits = 24, short_map.length = 4;
    tga_fields depth40;
    depth40.depth = 40;
    tga_fields grey24;
    grey24.image_type = 3;
    tga_fields big;
    big.width = big.height = 8000;
    tga_fields big_rle = big;
    big_rle.image_type = 10;
    tga_fields runs;
    runs.image_type = 10, runs.width = 5;
    tga_fields long_id;
    long_id.id_length = 255;
    const bad_case cases[] = {
        {tga(type5, {1, 2, 3}), "Unsupported file type 5 in targa image(in.tga)"},
        {tga(entry15, {1, 2, 0}),
         "Unsupported color map bit depth (15 bpp) in targa image(in.tga)"},
        {tga(short_map, {1, 2, 3, 4, 5, 6}), "error reading color map from targa image(in.tga)"},
        {tga(depth40, {1, 2, 3, 4, 5}), "Bad pixelsize in color (40)"},
        {tga(grey24, {1, 2, 3}), "Bad pixelsize in color (24)"},
        {tga(tga_fields{}, {1, 2}), "error reading data from targa image(in.tga)"},
        // 192 MB of pixels claimed by 18 bytes: refused before any allocation.
        {tga(big), "error reading data from targa image(in.tga)"},
        {tga(big_rle, {0xFF, 1, 2, 3}), "error reading data from targa image(in.tga)"},
        // Ends between a packet's header byte and its pixel.
        {tga(runs, {0x80, 1, 2, 3, 0x81, 1, 2, 3, 0x80, 1, 2, 3, 0x81}),
         "error reading data from targa image(in.tga)"},
        {tga(long_id, {1, 2, 3}), "error reading data from targa image(in.tga)"},
    };
    for (const bad_case &c : cases) {
        put_file("in.tga", c.bytes);
        EXPECT_EQ(error_of([] { bitmapio_targa_driver.load("in.tga"); }), c.error);
    }
}

TEST_F(Targa, RefusedHeadersWarnAndGiveNoBitmap) {
    struct bad_case {
        tga_fields fields;
        const char *warning;
    };
    bad_case cases[] = {
        {{}, "is empty (0 x 1 pixels)"},
        {{}, "of 65535x65535 pixels refused: the area exceeds 67108864 pixels"},
        {{}, "uses interleaved rows (descriptor 0x60)"},
        {{}, "has colormap type 2 (0 or 1 expected)"},
        {{}, "colour-mapped targa image(in.tga) has no colormap"},
        {{}, "has colormap entries 200 to 300, beyond the 256 an 8-bit index reaches"},
    };
    cases[0].fields.width = 0;
    cases[1].fields.width = cases[1].fields.height = 65535;
    cases[2].fields.descriptor = 0x60;
    cases[3].fields.colormap_type = 2;
    cases[4].fields.image_type = 1, cases[4].fields.depth = 8;
    cases[5].fields.colormap_type = 1, cases[5].fields.image_type = 1, cases[5].fields.depth = 8;
    cases[5].fields.first = 200, cases[5].fields.length = 100, cases[5].fields.entry_bits = 24;
    for (const bad_case &c : cases) {
        messages.warnings.clear();
        EXPECT_EQ(load(tga(c.fields, std::vector<std::uint8_t>(400, 1))), nullptr) << c.warning;
        EXPECT_TRUE(messages.warned(c.warning)) << c.warning;
    }
}

TEST_F(Targa, TruncatedHeader) {
    EXPECT_EQ(load({0, 0, 2, 0, 0}), nullptr);
    EXPECT_TRUE(messages.warned("targa image(in.tga) is shorter than its 18-byte header"));
    EXPECT_FALSE(messages.warned("fread"));
}

TEST_F(Targa, FailedLoadThroughTheRegistryIsReported) {
    register_image_drivers();
    tga_fields empty;
    empty.height = 0;
    put_file("in.tga", tga(empty));
    EXPECT_EQ(bitmap_fileload("in.tga"), nullptr);
    EXPECT_TRUE(messages.warned("loader 'targa' failed to load image(in.tga)"));
    bitmapio_reset_registry();
}

TEST_F(Targa, FuzzSeedsLoad) {
    expect_all_loaded("fuzz/corpus/targa", bitmapio_targa_driver.load);
}
