#!/usr/bin/env bash
# End-to-end: exit statuses (0 success, 1 no database / cannot open / failed
# operation, 2 usage error; 3, check's "try again", is in check_status_test),
# errors on standard error, and with --json one parseable object on standard
# output for every outcome.
set -uo pipefail
kestrel="$1"
source "$(dirname "$0")/common.sh"

# 1. Usage errors exit 2 with a message; help and version exit 0.
for now in nan inf -inf abc 12x ""; do
  run 2 purge --now "$now" --home "$work/h"
  grep -q -- "--now: must be a finite number" "$work/err" || fail "--now $now: $(cat "$work/err")"
done
run 2 refresh-due --home "$work/h" --now NaN
# --now must be a time the clock can hand out: whole seconds of it, with the
# retention windows added and subtracted, fit in 64 bits.
for now in 1e19 -1e19 1e300 9.1e18 -9223372036854775808; do
  run 2 purge --now "$now" --home "$work/h"
  grep -q -- "--now: must be a finite number of seconds since 1970 from -9000000000000000000 to 9000000000000000000" \
    "$work/err" || fail "--now $now: $(cat "$work/err")"
done
# The ends themselves pass (and the command goes on to find no database);
# the demo's day ends eight days after --now, so its top end is lower.
run 1 purge --now 9e18 --home "$work/h"
run 1 refresh-due --now -9000000000000000000 --home "$work/h"
run 2 demo --now 9e18 --home "$work/h"
grep -q -- "--now: must be a finite number of seconds since 1970 from -9000000000000000000 to 8999999999999308800" \
  "$work/err" || fail "demo --now 9e18: $(cat "$work/err")"
for wait in -1 nan inf x; do
  run 2 inspect --wait "$wait" --home "$work/h"
  grep -q -- "--wait: must be a finite number of seconds, 0 or more" "$work/err" ||
    fail "--wait $wait: $(cat "$work/err")"
done
run 2 frobnicate
run 2 check --home ""
grep -q -- "--home: must not be empty" "$work/err" || fail "empty --home: $(cat "$work/err")"
run 2 check --no-such-option
run 0 --help
grep -q "refresh-due" "$work/out" || fail "help lacks the commands"
run 0 --version
[ "$(cat "$work/out")" = "$("$kestrel" --version)" ] && [ "$(wc -l <"$work/out")" = 1 ] ||
  fail "--version printed more than the version: $(cat "$work/out")"
grep -qx "kestrel [0-9][0-9.]*" "$work/out" || fail "version line: $(cat "$work/out")"
run 0 --home "$work/h"
grep -qx "home: $work/h" "$work/out" || fail "bare kestrel should print the home: $(cat "$work/out")"
[ ! -e "$work/h" ] || fail "usage errors and the bare tool must not create the home"

# 2. purge and refresh-due on a home without a database: exit 1, create nothing.
for command in purge refresh-due; do
  run 1 "$command" --home "$work/empty" --now 1700000000
  [ ! -s "$work/out" ] || fail "$command: error on stdout: $(cat "$work/out")"
  grep -q "kestrel: .*/Documents/kestrel.db: no database file" "$work/err" ||
    fail "$command: $(cat "$work/err")"
  run 1 "$command" --json --home "$work/empty"
  [ "$(field '$.error')" = "no database file" ] || fail "$command --json: $(cat "$work/out")"
  [ "$(field '$.database')" = "$work/empty/Documents/kestrel.db" ] || fail "$command path"
done
run 1 purge --dry-run --json --home "$work/empty"
[ "$(field '$.error')" = "no database file" ] || fail "purge --dry-run: $(cat "$work/out")"
[ ! -e "$work/empty/Documents" ] || fail "a database was created"

# 3. check --json prints an object for every outcome.
run 1 check --json --home "$work/empty"
[ "$(field '$.error')|$(field '$.healthy')|$(field '$.status')" = "no database file|0|no-database" ] ||
  fail "check, no file: $(cat "$work/out")"
mkdir -p "$work/dir/Documents/kestrel.db"
run 1 check --json --home "$work/dir"
[ "$(field '$.status')|$(field '$.healthy')" = "unreadable|0" ] ||
  fail "check, directory: $(cat "$work/out")"
run 1 check --home "$work/dir"
[ ! -s "$work/out" ] || fail "check error on stdout: $(cat "$work/out")"
grep -q "kestrel: .*: unreadable: not a regular file" "$work/err" || fail "check error: $(cat "$work/err")"
for command in purge inspect refresh-due; do
  run 1 "$command" --json --home "$work/dir"
  [ "$(field '$.error')" = "not a regular file" ] || fail "$command, directory: $(cat "$work/out")"
done

# A home whose name is not valid UTF-8 still gives JSON (U+FFFD in its place).
bad=$(printf '%s/bad\377' "$work")
run 1 check --json --home "$bad"
expected="'$work/bad' || char(65533) || '/Documents/kestrel.db'"
[ "$(query "json_extract(j, '\$.database') = $expected")" = 1 ] ||
  fail "non-UTF-8 path: $(cat "$work/out")"
run 0 inspect --json --home "$bad"
[ "$(query "json_array_length(j, '\$.tables')")" = 12 ] || fail "inspect, non-UTF-8 path: $(cat "$work/out")"

# 4. A file that is not a database: the start path stops, and says why.
mkdir -p "$work/junk/Documents"
head -c 4096 /dev/urandom >"$work/junk/Documents/kestrel.db"
not_a_database="the start transaction could not begin: file is not a database"
run 1 refresh-due --json --home "$work/junk" --now 1700000000
[ "$(field '$.error')" = "$not_a_database" ] || fail "refresh-due, junk: $(cat "$work/out")"
run 1 refresh-due --home "$work/junk"
grep -q "kestrel: .*: $not_a_database" "$work/err" || fail "refresh-due text: $(cat "$work/err")"
run 1 purge --home "$work/junk"
run 1 check --json --home "$work/junk"
[ "$(field '$.healthy')|$(field '$.status')" = "0|not-a-database" ] || fail "check, junk: $(cat "$work/out")"
echo "tool exit statuses: all passed"
