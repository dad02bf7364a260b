#!/usr/bin/env bash
# Installs what is missing, builds everything with the tests and runs them.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DLUMIVANE_TESTS=ON >/dev/null
cmake --build build -j"$(nproc)"
ctest --test-dir build --output-on-failure
