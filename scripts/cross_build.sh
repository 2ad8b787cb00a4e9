#!/usr/bin/env bash
# Builds the engine for another platform with Debian's cross compilers (installed when
# missing), with the test binary that scripts/cross_check.sh runs under an emulator:
#
#   bash scripts/cross_build.sh windows   # build-windows/tesmar.exe, x86-64 Windows (mingw-w64)
#   bash scripts/cross_build.sh arm64     # build-arm64/tesmar, 64-bit ARM Linux
#
# Both are the portable build: the evaluation's widest form the processor has is chosen at
# start-up. The Windows executable is linked statically and needs no DLL beside it.
# Extra arguments go to cmake's configure step.
set -euo pipefail
cd "$(dirname "$0")/.."

target=${1:-}
case "$target" in
  windows) compiler=g++-mingw-w64-x86-64-posix toolchain=windows-x86_64 ;;
  arm64) compiler=g++-aarch64-linux-gnu toolchain=linux-arm64 ;;
  *)
    echo "usage: bash scripts/cross_build.sh windows|arm64 [cmake options]" >&2
    exit 2
    ;;
esac
shift
# googletest: the sources of GoogleTest, compiled here for the target.
bash scripts/install_missing.sh cmake make "$compiler" googletest

cmake -S . -B "build-$target" -DCMAKE_TOOLCHAIN_FILE="cmake/toolchains/$toolchain.cmake" -DTESMAR_PORTABLE=ON "$@"
cmake --build "build-$target" -j "$(nproc)" --target tesmar tesmar_cross_tests
