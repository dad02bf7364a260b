// Lumivane: composes random raytraced pictures one after another.
//
// The library's `main` starts the system and calls `xmain` below, which
// registers every driver the program carries, loads the configuration,
// starts timer, keyboard and random numbers, reads the command line and
// then renders pictures with the effect "raytrace".  Each picture can be
// shown as the desktop background (with a cookie over it), saved to a
// numbered image file and handed to a command.  The program ends through
// `xexit`, never by returning.
#include "core/debshell.h"
#include "core/exithand.h"
#include "core/getopt.h"
#include "core/integrity.h"
#include "core/memio/memio.h"
#include "core/message.h"
#include "core/progress.h"
#include "core/timer.h"
#include "core/xmain.h"
#include "core/xstring.h"
#include "file/config.h"
#include "file/cookie.h"
#include "file/streamio/drivers.h"
#include "gfx/2d/bitmap/bitfont.h"
#include "gfx/2d/bitmap/bitinfo.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/color.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/bitmapfx_preset.h"
#include "gfx/3d/partsys.h"
#include "platform/linux/gcc/desktop/keyboard.h"
#include "platform/linux/gcc/desktop/video/video.h"
#include "template.h"
#include "user_config.h"
#include "xmath/xrand.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

static constexpr const char *source_file = "./lumivane.c";
static constexpr const char *source_ident = "Lumivane";

static std::int32_t xres = 320;
static std::int32_t yres = 200;
static std::int32_t bpp = 24;
static std::int32_t display = 1;
// Set by the progress hook when the user asks to stop; only the hook reads it.
static std::int32_t exiting = 0;

// The video memory as a bitmap: its pixel block belongs to the video output.
static bitmap vscreen_record;
static bitmap *const vscreen = &vscreen_record;
static std::uint8_t flip = 0;

static constexpr std::size_t buffer_size = 4096;
static constexpr int escape_key = 27;
static constexpr int blank_key = 32;
static constexpr std::uint32_t white = 0xFFFFFFFF;

// The picture every loop turn asks for.
static constexpr const char *tracer_name = "raytrace";

static getopt_option coptions[] = {
    {"h", nullptr, "help", "display simple help", nullptr},
    {"H", nullptr, "more_help", "display advanced help", nullptr},
    {"S:s", "<driver>", "streamio_driver", "use driver as default streamio", nullptr},
    {"x:d", "<value>", "xres", "set video's x-resolution", nullptr},
    {"y:d", "<value>", "yres", "set video's y-resolution", nullptr},
    {"A", nullptr, "alpha", "render alpha channel", nullptr},
    {"a:d", "<value>", "alloc_alignment", "set allocation alignment", nullptr},
    {"s:s", "<template>", "save", "save pictures to disk", nullptr},
    {"M:s", "<string>", "meta", "run bitmapfx meta command", nullptr},
    {"W:s", "<filename|*>", "write_presets", "save bitmapfx driver preset(s)", nullptr},
    {"R:s", "<filename|*>", "read_presets", "load bitmapfx driver preset(s)", nullptr},
    {"q", nullptr, "quit", "quit application", nullptr},
    {"d", nullptr, "no_display", "don't display images", nullptr},
    {"E:s", "<command>", "exec", "exec command on image", nullptr},
    {"m:d", "<value>", "max_image", "number of images to generate", nullptr},
    {"p", nullptr, "no_progress", "don't display progress bar", nullptr},
    {"e", nullptr, "auto_probe", "probe and use display properties", nullptr},
    {"c", nullptr, "cookie", "render cookies", nullptr},
    // -X and -Y take a number but show no placeholder in the help.
    {"X:d", nullptr, "cookie_xpos", "cookie's x position", nullptr},
    {"Y:d", nullptr, "cookie_ypos", "cookie's y position", nullptr},
    {"0", nullptr, "list_streamio_drivers", "list streamio drivers", nullptr},
    {"1", nullptr, "list_bitmapio_drivers", "list bitmap io drivers", nullptr},
    {"2", nullptr, "list_bitmapfx_drivers", "list bitmapfx drivers", nullptr},
    {"3", nullptr, "show_bitmapfx_drivers", "list bitmapfx drivers (long)", nullptr},
    {"8", nullptr, "list_particle_drivers", "list 3d particle drivers", nullptr},
    {"9", nullptr, "list_video_modes", "list all available video modes", nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

namespace {

// Settings of one run, as the options leave them.
struct run_settings {
    std::int32_t max_image = 0x7FFFFFFF;
    bool quit = false;
    bool progress_bar = true;
    bool save = false;
    bool exec = false;
    bool cookie = false;
    std::int32_t cookie_x = 0;
    std::int32_t cookie_y = 0;
    char name_template[buffer_size] = "shot%04d.tga";
    char command[buffer_size] = "";
};

// Arguments are kept in buffers of 4096 characters; a longer one is refused
// rather than cut, since a cut template or command would do something else.
void copy_argument(char (&buffer)[buffer_size], const char *argument, const char *what) {
    if (std::strlen(argument) >= buffer_size) {
        XERROR("%s is too long (%lu characters, at most %d)", what,
               static_cast<unsigned long>(std::strlen(argument)),
               static_cast<int>(buffer_size - 1));
        return;
    }
    std::strcpy(buffer, argument);
}

void probe_for_resolution() {
    video_probe_info info{-1, -1, -1, 0};
    if (!video_probe(&info)) {
        XWARNING("video probing failed for video device, can't get properties");
        return;
    }
    if (info.xsize > 0)
        xres = info.xsize;
    if (info.ysize > 0)
        yres = info.ysize;
    XVERBOSE("video probe: setting x-resolution to %d", xres);
    XVERBOSE("video probe: setting y-resolution to %d", yres);
}

void write_presets(const char *argument) {
    if (xstring_compare(argument, "*") == 1) {
        if (const char *failed = bitmapfx_save_preset(nullptr, nullptr))
            XERROR("failed to save presets (error=%s)", failed);
        return;
    }
    bitmapfx_driver *driver = bitmapfx_find_driver(argument);
    if (!driver) {
        XERROR("unknown preset '%s'", argument);
        return;
    }
    if (const char *failed = bitmapfx_save_preset(driver, nullptr))
        XERROR("failed to save preset '%s' (error=%s)", argument, failed);
}

void read_presets(const char *argument) {
    if (xstring_compare(argument, "*") == 1) {
        if (const char *failed = bitmapfx_load_preset(nullptr))
            XERROR("failed to load presets (error=%s)", failed);
        return;
    }
    if (const char *failed = bitmapfx_load_preset(argument))
        XERROR("failed to load preset '%s' (error=%s)", argument, failed);
}

void start_up(char **argv) {
    streamio_register_builtin_drivers();
    streamio_set_defio(streamio_find_driver("saferio"));
    // An installed program without Lumivane_ini works on the user's own copy.
    user_config_prepare();
    // Without a configuration every setting keeps its default.
    if (!config_load("lumivane"))
        XWARNING("failed to load configuration file", "lumivane");
    user_config_refresh();
    if (const char *failed = integrity_check())
        XWARNING("integrity check of '%s' failed (%s)", argv[0], failed);
    xwarning_override(nullptr);
    xquestion_override(nullptr);
    xverbose_override(nullptr);
    xerror_override(nullptr);
    if (const char *failed = timer_init())
        XERROR("failed to initialize timer, errorcode = '%s'", failed);
    if (const char *failed = keyb_init())
        XERROR("failed to initialize keyboard, errorcode = '%s'", failed);
    exithand_add(timer_deinit, "timer de-initialization");
    xrand_init();
    bitmapio_register_builtin_drivers();
    bitmapfx_register_builtin_drivers();
}

// The listing options end the program while it is still reading options.
[[noreturn]] void list_and_exit(void (*listing)()) {
    listing();
    xexit(0);
}

void act_on_option(int key, const char *argument, run_settings &run) {
    switch (key) {
    case 'h':
    case '?':
        getopt_show(coptions, 0);
        run.quit = true;
        break;
    case 'H':
        getopt_show(coptions, 1);
        run.quit = true;
        break;
    case 'S':
        if (streamio_driver *driver = streamio_find_driver(argument))
            streamio_set_defio(driver);
        else
            XERROR("no such streamio driver '%s'", argument);
        break;
    case 'x':
        xres = xatoi(argument, nullptr);
        break;
    case 'y':
        yres = xatoi(argument, nullptr);
        break;
    case 'A':
        bpp = 32;
        break;
    case 'a':
        memio_set_alignment(xatoul(argument, nullptr));
        break;
    case 's':
        if (const char *why = template_check(argument)) {
            XERROR("invalid file name template '%s' (%s)", argument, why);
            break;
        }
        copy_argument(run.name_template, argument, "file name template");
        run.save = true;
        break;
    case 'M':
        if (!bitmapfx_meta_command(argument))
            XERROR("meta command '%s' failed execution", argument);
        break;
    case 'W':
        write_presets(argument);
        break;
    case 'R':
        read_presets(argument);
        break;
    case 'q':
        run.quit = true;
        break;
    case 'd':
        display = 0;
        break;
    case 'E':
        copy_argument(run.command, argument, "command");
        run.exec = true;
        break;
    case 'm':
        run.max_image = xatoi(argument, nullptr);
        break;
    case 'p':
        run.progress_bar = false;
        break;
    case 'e':
        probe_for_resolution();
        break;
    case 'c':
        run.cookie = true;
        break;
    case 'X':
        run.cookie_x = xatoi(argument, nullptr);
        break;
    case 'Y':
        run.cookie_y = xatoi(argument, nullptr);
        break;
    case '0':
        list_and_exit(streamio_list_drivers);
    case '1':
        list_and_exit(bitmapio_list_drivers);
    case '2':
        list_and_exit([] { bitmapfx_list_drivers(0); });
    case '3':
        list_and_exit([] { bitmapfx_list_drivers(1); });
    case '8':
        list_and_exit(partsys_list_drivers);
    case '9':
        list_and_exit(video_print_info);
    default:
        XERROR("xassert(%s) failed", "0");
        break;
    }
}

void report_probe(run_settings &run) {
    video_probe_info info{-1, -1, -1, 0};
    if (!video_probe(&info)) {
        XWARNING("video probing failed for video device");
        return;
    }
    XVERBOSE("video probe: xsize = %d (-1 for unknown)", info.xsize);
    XVERBOSE("video probe: ysize = %d (-1 for unknown)", info.ysize);
    XVERBOSE("video probe: bpp   = %d (-1 for unknown)", info.bpp);
    if (info.flags & VIDEO_LINEAR)
        XVERBOSE("video probe: linear addressing allowed");
    else
        XVERBOSE("video probe: linear not addressing allowed");
    if (info.flags & VIDEO_WINDOWED)
        XVERBOSE("video probe: windowed environment");
    else
        XVERBOSE("video probe: non windowed environment");
    if (info.flags & VIDEO_SYNC) {
        XVERBOSE("video probe: sync allowed");
    } else {
        XVERBOSE("video probe: sync disallowed");
        if (run.progress_bar) {
            XWARNING("video probe: not displaying progress bar (sync is not allowed)");
            run.progress_bar = false;
        }
    }
}

// Sets the video mode and describes its memory in `vscreen`.
bool open_display() {
    if (const char *failed = video_setmode(xres, yres, bpp)) {
        XERROR("failed to set %dx%d (%d bpp) video mode (%s)", xres, yres, bpp, failed);
        return false;
    }
    if (!video_linear()) {
        XERROR("xassert(%s) failed", "video_linear()");
        return false;
    }
    if (!video_get_mask(&color_mask)) {
        XERROR("failed to get colormask for %dx%d (%d bpp) video mode", xres, yres, bpp);
        return false;
    }
    bitmap_validate(vscreen);
    std::uint8_t *memory = video_linear();
    if (!memory) {
        XERROR("xassert(%s) failed", "video_linear()");
        return false;
    }
    vscreen->xsize = static_cast<std::uint32_t>(video_xsize());
    vscreen->ysize = static_cast<std::uint32_t>(video_ysize());
    vscreen->bpp = video_bpp();
    vscreen->bits = memory;
    vscreen->cmap = nullptr;
    return true;
}

// The progress hook: a dotted line of changing bytes eight rows above the
// bottom, one pixel for every two percent columns.  Escape only shows that
// the trace is finishing; the pictures still run to their count.
void progress_func(double position) {
    int channels = bitmap_channels(vscreen);
    int column = static_cast<int>(position);
    if (keyb_kbhit()) {
        int key = keyb_getch();
        if (key == blank_key)
            debug_shell(source_file, __LINE__);
        if (exiting || key == escape_key) {
            bitfont_printf(vscreen, 0, static_cast<int>(bitfont_charhgt()), white,
                           "finishing trace...");
            exiting = 1;
        }
    }
    long long offset =
        static_cast<long long>(yres - 8) * static_cast<long long>(bitmap_rowstride(vscreen)) +
        2LL * channels * column;
    // Frames smaller than the bar are left alone rather than written past.
    if (vscreen->bits && offset >= 0 &&
        offset + channels <= static_cast<long long>(bitmap_bytesize(vscreen))) {
        for (int byte = channels - 1; byte >= 0; --byte)
            vscreen->bits[offset + byte] = flip++;
    }
    video_flush();
}

void display_phase(run_settings &run) {
    report_probe(run);
    if (!bitfont_load("$default.font$"))
        XWARNING("failed to load font '%s', will try to use standard font", "$default.font$");
    open_display();
    if (run.progress_bar)
        progress_hook(progress_func);
}

// The picture on the video memory: converted to the display's layout,
// copied in, with a cookie over it.
void show(bitmap *result, const run_settings &run) {
    color_bitmap_mask(nullptr, &color_mask, result);
    if (vscreen->bits)
        std::memcpy(vscreen->bits, result->bits,
                    std::min(bitmap_bytesize(vscreen), bitmap_bytesize(result)));
    if (run.cookie) {
        if (const char *text = cookie_get(-1))
            bitfont_printf(vscreen, run.cookie_x, run.cookie_y, white, "%s", text);
    }
    if (!run.progress_bar)
        video_flush();
}

void save_and_exec(bitmap *result, std::int32_t number, const run_settings &run) {
    char name[buffer_size];
    if (run.save) {
        template_format(name, sizeof name, run.name_template, number);
        bitmap_filesave(result, name, nullptr);
    }
    if (run.exec) {
        template_format(name, sizeof name, run.name_template, number);
        char line[buffer_size];
        if (std::snprintf(line, sizeof line, "%s %s", run.command, name) >=
            static_cast<int>(sizeof line)) {
            XERROR("command line for '%s' is too long (at most %d characters)", name,
                   static_cast<int>(sizeof line - 1));
            return;
        }
        bitmap_filesave(result, name, nullptr);
        [[maybe_unused]] int ignored = std::system(line);
    }
}

void image_loop(const run_settings &run) {
    for (std::int32_t n = 0; n < run.max_image; ++n) {
        bitmapfx_driver *driver = bitmapfx_find_driver(tracer_name);
        bitmap *result = nullptr;
        if (!display) {
            bitmap *source = bitmap_alloc2(static_cast<std::uint32_t>(xres),
                                           static_cast<std::uint32_t>(yres), bpp);
            if (source)
                result = bitmapfx_simple(driver, source);
            bitmap_kill(source);
        } else {
            if (n == 0)
                bitfont_printf(vscreen, 0, 0, white, "hit [ESC] to stop tracing...");
            result = bitmapfx_simple(driver, vscreen);
            if (result)
                show(result, run);
        }
        if (!result) {
            XERROR("xassert(%s) failed", "result");
            continue;
        }
        save_and_exec(result, n, run);
        bitmap_kill(result);
    }
}

} // namespace

int xmain(int argc, char **argv) {
    run_settings run;
    start_up(argv);
    getopt_state state{1, 1, 0, nullptr};
    int key;
    while ((key = getopt_get(argc, argv, coptions, &state)) != -1)
        act_on_option(key, state.argument, run);
    exithand_add(keyb_deinit, "keyboard de-initialization");
    if (!run.quit) {
        if (display)
            display_phase(run);
        image_loop(run);
        if (display) {
            video_close();
            bitfont_unload();
        }
    }
    xexit(0);
}
