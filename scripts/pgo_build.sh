#!/usr/bin/env bash
# Profile-guided build of the engine. An instrumented engine runs the fixed search of
# `tesmar pgo`; the same build directory is then rebuilt with that profile (the object
# paths must match for gcc to find it). The result is DIR/tesmar (default build-pgo).
#
#   bash scripts/pgo_build.sh [DIR] [extra cmake arguments, e.g. -DTESMAR_PORTABLE=ON]
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build-pgo}
[ $# -gt 0 ] && shift
jobs=${JOBS:-2}
profile="$PWD/$dir/profile"
rm -rf "$profile"
mkdir -p "$dir"

configure() {
  local flags=$1
  shift
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF -DCMAKE_CXX_FLAGS="$flags" "$@" >/dev/null
}

echo "== instrumented build in $dir"
configure "-fprofile-generate=$profile -fprofile-update=prefer-atomic" "$@"
cmake --build "$dir" --target tesmar -j "$jobs"

echo "== training run: $dir/tesmar pgo"
"$dir/tesmar" pgo | tail -n 1

echo "== optimised build with the profile"
# Code the run never reached has no profile; that is expected, not a warning.
configure "-fprofile-use=$profile -fprofile-correction -Wno-missing-profile" "$@"
cmake --build "$dir" --target tesmar -j "$jobs"
echo "== done: $dir/tesmar"
