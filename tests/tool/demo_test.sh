#!/usr/bin/env bash
# End-to-end: `kestrel demo` at a fixed --now. Its report names what the day
# created, what the screens show, and what the cleaning a week later removed
# and why; the home's files are then read directly, so the report is checked
# against what really happened. A home that holds data is refused and left
# as it was; the text form lines its tables up; the output depends only on
# --now.
set -uo pipefail
kestrel="$1"
source "$(dirname "$0")/common.sh"

T=1700000000
home="$work/home"
db="$home/Documents/kestrel.db"
store="$home/Library/Application Support/KestrelDatabaseModel.sqlite"
# list PATH: the array at PATH of $work/out, joined with ",".
list() { query "(SELECT group_concat(value) FROM json_each(j, '$1'))"; }
# rows PATH EXPR: EXPR over each element (an object) of the array at PATH.
rows() { query "(SELECT group_concat($2, ',') FROM json_each(j, '$1'))"; }
# ids SQL: the column v of the rows of the database or store, joined with ",".
ids() { sqlite3 "$1" "SELECT group_concat(v) FROM ($2)"; }

run 0 demo --json --now $T --home "$home"
cp "$work/out" "$work/first.json"

# 1. What the day created.
[ "$(list '$.created.teams')|$(list '$.created.leagues')|$(list '$.created.players')" = "10,11|17|500" ] ||
  fail "created follows: $(query "json_extract(j, '\$.created')")"
[ "$(list '$.created.events')" = "101,102,103,104,105,106,107,108,109" ] || fail "created events"
[ "$(list '$.created.stages')|$(list '$.created.pinned')|$(list '$.created.uniqueStages')" = \
  "201,202,203,204|17,23|40" ] || fail "created stages, pins, unique stages"
[ "$(list '$.created.votes')" = "103-fullTime,103-bothTeamsToScore,105-fullTime" ] || fail "created votes"
[ "$(list '$.created.chatUpvotes')|$(list '$.created.chatReports')|$(list '$.created.highlights')" = \
  "$((T - 1200))|$((T - 600))|9001" ] || fail "created chat and highlight"

# 2. The screens half an hour later: favourites by start, how each is
#    listed, the notification flags, the votes still to send, what is due.
[ "$(field '$.matchDay.now')" = $((T + 1800)) ] || fail "screens time"
favourites=$(rows '$.matchDay.favouriteEvents' \
  "json_extract(value, '\$.id') || ':' || json_extract(value, '\$.status') || ':' ||
   json_extract(value, '\$.favourite') || json_extract(value, '\$.muted')")
[ "$favourites" = "101:finished:10,102:finished:10,103:inprogress:10,104:notstarted:11,107:notstarted:10,105:notstarted:10,106:notstarted:00,109:notstarted:10,108:notstarted:00" ] ||
  fail "favourite events: $favourites"
[ "$(rows '$.matchDay.favouriteEvents' "ifnull(json_extract(value, '\$.owner'), '-')")" = \
  "team Kestrel Rovers,-,team Kestrel Rovers,team Harbour City,-,team Kestrel Rovers,team Harbour City,team Kestrel Rovers,league Coastal League" ] ||
  fail "event owners: $(rows '$.matchDay.favouriteEvents' "json_extract(value, '\$.owner')")"
[ "$(rows '$.matchDay.favouriteStages' "json_extract(value, '\$.id') || ':' || json_extract(value, '\$.muted')")" = \
  "204:1,201:0,202:0,203:0" ] || fail "favourite stages"
[ "$(rows '$.matchDay.followed' "json_extract(value, '\$.kind') || ' ' || json_extract(value, '\$.id') || ' ' ||
   ifnull(json_extract(value, '\$.notifications'), '-')")" = "team 10 1,team 11 0,league 17 1,player 500 1,unique stage 40 -" ] ||
  fail "followed: $(query "json_extract(j, '\$.matchDay.followed')")"
[ "$(rows '$.matchDay.votes' "json_extract(value, '\$.event') || json_extract(value, '\$.vote') || json_extract(value, '\$.resend')")" = \
  "10310,103no0,105X1" ] || fail "votes: $(query "json_extract(j, '\$.matchDay.votes')")"
[ "$(list '$.matchDay.dueForRefresh.events')|$(list '$.matchDay.dueForRefresh.stages')" = "103|201" ] ||
  fail "due for refresh"
[ "$(rows '$.matchDay.remembered.tvSuggestions' "json_extract(value, '\$.id') || '@' || json_extract(value, '\$.event')")" = "7@103" ] ||
  fail "TV answer"

# 3. A week later: what went, at which step, and how.
removed=$(rows '$.weekLater.removed' "json_extract(value, '\$.step') || ':' || json_extract(value, '\$.id') || ':' ||
   json_extract(value, '\$.action')")
expected="cleanDB:$((T - 1200)):deleted,cleanDB:7:deleted,cleanDB:9001:deleted"
expected+=",deleteFinishedEvents:102:deleted,deleteFinishedEvents:105:hidden,deleteFinishedEvents:106:hidden,deleteFinishedEvents:107:deleted"
expected+=",deleteOldEvents:101:deleted,deleteOldEvents:103:deleted,deleteOldEvents:104:deleted,deleteOldEvents:108:deleted"
expected+=",deleteFinishedStages:203:hidden,deleteOldStages:201:deleted,deleteOldStages:202:deleted,deleteOldStages:204:deleted"
[ "$removed" = "$expected" ] || fail "removed:
  got      $removed
  expected $expected"
why() { query "(SELECT json_extract(value, '\$.why') FROM json_each(j, '\$.weekLater.removed')
  WHERE json_extract(value, '\$.step') = '$1' AND json_extract(value, '\$.id') = $2)"; }
[ "$(why deleteFinishedEvents 106)" = "finished; hidden, kept for the followed team Harbour City" ] ||
  fail "why 106: $(why deleteFinishedEvents 106)"
[ "$(why deleteOldEvents 108)" = "starts more than 56 days ahead; kept only for the followed league Coastal League" ] ||
  fail "why 108: $(why deleteOldEvents 108)"
[ "$(why deleteFinishedEvents 102)" = "finished; no followed team or league owns it" ] || fail "why 102"
[ "$(rows '$.weekLater.refreshed' "json_extract(value, '\$.id') || ':' || json_extract(value, '\$.status')")" = \
  "101:finished,102:finished,103:finished,104:finished,105:finished,106:finished,107:finished,108:notstarted,109:notstarted,203:finished" ] ||
  fail "refreshed: $(query "json_extract(j, '\$.weekLater.refreshed')")"
# What the screens show afterwards: the follows stay, the chat report (kept
# ten days) stays, the vote on a match that has started is no longer resent.
[ "$(rows '$.weekLater.screens.favouriteEvents' "json_extract(value, '\$.id')")" = "109" ] || fail "favourites after"
[ "$(list '$.weekLater.screens.remembered.chatReports[0]')|$(query "json_array_length(j, '\$.weekLater.screens.remembered.highlights')")" = \
  "$((T - 600))|0" ] || fail "remembered after: $(query "json_extract(j, '\$.weekLater.screens.remembered')")"
[ "$(rows '$.weekLater.screens.votes' "json_extract(value, '\$.resend')")" = "0,0,0" ] || fail "votes after"
[ "$(query "json_array_length(j, '\$.weekLater.screens.followed')")" = 5 ] || fail "follows after"

# 4. The files agree with the report.
[ "$(ids "$db" "SELECT ID v FROM EventTable_ ORDER BY ID")" = "105,106,109" ] || fail "events stored"
[ "$(ids "$db" "SELECT ID v FROM EventTable_ WHERE IS_HIDDEN = 1 ORDER BY ID")" = "105,106" ] || fail "events hidden"
[ "$(ids "$db" "SELECT ID || ':' || IFNULL(IS_HIDDEN, 0) v FROM StageTable")" = "203:1" ] || fail "stages stored"
[ "$(ids "$db" "SELECT ID v FROM MyTeamTable ORDER BY ID")" = "10,11" ] || fail "teams stored"
[ "$(sqlite3 "$db" "SELECT COUNT(*) FROM ChatMessageTable") $(sqlite3 "$db" "SELECT COUNT(*) FROM ChatReportTable")" = "0 1" ] ||
  fail "chat rows"
[ "$(sqlite3 "$db" "SELECT COUNT(*) FROM TvChannelContributedTable")" = 0 ] || fail "TV rows"
[ "$(ids "$store" "SELECT eventId || '-' || type v FROM MOVote ORDER BY eventId, type")" = \
  "103-bothTeamsToScore,103-fullTime,105-fullTime" ] || fail "store votes"
[ "$(sqlite3 "$store" "SELECT COUNT(*) FROM MOHighlight")" = 0 ] || fail "store highlights"

# 5. A second run on that home is refused and changes nothing; so is a
#    folder in the database's place. An empty database file holds nothing.
sum() { sha256sum "$db" "$store"; }
sum >"$work/before.sum"
run 1 demo --json --now $T --home "$home"
grep -q "needs a fresh home" "$work/out" || fail "second run: $(cat "$work/out")"
run 1 demo --now $T --home "$home"
grep -q "already holds a database" "$work/err" || fail "second run, text: $(cat "$work/err")"
sum | cmp -s - "$work/before.sum" || fail "a refused run changed the home"
mkdir -p "$work/folder/Documents/kestrel.db"
run 1 demo --now $T --home "$work/folder"
grep -q "not a regular file" "$work/err" || fail "folder as database: $(cat "$work/err")"
mkdir -p "$work/empty/Documents" && : >"$work/empty/Documents/kestrel.db"
run 0 demo --json --now $T --home "$work/empty"
sed "s|$work/empty|$home|g" "$work/out" | cmp -s - "$work/first.json" ||
  fail "the same --now on another home gives another report"

# 6. The text form: each table's columns line up under their headings.
run 0 demo --now $T --home "$work/text"
aligned() {  # TITLE PATTERN HEADING: PATTERN starts where HEADING does, in every row
  awk -v title="$1" -v pattern="$2" -v heading="$3" '
    $0 == title { inside = 1; getline; at = index($0, heading); next }
    inside && /^$/ { exit }
    inside { rows++; if (!match($0, pattern) || RSTART != at) bad = 1 }
    END { exit (bad || !rows || !at) }' "$work/out"
}
aligned "Favourite events, by start" "(finished|inprogress|notstarted)" "status" || fail "events table"
aligned "Favourite events, by start" "(Sun|Mon|Tue|Wed|Thu|Fri|Sat) 20" "start (UTC)" || fail "start column"
aligned "Followed" "(on|off|-)$" "notifications" || fail "followed table"
aligned "The cleaning: what went, and why" "(deleted|hidden)" "what" || fail "cleaning table"
grep -q "^  105    Valley Wanderers - Kestrel Rovers  fullTime          X     yes$" "$work/out" ||
  fail "votes row: $(grep -A4 '^Votes' "$work/out")"
echo "tool demo: all passed"
