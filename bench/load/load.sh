#!/usr/bin/env bash
# load.sh [REQUESTS [BUILD]]: many clients at once: a mixed load over 200 connections that stay open,
# every answer checked, and nothing left behind. Needs rclone.
requests=${1:-6000}
build=$(realpath "${2:-$(dirname "$0")/../../build/release}")
export B2EMULATOR=$build/bin/b2emulator B2DRIVE=$build/bin/b2drive
export B2_PLUGIN=$build/lib/libbackblazeb2.so.3
. "$(dirname "$0")/../../tests/support/shell.sh"
start_emulator --bucket load-bucket --minimum-part-size 1000 --no-request-log
held() { local entries=("/proc/$emulator_pid/$1"/*); echo "${#entries[@]}"; }
threads=$(held task) files=$(held fd)

step "$requests requests"
time "$build/bench/b2_load" "$requests" 200 | tee "$scratch/load"
opened=$(sed -nE 's/.* ([0-9]+) connections.*/\1/p' "$scratch/load")
[ "$opened" -le 600 ] || fail "$opened connections for 200 clients of three hosts"

step "nothing is left"
for _ in $(seq 50); do  # connections end a moment after their clients
  [ "$(held task),$(held fd)" != "$threads,$files" ] || break
  sleep 0.1
done
equal "threads and open files" "$(held task),$(held fd)" "$threads,$files"
equal "versions" "$(rclone lsf -R --b2-versions b2:load-bucket)" ""
equal "unfinished large files" "$(count openLargeFiles)" 0
finish
