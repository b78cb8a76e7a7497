#!/usr/bin/env bash
# Sets up, builds and runs every test: once in a normal build, once under AddressSanitizer and
# UndefinedBehaviorSanitizer, so that an out-of-bounds access fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh

echo "== build and test (build/)"
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j2
(cd build && ctest --output-on-failure -j2)

echo "== build and test under sanitizers (build-asan/)"
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DPDFBRIKS_SANITIZE=ON >/dev/null
cmake --build build-asan -j2
# Leak checks are off: a batch run keeps its file list by design, and LeakSanitizer needs
# ptrace rights that a container may not grant.
(cd build-asan && ASAN_OPTIONS=detect_leaks=0:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --output-on-failure -j2)
