#include "gfx/2d/bitmap/effects/proctext/terrain.h"

namespace protex::terrain {

void draw(common &c, double low_h, double high_h) {
    c.vscale = protex::draw(1.0, 4.0);
    c.vplus = protex::draw(0.0, 100.0);
    c.octaves = draw_int(5, 9);
    c.increment = protex::draw(low_h, high_h);
    c.lacunarity = protex::draw(1.8, 2.5);
    c.frequency = protex::draw(0.6, 1.6);
    c.basic_color = draw_colour({0.0, 0.0, 0.0}, {0.45, 0.45, 0.45});
    c.strip_color = draw_colour({0.55, 0.55, 0.55}, {1.0, 1.0, 1.0});
    draw_blend(c.sblend, c.tblend, 0.6, 1.0);
}

} // namespace protex::terrain
