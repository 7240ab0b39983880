#!/bin/sh
# Runs the demo's soak: 50 connections for 20 s with faults injected, its
# logs in a temporary directory. The demo itself checks that no request was
# lost, answered twice or wrongly, and that descriptors and resident memory
# stayed within their margins.
# usage: check_soak.sh DEMO  (LIBBASE_TARGET_RUN: an emulator to run it under)
set -eu
demo=$1
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
status=0
${LIBBASE_TARGET_RUN:-} "$demo" --soak 20 --connections 50 --log-dir "$tmp/logs" > "$tmp/out" 2>&1 || status=$?
grep -v "^Time Out" "$tmp/out"
[ "$status" -eq 0 ]
grep -q "OK: soak passed" "$tmp/out"
grep -q "soak finished: passed" "$tmp/logs/demo.log"
