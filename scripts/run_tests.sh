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

echo "== Python package tests (tests/python/, against build/libpdfbriks.so)"
# Debian's Python packages (pytest, tqdm, distributed, psycopg2, pymongo) are installed for
# Debian's interpreter, which need not be the first python3 on PATH: take the first that sees them.
py=""
for cand in /usr/bin/python3 $(type -ap python3); do
  if "$cand" -c 'import pytest, tqdm, distributed, psycopg2, pymongo' 2>/dev/null; then py=$cand; break; fi
done
[ -n "$py" ] || { echo "run_tests: no python3 with pytest, tqdm, distributed, psycopg2 and pymongo" >&2; exit 1; }
status=0
PDFBRIKS_LIB="$PWD/build/libpdfbriks.so" bash scripts/with_test_servers.sh "$py" -m pytest -q -p no:cacheprovider tests/python || status=$?
# pytest's 5 means no tests were collected, which is no failure
if [ "$status" -ne 0 ] && [ "$status" -ne 5 ]; then exit "$status"; fi
