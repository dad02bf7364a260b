// Effect presets (saving, loading, every consistency check) and meta commands.
#include "bitmapfx_test_util.h"

#include "core/hash.h"
#include "core/memio/memio.h"
#include "file/config.h"
#include "file/config_test_setup.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/effects/bitmapfx_preset.h"
#include "image_test_support.h"
#include "platform/linux/gcc/desktop/system.h"
#include "support/capture.h"
#include "support/scratch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

using fxtest::owned;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

std::int32_t level = 3;
double scale = 0.1;
rgbscalar tint = {0.25, 0.5, 1.0};
rgbpack mark = {1, 2, 3};
std::uint32_t key_pixel = 0xFF00FF00u;
std::int32_t smooth = 1;
char title[4096] = "a title with blanks";
std::int32_t hidden = 9;

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    fxtest::parameter("level", 5, 4, &level, 0, nullptr, "a level"),
    fxtest::parameter("scale", 10, 8, &scale),
    fxtest::parameter("tint", BITMAPFX_TYPE_RGBSCALAR, 24, &tint, 0, nullptr, "colour of the tint"),
    fxtest::parameter("mark", BITMAPFX_TYPE_RGBPACK, 3, &mark),
    fxtest::parameter("key pixel", BITMAPFX_TYPE_PIXEL, 4, &key_pixel),
    fxtest::parameter("smooth", 12, 4, &smooth),
    fxtest::parameter("title", 13, 4096, title),
    fxtest::parameter("hidden", 5, 4, &hidden, BITMAPFX_NOT_STORABLE),
    BITMAPFX_PARAMETER_END,
};

void *do_nothing(bitmapfx_driver *) {
    return nullptr;
}
const bitmapfx_procedure procedures[] = {{"fx", "run the effect", do_nothing},
                                         {nullptr, nullptr, nullptr}};
const char *const supported[] = {"in*", "out*", nullptr};

bitmapfx_driver tuned = {
    .next = nullptr,
    .hash = 0,
    .name = "test.preset",
    .file = "./tests/gfx/preset.c",
    .preset = "$path.presets$/test-preset.preset",
    .comment = "keeps values of every type",
    .supported = supported,
    .param_list = parameters,
    .proc_list = procedures,
};

void defaults() {
    level = 3;
    scale = 0.1;
    tint = {0.25, 0.5, 1.0};
    mark = {1, 2, 3};
    key_pixel = 0xFF00FF00u;
    smooth = 1;
    std::strcpy(title, "a title with blanks");
    hidden = 9;
}

void scramble() {
    level = -40;
    scale = 1e300;
    tint = {0, 0, 0};
    mark = {9, 9, 9};
    key_pixel = 0;
    smooth = 0;
    std::strcpy(title, "changed");
    hidden = 1;
}

std::string replace(std::string text, const std::string &from, const std::string &to) {
    std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    if (at != std::string::npos)
        text.replace(at, from.size(), to);
    return text;
}

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

class Preset : public testing::Test {
  protected:
    void SetUp() override {
        config_test_register_streams();
        fxtest::register_library_effects();
        fxtest::ensure_registered(&tuned);
        defaults();
        ASSERT_EQ(bitmapfx_save_preset(&tuned, "saved.preset"), nullptr);
        saved = read_file("saved.preset");
    }
    void TearDown() override { defaults(); }

    // Loads `text` as "edited.preset"; the failure text (null on success).
    const char *load_text(const std::string &text) {
        write_file("edited.preset", text);
        return bitmapfx_load_preset("edited.preset");
    }
    // The error raised by loading `text`.
    std::string load_error(const std::string &text) {
        std::string error = error_of([&] { load_text(text); });
        EXPECT_FALSE(streamio_otable_isopen("edited.preset")) << error;
        return error;
    }

    scratch_directory scratch;
    message_capture capture;
    std::string saved;
};

} // namespace

TEST_F(Preset, SavedAndLoadedBackChangesNoValue) {
    owned image(bitmap_alloc2(2, 2, 24));
    bitmapfx_talk(&tuned, "source_bitmap", image.get());
    scramble();
    ASSERT_EQ(bitmapfx_load_preset("saved.preset"), nullptr);
    // Not storable, and the bitmap has no storage: neither is set.
    EXPECT_EQ(hidden, 1);
    EXPECT_EQ(bitmapfx_talk(&tuned, "source_bitmap", nullptr), image.get());
    bitmapfx_talk_raw(&tuned, "source_bitmap", nullptr);
    parameters[0].value = nullptr;

    // Saving the loaded values again gives the same file, but for the time:
    // every scrambled value is back.
    hidden = 9;
    ASSERT_EQ(bitmapfx_save_preset(&tuned, "again.preset"), nullptr);
    std::vector<std::string> first = lines_of(saved), second = lines_of(read_file("again.preset"));
    ASSERT_EQ(first.size(), second.size());
    for (std::size_t i = 2; i < first.size(); ++i)
        EXPECT_EQ(first[i], second[i]);
    EXPECT_FALSE(capture.warned("mismatch"));
}

TEST_F(Preset, FileLayoutAsTheGoldenFileHasIt) {
    std::vector<std::string> lines = lines_of(saved);
    ASSERT_GT(lines.size(), 3u);
    EXPECT_EQ(lines[0], "# preset file for test.preset driver ");
    EXPECT_THAT(lines[1], MatchesRegex("# written on [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]{2} "
                                       "[0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4} "));
    EXPECT_EQ(lines[2], std::string("# written on host '") + system_hostname() + "'");
    const std::string body = saved.substr(saved.find('\n', saved.find("# written on host")) + 1);
    const std::string golden = std::string(LUMIVANE_TEST_DATA) + "/golden/preset/test.preset";
    if (std::getenv("LUMIVANE_WRITE_GOLDEN"))
        write_file(golden, body);
    EXPECT_EQ(body, read_file(golden));
}

TEST_F(Preset, IdentityAndHelpMismatchesOnlyWarn) {
    std::string text = replace(saved, "\"./tests/gfx/preset.c\"", "\"./elsewhere.c\"");
    text = replace(text, "\"$path.presets$/test-preset.preset\"", "\"moved.preset\"");
    text = replace(text, "\"keeps values of every type\"", "\"old comment\"");
    text = replace(text, "\"3\"", "\"77\"");
    // The help of a parameter that has none is not compared (a help that
    // differs is an error otherwise).
    text = replace(text, "\"scale\"\n\t\thelp        = \"none\"",
                   "\"scale\"\n\t\thelp        = \"anything at all\"");
    EXPECT_EQ(load_text(text), nullptr);
    EXPECT_TRUE(
        capture.warned("driver 'test.preset' 'source file' mismatch in preset file "
                       "'edited.preset' between './elsewhere.c' and './tests/gfx/preset.c'"));
    EXPECT_TRUE(capture.warned("driver 'test.preset' 'preset' mismatch in preset file "
                               "'edited.preset' between 'moved.preset' and "
                               "'$path.presets$/test-preset.preset'"));
    EXPECT_TRUE(capture.warned("driver 'test.preset' 'comments' mismatch in preset file "
                               "'edited.preset' between 'old comment' and 'keeps values of every "
                               "type'"));
    EXPECT_EQ(level, 77);
}

TEST_F(Preset, MismatchesAndBadValuesAreErrorsThatChangeNothing) {
    char hash[32];
    std::snprintf(hash, sizeof hash, "0x%08lx", static_cast<unsigned long>(tuned.hash));
    for (const auto &line : index_lines("preset/edits.txt", 0)) {
        SCOPED_TRACE(line[0]);
        const std::size_t bar = line[0].find(" | "), last = line[0].rfind(" | ");
        std::string from = unescaped(line[0].substr(0, bar)), error = line[0].substr(last + 3);
        if (from == "{hash}")
            from = hash;
        if (const std::size_t at = error.find("{hash}"); at != std::string::npos)
            error.replace(at, 6, hash);
        scramble();
        EXPECT_EQ(
            load_error(replace(saved, from, unescaped(line[0].substr(bar + 3, last - bar - 3)))),
            error);
        // Values read before the fault are not set either.
        EXPECT_EQ(level, -40);
        EXPECT_EQ(mark.g, 9);
    }
    // Truncated: the reader runs out of file.
    EXPECT_THAT(load_error(saved.substr(0, saved.find("} # mark"))),
                HasSubstr("unexpected end of file 'edited.preset'"));
    EXPECT_EQ(level, -40);
}

TEST_F(Preset, BitmapsAreNeverSetFromAFile) {
    std::string text = replace(saved, "\"null\"", "\"0x1234\"");
    EXPECT_EQ(load_text(text), nullptr);
    EXPECT_EQ(bitmapfx_talk(&tuned, "source_bitmap", nullptr), nullptr);
    // Comments anywhere are fine.
    text = replace(saved, "parameters = 10", "parameters = 10 # ten of them\n# and more");
    EXPECT_EQ(load_text(text), nullptr);
}

TEST_F(Preset, FilesThatCannotBeOpened) {
    EXPECT_STREQ(bitmapfx_load_preset("missing.preset"), "failed to open file for reading");
    // The default stream driver itself refuses a file it cannot create.
    EXPECT_EQ(error_of([] { bitmapfx_save_preset(&tuned, "no/such/folder/x.preset"); }),
              "fopen() IO failure on file no/such/folder/x.preset(w)");
}

TEST_F(Preset, AllDriversAtTheirOwnPaths) {
    config_session session;
    write_file("presets.ini", "<configuration file for presets.ini, 1 header(s)>\n\n"
                              "[paths] (1 entry)\n\n$path.presets$ = presets\n\n<eof>\n");
    ASSERT_EQ(config_load("presets.ini"), 1);
    ASSERT_EQ(system_mkdir("presets"), 0);
    ASSERT_EQ(bitmapfx_save_preset(nullptr, nullptr), nullptr);
    int drivers = 0;
    for (bitmapfx_driver *d = bitmapfx_first_driver(); d; d = d->next, ++drivers) {
        char *path = config_alias(d->preset);
        EXPECT_TRUE(file_exists(path)) << path;
        xfree(path);
    }
    EXPECT_TRUE(capture.said("saving 'test.preset' driver's preset "
                             "'$path.presets$/test-preset.preset'"));
    EXPECT_TRUE(file_exists("presets/standard-plasma.preset"));
    EXPECT_TRUE(file_exists("presets/fast-quant.preset"));

    scramble();
    ASSERT_EQ(bitmapfx_load_preset(nullptr), nullptr);
    EXPECT_EQ(level, 3);
    EXPECT_TRUE(capture.said("loading '$path.presets$/test-preset.preset' driver's preset "
                             "'test.preset'"));
    int loaded = 0;
    for (const captured_message &m : capture.verboses)
        loaded += m.text.rfind("loading '", 0) == 0;
    EXPECT_EQ(loaded, drivers);

    // The first missing file stops the walk.
    std::remove("presets/fast-quant.preset");
    EXPECT_STREQ(bitmapfx_load_preset(nullptr), "failed to open file for reading");
}

TEST_F(Preset, MetaCommandsSetParameters) {
    EXPECT_EQ(bitmapfx_meta_command("set fxdriver test.preset parameter level to 12"), 1);
    EXPECT_EQ(level, 12);
    EXPECT_EQ(bitmapfx_meta_command("  set fxdriver test.preset parameter tint to "
                                    "r:0.5 g:0.5 b:0.25  "),
              1);
    EXPECT_EQ(tint.b, 0.25);
    for (const char *other :
         {"set fxdriver test.preset parameter level to", "set fxdriver test.preset parameter level",
          "set driver test.preset parameter level to 1", "picture.tga", ""})
        EXPECT_EQ(bitmapfx_meta_command(other), 0) << other;
    EXPECT_EQ(level, 12);
    EXPECT_EQ(
        error_of([] { bitmapfx_meta_command("set fxdriver test.preset parameter nothing to 1"); }),
        "no such parameter 'nothing' for driver 'test.preset'");
}

TEST_F(Preset, MetaCommandsRunEffectsOnFiles) {
    if (!bitmapio_find_driver("targa", nullptr))
        bitmapio_register_driver(&bitmapio_targa_driver);
    owned picture(fxtest::photo_like(40, 30));
    ASSERT_NE(bitmap_filesave(picture.get(), "in.tga", "targa"), 0);
    EXPECT_EQ(bitmapfx_meta_command("run fxdriver quant.fast on bitmap in.tga and save as out.tga"),
              1);
    owned result(bitmap_fileload("out.tga"));
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->bpp, 8);
    EXPECT_EQ(result->xsize, 40u);

    EXPECT_EQ(error_of([] {
                  bitmapfx_meta_command("run fxdriver quant.fast on bitmap none.xyz and save as "
                                        "x.tga");
              }),
              "no such bitmap 'none.xyz'");
    EXPECT_EQ(error_of([] {
                  bitmapfx_meta_command("run fxdriver no.effect on bitmap in.tga and save as "
                                        "x.tga");
              }),
              "failed to find fx driver 'no.effect'");
    EXPECT_FALSE(file_exists("x.tga"));
}

TEST_F(Preset, MangledFilesNeverCrashOrLeaveFilesOpen) {
    // Deterministic mutations of a good file: byte changes, cuts and
    // insertions of the characters the reader treats specially.
    std::uint32_t state = 2024u;
    auto next = [&state](std::uint32_t range) {
        state = state * 1664525u + 1013904223u;
        return (state >> 8) % range;
    };
    const char specials[] = "\"#(){}=<>[],\t\n\r 0x-9%";
    int accepted = 0;
    for (int round = 0; round < 400; ++round) {
        std::string text = saved;
        for (int edits = 1 + next(3); edits > 0; --edits) {
            std::size_t at = next(static_cast<std::uint32_t>(text.size()));
            switch (next(4)) {
            case 0:
                text[at] = specials[next(sizeof specials - 1)];
                break;
            case 1:
                text[at] = static_cast<char>(next(256));
                break;
            case 2:
                text.insert(at, 1, specials[next(sizeof specials - 1)]);
                break;
            default:
                text.resize(at);
                break;
            }
        }
        error_of([&] {
            if (!load_text(text))
                ++accepted;
        });
        ASSERT_FALSE(streamio_otable_isopen("edited.preset")) << "round " << round;
        defaults();
    }
    // Most edits break the file, some (inside comments or values) do not.
    EXPECT_GT(accepted, 0);
    EXPECT_LT(accepted, 400);
}
