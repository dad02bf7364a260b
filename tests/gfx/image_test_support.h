// Shared pieces of the image-file tests: the stream set-up, the registry of
// the application's image-file drivers, test pictures, byte helpers and the
// outside image tools (ImageMagick, netpbm, Pillow) that judge our files.
#pragma once

#include "gfx/2d/bitmap/bitmap.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Registers the default stream driver ("saferio") once per process, the way
// the application does before it touches a file.
void image_streams_ready();

// Empties the image-file registry and registers the application's drivers
// in its order (the newest, "targa", is searched first).  Streams are made
// ready too.
void register_image_drivers();

// A test picture that catches swapped channels, flips and row padding: a 6 x 5
// red "F" on blue, at any depth (8 bpp: index 1 on index 0 of a two-entry
// colormap of blue and red).
constexpr std::uint32_t f_width = 6;
constexpr std::uint32_t f_height = 5;
bitmap_ptr make_f_picture(std::int32_t bpp);

// The F as the golden files of tests/data/golden hold it: "f" as above;
// "nomap" at 8 bpp without colormap (the grey ramp is meant); "grey" at 8 bpp
// with two greys for blue and red; "comment" with the comment "F\n(1)".
bitmap_ptr golden_picture(const std::string &variant, std::int32_t bpp);

// The same picture as 8-bit red, green, blue triples, top row first.
std::vector<std::uint8_t> f_rgb();

// A picture of every depth with pixel values drawn from a fixed sequence
// (valid 15-bpp pixels keep their top bit clear); 8 bpp gets a 256-entry
// colormap of the same kind.
bitmap_ptr make_pattern(std::uint32_t width, std::uint32_t height, std::int32_t bpp,
                        std::uint32_t seed = 1);

// The picture as 8-bit red, green, blue triples (8 bpp through its colormap).
std::vector<std::uint8_t> rgb_of(const bitmap *image);

std::string file_bytes(const std::string &path);

// The lines of a text file under tests/data without blank and '#' lines, each
// split into its first `fields` words and the rest of the line.
std::vector<std::vector<std::string>> index_lines(const std::string &name, int fields);

// `text` with the escapes \n, \t, \\ and \xNN (NN two hex digits) replaced.
std::string unescaped(const std::string &text);

// The pixels of a PPM (P3 or P6, maxval 255); false when the text is none.
bool parse_ppm(const std::string &text, std::uint32_t &width, std::uint32_t &height,
               std::vector<std::uint8_t> &rgb);

// Runs a shell command; returns its standard output and sets `status` to its
// exit status.  Standard error goes to the test's own.
std::string run_command(const std::string &command, int &status);

// The pixels of the PPM that `command` prints; the test fails when the
// command fails or prints no PPM.
std::vector<std::uint8_t> rgb_from_command(const std::string &command, std::uint32_t &width,
                                           std::uint32_t &height);

// The absolute path of an outside tool that the README's test command
// installs; the calling test fails (not skips) when it is missing.
std::string tool_path(const std::string &name);
