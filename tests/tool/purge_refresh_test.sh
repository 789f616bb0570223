#!/usr/bin/env bash
# End-to-end: `kestrel refresh-due` and `kestrel purge` on a seeded database
# with the clock fixed by --now; every expected ID is worked out by hand from
# the retention and refresh rules.
set -euo pipefail
kestrel="$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

T=1700000000
"$kestrel" inspect --home "$work" >/dev/null 2>&1
db="$work/Documents/kestrel.db"
sqlite3 "$db" <<SQL
INSERT INTO MyTeamTable (ID, TEAM_NAME) VALUES (50, 'Followed');
-- ID, STATUS_TYPE, START_DATE, LAST_UPDATE, IS_MUTED, HOME_TEAM_ID, AWAY_TEAM_ID
INSERT INTO EventTable_ (ID, STATUS_TYPE, START_DATE, LAST_UPDATE, IS_MUTED, HOME_TEAM_ID, AWAY_TEAM_ID) VALUES
 (1, 1, $T - 1000,    $T,         0,    10, 11),  -- finished favourite, nobody follows: deleted
 (2, 1, $T - 1000,    $T,         0,    50, 11),  -- finished, followed home team: hidden
 (3, 3, $T + 100000,  $T - 50000, 0,    10, 11),  -- starts in a day or two, data 50000 s old: due
 (4, 2, $T - 600,     $T - 10,    0,    10, 11),  -- live, data 10 s old: not due
 (5, 2, $T - 600,     $T - 20,    1,    10, 11),  -- live, data 20 s old: due
 (6, 3, $T - 604801,  $T,         0,    10, 11),  -- started over a week ago: deleted
 (7, 3, NULL,         $T - 99999, 0,    10, 11),  -- no start: deleted, never due
 (8, 3, $T + 4838401, $T,         NULL, 10, 50),  -- owned by a followed team, far ahead: deleted
 (9, 3, $T + 4838401, $T,         0,    10, 11),  -- favourite far ahead: kept
 (10, 4, $T + 5000,   $T,         0,    10, 11),  -- postponed, start still ahead: not finished
 (6000000000, 3, $T + 100000, $T - 50000, 0, 10, 11);  -- as 3, with an ID beyond 32 bits: due
SQL

due=$("$kestrel" refresh-due --json --now $T --home "$work" 2>/dev/null)
[ "$due" = '{"events":[3,5,6000000000]}' ] || fail "refresh-due before purge: $due"
"$kestrel" refresh-due --now $T --home "$work" >"$work/due.txt" 2>/dev/null || fail "refresh-due failed"
grep -qx "  3 5 6000000000" "$work/due.txt" || fail "refresh-due text: $(cat "$work/due.txt")"

"$kestrel" purge --json --now $T --home "$work" >"$work/purge.json" 2>/dev/null || fail "purge failed"
tr -d ' \n' <"$work/purge.json" >"$work/purge.min"
grep -q '"deleted":4,"deletedIDs":\[1,6,7,8\]' "$work/purge.min" || fail "deleted: $(cat "$work/purge.min")"
grep -q '"hidden":1,"hiddenIDs":\[2\]' "$work/purge.min" || fail "hidden: $(cat "$work/purge.min")"
left=$(sqlite3 "$db" "SELECT group_concat(ID) FROM (SELECT ID FROM EventTable_ ORDER BY ID)")
[ "$left" = "2,3,4,5,9,10,6000000000" ] || fail "rows left: $left"
[ "$(sqlite3 "$db" "SELECT IS_HIDDEN FROM EventTable_ WHERE ID = 2")" = 1 ] || fail "row 2 not hidden"

# Once the postponed event's start has passed it is finished and goes.
"$kestrel" purge --now $((T + 5001)) --home "$work" >"$work/purge2.txt" 2>/dev/null
grep -q "deleted 1, hid 0" "$work/purge2.txt" || fail "second purge: $(cat "$work/purge2.txt")"
[ -z "$(sqlite3 "$db" "SELECT ID FROM EventTable_ WHERE ID = 10")" ] || fail "postponed event kept"

# Purging again at the same time changes nothing.
"$kestrel" purge --now $((T + 5001)) --home "$work" >"$work/purge3.txt" 2>/dev/null
grep -q "deleted 0, hid 0" "$work/purge3.txt" || fail "third purge: $(cat "$work/purge3.txt")"
echo "tool purge/refresh-due: all passed"
