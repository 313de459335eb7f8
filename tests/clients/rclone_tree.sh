#!/usr/bin/env bash
# rclone: a tree goes up and comes down byte for byte; a second sync sends nothing.
. "$(dirname "$0")/lib.sh"
start_emulator
large=(--b2-upload-cutoff 5M --b2-chunk-size 5M)

make_tree "$scratch/tree"
step "up, compared on the service, and down"
rclone mkdir b2:tree-bucket
rclone copy "${large[@]}" "$scratch/tree" b2:tree-bucket
rclone check --download "$scratch/tree" b2:tree-bucket
rclone copy b2:tree-bucket "$scratch/down"
diff -r "$scratch/tree" "$scratch/down" || fail "the tree came back changed"
equal "parts of the large file" "$(count b2_upload_part)" 3

step "the second sync sends nothing, the third what has changed"
forget_counts
rclone sync "${large[@]}" "$scratch/tree" b2:tree-bucket
equal "uploads" "$(count b2_upload_file),$(count b2_start_large_file),$(count b2_hide_file)" 0,0,0
echo "changed" >"$scratch/tree/100%"
rm "$scratch/tree/empty"
rclone sync "${large[@]}" "$scratch/tree" b2:tree-bucket
equal "uploads and hidings" "$(count b2_upload_file),$(count b2_hide_file)" 1,1
rclone check --download "$scratch/tree" b2:tree-bucket

step "the bucket goes when it is empty"
refused rclone rmdir b2:tree-bucket
rclone purge b2:tree-bucket
equal "buckets" "$(rclone lsd b2:)" ""
stop_emulator
