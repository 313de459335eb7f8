#!/usr/bin/env bash
# kill -9 of the host while programs write: what a close or fsync acknowledged is there afterwards,
# and nothing half.
. "$(dirname "$0")/../support/shell.sh"
start_emulator --bucket bucket-one --recommended-part-size 300000 --minimum-part-size 100000
writers() {  # writers JOB [ARGUMENTS...]
  local writer job=$1; shift
  for writer in 1 2 3; do
    python3 "${0%.sh}.py" "$job" "$bucket/$writer" "$scratch/log$writer" "$@" &
  done
}
RANDOM=42
mount_drive
for round in $(seq "${B2_MOUNT_TEST_KILLS:-5}"); do
  step "round $round"
  writers write "${round}000000" 2>/dev/null
  sleep "$((1 + RANDOM % 2)).$((RANDOM % 9))"
  kill_mount
  ! wait_for_jobs || fail "the writers did not see the end"
  mount_drive
  await all_sent
  writers check
  wait_for_jobs
done
unmount
finish
