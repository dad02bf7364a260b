#include "app/app_support.h"

#include "support/scratch.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <bit>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

// Settings of the test's own environment that must not reach a child.
constexpr const char *private_variables[] = {
    "Lumivane_ini", "lumivane_env", "DISPLAY", "XDG_CONFIG_HOME", "XDG_CACHE_HOME",
};

std::string temporary_file(const char *what) {
    std::string pattern =
        (fs::temp_directory_path() / (std::string("lumivane-") + what + "-XXXXXX")).string();
    int fd = mkstemp(pattern.data());
    if (fd < 0)
        throw std::runtime_error("mkstemp failed");
    close(fd);
    return pattern;
}

std::string take_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream contents;
    contents << in.rdbuf();
    std::remove(path.c_str());
    return contents.str();
}

[[noreturn]] void child_failed(const char *what) {
    std::fprintf(stderr, "child set-up failed: %s (%s)\n", what, std::strerror(errno));
    std::_Exit(127);
}

} // namespace

run_result run_child(const std::string &program, const std::vector<std::string> &arguments,
                     const environment &set, const std::string &folder, const std::string &input) {
    std::string in_file = temporary_file("in");
    std::string out_file = temporary_file("out");
    std::string err_file = temporary_file("err");
    { std::ofstream(in_file, std::ios::binary) << input; }
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    std::fflush(nullptr);
    pid_t pid = fork();
    if (pid < 0)
        throw std::runtime_error("fork failed");
    if (pid == 0) {
        for (const char *variable : private_variables)
            unsetenv(variable);
        for (const auto &[name, value] : set) {
            if (value.empty())
                unsetenv(name.c_str());
            else
                setenv(name.c_str(), value.c_str(), 1);
        }
        if (!folder.empty() && chdir(folder.c_str()) != 0)
            child_failed("chdir");
        int in = open(in_file.c_str(), O_RDONLY);
        int out = open(out_file.c_str(), O_WRONLY | O_TRUNC);
        int err = open(err_file.c_str(), O_WRONLY | O_TRUNC);
        if (in < 0 || out < 0 || err < 0 || dup2(in, 0) < 0 || dup2(out, 1) < 0 || dup2(err, 2) < 0)
            child_failed("redirection");
        execvp(argv[0], argv.data());
        child_failed(argv[0]);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    run_result result;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = take_file(out_file);
    result.err = take_file(err_file);
    std::remove(in_file.c_str());
    return result;
}

std::string program_path() {
    return LUMIVANE_PROGRAM;
}

std::string setroot_path() {
    return LUMIVANE_SETROOT;
}

void set_config_value(const std::string &file, const std::string &key, const std::string &value) {
    std::ifstream in(file);
    std::string line, text;
    bool found = false;
    while (std::getline(in, line)) {
        if (line.rfind(key, 0) == 0) {
            std::size_t equals = line.find('=', key.size());
            if (equals != std::string::npos &&
                line.find_first_not_of(" \t", key.size()) == equals) {
                line = line.substr(0, equals + 1) + " \"" + value + "\"";
                found = true;
            }
        }
        text += line + "\n";
    }
    if (!found)
        throw std::runtime_error("no key " + key + " in " + file);
    write_file(file, text);
}

std::string make_config(const std::string &folder) {
    fs::path bin = fs::path(setroot_path()).parent_path().parent_path().parent_path();
    run_result made = run_child(
        "bash", {std::string(LUMIVANE_SOURCE_DIR) + "/data/make-config.sh", folder, bin.string()});
    if (made.status != 0)
        throw std::runtime_error("make-config.sh failed: " + made.err);
    std::string copy = folder + "/Lumivane.ini";
    set_config_value(copy, "$path.tmp$", folder);
    return copy;
}

run_result run_program(const std::vector<std::string> &arguments, const std::string &folder,
                       const std::string &config, const std::string &display,
                       const environment &more) {
    environment set = more;
    set["Lumivane_ini"] = config;
    set["DISPLAY"] = display;
    return run_child(program_path(), arguments, set, folder);
}

bool tracer_available() {
    static const bool available = [] {
        scratch_directory scratch;
        std::string config = make_config(scratch.path());
        run_program({"-d", "-m", "1", "-x", "1", "-y", "1", "-s", "probe.tga"}, scratch.path(),
                    config);
        return file_exists(scratch.path() + "/probe.tga");
    }();
    return available;
}

private_display::private_display(int width, int height, int depth) {
    int ready[2];
    if (pipe(ready) != 0)
        throw std::runtime_error("pipe failed");
    std::string screen =
        std::to_string(width) + "x" + std::to_string(height) + "x" + std::to_string(depth);
    std::string fd = std::to_string(ready[1]);
    std::fflush(nullptr);
    pid_t pid = fork();
    if (pid < 0)
        throw std::runtime_error("fork failed");
    if (pid == 0) {
        close(ready[0]);
        int quiet = open("/dev/null", O_RDWR);
        dup2(quiet, 0);
        dup2(quiet, 1);
        dup2(quiet, 2);
        execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-noreset", "-nolisten", "tcp", "-screen",
               "0", screen.c_str(), static_cast<char *>(nullptr));
        std::_Exit(127);
    }
    pid_ = pid;
    close(ready[1]);
    // The server writes its display number once it accepts connections.
    std::string number;
    pollfd waiting{ready[0], POLLIN, 0};
    while (number.find('\n') == std::string::npos && poll(&waiting, 1, 30000) > 0) {
        char buffer[16];
        ssize_t got = read(ready[0], buffer, sizeof buffer);
        if (got <= 0)
            break;
        number.append(buffer, static_cast<std::size_t>(got));
    }
    close(ready[0]);
    if (number.find('\n') == std::string::npos) {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
        throw std::runtime_error("Xvfb did not start (is it installed?)");
    }
    name_ = ":" + number.substr(0, number.find('\n'));
}

private_display::~private_display() {
    if (pid_ > 0) {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
}

void write_bmp(const std::string &file, const rgb_picture &picture) {
    const std::string size = std::to_string(picture.width) + "x" + std::to_string(picture.height);
    run_result made = run_child(
        "convert", {"-size", size, "-depth", "8", "rgb:-", "-type", "TrueColor", "bmp3:" + file},
        {}, "", std::string(picture.bytes.begin(), picture.bytes.end()));
    if (made.status != 0)
        throw std::runtime_error("ImageMagick could not write " + file + ": " + made.err);
}

rgb_picture read_with_imagemagick(const std::string &file) {
    rgb_picture picture;
    run_result size = run_child("identify", {"-format", "%w %h", file + "[0]"});
    std::istringstream(size.out) >> picture.width >> picture.height;
    run_result pixels = run_child("convert", {file + "[0]", "-depth", "8", "rgb:-"});
    picture.bytes.assign(pixels.out.begin(), pixels.out.end());
    if (size.status != 0 || pixels.status != 0 ||
        picture.bytes.size() != static_cast<std::size_t>(picture.width) * picture.height * 3)
        throw std::runtime_error("ImageMagick could not read " + file + ": " + size.err +
                                 pixels.err);
    return picture;
}

rgb_picture read_root_window(const std::string &display) {
    Display *connection = XOpenDisplay(display.c_str());
    if (!connection)
        throw std::runtime_error("cannot open display " + display);
    int screen = DefaultScreen(connection);
    rgb_picture picture;
    picture.width = DisplayWidth(connection, screen);
    picture.height = DisplayHeight(connection, screen);
    XImage *image = XGetImage(connection, RootWindow(connection, screen), 0, 0,
                              static_cast<unsigned>(picture.width),
                              static_cast<unsigned>(picture.height), AllPlanes, ZPixmap);
    if (!image) {
        XCloseDisplay(connection);
        throw std::runtime_error("cannot read the root window");
    }
    const Visual *visual = DefaultVisual(connection, screen);
    const unsigned long masks[3] = {visual->red_mask, visual->green_mask, visual->blue_mask};
    picture.bytes.resize(static_cast<std::size_t>(picture.width) * picture.height * 3);
    std::uint8_t *out = picture.bytes.data();
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            unsigned long pixel = XGetPixel(image, x, y);
            for (unsigned long mask : masks) {
                unsigned long value = (pixel & mask) >> std::countr_zero(mask);
                int bits = std::popcount(mask);
                *out++ = static_cast<std::uint8_t>(bits >= 8 ? value >> (bits - 8)
                                                             : value << (8 - bits));
            }
        }
    }
    XDestroyImage(image);
    XCloseDisplay(connection);
    return picture;
}
