#!/usr/bin/env bash
# exported_symbols.sh LIBRARY LIST: the library exports every entry of the list, and nothing else.
set -euo pipefail
library=$1 list=$2
mapfile -t symbols < <(nm -D --defined-only "$library" | awk '{print $3}')
mapfile -t patterns < <(grep -v '^#' "$list")
failed=0

matches() {  # whether $1 matches one of the other arguments, as patterns
  local text=$1 pattern
  shift
  # shellcheck disable=SC2053
  for pattern; do [[ $text == $pattern ]] && return 0; done
  return 1
}

for symbol in "${symbols[@]}"; do
  matches "$symbol" "${patterns[@]}" || { echo "exported, but not listed: $symbol"; failed=1; }
done
for pattern in "${patterns[@]}"; do
  grep -qE "^${pattern//\*/.*}$" < <(printf '%s\n' "${symbols[@]}") ||
    { echo "listed, but not exported: $pattern"; failed=1; }
done
exit $failed
