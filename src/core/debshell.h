// The debugging shell is not part of this build: entering it is an error that
// names the caller.
#pragma once

void debug_shell(const char *file, int line);
