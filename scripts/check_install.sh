#!/usr/bin/env bash
# Installs a built tree into a temporary prefix and uses it the ways a consumer
# does: the example engine built through find_package(lxk) and through
# pkg-config, and the SQLite extension loaded by the sqlite3 command-line
# shell.  Everything runs with an empty environment, so nothing is found
# through LD_LIBRARY_PATH or an ICU data variable.
#
#   scripts/check_install.sh [BUILD_DIR]   (default: build)
set -euo pipefail

root_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="${1:-$root_dir/build}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"

fail() {
  echo "check_install: $*" >&2
  exit 1
}
clean_run() { env -i PATH=/usr/bin:/bin "$@"; }

cmake --install "$build_dir" --prefix "$prefix" >"$work/install.log" || {
  cat "$work/install.log"
  fail "cmake --install failed"
}
libdir="$(dirname "$(find "$prefix" -name 'liblxk.so' | head -n 1)")"
[ -d "$libdir" ] || fail "no liblxk.so under $prefix"

# Versioned SONAMEs, and the unversioned names as links for the linker.
for library in liblxk nlscore nlsutil; do
  library="lib${library#lib}"
  soname="$(readelf -d "$libdir/$library.so" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')"
  [[ "$soname" =~ ^$library\.so\.[0-9]+$ ]] || fail "$library: SONAME '$soname' has no version"
  [ -L "$libdir/$library.so" ] || fail "$library.so is not a link to the versioned file"
done

# find_package
cmake -S "$root_dir/examples" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$prefix" \
  >"$work/cmake.log" 2>&1 || {
  cat "$work/cmake.log"
  fail "find_package(lxk) failed"
}
cmake --build "$work/cmake-build" >>"$work/cmake.log" 2>&1 || {
  cat "$work/cmake.log"
  fail "the example did not build through find_package"
}
clean_run "$work/cmake-build/engine" || fail "the example built through find_package failed"

# pkg-config
export PKG_CONFIG_PATH="$libdir/pkgconfig"
pkg-config --exists lxk || fail "pkg-config does not find lxk in $PKG_CONFIG_PATH"
# shellcheck disable=SC2046
cc -std=c11 -Wall -Wextra -Werror "$root_dir/examples/engine.c" -o "$work/engine-pc" \
  $(pkg-config --cflags --libs lxk) -Wl,-rpath,"$libdir" ||
  fail "the example did not build through pkg-config"
clean_run "$work/engine-pc" >/dev/null || fail "the example built through pkg-config failed"

# The SQLite extension, loaded by path without its suffix.
[ -e "$libdir/lxk_sqlite.so" ] || fail "no lxk_sqlite.so in $libdir"
if command -v sqlite3 >/dev/null; then
  got="$(clean_run sqlite3 -bail :memory: ".load $libdir/lxk_sqlite" "SELECT upper('straße')" \
    "SELECT lxk_charset('SHIFT_JIS')" "SELECT hex(substr(convert('東京タワー', 'SHIFT_JIS'), 2))")"
  [ "$got" = $'STRASSE\nSHIFT_JIS\n8B9E835E838F815B' ] || fail "the installed extension gave '$got'"
fi
# The shell, from the prefix's bin.
got="$(clean_run "$prefix/bin/lxksql" --mode list --no-header -c "SELECT lengthb('東京')")"
[ "$got" = 6 ] || fail "the installed lxksql gave '$got'"
echo "check_install: the installed copy works through find_package, pkg-config, sqlite3 .load and lxksql"
