#!/bin/sh
# Compares the symbols a built library defines for applications with the names
# it is meant to export: the dynamic symbols of the shared object, the global
# symbols of the static archive. Weak instances of standard-library templates
# (std::...) may stay global in the archive: they are the same in every
# program that uses them.
# (ASan builds add an __odr_asan.<name> indicator for every exported variable.)
# usage: check_exports.sh LIBRARY EXPORTS_DIR  (NM: the toolchain's nm, default nm)
set -eu
lib=$1 dir=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
case $lib in
  *.a) "${NM:-nm}" -g --defined-only "$lib" | awk 'NF == 3 && !($2 ~ /[WV]/ && $3 ~ /^_Z(T[ISV])?N?K?St/) {print $3}' ;;
  *) "${NM:-nm}" -D --defined-only "$lib" | awk '{print $NF}' | sed 's/@.*//' ;;
esac | grep -v -x -E '_edata|_end|__bss_start|_init|_fini|__odr_asan\..*' | sort -u > "$tmp/actual"
cat "$dir"/*.txt | grep -v -E '^[[:space:]]*(#|$)' | sort -u > "$tmp/expected"
if ! diff -u "$tmp/expected" "$tmp/actual"; then
  echo "exported names differ from $dir (- expected, + exported)"
  exit 1
fi
echo "$(wc -l < "$tmp/actual") names exported, as intended"
