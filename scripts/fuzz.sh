#!/usr/bin/env bash
# fuzz.sh [MINUTES] [TARGET...]: builds the fuzz targets of tests/fuzz and runs each, two at a time, for so long
# (5 seconds, unless given), from its seeds and from what earlier runs found. Exit code 1 when there is a
# finding; what reproduces it stays in build/fuzz/findings.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=$(awk "BEGIN { print int(${1:-0.09} * 60) }")
[ $# -eq 0 ] || shift
targets=("$@")
[ $# -gt 0 ] || mapfile -t targets < <(basename -a -s _fuzz.cpp tests/fuzz/*_fuzz.cpp)

cmake --preset fuzz --log-level=WARNING >/dev/null
cmake --build --preset fuzz --parallel --target "${targets[@]/%/_fuzz}" >build/fuzz/build.log || {
  cat build/fuzz/build.log
  exit 1
}
mkdir -p build/fuzz/findings

run() {
  local target=$1 log=build/fuzz/$1.log found=build/fuzz/corpus/$1 options=()
  mkdir -p "$found"
  [ ! -e "tests/fuzz/$target.dict" ] || options+=("-dict=tests/fuzz/$target.dict")
  local -x ASAN_OPTIONS=malloc_context_size=8
  local result="no finding" code=0
  "build/fuzz/fuzzers/${target}_fuzz" "${options[@]}" -max_total_time="$2" -timeout=20 \
    -rss_limit_mb=1500 -entropic=0 -print_final_stats=1 -artifact_prefix="build/fuzz/findings/$target-" \
    "$found" "tests/fuzz/corpus/$target" >"$log" 2>&1 || code=$?
  [ $code -eq 0 ] || result="FINDING: $(grep -aoE 'Not so: .*|SUMMARY: .*' "$log" | head -1)"
  printf '%-13s %9s executions, coverage %5s, %s\n' "$target" \
    "$(awk '/stat::number_of_executed_units/ { print $2 }' "$log")" \
    "$(grep -aoE 'cov: [0-9]+' "$log" | tail -1 | cut -c6-)" "$result"
  return $code
}
export -f run
printf '%s\0' "${targets[@]}" | xargs -0 -P 2 -I{} bash -c "run {} $seconds" || exit 1
