#!/usr/bin/env bash
# Installs what the build needs (Debian/Ubuntu, apt-get) and builds lxk.
#
#   scripts/setup.sh [--m32] [--no-build]
#
#   --m32       also install g++-multilib, for the 32-bit header check
#   --no-build  install packages only
#
# Environment: LXK_BUILD_DIR (default build), LXK_JOBS (default nproc),
# LXK_CMAKE_ARGS (extra configure arguments, split on blanks).
set -euo pipefail

root_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="${LXK_BUILD_DIR:-$root_dir/build}"
jobs="${LXK_JOBS:-$(nproc 2>/dev/null || echo 2)}"

want_m32=0
want_build=1
for arg in "$@"; do
  case "$arg" in
    --m32) want_m32=1 ;;
    --no-build) want_build=0 ;;
    -h | --help)
      awk 'NR > 1 && /^#/ { sub(/^# ?/, ""); print; next } NR > 1 { exit }' "${BASH_SOURCE[0]}"
      exit 0
      ;;
    *)
      echo "setup.sh: unknown argument $arg" >&2
      exit 2
      ;;
  esac
done

# clang and libclang-rt-14-dev (libFuzzer's runtime) build the fuzz targets;
# libreadline-dev gives the shell line editing; sqlite3 and python3 load the
# SQLite extension in its tests.
packages=(cmake g++ make pkg-config libicu-dev libpcre2-dev libsqlite3-dev libgtest-dev libbenchmark-dev
  clang libclang-rt-14-dev libreadline-dev sqlite3 python3)
if [ "$want_m32" = 1 ]; then packages+=(g++-multilib); fi

installed() {
  dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'
}

missing=()
for package in "${packages[@]}"; do
  installed "$package" || missing+=("$package")
done

if [ "${#missing[@]}" -gt 0 ]; then
  if ! command -v apt-get >/dev/null 2>&1; then
    echo "setup.sh: please install: ${missing[*]} (no apt-get here)" >&2
    exit 1
  fi
  sudo=()
  if [ "$(id -u)" -ne 0 ]; then
    if command -v sudo >/dev/null 2>&1; then
      sudo=(sudo)
    else
      echo "setup.sh: not root and no sudo; please install: ${missing[*]}" >&2
      exit 1
    fi
  fi
  echo "setup.sh: installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  "${sudo[@]}" apt-get update -qq >/dev/null
  "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

if [ "$want_build" = 1 ]; then
  extra_args=()
  if [ -n "${LXK_CMAKE_ARGS:-}" ]; then read -r -a extra_args <<<"$LXK_CMAKE_ARGS"; fi
  mkdir -p "$build_dir"
  log="$build_dir/setup.log"
  # Quiet on success; on failure the end of the log says what broke.
  if ! cmake -S "$root_dir" -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    "${extra_args[@]}" >"$log" 2>&1 ||
    ! cmake --build "$build_dir" -j "$jobs" >>"$log" 2>&1; then
    tail -n 60 "$log" >&2
    echo "setup.sh: build failed; the full log is $log" >&2
    exit 1
  fi
  echo "setup.sh: built in $build_dir"
fi
