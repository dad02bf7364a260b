// The image-file driver registry: registration, lookups by name, suffix and
// mode, the listing, and the load/save/dump entry points that choose a driver.
//
// Most tests run on stand-in records carrying the application's twelve names,
// extensions and modes, so that the choice between drivers can be observed
// without touching the formats themselves.
#include "core/hash.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "image_test_support.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

// What the stand-in drivers were asked to do.
std::vector<std::string> calls;

bitmap *stand_in_load(const char *filename) {
    calls.push_back(std::string("load ") + filename);
    return bitmap_alloc2(1, 1, 24);
}
bitmap *failing_load(const char *filename) {
    calls.push_back(std::string("load ") + filename);
    return nullptr;
}
int stand_in_save(const char *filename, bitmap *) {
    calls.push_back(std::string("save ") + filename);
    return 1;
}
void stand_in_dump(const char *filename) {
    calls.push_back(std::string("dump ") + filename);
}

const char *const w_all[] = {"w*", nullptr};
const char *const rw_all[] = {"rw*", nullptr};
const char *const w24[] = {"w24", nullptr};
const char *const pcx_modes[] = {"r1", "r4", "r8", "r24", "w8", "w24", nullptr};
const char *const rw8_24[] = {"rw8", "rw24", nullptr};
const char *const r8_24[] = {"r8", "r24", nullptr};
const char *const targa_modes[] = {"rw8", "rw15", "rw16", "rw24", "rw32", nullptr};

bitmapio_driver stand_in(const char *name, const char *extension, const char *const *modes,
                         bool load, bool save, bool dump) {
    bitmapio_driver driver{};
    driver.name = name;
    driver.comments = "stand-in";
    driver.extension = extension;
    driver.source = "./tests/stand-in.c";
    driver.modes = modes;
    driver.load = load ? stand_in_load : nullptr;
    driver.save = save ? stand_in_save : nullptr;
    driver.dump = dump ? stand_in_dump : nullptr;
    return driver;
}

// The application's twelve drivers as stand-ins, in registration order.
std::vector<bitmapio_driver> stand_ins = {
    stand_in("array", ".ca", w_all, false, true, false),
    stand_in("sbm3", ".sba", rw_all, true, true, true),
    stand_in("sbm2", ".sbm", rw_all, true, true, true),
    stand_in("ascii-postscript", ".ps", w24, false, true, false),
    stand_in("binary-postscript", ".ps", w24, false, true, false),
    stand_in("compressed-postscript", ".ps", w24, false, true, false),
    stand_in("pcx", ".pcx", pcx_modes, true, true, true),
    stand_in("windows bitmap", ".bmp", rw8_24, true, true, true),
    stand_in("iff", ".iff", r8_24, true, false, true),
    stand_in("alchemy", ".raw", rw8_24, true, true, true),
    stand_in("portable pixmap", ".ppm", rw8_24, true, true, true),
    stand_in("targa", ".tga", targa_modes, true, true, true),
};

class ImageRegistry : public testing::Test {
  protected:
    void SetUp() override {
        image_streams_ready();
        bitmapio_reset_registry();
        for (bitmapio_driver &driver : stand_ins)
            bitmapio_register_driver(&driver);
        calls.clear();
        // The first-call resolution pass is tested on its own below.
        message_capture quiet;
        bitmap_filetype(nullptr);
    }
    void TearDown() override { bitmapio_reset_registry(); }

    scratch_directory scratch;
    message_capture messages;
};

std::string name_of(const bitmapio_driver *driver) {
    return driver ? driver->name : "(none)";
}

} // namespace

TEST_F(ImageRegistry, FindsByTypeNameOrBySuffixWhenTheFileIsNotThere) {
    // The type name "*postscript" picks the PostScript driver met first.
    EXPECT_EQ(name_of(bitmapio_find_driver("*postscript", nullptr)), "compressed-postscript");
    EXPECT_EQ(name_of(bitmapio_find_driver(nullptr, "shot0001.tga")), "targa");
    EXPECT_EQ(name_of(bitmapio_find_driver(nullptr, "figure.ps")), "compressed-postscript");
    // Not in the signature table, but a driver's own extension.
    EXPECT_EQ(name_of(bitmapio_find_driver(nullptr, "table.ca")), "array");
    EXPECT_EQ(name_of(bitmapio_find_driver(nullptr, "picture")), "(none)");
    EXPECT_EQ(name_of(bitmapio_find_driver(nullptr, "photo.gif")), "(none)");
}

TEST_F(ImageRegistry, MagicWinsOverTheSuffix) {
    write_file("looks_like.tga", "BM and the rest of a bitmap");
    EXPECT_EQ(name_of(bitmapio_find_driver(nullptr, "looks_like.tga")), "windows bitmap");
    EXPECT_EQ(name_of(bitmapio_find_driver("targa", "looks_like.tga")), "windows bitmap");
}

TEST_F(ImageRegistry, ModeSearchTakesTheFirstDriverInListOrder) {
    // "rw24" is not "w24": the first plain 24-bpp writer is pcx.
    EXPECT_EQ(name_of(bitmapio_find_mode("w24")), "pcx");
    EXPECT_EQ(name_of(bitmapio_find_mode("rw16")), "targa");
    EXPECT_EQ(name_of(bitmapio_find_mode("r4")), "pcx");
    EXPECT_EQ(name_of(bitmapio_find_mode("w15")), "array");
    EXPECT_EQ(name_of(bitmapio_find_mode("rw1")), "sbm2");
    EXPECT_EQ(name_of(bitmapio_find_mode("x8")), "(none)");
    EXPECT_EQ(bitmapio_find_mode(nullptr), nullptr);
}

TEST_F(ImageRegistry, LoadSetsNameAndLoader) {
    write_file("f.tga", std::string(18, '\0'));
    bitmap_ptr image(bitmap_fileload("f.tga"));
    ASSERT_TRUE(image);
    EXPECT_STREQ(image->name, "f.tga");
    EXPECT_EQ(image->loader, &stand_ins.back());
    EXPECT_EQ(calls, std::vector<std::string>{"load f.tga"});
}

// An unknown type is quietly nothing; a failing loader is warned about; a
// driver without a loader is an error.
TEST_F(ImageRegistry, LoadsThatGiveNothing) {
    write_file("photo.gif", "GIF89a......");
    EXPECT_EQ(bitmap_fileload("photo.gif"), nullptr);
    EXPECT_TRUE(calls.empty());
    EXPECT_FALSE(messages.warned("failed to load"));
    stand_ins.back().load = failing_load;
    write_file("broken.tga", std::string(3, '\0'));
    EXPECT_EQ(bitmap_fileload("broken.tga"), nullptr);
    stand_ins.back().load = stand_in_load;
    EXPECT_TRUE(messages.warned("loader 'targa' failed to load image(broken.tga)"));
    write_file("table.ca", "not an image");
    EXPECT_EQ(error_of([] { bitmap_fileload("table.ca"); }), "'array' does not support loading");
}

// The driver a save takes: by the name's suffix, else the first with the
// picture's depth in its modes (whose extension is then appended).
TEST_F(ImageRegistry, SaveChoosesByTheSuffixOrTheModeSearch) {
    struct row {
        const char *name;
        int bpp;
        const char *call, *error;
    };
    const row rows[] = {
        {"shot0001.tga", 24, "save shot0001.tga", ""},
        {"picture", 24, "save picture.pcx", ""},
        {"deep", 32, "save deep.ca", ""},
        {"x.iff", 24, nullptr, "'iff' does not support saving"},
    };
    for (const row &r : rows) {
        calls.clear();
        bitmap_ptr image(bitmap_alloc2(2, 2, r.bpp));
        int saved = -1;
        EXPECT_EQ(error_of([&] { saved = bitmap_filesave(image.get(), r.name, nullptr); }),
                  r.error);
        if (r.call) {
            EXPECT_EQ(saved, 1) << r.name;
            EXPECT_EQ(calls, std::vector<std::string>{r.call});
        }
    }
    bitmapio_reset_registry();
    bitmap_ptr image(bitmap_alloc2(2, 2, 24));
    EXPECT_EQ(bitmap_filesave(image.get(), "picture", nullptr), 0) << "no driver at all";
    EXPECT_TRUE(messages.errors.size() == 1) << "only the iff refusal";
}

TEST_F(ImageRegistry, SaveByDriverNameFallsBackToTheLoader) {
    bitmap_ptr image(bitmap_alloc2(2, 2, 8));
    EXPECT_EQ(bitmap_filesave(image.get(), "out", "windows bitmap"), 1);
    image->loader = &stand_ins[2]; // sbm2
    EXPECT_EQ(bitmap_filesave(image.get(), "again", "no such driver"), 1);
    image->loader = nullptr;
    EXPECT_EQ(bitmap_filesave(image.get(), "never", "no such driver"), 0);
    EXPECT_EQ(calls, (std::vector<std::string>{"save out.bmp", "save again.sbm"}));
    EXPECT_TRUE(messages.errors.empty());
}

TEST_F(ImageRegistry, DumpChoosesTheDriverAsLoadingDoes) {
    write_file("f.sbm", "SBM2");
    bitmap_filedump("f.sbm");
    EXPECT_EQ(calls, std::vector<std::string>{"dump f.sbm"});
    EXPECT_EQ(error_of([] { bitmap_filedump("nothing.xyz"); }),
              "failed to find dump driver for 'nothing.xyz'");
    write_file("table.ca", "text");
    EXPECT_EQ(error_of([] { bitmap_filedump("table.ca"); }), "'array' does not support dumping");
}
