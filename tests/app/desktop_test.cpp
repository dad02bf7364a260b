// The desktop: the program's video output and the background setter under a
// private X server, judged by reading the root window back.
#include "app/app_support.h"
#include "gfx/2d/bitmap/color.h"
#include "platform/linux/gcc/desktop/video/video.h"
#include "support/fixture.h"
#include "support/scratch.h"

// Before the X headers, whose macros (None) clash with its names.
#include <gtest/gtest.h>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/extensions/XRes.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

// An asymmetric picture: swapped channels, flips and off-by-one scaling all
// show.
rgb_picture test_picture(int width, int height) {
    rgb_picture picture{width, height, {}};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            picture.bytes.insert(picture.bytes.end(),
                                 {static_cast<std::uint8_t>(x * 255 / (width - 1)),
                                  static_cast<std::uint8_t>(y * 255 / (height - 1)),
                                  static_cast<std::uint8_t>((x / 8 + y / 8) % 2 ? 200 : 40)});
    return picture;
}

enum class layout { fill, center, tile };

// The screen the setter should show, worked out in floating point: the fill
// samples bilinearly with pixel centres aligned and edges clamped.
rgb_picture expected_screen(const rgb_picture &p, int width, int height, layout how) {
    rgb_picture screen{width, height, std::vector<std::uint8_t>(width * height * 3, 0)};
    auto source = [&](double position, int size, int &first, int &second, double &weight) {
        position = std::clamp(position, 0.0, size - 1.0);
        first = static_cast<int>(std::floor(position));
        second = std::min(first + 1, size - 1);
        weight = position - first;
    };
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::uint8_t *out = screen.bytes.data() + (y * width + x) * 3;
            if (how == layout::fill) {
                int x0, x1, y0, y1;
                double wx, wy;
                source((x + 0.5) * p.width / width - 0.5, p.width, x0, x1, wx);
                source((y + 0.5) * p.height / height - 0.5, p.height, y0, y1, wy);
                for (int c = 0; c < 3; ++c) {
                    double top = p.at(x0, y0)[c] * (1 - wx) + p.at(x1, y0)[c] * wx;
                    double bottom = p.at(x0, y1)[c] * (1 - wx) + p.at(x1, y1)[c] * wx;
                    out[c] = static_cast<std::uint8_t>(std::lround(top * (1 - wy) + bottom * wy));
                }
            } else if (how == layout::tile) {
                std::copy_n(p.at(x % p.width, y % p.height), 3, out);
            } else {
                int sx = x - (width - p.width) / 2, sy = y - (height - p.height) / 2;
                if (sx >= 0 && sy >= 0 && sx < p.width && sy < p.height)
                    std::copy_n(p.at(sx, sy), 3, out);
            }
        }
    }
    return screen;
}

// The largest channel difference, and where the first pixel beyond
// `tolerance` is.
::testing::AssertionResult close_to(const rgb_picture &seen, const rgb_picture &wanted,
                                    int tolerance) {
    if (seen.width != wanted.width || seen.height != wanted.height)
        return ::testing::AssertionFailure() << "sizes differ";
    int worst = 0, bad = 0;
    std::string first;
    for (int y = 0; y < seen.height; ++y)
        for (int x = 0; x < seen.width; ++x)
            for (int c = 0; c < 3; ++c) {
                int difference = std::abs(seen.at(x, y)[c] - wanted.at(x, y)[c]);
                worst = std::max(worst, difference);
                if (difference > tolerance && bad++ == 0)
                    first = "(" + std::to_string(x) + "," + std::to_string(y) + ") channel " +
                            std::to_string(c) + ": " + std::to_string(seen.at(x, y)[c]) +
                            " instead of " + std::to_string(wanted.at(x, y)[c]);
            }
    if (bad)
        return ::testing::AssertionFailure()
               << bad << " channel values off by more than " << tolerance << ", first at " << first;
    return ::testing::AssertionSuccess() << "worst difference " << worst;
}

struct display_closer {
    void operator()(Display *display) const { XCloseDisplay(display); }
};
using connection = std::unique_ptr<Display, display_closer>;

connection open(const std::string &name) {
    connection display(XOpenDisplay(name.c_str()));
    if (!display)
        throw std::runtime_error("cannot open " + name);
    return display;
}

Pixmap root_property(Display *display, const char *name) {
    Atom property = XInternAtom(display, name, False);
    Atom type;
    int format;
    unsigned long items, after;
    unsigned char *data = nullptr;
    Pixmap value = None;
    if (XGetWindowProperty(display, DefaultRootWindow(display), property, 0, 1, False, XA_PIXMAP,
                           &type, &format, &items, &after, &data) == Success &&
        data && items == 1)
        value = *reinterpret_cast<Pixmap *>(data);
    if (data)
        XFree(data);
    return value;
}

int ignore_errors(Display *, XErrorEvent *) {
    return 0;
}

// The size of a pixmap, or 0x0 when the server no longer has it.
std::pair<unsigned, unsigned> pixmap_size(const std::string &name, Pixmap pixmap) {
    connection display = open(name);
    XErrorHandler previous = XSetErrorHandler(ignore_errors);
    Window root;
    int x, y;
    unsigned width = 0, height = 0, border, depth;
    if (!XGetGeometry(display.get(), pixmap, &root, &x, &y, &width, &height, &border, &depth))
        width = height = 0;
    XSync(display.get(), False);
    XSetErrorHandler(previous);
    return {width, height};
}

// Clients and pixmaps the server holds, the asking connection included.
std::pair<int, long> resources(const std::string &name) {
    connection display = open(name);
    int count = 0;
    XResClient *clients = nullptr;
    XResQueryClients(display.get(), &count, &clients);
    const Atom pixmap_type = XInternAtom(display.get(), "PIXMAP", False);
    std::pair<int, long> found{count, 0};
    for (int i = 0; i < count; ++i) {
        int kinds = 0;
        XResType *types = nullptr;
        XResQueryClientResources(display.get(), clients[i].resource_base, &kinds, &types);
        for (int k = 0; k < kinds; ++k)
            if (types[k].resource_type == pixmap_type)
                found.second += types[k].count;
        XFree(types);
    }
    XFree(clients);
    return found;
}

// Another program that sets a plain colour the usual way: it frees a pixmap
// left behind by a setter and withdraws the properties.
void set_plain_background(const std::string &name) {
    connection display = open(name);
    Display *d = display.get();
    Pixmap earlier = root_property(d, "_XROOTPMAP_ID");
    if (earlier != None && earlier == root_property(d, "ESETROOT_PMAP_ID"))
        XKillClient(d, earlier);
    Window root = DefaultRootWindow(d);
    XSetWindowBackground(d, root, BlackPixel(d, DefaultScreen(d)));
    XClearWindow(d, root);
    XDeleteProperty(d, root, XInternAtom(d, "_XROOTPMAP_ID", False));
    XDeleteProperty(d, root, XInternAtom(d, "ESETROOT_PMAP_ID", False));
    XSync(d, False);
}

run_result setroot(const std::vector<std::string> &arguments, const std::string &display) {
    return run_child(setroot_path(), arguments, {{"DISPLAY", display}});
}

TEST(Setroot, DrawsThePictureAsTheScreenWants) {
    struct row {
        int depth;
        layout how;
        const char *option;
        int tolerance; // what the depth's channels lose, plus rounding
    };
    const row rows[] = {
        {24, layout::fill, nullptr, 2},  {24, layout::center, "--center", 0},
        {24, layout::tile, "--tile", 0}, {16, layout::fill, "--fill", 10},
        {16, layout::center, "-c", 8},
    };
    scratch_directory scratch;
    const rgb_picture picture = test_picture(64, 48);
    write_bmp("picture.bmp", picture);
    std::map<int, std::unique_ptr<private_display>> servers;
    for (const row &r : rows) {
        auto &server = servers[r.depth];
        if (!server)
            // Large enough for the setter to send several strips of rows.
            server = std::make_unique<private_display>(640, 480, r.depth);
        std::vector<std::string> arguments;
        if (r.option)
            arguments.push_back(r.option);
        arguments.push_back(scratch.path() + "/picture.bmp");
        run_result result = setroot(arguments, server->name());
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_TRUE(close_to(read_root_window(server->name()),
                             expected_screen(picture, 640, 480, r.how), r.tolerance))
            << "depth " << r.depth << " " << (r.option ? r.option : "(default)");
    }
}

TEST(Setroot, RefusesWithAReason) {
    scratch_directory scratch;
    write_bmp("picture.bmp", test_picture(4, 4));
    write_file("words.bmp", "not a picture\n");
    for (const auto &row : fixture_rows("app/setroot-refusals.txt")) {
        run_result result =
            run_child(setroot_path(), fixture_words(row[0]), {{"DISPLAY", row[1]}}, scratch.path());
        EXPECT_EQ(result.status, std::stoi(row[2])) << row[3];
        EXPECT_TRUE(has(result.err, row[3])) << result.err;
    }
    run_result help = run_child(setroot_path(), {"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(has(help.out, "usage: setroot [--fill | --center | --tile] <file>"));
}

TEST(Setroot, LeavesOnePixmapAndNoClientBehind) {
    scratch_directory scratch;
    write_bmp("picture.bmp", test_picture(16, 12));
    private_display server(64, 48, 24);
    const auto before = resources(server.name());

    ASSERT_EQ(setroot({"picture.bmp"}, server.name()).status, 0);
    const auto after_one = resources(server.name());
    EXPECT_EQ(after_one.first, before.first + 1) << "the setter's retained connection";
    EXPECT_EQ(after_one.second, before.second + 1) << "pixmaps";
    connection display = open(server.name());
    const Pixmap first = root_property(display.get(), "_XROOTPMAP_ID");
    EXPECT_NE(first, static_cast<Pixmap>(None));
    EXPECT_EQ(root_property(display.get(), "ESETROOT_PMAP_ID"), first);
    EXPECT_EQ(pixmap_size(server.name(), first), std::make_pair(64u, 48u));
    display.reset();

    for (int run = 1; run < 50; ++run)
        ASSERT_EQ(setroot({"picture.bmp"}, server.name()).status, 0) << "run " << run;
    EXPECT_EQ(resources(server.name()), after_one) << "after 50 runs";
    EXPECT_EQ(pixmap_size(server.name(), first), std::make_pair(0u, 0u)) << "the first is freed";

    display = open(server.name());
    const Pixmap last = root_property(display.get(), "_XROOTPMAP_ID");
    display.reset();
    set_plain_background(server.name());
    EXPECT_EQ(resources(server.name()), before) << "another setter freed ours";
    EXPECT_EQ(pixmap_size(server.name(), last), std::make_pair(0u, 0u));
}

TEST(DesktopVideo, ProbeFontAndMode) {
    private_display server(160, 120, 24);
    scratch_directory scratch;
    std::string config = make_config(scratch.path());
    run_result result = run_program({"-m", "0"}, scratch.path(), config, server.name());
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(has(result.out, "Lumivane was active for "));
    std::string verbose = read_file("verbose.logfile");
    const char *lines[] = {
        "video probe: xsize = 160 (-1 for unknown)", "video probe: ysize = 120 (-1 for unknown)",
        "video probe: bpp   = 24 (-1 for unknown)",  "video probe: linear addressing allowed",
        "video probe: windowed environment",         "video probe: sync disallowed",
    };
    std::size_t at = 0;
    for (const char *line : lines) {
        at = verbose.find(line, at);
        EXPECT_NE(at, std::string::npos) << line << " (in this order)";
    }
    std::string warnings = read_file("warning.logfile");
    EXPECT_TRUE(has(warnings, "video probe: not displaying progress bar (sync is not allowed)"));
    EXPECT_FALSE(has(warnings, "failed to load font"));

    set_config_value(config, "$default.font$", scratch.path() + "/missing.fnt");
    run_program({"-m", "0"}, scratch.path(), config, server.name());
    EXPECT_TRUE(has(read_file("warning.logfile"),
                    "failed to load font '$default.font$', will try to use standard font"));

    run_result info = run_program({"-9"}, scratch.path(), config, server.name());
    EXPECT_TRUE(has(info.out, "of the X Window System, X11 R0 (with MIT's shm extensions) "
                              "connection #"))
        << info.out;
    EXPECT_TRUE(has(info.out, "default depth is 24 bpp, 1 screen(s) available\n"));
}

// The frame's pixel layout: a table mask for the depths the desktop file
// takes as they stand, the caller's own for 32 bits, none for palettes.
TEST(DesktopVideo, FrameMaskFollowsTheDepth) {
    private_display server(16, 16, 24);
    setenv("DISPLAY", server.name().c_str(), 1);
    const std::pair<int, const char *> depths[] = {
        {15, "rgb555"}, {16, "rgb565"}, {24, "bgr24"}, {32, "unchanged"}, {8, nullptr}};
    for (const auto &[bpp, name] : depths) {
        ASSERT_EQ(video_setmode(4, 4, bpp), nullptr) << bpp;
        colormask mask{};
        mask.name = "unchanged";
        EXPECT_EQ(video_get_mask(&mask), name ? 1 : 0) << bpp;
        const colormask *wanted = name ? color_getmask(name, nullptr) : nullptr;
        EXPECT_TRUE(!wanted || std::memcmp(&mask, wanted, sizeof mask) == 0) << bpp;
    }
    video_close();
    unsetenv("DISPLAY");
}

TEST(DesktopVideo, ProbedSizeAndLaterOptions) {
    private_display server(160, 120, 24);
    scratch_directory scratch;
    std::string config = make_config(scratch.path());
    run_program({"-e", "-x", "64", "-q"}, scratch.path(), config, server.name());
    EXPECT_TRUE(has(read_file("verbose.logfile"), "video probe: setting x-resolution to 160"));
    EXPECT_TRUE(has(read_file("verbose.logfile"), "video probe: setting y-resolution to 120"));
    REQUIRE_TRACER();
    struct row {
        std::vector<std::string> order;
        int width, height;
    };
    const row rows[] = {
        {{"-e", "-x", "64"}, 64, 120},
        {{"-x", "64", "-e"}, 160, 120},
    };
    for (const row &r : rows) {
        std::vector<std::string> arguments = r.order;
        arguments.insert(arguments.end(), {"-d", "-m", "1", "-s", "sized.tga"});
        run_program(arguments, scratch.path(), config, server.name());
        rgb_picture picture = read_with_imagemagick(scratch.path() + "/sized.tga");
        EXPECT_EQ(picture.width, r.width) << r.order[0];
        EXPECT_EQ(picture.height, r.height) << r.order[0];
    }
}

TEST(DesktopVideo, ShowsEachPictureWithItsCookie) {
    REQUIRE_TRACER();
    private_display server(400, 300, 24);
    // 24 bits per pixel, and 32 (-A), which the desktop file cannot hold as
    // it stands.
    struct row {
        const char *depth;
        std::vector<std::string> more;
    };
    for (const row &r : {row{"24 bpp", {}}, row{"32 bpp", {"-A"}}}) {
        const char *depth = r.depth;
        scratch_directory scratch;
        std::string config = make_config(scratch.path());
        std::vector<std::string> arguments = {"-m", "1", "-c", "-s", "shot%04d.tga"};
        arguments.insert(arguments.end(), r.more.begin(), r.more.end());
        run_result result = run_program(arguments, scratch.path(), config, server.name());
        ASSERT_EQ(result.status, 0) << result.err;
        rgb_picture saved = read_with_imagemagick("shot0000.tga");
        rgb_picture desktop = read_with_imagemagick("lumivane-desktop.bmp");
        ASSERT_EQ(desktop.width, saved.width);
        ASSERT_EQ(desktop.height, saved.height);
        // The desktop frame is the saved picture with the cookie printed in
        // white.
        int cookie = 0, other = 0;
        for (int y = 0; y < saved.height; ++y)
            for (int x = 0; x < saved.width; ++x)
                if (!std::equal(saved.at(x, y), saved.at(x, y) + 3, desktop.at(x, y)))
                    ++(desktop.at(x, y)[0] == 255 && desktop.at(x, y)[1] == 255 &&
                               desktop.at(x, y)[2] == 255
                           ? cookie
                           : other);
        EXPECT_GT(cookie, 0) << depth << ": a cookie was printed";
        EXPECT_EQ(other, 0) << depth;
        EXPECT_TRUE(close_to(read_root_window(server.name()),
                             expected_screen(desktop, 400, 300, layout::fill), 2))
            << depth;
        connection display = open(server.name());
        Pixmap shown = root_property(display.get(), "_XROOTPMAP_ID");
        EXPECT_EQ(root_property(display.get(), "ESETROOT_PMAP_ID"), shown);
        EXPECT_EQ(pixmap_size(server.name(), shown), std::make_pair(400u, 300u));
    }
}

} // namespace
