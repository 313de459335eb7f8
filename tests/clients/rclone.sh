#!/usr/bin/env bash
# rclone: versions, hiding, parts of files, copies within the service, links, uploads that fail, and a
# service that is killed.
. "$(dirname "$0")/../support/shell.sh"
start_emulator --data "$scratch/data"
rclone() { command rclone --b2-upload-cutoff 5M --b2-chunk-size 5M --b2-copy-cutoff 5M "$@"; }
rclone mkdir b2:first-bucket
rclone mkdir b2:other-bucket
head -c 12000000 /dev/urandom >"$scratch/large.bin"

step "versions and hiding"
folder=b2:first-bucket/folder
for content in one two three; do
  echo "$content" | rclone rcat $folder/note.txt
done
old=$(rclone lsf --b2-versions $folder | grep -- -v | sort | head -1)
equal "oldest" "$(rclone cat --b2-versions "$folder/$old")" one
rclone deletefile $folder/note.txt
equal "hidden by deletion" "$(rclone lsf -R b2:first-bucket)" ""
equal "versions" "$(rclone lsf --b2-versions $folder | wc -l)" 3
rclone cleanup b2:first-bucket
equal "versions after the clean-up" "$(rclone lsf --b2-versions $folder)" ""

step "parts fail: refused, cut in the middle, answer lost"
fault '[{"call": "b2_upload_part", "skip": 1, "status": 503, "code": "service_unavailable"},
        {"call": "b2_upload_part", "cutRequestAfter": 100000},
        {"call": "b2_upload_part", "commit": true, "cutAfter": 0}]'
rclone copy "$scratch/large.bin" b2:first-bucket
rclone cat b2:first-bucket/large.bin | cmp - "$scratch/large.bin"
equal "parts" "$(count b2_upload_part)" 6
fault '{"call": "b2_upload_part", "skip": 2, "times": -1, "status": 400, "code": "bad_request"}'
refused bad_request rclone copyto --retries 1 "$scratch/large.bin" b2:first-bucket/never
equal "unfinished large files" "$(count openLargeFiles)" 0
heal

step "killed between two parts, and what came before"
fault '{"call": "b2_upload_part", "skip": 1, "times": -1, "dripRequest": 100000}'
rclone copyto --transfers 1 "$scratch/large.bin" b2:other-bucket/across &
copying=$!
until [ "$(count b2_upload_part)" -ge 2 ]; do sleep 0.1; done
restart_emulator --data "$scratch/data"
wait "$copying"
rclone cat b2:other-bucket/across | cmp - "$scratch/large.bin"
rclone cat b2:first-bucket/large.bin | cmp - "$scratch/large.bin"
rclone deletefile b2:other-bucket/across

step "a part of a file"
rclone cat --offset 5000000 --count 1234567 b2:first-bucket/large.bin |
  cmp - <(head -c 6234567 "$scratch/large.bin" | tail -c 1234567)
rclone cat --offset -100 b2:first-bucket/large.bin | cmp - <(tail -c 100 "$scratch/large.bin")

step "copies within the service, and a link"
forget_counts
command rclone copyto b2:first-bucket/large.bin b2:other-bucket/copy-in-one
rclone copyto b2:first-bucket/large.bin b2:other-bucket/parts
command rclone moveto b2:other-bucket/parts "b2:other-bucket/moved 100%"
equal "calls" "$(count b2_copy_file),$(count b2_copy_part),$(count b2_upload_file)" 2,3,0
equal "names" "$(rclone lsf b2:other-bucket)" $'copy-in-one\nmoved 100%'
rclone cat "b2:other-bucket/moved 100%" | cmp - "$scratch/large.bin"
link=$(rclone link --expire 1h b2:other-bucket/copy-in-one)  # rclone encodes no name here
curl -fsS "$link" | cmp - "$scratch/large.bin"
finish
