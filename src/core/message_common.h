// Pieces shared by the four message channel modules: the message line, the
// per-channel log file and the one-time configuration step.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

#include "core/xstring.h"

inline constexpr int MESSAGE_BUFFER_SIZE = 4096;

// Formats a message into `buffer` (MESSAGE_BUFFER_SIZE bytes), truncating.
void message_format(char *buffer, const char *format, std::va_list args);

// The line a message leaves as: "%s/%s/%s [%s(%d)]: %s\n" with the
// application's name, the channel's identifier, the module's identifier (or
// "<annonymous>"), the source file and line and the message.
std::string message_line(const char *channel_ident, const char *ident, const char *file, int line,
                         const char *message);

// Writes message_line(...) to `stream`; false when the write failed.
bool message_write_line(std::FILE *stream, const char *channel_ident, const char *ident,
                        const char *file, int line, const char *message);

// A channel's log file: deleted on the channel's first use in the run, then
// only appended to.
struct message_log {
    const char *filename;
    bool deleted;
};

// Appends one line (already formatted, newline included) to the log.  Returns
// null on success, else the text of the statement that failed.
const char *message_log_append(message_log &log, const char *text);

// The one-time switch to the target configured under "*.message.handling".
struct message_config {
    const char *type_key; // "error.type", ...
    bool done;
};

// Runs the configuration step once the configuration is active; returns the
// configured target name (or null) for the caller's override.
const char *message_config_step(message_config &config);

// A channel's table of named targets, ended by a row with a null name.
template <class Function> struct message_target {
    const char *name;
    Function function;
};

// The first row whose name matches (two-way wildcard), or null.
template <class Function>
const message_target<Function> *message_find_target(const message_target<Function> *table,
                                                    const char *name) {
    for (const message_target<Function> *row = table; row->name; ++row)
        if (xstring_match(name, row->name))
            return row;
    return nullptr;
}

#include "core/message.h"

// The warning and verbose channels behave alike; each module describes its
// channel with one of these and forwards its targets to the functions below.
struct message_channel {
    const char *source_file; // the channel module's own
    const char *ident;       // "handler.warning", "handler.verbosity"
    message_log log;
    message_config config;
    xmessage_fn *pointer; // &xwarning, &xverbose
    void (*override)(const char *name);
    int (*aux_sink)(const char *file, int line, const char *message);
};

void message_channel_log(message_channel &channel, xmessage_fn self, const char *file, int line,
                         const char *ident, const char *format, std::va_list args);
void message_channel_con(message_channel &channel, xmessage_fn self, const char *file, int line,
                         const char *ident, const char *format, std::va_list args);
void message_channel_cok(message_channel &channel, xmessage_fn self, const char *file, int line,
                         const char *ident, const char *format, std::va_list args);
void message_channel_nil(message_channel &channel, const char *file, int line, const char *format);
void message_channel_aux(message_channel &channel, xmessage_fn self, const char *file, int line,
                         const char *ident, const char *format, std::va_list args);

// The configuration step, then the switch to the named target (null: only
// the step); an unknown name is reported from the channel's module.
void message_channel_override(message_channel &channel, const message_target<xmessage_fn> *targets,
                              const char *name);

// Defines the five targets <prefix>_log, _con, _cok, _nil and _aux of a
// report channel whose record is called `channel` in the defining module.
#define MESSAGE_CHANNEL_TARGET(prefix, target)                                                     \
    void prefix##_##target(const char *file, int line, const char *ident, const char *format,      \
                           ...) {                                                                  \
        std::va_list args;                                                                         \
        va_start(args, format);                                                                    \
        message_channel_##target(channel, prefix##_##target, file, line, ident, format, args);     \
        va_end(args);                                                                              \
    }
#define MESSAGE_CHANNEL_TARGETS(prefix)                                                            \
    MESSAGE_CHANNEL_TARGET(prefix, log)                                                            \
    MESSAGE_CHANNEL_TARGET(prefix, con)                                                            \
    MESSAGE_CHANNEL_TARGET(prefix, cok)                                                            \
    MESSAGE_CHANNEL_TARGET(prefix, aux)                                                            \
    /* Drops the message; the arguments are still checked. */                                      \
    void prefix##_nil(const char *file, int line, const char *, const char *format, ...) {         \
        message_channel_nil(channel, file, line, format);                                          \
    }
