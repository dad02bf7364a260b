// The process-wide configuration: a text file of named headers holding
// key/value entries, all values kept as text.  Headers and keys may be
// wildcard patterns, matched both ways against the caller's names; the first
// match in file order wins.  Keys written "$name$" are aliases expanded into
// file names by `config_alias`.  A value "null" (or a pattern matching it,
// such as "*") means "no value, use the default".
//
// The store is active from a successful `config_load` to `config_unload`;
// while inactive every query warns and answers nothing.  Keys and headers are
// never created: `config_put` only replaces values of keys in the file.  The
// file is written back at unload when something was changed (the load time
// always is, when the file has the key).
//
// Reading and writing go through the stream layer, so file names may hold
// aliases themselves.  Bad files are reported through the error channel with
// the file and the line; when that channel returns, the store is left as it
// was before the load.
#pragma once

#include <cstdint>

// Finds and reads the configuration ("Lumivane.ini" when name is null): the
// environment variable Lumivane_ini as a file or as the folder holding
// `name`, then `name`, `name`.ini and /basename.  Returns 1 when loaded, 0
// when no file was found (nothing is reported) or the file was bad.
int config_load(const char *name);
int config_active();

// The stored value text (owned by the configuration), or null when inactive,
// not found or "null".  With a destination the text is also scanned into it
// as typed value `type` of `size` bytes; a "null" value leaves it untouched.
const char *config_get(const char *header, const char *key, std::uint32_t type, std::uint32_t size,
                       void *destination);
// Replaces the value of an existing key (null stores "null"); 1 on success,
// 0 (with a warning) when inactive or when the key does not exist.  Values
// are written one per line: the writer drops a value's first line feed and
// first carriage return (the end of a `ctime` text), and a value with other
// line ends does not read back.
int config_put(const char *header, const char *key, const char *value);
// A new text with every alias expanded, repeatedly, in a buffer of 4096
// bytes; the caller frees it with xfree.  Inactive: a copy of the text (with
// a warning).  Null after an error: the result would not fit, or the aliases
// refer to each other without end.
char *config_alias(const char *text);
// Writes the configuration to `name`, or to the file it was loaded from;
// stores the save time first.  1 when the whole file was written.
int config_save(const char *name);
// Saves when changed, then releases everything.
void config_unload();
