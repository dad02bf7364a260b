// Keyboard of the Linux desktop: the standard input.  It never reports a
// waiting key, so code that polls for Escape never sees one here.
#pragma once

const char *keyb_init(); // null: no error
void keyb_deinit();
int keyb_kbhit();  // always 0
int keyb_getch();  // one character from the standard input (blocking); -1 at end of input
void keyb_flush(); // drops waiting characters (there never are any)
int keyb_wait(const char *prompt);
