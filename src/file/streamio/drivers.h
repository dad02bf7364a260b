// Every stream driver of the library, for the application's registration
// list.  The descriptors are static records owned by their modules; register
// them with streamio_register_driver (the newest registered is tried first)
// and pick the default with streamio_set_defio.
#pragma once

#include "file/streamio/streamio.h"

extern streamio_driver nullio_driver;              // "nullio": null device, only when forced
extern streamio_driver debugio_driver;             // "debugio": logs every open to "io_log"
extern streamio_driver stdio_driver;               // "stdio": plain C library, takes any file
extern streamio_driver safeio_driver;              // "safeio": warns about failures
extern streamio_driver reslogio_driver;            // "reslogio": logs files opened for reading
extern streamio_driver secureio_driver;            // "secureio": every failure is an error
extern streamio_driver httpio_driver;              // "httpio": placeholder
extern streamio_driver ftpio_driver;               // "ftpio": placeholder
extern streamio_driver telnetio_driver;            // "telnetio": placeholder
extern streamio_driver platformio_driver;          // "platformio": platform clash checks
extern streamio_driver saferio_driver;             // "saferio": the default driver
extern streamio_driver silent_backupio_driver;     // "silent-backupio": backs up, never serves
extern streamio_driver resio_driver;               // "resio": read-only resource files
extern streamio_driver single_file_cacheio_driver; // "single-file-cacheio": whole file in memory
extern streamio_driver latent_cacheio_driver;      // "latent-cacheio": block cache before a file

// The drivers the application registers, in its registration order (the
// last is tried first); null ends the list.  "reslogio" and
// "silent-backupio" are library drivers that the program does not carry.
extern streamio_driver *const streamio_builtin_drivers[];

// Registers each driver of streamio_builtin_drivers, in order.
void streamio_register_builtin_drivers();
