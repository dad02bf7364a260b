// Scenarios that need a process of their own, and inputs that only a process
// boundary can give (a pipe, whose size a reader cannot tell).
#pragma once

#include <functional>
#include <string>

// Runs `scenario` in a fresh copy of this program (the death-test machinery in
// its "threadsafe" style re-executes the binary), so that process-wide state
// it changes for good (sticky answers, a full table, registrations) stays
// there and its memory use can be measured alone.  The scenario prints what
// it found to standard error and `regex` judges it; the child must end
// normally.
void expect_in_child(const std::function<void()> &scenario, const std::string &regex);

// How much the process's peak resident memory grew since the guard was made,
// in MiB (0 when the peak did not move).  Meaningful in a child of its own.
class peak_memory {
  public:
    peak_memory();
    long grown_mib() const;

  private:
    long start_kib_;
};

// A pipe that already holds `bytes`, its writing end closed: `name()` opens
// as a file whose size the reader cannot tell.  At most 1 MiB.
class filled_pipe {
  public:
    explicit filled_pipe(const std::string &bytes);
    ~filled_pipe();
    filled_pipe(const filled_pipe &) = delete;
    filled_pipe &operator=(const filled_pipe &) = delete;
    const char *name() const { return name_.c_str(); }

  private:
    int read_end_ = -1;
    std::string name_;
};
