// Helpers shared by the stream tests: the configured folders.
#pragma once

#include "core/memio/memio.h"
#include "file/config.h"
#include "file/streamio/streamio.h"
#include "support/child.h"

#include <filesystem>
#include <string>

namespace streamtest {

inline std::string alias(const char *text) {
    xfree_ptr<char> expanded(config_alias(text));
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
