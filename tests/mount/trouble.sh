#!/bin/bash
# What goes wrong around the mount: a full disk, an emulator that is away, storms of refusals,
# tokens that end, unmounting while something is sent.
. "$(dirname "$0")/lib.sh" "$@"
StartEmulator --recommended-part-size 5000000
head -c 3000000 /dev/urandom > "$SCRATCH/file"
Same() { Must 120 cmp "$SCRATCH/file" "$1"; }

Note "a full disk under cache_dir"
mkdir "$SCRATCH/small" && mount -t tmpfs -o size=2M none "$SCRATCH/small"
KEPT=$CACHE CACHE=$SCRATCH/small
Mount
MustFail 60 cp "$SCRATCH/file" "$BUCKET/too-large"
grep -q "No space left" "$SCRATCH/out" || Fail "no ENOSPC: $(cat "$SCRATCH/out")"
rm -f "$BUCKET/too-large"
Must 60 cp "$0" "$BUCKET/small-enough"
Unmount
CACHE=$KEPT; Mount
Must 60 cp "$SCRATCH/file" "$BUCKET/file"
Unmount
CACHE=$SCRATCH/small; Mount
Same "$BUCKET/file"     # larger than the disk that caches it
Unmount
CACHE=$KEPT
Mount

Note "a storm of 503 and 500"
Faults '[{"call":"b2_list_file_names","status":503,"code":"busy","times":3},
  {"call":"b2_upload_file","status":503,"code":"busy","times":3},
  {"call":"b2_upload_file","status":500,"code":"bad","skip":3,"times":2},
  {"call":"b2_download_file_by_id","status":503,"code":"busy","times":2},
  {"call":"b2_download_file_by_id","cutAfter":1000000,"skip":2,"times":2},
  {"call":"b2_list_file_versions","status":500,"code":"bad","times":1}]'
Must 120 cp "$SCRATCH/file" "$BUCKET/in-storm"
Unmount; Mount  # so that nothing is cached
Same "$BUCKET/in-storm"
Must 120 rm "$BUCKET/in-storm"
Must 60 ls "$BUCKET"
[ ! -e "$BUCKET/in-storm" ] || Fail "deleted file is back"
NoFaults

Note "429 waited out"
Faults '[{"call":"b2_upload_file","status":429,"code":"slow","times":2},
  {"call":"b2_get_file_info","status":429,"code":"slow","times":1}]'
Must 120 cp "$SCRATCH/file" "$BUCKET/throttled"
Must 120 rm "$BUCKET/throttled"
NoFaults

Note "deletion refused: the name must not seem gone"
Must 60 cp "$0" "$BUCKET/stays"
Faults '[{"call":"b2_list_file_versions","status":400,"code":"bad","times":50}]'
MustFail 200 rm "$BUCKET/stays"
NoFaults
Must 60 cmp "$0" "$BUCKET/stays"
Must 60 rm "$BUCKET/stays"
[ ! -e "$BUCKET/stays" ] || Fail "stays"

Note "uploads refused without end: an error at close, kept, sent later"
Unmount; Mount retries=2,dir_ttl=0
Faults '[{"call":"b2_upload_file","status":500,"code":"bad","times":-1}]'
MustFail 120 cp "$SCRATCH/file" "$BUCKET/later"
Same "$BUCKET/later"
Drive status "$MNT" | grep -q "/bucket-one/later: 3000000 bytes" || Fail "status: $(Drive status "$MNT")"
Faults '[{"call":"b2_list_file_names","status":500,"code":"bad","times":-1}]'
Same "$BUCKET/later"    # nobody has to be asked about it
NoFaults
Faults '[{"call":"b2_upload_file","status":500,"code":"bad","times":-1}]'
MustFail 120 python3 -c "
import os; f = os.open('$BUCKET/synced', os.O_CREAT | os.O_WRONLY); os.write(f, b'x'); os.fsync(f)"
KillMount
NoFaults
Mount
for tries in $(seq 200); do Drive status "$MNT" | grep -q everything && break; sleep 0.1; done
Same "$BUCKET/later"
Unmount; Mount
Same "$BUCKET/later"
[ "$(cat "$BUCKET/synced")" = x ] || Fail "what fsync could not send was not sent later"

Note "tokens that end while a tree is copied"
mkdir "$SCRATCH/tree" && for i in $(seq 60); do head -c 20000 /dev/urandom > "$SCRATCH/tree/$i"; done
(for i in $(seq 6); do sleep 0.2; Control POST /expire > /dev/null; done) &
EXPIRING=$!
Must 120 cp -r "$SCRATCH/tree" "$BUCKET/tree"
wait $EXPIRING
Control POST /expire > /dev/null
Must 120 diff -r "$SCRATCH/tree" "$BUCKET/tree"

Note "the service away and back"
kill -STOP "$EMULATOR_PID"
(sleep 3; kill -CONT "$EMULATOR_PID") &
Must 120 cp "$SCRATCH/file" "$BUCKET/after-pause"
Faults '[{"call":"","cutRequestAfter":0,"times":-1}]'
Unmount; Faults '[]'; NoFaults; Mount
Faults '[{"call":"","cutRequestAfter":0,"times":-1}]'
(sleep 2; NoFaults) &
Must 120 cp "$SCRATCH/file" "$BUCKET/after-cuts"
Same "$BUCKET/after-cuts"

Note "unmount while something is sent"
Control POST /latency '{"milliseconds":700}' > /dev/null
for i in $(seq 8); do touch "$BUCKET/touched$i"; done &
TOUCHING=$!
cp "$SCRATCH/file" "$BUCKET/sent-late" &
COPYING=$!
wait $TOUCHING $COPYING
Unmount
Control POST /latency '{"milliseconds":0}' > /dev/null
Mount
Same "$BUCKET/sent-late"
[ "$(ls "$BUCKET" | grep -c touched)" = 8 ] || Fail "touched files: $(ls "$BUCKET")"

Note "SIGTERM with an open file"
exec 8> "$BUCKET/open"
echo saved > "$BUCKET/closed"
kill -TERM "$(HostPids)"
sleep 0.5; kill -TERM "$(HostPids)"
AwaitEnd 150
exec 8>&-
Mount
[ "$(cat "$BUCKET/closed")" = saved ] || Fail "closed file after SIGTERM"

Note "a mountpoint that does not fit"
mkdir "$SCRATCH/full" && : > "$SCRATCH/full/file"
MustFail 30 "$SCRATCH/app/bin/b2drive" mount -o "cache_dir=$SCRATCH/other" "$SCRATCH/full"
MustFail 30 "$SCRATCH/app/bin/b2drive" mount -o "cache_dir=$SCRATCH/other" "$SCRATCH/missing"
MustFail 30 "$SCRATCH/app/bin/b2drive" mount -o "no_such_option" "$SCRATCH/full"
Finish
