#!/usr/bin/env bash
# Installs the Debian packages that the build, the tests and the database sinks need,
# only those that are missing. Safe to run again. Works as root or through sudo.
set -euo pipefail

PACKAGES=(
  g++ cmake make pkg-config
  zlib1g-dev libpng-dev libpq-dev libsqlite3-dev libmongoc-dev libbson-dev
  googletest libgtest-dev
  python3
)

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
