# Sourced by the tests of this folder, bench/load and bench/faults: an emulator of one's own, the settings
# by which each client reaches it, and checks. From the environment: B2EMULATOR, B2DRIVE and B2_PLUGIN,
# the files of the programs and of the library. Everything lies in $scratch and goes with it, HOME too.
# shellcheck shell=bash
set -euo pipefail
: "${B2EMULATOR:?}" "${B2DRIVE:?}" "${B2_PLUGIN:?}"

export LC_ALL=C.UTF-8
unset https_proxy http_proxy all_proxy no_proxy ALL_PROXY NO_PROXY B2_ACCOUNT_INFO
scratch=$(mktemp -d)
emulator_pid=

clean_up() {
  local code=$?
  [ -z "$emulator_pid" ] || kill "$emulator_pid" 2>/dev/null || true
  wait
  rm -rf "$scratch"
  exit "$code"
}
trap clean_up EXIT

fail() {
  echo "FAILED in $0, line ${BASH_LINENO[-2]}: $*" >&2
  exit 1
}

step() { echo "--- $*"; }

equal() {  # equal WHAT GOT WANTED
  [ "$2" = "$3" ] || fail "$1: got '$2', wanted '$3'"
}

contains() {  # contains WHAT TEXT WANTED
  [[ $2 == *"$3"* ]] || fail "$1: '$3' is not in '$2'"
}

same_bytes() {  # same_bytes FILE OTHER
  cmp "$1" "$2" || fail "$1 and $2 differ"
}

refused() {  # refused COMMAND...: it fails; what it says is left in $scratch/said
  if "$@" >"$scratch/said" 2>&1; then fail "succeeded: $*"; fi
}

said() {  # said TEXT: the refused command said so
  contains "what it said" "$(cat "$scratch/said")" "$1"
}

field() {  # field NAME: a member of the JSON on standard input, one member a line or all in one
  sed -nE "s/.*\"$1\": ?\"?([^\",}]*).*/\1/p"
}

# start_emulator [OPTIONS...]: leaves account and client settings in the environment.
start_emulator() {
  local try
  mkdir -p "$scratch/Frameworks" "$scratch/home"
  "$B2EMULATOR" --ca-file "$scratch/Frameworks/cacert.pem" "$@" >"$scratch/ready" &
  emulator_pid=$!
  for try in $(seq 300); do
    [ ! -s "$scratch/ready" ] || break
    kill -0 "$emulator_pid" 2>/dev/null || fail "the emulator did not start"
    sleep 0.1
  done
  [ "$try" -lt 300 ] || fail "the emulator is not ready"
  key_id=$(field accountId <"$scratch/ready")
  key=$(field applicationKey <"$scratch/ready")
  proxy=http://127.0.0.1:$(field port <"$scratch/ready")
  ca_file=$scratch/Frameworks/cacert.pem
  # The Debian clients are Python modules of /usr/bin/python3.
  export HOME=$scratch/home PATH=$scratch/bin:/usr/bin:/bin
  export HTTPS_PROXY=$proxy B2DRIVE_PROXY=$proxy
  export SSL_CERT_FILE=$ca_file REQUESTS_CA_BUNDLE=$ca_file CURL_CA_BUNDLE=$ca_file
  use_key "$key_id" "$key"
  install_drive
}

use_key() {  # use_key ID SECRET: what every client signs in with from now on
  export B2_APPLICATION_KEY_ID=$1 B2_APPLICATION_KEY=$2
  export RCLONE_CONFIG=/dev/null RCLONE_CONFIG_B2_TYPE=b2
  export RCLONE_CONFIG_B2_ACCOUNT=$1 RCLONE_CONFIG_B2_KEY=$2
  export B2_ACCOUNT_ID=$1 B2_ACCOUNT_KEY=$2
}

install_drive() {  # b2drive trusts the CA bundle beside its own folder
  mkdir -p "$scratch/bin" "$scratch/lib"
  cp "$B2DRIVE" "$scratch/bin/"
  cp "$B2_PLUGIN" "$scratch/lib/"
}

# Ends the emulator; a leak or a data race that a sanitizer found is its exit code.
stop_emulator() {
  local code=0
  kill "$emulator_pid"
  wait "$emulator_pid" || code=$?
  emulator_pid=
  equal "the emulator's exit code" "$code" 0
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
