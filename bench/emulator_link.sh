#!/usr/bin/env bash
# emulator_link.sh [BUILD]: transfers over several of b2emulator's links by curl beside the computed time, and
# the CPU time that 8 downloads of 20 MB/s each take the emulator over a link and, held back by curl
# alone, without one. Fails when a transfer is off by more than 5% or the link takes 5% of a core.
set -euo pipefail
cd "$(dirname "$0")/.."
emulator=${1:-build/release}/bin/b2emulator
file=https://f001.backblazeb2.com/file/link-bucket/file.bin
readonly MB=1000000 SIZE=100 CONNECTIONS=8 RATE=20
failed=0

scratch=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; wait; rm -rf "$scratch"' EXIT

field() { sed -nE "s/.*\"$1\": ?\"?([^\",}]*).*/\1/p" "${2:-$scratch/ready}"; }

"$emulator" --ca-file "$scratch/ca.pem" --seed "link-bucket/file.bin:1:$((SIZE * MB))" --no-request-log \
  >"$scratch/ready" &
until [ -s "$scratch/ready" ]; do
  kill -0 $! || exit 1
  sleep 0.1
done
pid=$! port=$(field port)

direct() { curl -fsS --noproxy '*' --cacert "$scratch/ca.pem" --connect-to "::127.0.0.1:$port" "$@"; }
by_proxy() { curl -fsS --proxy "http://127.0.0.1:$port" --cacert "$scratch/ca.pem" "$@"; }
set_link() { by_proxy -o /dev/null -d "{\"link\": \"$1\"}" https://control.backblazeb2.com/link; }
api() { by_proxy -H "Authorization: $token" "https://api001.backblazeb2.com/b2api/v1/$1" "${@:2}"; }

token=$(printf 'user = "%s:%s"\n' "$(field accountId)" "$(field applicationKey)" |
  by_proxy --config - https://api.backblazeb2.com/b2api/v1/b2_authorize_account |
  sed -nE 's/.*"authorizationToken": ?"([^"]*)".*/\1/p')
bucket=$(api b2_list_buckets -d "{\"accountId\": \"$(field accountId)\"}" |
  sed -nE 's/.*"bucketId": ?"([^"]*)".*/\1/p')
head -c $((SIZE * MB)) /dev/zero >"$scratch/file"
sha1=$(sha1sum "$scratch/file" | cut -d' ' -f1)

download() { "$1" -H "Authorization: $token" -o /dev/null -w '%{time_total}' "${@:2}" "$file"; }

upload() {  # upload WAY BYTES
  api b2_get_upload_url -d "{\"bucketId\": \"$bucket\"}" >"$scratch/target"
  "$1" -H "Authorization: $(field authorizationToken "$scratch/target")" -H "X-Bz-File-Name: up" \
    -H "Content-Type: a/b" -H "X-Bz-Content-Sha1: $sha1" -H "Expect:" -T "$scratch/file" -X POST \
    -o /dev/null -w '%{time_total}' "$(field uploadUrl "$scratch/target")"
}

compare() {  # compare WHAT COMPUTED MEASURED
  awk -v what="$1" -v computed="$2" -v took="$3" 'BEGIN {
    off = 100 * (took / computed - 1)
    printf "%-42s computed %7.3f s, took %7.3f s, %+.1f %%\n", what, computed, took, off
    exit off < -5 || off > 5 }' || failed=1
}

accuracy() {  # accuracy RTT_MS MB_PER_S LOSS_MS EVERY_MB: TCP, TLS and the request take a round trip each
  set_link ''
  local computed link=$1,$2,$3/$4 way
  computed=$(awk -v rtt="$1" -v rate="$2" -v loss="$3" -v every="$4" -v size=$SIZE \
    'BEGIN { print 3 * rtt / 1000 + size / rate + int(size / every) * loss / 1000 }')
  for way in direct by_proxy; do
    set_link "$link"
    compare "$link, $SIZE MB down, $way" "$computed" "$(download $way)"
    compare "$link, $SIZE MB up, $way" "$computed" "$(upload $way)"
  done
}

cpu() { awk -v hertz="$(getconf CLK_TCK)" '{ print ($14 + $15) / hertz }' "/proc/$pid/stat"; }

all_at_once() {  # all_at_once CURL-ARGUMENTS...: percents of a core that the emulator takes meanwhile
  local before started jobs=() _
  before=$(cpu) started=$(date +%s.%N)
  for _ in $(seq $CONNECTIONS); do
    download direct "$@" >/dev/null &
    jobs+=($!)
  done
  wait "${jobs[@]}"
  awk -v from="$before" -v to="$(cpu)" -v started="$started" -v ended="$(date +%s.%N)" \
    'BEGIN { printf "%.1f", 100 * (to - from) / (ended - started) }'
}

accuracy 10 20 0 1000
accuracy 50 20 0 1000
accuracy 150 20 0 1000
accuracy 50 5 0 1000
accuracy 50 20 200 15
for _ in 1 2 3; do
  set_link ''
  without=$(all_at_once --limit-rate ${RATE}M)
  set_link 50,$RATE
  with=$(all_at_once)
  echo "$CONNECTIONS downloads of $RATE MB/s: $without % of a core without a link, $with % over one"
  awk -v with="$with" -v without="$without" 'BEGIN { exit with - without > 5 }' || failed=1
done
exit $failed
