#!/usr/bin/env bash
# Installs what the build needs (Debian packages) if it is missing, then builds
# the engine, its tools and its tests into build/ (Release, tuned to this processor).
# Extra arguments go to cmake's configure step, e.g. -DTESMAR_PORTABLE=ON.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install_missing.sh cmake g++ make libgtest-dev

cmake -S . -B build "$@"
cmake --build build -j "$(nproc)"
