#!/usr/bin/env bash
# Peak resident memory of each document on its own: the bench host runs every PDF of the corpus
# in a process of its own (a folder holding a link to that one file) and the peaks are listed,
# largest first, with the count over 64 MB.
#
#   bash bench/doc_peaks.sh [batch|single] [TOP]     # TOP lines of the list (default 5)
#
# Environment as bench/run.sh: PDFBRIKS_BENCH_CACHE, BUILD (default build-rel).
set -euo pipefail

MODE="${1:-batch}"
TOP="${2:-5}"
ROOT="$(cd "$(dirname "$0")/.." && pwd)"
BUILD="${BUILD:-$ROOT/build-rel}"
CORPUS="$(bash "$ROOT/bench/fetch_corpus.sh" | tail -n 1)"

cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DPDFBRIKS_TESTS=OFF > /dev/null
cmake --build "$BUILD" -j2 --target pdfbriks_bench > /dev/null

scratch="$(mktemp -d /tmp/pdfbriks-peaks.XXXXXX)"
trap 'rm -rf "$scratch"' EXIT
list="$scratch/peaks.txt"
for f in "$CORPUS"/*.pdf; do
  rm -rf "$scratch/in" "$scratch/work"
  mkdir -p "$scratch/in" "$scratch/work"
  ln -s "$f" "$scratch/in/"
  peak=$("$BUILD/pdfbriks_bench" --mode "$MODE" --work "$scratch/work" "$scratch/in/" 2>&1 |
    awk '/^peak RSS MB/ {print $4}')
  echo "$peak $(basename "$f")" >> "$list"
done
sort -rn "$list" | head -n "$TOP"
echo "documents: $(wc -l < "$list"), over 64 MB: $(awk '$1 > 64' "$list" | wc -l)"
