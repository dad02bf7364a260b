// Every stream driver of the library, for the application's registration
// list.  The descriptors are static records owned by their modules; register
// them with streamio_register_driver (the newest registered is tried first)
// and pick the default with streamio_set_defio.
#pragma once

#include "file/streamio/streamio.h"

extern streamio_driver saferio_driver; // "saferio": the default driver
