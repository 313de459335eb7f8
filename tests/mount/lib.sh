# Helpers for the mount's tests: an emulator, a program folder that trusts it, mounts, checks.
# Every test runs `. lib.sh` with the paths of b2drive, b2emulator and the library as arguments.
# Nothing is left behind: see CleanUp.

set -uo pipefail

B2DRIVE_PROGRAM=$1 EMULATOR_PROGRAM=$2 PLUGIN_LIBRARY=$3
LONG=${B2_MOUNT_TEST_SECONDS:-5}  # seconds for what can run for any time

SCRATCH=$(mktemp -d /tmp/b2mount-test-XXXXXX)
MNT=$SCRATCH/mnt
CACHE=$SCRATCH/cache
BUCKET=$MNT/bucket-one
EMULATOR_PID=
FAILURES=0
mkdir -p "$MNT" "$CACHE" "$SCRATCH/home"
export HOME=$SCRATCH/home GIT_CONFIG_NOSYSTEM=1
# A mount in the background has no terminal for what sanitizers report.
export ASAN_OPTIONS=${ASAN_OPTIONS:-}:log_path=$SCRATCH/report
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-}:print_stacktrace=1:log_path=$SCRATCH/report
export TSAN_OPTIONS=${TSAN_OPTIONS:-}:log_path=$SCRATCH/report

CleanUp() {
  local pid
  fusermount3 -uz "$MNT" 2>/dev/null
  disown -a
  for pid in $EMULATOR_PID $(HostPids); do kill -9 "$pid" 2>/dev/null; done
  fusermount3 -uz "$MNT" 2>/dev/null
  umount -l "$SCRATCH/small" 2>/dev/null
  rm -rf "$SCRATCH"
}
trap CleanUp EXIT
trap 'exit 1' INT TERM

# The mount processes of this test, which alone use its program folder.
HostPids() {
  local exe
  for exe in /proc/[0-9]*/exe; do
    [ "$(readlink "$exe" 2>/dev/null)" = "$SCRATCH/app/bin/b2drive" ] && basename "$(dirname "$exe")"
  done
}

Fail() { echo "FAILED: $*"; FAILURES=$((FAILURES + 1)); }
Note() { printf '%s: %s\n' "$(date +%T)" "$*"; }

# Runs a command with a limit of time (seconds); its failure is the test's.
Must() {
  local limit=$1; shift
  timeout -k 5 "$limit" "$@" > "$SCRATCH/out" 2>&1 && return 0
  local code=$?
  Fail "$* (exit $code)"; tail -20 "$SCRATCH/out"
  return 1
}
MustFail() {
  local limit=$1; shift
  timeout -k 5 "$limit" "$@" > "$SCRATCH/out" 2>&1
  local code=$?
  [ $code -ne 0 ] && [ $code -ne 124 ] || Fail "$* gave $code where a failure was wanted"
}

StartEmulator() {  # options of b2emulator
  mkdir -p "$SCRATCH/app/bin" "$SCRATCH/app/lib" "$SCRATCH/app/Frameworks"
  cp -f "$B2DRIVE_PROGRAM" "$SCRATCH/app/bin/b2drive"
  cp -fL "$PLUGIN_LIBRARY" "$SCRATCH/app/lib/libbackblazeb2.so.3"
  "$EMULATOR_PROGRAM" --bucket bucket-one --account-id 0123456789ab --key testkey \
    --ca-file "$SCRATCH/ca.pem" --ca-key-file "$SCRATCH/ca.key" "$@" > "$SCRATCH/emulator" &
  EMULATOR_PID=$!
  local tries
  for tries in $(seq 100); do [ -s "$SCRATCH/emulator" ] && break; sleep 0.1; done
  PORT=$(sed 's/.*"port":\([0-9]*\).*/\1/' "$SCRATCH/emulator")
  cp "$SCRATCH/ca.pem" "$SCRATCH/app/Frameworks/cacert.pem"
  export B2DRIVE_PROXY=http://127.0.0.1:$PORT
  export B2_APPLICATION_KEY_ID=0123456789ab B2_APPLICATION_KEY=testkey
}

Drive() { timeout -k 5 120 "$SCRATCH/app/bin/b2drive" "$@"; }

Mount() {  # further -o options
  timeout -k 5 90 "$SCRATCH/app/bin/b2drive" mount -o "cache_dir=$CACHE${1:+,$1}" "$MNT" || {
    Fail "mount"; exit 1
  }
}

# Waits until every mount process has ended.
AwaitEnd() {
  local tries
  for tries in $(seq "${1:-600}"); do [ -z "$(HostPids)" ] && return 0; sleep 0.1; done
  Fail "the mount's process does not end"
  return 1
}
Unmount() { Must 60 fusermount3 -u "$MNT"; AwaitEnd; }
KillMount() { kill -9 $(HostPids) 2>/dev/null; fusermount3 -uz "$MNT"; AwaitEnd 50; }

Control() {  # METHOD PATH [BODY]
  curl -sS --max-time 20 -X "$1" --cacert "$SCRATCH/ca.pem" --proxy "http://127.0.0.1:$PORT" \
    "https://control.backblazeb2.com$2" ${3:+-d "$3"}
}
Calls() {  # CALL: how many the emulator answered
  Control GET /counts | python3 -c "import json,sys; print(json.load(sys.stdin)['calls'].get('$1', 0))"
}
ResetCalls() { Control DELETE /requests > /dev/null; }
Faults() { Control POST /faults "$1" > /dev/null; }
NoFaults() { Control DELETE /faults > /dev/null; }

Finish() {
  local report
  Unmount
  for report in "$SCRATCH"/report.*; do [ ! -e "$report" ] || Fail "$(cat "$report")"; done
  [ $FAILURES -eq 0 ] || { echo "$FAILURES failed"; exit 1; }
  echo "all held"
}
