# Sourced by the tests of clients/ and mount/, by bench/load and bench/faults: an emulator of one's own,
# clients and b2drive that trust it, a mount, and checks. From the environment: B2EMULATOR, B2DRIVE and
# B2_PLUGIN, the files of the programs and of the library. Everything lies in $scratch and goes with it,
# HOME too. A command that fails ends the test.
# shellcheck shell=bash
set -eEuo pipefail
: "${B2EMULATOR:?}" "${B2DRIVE:?}" "${B2_PLUGIN:?}"

export LC_ALL=C.UTF-8
unset https_proxy http_proxy all_proxy no_proxy ALL_PROXY NO_PROXY B2_ACCOUNT_INFO
scratch=$(mktemp -d /tmp/b2test-XXXXXX)
mnt=$scratch/mnt cache=$scratch/cache bucket=$mnt/bucket-one
emulator_pid=
# A mount has no terminal for what sanitizers report.
export ASAN_OPTIONS=${ASAN_OPTIONS:-}:log_path=$scratch/report
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-}:print_stacktrace=1:log_path=$scratch/report
export TSAN_OPTIONS=${TSAN_OPTIONS:-}:log_path=$scratch/report

clean_up() {
  local code=$? pid
  set +eE
  for pid in $emulator_pid $(mount_pids); do kill -9 "$pid"; done
  fusermount3 -uz "$mnt"
  umount -l "$scratch/small"
  wait
  rm -rf "$scratch"
  exit "$code"
} 2>/dev/null
trap clean_up EXIT
trap 'exit 1' INT TERM
trap 'echo "FAILED in $0, line $LINENO: $BASH_COMMAND" >&2' ERR

fail() {
  echo "FAILED in $0, line ${BASH_LINENO[-2]}: $*" >&2
  exit 1
}

step() { echo "--- $(date +%T) $*"; }

equal() {  # equal WHAT GOT WANTED
  [ "$2" = "$3" ] || fail "$1: got '$2', wanted '$3'"
}

refused() {  # refused TEXT COMMAND...: it fails and says so
  local text=$1; shift
  if "$@" >"$scratch/said" 2>&1; then fail "succeeded: $*"; fi
  grep -q "$text" "$scratch/said" || fail "'$text' is not in '$(cat "$scratch/said")'"
}

await() {  # await COMMAND...: until it succeeds, within $patience tenths of a second
  local try
  for try in $(seq "${patience:-1200}"); do ! "$@" >/dev/null 2>&1 || return 0; sleep 0.1; done
  fail "in vain, $try times: $*"
}

wait_for_jobs() {  # all but the emulator; fails when one of them did
  local job code=0
  for job in $(jobs -p); do [ "$job" = "$emulator_pid" ] || wait "$job" || code=$?; done
  return "$code"
}

field() {  # field NAME: a member of the JSON on standard input, one member a line or all in one
  sed -nE "s/.*\"$1\": ?\"?([^\",}]*).*/\1/p"
}

run_emulator() {
  "$B2EMULATOR" --ca-file "$ca_file" "$@" >"$scratch/ready" &
  emulator_pid=$!
  await [ -s "$scratch/ready" ]
}

restart_emulator() {  # restart_emulator OPTIONS...: after kill -9, on its port
  kill -9 "$emulator_pid"
  wait "$emulator_pid" 2>/dev/null || true
  run_emulator --port "${proxy##*:}" "$@"
}

# start_emulator [OPTIONS...]: leaves account and client settings in the environment.
start_emulator() {
  mkdir -p "$scratch"/{Frameworks,bin,lib,home,mnt,cache}
  ca_file=$scratch/Frameworks/cacert.pem  # b2drive trusts what is beside its own folder
  cp "$B2DRIVE" "$scratch/bin/"
  cp "$B2_PLUGIN" "$scratch/lib/"
  # A mount that hangs goes in time for its test to fail and to clean up.
  (timeout "${B2_TEST_LIMIT:-780}" tail --pid=$$ -f /dev/null || kill -9 $(mount_pids)) &>/dev/null &
  disown
  run_emulator "$@"
  key_id=$(field accountId <"$scratch/ready")
  key=$(field applicationKey <"$scratch/ready")
  proxy=http://127.0.0.1:$(field port <"$scratch/ready")
  # The Debian clients are Python modules of /usr/bin/python3.
  export HOME=$scratch/home PATH=$scratch/bin:/usr/bin:/bin GIT_CONFIG_NOSYSTEM=1
  export HTTPS_PROXY=$proxy B2DRIVE_PROXY=$proxy
  export SSL_CERT_FILE=$ca_file REQUESTS_CA_BUNDLE=$ca_file CURL_CA_BUNDLE=$ca_file
  export RCLONE_CONFIG=/dev/null RCLONE_CONFIG_B2_TYPE=b2
  export B2_APPLICATION_KEY_ID=$key_id RCLONE_CONFIG_B2_ACCOUNT=$key_id B2_ACCOUNT_ID=$key_id
  export B2_APPLICATION_KEY=$key RCLONE_CONFIG_B2_KEY=$key B2_ACCOUNT_KEY=$key
}

control() {  # control METHOD PATH [JSON]
  curl -fsS -X "$1" ${3:+-d "$3"} "https://control.backblazeb2.com/$2"
}
count() {  # count CALL: requests of it since the last forget_counts
  local calls
  calls=$(control GET counts | field "$1")
  echo "${calls:-0}"
}
forget_counts() { control DELETE requests >/dev/null; }
fault() { control POST faults "$1" >/dev/null; }
heal() { control DELETE faults >/dev/null; }

mount_pids() { pgrep -f "^$scratch/bin/b2drive (.* )?mount"; }
no_mount() { ! mount_pids; }
mount_drive() {  # mount_drive [OPTION,...], with the library $plugin if it is set
  timeout -k 5 90 "$scratch/bin/b2drive" ${plugin:+--plugin "$plugin"} mount \
    -o "cache_dir=$cache${1:+,$1}" "$mnt"
}
unmount() {
  fusermount3 -u "$mnt"
  await no_mount
}
all_sent() { b2drive status "$mnt"; }

# Ends the emulator. What a sanitizer found in it or in a mount is a failure.
finish() {
  local code=0
  kill "$emulator_pid"
  wait "$emulator_pid" || code=$?
  emulator_pid=
  ! cat "$scratch"/report.* 2>/dev/null || fail "reports"
  equal "the emulator's exit code" "$code" 0
}

# make_tree FOLDER [LONGEST]: small files, empty ones, a large one, and names that clients stumble
# over, one of LONGEST (1024) bytes.
make_tree() {
  local long segment name
  segment=$(printf 'x%.0s' $(seq 200))
  long=$segment/$segment/$segment/$segment/$(printf 'y%.0s' $(seq $((${2:-1024} - 804))))
  for name in plain.txt "two  spaces" "quote'and\"quote" "100%" "%41%2F+plus&amp?x=1#frag" \
    "ümlaut/日本語/😀.txt" "deep/er/and deeper/file" "[brackets]{braces}~\$!*;:@,=" "$long"; do
    mkdir -p "$1/$(dirname "$name")"
    printf 'content of %s\n' "$name" >"$1/$name"
  done
  : >"$1/empty"
  : >"$1/deep/empty too"
  head -c 11000000 /dev/urandom >"$1/deep/large.bin"
}
