// The process-wide configuration: a text file of named headers holding
// key/value entries, all values kept as text.  Headers and keys may be
// wildcard patterns, matched both ways against the caller's names; the first
// match in file order wins.  Keys written "$name$" are aliases expanded into
// file names by `config_alias`.
#pragma once

#include <cstdint>

// Finds and reads the configuration ("Lumivane.ini" when name is null).
// Returns 1 when loaded, 0 when no file was found (nothing is reported).
int config_load(const char *name);
int config_active();

// The stored value text (owned by the configuration), or null when inactive,
// not found or "null".  With a destination the text is also scanned into it
// as typed value `type` of `size` bytes; a "null" value leaves it untouched.
const char *config_get(const char *header, const char *key, std::uint32_t type, std::uint32_t size,
                       void *destination);
// Replaces the value of an existing key (null stores "null"); 1 on success.
int config_put(const char *header, const char *key, const char *value);
// A new text with every alias expanded; the caller frees it with xfree.
char *config_alias(const char *text);
// Writes the configuration to `name`, or to the file it was loaded from.
int config_save(const char *name);
// Saves when changed, then releases everything.
void config_unload();
