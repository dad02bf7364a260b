// Helpers shared by the numerics tests.
#pragma once

#include "core/message.h"
#include "xmath/xrand.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

// Makes death tests start a new copy of the test program instead of forking,
// so the statement sees the generator as the program starts, untouched by
// earlier tests.
class fresh_process_death_tests {
  public:
    fresh_process_death_tests() : saved_(GTEST_FLAG_GET(death_test_style)) {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
    }
    ~fresh_process_death_tests() { GTEST_FLAG_SET(death_test_style, saved_); }
    fresh_process_death_tests(const fresh_process_death_tests &) = delete;
    fresh_process_death_tests &operator=(const fresh_process_death_tests &) = delete;

  private:
    std::string saved_;
};

// Ends a fresh-process statement, telling the parent whether its check held.
[[noreturn]] inline void finish_fresh_process(bool held, const std::string &detail) {
    std::fprintf(stderr, "%s: %s\n", held ? "check held" : "check failed", detail.c_str());
    std::fflush(stderr);
    std::_Exit(0);
}

// An error target that records the message and returns, as a fuzzer's does,
// so that the code after a reported error runs.
class returning_errors {
  public:
    returning_errors() : saved_(xerror) {
        texts().clear();
        xerror = record;
    }
    ~returning_errors() { xerror = saved_; }
    returning_errors(const returning_errors &) = delete;
    returning_errors &operator=(const returning_errors &) = delete;

    static std::vector<std::string> &texts() {
        static std::vector<std::string> recorded;
        return recorded;
    }

  private:
    static void record(const char *, int, const char *, const char *format, ...) {
        char text[1024];
        std::va_list args;
        va_start(args, format);
        std::vsnprintf(text, sizeof text, format, args);
        va_end(args);
        texts().push_back(text);
    }
    xmessage_fn saved_;
};

// A caller's state buffer made current for the guard's lifetime; the previous
// state comes back when it ends.
class borrowed_state {
  public:
    borrowed_state(std::uint32_t seed, int bytes)
        : words_(static_cast<std::size_t>(bytes < 4 ? 1 : (bytes + 3) / 4)) {
        previous_ = xrandom_initstate(seed, words_.data(), bytes);
    }
    ~borrowed_state() {
        if (previous_)
            xrandom_setstate(previous_);
    }
    borrowed_state(const borrowed_state &) = delete;
    borrowed_state &operator=(const borrowed_state &) = delete;

    std::uint32_t *words() { return words_.data(); }
    void *previous() const { return previous_; }

  private:
    std::vector<std::uint32_t> words_;
    void *previous_ = nullptr;
};
