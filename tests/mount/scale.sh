#!/bin/bash
# Many files, one large file: requests, memory, time.
. "$(dirname "$0")/lib.sh" "$@"
StartEmulator --seed bucket-one/many/f:100000:10:100 --seed bucket-one/huge:1:1G
Mount dir_ttl=600
Memory() { awk '/VmHWM/ { print int($2 / 1024) }' "/proc/$(HostPids)/status"; }

Note "find over 100,000 files"
ResetCalls; before=$(Calls b2_list_file_names)
[ "$(find "$BUCKET/many" -type f -printf '%s\n' | wc -l)" = 100000 ] || Fail "find"
pages=$(($(Calls b2_list_file_names) - before))
Note "pages: $pages, memory: $(Memory) MiB"
[ "$pages" -le 103 ] || Fail "$pages pages for 102 folders"
find "$BUCKET/many" -type f -size +1k | wc -l > /dev/null
again=$(($(Calls b2_list_file_names) - before - pages))
[ "$again" = 0 ] || Fail "the second find made $again listings"
[ "$(Memory)" -lt 200 ] || Fail "memory: $(Memory) MiB"

Note "the first 4096 bytes of 1 GiB"
Downloaded() { Control GET /requests | python3 -c "
import json, re, sys
total = 0
for r in json.load(sys.stdin):
    for name, value in r['headers']:
        m = re.match(r'bytes=(\d+)-(\d+)', value) if name.lower() == 'range' else None
        total += int(m[2]) - int(m[1]) + 1 if m else 0
print(total)"; }
before=$(Downloaded)
head -c 4096 "$BUCKET/huge" | wc -c > /dev/null
bytes=$(($(Downloaded) - before))
Note "asked for $bytes bytes"
[ "$bytes" -gt 0 ] && [ "$bytes" -lt 1000000 ] || Fail "$bytes bytes for 4096"

Note "all of it, twice at once"
ResetCalls; before=$(Calls b2_download_file_by_id)
cat "$BUCKET/huge" | sha1sum > "$SCRATCH/sum1" &
cat "$BUCKET/huge" | sha1sum > "$SCRATCH/sum2" &
wait %cat 2> /dev/null; for job in $(jobs -p); do [ "$job" = "$EMULATOR_PID" ] || wait "$job"; done
cmp "$SCRATCH/sum1" "$SCRATCH/sum2" || Fail "two readers, two contents"
Note "downloads: $(($(Calls b2_download_file_by_id) - before)), memory: $(Memory) MiB"
# 64 for one reader; two that drift apart fetch for themselves. Ranges that do not grow make 8,192.
[ "$(($(Calls b2_download_file_by_id) - before))" -lt 500 ] || Fail "ranges do not grow"
[ "$(Memory)" -lt 200 ] || Fail "memory: $(Memory) MiB"

Note "all of it through a cache that holds a hundredth"
Unmount; Mount cache_size=10M
Drive cat /bucket-one/huge | sha1sum > "$SCRATCH/sum3"
cat "$BUCKET/huge" | sha1sum > "$SCRATCH/sum4"
cmp "$SCRATCH/sum1" "$SCRATCH/sum3" && cmp "$SCRATCH/sum3" "$SCRATCH/sum4" || Fail "wrong bytes"
held=$(du -sm "$CACHE" | cut -f1)
[ "$held" -le 16 ] || Fail "the cache holds $held MiB"
Finish
