// Particle-system drivers of the 3D world renderer.  The renderer is not part
// of this program, so no driver is ever registered here; the listing exists
// for the application's "-8" option.
#pragma once

// Prints the registered particle-system drivers to the standard output.
void partsys_list_drivers();
