#!/bin/sh
# Runs the demo with a small count, its logs in a temporary directory.
# usage: check_demo.sh DEMO  (LIBBASE_TARGET_RUN: an emulator to run it under)
set -eu
demo=$1
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
status=0
${LIBBASE_TARGET_RUN:-} "$demo" --count 40 --log-dir "$tmp/logs" > "$tmp/out" 2>&1 || status=$?
cat "$tmp/out"
[ "$status" -eq 0 ]
grep -q "OK: every reply matched its request" "$tmp/out"
grep -q "demo finished: every reply matched" "$tmp/logs/demo.log"
grep -q "dropped on purpose" "$tmp/logs/modules.log"
