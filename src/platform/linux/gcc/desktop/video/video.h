// Video output of the Linux desktop.  There is no screen mode to switch to:
// the "video memory" is an off-screen bitmap, and every flush writes it to
// the desktop file "$path.tmp$/lumivane-desktop.bmp" and runs the background
// setter "$path.bin$/linux/setroot/setroot" on it, which makes it the X root
// window's background.  The X server is contacted only to see that it is
// there and to read the default screen's size and depth.
//
// The terminal stays usable while pictures are shown on the desktop, so the
// output is always in text mode as far as the message channels and the
// progress indicator are concerned.
//
// Ownership: the frame buffer is the module's; `video_linear` hands out its
// pixel block, valid until `video_close` or the next `video_setmode`.
#pragma once

#include <cstdint>

struct colormask;

// Flag bits of a probe.
enum : std::int32_t {
    VIDEO_SYNC = 2,     // the output can be flushed while a picture is drawn
    VIDEO_LINEAR = 4,   // a linear frame buffer
    VIDEO_WINDOWED = 8, // shown inside a window system
};

// What a probe found: each size -1 when unknown.
struct video_probe_info {
    std::int32_t xsize;
    std::int32_t ysize;
    std::int32_t bpp;
    std::int32_t flags;
};

// 1 with the default screen's size and depth and the flags linear and
// windowed (never sync); 0 when the X server cannot be reached.
int video_probe(video_probe_info *info);
// Makes a cleared frame buffer of that size and depth.  Null on success, else
// a text saying why not ("failed to connect to X server").
const char *video_setmode(std::int32_t xsize, std::int32_t ysize, std::int32_t bpp);
// The frame buffer's pixel block (null without a mode).  An X server that
// went away is an error.
std::uint8_t *video_linear();
// Fills `mask` with the frame buffer's pixel layout; 1 when the depth has
// one (15, 16, 24, 32), else 0.
int video_get_mask(colormask *mask);
// Writes the frame to the desktop file (frames of a depth the file type does
// not take through a 24-bit copy) and runs the background setter on it.
// An X server that went away is an error; a failing save or setter is not.
void video_flush();
// Frees the frame buffer.
void video_close();
// Size and depth of the frame buffer (0 without a mode).
std::int32_t video_xsize();
std::int32_t video_ysize();
std::int32_t video_bpp();

int video_is_text();     // always 1
void video_force_text(); // nothing to switch back on the desktop
// Palettes do not exist on the desktop: both do nothing.
void video_setpal(const std::uint8_t *palette, int first, int count);
void video_getpal(std::uint8_t *palette, int first, int count);

// Prints the X server's identity, its default depth and number of screens to
// the standard output; nothing when the server cannot be reached.
void video_print_info();

// The desktop file and the setter command as configured (with aliases).
extern const char *const video_savename;
extern const char *const video_setroot;
