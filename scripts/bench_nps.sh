#!/usr/bin/env bash
# Nodes per second of UCI engines on the same work: the ten positions of `tesmar pgo`,
# each searched for the same time (or the same node budget) after a ucinewgame, with the
# same hash size and thread count for every engine. The engines take turns, round by
# round, in alternating order (A B C, then C B A, ...), so that a machine whose speed
# drifts treats them alike. Each engine's rate is its nodes over its search time, both
# from the last info line before each bestmove. Printed: every round's rates, then each
# engine's rate against every other's in the same round, as median and range.
#
#   [ROUNDS=4] [HASH=64] [THREADS=1] [BUDGET="time 1.5"] bash scripts/bench_nps.sh ENGINE[@THREADS] ...
#
# An engine is a path, optionally with its own thread count after "@": "build/tesmar
# build/tesmar@2" gives two threads against one. BUDGET is "time SECONDS" (go infinite,
# then stop after that long: no engine's time management ends a search early) or
# "nodes N" (go nodes N). The peer should be built for the same vector level as the
# engine it is held against (see the README's Speed section).
set -euo pipefail
cd "$(dirname "$0")/.."
[ $# -ge 1 ] || { sed -n '2,15p' "$0" >&2; exit 2; }
rounds=${ROUNDS:-4}
hash_mb=${HASH:-64}
budget=${BUDGET:-time 1.5}
engines=("$@")

# The positions of the pgo run.
positions=(
  "1qr3k1/p3bppp/4pn2/1B2n3/N7/P3P2P/1P2QPP1/2R1B2K w - -"
  "2br2k1/r5p1/4p3/5p2/8/pP3B2/1q2RPPP/Q3R1K1 b - -"
  "r5k1/5p2/7p/5qP1/1P1QR3/5P2/r4RK1/8 b - -"
  "r4rk1/1p2bppp/p3bn2/8/Pq1BP3/1BN1Q3/1PP3PP/R3K2R w KQ -"
  "r2qk2r/3nbpp1/2bBp2p/p3P3/1p6/8/PPPQBPPP/1NKR3R w kq -"
  "3r4/3r2bk/1p4pp/pN2n3/P6P/4Q1P1/1P2B1K1/8 b - h3"
  "6k1/1b2bp2/p3p2p/4P1p1/1pr5/4BP1P/PP2N1P1/3R2K1 b - -"
  "1rr3k1/1q3pp1/pnbQp2p/1p2P3/3B1P2/2PB4/P1P2RPP/R5K1 w - -"
  "2r2rk1/p3qp1p/2b1pp1Q/2b5/1n6/2N2NP1/1P2PPBP/R2R2K1 w - -"
  "8/p4k2/1p3r2/2pPnb2/2Pr3P/PPK3P1/4B1Q1/8 b - -"
)

# One engine over the ten positions: "NODES MS" summed over the last info line before
# each bestmove. The engine reads the next command only when the search has answered.
run_engine() {
  local named=$1 path=${1%@*} threads=${THREADS:-1}
  [ "$named" != "$path" ] && threads=${named##*@}
  coproc ENGINE { "$path" 2>/dev/null; }
  local line nodes=0 ms=0 n t
  echo "uci" >&"${ENGINE[1]}"
  while read -r line <&"${ENGINE[0]}"; do [ "$line" = uciok ] && break; done
  printf 'setoption name Threads value %s\nsetoption name Hash value %s\n' "$threads" "$hash_mb" >&"${ENGINE[1]}"
  for fen in "${positions[@]}"; do
    printf 'ucinewgame\nposition fen %s\nisready\n' "$fen" >&"${ENGINE[1]}"
    while read -r line <&"${ENGINE[0]}"; do [ "$line" = readyok ] && break; done
    if [[ $budget == time* ]]; then
      echo "go infinite" >&"${ENGINE[1]}"
      sleep "${budget#time }"
      echo stop >&"${ENGINE[1]}"
    else
      echo "go $budget" >&"${ENGINE[1]}"
    fi
    n=0 t=0
    while read -r line <&"${ENGINE[0]}"; do
      case $line in
        info*)
          [[ $line =~ \ nodes\ ([0-9]+) ]] && n=${BASH_REMATCH[1]}
          [[ $line =~ \ time\ ([0-9]+) ]] && t=${BASH_REMATCH[1]} ;;
        bestmove*) break ;;
      esac
    done
    nodes=$((nodes + n)) ms=$((ms + t))
  done
  echo quit >&"${ENGINE[1]}"
  wait "$ENGINE_PID" 2>/dev/null || true
  echo "$nodes $ms"
}

echo "machine: $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ *//'), $(nproc) cores," \
  "best vector level $(for f in avx512_vnni avx512bw avx2 sse4_1; do grep -q -w $f /proc/cpuinfo && { echo $f; break; }; done)," \
  "load $(cut -d' ' -f1-3 /proc/loadavg)"
echo "work: the 10 positions of tesmar pgo, $budget each, Hash $hash_mb, Threads ${THREADS:-1} unless @N; $rounds rounds"
for i in "${!engines[@]}"; do
  name=$("${engines[$i]%@*}" <<<$'uci\nquit' 2>/dev/null | sed -n 's/^id name //p' | head -n 1)
  echo "engine $((i + 1)): ${engines[$i]} ($name)"
done

results=$(mktemp)
trap 'rm -f "$results"' EXIT
count=${#engines[@]}
for ((round = 1; round <= rounds; ++round)); do
  order=()
  for ((k = 0; k < count; ++k)); do
    if ((round % 2)); then order+=("$k"); else order+=($((count - 1 - k))); fi
  done
  for i in "${order[@]}"; do
    read -r nodes ms < <(run_engine "${engines[$i]}")
    echo "$round $i $nodes $ms" >>"$results"
    awk -v r="$round" -v e="$((i + 1))" -v n="$nodes" -v ms="$ms" \
      'BEGIN { printf "round %d engine %d: %d nodes in %d ms, %d nodes/s\n", r, e, n, ms, (ms > 0 ? n * 1000 / ms : 0) }'
  done
done

# Each engine's rate against every other's in the same round: median, lowest and highest.
awk -v count="$count" -v rounds="$rounds" '
  function sort(a, n,   i, j, x) { for (i = 2; i <= n; ++i) { x = a[i]; for (j = i - 1; j > 0 && a[j] > x; --j) a[j + 1] = a[j]; a[j + 1] = x } }
  function median(a, n) { return n % 2 ? a[(n + 1) / 2] : (a[n / 2] + a[n / 2 + 1]) / 2 }
  { rate[$1, $2] = $4 > 0 ? $3 * 1000 / $4 : 0 }
  END {
    printf "\nmedian nodes/s, and the rate of each engine (row) against each other (column) in the same round: median (lowest-highest)\n"
    printf "%-8s %14s", "engine", "nodes/s"
    for (c = 0; c < count; ++c) printf " %21s", "against " (c + 1)
    printf "\n"
    for (e = 0; e < count; ++e) {
      n = 0
      for (r = 1; r <= rounds; ++r) v[++n] = rate[r, e]
      sort(v, n)
      printf "%-8d %14d", e + 1, median(v, n)
      for (c = 0; c < count; ++c) {
        n = 0
        for (r = 1; r <= rounds; ++r) q[++n] = rate[r, c] > 0 ? rate[r, e] / rate[r, c] : 0
        sort(q, n)
        printf " %21s", sprintf("%.3f (%.2f-%.2f)", median(q, n), q[1], q[n])
      }
      printf "\n"
    }
  }' "$results"
