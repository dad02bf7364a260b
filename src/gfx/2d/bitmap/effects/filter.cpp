// "filter": a convolution with a kernel the user defines in a text file.
//
// Each colour channel of a target pixel is the sum of the source pixels
// around it times the kernel's weights, divided by the divisor, plus the
// bias; pixels beyond the picture's edge repeat the edge.  The kernel is
// applied `iterations` times (1..16).  An alpha byte (32 bpp) is kept.
//
// Kernel files (read and written through the stream layer, so names may hold
// aliases such as "$path.filters$/emboss.filter"):
//
//     # anything after '#' is a comment; blank lines are skipped
//     name    = sharpen     (optional: a word or two naming the kernel)
//     size    = 3           (odd, 1 .. 15)
//     divisor = 1           (optional, not 0; default the sum of the
//                            weights, or 1 when they add up to 0)
//     bias    = 0           (optional, added after dividing)
//      0 -1  0              `size` rows of `size` weights each,
//     -1  5 -1              after the settings; blanks or commas part them
//      0 -1  0
//
// A file that breaks these rules is refused with a warning naming the file
// and the line; the kernel in use stays as it was.
//
// Procedures: "load" reads the kernel of `file`; "save" writes the kernel in
// use to `file`; "init" (run before every "fx") makes the kernel ready: the
// one of `file` when set, else the built-in kernel called `name`, else the
// kernel in use when it bears that name, else "sharpen".  "rand" picks one of
// the built-in kernels "sharpen", "blur", "soften", "edge" and "emboss" at
// random (`file` is cleared so that the pick is used) and 1 or 2 iterations.
#include "core/message.h"
#include "core/progress.h"
#include "core/xstring.h"
#include "file/streamio/streamio.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxkit.h"
#include "xmath/xrand.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/filter.c";
static constexpr const char *source_ident = "bitmapfx::filter";

namespace {

char file[4096] = "";
char name[4096] = "sharpen";
std::int32_t iterations = 1;

constexpr int largest_size = 15;
constexpr int most_iterations = 16;
constexpr int longest_line = 1024;
constexpr std::size_t longest_name = 63;
// Weights, divisors and biases beyond this only make black and white.
constexpr double largest_number = 1e6;
// A divisor may be the sum of the largest kernel's weights, as "save" writes it.
constexpr double largest_divisor = largest_number * largest_size * largest_size;
constexpr const char *separators = " \t\r\n\f\v,";

struct kernel {
    std::string name;
    int size = 1;
    double divisor = 1.0, bias = 0.0;
    std::vector<double> weights{1.0};
};

struct builtin_kernel {
    const char *name;
    int size;
    double divisor, bias;
    std::vector<double> weights;
};

// The first five are the ones "rand" picks from.
const builtin_kernel builtins[] = {
    {"sharpen", 3, 1, 0, {0, -1, 0, -1, 5, -1, 0, -1, 0}},
    {"blur", 3, 16, 0, {1, 2, 1, 2, 4, 2, 1, 2, 1}},
    {"soften", 5, 256, 0, {1,  4, 6, 4,  1,  4,  16, 24, 16, 4, 6, 24, 36,
                           24, 6, 4, 16, 24, 16, 4,  1,  4,  6, 4, 1}},
    {"edge", 3, 1, 0, {-1, -1, -1, -1, 8, -1, -1, -1, -1}},
    {"emboss", 3, 1, 128, {-2, -1, 0, -1, 0, 1, 0, 1, 2}},
    {"identity", 1, 1, 0, {1}},
};
constexpr int random_choices = 5;

kernel current = {"sharpen", 3, 1, 0, {0, -1, 0, -1, 5, -1, 0, -1, 0}};

const builtin_kernel *builtin_named(const char *wanted) {
    for (const builtin_kernel &k : builtins)
        if (xstring_compare(k.name, wanted))
            return &k;
    return nullptr;
}

kernel from_builtin(const builtin_kernel &k) {
    return {k.name, k.size, k.divisor, k.bias, k.weights};
}

// Whole buffers are rewritten, so that a stored text compares byte for byte
// with the same text scanned from a preset.
void set_text(char *storage, const std::string &text) {
    std::memset(storage, 0, sizeof file);
    std::snprintf(storage, sizeof file, "%s", text.c_str());
}

// Reading a kernel file.  Every complaint names the file and a line.
class kernel_reader {
  public:
    explicit kernel_reader(const char *path) : path_(path) {}

    bool read(kernel &result) {
        streamio_stream *stream = xfopen(path_, "r");
        if (!stream) {
            XWARNING("failed to open filter file '%s'", path_);
            return false;
        }
        bool ok = read_lines(stream);
        xfclose(stream);
        if (ok)
            ok = finish();
        if (ok)
            result = kernel_;
        return ok;
    }

  private:
    bool refuse(const char *why) {
        XWARNING("filter file '%s' line %d: %s", path_, line_, why);
        return false;
    }

    bool read_lines(streamio_stream *stream) {
        char text[longest_line + 2];
        while (xfgets(text, sizeof text, stream)) {
            ++line_;
            std::size_t length = std::strlen(text);
            const bool whole = length > 0 && text[length - 1] == '\n';
            if (!whole && length == sizeof text - 1 && !xfeof(stream))
                return refuse("line is longer than 1024 characters");
            if (char *comment = std::strchr(text, '#'))
                *comment = '\0';
            if (!take_line(text))
                return false;
        }
        ++line_; // the end of the file
        return true;
    }

    static char *trimmed(char *text) {
        while (*text && std::isspace(static_cast<unsigned char>(*text)))
            ++text;
        char *end = text + std::strlen(text);
        while (end > text && std::isspace(static_cast<unsigned char>(end[-1])))
            --end;
        *end = '\0';
        return text;
    }

    // A whole, finite number within the limit.
    static bool number(const char *text, double &value, double limit = largest_number) {
        if (!*text)
            return false;
        char *end = nullptr;
        errno = 0;
        value = std::strtod(text, &end);
        return *end == '\0' && errno == 0 && std::isfinite(value) && std::fabs(value) <= limit;
    }

    bool take_line(char *text) {
        text = trimmed(text);
        if (!*text)
            return true;
        if (char *equals = std::strchr(text, '='))
            return take_setting(text, equals);
        return take_row(text);
    }

    bool take_setting(char *text, char *equals) {
        *equals = '\0';
        const char *key = trimmed(text);
        const char *value = trimmed(equals + 1);
        if (rows_ > 0)
            return refuse("settings must come before the weights");
        struct setting {
            const char *key;
            bool *seen;
        } settings[] = {{"name", &seen_name_},
                        {"size", &seen_size_},
                        {"divisor", &seen_divisor_},
                        {"bias", &seen_bias_}};
        setting *which = nullptr;
        for (setting &s : settings)
            if (std::strcmp(s.key, key) == 0)
                which = &s;
        if (!which)
            return refuse("unknown setting (name, size, divisor or bias expected)");
        if (*which->seen)
            return refuse("setting given twice");
        *which->seen = true;
        if (which->seen == &seen_name_) {
            if (!*value || std::strlen(value) > longest_name)
                return refuse("name must have 1 to 63 characters");
            kernel_.name = value;
            return true;
        }
        double v;
        const bool divisor = which->seen == &seen_divisor_;
        if (!number(value, v, divisor ? largest_divisor : largest_number))
            return refuse(divisor ? "value is not a number (or beyond 225000000)"
                                  : "value is not a number (or beyond 1000000)");
        if (which->seen == &seen_size_) {
            if (v != std::floor(v) || v < 1 || v > largest_size || std::fmod(v, 2.0) == 0.0)
                return refuse("size must be an odd whole number from 1 to 15");
            kernel_.size = static_cast<int>(v);
        } else if (divisor) {
            if (v == 0.0)
                return refuse("divisor must not be 0");
            kernel_.divisor = v;
        } else {
            kernel_.bias = v;
        }
        return true;
    }

    bool take_row(char *text) {
        if (!seen_size_)
            return refuse("weights before the size");
        if (rows_ == kernel_.size)
            return refuse("more weight rows than the size");
        int count = 0;
        char *rest = nullptr;
        for (char *word = strtok_r(text, separators, &rest); word;
             word = strtok_r(nullptr, separators, &rest)) {
            double v;
            if (!number(word, v))
                return refuse("weight is not a number (or beyond 1000000)");
            if (++count > kernel_.size)
                return refuse("more weights in the row than the size");
            kernel_.weights.push_back(v);
        }
        if (count < kernel_.size)
            return refuse("fewer weights in the row than the size");
        ++rows_;
        return true;
    }

    bool finish() {
        if (!seen_size_)
            return refuse("no size given");
        if (rows_ < kernel_.size)
            return refuse("fewer weight rows than the size");
        if (!seen_divisor_) {
            double sum = 0.0;
            for (double w : kernel_.weights)
                sum += w;
            kernel_.divisor = sum == 0.0 ? 1.0 : sum;
        }
        if (!seen_name_)
            kernel_.name = path_;
        return true;
    }

    const char *path_;
    int line_ = 0;
    int rows_ = 0;
    bool seen_name_ = false, seen_size_ = false, seen_divisor_ = false, seen_bias_ = false;
    kernel kernel_{"", 0, 1.0, 0.0, {}};
};

// The shortest text of a number that reads back as the same number.
std::string number_text(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%g", value);
    if (std::strtod(text, nullptr) != value)
        std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

bool write_kernel(const char *path, const kernel &k) {
    streamio_stream *stream = xfopen(path, "w");
    if (!stream) {
        XWARNING("failed to open filter file '%s' for writing", path);
        return false;
    }
    bool ok = xfprintf(stream, "# convolution kernel written by the filter effect\n") > 0;
    ok = ok && xfprintf(stream, "name    = %s\n", k.name.empty() ? "kernel" : k.name.c_str()) > 0;
    ok = ok && xfprintf(stream, "size    = %d\ndivisor = %s\nbias    = %s\n", k.size,
                        number_text(k.divisor).c_str(), number_text(k.bias).c_str()) > 0;
    for (int row = 0; ok && row < k.size; ++row) {
        std::string text;
        for (int column = 0; column < k.size; ++column) {
            if (column)
                text += ' ';
            text += number_text(k.weights[row * k.size + column]);
        }
        ok = xfprintf(stream, "%s\n", text.c_str()) > 0;
    }
    ok = xfclose(stream) == 0 && ok;
    if (!ok)
        XWARNING("failed to write filter file '%s'", path);
    return ok;
}

void *load(bitmapfx_driver *) {
    if (!file[0]) {
        XWARNING("no filter file given to load");
        return nullptr;
    }
    kernel k;
    if (kernel_reader(file).read(k)) {
        current = k;
        set_text(name, current.name);
    }
    return nullptr;
}

void *save(bitmapfx_driver *) {
    if (!file[0])
        XWARNING("no filter file given to save the kernel to");
    else
        write_kernel(file, current);
    return nullptr;
}

void *prepare(bitmapfx_driver *) {
    if (file[0]) {
        kernel k;
        if (kernel_reader(file).read(k)) {
            current = k;
            set_text(name, current.name);
            return nullptr;
        }
    }
    if (const builtin_kernel *k = builtin_named(name)) {
        current = from_builtin(*k);
        return nullptr;
    }
    if (current.name == name)
        return nullptr;
    XWARNING("no filter kernel '%s', using 'sharpen'", name);
    current = from_builtin(builtins[0]);
    set_text(name, current.name);
    return nullptr;
}

// One pass of the kernel from `from` into `to` (same size and depth).
void convolve(const fxkit::view &from, const fxkit::view &to, const kernel &k) {
    const int reach = k.size / 2;
    // Source column and row of every tap, the edges repeated.
    std::vector<int> columns(static_cast<std::size_t>(from.width) * k.size);
    for (int x = 0; x < from.width; ++x)
        for (int i = 0; i < k.size; ++i)
            columns[static_cast<std::size_t>(x) * k.size + i] =
                std::clamp(x + i - reach, 0, from.width - 1) * from.channels;
    std::vector<const std::uint8_t *> rows(k.size);
    const double scale = 1.0 / k.divisor;
    for (int y = 0; y < from.height; ++y) {
        for (int j = 0; j < k.size; ++j)
            rows[j] = from.row(std::clamp(y + j - reach, 0, from.height - 1));
        std::uint8_t *out = to.row(y);
        for (int x = 0; x < from.width; ++x, out += to.channels) {
            const int *taps = &columns[static_cast<std::size_t>(x) * k.size];
            double sum[3] = {0, 0, 0};
            const double *w = k.weights.data();
            for (int j = 0; j < k.size; ++j)
                for (int i = 0; i < k.size; ++i, ++w) {
                    const std::uint8_t *p = rows[j] + taps[i];
                    sum[0] += *w * p[0];
                    sum[1] += *w * p[1];
                    sum[2] += *w * p[2];
                }
            for (int c = 0; c < 3; ++c)
                out[c] = fxkit::clamp_byte(sum[c] * scale + k.bias);
        }
    }
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    int passes = iterations;
    if (passes < 1 || passes > most_iterations) {
        passes = std::clamp(passes, 1, most_iterations);
        XWARNING("%d iterations are out of range (1 .. %d), using %d", iterations, most_iterations,
                 passes);
    }
    bitmap *target = bitmap_dup(source);
    if (!target)
        return nullptr;
    bitmap *spare = passes > 1 ? bitmap_dup(source) : nullptr;
    progress_guard progress("filter", "dynamic filter");
    const bitmap *from = source;
    // Passes alternate between the two pictures so that the last lands in
    // the target.
    bitmap *buffers[2] = {passes % 2 ? target : spare, passes % 2 ? spare : target};
    for (int pass = 0; pass < passes; ++pass) {
        progress.add(pass, passes);
        bitmap *to = buffers[pass % 2];
        convolve(fxkit::view(from), fxkit::view(to), current);
        from = to;
    }
    bitmap_kill(spare);
    return fxkit::finish(driver, target);
}

void *randomize(bitmapfx_driver *) {
    set_text(name, builtins[xrand_mm(0, random_choices)].name);
    set_text(file, "");
    iterations = xrand_mm(1, 3);
    return nullptr;
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("file", "kernel file to load, save or use", file),
    bitmapfx_param("name", "name of the kernel (a built-in one without file)", name),
    bitmapfx_param("iterations", "passes of the kernel (1..16)", iterations),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {
    fxkit::fx_procedure(run_effect),
    fxkit::rand_procedure(randomize),
    {"init", "make the kernel ready", prepare},
    {"load", "read the kernel file", load},
    {"save", "write the kernel to the file", save},
    fxkit::procedure_end,
};

} // namespace

bitmapfx_driver bitmapfx_filter_driver =
    fxkit::driver("filter", "./src/gfx/2d/bitmap/effects/filter.c", "$path.presets$/filter.preset",
                  "dynamic filter", fxkit::depths_rgb, parameters, procedures);
