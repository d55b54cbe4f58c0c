#!/usr/bin/env bash
# Compares the dynamic symbols each shared library defines with its checked-in
# list in scripts/exports/, so that an accidental export or a missing one fails
# with a readable diff.
#
#   scripts/check_exports.sh [BUILD_DIR]        check (default: build)
#   scripts/check_exports.sh --update [BUILD_DIR]  rewrite the lists from BUILD_DIR
#
# A new export goes into its library's list in the same commit.
set -euo pipefail

root_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
update=0
if [ "${1:-}" = "--update" ]; then
  update=1
  shift
fi
build_dir="${1:-$root_dir/build}"
lists="$root_dir/scripts/exports"

# library list name : path inside the build tree
libraries=(liblxk:liblxk.so libnlscore:nlscore/libnlscore.so
  libnlsutil:nlscore/utility/libnlsutil.so)

defined_symbols() {
  nm -D --defined-only "$1" | awk 'NF >= 3 { print $3 }' | LC_ALL=C sort -u
}

status=0
for entry in "${libraries[@]}"; do
  name="${entry%%:*}"
  library="$build_dir/${entry#*:}"
  list="$lists/$name.txt"
  if [ ! -e "$library" ]; then
    echo "check_exports: $library is not built" >&2
    exit 2
  fi
  if [ "$update" = 1 ]; then
    {
      grep '^#' "$list" 2>/dev/null || true
      defined_symbols "$library"
    } >"$list.new"
    mv "$list.new" "$list"
    continue
  fi
  if ! diff -u --label "$list (expected)" --label "$library (built)" \
    <(grep -v '^#' "$list" | LC_ALL=C sort -u) <(defined_symbols "$library"); then
    echo "check_exports: $name exports differ: '+' lines are exported but not listed," \
      "'-' lines are listed but not exported" >&2
    status=1
  fi
done
if [ "$status" = 0 ] && [ "$update" = 0 ]; then
  echo "check_exports: liblxk, libnlscore and libnlsutil export exactly their lists"
fi
exit "$status"
