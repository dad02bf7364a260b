#!/usr/bin/env bash
# Builds the libFuzzer harnesses with clang (AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs each one for the given number of
# seconds on its seed corpus.  Crashes land in fuzz/artifacts/.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DLUMIVANE_FUZZ=ON -DLUMIVANE_TESTS=OFF >/dev/null
cmake --build build-fuzz -j"$(nproc)"
mkdir -p fuzz/artifacts
shopt -s nullglob
status=0
for harness in build-fuzz/fuzz/fuzz_*; do
    name=${harness##*/fuzz_}
    corpus=fuzz/corpus/$name
    work=$(mktemp -d)
    [ -d "$corpus" ] && cp -r "$corpus"/. "$work"/
    echo "fuzzing $name for ${seconds}s"
    ASAN_OPTIONS=allocator_may_return_null=1:detect_leaks=0 \
        "$harness" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -artifact_prefix=fuzz/artifacts/"$name"- -print_final_stats=0 "$work" \
        >"$work.log" 2>&1 || { status=1; tail -n 40 "$work.log"; }
    grep -E '^#[0-9]+ +DONE|Done [0-9]+ runs' "$work.log" | tail -n 1 || true
    rm -rf "$work" "$work.log"
done
exit $status
