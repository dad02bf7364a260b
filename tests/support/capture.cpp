#include "support/capture.h"

#include <cstdarg>
#include <cstdio>

namespace {

message_capture *active = nullptr;

captured_message record(const char *file, int line, const char *ident, const char *format,
                        std::va_list args) {
    char text[8192];
    std::vsnprintf(text, sizeof text, format, args);
    return {file ? file : "", line, ident ? ident : "", text};
}

void capture_error(const char *file, int line, const char *ident, const char *format, ...) {
    std::va_list args;
    va_start(args, format);
    captured_message message = record(file, line, ident, format, args);
    va_end(args);
    active->errors.push_back(message);
    throw error_raised{message.text};
}

void capture_warning(const char *file, int line, const char *ident, const char *format, ...) {
    std::va_list args;
    va_start(args, format);
    active->warnings.push_back(record(file, line, ident, format, args));
    va_end(args);
}

void capture_verbose(const char *file, int line, const char *ident, const char *format, ...) {
    std::va_list args;
    va_start(args, format);
    active->verboses.push_back(record(file, line, ident, format, args));
    va_end(args);
}

int capture_question(const char *file, int line, const char *ident, const question_option *options,
                     const char *format, ...) {
    std::va_list args;
    va_start(args, format);
    active->questions.push_back(record(file, line, ident, format, args));
    va_end(args);
    if (active->answers.empty())
        return options->retval;
    int answer = active->answers.front();
    active->answers.pop_front();
    return answer;
}

} // namespace

message_capture::message_capture()
    : saved_error(xerror), saved_warning(xwarning), saved_verbose(xverbose),
      saved_question(xquestion), saved_active(active) {
    active = this;
    xerror = capture_error;
    xwarning = capture_warning;
    xverbose = capture_verbose;
    xquestion = capture_question;
}

message_capture::~message_capture() {
    xerror = saved_error;
    xwarning = saved_warning;
    xverbose = saved_verbose;
    xquestion = saved_question;
    active = saved_active;
}

bool message_capture::contains(const std::vector<captured_message> &list, const std::string &part) {
    for (const auto &message : list)
        if (message.text.find(part) != std::string::npos)
            return true;
    return false;
}

std::vector<std::string> &returning_errors::texts() {
    static std::vector<std::string> recorded;
    return recorded;
}

static void return_error(const char *file, int line, const char *ident, const char *format, ...) {
    std::va_list args;
    va_start(args, format);
    returning_errors::texts().push_back(record(file, line, ident, format, args).text);
    va_end(args);
}

returning_errors::returning_errors() : saved_(xerror) {
    texts().clear();
    xerror = return_error;
}

returning_errors::~returning_errors() {
    xerror = saved_;
}
