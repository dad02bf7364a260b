// The error channel.  Every target ends the program through the abort path
// after reporting; only "con+key" returns, when there is no text console to
// show the message on.  Each target keeps a recursion flag: an error raised
// while that target is still reporting (a failing log file, say) aborts at
// once instead of looping.
#include "core/message.h"
#include "core/message_common.h"
#include "core/xmain.h"
#include "platform/linux/gcc/desktop/keyboard.h"
#include "platform/linux/gcc/desktop/system.h"
#include "platform/linux/gcc/desktop/video/video.h"

static constexpr const char *source_file = "./src/core/error.c";
static constexpr const char *source_ident = "handler.error";

xmessage_fn xerror = error_con;

namespace {

message_log log = {"error.logfile", false};
message_config config = {"error.type", false};

struct recursion_flags {
    bool log, con, cok, nil, aux;
} busy;

// Marks the target busy; aborts when it already was.
void enter(bool &flag, const char *file, int line, const char *format) {
    if (flag)
        xabort_internal__(format, file, line);
    flag = true;
}

// Argument faults inside the error channel cannot be reported through it.
void check_arguments(const char *file, int line, const char *format) {
    if (!format)
        xabort_internal__("xassert(format) failed", source_file, __LINE__);
    if (!file)
        xabort_internal__("xassert(file) failed", source_file, line);
}

// The configured target, when it is another one, takes the message over.
void forward_if_configured(xmessage_fn self, const char *file, int line, const char *ident,
                           const char *message) {
    const char *name = message_config_step(config);
    if (!name)
        return;
    xerror_override(name);
    if (xerror != self)
        xerror(file, line, ident, "%s", message);
}

void write_console(const char *file, int line, const char *ident, const char *message) {
    if (!message_write_line(stderr, source_ident, ident, file, line, message))
        xabort_internal__("xassert(0 <= fprintf(stderr, ...)) failed", source_file, __LINE__);
    if (std::fflush(stderr) == EOF)
        xabort_internal__("xassert(EOF != fflush(stderr)) failed", source_file, __LINE__);
}

// What every target does first: the recursion guard, the argument checks,
// formatting, and the hand-over to a configured target.
void begin(bool &flag, xmessage_fn self, const char *file, int line, const char *ident,
           const char *format, std::va_list args, char *message) {
    enter(flag, file, line, format);
    check_arguments(file, line, format);
    message_format(message, format, args);
    forward_if_configured(self, file, line, ident, message);
}

} // namespace

void error_log(const char *file, int line, const char *ident, const char *format, ...) {
    char message[MESSAGE_BUFFER_SIZE];
    std::va_list args;
    va_start(args, format);
    begin(busy.log, error_log, file, line, ident, format, args, message);
    va_end(args);
    const std::string text = message_line(source_ident, ident, file, line, message);
    if (const char *failed = message_log_append(log, text.c_str()))
        xabort_internal__(failed, source_file, __LINE__);
    xabort_internal__(message, file, line);
}

void error_con(const char *file, int line, const char *ident, const char *format, ...) {
    char message[MESSAGE_BUFFER_SIZE];
    std::va_list args;
    va_start(args, format);
    begin(busy.con, error_con, file, line, ident, format, args, message);
    va_end(args);
    if (!video_is_text())
        video_force_text();
    write_console(file, line, ident, message);
    xabort_internal__(message, file, line);
}

void error_cok(const char *file, int line, const char *ident, const char *format, ...) {
    char message[MESSAGE_BUFFER_SIZE];
    std::va_list args;
    va_start(args, format);
    begin(busy.cok, error_cok, file, line, ident, format, args, message);
    va_end(args);
    // Without a text console the message cannot be shown; the flag stays set
    // so that the next error through this target aborts at once.
    if (!video_is_text())
        return;
    write_console(file, line, ident, message);
    std::fputs("\nkey ...", stderr);
    keyb_getch();
    xabort_internal__(message, file, line);
}

// Ends the program without showing the message.
void error_nil(const char *file, int line, const char *ident, const char *format, ...) {
    char message[MESSAGE_BUFFER_SIZE];
    std::va_list args;
    va_start(args, format);
    begin(busy.nil, error_nil, file, line, ident, format, args, message);
    va_end(args);
    xabort_internal__(nullptr, file, line);
}

void error_aux(const char *file, int line, const char *ident, const char *format, ...) {
    char message[MESSAGE_BUFFER_SIZE];
    std::va_list args;
    va_start(args, format);
    begin(busy.aux, error_aux, file, line, ident, format, args, message);
    va_end(args);
    system_erraux(file, line, message);
    xabort_internal__(message, file, line);
}

static constexpr message_target<xmessage_fn> targets[] = {
    {"log", error_log}, {"con", error_con}, {"con+key", error_cok},
    {"nil", error_nil}, {"aux", error_aux}, {nullptr, nullptr},
};

void xerror_override(const char *name) {
    if (const char *configured = message_config_step(config))
        xerror_override(configured);
    if (!name)
        return;
    const auto *target = message_find_target(targets, name);
    if (!target) {
        XERROR("unknown key given '%s' for override", name);
        return;
    }
    xerror = target->function;
}
