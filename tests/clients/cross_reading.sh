#!/usr/bin/env bash
# What one client wrote the others list and read, byte for byte, with hash, type and time: rclone,
# b2drive, the service's command line, its SDK and curl.
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

modified=2001-02-03T04:05:06.789Z
find "$scratch/tree" -type f -exec touch -d "$modified" {} +
type_of() { if [ "${1##*.}" = txt ]; then echo text/plain; else echo application/octet-stream; fi; }

drive_shows() {  # drive_shows PATH: a file's time, hash and type, and gives them to its copy here
  b2drive stat --json "$1/plain.txt" >"$scratch/seen"
  equal "time" "$(date -d "$(field modified <"$scratch/seen")" +%s)" "$(date -d "$modified" +%s)"
  equal "hash" "$(field sha1 <"$scratch/seen")" "$(sha1sum <"$scratch/tree/plain.txt" | cut -d" " -f1)"
  equal "type" "$(field content_type <"$scratch/seen" | cut -d";" -f1)" text/plain
  b2drive get "$1/plain.txt" "$scratch/mine"
  equal "time of the copy" "$(stat -c %Y "$scratch/mine")" "$(date -d "$modified" +%s)"
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
drive_shows /from-rclone/tree

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

step "hashes, types and times that b2drive stores"
for file in plain.txt deep/large.bin; do
  hash=$(sha1sum <"$scratch/tree/$file" | cut -d" " -f1)
  rclone lsjson --hash "b2:from-drive/tree/$file" >"$scratch/seen"
  equal "time by rclone" "$(field ModTime <"$scratch/seen" | cut -d. -f1)" "${modified%.*}"
  equal "type by rclone" "$(field MimeType <"$scratch/seen")" "$(type_of "$file")"
  equal "hash by rclone" "$(field sha1 <"$scratch/seen")" "$hash"
  # A database of accounts that the SDK has touched is none for the command line any more.
  /usr/bin/python3 - "tree/$file" "$hash" "$(type_of "$file")" "$(date -d "$modified" +%s%3N)" <<'END'
import os
import sys
from b2sdk import v2 as b2
api = b2.B2Api(b2.InMemoryAccountInfo())
api.authorize_account("production", os.environ["B2_APPLICATION_KEY_ID"], os.environ["B2_APPLICATION_KEY"])
file = api.get_bucket_by_name("from-drive").get_file_info_by_name(sys.argv[1])
info = file.file_info
found = [info.get("large_file_sha1", file.content_sha1), file.content_type,
         info["src_last_modified_millis"]]
assert found == sys.argv[2:], found
END
  cli download-file-by-name from-drive "tree/$file" "$scratch/cli"
  cmp "$scratch/tree/$file" "$scratch/cli"
done
rclone check --checksum "$scratch/tree" b2:from-drive/tree --exclude .bzEmpty
b2drive put --type x/y --info colour=red "$scratch/tree/plain.txt" /from-drive/typed
id=$(b2drive stat --json /from-drive/typed | field id)
backblaze-b2 get-file-info "${id#*/}" >"$scratch/seen"
equal "type and information by the command line" \
  "$(field contentType <"$scratch/seen"),$(field colour <"$scratch/seen")" x/y,red
b2drive mv /from-drive/typed "/from-drive/tree/moved 100%"
curl -fsS "$(backblaze-b2 get-download-url-with-auth from-drive "tree/moved 100%")" -D "$scratch/headers" |
  cmp - "$scratch/tree/plain.txt"
grep -qi '^x-bz-info-colour: red' "$scratch/headers"

step "the command line writes, twice, b2drive and rclone read"
backblaze-b2 create-bucket from-cli allPrivate >/dev/null
cli sync "$scratch/tree" b2://from-cli/tree
forget_counts
cli sync "$scratch/tree" b2://from-cli/tree
equal "uploads" "$(count b2_upload_file),$(count b2_start_large_file)" 0,0
drive_reads /from-cli/tree
drive_shows /from-cli/tree
rclone check --download "$scratch/tree" b2:from-cli/tree

step "b2drive deletes what the others wrote"
b2drive rm -r --yes /from-rclone /from-cli /from-drive
equal "buckets" "$(rclone lsd b2:)" ""
finish
