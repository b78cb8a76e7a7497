#!/usr/bin/env bash
# Folder-run speed: the benchmark corpus (bench/fetch_corpus.sh, kept outside the repository)
# through the folder mode of a release build, into the brik file, into SQLite and into a private
# PostgreSQL server (scripts/with_test_servers.sh). Prints pages with briks per second of wall
# time and of processor time (user + system) for each; the work folders go under $BENCH_WORK.
# In a worktree, export MONGO_PEER_DIR for the test servers (see scripts/with_test_servers.sh).
#
#   bash bench/batch_speed.sh [file|sqlite|postgres ...]     # default: all three
set -euo pipefail
cd "$(dirname "$0")/.."
repo=$PWD

corpus=$(bash bench/fetch_corpus.sh | tail -n 1)
cmake -S . -B build-rel -DCMAKE_BUILD_TYPE=Release -DPDFBRIKS_TESTS=OFF >/dev/null
cmake --build build-rel -j2 --target pdfbriks_cli >/dev/null
work="${BENCH_WORK:-/tmp/pdfbriks-bench-work}"
modes=("$@")
[ ${#modes[@]} -gt 0 ] || modes=(file sqlite postgres)

# One folder run; $1 names it, the rest are extra flags of the folder mode.
run() {
  local name=$1; shift
  rm -rf "$work/$name"; mkdir -p "$work/$name"
  local out; out=$( { /usr/bin/time -f "TIME %e %U %S" "$repo/build-rel/pdfbriks" folder -q \
      -w "$work/$name/" "$@" "$corpus/"; } 2>&1 )
  local pages; pages=$(sed -n 's/.* \([0-9]*\) pages with briks.*/\1/p' <<<"$out")
  read -r _ wall user sys < <(grep '^TIME' <<<"$out")
  awk -v n="$name" -v p="$pages" -v w="$wall" -v u="$user" -v s="$sys" 'BEGIN {
    printf "%-9s %6d pages  %7.1f s wall  %7.1f s cpu  %6.0f pages/s wall  %6.0f pages/s cpu\n",
           n, p, w, u + s, p / w, p / (u + s) }'
}

for mode in "${modes[@]}"; do
  case $mode in
    file) run file ;;
    sqlite)
      mkdir -p "$work"; rm -f "$work/sqlite.db"
      PYTHONPATH=python /usr/bin/python3 -m pdfbriks.provision --db "$work/sqlite.db" --account bench --library corpus >/dev/null
      run sqlite --db "$work/sqlite.db" --account bench --library corpus
      rm -f "$work/sqlite.db" ;;
    postgres)
      export -f run; export repo work corpus
      bash scripts/with_test_servers.sh bash -c '
        PYTHONPATH=python /usr/bin/python3 -m pdfbriks.provision --db "$PDFBRIKS_PG_CONNINFO" --account bench --library corpus >/dev/null
        run postgres --db "$PDFBRIKS_PG_CONNINFO" --account bench --library corpus' 2>&1 | grep '^postgres' ;;
    *) echo "batch_speed: unknown mode $mode" >&2; exit 2 ;;
  esac
done
