#!/usr/bin/env bash
# Many clients at once: a mixed load over 200 connections that stay open, every answer checked, and
# nothing left behind. From the environment: B2_LOAD, the program; B2_LOAD_REQUESTS, how many.
. "$(dirname "$0")/lib.sh"
: "${B2_LOAD:?}"
start_emulator --bucket load-bucket --minimum-part-size 1000 --no-request-log
held() { local entries=("/proc/$emulator_pid/$1"/*); echo "${#entries[@]}"; }
threads=$(held task) files=$(held fd)

step "${B2_LOAD_REQUESTS:=6000} requests"
"$B2_LOAD" "$B2_LOAD_REQUESTS" 200 | tee "$scratch/load"
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
stop_emulator
