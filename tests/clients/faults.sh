#!/usr/bin/env bash
# rclone and b2drive side by side through the same faults. faults.py holds them.
. "$(dirname "$0")/lib.sh"
start_emulator --recommended-part-size 5000000 --bucket fault-bucket \
  --seed fault-bucket/folder/seeded.bin:1:3M
/usr/bin/python3 "$(dirname "$0")/faults.py" "$scratch"
stop_emulator
