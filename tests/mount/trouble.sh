#!/usr/bin/env bash
# What goes wrong around the mount: a full disk, storms of refusals, a service that does not answer,
# signals, mountpoints that do not fit.
. "$(dirname "$0")/../support/shell.sh"
start_emulator --recommended-part-size 5000000 --seed bucket-one/away/:3:200K --seed bucket-one/known/:3:1K
head -c 3000000 /dev/urandom >"$scratch/file"

step "a full disk under cache_dir"
mkdir "$scratch/small"
mount -t tmpfs -o size=2M none "$scratch/small"
cache=$scratch/small mount_drive
refused "No space left" cp "$scratch/file" "$bucket/too-large"
rm -f "$bucket/too-large"
cp "$0" "$bucket/small-enough"
unmount
mount_drive
cp "$scratch/file" "$bucket/file"
unmount
cache=$scratch/small mount_drive
cmp "$scratch/file" "$bucket/file"  # larger than the disk that caches it
unmount

step "programs that are killed while they wait are gone soon"
mount_drive
is_held() { [ "$(count "$1")" -gt 0 ]; }
killed_soon() {  # killed_soon SIGNAL CALL COMMAND...: once the emulator holds its request
  local signal=$1 call=$2 pid; shift 2
  forget_counts
  "$@" >"$scratch/out" 2>&1 &
  pid=$!
  is_gone() { ! kill -0 "$pid"; }
  await is_held "$call"
  kill "-$signal" "$pid"
  patience=20 await is_gone
}
ls "$bucket/known" >"$scratch/out"
stall='"stall":true,"times":-1}'
fault "[{\"call\":\"b2_list_file_names\",$stall,{\"call\":\"b2_download_file_by_id\",$stall,
  {\"call\":\"b2_upload_file\",$stall]"
killed_soon KILL b2_list_file_names ls "$bucket/away"
killed_soon INT b2_list_file_names python3 -c "
import os, signal; signal.signal(signal.SIGINT, signal.SIG_DFL); os.listdir('$bucket/away')"
killed_soon TERM b2_download_file_by_id cat "$bucket/known/0000000"
killed_soon KILL b2_upload_file cp "$0" "$bucket/killed"
killed_soon KILL b2_upload_file sh -c "echo x >'$bucket/shell'"

step "seventy closes wait; nobody else does"
forget_counts
for i in $(seq 70); do echo "$i" >"$bucket/known/waits$i" & done
all_wait() { [ "$(count b2_upload_file)" -ge 70 ]; }
await all_wait
timeout 2 b2drive status "$mnt" >"$scratch/out" || equal "status while something waits" $? 1
for i in $(seq 50); do timeout 2 stat "$bucket/known/0000001" "$bucket/known/waits$i"; done >"$scratch/out"
timeout 2 ls -l "$bucket/known" >"$scratch/out"
heal
control POST expire >/dev/null  # the stalled connections end
wait_for_jobs || true
await all_sent
equal "what waited" "$(cd "$bucket" && cat known/waits{1,35,70} shell | xargs)" "1 35 70 x"

ends_at_once() {  # ends_at_once SIGNAL...: nothing is lost when they end the mount
  step "it is ended by $*"
  fault "{\"call\":\"b2_upload_file\",$stall"
  forget_counts
  echo "$*" >"$bucket/kept" &
  await is_held b2_upload_file  # what is listed before that may be the emptied file
  for signal in "$@"; do kill "-$signal" "$(mount_pids)"; sleep 0.1; done
  patience=50 await no_mount
  fusermount3 -uz "$mnt" || true
  wait_for_jobs || true
  heal
  mount_drive
  await all_sent
  equal "kept" "$(cat "$bucket/kept")" "$*"
}
ends_at_once TERM TERM TERM
ends_at_once KILL
unmount

step "a mount that was killed is mounted anew at once, whatever the kernel still answers from its cache"
mount_drive
for i in 1 2 3 4; do
  stat "$mnt" >"$scratch/out"
  kill -KILL "$(mount_pids)"
  [ $((i % 2)) = 1 ] || stat "$mnt" >"$scratch/out" 2>&1 || true
  mount_drive retries=0
  ls "$bucket" >"$scratch/out"
done
equal "mounts" "$(grep -c " $mnt " /proc/self/mountinfo)" 1

step "what waits is told, and waited for"
fault '{"call":"b2_upload_file","status":503,"times":-1}'
refused "Input/output" cp "$0" "$bucket/kept too"
refused '"state": "waiting"' b2drive status --json --wait=0 "$mnt"
heal
b2drive status --wait "$mnt" >"$scratch/out"
grep -q everything "$scratch/out"
unmount

step "a library that may delete more than it is told to is read through only"
sed s/exact_delete/other_delete/ "$B2_PLUGIN" >"$scratch/other"
plugin=$scratch/other mount_drive
refused "Read-only" rm "$bucket/kept"
equal "kept" "$(cat "$bucket/kept")" KILL
unmount

step "a mountpoint or an option that does not fit"
mount_refused() { refused "$1" "$scratch/bin/b2drive" mount -o "$2" "$3"; }
mount_refused "not empty" "cache_dir=$cache" "$scratch/bin"
mount_refused "no such folder" "cache_dir=$cache" "$scratch/missing"
mount_refused no_such_option no_such_option "$mnt"
finish
