#!/usr/bin/env bash
# A tree of odd names that b2drive syncs up and down, seen by rclone; and one that rclone stored.
. "$(dirname "$0")/../support/shell.sh"
start_emulator --recommended-part-size 5000000
rclone() { command rclone --b2-upload-cutoff 5M --b2-chunk-size 5M "$@"; }
calls() { echo "$(count b2_upload_file),$(count b2_upload_part),$(count b2_download_file_by_id)"; }
make_tree "$scratch/tree" 995
mkdir -p "$scratch/tree/no files here"
echo x >"$scratch/tree/back\\slash"
echo x >"$scratch/tree/-dash"
echo x >"$scratch/tree/$(printf 'n%.0s' $(seq 250))"
rclone mkdir b2:from-drive

step "up, twice, and down, twice"
b2drive sync up "$scratch/tree" /from-drive/tree
rclone check --download "$scratch/tree" b2:from-drive/tree --exclude .bzEmpty
forget_counts
b2drive sync up "$scratch/tree" /from-drive/tree
equal "sent and fetched again" "$(calls)" 0,0,0
b2drive sync down /from-drive/tree "$scratch/down"
diff -r "$scratch/tree" "$scratch/down"
forget_counts
b2drive sync down /from-drive/tree "$scratch/down"
equal "sent and fetched again" "$(calls)" 0,0,0

step "what rclone changed"
echo changed >"$scratch/tree/100%"
rm -r "$scratch/tree/deep"
rm "$scratch/tree/back\\slash"  # rclone stores a backslash as another character
b2drive rm "/from-drive/tree/back\\slash"
rclone sync "$scratch/tree" b2:from-drive/tree --exclude .bzEmpty
b2drive sync down --delete /from-drive/tree "$scratch/down"
diff -r "$scratch/tree" "$scratch/down"

step "what b2drive deletes"
rm "$scratch/tree/100%" "$scratch/tree"/ü*/*/*
b2drive sync up --delete "$scratch/tree" /from-drive/tree
rclone check --download "$scratch/tree" b2:from-drive/tree --exclude .bzEmpty
finish
