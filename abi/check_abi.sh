#!/bin/sh
# Compares the ABI of a built libbase.so (with debug information) with the
# baseline kept in abi/ARCH/:
#   interfaces.abi  the exported functions and variables, with every type
#                   they reach;
#   records.abi     the types the public headers define, with the records
#                   applications only reach through a handle.
# A removed or changed function, variable, symbol or public record fails;
# additions are listed and pass. With --update, the library's ABI becomes
# the baseline.
# usage: check_abi.sh [--update] LIBRARY ARCH
set -eu
update=no
if [ "$1" = --update ]; then
  update=yes
  shift
fi
lib=$1 arch=$2
here=$(cd "$(dirname "$0")" && pwd)
src=$(dirname "$here")
baseline=$here/$arch
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# A dump with source paths relative to the tree, so that it does not depend
# on where the tree was built.
dump() {
  out=$1
  shift
  abidw --no-corpus-path --no-comp-dir-path --no-show-locs --type-id-style hash "$@" \
    --out-file "$tmp/raw" "$lib"
  sed "s|path='$src/|path='|" "$tmp/raw" > "$out"
}
dump "$tmp/interfaces.abi" --exported-interfaces-only --headers-dir "$src/lib_base" --drop-private-types
# Every type, less those defined outside the public headers; the variables
# and the declarations of other libraries' functions are left out.
cat > "$tmp/records.suppr" << 'END'
[suppress_type]
  source_location_not_regexp = lib_base/[^/]*\.h$
  drop = yes
[suppress_function]
  name_regexp = .*
  drop = yes
[suppress_variable]
  name_regexp = .*
  drop = yes
END
dump "$tmp/records.abi" --load-all-types --suppressions "$tmp/records.suppr"

if [ "$update" = yes ]; then
  mkdir -p "$baseline"
  cp "$tmp/interfaces.abi" "$tmp/records.abi" "$baseline/"
  echo "ABI baseline for $arch written to $baseline"
  exit 0
fi
if [ ! -f "$baseline/interfaces.abi" ] || [ ! -f "$baseline/records.abi" ]; then
  echo "no ABI baseline for $arch in $baseline"
  exit 1
fi

# abidiff's report; exit bits 1 and 2 mean it could not compare at all.
compare() {
  report=$1
  shift
  rc=0
  abidiff "$@" > "$report" 2>&1 || rc=$?
  if [ $((rc & 3)) -ne 0 ]; then
    cat "$report"
    echo "abidiff failed ($rc)"
    exit 1
  fi
}
status=0

compare "$tmp/interfaces.diff" "$baseline/interfaces.abi" "$tmp/interfaces.abi"
cat "$tmp/interfaces.diff"
if grep 'summary:' "$tmp/interfaces.diff" | grep -qE '(^|[^0-9])[1-9][0-9]* (Removed|Changed)'; then
  status=1
fi

# The records, unions and enums the public headers define, in the baseline
# or now: the types the record dump holds in full. Declarations of other
# types come and go with the includes of the library's sources and do not
# count.
names=$(cat "$baseline/records.abi" "$tmp/records.abi" | grep -E "<(class|union|enum)-decl name='" |
  grep -v "is-declaration-only='yes'" | sed -E "s/.*<(class|union|enum)-decl name='([^']*)'.*/\2/" |
  grep -E '^[A-Za-z_][A-Za-z0-9_]*$' | sort -u | paste -sd'|')
compare "$tmp/records.diff" --non-reachable-types "$baseline/records.abi" "$tmp/records.abi"
awk -v names="^($names)\$" '
  /unreachable from any public interface:$/ { section = 1; next }
  !section { next }
  /^  \[[ADC]\] / {
    name = $0
    sub(/^  \[[ADC]\] \047((struct|union|enum|class|typedef) )?/, "", name)
    sub(/\047.*/, "", name)
    public = name ~ names
    if (public && $1 != "[A]") broken = 1
  }
  /^  / && public { print }
  END { exit broken }
' "$tmp/records.diff" || status=1

if [ "$status" -ne 0 ]; then
  echo "ABI of $(basename "$lib") ($arch) breaks the baseline in $baseline"
  exit 1
fi
echo "ABI of $(basename "$lib") ($arch) keeps the baseline$(grep -qE '[1-9][0-9]* Added' "$tmp/interfaces.diff" && echo ', with additions')"
