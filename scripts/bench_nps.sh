#!/usr/bin/env bash
# Nodes per second of the engine, side by side with Debian's stockfish as a peer:
#   - the fixed `tesmar pgo` search (ten positions to depth 14, one thread): nodes over the
#     search time of the last info line before each bestmove, and over the wall time of the run
#     (start-up and ten 256 MB hash clears included); the best of PGO_RUNS runs, default 3;
#   - the same ten positions searched for a fixed time each (go infinite, stop after SECONDS)
#     with 1 and with 2 threads, and the ratio of the two rates;
#   - `stockfish bench` (16 MB, depth 13, its own positions) with 1 and with 2 threads.
# Engines default to build/tesmar and, when it exists, build-pgo/tesmar (scripts/pgo_build.sh).
# STOCKFISH names the peer's binary (for one built for this processor); by default Debian's.
#
#   [STOCKFISH=PATH] bash scripts/bench_nps.sh [SECONDS per position, default 2] [ENGINE ...]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-2}
[ $# -gt 0 ] && shift
engines=("$@")
if [ ${#engines[@]} -eq 0 ]; then
  engines=(build/tesmar)
  [ -x build-pgo/tesmar ] && engines+=(build-pgo/tesmar)
fi

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

stockfish=${STOCKFISH:-$(command -v stockfish || true)}
[ -z "$stockfish" ] && [ -x /usr/games/stockfish ] && stockfish=/usr/games/stockfish
if [ -z "$stockfish" ]; then
  echo "installing Debian's stockfish (a peer to measure against)" >&2
  as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -q stockfish >&2
  stockfish=$(command -v stockfish || echo /usr/games/stockfish)
fi

now_ms() { date +%s%3N; }

# Sum of nodes and time of the last info line before each bestmove: "NODES MS".
search_totals() {
  awk '/^info / { for (i = 1; i < NF; ++i) { if ($i == "nodes") n = $(i + 1); if ($i == "time") t = $(i + 1) } }
       /^bestmove/ { nodes += n; ms += t; n = 0; t = 0 }
       END { printf "%d %d\n", nodes, ms }'
}

rate() { awk -v n="$1" -v ms="$2" 'BEGIN { if (ms > 0) printf "%d", n * 1000 / ms; else print "-" }'; }

# One thread, the fixed pgo search, best of PGO_RUNS runs (default 3): "NPS_SEARCH NPS_WALL NODES".
pgo_rates() {
  local engine=$1 start end out nodes search wall best_search=0 best_wall=0
  for ((run = 0; run < ${PGO_RUNS:-3}; ++run)); do
    start=$(now_ms)
    out=$("$engine" pgo)
    end=$(now_ms)
    nodes=$(sed -n 's/^Total nodes searched: //p' <<<"$out")
    search=$(rate $(search_totals <<<"$out"))
    wall=$(rate "$nodes" $((end - start)))
    [ "$search" -gt "$best_search" ] && best_search=$search
    [ "$wall" -gt "$best_wall" ] && best_wall=$wall
  done
  echo "$best_search $best_wall $nodes"
}

# Fixed time per position with the given threads: nodes per second over the search times.
fixed_time_rate() {
  local engine=$1 threads=$2
  {
    echo "setoption name Threads value $threads"
    echo "setoption name Hash value 64"
    for fen in "${positions[@]}"; do
      echo ucinewgame
      echo "position fen $fen"
      echo "go infinite"
      sleep "$seconds"
      echo stop
    done
    echo quit
  } | "$engine" | search_totals | { read -r nodes ms; rate "$nodes" "$ms"; }
}

stockfish_rate() {
  "$stockfish" bench 16 "$1" 13 2>&1 | sed -n 's/^Nodes\/second *: *//p'
}

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { if (a + 0 > 0 && b + 0 > 0) printf "%.2f", b / a; else print "-" }'; }

echo "machine: $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ *//'), $(nproc) cores," \
  "best vector level $(for f in avx512_vnni avx512bw avx2 sse4_1; do grep -q -w $f /proc/cpuinfo && { echo $f; break; }; done)," \
  "load $(cut -d' ' -f1-3 /proc/loadavg); ${seconds} s per position for the fixed-time runs"
printf '%-22s %14s %14s %14s %14s %8s\n' "engine" "pgo nps" "pgo nps(wall)" "1 thread nps" "2 threads nps" "2T/1T"
for engine in "${engines[@]}"; do
  read -r pgo_search pgo_wall pgo_nodes < <(pgo_rates "$engine")
  one=$(fixed_time_rate "$engine" 1)
  two=$(fixed_time_rate "$engine" 2)
  printf '%-22s %14s %14s %14s %14s %8s\n' "$engine" "$pgo_search" "$pgo_wall" "$one" "$two" "$(ratio "$one" "$two")"
  echo "  ($engine pgo: $pgo_nodes nodes)"
done
sf_one=$(stockfish_rate 1)
sf_two=$(stockfish_rate 2)
printf '%-22s %14s %14s %14s %14s %8s\n' "stockfish bench" "-" "-" "$sf_one" "$sf_two" "$(ratio "$sf_one" "$sf_two")"
echo "  ($(echo quit | "$stockfish" 2>/dev/null | head -n 1); bench 16 MB, depth 13, its own positions)"
