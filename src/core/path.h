// Path helpers.  None of them allocates.
#pragma once

// Turns a path into the host's form in place ("\" becomes "/"); returns it.
// A null path stays null.
char *path_unix(char *path);

// The last component of a path: the text after the last "/" or "\" (the
// whole path when it has none, an empty text for a path ending in a
// separator).  Points into `path`.
const char *path_get_basename(const char *path);

// The suffix of the last component without its dot ("tga" for "a/b.x.tga"),
// or an empty text when the last component has no dot after its first
// character (so ".profile" has none).  Points into `path`.
const char *path_last_suffix(const char *path);
