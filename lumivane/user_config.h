// The user's own configuration for an installed program.
//
// An installation keeps its configuration read-only beside the data
// ("<prefix>/share/lumivane/Lumivane.ini").  The program rewrites its
// configuration at exit, so an installed program run without Lumivane_ini
// works on a copy of its user's: "$XDG_CONFIG_HOME/lumivane/Lumivane.ini"
// (or "~/.config/lumivane/Lumivane.ini"), made on the first run from the
// installed one.  In the copy "$path.data$" and "$path.bin$" point at the
// installation, "$path.run$" (presets, backups) at the copy's folder and
// "$path.tmp$" (the desktop file) at "$XDG_CACHE_HOME/lumivane" (or
// "~/.cache/lumivane").
//
// A program that is not installed (the build folder) and a program run with
// Lumivane_ini set are left alone.
#pragma once

// Before the configuration is loaded: makes the user's copy when there is
// none yet and points Lumivane_ini at it.  Failures are warnings; the
// configuration is then searched as usual.
void user_config_prepare();

// After the configuration is loaded: when the copy in use is the user's and
// the installation has moved since it was made, points "$path.data$" and
// "$path.bin$" at the installation again (saved at exit).
void user_config_refresh();
