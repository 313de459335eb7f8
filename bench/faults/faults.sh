#!/usr/bin/env bash
# faults.sh [BUILD] >docs/faults.md: rclone and b2drive side by side through the same faults, which
# faults.py holds. Fails when one of them no longer ends as it is expected there.
build=$(realpath "${1:-$(dirname "$0")/../../build/release}")
export B2EMULATOR=$build/bin/b2emulator B2DRIVE=$build/bin/b2drive
export B2_PLUGIN=$build/lib/libbackblazeb2.so.3
. "$(dirname "$0")/../../tests/support/shell.sh"
start_emulator --recommended-part-size 5000000 --bucket fault-bucket \
  --seed fault-bucket/folder/seeded.bin:1:3M
/usr/bin/python3 "$(dirname "$0")/faults.py" "$scratch"
finish
