#!/usr/bin/env bash
# Builds everything (installing what is missing) and runs the test suite.
# The long checks (deep perft, many games) are left out here: ctest --test-dir build -L long
# Some groups read the published data in ../shared; without it they are skipped, one line says
# which and why, and with TESMAR_REQUIRE_SHARED=1 (as CI sets it) the run fails instead.
set -euo pipefail
cd "$(dirname "$0")/.."

missing=()
for group in "syzygy:the endgame-table suite against the published Syzygy files" \
             "perft:the perft suites and their FEN round trips" \
             "books/gnuchess-book.bin:the public-domain Polyglot book test" \
             "openings/chess960_starts.epd:the Chess960 start-position checks"; do
  path="../shared/${group%%:*}"
  [ -e "$path" ] || missing+=("skipped: ${group#*:} ($path is missing)")
done
if [ ${#missing[@]} -gt 0 ]; then
  printf '%s\n' "${missing[@]}"
  if [ "${TESMAR_REQUIRE_SHARED:-0}" = 1 ]; then
    echo "the shared test data is required here: put ../shared beside the checkout" >&2
    exit 1
  fi
fi

bash scripts/build.sh "$@"
ctest --test-dir build -LE long --output-on-failure -j "$(nproc)"
if [ ${#missing[@]} -gt 0 ]; then printf '%s\n' "${missing[@]}"; fi
