// Helpers shared by the stream tests: owned streams, child-process scenarios
// and the configured folders.
#pragma once

#include "core/memio/memio.h"
#include "file/config.h"
#include "file/streamio/streamio.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace streamtest {

using stream_ptr = std::unique_ptr<streamio_stream, int (*)(streamio_stream *)>;

// (Each test file keeps its own open_stream: xfopen names the opening file.)

// Runs `scenario` in a fresh copy of this program (death test, "threadsafe"
// style re-executes the binary), so process-wide state it changes for good
// (sticky answers, a full table, registrations) stays there.  The scenario
// prints what it found to stderr and the regex judges it.
inline void expect_in_child(const std::function<void()> &scenario, const std::string &regex) {
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

inline std::string alias(const char *text) {
    std::unique_ptr<char, void (*)(char *)> expanded(config_alias(text),
                                                     [](char *block) { xfree(block); });
    return expanded.get();
}

// The backup folder as the configuration resolves it, created when it is a
// plain relative folder (while no configuration is active it is literally
// "$path.bak$" in the current directory).
inline std::string backup_folder() {
    std::string folder = alias("$path.bak$");
    std::filesystem::create_directories(folder);
    return folder;
}

} // namespace streamtest
