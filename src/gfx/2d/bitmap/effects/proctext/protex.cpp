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
        table.weight[i] = w;
        table.weight_sum += std::fabs(w);
        table.count = i + 1;
        squares += w * w;
    }
    if (squares > 0.0)
        table.weight_rms = static_cast<float>(std::sqrt(squares));
    return table;
}

float fbm(noise_field &noise, int lane, const octave_table &table, const point &p) {
    // The octaves first, the sum after: a running sum would chain every
    // octave to the one before through memory (the rare fold call keeps it
    // out of a register).
    float octave[max_octaves];
    for (int i = 0; i < table.count; ++i)
        octave[i] = noise(lane + i, scaled(p, table.frequency[i]));
    float sum = 0.0f;
    for (int i = 0; i < table.count; ++i)
        sum += static_cast<float>(table.weight[i]) * octave[i];
    return sum;
}

float turbulence(noise_field &noise, int lane, int octaves, const point &p) {
    octaves = std::min(octaves, max_octaves);
    float sum = 0.0f, weight = 1.0f;
    double frequency = 1.0;
    for (int i = 0; i < octaves; ++i) {
        sum += weight * std::fabs(noise(lane + i, scaled(p, frequency)));
        frequency *= 2.0;
        weight *= 0.5f;
    }
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
