// Message capture for tests: while a guard lives, the four channels record
// their messages instead of reporting them.  An error is recorded and then
// thrown as `error_raised`, so that control comes back to the test the way a
// fuzzer's own error target brings it back to the harness.
#pragma once

#include "core/message.h"

#include <deque>
#include <ostream>
#include <string>
#include <vector>

struct captured_message {
    std::string file;
    int line;
    std::string ident;
    std::string text;
};

// How a failed expectation shows a message.
inline void PrintTo(const captured_message &message, std::ostream *out) {
    *out << message.ident << ": " << message.text;
}

// The texts of a list of messages, for matchers.
inline std::vector<std::string> texts(const std::vector<captured_message> &list) {
    std::vector<std::string> result;
    for (const captured_message &message : list)
        result.push_back(message.text);
    return result;
}

struct error_raised {
    std::string text;
};

class message_capture {
  public:
    message_capture();
    ~message_capture();
    message_capture(const message_capture &) = delete;
    message_capture &operator=(const message_capture &) = delete;

    std::vector<captured_message> errors, warnings, verboses, questions;
    // Answers given to questions, in order; when empty the first option is taken.
    std::deque<int> answers;

    // True when some message of the list contains `part`.
    static bool contains(const std::vector<captured_message> &list, const std::string &part);
    bool warned(const std::string &part) const { return contains(warnings, part); }
    bool said(const std::string &part) const { return contains(verboses, part); }

  private:
    xmessage_fn saved_error, saved_warning, saved_verbose;
    xquestion_fn saved_question;
    message_capture *saved_active;
};

// An error target that records the message and returns, as a fuzzer's does,
// so that the code after a reported error runs.
class returning_errors {
  public:
    returning_errors();
    ~returning_errors();
    returning_errors(const returning_errors &) = delete;
    returning_errors &operator=(const returning_errors &) = delete;
    // The texts recorded since the newest guard was made.
    static std::vector<std::string> &texts();

  private:
    xmessage_fn saved_;
};

// Runs `action` and returns the text of the error it raised ("" when none).
template <class Action> std::string error_of(Action action) {
    try {
        action();
    } catch (const error_raised &raised) {
        return raised.text;
    }
    return "";
}
