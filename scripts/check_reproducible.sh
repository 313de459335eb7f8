#!/usr/bin/env bash
# check_reproducible.sh: packs the last commit twice, in two folders, and the second time with other settings around
# it and with objects from a compiler's cache of its own (build/second-cache). Fails when a byte differs. Not in
# .ci/run, where everything would be compiled once more.
set -euo pipefail
cd "$(dirname "$0")/.."
scratch=$(mktemp -d /tmp/b2twice-XXXXXX)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/elsewhere-and-deeper/down"

scripts/package.sh "$scratch/first"
(umask 077 && TMPDIR="$scratch/elsewhere-and-deeper/down" TZ=Pacific/Auckland LC_ALL=C.UTF-8 \
  CCACHE_DIR=$PWD/build/second-cache scripts/package.sh "$scratch/second")
diff -r "$scratch/first" "$scratch/second"
echo "the same bytes twice"
