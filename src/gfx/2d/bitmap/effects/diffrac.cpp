// "diffraction": the interference pattern of light from a ring of small
// openings, worked out for each colour at its own wave length and laid over
// the picture as light.
//
// Model: seven point openings sit on a ring about the picture's centre (the
// picture's half larger side is one unit, and one unit is 5 micrometres, so
// visible wave lengths give fringes a tenth of a unit apart, at any picture
// size).  At each pixel, for each colour, the waves from the openings are
// added with their phases (distance / wave length) and their amplitudes,
// which fall off as exp(-scattering * distance).  Openings alternate between
// two directions of polarization: waves of the same direction interfere,
// those of crossed directions only add their intensities; `polarization`
// from -1 (crossed) to 1 (all alike) mixes the two.  The intensity I, from 0
// to 1 where all waves arrive in phase, is drawn as contour bands
// sin^2(pi * contour * I), or as I itself for a contour of 0, raised to the
// power `edges` (higher: thinner, sharper fringes), times `brightness` and
// the square of the mean amplitude (the light fades away from the openings),
// and screened over the picture (light added, never darkened).
#include "core/message.h"
#include "core/progress.h"
#include "gfx/2d/bitmap/effects/bitmapfx.h"
#include "gfx/2d/bitmap/effects/bitmapfx_drivers.h"
#include "gfx/2d/bitmap/effects/distort.h"
#include "gfx/2d/bitmap/effects/fxkit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

static constexpr const char *source_file = "./src/gfx/2d/bitmap/effects/diffrac.c";
static constexpr const char *source_ident = "bitmapfx::diffraction";

namespace {

double lam_r = 0.65, lam_g = 0.55, lam_b = 0.45;          // wave lengths in micrometres
double contour_r = 1.0, contour_g = 1.0, contour_b = 1.0; // bands per unit of intensity
double edges_r = 1.0, edges_g = 1.0, edges_b = 1.0;       // sharpness of the fringes
double brightness = 0.75;   // light added at full intensity, 0..1 of white
double scattering = 0.5;    // amplitude loss per unit of distance
double polarization = 0.25; // -1 crossed .. 1 alike

constexpr int openings = 7;
constexpr double ring_radius = 0.35;
constexpr double microns_per_unit = 5.0;
// Shorter wave lengths would only draw noise at any picture size.
constexpr double shortest_wave = 0.05;

// cos of a phase in cycles, from a table: a phase error of 1/4096 of a
// cycle is far below what a byte of colour shows.
class cosine_table {
  public:
    static constexpr int size = 4096;
    cosine_table() {
        for (int i = 0; i < size; ++i)
            values_[i] = static_cast<float>(std::cos(2.0 * std::numbers::pi * i / size));
    }
    // cos and sin of 2 pi * cycles, cycles >= 0.
    void phasor(double cycles, float &c, float &s) const {
        const auto step = static_cast<std::uint32_t>(cycles * size);
        c = values_[step & (size - 1)];
        s = values_[(step - size / 4) & (size - 1)];
    }

  private:
    std::array<float, size> values_;
};

struct channel_rule {
    double cycles_per_unit; // 1 / wave length in picture units
    double contour, edges;
};

double checked(double value, double fallback, double low, double high, const char *key) {
    if (std::isfinite(value) && value >= low && value <= high)
        return value;
    const double used = std::isfinite(value) ? std::clamp(value, low, high) : fallback;
    XWARNING("%s %f is out of range (%f .. %f), using %f", key, value, low, high, used);
    return used;
}

channel_rule rule_of(double lambda, double contour, double edges, const char *lambda_key,
                     const char *contour_key, const char *edges_key) {
    lambda = checked(lambda, 0.55, shortest_wave, 1e6, lambda_key);
    return {microns_per_unit / lambda, checked(contour, 1.0, 0.0, 1e3, contour_key),
            checked(edges, 1.0, 0.0, 1e3, edges_key)};
}

void *run_effect(bitmapfx_driver *driver) {
    const bitmap *source = fxkit::source(driver);
    if (!source)
        return nullptr;
    const channel_rule rules[3] = {
        rule_of(lam_r, contour_r, edges_r, "lam_r", "contour_r", "edges_r"),
        rule_of(lam_g, contour_g, edges_g, "lam_g", "contour_g", "edges_g"),
        rule_of(lam_b, contour_b, edges_b, "lam_b", "contour_b", "edges_b"),
    };
    const double light = checked(brightness, 0.75, 0.0, 1.0, "brightness") * 255.0;
    const double loss = checked(scattering, 0.5, 0.0, 1e3, "scattering");
    const double alike = (checked(polarization, 0.0, -1.0, 1.0, "polarization") + 1.0) * 0.5;

    static const cosine_table table;
    double ox[openings], oy[openings];
    for (int k = 0; k < openings; ++k) {
        const double a = 2.0 * std::numbers::pi * (k + 0.25) / openings;
        ox[k] = ring_radius * std::cos(a);
        oy[k] = ring_radius * std::sin(a);
    }
    const int width = static_cast<int>(source->xsize), height = static_cast<int>(source->ysize);
    const double cx = distort::centre(width), cy = distort::centre(height);
    const double unit = std::max(width, height) * 0.5;

    bitmap *target = bitmap_dup(source);
    const fxkit::view to(target);
    progress_guard progress("diffraction", "diffracts image");
    for (int y = 0; y < height; ++y) {
        progress.add(y, height);
        const double py = (y - cy) / unit;
        std::uint8_t *out = to.row(y);
        for (int x = 0; x < width; ++x, out += to.channels) {
            const double px = (x - cx) / unit;
            double distance[openings], amplitude[openings], total = 0.0;
            for (int k = 0; k < openings; ++k) {
                const double dx = px - ox[k], dy = py - oy[k];
                distance[k] = std::sqrt(dx * dx + dy * dy);
                amplitude[k] = std::exp(-loss * distance[k]);
                total += amplitude[k];
            }
            const double glow = light * (total / openings) * (total / openings);
            for (int c = 0; c < 3; ++c) {
                // Sums of the two polarization sets: even and odd openings.
                float re[2] = {0, 0}, im[2] = {0, 0};
                for (int k = 0; k < openings; ++k) {
                    float cs, sn;
                    table.phasor(distance[k] * rules[c].cycles_per_unit, cs, sn);
                    re[k & 1] += static_cast<float>(amplitude[k]) * cs;
                    im[k & 1] += static_cast<float>(amplitude[k]) * sn;
                }
                const double together =
                    (re[0] + re[1]) * (re[0] + re[1]) + (im[0] + im[1]) * (im[0] + im[1]);
                const double apart = re[0] * re[0] + im[0] * im[0] + re[1] * re[1] + im[1] * im[1];
                const double intensity =
                    (alike * together + (1.0 - alike) * apart) / (total * total);
                double band = intensity;
                if (rules[c].contour > 0.0) {
                    const double s = std::sin(std::numbers::pi * rules[c].contour * intensity);
                    band = s * s;
                }
                const double level = std::pow(band, rules[c].edges) * glow;
                out[c] = fxkit::clamp_byte(out[c] + level - out[c] * level / 255.0);
            }
        }
    }
    return fxkit::finish(driver, target);
}

bitmapfx_parameter parameters[] = {
    BITMAPFX_SOURCE_BITMAP,
    BITMAPFX_TARGET_BITMAP,
    bitmapfx_param("lam_r", "red wave length in micrometres", lam_r),
    bitmapfx_param("lam_g", "green wave length in micrometres", lam_g),
    bitmapfx_param("lam_b", "blue wave length in micrometres", lam_b),
    bitmapfx_param("contour_r", "red contour bands per unit of intensity", contour_r),
    bitmapfx_param("contour_g", "green contour bands per unit of intensity", contour_g),
    bitmapfx_param("contour_b", "blue contour bands per unit of intensity", contour_b),
    bitmapfx_param("edges_r", "sharpness of the red fringes", edges_r),
    bitmapfx_param("edges_g", "sharpness of the green fringes", edges_g),
    bitmapfx_param("edges_b", "sharpness of the blue fringes", edges_b),
    bitmapfx_param("brightness", "light added at full intensity (0..1)", brightness),
    bitmapfx_param("scattering", "amplitude loss with distance", scattering),
    bitmapfx_param("polarization", "-1 crossed .. 1 alike polarization", polarization),
    BITMAPFX_PARAMETER_END,
};

const bitmapfx_procedure procedures[] = {fxkit::fx_procedure(run_effect), fxkit::procedure_end};

} // namespace

bitmapfx_driver bitmapfx_diffraction_driver = fxkit::driver(
    "diffraction", "./src/gfx/2d/bitmap/effects/diffrac.c", "$path.presets$/diffraction.preset",
    "diffracts image", fxkit::depths_rgb, parameters, procedures);
