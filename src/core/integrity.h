// Self-check of the program file: its CRC-32 is taken at start-up and its
// state released at exit.
#pragma once

#include <cstdint>

// Reads the running program's file and records its checksum.  Returns null, or
// an error text when the file cannot be read.
const char *integrity_check();
// The checksum recorded by the last successful check (0 before).
std::uint32_t integrity_checksum();
void integrity_uncheck();
