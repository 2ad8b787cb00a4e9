#!/usr/bin/env bash
# Self-play of the shipped network into the game corpus, on every idle core at the lowest priority.
#   bash scripts/selfplay.sh start      build datagen, take the next free seed, start in the background
#   bash scripts/selfplay.sh snapshot   copy the whole games made so far into data/corpus/ (to commit)
#   bash scripts/selfplay.sh stop       stop the run (it finishes its journal and prints its speed)
#   bash scripts/selfplay.sh status     the run's last progress line and the corpus
# Games go to ~/tesmar-data/genG-sS.tgc (and positions to genG-sS.bin beside it); snapshot copies each
# corpus file to data/corpus/ under the same name. THREADS, NODES and DATA may be set.
set -euo pipefail
cd "$(dirname "$0")/.."

# The generation of data/tesmar.net: raise it when a new network is shipped.
GENERATION=8
DATA=${DATA:-$HOME/tesmar-data}
NODES=${NODES:-2500}
OPENINGS=${OPENINGS:-../shared/openings/8moves_v3.epd}
mkdir -p "$DATA" data/corpus
pidfile="$DATA/selfplay.pid"

running() { [ -f "$pidfile" ] && kill -0 "$(cat "$pidfile")" 2>/dev/null; }

case "${1:-}" in
  start)
    if running; then echo "self-play already runs (pid $(cat "$pidfile"))"; exit 0; fi
    [ -f "$OPENINGS" ] || { echo "no openings at $OPENINGS" >&2; exit 1; }
    [ -d build ] || cmake --preset release >/dev/null
    cmake --build build -j "$(nproc)" --target datagen >/dev/null
    # A copy of its own, so that rebuilding build/ never changes the program under a run.
    cp build/datagen "$DATA/datagen-selfplay"
    # Every session plays a seed of its own: one past the largest seen here or in the corpus.
    last=$(ls data/corpus "$DATA" 2>/dev/null | sed -n 's/^gen[0-9]*-s\([0-9]*\)\.tgc$/\1/p' | sort -n | tail -1)
    seed=$(( ${last:-1000} + 1 ))
    name="gen$GENERATION-s$seed"
    threads=()
    [ -n "${THREADS:-}" ] && threads=(--threads "$THREADS")
    nohup nice -n 19 "$DATA/datagen-selfplay" selfplay --out "$DATA/$name.bin" --corpus "$DATA/$name.tgc" \
      --positions 40000000 --nodes "$NODES" --openings "$OPENINGS" --seed "$seed" "${threads[@]}" \
      > "$DATA/$name.log" 2>&1 &
    echo $! > "$pidfile"
    echo "self-play started: seed $seed, games to $DATA/$name.tgc, log $DATA/$name.log"
    ;;
  snapshot)
    [ -x build/datagen ] || cmake --build build -j "$(nproc)" --target datagen >/dev/null
    for file in "$DATA"/gen*-s*.tgc; do
      [ -e "$file" ] || continue
      # merge writes a new file through a temporary one, so the old snapshot goes first.
      target="data/corpus/$(basename "$file")"
      rm -f "$target"
      ./build/datagen merge "$target" "$file" >/dev/null
    done
    ./build/datagen info data/corpus | grep -E "game corpus|training positions$" || true
    ;;
  stop)
    if running; then kill -INT "$(cat "$pidfile")"; echo "stopping pid $(cat "$pidfile")"; else echo "no run"; fi
    ;;
  status)
    if running; then echo "running, pid $(cat "$pidfile")"; else echo "not running"; fi
    for log in "$DATA"/gen*-s*.log; do [ -e "$log" ] && echo "$(basename "$log"): $(tail -c 300 "$log" | tr '\r' '\n' | tail -1)"; done
    du -ch data/corpus/*.tgc 2>/dev/null | tail -1
    ;;
  *)
    sed -n '2,8p' "$0" | sed 's/^# \{0,1\}//'
    exit 2
    ;;
esac
