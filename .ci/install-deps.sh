#!/usr/bin/env bash
# Installs the Debian packages the project builds and tests with, only those
# that are missing. Runs apt through sudo when not already root.
set -euo pipefail

packages=(build-essential cmake libgtest-dev libgmock-dev libbenchmark-dev libpng-dev pkg-config ccache
          pybind11-dev python3-dev python3-numpy python3-pytest libopenvdb-dev libboost-iostreams-dev)

if ! command -v dpkg-query >/dev/null 2>&1; then
    echo "install-deps: not a Debian system; make sure these are installed: ${packages[*]}" >&2
    exit 0
fi

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$package")
    fi
done
if ((${#missing[@]} == 0)); then
    exit 0
fi

sudo=()
if [[ $(id -u) != 0 ]]; then
    sudo=(sudo)
fi
echo "install-deps: installing ${missing[*]}"
"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq
"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
