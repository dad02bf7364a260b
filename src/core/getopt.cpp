#include "core/getopt.h"

#include "core/message.h"
#include "core/xmain.h"
#include "core/xstring.h"
#include "file/streamio/streamio.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <vector>

static constexpr const char *source_file = "./src/core/getopt.c";
static constexpr const char *source_ident = "getopt";

namespace {

constexpr int response_line_max = 4096;
constexpr int simple_page_rows = 16;
constexpr int advanced_page_rows = 3;
const char *const environment_concat = "env";

// The rebuilt argument list lives from the first call until the reader
// returns -1.
std::vector<std::string> arguments;
bool rebuilt = false;
int position = 0; // inside the current argument, for grouped short options

void reset() {
    arguments.clear();
    rebuilt = false;
    position = 0;
}

const char *long_name_of(const getopt_option *row) {
    return row && row->long_name ? row->long_name : "unknown";
}

bool takes_argument(const getopt_option &row) {
    return row.key[0] && row.key[1] == ':';
}

bool is_required(const getopt_option &row) {
    return std::strchr(row.key, '!') != nullptr;
}

bool check_row(const getopt_option &row) {
    const char *key = row.key;
    if (!key[0])
        return true; // a row without an option character can never be chosen
    if ((row.argument || key[1] == ':') && (key[1] != ':' || !key[2])) {
        XERROR("missing ':' in key string (%s)", key);
        return false;
    }
    if (key[1] == ':' && !std::strchr("dfs", key[2])) {
        XERROR("invalid character '%c' in key string (%s)", key[2], key);
        return false;
    }
    if (row.long_name && std::strchr(row.long_name, '-')) {
        XERROR("invalid character '%c' in string", '-');
        return false;
    }
    return true;
}

bool check(const getopt_option *table) {
    for (const getopt_option *row = table; row->key; ++row)
        if (!check_row(*row))
            return false;
    return true;
}

bool add_argument(std::string text) {
    int new_argc = static_cast<int>(arguments.size());
    if (!(++new_argc < GETOPT_MAX_ARGC)) {
        XERROR("xassert(%s) failed", "++(*new_argc) < MAX_ARGC");
        return false;
    }
    arguments.push_back(std::move(text));
    return true;
}

enum class line_result { read, end_of_file, failed };

// One line of a response file, its line end removed.
line_result read_response_line(streamio_stream *stream, const char *name, int number,
                               std::string &line) {
    line.clear();
    int c = xfgetc(stream);
    if (c == EOF)
        return line_result::end_of_file;
    for (; c != EOF && c != '\n'; c = xfgetc(stream)) {
        if (c == 0) {
            XERROR("unexpected NUL byte in response file(%s) at line %d", name, number);
            return line_result::failed;
        }
        if (static_cast<int>(line.size()) == response_line_max) {
            XERROR("line too long in response file(%s) at line %d, maximum is %d characters", name,
                   number, response_line_max);
            return line_result::failed;
        }
        line.push_back(static_cast<char>(c));
    }
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line_result::read;
}

// Every line is one argument, blanks included, so "-x 640" stays whole.
bool restore_response_file(streamio_stream *stream, const char *name) {
    std::string line;
    for (int number = 1;; ++number) {
        switch (read_response_line(stream, name, number, line)) {
        case line_result::end_of_file:
            return true;
        case line_result::failed:
            return false;
        case line_result::read:
            break;
        }
        if (line.empty() || line[0] == ';' || line[0] == '#')
            continue;
        if (!add_argument(line))
            return false;
    }
}

// Writes the command line, one argument a line, with an empty line in place
// of the response-file argument itself.
bool store_response_file(const char *name, int argc, char **argv, int self) {
    stream_ptr stream(xfopen(name, "w"));
    if (!stream) {
        XERROR("failed to open response file(%s) for writing", name);
        return false;
    }
    for (int i = 1; i < argc; ++i) {
        if (i != self && xfputs(argv[i], stream.get()) == EOF)
            return false;
        if (xfputc('\n', stream.get()) == EOF)
            return false;
    }
    return true;
}

bool response_file(int argc, char **argv, int self) {
    const char *name = argv[self] + 1;
    stream_ptr stream(xfopen(name, "r"));
    if (stream) {
        XVERBOSE("using \"%s\" as response file (restoring)", name);
        return restore_response_file(stream.get(), name);
    }
    XVERBOSE("using \"%s\" as response file (storing)", name);
    return store_response_file(name, argc, argv, self);
}

std::string environment_name() {
    char name[256];
    std::snprintf(name, sizeof name, "%s_%s", application_name, environment_concat);
    for (char *c = name; *c; ++c)
        *c = std::strchr(" \"'", *c) ? '_' : static_cast<char>(std::tolower(*c));
    return name;
}

bool append_environment() {
    const char *value = std::getenv(environment_name().c_str());
    if (!value)
        return true;
    std::string word;
    for (const char *c = value;; ++c) {
        if (*c && *c != ' ' && *c != '\t') {
            word.push_back(*c);
            continue;
        }
        if (!word.empty() && !add_argument(word))
            return false;
        word.clear();
        if (!*c)
            return true;
    }
}

bool rebuild(int argc, char **argv) {
    arguments.clear();
    if (!add_argument(argc > 0 && argv[0] ? argv[0] : ""))
        return false;
    for (int i = 1; i < argc; ++i) {
        const char *argument = argv[i] ? argv[i] : "";
        bool ok = argument[0] == '@' && argument[1] ? response_file(argc, argv, i)
                                                    : add_argument(argument);
        if (!ok)
            return false;
    }
    return append_environment();
}

const getopt_option *find_short(const getopt_option *table, char key) {
    for (const getopt_option *row = table; row->key; ++row)
        if (row->key[0] && row->key[0] == key)
            return row;
    return nullptr;
}

// Long names are compared whole: -xres, never a prefix of it.
const getopt_option *find_long(const getopt_option *table, const char *name) {
    for (const getopt_option *row = table; row->key; ++row)
        if (row->long_name &&
            xstringn_compare(name, row->long_name, std::strlen(row->long_name) + 1))
            return row;
    return nullptr;
}

bool argument_valid(const getopt_option &row, const char *value) {
    int ok = 1;
    switch (row.key[2]) {
    case 'd':
        xatoi(value, &ok);
        if (!ok)
            XERROR("expecting integer, got '%s' in option '-%c' ('-%s')", value, row.key[0],
                   long_name_of(&row));
        break;
    case 'f':
        xatold(value, &ok);
        if (!ok)
            XERROR("expecting float, got '%s' in option '-%c' ('-%s')", value, row.key[0],
                   long_name_of(&row));
        break;
    default:
        break;
    }
    return ok;
}

int finish() {
    reset();
    return -1;
}

// Moves on to the next argument.
void next_argument(getopt_state *state) {
    ++state->index;
    position = 0;
}

// Waits for the enter key; false at the end of the input.
bool pause(const char *prompt) {
    std::fputs(prompt, stdout);
    std::fflush(stdout);
    for (int c = std::getchar();; c = std::getchar()) {
        if (c == EOF)
            return false;
        if (c == '\n')
            return true;
    }
}

void show_simple(const getopt_option *table) {
    std::printf("\ncommand line options for %s\n", application_name);
    int shown = 0;
    for (const getopt_option *row = table; row->key; ++row) {
        char short_form[64];
        char long_form[64];
        std::snprintf(short_form, sizeof short_form, "-%c %s", row->key[0],
                      row->argument ? row->argument : "");
        std::snprintf(long_form, sizeof long_form, "-%s", long_name_of(row));
        std::printf("\n%c%-18s  %-22s  %s", is_required(*row) ? '*' : ' ', short_form, long_form,
                    row->help ? row->help : "");
        if (++shown > simple_page_rows && row[1].key) {
            shown = 0;
            if (!pause("\npress [enter] for more options, echo a break to quit"))
                break;
        }
    }
    std::printf("\n");
}

const char *available(const char *text) {
    return text ? text : "not available";
}

void show_advanced(const getopt_option *table) {
    std::printf("\nextended help on command line options for %s\n", application_name);
    std::printf("note(1) : all command line options are *case-sensitive*\n");
    std::printf("note(2) : optional response file in the form of %c<response-file>\n", '@');
    std::printf("          will be used ; if exists to restore options else to store options.\n");
    std::printf("note(3) : optional environment variables in the %s=<settings>\n",
                environment_name().c_str());
    std::printf("          form are concatenated after (optional) command line options.\n");
    int number = 0;
    for (const getopt_option *row = table; row->key; ++row, ++number) {
        const char *bang = std::strchr(row->key, '!');
        if (bang && std::strchr(bang + 1, '!')) {
            XERROR("multiple '!' tokens not allowed in '%s'", row->key);
            return;
        }
        const char *argument = row->argument ? row->argument : "";
        // The heading gets a line of its own, so that the fields below it line up.
        std::printf("\n%s command line option(%d)\n", application_name, number);
        std::printf("standard format   : -%c %s\n", row->key[0], argument);
        std::printf("extended format   : -%s %s\n", available(row->long_name), argument);
        std::printf("additional help   : %s\n", available(row->help));
        std::printf("additional info   : %s\n", available(row->info));
        std::printf("is required ?     : %s\n", bang ? "yes" : "no");
        if ((number + 1) % advanced_page_rows == 0 && row[1].key &&
            !pause("\npress [enter] for more options, echo a break to quit\n"))
            break;
    }
    std::fflush(stdout);
}

} // namespace

namespace {

int read_option(int argc, char **argv, const getopt_option *table, getopt_state *state) {
    if (!table || !state) {
        XERROR("xassert(%s) failed", !table ? "table" : "state");
        return -1;
    }
    if (!rebuilt) {
        if (!check(table) || !rebuild(argc, argv))
            return finish();
        rebuilt = true;
        position = 0;
    }
    state->argument = nullptr;
    int count = static_cast<int>(arguments.size());
    if (state->index < 0 || state->index >= count)
        return finish();
    const char *current = arguments[state->index].c_str();
    const getopt_option *row = nullptr;
    if (position == 0) {
        if (current[0] != '-' || current[1] == '\0')
            return finish();
        if (std::strcmp(current, "--") == 0) {
            ++state->index;
            return finish();
        }
        if ((row = find_long(table, current + 1)))
            next_argument(state);
        else
            position = 1;
    }
    if (!row) {
        char key = current[position];
        row = find_short(table, key);
        if (!row) {
            XERROR("illegal command line option '-%c' ('-%s')", key, "unknown");
            return finish();
        }
        if (!current[++position])
            next_argument(state);
    }
    const char *value = nullptr;
    if (takes_argument(*row)) {
        if (position) {
            value = current + position; // the rest of the same argument
            next_argument(state);
        } else if (state->index < count) {
            value = arguments[state->index].c_str();
            next_argument(state);
        } else {
            XERROR("command line option '-%c' ('-%s') requires an argument", row->key[0],
                   long_name_of(row));
            return finish();
        }
        if (!argument_valid(*row, value))
            return finish();
    }
    state->key = row->key[0];
    state->argument = value;
    return state->key;
}

} // namespace

int getopt_get(int argc, char **argv, const getopt_option *table, getopt_state *state) {
    // An error target that unwinds (tests, fuzzers) must not leave a half-read
    // command line behind for the next reader.
    struct reset_when_unwinding {
        int pending = std::uncaught_exceptions();
        ~reset_when_unwinding() {
            if (std::uncaught_exceptions() > pending)
                reset();
        }
    } guard;
    return read_option(argc, argv, table, state);
}

void getopt_show(const getopt_option *table, int advanced) {
    if (!table) {
        XERROR("xassert(%s) failed", "table");
        return;
    }
    if (advanced)
        show_advanced(table);
    else
        show_simple(table);
}
