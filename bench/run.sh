#!/usr/bin/env bash
# Benchmark over the Debian documentation corpus: fetches it (bench/fetch_corpus.sh), builds the
# release library and the in-process host, runs the host over every PDF in one process, then
# times the other text extractors installed here over the same files for the ratio.
#
#   bash bench/run.sh [auto|single|batch]     # auto: the batch entry where the library has it
#
# Environment: PDFBRIKS_BENCH_CACHE (corpus cache), BUILD (build folder, default build-rel),
# WORK (work folder for the brik file and log, default /tmp/pdfbriks-bench-work),
# OTHERS=0 to skip the other extractors.
# The host prints pages per second (wall and CPU time), peak resident memory, and checksums of
# the brik file and the log with their time fields masked: the same library must give the same
# checksums run after run, and an internal change must keep them.
set -euo pipefail

MODE="${1:-auto}"
ROOT="$(cd "$(dirname "$0")/.." && pwd)"
CACHE="${PDFBRIKS_BENCH_CACHE:-$HOME/.cache/pdfbriks-bench}"
BUILD="${BUILD:-$ROOT/build-rel}"
WORK="${WORK:-/tmp/pdfbriks-bench-work}"

CORPUS="$(bash "$ROOT/bench/fetch_corpus.sh" | tail -n 1)"

cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DPDFBRIKS_TESTS=OFF > /dev/null
cmake --build "$BUILD" -j2 --target pdfbriks_bench > /dev/null

# The corpus's page count, by pdfinfo, counted once per corpus.
PAGES_FILE="$CACHE/pages.txt"
if [ ! -s "$PAGES_FILE" ] || [ "$PAGES_FILE" -ot "$CORPUS" ]; then
  for f in "$CORPUS"/*.pdf; do pdfinfo "$f" 2> /dev/null | awk '/^Pages:/{print $2}'; done |
    awk '{s += $1} END {print s + 0}' > "$PAGES_FILE"
fi
PAGES=$(cat "$PAGES_FILE")

echo "== pdfbriks ($MODE), one process, $(nproc) cores on the machine"
rm -rf "$WORK"
mkdir -p "$WORK"
"$BUILD/pdfbriks_bench" --mode "$MODE" --pages "$PAGES" --work "$WORK" "$CORPUS"

# Another extractor over the same files, one process per file as it is used: CPU and wall time.
time_other() {
  local label="$1"; shift
  local out="$WORK/other.txt"
  local t
  t=$( { /usr/bin/time -f '%e %U %S' bash -c '
           cmd=("$@"); for f in "'"$CORPUS"'"/*.pdf; do "${cmd[@]//@IN@/$f}" > /dev/null 2>&1 || true; done
         ' _ "$@" ; } 2>&1 | tail -n 1)
  rm -f "$out"
  read -r wall user sys <<< "$t"
  awk -v l="$label" -v p="$PAGES" -v w="$wall" -v u="$user" -v s="$sys" 'BEGIN {
    c = u + s; printf "%-28s wall %7.1f s  cpu %7.1f s  pages/s wall %6.0f  cpu %6.0f\n", l, w, c, p / w, p / c }'
}

if [ "${OTHERS:-1}" != 0 ]; then
  echo "== other extractors on the same $PAGES pages"
  if command -v pdftotext > /dev/null; then
    time_other "pdftotext -raw ($(pdftotext -v 2>&1 | awk 'NR==1{print $3}'))" pdftotext -raw @IN@ "$WORK/other.txt"
  fi
  if command -v mutool > /dev/null; then
    time_other "mutool draw -F txt" mutool draw -q -F txt -o "$WORK/other.txt" @IN@
  fi
fi
