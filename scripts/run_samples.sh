#!/usr/bin/env bash
# The main job: sets up, builds, and parses every PDF under samples/ into one brik file in a
# work folder (default ./work/, or $WORK_DIR), with the built-in options.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DPDFBRIKS_TESTS=OFF >/dev/null
cmake --build build -j2 --target pdfbriks pdfbriks_cli

WORK_DIR="${WORK_DIR:-$PWD/work/}"
mkdir -p "$WORK_DIR"
rm -f "$WORK_DIR/samples_briks.txt"  # the brik file is appended to; start it afresh
for pdf in samples/*.pdf; do
  build/pdfbriks --work "$WORK_DIR" --out samples_briks.txt "$pdf"
done
echo "briks of samples/ written to ${WORK_DIR%/}/samples_briks.txt"
