// The command-line option reader.  Table driven: the application passes a
// table of option rows, ended by a row whose key is null, and calls
// `getopt_get` until it returns -1.
//
// Key strings: the option character, optionally ":" and a type letter ("d"
// integer, "f" floating point, "s" text) when the option takes an argument,
// and at most one "!" marking a required option (shown by the help only).
// Options are written -x (grouped as -dq), or by their long name written in
// full with one dash (-xres); a long option takes its argument from the next
// argument.  "--" ends the options, and so does the first argument that does
// not begin with "-".
//
// On its first call the reader checks the table and rebuilds the argument
// list: "@file" arguments restore the arguments stored in that file (one per
// line, ";" and "#" lines and empty lines skipped) or, when no such file
// exists, store the command line into it; the words of the environment
// variable lumivane_env follow the command line.  At most GETOPT_MAX_ARGC
// entries (program name included) minus one.
//
// Every failure is reported through the error channel.
#pragma once

inline constexpr int GETOPT_MAX_ARGC = 512;

// One option row, fields in this order.
struct getopt_option {
    const char *key;       // "x:d", "h", ...; null ends the table
    const char *argument;  // help placeholder for the argument ("<value>"), or null
    const char *long_name; // used as -long_name; may not contain "-"
    const char *help;      // one-line help text
    const char *info;      // more information for the advanced help, usually null
};

// The caller's reading state; start it as {1, 1, 0, nullptr}.
struct getopt_state {
    int error;            // error flag, 1 at the start
    int index;            // next argument to read, starts at 1
    int key;              // the last option character returned
    const char *argument; // argument of the last option, null when it takes none
};

// The next option character, or -1 when the options are exhausted (the
// reader then starts afresh on its next call).  The argument text stays valid
// until the next call.
int getopt_get(int argc, char **argv, const getopt_option *table, getopt_state *state);

// Prints the simple (advanced 0) or advanced help to the standard output,
// pausing every page for the enter key on the standard input; the end of the
// input stops the listing.
void getopt_show(const getopt_option *table, int advanced);
