#!/bin/sh
# Installs the built library into a temporary prefix, then builds and runs a C99
# application against it through pkg-config and through find_package, linked
# with the shared object and, with "static", also entirely statically.
# usage: check_install.sh BUILD_DIR THIS_DIR static|shared
# For a cross build: CC is the cross compiler, LIBBASE_TOOLCHAIN the CMake
# toolchain file and LIBBASE_TARGET_RUN the emulator the applications run under.
set -eu
build=$1 here=$2 kind=$3
run=${LIBBASE_TARGET_RUN:-}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cmake --install "$build" --prefix "$tmp/prefix" > "$tmp/install.log"
libdir=$(dirname "$(find "$tmp/prefix" -name libbase.pc)")/..

# The module headers are installed, and nothing of lib_base/internal/.
(cd "$here/../../lib_base" && ls -- *.h) > "$tmp/headers.expected"
(cd "$tmp/prefix/include/libbase" && ls -A) > "$tmp/headers.installed"
diff -u "$tmp/headers.expected" "$tmp/headers.installed"

# A statically linked application carries its own copy of the library.
no_libbase() {
  if readelf -d "$1" | grep -q 'NEEDED.*libbase'; then
    echo "$1 needs the shared libbase"
    exit 1
  fi
}

PKG_CONFIG_PATH=$libdir/pkgconfig
export PKG_CONFIG_PATH
"${CC:-cc}" -std=c99 -pedantic -Wall -Wextra -Werror -o "$tmp/app_pc" "$here/app.c" \
  $(pkg-config --cflags --libs libbase) -Wl,-rpath,"$libdir"
$run "$tmp/app_pc"
if [ "$kind" = static ]; then
  "${CC:-cc}" -static -std=c99 -pedantic -Wall -Wextra -Werror -o "$tmp/app_static" "$here/app.c" \
    $(pkg-config --static --cflags --libs libbase)
  no_libbase "$tmp/app_static"
  $run "$tmp/app_static"
fi

set -- -DCMAKE_PREFIX_PATH="$tmp/prefix"
if [ -n "${LIBBASE_TOOLCHAIN:-}" ]; then
  # The toolchain confines package searches to its roots: add the prefix as one.
  set -- "$@" -DCMAKE_TOOLCHAIN_FILE="$LIBBASE_TOOLCHAIN" -DCMAKE_FIND_ROOT_PATH="$tmp/prefix"
fi
cmake -S "$here/cmake_app" -B "$tmp/cmake_app" "$@" > "$tmp/configure.log"
cmake --build "$tmp/cmake_app" > "$tmp/build.log"
$run "$tmp/cmake_app/app"
if [ "$kind" = static ]; then
  no_libbase "$tmp/cmake_app/app_static"
  $run "$tmp/cmake_app/app_static"
fi
