#!/bin/sh
# The makefile's twin of cmake/syzygy.cmake: writes to OUT the C++ source that embeds the
# three- and four-man Syzygy files of FOLDER, from the same template and the same list of
# signatures, so that both builds carry the same bytes in the same order. Needs only a
# POSIX shell, sed, awk and sort.
#   sh scripts/embed_syzygy.sh FOLDER OUT
set -eu
root=$(dirname "$0")/..
folder=$1
out=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The signatures as cmake/syzygy.cmake lists them, each with its WDL and DTZ file, in the
# byte order in which the engine searches the records.
names=$(sed -n '/^set(TESMAR_SYZYGY_SIGNATURES/,/)/p' "$root/cmake/syzygy.cmake" |
  sed -e 's/set(TESMAR_SYZYGY_SIGNATURES//' -e 's/)//' | tr -s ' \t' '\n\n' | grep . |
  sed -e 's/$/.rtbw/' -e p -e 's/rtbw$/rtbz/' | LC_ALL=C sort)

: >"$work/assembly"
: >"$work/declarations"
: >"$work/records"
index=0
found=0
for name in $names; do
  path="$folder/$name"
  if [ -f "$path" ]; then
    size=$(wc -c <"$path" | tr -d ' ')
    symbol="tesmar_syzygy_file_$index"
    printf '    ".balign 64\\n"\n    ".globl %s\\n"\n    "%s:\\n"\n    ".incbin \\"%s\\"\\n"\n' \
      "$symbol" "$symbol" "$path" >>"$work/assembly"
    printf 'extern "C" const uint8_t %s[] __asm__("%s");\n' "$symbol" "$symbol" >>"$work/declarations"
    printf '    {"%s", %su, %s},\n' "$name" "$size" "$symbol" >>"$work/records"
    found=$((found + 1))
  else
    printf '    {"%s", 0u, nullptr},\n' "$name" >>"$work/records"
  fi
  index=$((index + 1))
done
echo "embed_syzygy.sh: $found of the 70 three- and four-man Syzygy files found in $folder"

# Each @NAME@ of the template becomes the text gathered above, taken literally.
awk -v folder="$folder" -v dir="$work" '
  function slurp(file,   line, text) {
    text = ""
    while ((getline line < file) > 0) text = text line "\n"
    close(file)
    return text
  }
  function put(line, key, text,   at) {
    at = index(line, key)
    return at ? substr(line, 1, at - 1) text substr(line, at + length(key)) : line
  }
  BEGIN {
    assembly = slurp(dir "/assembly")
    declarations = slurp(dir "/declarations")
    records = slurp(dir "/records")
  }
  {
    line = put($0, "@SYZYGY_FOLDER@", folder)
    line = put(line, "@SYZYGY_ASSEMBLY@", assembly)
    line = put(line, "@SYZYGY_DECLARATIONS@", declarations)
    line = put(line, "@SYZYGY_RECORDS@", records)
    print line
  }' "$root/cmake/embedded_syzygy.cpp.in" >"$work/source.cpp"
mv "$work/source.cpp" "$out"
