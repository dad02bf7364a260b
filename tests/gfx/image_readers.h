// Outside readers for the image-file tests: each turns a file into the pixels
// a real program sees, as red, green, blue bytes.
#pragma once

#include "image_test_support.h"

#include <gtest/gtest.h>

#include <cstdint>
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
