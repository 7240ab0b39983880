#!/bin/sh
# Compares the dynamic symbols a built library defines with the names it is meant to export.
# (ASan builds add an __odr_asan.<name> indicator for every exported variable.)
# usage: check_exports.sh LIBRARY EXPORTS_DIR  (NM: the toolchain's nm, default nm)
set -eu
lib=$1 dir=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
"${NM:-nm}" -D --defined-only "$lib" | awk '{print $NF}' | sed 's/@.*//' |
  grep -v -x -E '_edata|_end|__bss_start|_init|_fini|__odr_asan\..*' | sort -u > "$tmp/actual"
cat "$dir"/*.txt | grep -v -E '^[[:space:]]*(#|$)' | sort -u > "$tmp/expected"
if ! diff -u "$tmp/expected" "$tmp/actual"; then
  echo "exported names differ from $dir (- expected, + exported)"
  exit 1
fi
echo "$(wc -l < "$tmp/actual") names exported, as intended"
