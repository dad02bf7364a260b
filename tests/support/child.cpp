#include "support/child.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/resource.h>
#include <unistd.h>

void expect_in_child(const std::function<void()> &scenario, const std::string &regex) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            scenario();
            std::fflush(stderr);
            std::_Exit(0);
        },
        testing::ExitedWithCode(0), regex);
    GTEST_FLAG_SET(death_test_style, "fast");
}

namespace {

long peak_kib() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace

peak_memory::peak_memory() : start_kib_(peak_kib()) {}

long peak_memory::grown_mib() const {
    return (peak_kib() - start_kib_) / 1024;
}

filled_pipe::filled_pipe(const std::string &bytes) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    read_end_ = ends[0];
    const int capacity = fcntl(ends[1], F_SETPIPE_SZ, static_cast<int>(bytes.size() + 4096));
    const bool whole =
        capacity >= static_cast<int>(bytes.size()) &&
        write(ends[1], bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    close(ends[1]);
    if (!whole)
        throw std::runtime_error("the bytes do not fit a pipe");
    name_ = "/dev/fd/" + std::to_string(read_end_);
}

filled_pipe::~filled_pipe() {
    close(read_end_);
}
