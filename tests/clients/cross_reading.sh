#!/usr/bin/env bash
# What one client wrote the others list and read, byte for byte: rclone, b2drive, the service's command
# line and curl. b2drive asks the service not to verify its uploads.
. "$(dirname "$0")/lib.sh"
start_emulator --recommended-part-size 5000000
make_tree "$scratch/tree" 995
mkdir "$scratch/tree/no files here"
backblaze-b2 authorize-account "$key_id" "$key" >/dev/null

drive_reads() {  # drive_reads FOLDER PATH: b2drive shows the folder's files below PATH, and nothing else
  local name
  (cd "$1" && find . -type f -printf '%P\n') >"$scratch/names"
  [ -s "$scratch/names" ] || fail "$1 is empty"
  while IFS= read -r name; do
    b2drive cat "$2/$name" | cmp - "$1/$name" || fail "b2drive reads other bytes: $name"
  done <"$scratch/names"
  (cd "$1" && find . -mindepth 1 -maxdepth 1 -printf '%f\n' | sort) >"$scratch/wanted"
  b2drive ls "$2" | sed 's,/$,,' | sort | diff "$scratch/wanted" - || fail "b2drive lists other names"
}

step "rclone writes, b2drive reads"
rclone mkdir b2:from-rclone
rclone copy --b2-upload-cutoff 5M --b2-chunk-size 5M "$scratch/tree" b2:from-rclone/tree
rmdir "$scratch/tree/no files here"  # rclone keeps no empty folders
drive_reads "$scratch/tree" /from-rclone/tree
mkdir "$scratch/tree/no files here"

step "b2drive writes, rclone reads; the plug-in's folder markers are files to it"
b2drive mkdir /from-drive
b2drive put -r "$scratch/tree" /from-drive
rclone copy b2:from-drive "$scratch/down"
find "$scratch/down" -name .bzEmpty -size 0 -delete
rclone check --download "$scratch/tree" b2:from-drive/tree --exclude .bzEmpty
diff -r "$scratch/tree" "$scratch/down/tree" || fail "rclone reads other bytes"
drive_reads "$scratch/tree" /from-drive/tree
equal "marker" "$(rclone lsf "b2:from-drive/tree/no files here")" .bzEmpty
echo -n | rclone rcat "b2:from-drive/by rclone/.bzEmpty"
equal "a marker by rclone" "$(b2drive ls "/from-drive/by rclone"),$(b2drive stat --json \
  "/from-drive/by rclone" | field name)" ",by rclone"

step "unverified hashes"
small=from-drive/tree/plain.txt
equal "hash" "$(rclone sha1sum "b2:$small")" "$(sha1sum <"$scratch/tree/plain.txt" | sed s/-/plain.txt/)"
rclone check --checksum "$scratch/tree" b2:from-drive/tree --exclude .bzEmpty
sdk_reads() {  # sdk_reads BUCKET NAME FILE
  /usr/bin/python3 - "$@" <<'PYTHON'
import os, sys
from b2sdk import v2 as b2
api = b2.B2Api(b2.InMemoryAccountInfo())
api.authorize_account("production", os.environ["B2_APPLICATION_KEY_ID"], os.environ["B2_APPLICATION_KEY"])
api.get_bucket_by_name(sys.argv[1]).download_file_by_name(sys.argv[2]).save_to(sys.argv[3])
PYTHON
}
for name in plain.txt empty "ümlaut/日本語/😀.txt" deep/large.bin; do
  sdk_reads from-drive "tree/$name" "$scratch/sdk"
  same_bytes "$scratch/tree/$name" "$scratch/sdk"
done
# The command line takes the word "unverified:" for a part of the hash, and writes nothing.
refused backblaze-b2 download-file-by-name --noProgress from-drive tree/plain.txt "$scratch/cli"
said "checksum mismatch"
backblaze-b2 download-file-by-name --noProgress from-drive tree/deep/large.bin "$scratch/cli" >/dev/null
same_bytes "$scratch/tree/deep/large.bin" "$scratch/cli"
curl -fsS "$(backblaze-b2 get-download-url-with-auth from-drive tree/plain.txt)" -D "$scratch/headers" |
  cmp - "$scratch/tree/plain.txt" || fail "curl reads other bytes"
grep -qi '^x-bz-content-sha1: unverified:' "$scratch/headers" || fail "the hash is not unverified"

step "the command line writes, b2drive and rclone read"
backblaze-b2 create-bucket from-cli allPrivate >/dev/null
backblaze-b2 sync --noProgress "$scratch/tree" b2://from-cli/tree >/dev/null
rmdir "$scratch/tree/no files here"
drive_reads "$scratch/tree" /from-cli/tree
rclone check --download "$scratch/tree" b2:from-cli/tree

step "b2drive deletes what the others wrote"
b2drive rm -r --yes /from-rclone /from-cli /from-drive
equal "buckets" "$(rclone lsd b2:)" ""
stop_emulator
