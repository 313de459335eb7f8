#!/usr/bin/env bash
# check_reproducible.sh: packs the last commit twice, in two folders, and the second time with every source
# compiled anew and other settings around it. Fails when a byte differs, or when a package names a build's folder.
set -euo pipefail
cd "$(dirname "$0")/.."
scratch=$(mktemp -d /tmp/b2twice-XXXXXX)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/elsewhere-and-deeper/down"

scripts/package.sh "$scratch/first"
(umask 077 && TMPDIR="$scratch/elsewhere-and-deeper/down" TZ=Pacific/Auckland CCACHE_DISABLE=1 \
  scripts/package.sh "$scratch/second")
diff -r "$scratch/first" "$scratch/second"

for package in "$scratch"/first/*.deb; do dpkg-deb -x "$package" "$scratch/contents"; done
tar -xzf "$scratch"/first/*.tar.gz -C "$scratch/contents"
if grep -rl -e b2package- -e "$PWD" "$scratch/contents"; then echo "these name the build's folder"; exit 1; fi
echo "the same bytes twice"
