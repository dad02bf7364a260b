// Effect presets and meta commands.
//
// A preset file keeps the parameter values of one effect driver in a small
// text file (written and read with the token reader of file/parse.h), and
// checks on loading that the file still describes the driver as built.
// Identity fields that differ (source file, preset path, comment) are
// warnings; a different hash, parameter count, order or parameter layout is
// an error.  Only parameters with storage that are storable and have a text
// form are set from a file; the others (the bitmaps) are written as "null"
// and never set.  A file is applied as a whole: no value changes unless every
// parameter of the file has been read and accepted.
//
// Results: null on success, else a static text saying what failed:
// - saving: "failed to open file", "failed to close";
// - loading: "failed to open file for reading", "failed to close file";
// - both: "preset file rejected" when an error was reported and the error
//   target returned instead of ending the program.
#pragma once

struct bitmapfx_driver;

// Saves `driver`'s parameters to `file` (null: the driver's own preset
// path).  A null driver saves every registered driver to its own path,
// newest first, and stops at the first failure.
const char *bitmapfx_save_preset(bitmapfx_driver *driver, const char *file);

// Loads one preset file into the driver it names.  A null file loads every
// registered driver's own preset path, newest first, and stops at the first
// failure, returning its text.
const char *bitmapfx_load_preset(const char *file);

// Runs a one-line meta command:
//   "run fxdriver <driver> on bitmap <input> and save as <output>"
//   "set fxdriver <driver> parameter <key> to <value>"
// Words are separated by blanks; the last field takes the rest of the line
// (trimmed), so a value such as "r:1 g:2 b:3" needs no quotes.  Returns 1
// when the text has one of the two forms (and the command was run; failures
// while running are errors), 0 when it is not a meta command.
int bitmapfx_meta_command(const char *text);
