#!/bin/bash
# Load: fio with verification and stress-ng's file stressors. B2_MOUNT_TEST_SECONDS sets their time.
. "$(dirname "$0")/lib.sh" "$@"
StartEmulator --recommended-part-size 20000000
Mount cache_size=64M

Fio() {  # NAME, fio's options
  local name=$1; shift
  Note "fio $name"
  Must $((LONG + 200)) fio --name="$name" --directory="$BUCKET" --size=24M --ioengine=psync \
    --fallocate=none --verify=crc32c --verify_fatal=1 --verify_state_save=0 --end_fsync=1 \
    --randseed=7 "$@"
}
Fio sequential --rw=write --bs=1M
Fio random --rw=randwrite --bs=4k --size=8M
Fio mixed --rw=randrw --bs=16k --size=8M --numjobs=2
Unmount; Mount cache_size=16M
Fio sequential --rw=read --bs=1M --verify_only
Fio random --rw=randread --bs=4k --size=8M --verify_only

Note "stress-ng for $LONG seconds"
mkdir "$BUCKET/stress"
Must $((LONG * 2 + 200)) stress-ng --temp-path "$BUCKET/stress" --timeout "${LONG}s" --verify \
  --hdd 1 --hdd-bytes 4M --dir 1 --dir-dirs 64 --dentry 1 --dentries 64 --fstat 1 --rename 1 \
  --seek 1 --seek-size 2M --utime 1 --metrics-brief
[ -z "$(ls -A "$BUCKET/stress")" ] || Fail "stress-ng left $(ls -A "$BUCKET/stress" | head)"
Finish
