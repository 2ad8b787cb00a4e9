#!/usr/bin/env bash
# A strength match between two UCI engines with the fastchess tournament manager, which is not
# part of this project: build it once from its public sources, outside this tree, and name its
# binary in FASTCHESS (default: fastchess on the PATH). One thread and 64 MB of hash for both
# engines, balanced openings played once with each colour, the clock of the strength figures in
# the README unless TC says otherwise. Games are adjudicated as testers do: resigned when both
# engines have seen 1000 or more for one side for 3 moves each, drawn after move 40 when both
# have stayed within 10 of zero for 8 moves each.
#
#   FASTCHESS=/path/to/fastchess bash scripts/match.sh ENGINE1 ENGINE2 [GAMES, default 200] [CONCURRENCY, default 1]
#
# Environment: TC (default 10+0.1), OPENINGS (default ../shared/openings/8moves_v3.epd),
# PGN (games are written there, default match-NAME1-NAME2.pgn), SEED (opening order, default 1).
# The Elo difference of ENGINE1 and its error margin are in the last lines of the output.
set -euo pipefail
[ $# -ge 2 ] || { sed -n 2,12p "$0"; exit 2; }
engine1=$1
engine2=$2
games=${3:-200}
concurrency=${4:-1}
fastchess=${FASTCHESS:-fastchess}
tc=${TC:-10+0.1}
openings=${OPENINGS:-$(dirname "$0")/../../shared/openings/8moves_v3.epd}
name1=$(basename "$engine1")
name2=$(basename "$engine2")
[ "$name1" = "$name2" ] && name2="${name2}-2"
pgn=${PGN:-match-$name1-$name2.pgn}
[ -f "$openings" ] || { echo "no openings file at $openings" >&2; exit 1; }

"$fastchess" \
  -engine cmd="$engine1" name="$name1" \
  -engine cmd="$engine2" name="$name2" \
  -each tc="$tc" proto=uci option.Threads=1 option.Hash=64 \
  -openings file="$openings" format=epd order=random \
  -srand "${SEED:-1}" \
  -resign movecount=3 score=1000 twosided=true \
  -draw movenumber=40 movecount=8 score=10 \
  -rounds $(( (games + 1) / 2 )) -games 2 -repeat \
  -concurrency "$concurrency" \
  -pgnout file="$pgn"
