#!/bin/sh
# Checks the Debian packages of one architecture, as cpack left them:
#  - libbase1, libbase-dev and libbase-tools, at the project's version;
#  - each holds exactly its files, in the multiarch library directory;
#  - the binaries are built for the architecture, and every library they need
#    and every C library symbol version they use is covered by Depends;
#  - the packaged shared object and archive export exactly the public names;
#  - a C99 application builds from the packages unpacked into a scratch root,
#    through pkg-config, and runs: linked with the shared object and statically
#    on this machine (where the packaged demo runs too), statically under
#    qemu-arm for armhf.
# usage: check_packages.sh PACKAGE_DIR
set -eu
dir=$1
src=$(cd "$(dirname "$0")/../.." && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
fail() {
  echo "packages: $*"
  exit 1
}

version=$(sed -n 's/^project(libbase VERSION \([0-9.]*\).*/\1/p' "$src/CMakeLists.txt")
major=${version%%.*}
set -- "$dir"/libbase${major}_"$version"_*.deb
[ -f "$1" ] || fail "no libbase${major}_${version}_*.deb in $dir"
arch=$(dpkg-deb -f "$1" Architecture)
triplet=$(dpkg-architecture -a"$arch" -qDEB_HOST_MULTIARCH 2> /dev/null)
libdir=usr/lib/$triplet
root=$tmp/root

# Regular files and links of a package, one a line, without the leading "./".
contents() {
  dpkg-deb -c "$1" | awk '$1 !~ /^d/ { sub(/^\.\//, "", $6); $1 = $2 = $3 = $4 = $5 = ""; sub(/^ +/, ""); print }' | sort
}

expect_lib="$libdir/libbase.so.$major -> libbase.so.$version
$libdir/libbase.so.$version"
expect_dev="$(for h in "$src"/lib_base/*.h; do echo "usr/include/libbase/${h##*/}"; done)
$libdir/cmake/libbase/libbaseConfig.cmake
$libdir/cmake/libbase/libbaseConfigVersion.cmake
$libdir/cmake/libbase/libbaseTargets-relwithdebinfo.cmake
$libdir/cmake/libbase/libbaseTargets.cmake
$libdir/libbase.a
$libdir/libbase.so -> libbase.so.$major
$libdir/pkgconfig/libbase.pc"
expect_tools="usr/bin/libbase-demo
usr/bin/libbase-logcat
usr/share/libbase/libbase-demo.ini"

for pkg in lib dev tools; do
  case $pkg in
    lib) name=libbase$major expected=$expect_lib ;;
    dev) name=libbase-dev expected=$expect_dev ;;
    tools) name=libbase-tools expected=$expect_tools ;;
  esac
  deb=$dir/${name}_${version}_$arch.deb
  [ -f "$deb" ] || fail "$deb is missing"
  [ "$(dpkg-deb -f "$deb" Package)" = "$name" ] || fail "$deb is not $name"
  echo "$expected" | sort > "$tmp/expected"
  contents "$deb" > "$tmp/actual"
  diff -u "$tmp/expected" "$tmp/actual" || fail "$name holds other files (- expected, + packaged)"
  dpkg-deb -f "$deb" Depends > "$tmp/depends.$pkg"
  if [ "$pkg" != lib ]; then
    grep -q "libbase$major (= $version)" "$tmp/depends.$pkg" || fail "$name does not depend on libbase$major (= $version)"
  fi
  dpkg -x "$deb" "$root"
  echo "$name: $(wc -c < "$deb") bytes, $(wc -l < "$tmp/actual") files"
done

# Machine and calling convention as readelf reports them.
case $arch in
  amd64) machine='X86-64' abi='' ;;
  armhf) machine='ARM' abi='Tag_ABI_VFP_args: VFP registers' ;;
  *) fail "no readelf expectations for $arch" ;;
esac
built_for_arch() {
  readelf -h "$1" | grep -q "Machine:.*$machine" || fail "$1 is not built for $arch"
  [ -z "$abi" ] || readelf -A "$1" | grep -q "$abi" || fail "$1 does not pass floats in VFP registers"
}
# Each library an ELF file needs comes from a package it depends on, and its
# C library symbol versions are no newer than that dependency's least version.
covered_by() {
  file=$1 depends=$2
  for needed in $(readelf -d "$file" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p'); do
    case $needed in
      libc.so.6 | libm.so.6 | ld-linux*.so.*) pkg=libc6 ;;
      libgcc_s.so.1) pkg=libgcc-s1 ;;
      libstdc++.so.6) pkg=libstdc++6 ;;
      libbase.so.$major) pkg=libbase$major ;;
      *) fail "${file##*/} needs $needed, which no Depends provides" ;;
    esac
    grep -q "\(^\|, \)$pkg\( \|,\|$\)" "$depends" || fail "${file##*/} needs $needed but Depends lacks $pkg"
  done
  glibc=$(readelf -V "$file" | grep -o 'GLIBC_[0-9.]*' | sed 's/GLIBC_//' | sort -V | tail -1)
  least=$(sed -n 's/.*libc6 (>= \([0-9.]*\)).*/\1/p' "$depends")
  dpkg --compare-versions "$least" ge "$glibc" ||
    fail "${file##*/} uses GLIBC_$glibc but Depends has libc6 (>= $least)"
}
so=$root/$libdir/libbase.so.$version
built_for_arch "$so"
built_for_arch "$root/$libdir/libbase.a"
readelf -d "$so" | grep -q "SONAME.*\[libbase.so.$major\]" || fail "libbase.so.$version has another SONAME"
covered_by "$so" "$tmp/depends.lib"
for tool in libbase-demo libbase-logcat; do
  built_for_arch "$root/usr/bin/$tool"
  covered_by "$root/usr/bin/$tool" "$tmp/depends.tools"
done
"$src/tests/check_exports.sh" "$so" "$src/tests/exports"
"$src/tests/check_exports.sh" "$root/$libdir/libbase.a" "$src/tests/exports"

# The application, built through the unpacked root's pkg-config file only.
PKG_CONFIG_LIBDIR=$root/$libdir/pkgconfig
export PKG_CONFIG_LIBDIR
cflags="-std=c99 -pedantic -Wall -Wextra -Werror"
if [ "$arch" = "$(dpkg --print-architecture)" ]; then
  cc $cflags -o "$tmp/app" "$src/tests/install/app.c" $(pkg-config --cflags --libs libbase)
  LD_LIBRARY_PATH=$root/$libdir "$tmp/app"
  cc -static $cflags -o "$tmp/app_static" "$src/tests/install/app.c" $(pkg-config --static --cflags --libs libbase)
  "$tmp/app_static"
  LD_LIBRARY_PATH=$root/$libdir "$root/usr/bin/libbase-demo" --count 5 --log-dir "$tmp/logs" \
    --config "$root/usr/share/libbase/libbase-demo.ini" > "$tmp/demo.out" ||
    { cat "$tmp/demo.out"; fail "the packaged demo failed"; }
else
  "$triplet-gcc" -static $cflags -o "$tmp/app_static" "$src/tests/install/app.c" \
    $(pkg-config --static --cflags --libs libbase)
  built_for_arch "$tmp/app_static"
  qemu-arm "$tmp/app_static"
fi
echo "$arch packages of libbase $version checked"
