#!/usr/bin/env bash
# Installs what the build needs (Debian packages) if it is missing, then builds
# the engine, its tools and its tests into build/ (Release, tuned to this processor).
# Extra arguments go to cmake's configure step, e.g. -DTESMAR_PORTABLE=ON.
set -euo pipefail
cd "$(dirname "$0")/.."

needed=(cmake g++ make libgtest-dev)
missing=()
for package in "${needed[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  "${as_root[@]}" apt-get update -q
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -q "${missing[@]}"
fi

cmake -S . -B build "$@"
cmake --build build -j "$(nproc)"
