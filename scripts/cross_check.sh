#!/usr/bin/env bash
# Builds the engine for another platform (scripts/cross_build.sh) and checks it there,
# under an emulator that runs the platform's own calls:
#
#   bash scripts/cross_check.sh windows   # under wine
#   bash scripts/cross_check.sh arm64     # under qemu-aarch64, with and without the dot product
#
# Windows: the cross test binary (memory block, large pages, table files, the evaluation's
# forms, perft on ../shared/perft), the bench node count against the Linux build's, and a
# UCI session: options, positions, go with every kind of limit, stop, ponderhit,
# SyzygyPath with drive letters, backslashes and ';', the book, LargePages, quit.
# ARM64: the cross test binary and the bench node count, on a processor with the 8-bit
# dot product (qemu's "max") and on one without (Cortex-A72), so both NEON forms run.
# Speed under an emulator means nothing. Ends with status 1 at the first failed check.
set -euo pipefail
cd "$(dirname "$0")/.."
target=${1:-}
case "$target" in
  windows) emulator_packages=(wine wine64) ;;
  arm64) emulator_packages=(qemu-user) ;;
  *)
    echo "usage: bash scripts/cross_check.sh windows|arm64" >&2
    exit 2
    ;;
esac
bash scripts/cross_build.sh "$target"
bash scripts/install_missing.sh "${emulator_packages[@]}"

build="build-$target"
log="$build/cross_check.log"
: >"$log"
started=$SECONDS
fail() {
  echo "FAILED: $*" | tee -a "$log" >&2
  exit 1
}
pass() { echo "ok  $* ($((SECONDS - started)) s)" | tee -a "$log"; }

# The Linux build's bench count is the one the suite records; the same search on any
# platform and with any evaluation form visits the same nodes.
expected_nodes=$(cat tests/pgo_nodes.txt)
if [ -x build/tesmar ]; then
  linux_nodes=$(build/tesmar bench 2>/dev/null | sed -n 's/^Nodes searched: //p')
  [ "$linux_nodes" = "$expected_nodes" ] || fail "build/tesmar bench: $linux_nodes nodes, tests/pgo_nodes.txt says $expected_nodes"
fi
check_bench() {
  local nodes
  nodes=$("$@" bench 2>/dev/null | tr -d '\r' | sed -n 's/^Nodes searched: //p')
  [ "$nodes" = "$expected_nodes" ] || fail "bench: $nodes nodes, the Linux build searches $expected_nodes"
  pass "bench: $nodes nodes, as on Linux"
}

# The test binary; the summary of what passed and what was skipped (a form whose
# instructions the processor lacks).
check_tests() {
  local out="$build/cross_tests.out"
  "$@" 2>&1 | tr -d '\r' >"$out" || { cat "$out" >>"$log"; fail "tests: $* (see $log)"; }
  cat "$out" >>"$log"
  pass "tests: $(grep -E '^\[  (PASSED|SKIPPED) +\] [0-9]+ tests?' "$out" | tr -s ' ' | tr '\n' ' ')"
  grep -E '^\[  SKIPPED \] [A-Za-z][^ ]*$' "$out" | tee -a "$log" || true
}

if [ "$target" = arm64 ]; then
  for cpu in max cortex-a72; do
    run=(qemu-aarch64 -L /usr/aarch64-linux-gnu -cpu "$cpu")
    echo "processor: $cpu" | tee -a "$log"
    check_tests "${run[@]}" "$build/tesmar_cross_tests" --gtest_filter=-NetworkHeader.EngineWithWrongLayer3BitsStopsAtStartUp
    check_bench "${run[@]}" "$build/tesmar"
  done
  echo "all checks passed in $((SECONDS - started)) s"
  exit 0
fi

# Windows: the executable runs alone, so it may import from the system's DLLs only.
imports=$(x86_64-w64-mingw32-objdump -p "$build/tesmar.exe" | sed -n 's/^\tDLL Name: //p' | tr '\n' ' ')
if grep -qiE 'lib(stdc|gcc|winpthread)' <<<"$imports"; then fail "tesmar.exe needs DLLs of the compiler: $imports"; fi
pass "tesmar.exe imports only $imports"

# Under wine, in a prefix of its own inside the build folder.
export WINEPREFIX="$PWD/$build/wineprefix" WINEDEBUG=-all
check_tests wine "$build/tesmar_cross_tests.exe"
check_bench wine "$build/tesmar.exe"

# The UCI session: the engine runs as a GUI runs it, on two pipes; each command waits
# for its answer.
coproc ENGINE { wine "$build/tesmar.exe" 2>&1; }
lines=()
send() { printf '%s\n' "$1" >&"${ENGINE[1]}"; echo "> $1" >>"$log"; }
# Reads lines into `lines` up to one that starts with $1, within $2 seconds.
expect() {
  local deadline=$((SECONDS + ${2:-120})) line
  lines=()
  while [ $SECONDS -lt $deadline ] && IFS= read -r -t $((deadline - SECONDS)) line <&"${ENGINE[0]}"; do
    line=${line%$'\r'}
    echo "$line" >>"$log"
    lines+=("$line")
    [[ $line == "$1"* ]] && return 0
  done
  fail "no line starting '$1' within ${2:-120} s"
}
said() { printf '%s\n' "${lines[@]}" | grep -q -- "$1"; }
go() {
  send "go $1"
  expect bestmove "${2:-120}"
  said "${3:-^info}" || fail "go $1: no '${3:-info}' line"
  pass "go $1: ${lines[-1]}"
}

send uci
expect uciok 300
for option in Hash Threads Ponder OwnBook BookFile LargePages SyzygyPath MultiPV; do
  said "^option name $option " || fail "uci: no option $option"
done
pass "uci: every option"
send "setoption name Hash value 32"
send "setoption name Threads value 2"
send ucinewgame
send isready
expect readyok
send "position startpos moves e2e4 e7e5 g1f3"
go "depth 8" 120 "depth 8 "
go "nodes 20000"
go "movetime 500"
go "wtime 3000 btime 3000 winc 100 binc 100 movestogo 20"
go "depth 4 searchmoves a7a6 h7h6" 120 "^bestmove [ah]7[ah]6"
send "position fen 6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1"
go "mate 2" 120 "score mate 1"
send "go infinite"
sleep 2
send stop
expect bestmove
pass "go infinite, then stop: ${lines[-1]}"
send "setoption name Ponder value true"
send "position startpos"
send "go ponder wtime 5000 btime 5000"
sleep 1
send ponderhit
expect bestmove
pass "go ponder, then ponderhit: ${lines[-1]}"

# SyzygyPath as a Windows user writes it: drive letter, backslashes, ';' between folders.
# The published three- and four-man files are the engine's own (it carries them), so a
# folder with a five-man name beside them shows that files are found, opened and mapped:
# it holds no table, and the engine says so once and plays on.
tables=$(winepath -w "$(realpath ../shared/syzygy)" 2>/dev/null)
extra="$build/extra_tables"
mkdir -p "$extra"
echo "not a table, but long enough to be mapped" >"$extra/KQRvKP.rtbw"
send "setoption name SyzygyPath value $tables;$(winepath -w "$(realpath "$extra")" 2>/dev/null)"
send isready
expect readyok
said "Found 36 WDL and 35 DTZ" || fail "SyzygyPath: the five-man file was not found beside the 35 carried"
pass "SyzygyPath: $(printf '%s\n' "${lines[@]}" | grep Found)"
send "position fen 8/8/8/4k3/8/8/8/3QK3 w - - 0 1"
go "depth 6" 120 "score mate"
send "position fen 4k3/4p3/8/8/8/8/8/RQ2K3 w - - 0 1"
go "depth 6" 120 "not used: not a WDL table"
send "setoption name SyzygyPath value <empty>"

# The book: a book move comes with no info line and no search.
send "setoption name OwnBook value true"
send "setoption name BookFile value $(winepath -w "$(realpath ../shared/books/gnuchess-book.bin)" 2>/dev/null)"
send "position startpos"
send "go wtime 60000 btime 60000"
expect bestmove
! said "^info" || fail "book: the engine searched"
pass "book: ${lines[-1]}"
send "setoption name OwnBook value false"

# Large pages need the right to lock pages in memory, which no user of wine holds: the
# request is refused without a word and the engine plays with an ordinary block.
send "setoption name LargePages value true"
send ucinewgame
send isready
expect readyok
! said "Allocated large pages" || echo "note: large pages were granted" | tee -a "$log"
send "position startpos"
go "depth 6" 120 "depth 6 "
send quit
wait "$ENGINE_PID" || fail "quit: exit status $?"
pass "quit: the engine ended with status 0"
echo "all checks passed in $((SECONDS - started)) s"
