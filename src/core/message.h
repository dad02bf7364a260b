// Message channels: every diagnostic of the system leaves through one of the
// four channel pointers below.  A channel is called with the caller's source
// file, line and module identifier and a printf-style message.
//
// - xerror ends the program after reporting (through the abort path); only the
//   "con+key" target returns when the video output is not in text mode.  Code
//   that calls xerror must still be safe if it returns: tests and fuzzers
//   install their own error targets.
// - xwarning and xverbose never end the program (except when a console user
//   answers Escape).
// - xquestion shows a question with a fixed list of answers and returns the
//   chosen answer character.
//
// Each module declares `source_file` and `source_ident` at file scope, which
// the XERROR/XWARNING/XVERBOSE/XQUESTION/XASSERT shorthands pick up.
#pragma once

#include <cstdarg>

using xmessage_fn = void (*)(const char *file, int line, const char *ident, const char *format,
                             ...);

// One answer of a question; a list ends with a record whose option is null.
struct question_option {
    const char *option; // text shown
    int *is_default;    // marks the default answer when it points to non-zero (may be null)
    int retval;         // the answer character
};

using xquestion_fn = int (*)(const char *file, int line, const char *ident,
                             const question_option *options, const char *format, ...);

extern xmessage_fn xerror;
extern xmessage_fn xwarning;
extern xmessage_fn xverbose;
extern xquestion_fn xquestion;

// Switch a channel to a named target ("log", "con", "con+key", "nil", "aux").
// The first call after the configuration became active also installs the
// target configured under "*.message.handling"; a null name does only that.
void xerror_override(const char *name);
void xwarning_override(const char *name);
void xverbose_override(const char *name);
void xquestion_override(const char *name);

// The targets themselves, for callers and tests that install them directly.
void error_log(const char *file, int line, const char *ident, const char *format, ...);
void error_con(const char *file, int line, const char *ident, const char *format, ...);
void error_cok(const char *file, int line, const char *ident, const char *format, ...);
void error_nil(const char *file, int line, const char *ident, const char *format, ...);
void error_aux(const char *file, int line, const char *ident, const char *format, ...);
void warning_log(const char *file, int line, const char *ident, const char *format, ...);
void warning_con(const char *file, int line, const char *ident, const char *format, ...);
void warning_cok(const char *file, int line, const char *ident, const char *format, ...);
void warning_nil(const char *file, int line, const char *ident, const char *format, ...);
void warning_aux(const char *file, int line, const char *ident, const char *format, ...);
void verbose_log(const char *file, int line, const char *ident, const char *format, ...);
void verbose_con(const char *file, int line, const char *ident, const char *format, ...);
void verbose_cok(const char *file, int line, const char *ident, const char *format, ...);
void verbose_nil(const char *file, int line, const char *ident, const char *format, ...);
void verbose_aux(const char *file, int line, const char *ident, const char *format, ...);
int question_log(const char *file, int line, const char *ident, const question_option *options,
                 const char *format, ...);
int question_con(const char *file, int line, const char *ident, const question_option *options,
                 const char *format, ...);
int question_nil(const char *file, int line, const char *ident, const question_option *options,
                 const char *format, ...);

// The seconds a console question counts down before taking its answer
// ("question.timeout"; -1 waits for the user without limit).
int xquestion_get_timeout();
void xquestion_set_timeout(int seconds);

// Where a report comes from, for helpers that report on a module's behalf:
// the module's source file and identifier and the line of the call.
struct message_origin {
    const char *source_file;
    int line;
    const char *source_ident;
};
#define MESSAGE_ORIGIN (message_origin{source_file, __LINE__, source_ident})

#define XERROR(...) xerror(source_file, __LINE__, source_ident, __VA_ARGS__)
#define XWARNING(...) xwarning(source_file, __LINE__, source_ident, __VA_ARGS__)
#define XVERBOSE(...) xverbose(source_file, __LINE__, source_ident, __VA_ARGS__)
#define XQUESTION(options, ...) xquestion(source_file, __LINE__, source_ident, options, __VA_ARGS__)

// Internal impossibilities are reported with the failed expression's text.
#define XASSERT(expr)                                                                              \
    do {                                                                                           \
        if (!(expr))                                                                               \
            XERROR("xassert(%s) failed", #expr);                                                   \
    } while (0)
