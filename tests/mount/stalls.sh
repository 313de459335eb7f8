#!/bin/bash
# A service that does not answer: what needs no answer goes on, and whoever waits can be killed.
. "$(dirname "$0")/lib.sh" "$@"
StartEmulator --seed bucket-one/away/:3:200K --seed bucket-one/known/:3:1K
Mount retries=1

# Runs a command in the background until the emulator holds it, kills it, and wants it gone soon.
KilledSoon() {  # SIGNAL CALL COMMAND...
  local signal=$1 call=$2 tries pid; shift 2
  ResetCalls
  "$@" > "$SCRATCH/out" 2>&1 &
  pid=$!
  for tries in $(seq 100); do [ "$(Calls "$call")" -gt 0 ] && break; sleep 0.05; done
  kill "-$signal" $pid
  for tries in $(seq 20); do kill -0 $pid 2>/dev/null || break; sleep 0.1; done
  kill -0 $pid 2>/dev/null && Fail "$* lives after SIG$signal: $(cat /proc/$pid/stack 2>/dev/null)"
  wait $pid 2>/dev/null
}

Note "programs that are killed while they wait"
ls "$BUCKET/known" > "$SCRATCH/out"
Faults '[{"call":"b2_list_file_names","stall":true,"times":-1},
  {"call":"b2_download_file_by_id","stall":true,"times":-1},
  {"call":"b2_upload_file","stall":true,"times":-1}]'
KilledSoon KILL b2_list_file_names ls "$BUCKET/away"
KilledSoon INT b2_list_file_names python3 -c "
import os, signal; signal.signal(signal.SIGINT, signal.SIG_DFL); os.listdir('$BUCKET/away')"
KilledSoon TERM b2_download_file_by_id cat "$BUCKET/known/0000000"
KilledSoon KILL b2_upload_file cp "$0" "$BUCKET/killed"
KilledSoon KILL b2_upload_file sh -c "echo x > $BUCKET/shell"

Note "seventy closes wait; nobody else does"
for i in $(seq 70); do echo "$i" > "$BUCKET/known/waits$i" & done 2> /dev/null
for tries in $(seq 100); do [ "$(Drive status "$MNT" | grep -c waits)" -ge 70 ] && break; sleep 0.1; done
for i in $(seq 50); do Must 2 stat "$BUCKET/known/0000001" "$BUCKET/known/waits$i"; done
Must 2 ls -l "$BUCKET/known"
NoFaults
Control POST /expire > /dev/null  # the stalled connections end
wait $(jobs -p | grep -v "^$EMULATOR_PID$")
for i in 1 35 70; do [ "$(cat "$BUCKET/known/waits$i")" = "$i" ] || Fail "waits$i"; done
[ "$(cat "$BUCKET/shell")" = x ] || Fail "what a killed program had closed was not sent"

Note "three signals end it at once, and nothing is lost"
Unmount; Mount retries=1
Faults '[{"call":"b2_upload_file","stall":true,"times":-1}]'
echo kept > "$BUCKET/kept" &
for tries in $(seq 100); do Drive status "$MNT" | grep -q kept && break; sleep 0.1; done
for i in 1 2 3; do kill -TERM $(HostPids); sleep 0.1; done
AwaitEnd 20
fusermount3 -uz "$MNT" 2> /dev/null
NoFaults
Mount
for tries in $(seq 100); do Drive status "$MNT" | grep -q everything && break; sleep 0.1; done
[ "$(cat "$BUCKET/kept")" = kept ] || Fail "kept: $(Drive status "$MNT")"
Finish
