#!/usr/bin/env bash
# Builds everything (installing what is missing) and runs the test suite.
# The long checks (deep perft, many games) are left out here: ctest --test-dir build -L long
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/build.sh "$@"
ctest --test-dir build -LE long --output-on-failure -j "$(nproc)"
