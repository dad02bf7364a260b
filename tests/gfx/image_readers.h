// Outside readers and writers for the image-file tests of the formats whose
// layout is our own choice (PCX, portable pixmap, ILBM, PostScript): each
// turns a file into the pixels a real program sees, as red, green, blue bytes.
#pragma once

#include "image_test_support.h"
#include "support/capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

// The pixels of the PPM that `command` prints; the test fails when the
// command fails or prints no PPM.
inline std::vector<std::uint8_t> rgb_from_command(const std::string &command, std::uint32_t &width,
                                                  std::uint32_t &height) {
    int status = -1;
    std::string output = run_command(command, status);
    EXPECT_EQ(status, 0) << command;
    std::vector<std::uint8_t> rgb;
    width = height = 0;
    EXPECT_TRUE(parse_ppm(output, width, height, rgb)) << command << " printed no PPM";
    return rgb;
}

// Commands that print a file as an 8-bit binary PPM.
inline std::string magick_reads(const std::string &file) {
    return tool_path("convert") + " " + file + " -depth 8 ppm:- 2>&1";
}
inline std::string pillow_reads(const std::string &file) {
    return tool_path("python3") +
           " -c 'import sys; from PIL import Image; "
           "Image.open(sys.argv[1]).convert(\"RGB\").save(sys.stdout.buffer, \"PPM\")' " +
           file;
}
inline std::string netpbm_reads(const std::string &tool, const std::string &file) {
    return tool_path(tool) + " " + file + " 2>/dev/null";
}

// Runs a command that writes a file; the test fails when it fails.
inline void run_writer(const std::string &command) {
    int status = -1;
    run_command(command + " 2>/dev/null", status);
    EXPECT_EQ(status, 0) << command;
}

// The picture's pixels as a PPM file, for the outside writers to read.
inline void put_ppm(const std::string &path, std::uint32_t width, std::uint32_t height,
                    const std::vector<std::uint8_t> &rgb) {
    put_file(path, as_bytes(ppm_of(width, height, rgb)));
}

// A 7 x 5 picture of ten colours, for the formats that pick their layout by
// the number of colours.
inline std::vector<std::uint8_t> ten_colour_rgb() {
    std::vector<std::uint8_t> rgb;
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x) {
            int i = (x + y * 3) % 10;
            rgb.insert(rgb.end(), {static_cast<std::uint8_t>(i * 17),
                                   static_cast<std::uint8_t>((i * 53) % 256),
                                   static_cast<std::uint8_t>(255 - i * 15)});
        }
    return rgb;
}

// The files of a folder of the source tree (e.g. "fuzz/corpus/pcx"), sorted;
// the test fails when there are none.
inline std::vector<std::string> source_files_in(const std::string &folder) {
    std::vector<std::string> files;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(
             std::string(LUMIVANE_SOURCE_DIR) + "/" + folder, error))
        if (entry.is_regular_file())
            files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    EXPECT_FALSE(files.empty()) << folder << " holds no files";
    return files;
}

// The warnings that image-file drivers gave (the stream layer may warn about
// the same file for reasons of its own), one a line.
inline std::string driver_warnings(const message_capture &capture) {
    std::string all;
    for (const auto &warning : capture.warnings)
        if (warning.ident.rfind("bitmapio::", 0) == 0)
            all += warning.text + "\n";
    return all;
}

// Loads every file of `folder` with `load`: each must fail, with a warning
// that names it.  For the inputs that fuzzing found.
template <class Load> void expect_all_refused(const std::string &folder, Load load) {
    for (const std::string &file : source_files_in(folder)) {
        message_capture capture;
        bitmap *image = load(file.c_str());
        EXPECT_EQ(image, nullptr) << file;
        bitmap_kill(image);
        EXPECT_NE(driver_warnings(capture).find(file), std::string::npos) << file;
    }
}

// Loads every file of `folder` with `load`: each must give a picture.  For
// the fuzzers' seeds, which are sound files.
template <class Load> void expect_all_loaded(const std::string &folder, Load load) {
    for (const std::string &file : source_files_in(folder)) {
        message_capture capture; // reading through the stream layer may say things
        bitmap *image = load(file.c_str());
        EXPECT_NE(image, nullptr) << file;
        bitmap_kill(image);
    }
}
