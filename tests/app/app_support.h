// Helpers for the tests that run the built program and the background setter
// in child processes, under a private X server where they need one.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// What a finished child left: its exit status (-1 when a signal ended it),
// its standard output and error.
struct run_result {
    int status = -1;
    std::string out;
    std::string err;
};

// The environment of a child: the test's own, minus the settings that would
// reach into a user's files or display, plus `set` (an empty value removes
// the variable).
using environment = std::map<std::string, std::string>;

// Runs `program` with `arguments` in folder `folder` (the current one when
// empty), feeding `input` on its standard input, and waits for it.
run_result run_child(const std::string &program, const std::vector<std::string> &arguments,
                     const environment &set = {}, const std::string &folder = "",
                     const std::string &input = "");

inline bool has(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

// The built program and setter.
std::string program_path();
std::string setroot_path();

// Makes a working configuration in `folder` (data/make-config.sh, with the
// build's setter folder as "$path.bin$"), with "$path.tmp$" moved into the
// folder too, so that parallel runs never share a desktop file.  Returns the
// copy's path.
std::string make_config(const std::string &folder);
// Replaces the value of `key` in a configuration file.
void set_config_value(const std::string &file, const std::string &key, const std::string &value);

// Runs the program in `folder` with the configuration `config`; the X
// display is `display` (empty: none).
run_result run_program(const std::vector<std::string> &arguments, const std::string &folder,
                       const std::string &config, const std::string &display = "",
                       const environment &more = {});

// True when this build can render pictures (the effect "raytrace" is
// registered); checked once by rendering one pixel.
bool tracer_available();
#define REQUIRE_TRACER()                                                                           \
    do {                                                                                           \
        ASSERT_TRUE(tracer_available()) << "the program cannot render a test pixel";               \
    } while (0)

// A private X server (Xvfb) on a free display number, stopped on destruction.
class private_display {
  public:
    private_display(int width, int height, int depth);
    ~private_display();
    private_display(const private_display &) = delete;
    private_display &operator=(const private_display &) = delete;
    const std::string &name() const { return name_; }

  private:
    int pid_ = -1;
    std::string name_;
};

// A picture as three bytes per pixel, red first, rows top to bottom.
struct rgb_picture {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> bytes;
    const std::uint8_t *at(int x, int y) const {
        return bytes.data() + (static_cast<std::size_t>(y) * width + x) * 3;
    }
};

// Writes an uncompressed 24-bit Windows bitmap (with ImageMagick).
void write_bmp(const std::string &file, const rgb_picture &picture);
// Reads any picture with ImageMagick (as an outside judge of the files).
rgb_picture read_with_imagemagick(const std::string &file);
// Reads the root window of the display's default screen.
rgb_picture read_root_window(const std::string &display);
