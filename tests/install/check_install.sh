#!/bin/sh
# Installs the built library into a temporary prefix, then builds and runs a C99
# application against it twice: through pkg-config and through find_package.
# usage: check_install.sh BUILD_DIR THIS_DIR
# For a cross build: CC is the cross compiler, LIBBASE_TOOLCHAIN the CMake
# toolchain file and LIBBASE_TARGET_RUN the emulator the applications run under.
set -eu
build=$1 here=$2
run=${LIBBASE_TARGET_RUN:-}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cmake --install "$build" --prefix "$tmp/prefix" > "$tmp/install.log"
libdir=$(dirname "$(find "$tmp/prefix" -name libbase.pc)")/..

# The module headers are installed, and nothing of lib_base/internal/.
(cd "$here/../../lib_base" && ls -- *.h) > "$tmp/headers.expected"
(cd "$tmp/prefix/include/libbase" && ls -A) > "$tmp/headers.installed"
diff -u "$tmp/headers.expected" "$tmp/headers.installed"

PKG_CONFIG_PATH=$libdir/pkgconfig
export PKG_CONFIG_PATH
"${CC:-cc}" -std=c99 -pedantic -Wall -Wextra -Werror -o "$tmp/app_pc" "$here/app.c" \
  $(pkg-config --cflags --libs libbase) -Wl,-rpath,"$libdir"
$run "$tmp/app_pc"

set -- -DCMAKE_PREFIX_PATH="$tmp/prefix"
if [ -n "${LIBBASE_TOOLCHAIN:-}" ]; then
  # The toolchain confines package searches to its roots: add the prefix as one.
  set -- "$@" -DCMAKE_TOOLCHAIN_FILE="$LIBBASE_TOOLCHAIN" -DCMAKE_FIND_ROOT_PATH="$tmp/prefix"
fi
cmake -S "$here/cmake_app" -B "$tmp/cmake_app" "$@" > "$tmp/configure.log"
cmake --build "$tmp/cmake_app" > "$tmp/build.log"
$run "$tmp/cmake_app/app"
