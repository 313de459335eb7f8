#!/usr/bin/env bash
# exported_symbols.sh LIBRARY LIST: the library exports every entry of the list, and nothing else.
set -euo pipefail
symbols=$(nm -D --defined-only "$1" | awk '{print $3}')
patterns=$(grep -v '^#' "$2" | sed 's/[.$]/\\&/g; s/\*/.*/g; s/.*/^&$/')
failed=0
if grep -v -f <(echo "$patterns") <<<"$symbols"; then
  echo "exported, but not listed: see above"
  failed=1
fi
while read -r pattern; do
  grep -q -- "$pattern" <<<"$symbols" || { echo "listed, but not exported: $pattern"; failed=1; }
done <<<"$patterns"
exit $failed
