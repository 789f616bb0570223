# What the tool's end-to-end scripts share; each sources it after setting
# `kestrel` (the tool under test). It makes the scratch folder $work, removed
# on exit (after the script's own at_exit function, if it defines one), and
# the helpers below.
work=$(mktemp -d)
trap 'if declare -F at_exit >/dev/null; then at_exit; fi; rm -rf "$work"' EXIT

fail() {
  echo "FAIL: $*" >&2
  exit 1
}

# run EXPECTED_STATUS ARGS...: runs the tool (never for ever), output in
# $work/out and $work/err.
run() {
  local expected=$1
  shift
  timeout 60 "$kestrel" "$@" >"$work/out" 2>"$work/err"
  local status=$?
  [ "$status" = "$expected" ] || fail "kestrel $* exited $status, expected $expected: $(cat "$work/err")"
}

# query EXPR: an SQL expression on the JSON text j of $work/out; fails on
# malformed JSON.
query() {
  sqlite3 :memory: "WITH o(j) AS (SELECT CAST(readfile('$work/out') AS TEXT)) SELECT $1 FROM o" ||
    fail "not JSON: $(cat "$work/out")"
}

# field PATH: one member of that JSON object.
field() { query "json_extract(j, '$1')"; }
