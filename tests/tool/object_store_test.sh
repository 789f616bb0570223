#!/usr/bin/env bash
# End-to-end: the tool and the object store. `kestrel inspect` loads the
# store as the application's start does (a store of the first model version
# is migrated); `kestrel check` and `kestrel purge --dry-run` only read it,
# and check tells a healthy, an older, a missing, a damaged, a foreign, an
# incompatible, an interrupted and a non-regular store apart without ever
# calling a sound one damaged; purge reports a store it cannot use and still
# purges the tables.
set -uo pipefail
kestrel="$1"
fixture="$2"
source "$(dirname "$0")/common.sh"
# store_status EXIT STATUS: check --json says STATUS for the store, with that
# exit status, and the database is still healthy.
store_status() {
  run "$1" check --json --home "$home"
  [ "$(field '$.objectStore.status')|$(field '$.status')" = "$2|healthy" ] ||
    fail "check: expected the store $2: $(cat "$work/out")"
}

T=1700000000
"$kestrel" inspect --home "$work/seed" >/dev/null 2>&1 || fail "inspect of a new home failed"
home="$work/home"
mkdir -p "$home/Documents"
cp "$work/seed/Documents/kestrel.db" "$home/Documents/"
store="$home/Library/Application Support/KestrelDatabaseModel.sqlite"

# 1. No store yet: fine, and check creates none.
store_status 0 no-store
[ ! -e "$home/Library" ] || fail "check created the store's folder"

# 2. A store of the first model version: (ID, vote, event start, posted).
"$fixture" "$home" first-layout-vote 501 1 $((T - 7776001)) 1 first-layout-vote 502 X $((T - 100)) 0 \
  first-layout-vote 503 2 0 1 || fail "no first-layout store"
version() { sqlite3 "$store" "SELECT value FROM _metadata WHERE key = 'version'"; }
[ "$(version)" = "KestrelDatabaseModel" ] || fail "the fixture wrote $(version)"
sum=$(sha256sum "$store")
store_status 0 needs-migration
[ "$(field '$.objectStore.modelVersion')|$(field '$.objectStore.healthy')" = "KestrelDatabaseModel|1" ] ||
  fail "check of the older store: $(cat "$work/out")"
run 0 purge --dry-run --json --now $T --home "$home"
cp "$work/out" "$work/dry.json"
[ "$(field '$.storeVotes.deletedVotes')" = '["501-fullTime"]' ] || fail "dry run of the older store: $(cat "$work/out")"
[ "$(sha256sum "$store")" = "$sum" ] && [ ! -e "$store-journal" ] || fail "check or the dry run changed the store"

# inspect migrates it, and reports the new version and the records.
run 0 inspect --json --home "$home"
[ "$(field '$.objectStore.modelVersion')|$(field '$.objectStore.migratedFrom')" = \
  "KestrelDatabaseModel 2|KestrelDatabaseModel" ] || fail "inspect: $(cat "$work/out")"
[ "$(field '$.objectStore.entities[0].name')|$(field '$.objectStore.entities[0].records')" = "MOVote|3" ] ||
  fail "inspect's records: $(cat "$work/out")"
[ "$(version)" = "KestrelDatabaseModel 2" ] || fail "not migrated: $(version)"
[ "$(sqlite3 "$store" "SELECT group_concat(eventId || type || vote || isAddSuccessful, ',') FROM MOVote")" = \
  "501fullTime11,502fullTimeX0,503fullTime21" ] || fail "migrated votes: $(sqlite3 "$store" "SELECT * FROM MOVote")"
run 0 inspect --home "$home"
grep -q "^model: *KestrelDatabaseModel 2$" "$work/out" && grep -q "^MOVote  *3$" "$work/out" ||
  fail "inspect text: $(cat "$work/out")"
store_status 0 healthy
# The real purge of the migrated store reports what the dry run said.
run 0 purge --json --now $T --home "$home"
cmp -s "$work/out" "$work/dry.json" || fail "purge after the dry run: $(diff "$work/dry.json" "$work/out")"
cp "$store" "$work/good.sqlite"

# 3. Damage inside the file (a page overwritten): damaged; inspect and purge
#    fail on it (exit 1), and purge still purges and reports the tables.
printf '\015\000\000\000\005\377\377' | dd of="$store" bs=1 seek=8192 conv=notrunc 2>/dev/null
store_status 1 damaged
[ "$(field '$.objectStore.healthy')" = 0 ] || fail "a damaged store called healthy"
run 1 check --home "$home"
grep -q "^  integrity: FAILED" "$work/out" && grep -q "^  status:    damaged" "$work/out" ||
  fail "check text: $(cat "$work/out")"
run 1 inspect --home "$home"
grep -q "KestrelDatabaseModel.sqlite: " "$work/err" || fail "inspect of a damaged store: $(cat "$work/err")"

# 4. Sound files the model cannot load are incompatible, never damaged.
cp "$work/good.sqlite" "$store"
sqlite3 "$store" "UPDATE _metadata SET value = 'KestrelDatabaseModel 9' WHERE key = 'version'"
store_status 1 incompatible
run 1 purge --json --now $T --home "$home"
[ "$(field '$.ok')|$(field '$.events.remaining')" = "0|0" ] || fail "purge with an incompatible store: $(cat "$work/out")"
case "$(field '$.storeError')" in
  *"unknown model version"*) ;;
  *) fail "purge's store error: $(cat "$work/out")" ;;
esac
rm "$store"
sqlite3 "$store" "CREATE TABLE notes (text)"
store_status 1 incompatible
head -c 8192 /dev/urandom >"$store"
store_status 1 not-a-database

# 5. Not a regular file: reported, never opened (no hang), left in place.
rm "$store"
mkfifo "$store"
store_status 1 unreadable
run 1 inspect --home "$home"
run 1 purge --home "$home"
grep -q "not a regular file" "$work/err" || fail "purge, FIFO store: $(cat "$work/err")"
run 1 purge --dry-run --home "$home"
[ -p "$store" ] || fail "the FIFO was replaced"
rm "$store"

# 6. A save killed in the middle leaves a hot journal: needs-recovery (3)
#    for check, the dry run fails and touches nothing, inspect recovers it.
cp "$work/good.sqlite" "$store"
sqlite3 "$store" "WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c WHERE x < 2000)
  INSERT INTO MOVote (_pk, eventTimestamp, eventId, isAddSuccessful, vote, type, isEditSuccessful)
  SELECT 1000 + x, $T, 1000 + x, 1, hex(randomblob(100)), 'fullTime', 1 FROM c;"
(printf 'PRAGMA cache_size = 2;\nBEGIN;\nUPDATE MOVote SET vote = hex(randomblob(100));\n.system kill -9 $PPID\n' |
  sqlite3 "$store") 2>/dev/null
[ -s "$store-journal" ] || fail "no journal left by the killed save"
sum=$(sha256sum "$store" "$store-journal")
store_status 3 needs-recovery
run 1 purge --dry-run --home "$home" --now $T
grep -q "needs recovery" "$work/err" || fail "dry run, interrupted store: $(cat "$work/err")"
[ "$(sha256sum "$store" "$store-journal")" = "$sum" ] || fail "check or the dry run touched the interrupted store"
run 0 inspect --home "$home"
[ ! -e "$store-journal" ] || fail "inspect left the hot journal"
store_status 0 healthy
[ "$(sqlite3 "$store" "SELECT count(*) FROM MOVote")" = 2002 ] || fail "records lost in the recovery"
echo "tool object store: all passed"
