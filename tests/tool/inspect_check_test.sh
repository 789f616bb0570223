#!/usr/bin/env bash
# End-to-end: `kestrel inspect` creates and upgrades a database, `kestrel
# check` tells a healthy, an upgraded and a damaged file apart.
set -euo pipefail
kestrel="$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*" >&2; exit 1; }

# 1. A fresh home: twelve tables, three indexes, the CREATE texts as built.
"$kestrel" inspect --home "$work/fresh" >"$work/out.txt" 2>"$work/err.txt"
db="$work/fresh/Documents/kestrel.db"
[ -f "$db" ] || fail "inspect did not create $db"
tables=$(sqlite3 "$db" "SELECT count(*) FROM sqlite_master WHERE type='table' AND name NOT LIKE 'sqlite_%'")
[ "$tables" = 12 ] || fail "expected 12 tables, got $tables"
indexes=$(sqlite3 "$db" "SELECT count(*) FROM sqlite_master WHERE type='index' AND sql IS NOT NULL")
[ "$indexes" = 3 ] || fail "expected 3 indexes, got $indexes"
event_create=$(sqlite3 "$db" "SELECT sql FROM sqlite_master WHERE name='EventTable_'")
case "$event_create" in
  "CREATE TABLE EventTable_ ( ID INTEGER PRIMARY KEY, START_DATE INTEGER, VISIBLE INTEGER,"*) ;;
  *) fail "unexpected event table text: ${event_create:0:120}" ;;
esac
columns=$(sqlite3 "$db" "SELECT count(*) FROM pragma_table_info('EventTable_')")
[ "$columns" = 127 ] || fail "expected 127 event columns, got $columns"
grep -q "EventTable_" "$work/out.txt" || fail "inspect report lacks the event table"

# JSON form: one object with the twelve tables.
"$kestrel" inspect --json --home "$work/fresh" >"$work/out.json" 2>/dev/null
tables=$(sqlite3 :memory: "SELECT json_array_length(CAST(readfile('$work/out.json') AS TEXT), '\$.tables')")
[ "$tables" = 12 ] || fail "json report should list 12 tables, not $tables"
tr -d ' \n' <"$work/out.json" | grep -q '{"columns":127,"name":"EventTable_","rows":0}' ||
  fail "json report lacks the event table's figures"
grep -q '"database": ".*/Documents/kestrel.db"' "$work/out.json" || fail "json report lacks the path"

"$kestrel" check --home "$work/fresh" >"$work/check.txt" || fail "fresh database reported damaged"
grep -q "^healthy" "$work/check.txt" || fail "check did not say healthy"

# 2. An old-layout event table with a row gains every upgrade column.
mkdir -p "$work/old/Documents"
old="$work/old/Documents/kestrel.db"
upgraded="TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS TOURNAMENT_GROUND_TYPE TOURNAMENT_TENNIS_POINTS FINAL_ROUND
HOME_TEAM_SHORT_NAME AWAY_TEAM_SHORT_NAME HOME_TEAM_FLAG AWAY_TEAM_FLAG HOME_TEAM_NAME_CODE AWAY_TEAM_NAME_CODE
AM_FOOTBALL_YARDS_TO_FIRST_DOWN AM_FOOTBALL_CURRENT_DOWN AM_FOOTBALL_CURRENT_YARDLINE AM_FOOTBALL_IS_GOAL_POSSESSION
AM_FOOTBALL_CURRENT_POSSESSION AM_FOOTBALL_CURRENT_TEAM_HALF AWAY_PENALTIES AWAY_PERIOD1 AWAY_PERIOD2 AWAY_PERIOD3
AWAY_PERIOD4 AWAY_PERIOD5 AWAY_PERIOD6 AWAY_PERIOD7 HOME_PENALTIES HOME_PERIOD1 HOME_PERIOD2 HOME_PERIOD3 HOME_PERIOD4
HOME_PERIOD5 HOME_PERIOD6 HOME_PERIOD7 CROWDSOURCING_ENABLED CROWDSOURCING_DATA_DISPLAY_ENABLED STREAM_CONTENT_ID
STREAM_CONTENT_GEO_RESTRICTIONS BEST_OF_SETS HOME_TEAM_FIELD_TRANSLATIONS AWAY_TEAM_FIELD_TRANSLATIONS
HOME_SUBTEAM1_COL_FIELD_TRANSLATIONS HOME_SUBTEAM2_COL_FIELD_TRANSLATIONS AWAY_SUBTEAM1_COL_FIELD_TRANSLATIONS
AWAY_SUBTEAM2_COL_FIELD_TRANSLATIONS TOURNAMENT_FIELD_TRANSLATIONS TOURNAMENT_UNIQUE_FIELD_TRANSLATIONS
CATEGORY_FIELD_TRANSLATIONS VAR_IN_PROGRESS_HOME VAR_IN_PROGRESS_AWAY"
keep=$(sqlite3 "$db" "SELECT name || ' ' || type FROM pragma_table_info('EventTable_') ORDER BY cid" |
  while read -r name type; do
    case " $(echo $upgraded) " in *" $name "*) ;; *) echo "$name $type" ;; esac
  done | paste -sd, - | sed 's/^ID INTEGER/ID INTEGER PRIMARY KEY/')
sqlite3 "$old" "CREATE TABLE EventTable_ ($keep); INSERT INTO EventTable_ (ID, START_DATE, HOME_TEAM_NAME) VALUES (42, 1700000000, 'Old Town');"
"$kestrel" inspect --home "$work/old" >/dev/null 2>"$work/old-err.txt"
columns=$(sqlite3 "$old" "SELECT count(*) FROM pragma_table_info('EventTable_')")
[ "$columns" = 126 ] || fail "upgraded event table should have 126 columns, got $columns"
row=$(sqlite3 "$old" "SELECT ID || '|' || HOME_TEAM_NAME || '|' || typeof(VAR_IN_PROGRESS_HOME) FROM EventTable_")
[ "$row" = "42|Old Town|null" ] || fail "old row not kept: $row"
"$kestrel" check --home "$work/old" >"$work/check-old.txt" || fail "upgraded database reported damaged"
grep -q "known gap: AM_FOOTBALL_CURRENT_TEAM_HALF" "$work/check-old.txt" || fail "known gap not named"

# 3. A second start changes nothing and logs the already-applied upgrades.
before=$(sqlite3 "$old" "SELECT group_concat(sql, ';') FROM sqlite_master")
"$kestrel" inspect --home "$work/old" >/dev/null 2>"$work/again-err.txt"
after=$(sqlite3 "$old" "SELECT group_concat(sql, ';') FROM sqlite_master")
[ "$before" = "$after" ] || fail "second start changed the schema"
grep -q "duplicate column name" "$work/again-err.txt" || fail "second start did not log failed upgrades"

# 4. Damage: a missing table and a missing column make check fail.
sqlite3 "$db" "DROP TABLE VoteTable"
if "$kestrel" check --home "$work/fresh" >"$work/check-bad.txt"; then fail "missing table not reported"; fi
grep -q "VoteTable: MISSING TABLE" "$work/check-bad.txt" || fail "missing table not named"
"$kestrel" check --json --home "$work/fresh" >"$work/check-bad.json" && fail "json check should exit 1"
grep -q '"healthy": false' "$work/check-bad.json" || fail "json check should say unhealthy"
grep -q '"status": "damaged"' "$work/check-bad.json" || fail "json check should say damaged"

# 5. No database at all.
if "$kestrel" check --home "$work/none" >/dev/null; then fail "check of a missing file passed"; fi
echo "tool inspect/check: all passed"
