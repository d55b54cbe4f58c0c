#!/usr/bin/env bash
# Sets up and builds lxk, runs the showcase in the SQL shell, then stays in
# the shell when standard input is a terminal.  Extra arguments go to lxksql.
set -euo pipefail

root_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="${LXK_BUILD_DIR:-$root_dir/build}"

"$root_dir/scripts/setup.sh"

shell=("$build_dir/shell/lxksql" --echo "$@" "$root_dir/examples/showcase.sql")
if [ -t 0 ]; then
  exec "${shell[@]}" --interactive
fi
exec "${shell[@]}"
