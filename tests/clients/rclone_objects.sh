#!/usr/bin/env bash
# rclone: versions, hiding, parts of files, copies within the service, links, keys with limits.
. "$(dirname "$0")/lib.sh"
start_emulator
large=(--b2-upload-cutoff 5M --b2-chunk-size 5M)
rclone mkdir b2:first-bucket
rclone mkdir b2:other-bucket
head -c 12000000 /dev/urandom >"$scratch/large.bin"

step "versions and hiding"
for content in one two three; do
  echo "$content" | rclone rcat b2:first-bucket/folder/note.txt
done
equal "newest" "$(rclone cat b2:first-bucket/folder/note.txt)" three
equal "versions" "$(rclone lsf --b2-versions b2:first-bucket/folder | wc -l)" 3
old=$(rclone lsf --b2-versions b2:first-bucket/folder | grep -- -v | sort | head -1)
equal "oldest" "$(rclone cat --b2-versions "b2:first-bucket/folder/$old")" one
rclone deletefile b2:first-bucket/folder/note.txt
equal "hidden by deletion" "$(rclone lsf -R b2:first-bucket)" ""
equal "still there" "$(rclone lsf --b2-versions b2:first-bucket/folder | wc -l)" 3
rclone cleanup b2:first-bucket
equal "versions after the clean-up" "$(rclone lsf --b2-versions b2:first-bucket/folder)" ""
echo gone | rclone rcat b2:first-bucket/folder/note.txt
rclone deletefile --b2-hard-delete b2:first-bucket/folder/note.txt
equal "versions after deleting" "$(rclone lsf -R --b2-versions b2:first-bucket)" ""

step "a part of a file"
rclone copy "${large[@]}" "$scratch/large.bin" b2:first-bucket
rclone cat --offset 5000000 --count 1234567 b2:first-bucket/large.bin >"$scratch/part"
equal "bytes" "$(stat -c %s "$scratch/part")" 1234567
cmp -i 5000000:0 -n 1234567 "$scratch/large.bin" "$scratch/part" || fail "wrong part"
rclone cat --offset -100 b2:first-bucket/large.bin | cmp - <(tail -c 100 "$scratch/large.bin") ||
  fail "wrong end"

step "copies within the service"
forget_counts
rclone copyto b2:first-bucket/large.bin "b2:other-bucket/copy in one"
rclone copyto "${large[@]}" --b2-copy-cutoff 5M b2:first-bucket/large.bin b2:other-bucket/parts
rclone moveto b2:other-bucket/parts "b2:other-bucket/moved 100%"
equal "calls" "$(count b2_copy_file),$(count b2_copy_part),$(count b2_upload_file)" 2,3,0
equal "names" "$(rclone lsf b2:other-bucket)" $'copy in one\nmoved 100%'
for copy in "copy in one" "moved 100%"; do
  rclone cat "b2:other-bucket/$copy" | cmp - "$scratch/large.bin" || fail "$copy differs"
done

step "a link"
rclone copyto b2:first-bucket/large.bin b2:other-bucket/linked.bin
link=$(rclone link --expire 1h b2:other-bucket/linked.bin)  # rclone encodes no name here
curl -fsS "$link" | cmp - "$scratch/large.bin" || fail "the link leads to other bytes"

step "purging"
rclone purge b2:other-bucket
rclone purge b2:first-bucket
equal "buckets" "$(rclone lsd b2:)" ""
stop_emulator
