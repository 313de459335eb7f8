#!/usr/bin/env bash
# What one client wrote the others list and read, byte for byte: rclone, b2drive, the service's command
# line, its SDK and curl. b2drive asks the service not to verify its uploads.
. "$(dirname "$0")/../support/shell.sh"
start_emulator --recommended-part-size 5000000
rclone() { command rclone --b2-upload-cutoff 5M --b2-chunk-size 5M "$@"; }
cli() { backblaze-b2 "$1" --noProgress "${@:2}" >/dev/null; }
make_tree "$scratch/tree" 995  # the command line sends at most 1,000 bytes, "tree/" among them
backblaze-b2 authorize-account "$key_id" "$key" >/dev/null

drive_reads() {  # drive_reads PATH: b2drive shows the tree below PATH, and nothing else
  rm -rf "$scratch/down"
  mkdir "$scratch/down"
  (cd "$scratch/tree" && find . -mindepth 1 -printf '%y%P\n') | while IFS= read -r name; do
    case $name in
      d*) mkdir -p "$scratch/down/${name:1}" ;;
      *) b2drive cat "$1/${name:1}" >"$scratch/down/${name:1}" ;;
    esac
  done
  diff -r "$scratch/tree" "$scratch/down"
  # shellcheck disable=SC2012
  b2drive ls "$1" | sed 's,/$,,' | sort | diff <(ls "$scratch/tree" | sort) -
}

step "rclone writes, b2drive reads; what is sent again is what has changed"
rclone mkdir b2:from-rclone
rclone sync "$scratch/tree" b2:from-rclone/tree
forget_counts
echo "changed" >"$scratch/tree/100%"
rm "$scratch/tree/empty"
rclone sync "$scratch/tree" b2:from-rclone/tree
equal "uploads and hidings" \
  "$(count b2_upload_file),$(count b2_start_large_file),$(count b2_hide_file)" 1,0,1
rclone check --download "$scratch/tree" b2:from-rclone/tree
drive_reads /from-rclone/tree

step "b2drive writes, rclone reads; the plug-in's folder markers are files to it"
mkdir "$scratch/tree/no files here"
b2drive mkdir /from-drive
b2drive put -r "$scratch/tree" /from-drive
rclone check --download "$scratch/tree" b2:from-drive/tree --exclude .bzEmpty
drive_reads /from-drive/tree
equal "marker" "$(rclone lsf "b2:from-drive/tree/no files here")" .bzEmpty
rmdir "$scratch/tree/no files here"
echo -n | rclone rcat "b2:from-drive/by rclone/.bzEmpty"
equal "a marker by rclone" "$(b2drive ls "/from-drive/by rclone"),$(b2drive stat --json \
  "/from-drive/by rclone" | field name)" ",by rclone"

step "unverified hashes"
equal "hash" "$(rclone sha1sum "b2:from-drive/tree/plain.txt")" \
  "$(cd "$scratch/tree" && sha1sum plain.txt)"
rclone check --checksum "$scratch/tree" b2:from-drive/tree --exclude .bzEmpty
# The command line takes the word "unverified:" for a part of the hash, and writes nothing.
refused "checksum mismatch" cli download-file-by-name from-drive tree/plain.txt "$scratch/cli"
cli download-file-by-name from-drive tree/deep/large.bin "$scratch/cli"
cmp "$scratch/tree/deep/large.bin" "$scratch/cli"
curl -fsS "$(backblaze-b2 get-download-url-with-auth from-drive tree/plain.txt)" -D "$scratch/headers" |
  cmp - "$scratch/tree/plain.txt"
grep -qi '^x-bz-content-sha1: unverified:' "$scratch/headers"

step "the command line writes, twice, b2drive and rclone read"
backblaze-b2 create-bucket from-cli allPrivate >/dev/null
cli sync "$scratch/tree" b2://from-cli/tree
forget_counts
cli sync "$scratch/tree" b2://from-cli/tree
equal "uploads" "$(count b2_upload_file),$(count b2_start_large_file)" 0,0
drive_reads /from-cli/tree
rclone check --download "$scratch/tree" b2:from-cli/tree

step "b2drive deletes what the others wrote"
b2drive rm -r --yes /from-rclone /from-cli /from-drive
equal "buckets" "$(rclone lsd b2:)" ""
finish
