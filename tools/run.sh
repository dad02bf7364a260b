#!/usr/bin/env bash
# Installs what is missing, builds in Release and runs the main job.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/install-deps.sh
cmake -S . -B build-release -DCMAKE_BUILD_TYPE=Release -DLUMIVANE_TESTS=ON >/dev/null
cmake --build build-release -j"$(nproc)"

# A run works on its own copy of the configuration (the program rewrites it
# at exit); the repository's data/Lumivane.ini is never written.
Lumivane_ini=$(bash data/make-config.sh build-release/run)
export Lumivane_ini

# Until the application lands, the main job is the library's start-up and
# shutdown frame, shown by the core test program.
cd build-release/run
../tests/test_core --gtest_brief=1
