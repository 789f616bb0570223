#!/usr/bin/env bash
# The README's first program: its code block is, line for line, the marked
# part of examples/first_program.cpp (so the README shows code that compiles),
# and that program gives the answers it promises, on a new home and again on
# the home it left.
set -uo pipefail
program="$1"
readme="$2"
source_file="$3"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
  echo "FAIL: $*" >&2
  exit 1
}

# The first indented block after "A first program", without its indent.
# Blanks are squeezed on both sides: aligning comments differently is fine.
awk '/A first program/ { inside = 1; next }
     inside && /^    / { sub(/^    /, ""); print; seen = 1; next }
     inside && /^$/ { if (seen) print; next }
     inside && seen { exit }' "$readme" | sed '/^$/d' | tr -s ' ' >"$work/readme.txt"
[ -s "$work/readme.txt" ] || fail "no code block after \"A first program\" in $readme"
# The example's marked lines (and its includes), without their indent.
{
  grep '^#include <Kestrel' "$source_file"
  sed -n '/-- README: first program --/,/-- end --/p' "$source_file" | sed 's/^  //'
} | tr -s ' ' >"$work/example.txt"
while IFS= read -r line; do
  grep -qxF -- "$line" "$work/example.txt" || fail "README line not in the example: $line"
done <"$work/readme.txt"

timeout 60 "$program" "$work/home" >"$work/out" 2>"$work/err" ||
  fail "first run exited $?: $(cat "$work/out" "$work/err")"
[ "$(cat "$work/out")" = "followed 1, favourite 1, muted 1, team alerts 1" ] ||
  fail "first run: $(cat "$work/out")"
[ -f "$work/home/Documents/kestrel.db" ] || fail "no database in the home"
# A second start reads what the first stored; storing it again is harmless.
timeout 60 "$program" "$work/home" >"$work/out" 2>"$work/err" ||
  fail "second run exited $?: $(cat "$work/out" "$work/err")"
echo "examples first program: all passed"
