#include "gfx/3d/partsys.h"

#include <cstdio>

void partsys_list_drivers() {
    std::printf("\nno 3d particle system drivers available\n");
    std::fflush(stdout);
}
