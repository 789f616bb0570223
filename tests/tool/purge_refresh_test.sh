#!/usr/bin/env bash
# End-to-end: `kestrel refresh-due` and `kestrel purge` on a home with rows in
# every purged table and records in the object store, the clock fixed by
# --now; every expected ID and count is worked out by hand from the retention
# and refresh rules. A dry run reports what the real purge then reports and
# leaves both files as they were, byte for byte.
set -uo pipefail
kestrel="$1"
fixture="$2"
source "$(dirname "$0")/common.sh"
# ids DATABASE SQL: the column v of the rows, joined with ",".
ids() { sqlite3 "$1" "SELECT group_concat(v) FROM ($2)"; }

T=1700000000
DAY=86400
home="$work/home"
run 0 inspect --home "$home"
db="$home/Documents/kestrel.db"
store="$home/Library/Application Support/KestrelDatabaseModel.sqlite"
[ -f "$store" ] || fail "inspect did not create the object store"
sqlite3 -bail "$db" <<SQL || fail "cannot seed the database"
INSERT INTO MyTeamTable (ID, TEAM_NAME) VALUES (50, 'Followed');
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
INSERT INTO StageTable (ID, STATUS_TYPE, START_TIMESTAMP, LAST_UPDATE, IS_HIDDEN) VALUES
 (101, 1, $T - 1000,    $T,        NULL),  -- finished: hidden, kept
 (102, 1, $T - 604801,  $T,        NULL),  -- finished, over a week old: hidden, then deleted
 (103, 3, $T - 604800,  $T - 3601, NULL),  -- exactly a week old: kept; data over an hour old: due
 (104, 3, $T + 4838401, $T,        NULL),  -- over 56 days ahead: deleted (favourites too)
 (105, 3, $T + 4838400, $T,        NULL),  -- exactly 56 days ahead: kept
 (106, 4, $T + 5000,    $T - 100,  NULL),  -- postponed, start ahead: not finished
 (107, 5, $T - 1,       $T,        NULL),  -- status 5 whose start has passed: hidden
 (108, 2, $T - 600,     $T - 15,   NULL),  -- live, data 15 s old: due
 (109, 2, $T - 600,     $T - 14,   NULL),  -- live, data exactly 14 s old: not due
 (110, 3, $T + 900,     $T - 100,  NULL),  -- exactly 900 s before its start: no window, not due
 (111, 3, $T + 899,     $T - 15,   NULL),  -- 899 s before its start, data 15 s old: due
 (112, 9, $T - 100,     $T - 181,  NULL),  -- status 9, data 181 s old: due
 (113, 1, NULL,         $T - 9999, NULL),  -- finished without a start: hidden, never deleted or due
 (114, 1, $T - 1000,    $T,        1),     -- hidden before: not reported again
 (115, 3, $T - 604801,  $T - 5000, NULL),  -- over a week old: deleted, and not due before
 (6000000001, 2, $T - 600, $T - 20, NULL); -- live, data 20 s old, ID beyond 32 bits: due
INSERT INTO VoteTable (ID, VOTE, EVENT_TIMESTAMP, POST_FLAG) VALUES
 (201, 1, $T - 7776001, 1),       -- event started more than 90 days ago: deleted
 (202, 2, $T - 7776000, 0),       -- exactly 90 days: kept
 (203, 1, NULL, 0),               -- no start: kept
 (204, 1, $T - 91 * $DAY, 0),     -- 91 days: deleted
 (205, 1, $T - 89 * $DAY, 1);     -- 89 days: kept
INSERT INTO ChatMessageTable (TIMESTAMP, EVENT_ID, UPVOTED, LAST_SEEN) VALUES
 (1, 1, 1, $T - 604800),    -- exactly seven days: kept
 (2, 1, 1, $T - 604801),    -- deleted
 (3, 1, 1, $T - 604800.5),  -- half a second past seven days: deleted
 (4, 1, 1, $T),
 (5, 1, 1, NULL);
INSERT INTO ChatReportTable (ID, TIMESTAMP, EVENT_ID, CHOICE) VALUES
 (11, $T - 9 * $DAY, 1, 1),   -- 9 days: kept
 (12, $T - 11 * $DAY, 1, 1),  -- 11 days: deleted
 (13, $T - 864000, 1, 1),     -- exactly ten days: kept
 (14, $T - 864001, 1, 1);     -- deleted
INSERT INTO TvChannelContributedTable (CHANNEL_ID, EVENT_ID, EVENT_TIMESTAMP, APPROVE) VALUES
 (1, 1, $T - 604800, 1),  -- exactly seven days after the start: kept
 (2, 1, $T - 604801, 0),  -- deleted
 (3, 1, NULL, 1),         -- no start: kept
 (4, 1, $T + 100, 1);
SQL
# Store votes: (event, start, type, value); highlights: (ID, when watched).
"$fixture" "$home" \
  vote 301 $((T - 7776001)) fullTime 1 vote 301 $((T - 7776001)) bothTeamsToScore yes \
  vote 302 $((T - 7776000)) fullTime X vote 303 0 fullTime 2 vote 304 $((T + 1000)) fullTime 1 \
  highlight 401 $((T - 604801)) highlight 402 $((T - 604800)) highlight 403 $T highlight 404 0 ||
  fail "cannot seed the object store"

# 1. refresh-due lists the events and the stages due, ascending, in 64 bits.
run 0 refresh-due --json --now $T --home "$home"
[ "$(cat "$work/out")" = '{"events":[3,5,6000000000],"stages":[103,108,111,112,6000000001]}' ] ||
  fail "refresh-due before purge: $(cat "$work/out")"
run 0 refresh-due --now $T --home "$home"
[ "$(cat "$work/out")" = "events due for a refresh: 3
  3 5 6000000000
stages due for a refresh: 5
  103 108 111 112 6000000001" ] || fail "refresh-due text: $(cat "$work/out")"

# 2. A dry run changes nothing and creates nothing (not even the purge lock)...
state() { (cd "$home" && find . -print0 | sort -z | xargs -0 ls -ld --time-style=+ | awk '{print $1, $5, $NF}' &&
  sha256sum Documents/kestrel.db "Library/Application Support/KestrelDatabaseModel.sqlite"); }
state >"$work/before.state"
run 0 purge --dry-run --json --now $T --home "$home"
mv "$work/out" "$work/dry.json"
run 0 purge --dry-run --now $T --home "$home"
mv "$work/out" "$work/dry.txt"
grep -q "dry run: nothing was changed" "$work/err" || fail "dry run not said: $(cat "$work/err")"
state >"$work/after.state"
diff "$work/before.state" "$work/after.state" >&2 || fail "the dry run changed the home"

# ...and reports exactly what the real purge then does.
run 0 purge --json --now $T --home "$home"
cmp -s "$work/dry.json" "$work/out" || fail "dry run and purge differ: $(diff "$work/dry.json" "$work/out")"
[ -f "$db.purge-lock" ] || fail "the purge made no lock file"

# 3. The report, table by table.
report=$(query "json_extract(j, '\$.ok') || ' events ' || json_extract(j, '\$.events') ||
    ' stages ' || json_extract(j, '\$.stages') || ' votes ' || json_extract(j, '\$.votes') ||
    ' chatUpvotes ' || json_extract(j, '\$.chatUpvotes') ||
    ' chatReports ' || json_extract(j, '\$.chatReports') ||
    ' tv ' || json_extract(j, '\$.tvChannelContributions') ||
    ' storeVotes ' || json_extract(j, '\$.storeVotes') || ' highlights ' || json_extract(j, '\$.highlights')")
expected='1 events {"deleted":4,"deletedIDs":[1,6,7,8],"hidden":1,"hiddenIDs":[2],"remaining":7}'
expected+=' stages {"deleted":3,"deletedIDs":[102,104,115],"hidden":3,"hiddenIDs":[101,107,113],"remaining":13}'
expected+=' votes {"deleted":2,"remaining":3} chatUpvotes {"deleted":2,"remaining":3}'
expected+=' chatReports {"deleted":2,"remaining":2} tv {"deleted":1,"remaining":3}'
expected+=' storeVotes {"deleted":2,"deletedVotes":["301-bothTeamsToScore","301-fullTime"]}'
expected+=' highlights {"deleted":1,"deletedIDs":[401]}'
[ "$report" = "$expected" ] || fail "purge report:
  got      $report
  expected $expected"
[ "$(cat "$work/dry.txt")" = "events: deleted 4, hid 1, 7 remain
  deleted: 1 6 7 8
  hidden:  2
stages: deleted 3, hid 3, 13 remain
  deleted: 102 104 115
  hidden:  101 107 113
votes: deleted 2, 3 remain
chatUpvotes: deleted 2, 3 remain
chatReports: deleted 2, 2 remain
tvChannelContributions: deleted 1, 3 remain
storeVotes: deleted 2
  deleted: 301-bothTeamsToScore 301-fullTime
highlights: deleted 1
  deleted: 401" ] || fail "dry-run text: $(cat "$work/dry.txt")"

# 4. What the tables and the store hold afterwards.
[ "$(ids "$db" "SELECT ID v FROM EventTable_ ORDER BY ID")" = "2,3,4,5,9,10,6000000000" ] || fail "events left"
[ "$(ids "$db" "SELECT ID v FROM EventTable_ WHERE IS_HIDDEN = 1")" = "2" ] || fail "events hidden"
[ "$(ids "$db" "SELECT ID v FROM StageTable ORDER BY ID")" = "101,103,105,106,107,108,109,110,111,112,113,114,6000000001" ] ||
  fail "stages left: $(ids "$db" "SELECT ID v FROM StageTable ORDER BY ID")"
[ "$(ids "$db" "SELECT ID v FROM StageTable WHERE IS_HIDDEN = 1 ORDER BY ID")" = "101,107,113,114" ] || fail "stages hidden"
[ "$(ids "$db" "SELECT ID v FROM VoteTable ORDER BY ID")" = "202,203,205" ] || fail "votes left"
[ "$(ids "$db" "SELECT TIMESTAMP v FROM ChatMessageTable ORDER BY TIMESTAMP")" = "1,4,5" ] || fail "upvotes left"
[ "$(ids "$db" "SELECT ID v FROM ChatReportTable ORDER BY ID")" = "11,13" ] || fail "reports left"
[ "$(ids "$db" "SELECT CHANNEL_ID v FROM TvChannelContributedTable ORDER BY CHANNEL_ID")" = "1,3,4" ] ||
  fail "contributions left"
[ "$(ids "$store" "SELECT eventId || '-' || type v FROM MOVote ORDER BY eventId")" = "302-fullTime,303-fullTime,304-fullTime" ] ||
  fail "store votes left"
[ "$(ids "$store" "SELECT id v FROM MOHighlight ORDER BY id")" = "402,403,404" ] || fail "highlights left"
[ "$(sqlite3 "$store" "PRAGMA integrity_check")" = ok ] || fail "store integrity after the purge"

# 5. Purging again at the same time finds nothing; once the postponed event's
#    and stage's start has passed they are finished: the event goes, the
#    stage is hidden.
run 0 purge --now $T --home "$home"
grep -q "events: deleted 0, hid 0, 7 remain" "$work/out" &&
  grep -q "stages: deleted 0, hid 0, 13 remain" "$work/out" &&
  grep -q "storeVotes: deleted 0" "$work/out" || fail "second purge: $(cat "$work/out")"
run 0 purge --json --now $((T + 5001)) --home "$home"
[ "$(field '$.events.deletedIDs')|$(field '$.stages.hiddenIDs')" = "[10]|[106]" ] ||
  fail "later purge: $(cat "$work/out")"
echo "tool purge/refresh-due: all passed"
