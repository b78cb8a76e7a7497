#!/usr/bin/env bash
# Starts the database servers the tests talk to, runs a command with their addresses in the
# environment, and stops them by their pids on the way out, whatever the command's result.
#   PostgreSQL: a private cluster made by initdb in a temporary folder, on a free loopback port,
#               run as the postgres user when we are root. Exports PDFBRIKS_PG_CONNINFO.
#   MongoDB:    the MongoDB-wire test peer (shared/mongo-peer beside the checkout, or
#               $MONGO_PEER_DIR), copied into build/ so its npm install stays out of the source.
#               Exports PDFBRIKS_MONGO_URI.
# usage: scripts/with_test_servers.sh CMD [ARGS...]
set -euo pipefail
repo=$(cd "$(dirname "$0")/.." && pwd)

pg_bin=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n 1)
[ -x "$pg_bin/initdb" ] || { echo "with_test_servers: PostgreSQL server missing (scripts/setup.sh installs it)" >&2; exit 1; }

pg_dir=$(mktemp -d /tmp/pdfbriks-pg.XXXXXX)
as_pg=()
if [ "$(id -u)" -eq 0 ]; then
  chown postgres: "$pg_dir"
  as_pg=(runuser -u postgres --)
fi
pg_pid=""
stop_pg() {
  if [ -n "$pg_pid" ] && kill -0 "$pg_pid" 2>/dev/null; then
    kill -INT "$pg_pid" 2>/dev/null || true
    for _ in $(seq 1 100); do kill -0 "$pg_pid" 2>/dev/null || break; sleep 0.1; done
    kill -KILL "$pg_pid" 2>/dev/null || true
  fi
  rm -rf "$pg_dir"
}
trap stop_pg EXIT

free_port() { python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])'; }
pg_port=$(free_port)
"${as_pg[@]}" "$pg_bin/initdb" -D "$pg_dir/data" -U postgres -A trust --no-sync -E UTF8 --locale=C >"$pg_dir/initdb.log" 2>&1 \
  || { cat "$pg_dir/initdb.log" >&2; exit 1; }
"${as_pg[@]}" "$pg_bin/postgres" -D "$pg_dir/data" -h 127.0.0.1 -p "$pg_port" -k "$pg_dir" \
  -c fsync=off -c synchronous_commit=off -c full_page_writes=off >"$pg_dir/server.log" 2>&1 &
for _ in $(seq 1 200); do
  if [ -s "$pg_dir/data/postmaster.pid" ]; then pg_pid=$(head -n 1 "$pg_dir/data/postmaster.pid"); fi
  if [ -n "$pg_pid" ] && "$pg_bin/pg_isready" -q -h 127.0.0.1 -p "$pg_port"; then break; fi
  sleep 0.1
done
"$pg_bin/pg_isready" -q -h 127.0.0.1 -p "$pg_port" || { echo "PostgreSQL did not start:" >&2; cat "$pg_dir/server.log" >&2; exit 1; }
export PDFBRIKS_PG_CONNINFO="host=127.0.0.1 port=$pg_port user=postgres dbname=postgres"
echo "with_test_servers: PostgreSQL pid $pg_pid on 127.0.0.1:$pg_port"

# A checkout beside shared/ (as in CI), or a worktree one level further down (work/wt/NAME).
peer_src="${MONGO_PEER_DIR:-$repo/../shared/mongo-peer}"
[ -n "${MONGO_PEER_DIR:-}" ] || [ -d "$peer_src" ] || peer_src="$repo/../../shared/mongo-peer"
[ -f "$peer_src/run-with-mongo-peer.sh" ] || { echo "with_test_servers: no MongoDB-wire peer at $peer_src (set MONGO_PEER_DIR)" >&2; exit 1; }
peer="$repo/build/mongo-peer"
if [ ! -d "$peer/node_modules/@push.rocks/smartmongo" ]; then
  rm -rf "$peer"; mkdir -p "$peer"
  cp -r "$peer_src"/. "$peer"/
  chmod -R u+w "$peer"
fi
# The peer's own script starts it, exports MONGO_PEER_URI, runs the command and stops it by pid.
bash "$peer/run-with-mongo-peer.sh" bash -c 'export PDFBRIKS_MONGO_URI="$MONGO_PEER_URI"; exec "$@"' _ "$@"
