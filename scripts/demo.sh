#!/usr/bin/env bash
# demo.sh [--shell]: builds, starts a seeded emulator of the service and shows the drive at work through
# the real library. With --shell it opens a shell instead, set up for the running emulator.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/release

scripts/bootstrap.sh
cmake --preset release --log-level=WARNING
cmake --build --preset release --parallel --target b2drive b2emulator backblazeb2

scratch=$(mktemp -d)
emulator=
clean_up() {
  fusermount3 -uz "$scratch/drive" 2>/dev/null || true
  [ -z "$emulator" ] || { kill "$emulator" 2>/dev/null; wait "$emulator" 2>/dev/null; } || true
  rm -rf "$scratch"
}
trap clean_up EXIT

start_emulator() {  # leaves its account in the environment
  mkdir -p "$scratch/Frameworks"
  "$build/bin/b2emulator" --ca-file "$scratch/Frameworks/cacert.pem" \
    --recommended-part-size 5000000 \
    --seed demo-photos/2019/beach.jpg:1:3M --seed demo-photos/2019/raw/img-:12:100K \
    --seed demo-photos/readme.txt:1:2K --seed demo-backup/disk.img:1:40M >"$scratch/ready" &
  emulator=$!
  for _ in $(seq 100); do
    [ -s "$scratch/ready" ] && break
    kill -0 "$emulator" 2>/dev/null || { echo "demo: the emulator did not start" >&2; exit 1; }
    sleep 0.1
  done
  B2_APPLICATION_KEY_ID=$(field accountId)
  B2_APPLICATION_KEY=$(field applicationKey)
  B2DRIVE_PROXY=http://127.0.0.1:$(field port)
  export B2_APPLICATION_KEY_ID B2_APPLICATION_KEY B2DRIVE_PROXY
}

field() {  # a member of the emulator's line of JSON
  sed -nE "s/.*\"$1\": ?\"?([^\",}]*).*/\1/p" "$scratch/ready"
}

make_host_folder() {  # a host as it is installed, but for the CA bundle
  mkdir -p "$scratch/bin" "$scratch/lib" "$scratch/files"
  cp "$build/bin/b2drive" "$scratch/bin/"
  cp "$build"/lib/libbackblazeb2*.* "$scratch/lib/"
  PATH=$scratch/bin:$PATH
}

show() {
  printf '\n$ %s\n' "$*"
  "$@"
}

same() {  # same LOCAL PATH: the drive holds the same bytes
  local local_sum remote_sum
  local_sum=$(sha256sum <"$1")
  remote_sum=$(b2drive cat "$2" | sha256sum)
  [ "$local_sum" = "$remote_sum" ] || { echo "demo: $2 differs from $1" >&2; exit 1; }
  printf 'same bytes: %s\n' "$2"
}

show_reading() {
  show b2drive ls
  show b2drive ls -l /demo-photos
  show b2drive ls -l /demo-photos/2019
  show b2drive stat /demo-photos/2019/beach.jpg
  show b2drive get /demo-photos/2019/beach.jpg "$scratch/files/beach.jpg"
  same "$scratch/files/beach.jpg" /demo-photos/2019/beach.jpg
  local sent received
  sent=$(curl -fsS --proxy "$B2DRIVE_PROXY" --cacert "$scratch/Frameworks/cacert.pem" \
    -H "Authorization: $(token)" \
    https://f001.backblazeb2.com/file/demo-photos/2019/beach.jpg | sha256sum)
  received=$(sha256sum <"$scratch/files/beach.jpg")
  [ "$sent" = "$received" ] || { echo "demo: another client reads other bytes" >&2; exit 1; }
  echo "same bytes: as curl reads them"
}

token() {
  printf 'user = "%s:%s"\n' "$B2_APPLICATION_KEY_ID" "$B2_APPLICATION_KEY" |
    curl -fsS --proxy "$B2DRIVE_PROXY" --cacert "$scratch/Frameworks/cacert.pem" --config - \
      https://api.backblazeb2.com/b2api/v1/b2_authorize_account |
    sed -nE 's/.*"authorizationToken": ?"([^"]*)".*/\1/p'
}

show_writing() {
  local files=$scratch/files
  echo "a small file" >"$files/small.txt"
  : >"$files/empty"
  echo "name in spaces" >"$files/grüße aus köln.txt"
  head -c 12345678 /dev/urandom >"$files/three parts.bin"
  show b2drive mkdir /demo-new-bucket
  show b2drive mkdir -p /demo-new-bucket/notes/2026
  show b2drive put "$files/small.txt" "$files/empty" "$files/grüße aus köln.txt" \
    "$files/three parts.bin" /demo-new-bucket/notes/2026
  show b2drive ls -l /demo-new-bucket/notes/2026
  local name
  for name in small.txt empty "grüße aus köln.txt" "three parts.bin"; do
    same "$files/$name" "/demo-new-bucket/notes/2026/$name"
  done
}

show_mounting() {
  local drive=$scratch/drive
  mkdir "$drive"
  cp -a docs "$scratch/files/tree"
  show b2drive mount "$drive"
  show cp -a "$scratch/files/tree" "$drive/demo-new-bucket/"
  show diff -r "$scratch/files/tree" "$drive/demo-new-bucket/tree"
  show fusermount3 -u "$drive"
  show b2drive mount "$drive"
  show diff -r "$scratch/files/tree" "$drive/demo-new-bucket/tree"
  show ls -l "$drive/demo-new-bucket/tree"
  show fusermount3 -u "$drive"
  wait_for_unmount "$drive"
}

wait_for_unmount() {
  for _ in $(seq 100); do
    pgrep -f "b2drive mount $1" >/dev/null || return 0
    sleep 0.1
  done
  echo "demo: the drive did not end" >&2
  exit 1
}

show_deleting() {
  show b2drive rm /demo-new-bucket/notes/2026/small.txt
  show b2drive rm -r --yes /demo-new-bucket /demo-photos /demo-backup
  show b2drive ls
  [ -z "$(b2drive ls)" ] || { echo "demo: the drive is not empty" >&2; exit 1; }
}

start_emulator
make_host_folder
if [ "${1:-}" = --shell ]; then
  echo "b2drive reaches the emulator in this shell; try: b2drive ls -l /demo-photos"
  "${SHELL:-/bin/bash}" -i || true
  exit 0
fi
show_reading
show_writing
show_mounting
show_deleting
printf '\nIt works: everything that was listed, read, written and deleted above went through the library.\n'
