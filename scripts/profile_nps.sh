#!/usr/bin/env bash
# Where a node's time goes: samples `ENGINE pgo` (one thread, the fixed search of ten
# positions) with perf and sums the user-time samples of the engine by part: evaluation
# (accumulators and forward pass), the search's own code (where the hash probe's cache
# misses land: the first load of an entry), move generation and ordering, SEE, legality
# and the rest. Kernel time (clearing the hash table's fresh pages) is left out.
#
#   bash scripts/profile_nps.sh [ENGINE, default build/tesmar]
set -euo pipefail
cd "$(dirname "$0")/.."
engine=${1:-build/tesmar}
command -v perf >/dev/null || { echo "needs perf (Debian: apt-get install linux-perf)" >&2; exit 1; }
data=$(mktemp)
trap 'rm -f "$data"' EXIT
perf record -q -o "$data" "$engine" pgo >/dev/null 2>&1
perf report -i "$data" --no-children --sort symbol --stdio 2>/dev/null |
  awk '/^ +[0-9.]+%/ && !/\[k\]/ {
         share = $1; sub("%", "", share); name = $0; sub(/^[^]]*\] /, "", name); sub(/ +-.*$/, "", name)
         part = "other"
         if (name ~ /apply_rows|forward_pass|accumulator|evaluate|finish_score|gather_/) part = "evaluation"
         else if (name ~ /^(search|qsearch|root_search|search_root)\(?/) part = "search and qsearch bodies (hash probes)"
         else if (name ~ /next_move|generate|score_|picker|history/) part = "move generation and ordering"
         else if (name ~ /see/) part = "static exchange"
         else if (name ~ /legal|attack|check/) part = "legality and attacks"
         else if (name ~ /make_move|undo|null_move/) part = "make and undo"
         total += share; parts[part] += share
         if (++shown <= 12) top = top sprintf("  %6.2f%%  %s\n", share, name)
       }
       END {
         for (p in parts) printf "  %6.1f%%  %s\n", 100 * parts[p] / total, p > "'"$data.parts"'"
         printf "largest functions (share of all samples):\n%s", top > "'"$data.top"'"
       }'
echo "share of the engine's user time by part:"
sort -rn "$data.parts"
cat "$data.top"
rm -f "$data.parts" "$data.top"
