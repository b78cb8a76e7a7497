#!/usr/bin/env bash
# Sets up, builds and runs every test: once in a normal build, once under AddressSanitizer and
# UndefinedBehaviorSanitizer, so that an out-of-bounds access fails the run. The database tests
# talk to real servers that scripts/with_test_servers.sh starts and stops around each run.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh

echo "== build and test (build/)"
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPDFBRIKS_TESTS=ON >/dev/null
cmake --build build -j2
bash scripts/with_test_servers.sh bash -c 'cd build && ctest --output-on-failure -j2'

echo "== build and test under sanitizers (build-asan/)"
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DPDFBRIKS_SANITIZE=ON >/dev/null
cmake --build build-asan -j2
# Leak checks are off: a batch run keeps its file list by design, and LeakSanitizer needs
# ptrace rights that a container may not grant.
ASAN_OPTIONS=detect_leaks=0:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
  bash scripts/with_test_servers.sh bash -c 'cd build-asan && ctest --output-on-failure -j2'
