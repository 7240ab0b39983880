#!/bin/sh
# The demo sends its network log to libbase-logcat, which prints every line.
# usage: check_logcat.sh LOGCAT DEMO  (LIBBASE_TARGET_RUN: an emulator to run them under)
set -eu
logcat=$1 demo=$2
tmp=$(mktemp -d)
trap 'kill "$pid" 2>/dev/null || true; rm -rf "$tmp"' EXIT
run=${LIBBASE_TARGET_RUN:-}
$run "$logcat" --port 0 --timeout 3 > "$tmp/lines" 2> "$tmp/err" &
pid=$!
for _ in $(seq 50); do grep -q listening "$tmp/err" && break; sleep 0.1; done
port=$(sed -n 's/.*listening on 127.0.0.1:\([0-9]*\).*/\1/p' "$tmp/err")
[ -n "$port" ]
$run "$demo" --count 5 --log-dir "$tmp/logs" --log-to "$port" > "$tmp/demo.out"
wait "$pid"
grep -q '^<lv:5><chn:1><.*> request 1 sent' "$tmp/lines"
grep -q 'demo finished: every reply matched' "$tmp/lines"
echo "libbase-logcat printed $(grep -c '^<' "$tmp/lines") log lines"
