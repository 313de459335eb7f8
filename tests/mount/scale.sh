#!/usr/bin/env bash
# Many files, one large file: requests and memory.
. "$(dirname "$0")/../support/shell.sh"
start_emulator --seed bucket-one/many/f:100000:10:100 --seed bucket-one/huge:1:1G
mount_drive dir_ttl=600
at_most() { [ "$2" -le "$3" ] || fail "$1: $2, more than $3"; }  # at_most WHAT GOT LIMIT
memory() { awk '/VmHWM/ { print int($2 / 1024) }' "/proc/$(mount_pids)/status"; }
read_huge() { cat "$bucket/huge" | sha1sum >"$scratch/sum$1"; }

step "find over 100,000 files, twice"
for again in 1 2; do
  equal "files" "$(find "$bucket/many" -type f -printf '%s\n' | wc -l)" 100000
done
at_most "pages for 102 folders" "$(count b2_list_file_names)" 103

step "the first 4096 bytes of 1 GiB"
head -c 4096 "$bucket/huge" >"$scratch/head"
at_most "bytes asked for" "$(control GET requests | grep -oE 'bytes=[0-9]+-[0-9]+' | tr -- =- '  ' |
  awk '{ total += $3 - $2 + 1 } END { print total ? total : 1e9 }')" 1000000

step "all of it, twice at once"
forget_counts
read_huge 1 &
read_huge 2 &
wait_for_jobs
# 64 for one reader; two that drift apart fetch for themselves. Ranges that do not grow make 8,192.
at_most "downloads" "$(count b2_download_file_by_id)" 500
at_most "memory in MiB" "$(memory)" 200

step "all of it through a cache that holds a hundredth"
unmount
mount_drive cache_size=10M
b2drive cat /bucket-one/huge | sha1sum >"$scratch/sum3"
read_huge 4
for i in 2 3 4; do cmp "$scratch/sum1" "$scratch/sum$i"; done
at_most "cached MiB" "$(du -sm "$cache" | cut -f1)" 16
unmount
finish
