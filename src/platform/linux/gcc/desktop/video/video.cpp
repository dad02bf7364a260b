#include "platform/linux/gcc/desktop/video/video.h"

#include "core/memio/memio.h"
#include "core/message.h"
#include "core/path.h"
#include "file/config.h"
#include "gfx/2d/bitmap/bitinfo.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/color.h"
#include "gfx/2d/bitmap/pixel.h"

#include <X11/Xlib.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

static constexpr const char *source_file = "./src/platform/linux/gcc/desktop/video/video.c";
static constexpr const char *source_ident = "video::linux::desktop";

const char *const video_savename = "$path.tmp$/lumivane-desktop.bmp";
const char *const video_setroot = "$path.bin$/linux/setroot/setroot";

namespace {

bitmap *frame = nullptr;

struct display_closer {
    void operator()(Display *display) const { XCloseDisplay(display); }
};
using display_ptr = std::unique_ptr<Display, display_closer>;

// Every operation opens its own short connection: the program holds none
// between pictures, so a server that goes away is noticed at the next call.
display_ptr open_display() {
    return display_ptr(XOpenDisplay(nullptr));
}

void require_server() {
    if (!open_display())
        XERROR("failed to communicate with X server (server died)");
}

struct text_deleter {
    void operator()(char *text) const { xfree(text); }
};
using owned_text = std::unique_ptr<char, text_deleter>;

// One word for the shell, whatever the folder names hold (the run folders
// may contain blanks).
std::string shell_word(const char *text) {
    std::string word = "'";
    for (const char *c = text; *c; ++c) {
        if (*c == '\'')
            word += "'\\''";
        else
            word += *c;
    }
    return word + "'";
}

} // namespace

int video_probe(video_probe_info *info) {
    display_ptr display = open_display();
    if (!display)
        return 0;
    int screen = DefaultScreen(display.get());
    info->xsize = DisplayWidth(display.get(), screen);
    info->ysize = DisplayHeight(display.get(), screen);
    info->bpp = DefaultDepth(display.get(), screen);
    info->flags = VIDEO_LINEAR | VIDEO_WINDOWED;
    return 1;
}

const char *video_setmode(std::int32_t xsize, std::int32_t ysize, std::int32_t bpp) {
    if (!open_display())
        return "failed to connect to X server";
    bitmap_kill(frame);
    frame = nullptr;
    // Negative sizes turn into sizes beyond every limit, which the
    // allocation refuses with an error.
    frame =
        bitmap_alloc2(static_cast<std::uint32_t>(xsize), static_cast<std::uint32_t>(ysize), bpp);
    return frame ? nullptr : "failed to allocate the frame buffer";
}

std::uint8_t *video_linear() {
    require_server();
    return frame ? frame->bits : nullptr;
}

int video_get_mask(colormask *mask) {
    if (!frame)
        return 0;
    const char *name = nullptr;
    switch (frame->bpp) {
    case 15:
        name = "rgb555";
        break;
    case 16:
        name = "rgb565";
        break;
    case 24:
        name = "bgr24";
        break;
    case 32:
        // No mask of the table carries this name, so the caller's mask stays
        // as it was; the frame is written as it stands and the setter
        // ignores the fourth byte.
        name = "abgr24";
        break;
    default:
        return 0;
    }
    color_getmask(name, mask);
    return 1;
}

void video_flush() {
    if (!frame)
        return;
    owned_text command(config_alias(video_setroot));
    owned_text file(config_alias(video_savename));
    require_server();
    if (!command || !file)
        return;
    // Saved under the configured name: the stream layer expands it again.
    // The Windows bitmap writer takes 8 and 24 bits per pixel only; a frame
    // of another depth is shown through a 24-bit copy.
    if (!bitmap_filesave(frame, video_savename, nullptr) && frame->bpp != 24) {
        if (bitmap *copy = bitmap_upgrade(frame, 24)) {
            bitmap_filesave(copy, video_savename, nullptr);
            bitmap_kill(copy);
        }
    }
    std::string line = shell_word(command.get()) + " " + shell_word(path_unix(file.get()));
    // The setter reports its own failures; the next picture tries again.
    [[maybe_unused]] int ignored = std::system(line.c_str());
}

void video_close() {
    bitmap_kill(frame);
    frame = nullptr;
}

std::int32_t video_xsize() {
    return frame ? static_cast<std::int32_t>(bitmap_xsize(frame)) : 0;
}
std::int32_t video_ysize() {
    return frame ? static_cast<std::int32_t>(bitmap_ysize(frame)) : 0;
}
std::int32_t video_bpp() {
    return frame ? bitmap_bpp(frame) : 0;
}

int video_is_text() {
    return 1;
}
void video_force_text() {}
void video_setpal(const std::uint8_t *, int, int) {}
void video_getpal(std::uint8_t *, int, int) {}

void video_print_info() {
    display_ptr display = open_display();
    if (!display)
        return;
    Display *d = display.get();
    std::printf("%s version %d of the X Window System, X%d R%d (with MIT's shm extensions) "
                "connection #%d\n",
                ServerVendor(d), VendorRelease(d), ProtocolVersion(d), ProtocolRevision(d),
                ConnectionNumber(d));
    std::printf("default depth is %d bpp, %d screen(s) available\n",
                DefaultDepth(d, DefaultScreen(d)), ScreenCount(d));
    std::fflush(stdout);
}
