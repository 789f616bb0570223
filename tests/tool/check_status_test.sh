#!/usr/bin/env bash
# End-to-end: `kestrel check` tells a healthy, a damaged, a locked, an
# interrupted, a foreign and an unreadable file apart (exit 0, 1 or 3), never
# calls a file it could not read damaged, and never opens anything but a
# regular file; the start path (inspect, purge) stops at once on a file it
# cannot use and leaves it untouched; concurrent purges each report only
# their own rows.
set -uo pipefail
kestrel="$1"
source "$(dirname "$0")/common.sh"
holder=""
at_exit() { [ -n "$holder" ] && kill "$holder" 2>/dev/null; }
# check_status HOME EXIT STATUS: check --json says STATUS with that exit
# status, and lists tables only for a file it could read.
check_status() {
  run "$2" check --json --wait 0.2 --home "$1"
  [ "$(field '$.status')" = "$3" ] || fail "check $1: expected $3: $(cat "$work/out")"
  case "$3" in
    healthy | damaged) ;;
    *) [ -z "$(field '$.tables')" ] || fail "tables reported for an unread file: $(cat "$work/out")" ;;
  esac
}

"$kestrel" inspect --home "$work/home" >/dev/null 2>&1 || fail "inspect of a new home failed"
db="$work/home/Documents/kestrel.db"
sqlite3 "$db" "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < 2000)
  INSERT INTO MyTeamTable (ID, TEAM_NAME) SELECT x, hex(randomblob(100)) FROM c;"
check_status "$work/home" 0 healthy

# 1. Locked by another process: busy (3) for check; inspect and purge give
#    up after --wait with the reason (1). The holder signals through a FIFO
#    once it has the lock and keeps it until told to let go.
mkfifo "$work/locked" "$work/release"
printf 'echo locked >"%s"\nread line <"%s"\n' "$work/locked" "$work/release" >"$work/hold.sh"
printf 'BEGIN EXCLUSIVE;\n.system sh %s\nCOMMIT;\n' "$work/hold.sh" | sqlite3 "$db" &
holder=$!
read -r _ <"$work/locked"
check_status "$work/home" 3 busy
run 3 check --wait 0 --home "$work/home"
grep -q "busy: another process holds the database lock; try again" "$work/err" ||
  fail "busy text: $(cat "$work/err")"
grep -q "MISSING\|DAMAGED" "$work/out" "$work/err" && fail "a locked file was called damaged"
run 1 inspect --json --wait 0.2 --home "$work/home"
[ "$(field '$.error')" = "the start transaction could not begin: database is locked" ] ||
  fail "inspect, locked: $(cat "$work/out")"
run 1 purge --wait 0.2 --home "$work/home" --now 1700000000
grep -q "database is locked" "$work/err" || fail "purge, locked: $(cat "$work/err")"
run 1 purge --dry-run --wait 0.2 --home "$work/home" --now 1700000000
grep -q "database is locked" "$work/err" || fail "dry run, locked: $(cat "$work/err")"
echo go >"$work/release"
wait "$holder" || fail "the lock holder failed"
holder=""
check_status "$work/home" 0 healthy

# 2. A writer killed in the middle of a transaction leaves a hot journal that
#    a read-only open cannot roll back: needs-recovery (3), and check leaves
#    it alone; inspect's read-write start rolls it back, and all is healthy.
(printf 'PRAGMA cache_size = 2;\nBEGIN;\nUPDATE MyTeamTable SET TEAM_NAME = hex(randomblob(100));\n.system kill -9 $PPID\n' |
  sqlite3 "$db") 2>/dev/null
[ -s "$db-journal" ] || fail "no journal left by the killed writer"
cp "$db" "$work/interrupted.db"
check_status "$work/home" 3 needs-recovery
run 3 check --home "$work/home"
grep -q "needs recovery" "$work/err" || fail "needs-recovery text: $(cat "$work/err")"
cmp -s "$db" "$work/interrupted.db" && [ -s "$db-journal" ] || fail "check touched the interrupted file"
run 0 inspect --home "$work/home"
[ ! -e "$db-journal" ] || fail "inspect left the hot journal"
check_status "$work/home" 0 healthy
[ "$(sqlite3 "$db" "SELECT count(*) FROM MyTeamTable")" = 2000 ] || fail "rows lost in the recovery"

# 3. Damage in a readable file: damaged (1), with the missing table named.
sqlite3 "$db" "DROP TABLE VoteTable"
check_status "$work/home" 1 damaged
run 1 check --home "$work/home"
grep -q "VoteTable: MISSING TABLE" "$work/out" && grep -qx "DAMAGED" "$work/out" ||
  fail "damage not reported: $(cat "$work/out")"

# 4. Random bytes: not-a-database (1); the start path stops at once and
#    leaves every byte as it was.
mkdir -p "$work/junk/Documents"
head -c 8192 /dev/urandom >"$work/junk/Documents/kestrel.db"
cp "$work/junk/Documents/kestrel.db" "$work/junk.orig"
check_status "$work/junk" 1 not-a-database
run 1 inspect --json --home "$work/junk"
[ "$(field '$.error')" = "the start transaction could not begin: file is not a database" ] ||
  fail "inspect, junk: $(cat "$work/out")"
run 1 purge --dry-run --home "$work/junk"
grep -q "file is not a database" "$work/err" || fail "dry run, junk: $(cat "$work/err")"
cmp -s "$work/junk/Documents/kestrel.db" "$work/junk.orig" || fail "inspect changed the foreign file"
[ "$(ls "$work/junk/Documents")" = kestrel.db ] || fail "inspect left files beside the foreign file"

# 5. Not a regular file: a FIFO is never opened (no hang), for any command.
mkdir -p "$work/fifo/Documents"
mkfifo "$work/fifo/Documents/kestrel.db"
check_status "$work/fifo" 1 unreadable
for command in inspect purge refresh-due; do
  run 1 "$command" --home "$work/fifo"
  grep -q "not a regular file" "$work/err" || fail "$command on a FIFO: $(cat "$work/err")"
done
run 1 purge --dry-run --json --home "$work/fifo"
[ "$(field '$.error')" = "not a regular file" ] || fail "dry run on a FIFO: $(cat "$work/out")"
[ -p "$work/fifo/Documents/kestrel.db" ] || fail "the FIFO was replaced"

# 6. No permission to read (only meaningful when not running as root).
if [ "$(id -u)" != 0 ]; then
  mkdir -p "$work/closed/Documents"
  cp "$db" "$work/closed/Documents/kestrel.db"
  chmod 000 "$work/closed/Documents/kestrel.db"
  check_status "$work/closed" 1 unreadable
fi

# 7. Purges at once: each reports only the rows its own run deleted or hid,
#    and together they report every row once.
T=1700000000
"$kestrel" inspect --home "$work/purge" >/dev/null 2>&1
pdb="$work/purge/Documents/kestrel.db"
sqlite3 "$pdb" "INSERT INTO MyTeamTable (ID) VALUES (50);
  WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < 3000)
  INSERT INTO EventTable_ (ID, STATUS_TYPE, START_DATE, IS_MUTED, HOME_TEAM_ID)
  SELECT x, 1, $T - 1000, 0, CASE WHEN x % 3 = 0 THEN 50 ELSE 10 END FROM c;"
purges=()
for n in 1 2 3 4; do
  "$kestrel" purge --json --now $T --home "$work/purge" >"$work/purge$n.json" 2>/dev/null &
  purges+=($!)
done
for pid in "${purges[@]}"; do wait "$pid" || fail "a purge failed"; done
# "count/distinct count/multiples of 3" of the IDs that the four reports list.
reports=""
for n in 1 2 3 4; do reports+="${reports:+, }(CAST(readfile('$work/purge$n.json') AS TEXT))"; done
report() {
  sqlite3 :memory: "WITH r(j) AS (VALUES $reports),
    ids(v) AS (SELECT value FROM r, json_each(r.j, '\$.events.$1'))
    SELECT count(*) || '/' || count(DISTINCT v) || '/' || total(v % 3 = 0) FROM ids"
}
[ "$(report deletedIDs)" = "2000/2000/0.0" ] || fail "deleted IDs: $(cat "$work"/purge?.json)"
[ "$(report hiddenIDs)" = "1000/1000/1000.0" ] || fail "hidden IDs: $(cat "$work"/purge?.json)"
[ "$(sqlite3 "$pdb" "SELECT count(*) FROM EventTable_ WHERE IS_HIDDEN = 1")" = 1000 ] ||
  fail "rows left after the purges"
[ -f "$pdb.purge-lock" ] || fail "no purge lock beside the database"
echo "tool check statuses: all passed"
