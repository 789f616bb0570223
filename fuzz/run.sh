#!/usr/bin/env bash
# Runs fuzz targets of the fuzz build one after another, each for a fixed
# time in one process, on a copy of its committed corpus.
#   fuzz/run.sh BUILD_DIR SECONDS "EXTRA_LIBFUZZER_FLAGS" TARGET...
# Per target: the working corpus is BUILD_DIR/corpus/<target> (a fresh copy
# of fuzz/corpus/<target>; new inputs stay there), findings go to
# BUILD_DIR/findings/<target>/, libFuzzer's output to BUILD_DIR/logs/<target>.log.
# Prints one summary line per target; on a finding it stops with the
# crashing input's path and exit status 1.
set -uo pipefail

build=$1 seconds=$2 flags=$3
shift 3
source_dir=$(cd "$(dirname "$0")" && pwd)

for target in "$@"; do
  binary=$build/fuzz/fuzz_$target
  corpus=$build/corpus/$target
  findings=$build/findings/$target
  log=$build/logs/$target.log
  if [ ! -x "$binary" ]; then
    echo "fuzz: $binary is missing (build the fuzz preset first)" >&2
    exit 2
  fi
  rm -rf "$corpus" "$findings"
  mkdir -p "$corpus" "$findings" "$(dirname "$log")"
  cp "$source_dir/corpus/$target/"* "$corpus/"
  seeds=$(ls "$corpus" | wc -l)
  echo "fuzz: $target for ${seeds} seeds, ${seconds}s (log: $log)"
  # shellcheck disable=SC2086
  "$binary" "$corpus" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix="$findings/" -print_final_stats=1 $flags >"$log" 2>&1
  status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  coverage=$(grep -o 'cov: [0-9]*' "$log" | tail -1 | cut -d' ' -f2)
  found=$(ls "$findings" | wc -l)
  printf 'fuzz: %-20s runs %-10s coverage %-6s corpus %d -> %d files   findings %d\n' \
    "$target" "${runs:-?}" "${coverage:-?}" "$seeds" "$(ls "$corpus" | wc -l)" "$found"
  if [ "$status" -ne 0 ] || [ "$found" -ne 0 ]; then
    echo "fuzz: $target FOUND A PROBLEM (exit status $status)." >&2
    grep -m1 -E 'FUZZ FINDING|ERROR: (AddressSanitizer|libFuzzer|LeakSanitizer)|runtime error' "$log" >&2
    for input in "$findings"/*; do
      [ -e "$input" ] && echo "fuzz: crashing input: $input (replay: $binary $input)" >&2
    done
    echo "fuzz: full output: $log" >&2
    exit 1
  fi
done
