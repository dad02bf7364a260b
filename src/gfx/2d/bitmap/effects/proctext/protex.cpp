#include "gfx/2d/bitmap/effects/proctext/protex.h"

#include "core/message.h"
#include "xmath/xrand.h"

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/proctext/protex.c";
static constexpr const char *source_ident = "bitmapfx::protex";

namespace protex {

namespace {

// Frequencies and weights beyond this would overflow the sums or lose every
// fraction of the coordinates.
constexpr double octave_limit = 1e30;

bool usable(double v) {
    return std::fabs(v) <= octave_limit; // false for infinities and NaN too
}

} // namespace

int octave_count(const char *driver, int octaves) {
    if (octaves > max_octaves) {
        XVERBOSE("%s: %d octaves capped to %d", driver, octaves, max_octaves);
        return max_octaves;
    }
    return std::max(octaves, 0);
}

octave_table make_octaves(const char *driver, int octaves, double increment, double lacunarity,
                          double frequency) {
    octave_table table;
    double squares = 0.0;
    const int wanted = octave_count(driver, octaves);
    const double fall = power(lacunarity, -increment);
    double f = frequency, w = 1.0;
    for (int i = 0; i < wanted; ++i, f *= lacunarity, w *= fall) {
        if (!usable(f) || !usable(w)) {
            XVERBOSE("%s: octaves stop at %d of %d (frequency %g, weight %g out of range)", driver,
                     i, wanted, f, w);
            break;
        }
        table.frequency[i] = f;
        table.weight[i] = static_cast<float>(w);
        table.weight_sum += std::fabs(w);
        table.count = i + 1;
        squares += w * w;
    }
    if (squares > 0.0)
        table.weight_rms = static_cast<float>(std::sqrt(squares));
    return table;
}

noise_field::noise_field(int lanes) : lanes_(static_cast<std::size_t>(std::max(lanes, 0))) {}

int noise_field::field(const affine &where) {
    fields_.push_back(where);
    return static_cast<int>(fields_.size()) - 1;
}

void noise_field::begin(int width, double x0, double step) {
    width_ = static_cast<std::size_t>(std::max(width, 0));
    x0_ = x0;
    step_ = step;
    rows_ = std::vector<xnoise_row>(fields_.size());
    values_.assign(fields_.size() * width_, 0.0f);
}

void noise_field::row(double y, double z) {
    y_ = y;
    z_ = z;
    for (std::size_t field = 0; field < fields_.size(); ++field)
        fill(static_cast<int>(field));
}

void noise_field::fill(int field) {
    // The row's points x0 + x * step, mapped by the field's affine: a line.
    const affine &a = fields_[field];
    rows_[field].sweep(x0_ * a.sx + a.ox, step_ * a.sx, static_cast<int>(width_), y_ * a.sy + a.oy,
                       z_ * a.sz + a.oz, values_.data() + static_cast<std::size_t>(field) * width_);
}

int octave_fields(noise_field &noise, const octave_table &table, const affine &base) {
    int first = -1;
    for (int i = 0; i < table.count; ++i) {
        const int f = noise.field(scale(base, table.frequency[i]));
        if (i == 0)
            first = f;
    }
    return first;
}

float fbm(noise_field &noise, int first, const octave_table &table, const sample &s) {
    float sum = 0.0f;
    for (int i = 0; i < table.count; ++i)
        sum += table.weight[i] * noise(first + i, s);
    return sum;
}

int turbulence_fields(noise_field &noise, int octaves, const affine &base) {
    octaves = std::clamp(octaves, 0, max_octaves);
    int first = -1;
    double frequency = 1.0;
    for (int i = 0; i < octaves; ++i, frequency *= 2.0) {
        const int f = noise.field(scale(base, frequency));
        if (i == 0)
            first = f;
    }
    return first;
}

float turbulence(noise_field &noise, int first, int octaves, const sample &s) {
    octaves = std::clamp(octaves, 0, max_octaves);
    float sum = 0.0f, weight = 1.0f;
    for (int i = 0; i < octaves; ++i, weight *= 0.5f)
        sum += weight * std::fabs(noise(first + i, s));
    return sum;
}

namespace {

constexpr double ln2 = 0.6931471805599453094;

// ln(x) for finite x > 0: x = m * 2^e with m in [sqrt(1/2), sqrt(2)), and
// ln(m) = 2 atanh(s), s = (m - 1) / (m + 1), |s| < 0.172.
double natural_log(double x) {
    int e = 0;
    double m = std::frexp(x, &e); // exact
    if (m < 0.70710678118654752440) {
        m *= 2.0;
        --e;
    }
    const double s = (m - 1.0) / (m + 1.0), s2 = s * s;
    double sum = 0.0;
    for (int k = 23; k >= 1; k -= 2)
        sum = sum * s2 + 1.0 / k;
    return 2.0 * s * sum + e * ln2;
}

// e^y: y = k ln 2 + r with |r| <= ln 2 / 2, e^r by its series.
double natural_exp(double y) {
    if (y > 709.0)
        return HUGE_VAL;
    if (y < -745.0)
        return 0.0;
    const double k = std::floor(y / ln2 + 0.5); // exact
    const double r = y - k * ln2;
    double sum = 1.0;
    for (int n = 20; n >= 1; --n)
        sum = 1.0 + sum * r / n;
    return std::ldexp(sum, static_cast<int>(k)); // exact
}

} // namespace

double power(double base, double exponent) {
    if (exponent == 0.0)
        return 1.0;
    if (base == 0.0)
        return exponent > 0.0 ? 0.0 : HUGE_VAL;
    if (!(base > 0.0) || !std::isfinite(base) || !std::isfinite(exponent))
        return base == HUGE_VAL && exponent < 0.0 ? 0.0 : std::nan("");
    return natural_exp(exponent * natural_log(base));
}

double printable(double value) {
    return std::round(value * 1e6) / 1e6;
}

double draw(double low, double high) {
    return printable(xrand_fmm(low, high));
}

std::int32_t draw_int(std::int32_t low, std::int32_t high) {
    return xrand_mm(low, high + 1);
}

rgbscalar draw_colour(const rgbscalar &low, const rgbscalar &high) {
    rgbscalar c;
    c.r = draw(low.r, high.r);
    c.g = draw(low.g, high.g);
    c.b = draw(low.b, high.b);
    return c;
}

rgbscalar draw_tint(double r_low, double r_high, double g_low, double g_high, double b_low,
                    double b_high) {
    rgbscalar c;
    c.r = draw(r_low, r_high);
    c.g = printable(c.r * draw(g_low, g_high));
    c.b = printable(c.g * draw(b_low, b_high));
    return c;
}

rgbscalar draw_grey(double low, double high) {
    const double w = draw(low, high);
    return {w, w, w};
}

void draw_blend(rgbscalar &sblend, rgbscalar &tblend, double low, double high) {
    tblend = draw_grey(low, high);
    const double s = printable(1.0 - tblend.r);
    sblend = {s, s, s};
}

const bitmap *source_of(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    if (source->bpp != 24 && source->bpp != 32) {
        XASSERT(source->bpp == 24 || source->bpp == 32);
        return nullptr;
    }
    return source;
}

} // namespace protex
