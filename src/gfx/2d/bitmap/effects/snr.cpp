// "snr": measures how far a picture is from a reference picture and leaves
// the picture itself unchanged (the target is an exact copy).
//
// The reference is the picture "snr" measured before: each run keeps a copy
// of its source for the next one.  Running "snr" on a picture, then some
// effect, then "snr" on the effect's result tells what the effect did to the
// picture.  The first run, or one whose picture differs in size from the
// reference, has nothing to compare with: the picture is compared with itself
// (no noise, infinite PSNR) and a verbose line says so.
//
// With f the reference and g the picture, summed over every pixel and over
// red, green and blue (or over the grey values 0.3 r + 0.59 g + 0.11 b with
// `grey`), N values in all:
//   mse   = sum (g - f)^2 / N              rmse = sqrt(mse)
//   psnr  = 10 log10(255^2 / mse) dB       (peak signal to noise)
//   snrms = sum g^2 / sum (g - f)^2        (mean-square signal to noise)
//   snrf  = 10 log10(var f / mse) dB       (the reference's fluctuation to noise)
// A ratio over no noise is infinite.  The results are stored in their
// parameters (rounded to six decimals, as a preset keeps them), given on the
// verbose channel and, with `show`, printed on the standard output.
#include "core/message.h"
#include "gfx/2d/bitmap/bitinfo.h"
#include "gfx/2d/bitmap/bitmap.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/snr.c";
static constexpr const char *source_ident = "bitmapfx::snr";

namespace {

std::int32_t show = 0; // print the results on the standard output
std::int32_t grey = 0; // compare grey values instead of colour channels
double mse = 0.0, rmse = 0.0, psnr = 0.0, snrms = 0.0, snrf = 0.0; // the last results

// The values of the picture measured last; kept in plain vectors, since it
// lives until the program ends.
struct kept_picture {
    std::uint32_t width = 0, height = 0;
    bool grey = false;
    std::vector<double> values;
};
kept_picture reference;

std::vector<double> values_of(const bitmap *image, bool as_grey) {
    const fxkit::view pixels(image);
    std::vector<double> values;
    values.reserve(static_cast<std::size_t>(pixels.width) * pixels.height * (as_grey ? 1 : 3));
    for (int y = 0; y < pixels.height; ++y)
        for (int x = 0; x < pixels.width; ++x) {
            const std::uint8_t *p = pixels.at(x, y);
            if (as_grey)
                values.push_back(0.3 * p[0] + 0.59 * p[1] + 0.11 * p[2]);
            else
                values.insert(values.end(), {double(p[0]), double(p[1]), double(p[2])});
        }
    return values;
}

// What a preset writes and reads back: six decimals, or whole numbers where
// six decimals no longer fit a double's precision.
double printable(double value) {
    if (!std::isfinite(value))
        return value;
    if (std::fabs(value) < 1e9)
        return std::round(value * 1e6) / 1e6;
    return std::round(value);
}

double ratio(double signal, double noise) {
    if (noise > 0.0)
        return signal / noise;
    return std::numeric_limits<double>::infinity();
}

void measure(const std::vector<double> &f, const std::vector<double> &g) {
    const double n = static_cast<double>(g.size());
    double noise = 0.0, power = 0.0, sum = 0.0, squares = 0.0;
    for (std::size_t i = 0; i < g.size(); ++i) {
        const double d = g[i] - f[i];
        noise += d * d;
        power += g[i] * g[i];
        sum += f[i];
        squares += f[i] * f[i];
    }
    const double error = n > 0 ? noise / n : 0.0;
    const double variance = n > 0 ? std::max(0.0, squares / n - (sum / n) * (sum / n)) : 0.0;
    mse = printable(error);
    rmse = printable(std::sqrt(error));
    psnr = printable(10.0 * std::log10(ratio(255.0 * 255.0, error)));
    snrms = printable(ratio(power, noise));
    snrf = printable(10.0 * std::log10(ratio(variance, error)));
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    const bool as_grey = grey != 0;
    std::vector<double> values = values_of(source, as_grey);
    const char *name = bitmap_get_name(source);
    if (reference.width != source->xsize || reference.height != source->ysize ||
        reference.grey != as_grey) {
        XVERBOSE("snr: no reference picture of %ux%u pixels yet, comparing '%s' with itself",
                 source->xsize, source->ysize, name);
        measure(values, values);
    } else {
        measure(reference.values, values);
    }
    XVERBOSE("snr of '%s': mse = %f, rmse = %f, psnr = %f dB, snrms = %f, snrf = %f dB", name, mse,
             rmse, psnr, snrms, snrf);
    if (show) {
        std::printf("snr of '%s': mse = %f, rmse = %f, psnr = %f dB, snrms = %f, snrf = %f dB\n",
                    name, mse, rmse, psnr, snrms, snrf);
        std::fflush(stdout);
    }
    reference = {source->xsize, source->ysize, as_grey, std::move(values)};
    return fxkit::finish(driver, bitmap_dup(source));
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param_typed("show", "print the results", DTYPE_BOOL, show),
    bitmapfx_param_typed("grey", "compare grey values", DTYPE_BOOL, grey),
    bitmapfx_param("mse", "mean squared error (result)", mse),
    bitmapfx_param("rmse", "root mean squared error (result)", rmse),
    bitmapfx_param("psnr", "peak signal to noise ratio in dB (result)", psnr),
    bitmapfx_param("snrms", "mean-square signal to noise ratio (result)", snrms),
    bitmapfx_param("snrf", "fluctuation signal to noise ratio in dB (result)", snrf),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_snr_driver =
    fxkit::driver("snr", "./src/gfx/2d/bitmap/effects/snr.c", "$path.presets$/snr.preset",
                  "compute signal to noise ratio", fxkit::depths_rgb, parameters, procedures);
