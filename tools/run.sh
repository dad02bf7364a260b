#!/usr/bin/env bash
# Installs what is missing, builds in Release and runs the main job.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh
cmake -S . -B build-release -DCMAKE_BUILD_TYPE=Release -DLUMIVANE_TESTS=ON >/dev/null
cmake --build build-release -j"$(nproc)"
# Until the application lands, the main job is the library's start-up and
# shutdown frame, shown by the core test program.
./build-release/tests/test_core --gtest_brief=1
