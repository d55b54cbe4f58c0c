#!/usr/bin/env bash
# Sets up and builds lxk, then runs every test.  Extra arguments go to ctest.
set -euo pipefail

root_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="${LXK_BUILD_DIR:-$root_dir/build}"
jobs="${LXK_JOBS:-$(nproc 2>/dev/null || echo 2)}"

"$root_dir/scripts/setup.sh"

# ctest prints its summary line ("100% tests passed, 0 tests failed out of N").
ctest --test-dir "$build_dir" --output-on-failure -j "$jobs" "$@"
