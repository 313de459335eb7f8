#!/bin/bash
# Random operations against a shadow folder, one process and then eight at once.
. "$(dirname "$0")/lib.sh" "$@"
STEPS=${B2_MOUNT_TEST_STEPS:-5000}
StartEmulator --recommended-part-size 200000 --minimum-part-size 100000
Mount cache_size=4M,dir_ttl=2

Note "$STEPS random operations"
Must 900 python3 "$(dirname "$0")/random_ops.py" "$BUCKET/one" "$SCRATCH/shadow" "$STEPS" 4711

Note "eight processes"
for i in $(seq 8); do
  timeout 600 python3 "$(dirname "$0")/random_ops.py" "$BUCKET/many$i" "$SCRATCH/shadow$i" \
    $((STEPS / 10)) "$i" > "$SCRATCH/out$i" 2>&1 &
done
for job in $(jobs -p); do
  [ "$job" = "$EMULATOR_PID" ] || wait "$job" || Fail "one of eight: $(cat "$SCRATCH"/out?)"
done

Note "after a new mount"
Unmount
Mount
for i in $(seq 8); do
  diff -r "$BUCKET/many$i" "$SCRATCH/shadow$i" > "$SCRATCH/diff" 2>&1 || Fail "$(head "$SCRATCH/diff")"
done
diff -r "$BUCKET/one" "$SCRATCH/shadow" > "$SCRATCH/diff" 2>&1 || Fail "$(head "$SCRATCH/diff")"
Finish
