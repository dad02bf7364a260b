// The image-file driver registry and the three entry points the program uses
// for image files.
//
// Drivers are static records (bitmapio_driver.h) that the application
// registers once at start-up; the registry is a singly linked list headed by
// the newest driver, so searches visit the drivers newest first.  A file's
// type comes from its first bytes (33 signatures, longest first) or, when no
// signature matches or the file cannot be opened (a file not written yet),
// from its suffix.  Names compare with the two-way wildcard match, so the
// type "*postscript" finds a PostScript driver and "rw*" stands for every
// reading-and-writing mode.
//
// Results:
// - bitmap_fileload returns a new bitmap owned by the caller (free it with
//   bitmap_kill), its `name` set to the file name and `loader` to the driver;
//   null when no driver knows the file or the driver failed (a warning then
//   names both).  A driver's load yields a whole bitmap or null, never a part.
// - bitmap_filesave returns the driver's save result (non-zero on success), 0
//   when no driver could be chosen.
// - bitmap_filetype returns a type name of the signature table (static
//   storage) or null.
#pragma once

#include "gfx/2d/bitmap/bitmapio_driver.h"

struct bitmap;

void bitmapio_register_driver(bitmapio_driver *driver);
// Either argument may be null.  A file name whose type is known searches by
// that type; otherwise a driver whose extension matches the name's suffix.
bitmapio_driver *bitmapio_find_driver(const char *name, const char *filename);
// The first driver, in list order, one of whose mode patterns matches `mode`
// (e.g. "w24"); null when none.
bitmapio_driver *bitmapio_find_mode(const char *mode);
// Prints the registry and each driver's modes to the standard output.
void bitmapio_list_drivers();
// Empties the registry and re-arms the first-call resolution pass of
// recognition.  Records keep no state but their link, so a test may build the
// registry it needs and later rebuild another from the same records.
void bitmapio_reset_registry();

const char *bitmap_filetype(const char *filename);
bitmap *bitmap_fileload(const char *filename);
// `driver_name` may be null: the driver then follows from the file name, or
// from the first driver that writes the bitmap's depth.  A name without a
// suffix gets the driver's extension appended.
int bitmap_filesave(bitmap *image, const char *filename, const char *driver_name);
// Lets the file's driver print the file's header.
void bitmap_filedump(const char *filename);

// The image-file drivers, in the application's registration order.  Each is
// defined in its own file under loaders/.
extern bitmapio_driver bitmapio_array_driver;                 // "array"
extern bitmapio_driver bitmapio_sbm3_driver;                  // "sbm3"
extern bitmapio_driver bitmapio_sbm2_driver;                  // "sbm2"
extern bitmapio_driver bitmapio_ascii_postscript_driver;      // "ascii-postscript"
extern bitmapio_driver bitmapio_binary_postscript_driver;     // "binary-postscript"
extern bitmapio_driver bitmapio_compressed_postscript_driver; // "compressed-postscript"
extern bitmapio_driver bitmapio_pcx_driver;                   // "pcx"
extern bitmapio_driver bitmapio_bmp_driver;                   // "windows bitmap"
extern bitmapio_driver bitmapio_iff_driver;                   // "iff"
extern bitmapio_driver bitmapio_alchemy_driver;               // "alchemy"
extern bitmapio_driver bitmapio_ppm_driver;                   // "portable pixmap"
extern bitmapio_driver bitmapio_targa_driver;                 // "targa"

// The same drivers as one list in that order; null ends it.
extern bitmapio_driver *const bitmapio_builtin_drivers[];

// Registers each driver of bitmapio_builtin_drivers, in order.
void bitmapio_register_builtin_drivers();
