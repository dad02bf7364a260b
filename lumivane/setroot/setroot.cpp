// setroot: makes a picture file the background of the X root window.
//
//   setroot [--fill | --center | --tile] <file>
//
// The picture is read with the library's image loaders, drawn into a pixmap
// of the default screen's size and depth (stretched to fill the screen by
// default, or centred, or tiled from the top-left corner) and set as the
// root window's background.  The pixmap is published in the root properties
// _XROOTPMAP_ID and ESETROOT_PMAP_ID, so that desktop programs can find it,
// and kept alive after this program ends (its connection's resources are
// retained).  The pixmap of the setter before is freed first, when both
// properties name it: it was left behind the same way, and killing its
// retained client frees it.  So any number of pictures in a row leave one
// pixmap and no client behind.
//
// Exit status: 0 when the background was set, 1 when the display or the
// file could not be used, 2 for a wrong command line.
#include "core/message.h"
#include "core/progress.h"
#include "file/streamio/drivers.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/pixel.h"
#include "scale.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char *usage_text =
    "usage: setroot [--fill | --center | --tile] <file>\n"
    "Sets a picture file (any format the image loaders read) as the X desktop background\n"
    "of the default screen.\n"
    "  -f, --fill     stretch the picture to fill the screen (the default)\n"
    "  -c, --center   show the picture at its size in the middle of the screen\n"
    "  -t, --tile     repeat the picture from the top-left corner\n"
    "  -h, --help     show this help\n";

[[noreturn]] void fail(int status, const char *format, ...) __attribute__((format(printf, 2, 3)));
void fail(int status, const char *format, ...) {
    std::fputs("setroot: ", stderr);
    std::va_list args;
    va_start(args, format);
    std::vfprintf(stderr, format, args);
    va_end(args);
    std::fputc('\n', stderr);
    std::fflush(stderr);
    std::_Exit(status);
}

// The library's message channels: errors end the program with status 1,
// warnings are kept to explain a failed load, verbose lines are dropped.
std::vector<std::string> warnings;

std::string format_message(const char *format, std::va_list args) {
    char text[4096];
    std::vsnprintf(text, sizeof text, format, args);
    return text;
}

void on_error(const char *, int, const char *, const char *format, ...) {
    std::va_list args;
    va_start(args, format);
    std::string text = format_message(format, args);
    va_end(args);
    fail(1, "%s", text.c_str());
}

void on_warning(const char *, int, const char *ident, const char *format, ...) {
    // The configuration is never loaded here, and the recognition table
    // names many formats without a loader: neither says anything about the
    // file at hand.
    if (ident && std::strcmp(ident, "config") == 0)
        return;
    std::va_list args;
    va_start(args, format);
    std::string text = format_message(format, args);
    va_end(args);
    if (text.rfind("failed to resolve bitmap loader", 0) != 0)
        warnings.push_back(text);
}

// Loading is quick; the library's text progress bar would only clutter.
void quiet_progress(double) {}

void on_verbose(const char *, int, const char *, const char *, ...) {}

struct options {
    scale_mode mode = scale_mode::fill;
    const char *file = nullptr;
};

options read_command_line(int argc, char **argv) {
    options chosen;
    bool only_files = false;
    for (int i = 1; i < argc; ++i) {
        std::string argument = argv[i];
        if (!only_files && argument.size() > 1 && argument[0] == '-') {
            if (argument == "--") {
                only_files = true;
            } else if (argument == "-h" || argument == "--help") {
                std::fputs(usage_text, stdout);
                std::exit(0);
            } else if (argument == "-f" || argument == "--fill") {
                chosen.mode = scale_mode::fill;
            } else if (argument == "-c" || argument == "--center" || argument == "--centre") {
                chosen.mode = scale_mode::center;
            } else if (argument == "-t" || argument == "--tile") {
                chosen.mode = scale_mode::tile;
            } else {
                std::fputs(usage_text, stderr);
                fail(2, "unknown option '%s'", argv[i]);
            }
        } else if (!chosen.file) {
            chosen.file = argv[i];
        } else {
            std::fputs(usage_text, stderr);
            fail(2, "more than one file given ('%s' and '%s')", chosen.file, argv[i]);
        }
    }
    if (!chosen.file) {
        std::fputs(usage_text, stderr);
        fail(2, "no file given");
    }
    return chosen;
}

// The picture as three bytes per pixel, red first.
bitmap_ptr load_picture(const char *file) {
    if (access(file, R_OK) != 0)
        fail(1, "cannot read '%s': %s", file, std::strerror(errno));
    xerror = on_error;
    xwarning = on_warning;
    xverbose = on_verbose;
    progress_hook(quiet_progress);
    streamio_register_builtin_drivers();
    streamio_set_defio(streamio_find_driver("stdio"));
    bitmapio_register_builtin_drivers();
    bitmap_ptr loaded(bitmap_fileload(file));
    if (!loaded) {
        for (const std::string &warning : warnings)
            std::fprintf(stderr, "setroot: %s\n", warning.c_str());
        fail(1, "'%s' is not a picture that can be read", file);
    }
    if (loaded->xsize == 0 || loaded->ysize == 0)
        fail(1, "'%s' holds an empty picture", file);
    if (loaded->bpp == 24)
        return loaded;
    bitmap_ptr converted(bitmap_upgrade(loaded.get(), 24));
    if (!converted)
        fail(1, "cannot convert '%s' from %d bits per pixel", file, loaded->bpp);
    return converted;
}

// X errors are collected and checked after a round trip; only the kill of an
// earlier setter's client may fail harmlessly (it may be gone already).
int x_error_code = 0;
int on_x_error(Display *, XErrorEvent *event) {
    x_error_code = event->error_code;
    return 0;
}

struct display_closer {
    void operator()(Display *display) const { XCloseDisplay(display); }
};

struct image_destroyer {
    void operator()(XImage *image) const { XDestroyImage(image); }
};

Pixmap pixmap_property(Display *display, Window root, Atom property) {
    Atom type = None;
    int format = 0;
    unsigned long items = 0, after = 0;
    unsigned char *data = nullptr;
    Pixmap value = None;
    if (XGetWindowProperty(display, root, property, 0, 1, False, AnyPropertyType, &type, &format,
                           &items, &after, &data) == Success &&
        type == XA_PIXMAP && format == 32 && items == 1 && data)
        value = *reinterpret_cast<Pixmap *>(data);
    if (data)
        XFree(data);
    return value;
}

// How one 8-bit channel lands in a pixel of the visual.
struct channel_layout {
    int shift;
    int bits;
};

channel_layout layout_of(unsigned long mask) {
    if (!mask)
        return {0, 0};
    return {std::countr_zero(mask), std::popcount(mask)};
}

std::uint32_t place(channel_layout layout, std::uint8_t value) {
    std::uint32_t v = value;
    if (layout.bits <= 8)
        v >>= 8 - layout.bits;
    else // wider channels repeat the top bits
        v = (v << (layout.bits - 8)) | (v >> (16 - layout.bits));
    return v << layout.shift;
}

// Bytes of client memory a strip of rows may take.
constexpr int strip_bytes = 256 * 1024;

// Packs screen rows into the image in the visual's layout, in the host's
// byte order (Xlib swaps for a server that wants the other).
class pixel_packer {
  public:
    pixel_packer(XImage *image, const Visual *visual) : image_(image) {
        const channel_layout red = layout_of(visual->red_mask);
        const channel_layout green = layout_of(visual->green_mask);
        const channel_layout blue = layout_of(visual->blue_mask);
        for (int v = 0; v < 256; ++v) {
            table_[0][v] = place(red, static_cast<std::uint8_t>(v));
            table_[1][v] = place(green, static_cast<std::uint8_t>(v));
            table_[2][v] = place(blue, static_cast<std::uint8_t>(v));
        }
        image->byte_order = std::endian::native == std::endian::little ? LSBFirst : MSBFirst;
    }

    // Packs one row into line `y` of the image.
    void pack(int y, const std::uint8_t *row) const {
        auto *out = reinterpret_cast<std::uint8_t *>(image_->data) +
                    static_cast<std::size_t>(y) * image_->bytes_per_line;
        const int width = image_->width;
        switch (image_->bits_per_pixel) {
        case 32:
            for (int x = 0; x < width; ++x, row += 3, out += 4) {
                std::uint32_t pixel = pack(row);
                std::memcpy(out, &pixel, 4);
            }
            break;
        case 16:
            for (int x = 0; x < width; ++x, row += 3, out += 2) {
                auto pixel = static_cast<std::uint16_t>(pack(row));
                std::memcpy(out, &pixel, 2);
            }
            break;
        default: // 24: three bytes in the host's order
            for (int x = 0; x < width; ++x, row += 3, out += 3) {
                std::uint32_t pixel = pack(row);
                for (int b = 0; b < 3; ++b) {
                    int shift = std::endian::native == std::endian::little ? 8 * b : 8 * (2 - b);
                    out[b] = static_cast<std::uint8_t>(pixel >> shift);
                }
            }
            break;
        }
    }

  private:
    std::uint32_t pack(const std::uint8_t *rgb) const {
        return table_[0][rgb[0]] | table_[1][rgb[1]] | table_[2][rgb[2]];
    }

    XImage *image_;
    std::uint32_t table_[3][256];
};

} // namespace

int main(int argc, char **argv) {
    options chosen = read_command_line(argc, argv);
    bitmap_ptr picture = load_picture(chosen.file);

    const char *name = std::getenv("DISPLAY");
    if (!name || !*name)
        fail(1, "no X display to set the background of (DISPLAY is not set)");
    std::unique_ptr<Display, display_closer> connection(XOpenDisplay(nullptr));
    if (!connection)
        fail(1, "cannot open display '%s'", name);
    Display *display = connection.get();
    XSetErrorHandler(on_x_error);

    const int screen = DefaultScreen(display);
    const Window root = RootWindow(display, screen);
    const int depth = DefaultDepth(display, screen);
    Visual *visual = DefaultVisual(display, screen);
    const int width = DisplayWidth(display, screen);
    const int height = DisplayHeight(display, screen);
    if (visual->c_class != TrueColor && visual->c_class != DirectColor)
        fail(1, "the default visual of depth %d has no true colours", depth);

    // The picture goes to the server in strips of rows: only one strip's
    // worth of client memory is ever touched, whatever the screen's size.
    std::unique_ptr<XImage, image_destroyer> probe(
        XCreateImage(display, visual, static_cast<unsigned>(depth), ZPixmap, 0, nullptr,
                     static_cast<unsigned>(width), 1, 32, 0));
    if (!probe ||
        (probe->bits_per_pixel != 16 && probe->bits_per_pixel != 24 && probe->bits_per_pixel != 32))
        fail(1, "depth %d is not supported", depth);
    const int strip_rows = std::clamp(strip_bytes / probe->bytes_per_line, 1, height);
    probe.reset();
    std::unique_ptr<XImage, image_destroyer> strip(
        XCreateImage(display, visual, static_cast<unsigned>(depth), ZPixmap, 0, nullptr,
                     static_cast<unsigned>(width), static_cast<unsigned>(strip_rows), 32, 0));
    if (!strip)
        fail(1, "depth %d is not supported", depth);
    // Every pixel is written before a strip is sent, so it need not be cleared.
    strip->data = static_cast<char *>(
        std::malloc(static_cast<std::size_t>(strip->bytes_per_line) * strip_rows));
    if (!strip->data)
        fail(1, "out of memory for a %dx%d screen", width, height);

    const Atom root_id = XInternAtom(display, "_XROOTPMAP_ID", False);
    const Atom esetroot_id = XInternAtom(display, "ESETROOT_PMAP_ID", False);
    const Pixmap earlier = pixmap_property(display, root, root_id);
    const Pixmap earlier_esetroot = pixmap_property(display, root, esetroot_id);

    Pixmap pixmap = XCreatePixmap(display, root, static_cast<unsigned>(width),
                                  static_cast<unsigned>(height), static_cast<unsigned>(depth));
    GC gc = XCreateGC(display, pixmap, 0, nullptr);
    const pixel_packer packer(strip.get(), visual);
    scale_picture(picture->bits, static_cast<int>(picture->xsize), static_cast<int>(picture->ysize),
                  width, height, chosen.mode, [&](int y, const std::uint8_t *row) {
                      const int line = y % strip_rows;
                      packer.pack(line, row);
                      if (line == strip_rows - 1 || y == height - 1)
                          XPutImage(display, pixmap, gc, strip.get(), 0, 0, 0, y - line,
                                    static_cast<unsigned>(width), static_cast<unsigned>(line + 1));
                  });
    picture.reset();
    XFreeGC(display, gc);
    XSync(display, False);
    if (x_error_code)
        fail(1, "cannot draw a %dx%d pixmap of depth %d (X error %d)", width, height, depth,
             x_error_code);

    XSetWindowBackgroundPixmap(display, root, pixmap);
    XClearWindow(display, root);
    // The earlier pixmap was left behind by a setter like this one when both
    // properties name it; one named only by _XROOTPMAP_ID belongs to a
    // program that is still running and is not ours to free.
    if (earlier != None && earlier == earlier_esetroot) {
        XKillClient(display, earlier);
        XSync(display, False);
        x_error_code = 0;
    }
    XChangeProperty(display, root, root_id, XA_PIXMAP, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char *>(&pixmap), 1);
    XChangeProperty(display, root, esetroot_id, XA_PIXMAP, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char *>(&pixmap), 1);
    XSetCloseDownMode(display, RetainPermanent);
    XSync(display, False);
    if (x_error_code)
        fail(1, "cannot set the background (X error %d)", x_error_code);
    return 0;
}
