#!/usr/bin/env bash
# check_reproducible.sh [--cached]: packs the last commit twice, in two folders, and the second time with other
# settings around it and with objects from a compiler's cache of its own (build/second-cache). Fails when a byte
# differs. With --cached both take their objects from the same cache, as .ci/run does: to compile everything once
# more would take CI as long as all of its release build.
set -euo pipefail
cd "$(dirname "$0")/.."
scratch=$(mktemp -d /tmp/b2twice-XXXXXX)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/elsewhere-and-deeper/down"
apart=(LC_ALL=C.UTF-8 CCACHE_DIR="$PWD/build/second-cache")  # objects of another locale are others for ccache
[ "${1:-}" != --cached ] || apart=()

scripts/package.sh "$scratch/first"
(umask 077 && env "${apart[@]}" TMPDIR="$scratch/elsewhere-and-deeper/down" TZ=Pacific/Auckland \
  scripts/package.sh "$scratch/second")
diff -r "$scratch/first" "$scratch/second"
echo "the same bytes twice"
