#!/usr/bin/env bash
# Installs the Debian packages that the build, the tests, the database servers of the tests, the
# Python package and the benchmark need, only those that are missing. Safe to run again. Works as
# root or through sudo. Node.js and npm (for the MongoDB-wire test server) are installed only when
# their commands are missing, so a Node.js already on the machine is left as it is.
set -euo pipefail

PACKAGES=(
  g++ cmake make pkg-config
  zlib1g-dev libpng-dev libpq-dev libsqlite3-dev libmongoc-dev libbson-dev libfast-float-dev
  libdeflate-dev poppler-utils
  googletest libgtest-dev
  postgresql sqlite3
  python3 python3-pytest python3-tqdm python3-distributed python3-dask python3-psycopg2
  python3-pymongo python3-pip python3-setuptools
)
command -v node >/dev/null 2>&1 || PACKAGES+=(nodejs)
command -v npm >/dev/null 2>&1 || PACKAGES+=(npm)

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all packages present"
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then
  SUDO="sudo"
fi
echo "setup: installing ${missing[*]}"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
