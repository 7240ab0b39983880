#!/bin/sh
# Installs the built library into a temporary prefix, then builds and runs a C99
# application against it twice: through pkg-config and through find_package.
# usage: check_install.sh BUILD_DIR THIS_DIR
set -eu
build=$1 here=$2
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
cc -std=c99 -pedantic -Wall -Wextra -Werror -o "$tmp/app_pc" "$here/app.c" \
  $(pkg-config --cflags --libs libbase) -Wl,-rpath,"$libdir"
"$tmp/app_pc"

cmake -S "$here/cmake_app" -B "$tmp/cmake_app" -DCMAKE_PREFIX_PATH="$tmp/prefix" > "$tmp/configure.log"
cmake --build "$tmp/cmake_app" > "$tmp/build.log"
"$tmp/cmake_app/app"
