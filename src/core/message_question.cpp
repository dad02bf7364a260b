// The question channel: shows a question with a fixed list of answers and
// returns the chosen answer character.
#include "core/dtype.h"
#include "core/message.h"
#include "core/message_common.h"
#include "core/timer.h"
#include "core/xmain.h"
#include "file/config.h"
#include "platform/linux/gcc/desktop/keyboard.h"
#include "platform/linux/gcc/desktop/video/video.h"

static constexpr const char *source_file = "./src/core/question.c";
static constexpr const char *source_ident = "handler.question";

xquestion_fn xquestion = question_log;

namespace {

message_log log = {"question.logfile", false};
message_config config = {"question.type", false};
int timeout = -1;

constexpr int escape_key = 27;

bool arguments_valid(const char *file, const question_option *options, const char *format) {
    const char *missing = !format ? "format" : !file ? "file" : !options ? "question" : nullptr;
    if (missing)
        XERROR("xassert(%s) failed", missing);
    return !missing;
}

// The configuration step of this channel also reads the countdown.  True
// when it installed a configured target.
bool configure() {
    bool first = !config.done && config_active();
    const char *name = message_config_step(config);
    if (name)
        xquestion_override(name);
    if (first)
        config_get("*.message.handling", "question.timeout", DTYPE_INT, sizeof timeout, &timeout);
    return name != nullptr;
}

// The record marked as default, or null; two marked records are an error.
const question_option *find_default(const question_option *options) {
    const question_option *found = nullptr;
    for (const question_option *option = options; option->option; ++option) {
        if (!option->is_default || !*option->is_default)
            continue;
        if (found) {
            // "mulitple" is the documented text, kept verbatim.
            XERROR("mulitple option selected");
            return found;
        }
        found = option;
    }
    return found;
}

bool is_answer(const question_option *options, int key) {
    for (const question_option *option = options; option->option; ++option)
        if (option->retval == key)
            return true;
    return false;
}

// The standing answer: the default, else the first record's.
int standing_answer(const question_option *options) {
    const question_option *chosen = find_default(options);
    return chosen ? chosen->retval : options->retval;
}

// Counts the configured timeout down; the keyboard of this platform never
// reports a waiting key, so the countdown runs out.
int count_down(const question_option *options) {
    int remaining = timeout;
    while (remaining > 0) {
        std::fprintf(stderr, "\r\t[timeout in %-3d seconds]", remaining);
        if (timer_sleep(1000, keyb_kbhit)) {
            int key = keyb_getch();
            if (key == escape_key)
                XERROR("user aborted while in question loop");
            if (is_answer(options, key))
                return key;
            std::fprintf(stderr, "unknown option '0x%02x'\n", key & 0xff);
        }
        --remaining;
    }
    std::fputs("\n", stderr);
    return options->retval;
}

// Without a timeout the user's answer is read from the standard input;
// blanks and line ends between keys are not answers.  At the end of the
// input the first record's answer is taken, so an unattended run never hangs.
int wait_for_key(const question_option *options) {
    for (;;) {
        int key = keyb_getch();
        if (key < 0)
            return options->retval;
        if (key == ' ' || key == '\n' || key == '\r' || key == '\t')
            continue;
        if (key == escape_key)
            XERROR("user aborted while in question loop");
        if (is_answer(options, key))
            return key;
        std::fprintf(stderr, "unknown option '0x%02x'\n", key & 0xff);
    }
}

int ask_console(const question_option *options) {
    if (const question_option *chosen = find_default(options))
        return chosen->retval;
    keyb_flush();
    return timeout > 0 ? count_down(options) : wait_for_key(options);
}

} // namespace

int question_log(const char *file, int line, const char *ident, const question_option *options,
                 const char *format, ...) {
    if (!arguments_valid(file, options, format))
        return 0;
    char message[MESSAGE_BUFFER_SIZE];
    std::va_list args;
    va_start(args, format);
    message_format(message, format, args);
    va_end(args);
    if (configure() && xquestion != question_log)
        return xquestion(file, line, ident, options, "%s", message);
    int answer = standing_answer(options);
    char answered[MESSAGE_BUFFER_SIZE + 32];
    std::snprintf(answered, sizeof answered, "%s returning '%c' (0x%02x)", message, answer,
                  answer & 0xff);
    const std::string text = message_line(source_ident, ident, file, line, answered);
    if (const char *failed = message_log_append(log, text.c_str()))
        XERROR("xassert(%s) failed", failed);
    return answer;
}

int question_con(const char *file, int line, const char *ident, const question_option *options,
                 const char *format, ...) {
    if (!arguments_valid(file, options, format))
        return 0;
    char message[MESSAGE_BUFFER_SIZE];
    std::va_list args;
    va_start(args, format);
    message_format(message, format, args);
    va_end(args);
    if (configure() && xquestion != question_con)
        return xquestion(file, line, ident, options, "%s", message);
    find_default(options);
    if (!video_is_text())
        return options->retval;
    message_write_line(stderr, source_ident, ident, file, line, message);
    for (const question_option *option = options; option->option; ++option)
        std::fprintf(stderr, "\t(%c) %s\n", option->retval, option->option);
    int answer = ask_console(options);
    std::fprintf(stderr, "\treturning '%c' (0x%02x)\n", answer, answer & 0xff);
    std::fflush(stderr);
    return answer;
}

// Answers without asking: the default, else the first record's answer.
int question_nil(const char *file, int, const char *, const question_option *options,
                 const char *format, ...) {
    if (!arguments_valid(file, options, format))
        return 0;
    return standing_answer(options);
}

static constexpr message_target<xquestion_fn> targets[] = {
    {"log", question_log}, {"con", question_con}, {"con+key", question_con},
    {"nil", question_nil}, {nullptr, nullptr},
};

void xquestion_override(const char *name) {
    configure();
    if (!name)
        return;
    const auto *target = message_find_target(targets, name);
    if (!target) {
        XERROR("unknown key given '%s' for override", name);
        return;
    }
    xquestion = target->function;
}

int xquestion_get_timeout() {
    return timeout;
}
void xquestion_set_timeout(int seconds) {
    timeout = seconds;
}
