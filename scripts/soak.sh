#!/usr/bin/env bash
# Soak test: many short games between two copies of the engine, each game with options
# drawn at random for each side (Threads 1-4, Hash 1-256, MultiPV 1-4, Strength 1-100,
# Ponder and OwnBook on or off, SyzygyPath empty, good or a folder of damaged tables,
# standard chess or Chess960), played by fastchess, which reports crashes, hangs, time
# losses and illegal moves. Every game's PGN is kept under OUT/failed/ when it ended in
# one of those.
#
#   scripts/soak.sh [GAMES [OUT]]            (defaults: 100 games, build/soak)
#
# Environment: FASTCHESS (the fastchess binary; default ~/tesmar-data/fastchess-src/fastchess),
# ENGINE (default build/tesmar), SHARED (the published data, default ../shared), TC (default
# 2+0.05), SEED (default: the clock), JOBS (games
# played at once, default 1: keep JOBS x 2.5 threads within the cores, or time losses are the
# machine's, not the engine's), SECONDS_LIMIT (start no game after this many seconds; default
# none). fastchess sends no "go ponder", so Ponder only sets the option. Exit status 1 when any
# game failed.
set -euo pipefail
cd "$(dirname "$0")/.."

games=${1:-100}
out=${2:-build/soak}
fastchess=${FASTCHESS:-$HOME/tesmar-data/fastchess-src/fastchess}
engine=$(realpath "${ENGINE:-build/tesmar}")
tc=${TC:-2+0.05}
seed=${SEED:-$(date +%s)}
jobs=${JOBS:-1}
seconds_limit=${SECONDS_LIMIT:-0}
shared=$(realpath "${SHARED:-../shared}" 2>/dev/null || echo ../shared)

[ -x "$fastchess" ] || { echo "soak: no fastchess at $fastchess (set FASTCHESS)" >&2; exit 2; }
[ -x "$engine" ] || { echo "soak: no engine at $engine (build it first)" >&2; exit 2; }
mkdir -p "$out/failed" "$out/games"

# A folder of tables damaged as downloads are: one cut short, one of the wrong material,
# one empty, one that is a folder, one of garbage behind the right magic number.
damaged="$out/damaged-tables"
rm -rf "$damaged"
mkdir -p "$damaged/KRRvKR.rtbw"
: > "$damaged/KQRvKR.rtbw"
if [ -f "$shared/syzygy/KRvKP.rtbw" ]; then
  head -c 1000 "$shared/syzygy/KRvKP.rtbw" > "$damaged/KRPvKR.rtbw"
  cp "$shared/syzygy/KRvKP.rtbz" "$damaged/KRPvKR.rtbz"
fi
{ printf '\x71\xe8\x23\x5d'; head -c 5000 /dev/urandom; } > "$damaged/KBNvKN.rtbw"
tables=("" "$shared/syzygy" "$(realpath "$damaged")")

openings=$shared/openings/8moves_v3.epd
openings960=$shared/openings/chess960_starts.epd
book=$shared/books/gnuchess-book.bin

# One side's options, drawn at random.
side_options() {
  local path=${tables[RANDOM % 3]}
  local options=(
    "option.Threads=$((RANDOM % 4 + 1))" "option.Hash=$((RANDOM % 256 + 1))"
    "option.MultiPV=$((RANDOM % 4 + 1))" "option.Strength=$((RANDOM % 100 + 1))"
    "option.Ponder=$([ $((RANDOM % 2)) = 1 ] && echo true || echo false)"
    "option.SyzygyPath=${path:-<empty>}")
  if [ $((RANDOM % 2)) = 1 ] && [ -f "$book" ]; then options+=("option.OwnBook=true" "option.BookFile=$book"); fi
  echo "${options[@]}"
}

# Plays the games numbered job+1, job+1+JOBS, ...; one line per game in OUT/results-JOB:
# "N ok" or "N KIND TERMINATION". Each game draws its options from its own seed, so a game
# is replayed by its number whatever JOBS was.
play_games() {
  local job=$1 game
  for ((game = job + 1; game <= games; game += jobs)); do
    if [ "$seconds_limit" != 0 ] && [ "$SECONDS" -ge "$seconds_limit" ]; then break; fi
    RANDOM=$((seed + game))
    local variant=(-variant standard -openings "file=$openings" format=epd order=random)
    local chess960=false
    if [ $((RANDOM % 2)) = 1 ] && [ -f "$openings960" ]; then
      variant=(-variant fischerandom -openings "file=$openings960" format=epd order=random)
      chess960=true
    fi
    local pgn="$out/games/game-$game.pgn" log="$out/games/game-$game.log"
    # shellcheck disable=SC2046
    "$fastchess" -engine cmd="$engine" name=A $(side_options) "option.UCI_Chess960=$chess960" \
      -engine cmd="$engine" name=B $(side_options) "option.UCI_Chess960=$chess960" \
      -each "tc=$tc" "${variant[@]}" -rounds 1 -games 1 -srand "$((seed + game))" \
      -pgnout "file=$pgn" notation=uci -log "file=$out/games/game-$game.fastchess.log" level=warn \
      > "$log" 2>&1 || true
    local termination result kind=""
    termination=$(grep -h '^\[Termination' "$pgn" 2>/dev/null || true)
    result=$(grep -h '^\[Result' "$pgn" 2>/dev/null || true)
    case "$termination" in
      *"time forfeit"*) kind=time_loss ;;
      *"illegal move"*) kind=illegal ;;
      *"abandoned"* | *"disconnect"*) kind=crash ;;
      *"stall"*) kind=hang ;;
    esac
    [ -z "$result" ] && kind=${kind:-crash}
    grep -qiE "crash|disconnect|not responsive|illegal|timeout|time forfeit" "$log" && kind=${kind:-crash}
    if [ -n "$kind" ]; then
      cp "$pgn" "$log" "$out/failed/" 2>/dev/null || true
      echo "game $game: $kind (${termination:-no PGN}), kept in $out/failed/"
      echo "$game $kind $termination" >> "$out/results-$job"
    else
      result=${result#*\"}
      echo "$game ok ${result%%\"*} chess960=$chess960" >> "$out/results-$job"
    fi
  done
}

rm -f "$out"/results-*
for ((job = 0; job < jobs; ++job)); do play_games "$job" & done
wait
cat "$out"/results-* > "$out/results"
count() { awk -v k="$1" '$2 == k' "$out/results" | wc -l; }
played=$(wc -l < "$out/results")
crashes=$(count crash) hangs=$(count hang) time_losses=$(count time_loss) illegal=$(count illegal)
failed=$((crashes + hangs + time_losses + illegal))
echo "soak: $played games, $failed failed: $crashes crashes, $hangs hangs, $time_losses time losses, $illegal illegal moves (seed $seed, TC $tc, $jobs at once)"
[ "$failed" = 0 ]
