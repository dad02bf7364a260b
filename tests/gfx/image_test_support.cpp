#include "image_test_support.h"

#include "file/streamio/drivers.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmapio.h"
#include "gfx/2d/bitmap/color.h"
#include "gfx/2d/bitmap/pixel.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

void image_streams_ready() {
    // Another suite of this program may have set the streams up already.
    if (streamio_find_driver("saferio"))
        return;
    streamio_register_builtin_drivers();
    streamio_set_defio(&saferio_driver);
}

void register_image_drivers() {
    image_streams_ready();
    bitmapio_reset_registry();
    bitmapio_register_builtin_drivers();
}

static bool f_is_red(std::uint32_t x, std::uint32_t y) {
    static const char *const rows[f_height] = {
        ".####.", ".#....", ".###..", ".#....", ".#....",
    };
    return rows[y][x] == '#';
}

bitmap_ptr make_f_picture(std::int32_t bpp) {
    bitmap_ptr image(bitmap_alloc2(f_width, f_height, bpp));
    if (bpp == 8) {
        image->cmap = colormap_alloc(2);
        image->cmap->entry[0] = {0, 0, 255};
        image->cmap->entry[1] = {255, 0, 0};
    }
    for (std::uint32_t y = 0; y < f_height; ++y)
        for (std::uint32_t x = 0; x < f_width; ++x) {
            bool red = f_is_red(x, y);
            std::uint32_t value =
                bpp == 8 ? (red ? 1 : 0)
                         : color_pack(nullptr, red ? 255 : 0, 0, red ? 0 : 255, 255, bpp);
            bitmap_putpixel(image.get(), static_cast<int>(x), static_cast<int>(y), value);
        }
    return image;
}

bitmap_ptr golden_picture(const std::string &variant, std::int32_t bpp) {
    bitmap_ptr image = make_f_picture(bpp);
    if (variant == "nomap") {
        colormap_kill(image->cmap);
        image->cmap = nullptr;
    } else if (variant == "grey") {
        image->cmap->entry[0] = {40, 40, 40};
        image->cmap->entry[1] = {200, 200, 200};
    } else if (variant == "comment") {
        bitmap_set_info(image.get(), "F\n(1)");
    }
    return image;
}

std::vector<std::uint8_t> f_rgb() {
    return rgb_of(make_f_picture(24).get());
}

bitmap_ptr make_pattern(std::uint32_t width, std::uint32_t height, std::int32_t bpp,
                        std::uint32_t seed) {
    bitmap_ptr image(bitmap_alloc2(width, height, bpp));
    std::uint32_t state = seed * 2654435761u + 12345u;
    auto next = [&state] {
        state = state * 1664525u + 1013904223u;
        return state >> 8;
    };
    std::size_t size = bitmap_bytesize(image.get());
    for (std::size_t i = 0; i < size; ++i)
        image->bits[i] = static_cast<std::uint8_t>(next());
    if (bpp == 15)
        for (std::size_t i = 1; i < size; i += 2)
            image->bits[i] &= 0x7F;
    if (bpp == 8) {
        image->cmap = colormap_alloc(256);
        for (int i = 0; i < 256; ++i)
            image->cmap->entry[i] = {static_cast<std::int32_t>(next() & 0xFF),
                                     static_cast<std::int32_t>(next() & 0xFF),
                                     static_cast<std::int32_t>(next() & 0xFF)};
    }
    return image;
}

std::vector<std::uint8_t> rgb_of(const bitmap *image) {
    std::vector<std::uint8_t> rgb;
    for (std::uint32_t y = 0; y < image->ysize; ++y)
        for (std::uint32_t x = 0; x < image->xsize; ++x) {
            int r = 0, g = 0, b = 0;
            if (image->bpp == 8) {
                colormap_entry entry =
                    colormap_get_color(image->cmap, *bitmap_boffset(image, x, y));
                r = entry.r, g = entry.g, b = entry.b;
            } else {
                std::uint32_t pixel =
                    get_pixel(image, static_cast<int>(x), static_cast<int>(y), image->bpp);
                color_unpack(nullptr, pixel, &r, &g, &b, nullptr, image->bpp);
            }
            rgb.insert(rgb.end(), {static_cast<std::uint8_t>(r), static_cast<std::uint8_t>(g),
                                   static_cast<std::uint8_t>(b)});
        }
    return rgb;
}

std::string file_bytes(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::vector<std::vector<std::string>> index_lines(const std::string &name, int fields) {
    std::ifstream in(std::string(LUMIVANE_TEST_DATA) + "/" + name);
    std::vector<std::vector<std::string>> lines;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        std::istringstream words(line);
        std::vector<std::string> parts(static_cast<std::size_t>(fields) + 1);
        for (int i = 0; i < fields; ++i)
            words >> parts[static_cast<std::size_t>(i)];
        std::getline(words >> std::ws, parts.back());
        lines.push_back(parts);
    }
    EXPECT_FALSE(lines.empty()) << name;
    return lines;
}

std::string unescaped(const std::string &text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size())
            out += text[i];
        else if (text[++i] != 'x')
            out += text[i] == 'n' ? '\n' : text[i] == 't' ? '\t' : text[i];
        else {
            out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        }
    }
    return out;
}

namespace {

// The next header number of a PPM, skipping whitespace and comments.
bool ppm_number(const std::string &text, std::size_t &at, std::uint32_t &value) {
    while (at < text.size() &&
           (std::isspace(static_cast<unsigned char>(text[at])) || text[at] == '#')) {
        if (text[at] == '#')
            while (at < text.size() && text[at] != '\n')
                ++at;
        else
            ++at;
    }
    if (at >= text.size() || !std::isdigit(static_cast<unsigned char>(text[at])))
        return false;
    value = 0;
    while (at < text.size() && std::isdigit(static_cast<unsigned char>(text[at])))
        value = value * 10 + static_cast<std::uint32_t>(text[at++] - '0');
    return true;
}

} // namespace

bool parse_ppm(const std::string &text, std::uint32_t &width, std::uint32_t &height,
               std::vector<std::uint8_t> &rgb) {
    if (text.size() < 2 || text[0] != 'P' || (text[1] != '6' && text[1] != '3'))
        return false;
    std::size_t at = 2;
    std::uint32_t maxval = 0;
    if (!ppm_number(text, at, width) || !ppm_number(text, at, height) ||
        !ppm_number(text, at, maxval) || maxval != 255)
        return false;
    std::size_t count = std::size_t{width} * height * 3;
    rgb.clear();
    if (text[1] == '6') {
        ++at; // the single whitespace byte after maxval
        if (text.size() - at < count)
            return false;
        rgb.assign(text.begin() + static_cast<std::ptrdiff_t>(at),
                   text.begin() + static_cast<std::ptrdiff_t>(at + count));
        return true;
    }
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t sample = 0;
        if (!ppm_number(text, at, sample))
            return false;
        rgb.push_back(static_cast<std::uint8_t>(sample));
    }
    return true;
}

std::string run_command(const std::string &command, int &status) {
    std::string output;
    status = -1;
    std::FILE *pipe = popen(command.c_str(), "r");
    if (!pipe)
        return output;
    char chunk[4096];
    std::size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, pipe)) > 0)
        output.append(chunk, got);
    int raw = pclose(pipe);
    status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return output;
}

std::vector<std::uint8_t> rgb_from_command(const std::string &command, std::uint32_t &width,
                                           std::uint32_t &height) {
    int status = -1;
    const std::string output = run_command(command, status);
    EXPECT_EQ(status, 0) << command;
    std::vector<std::uint8_t> rgb;
    width = height = 0;
    EXPECT_TRUE(parse_ppm(output, width, height, rgb)) << command << " printed no PPM";
    return rgb;
}

std::string tool_path(const std::string &name) {
    // Distribution tools by their own path: a personal PATH may put other
    // programs of the same name first.
    std::string path = "/usr/bin/" + name;
    EXPECT_EQ(access(path.c_str(), X_OK), 0)
        << path << " is missing: run tools/install-deps.sh (the README's test command does)";
    return path;
}
