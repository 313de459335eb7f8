#!/bin/bash
# kill -9 of the host while programs write: what a close or fsync acknowledged is there afterwards,
# and nothing half.
. "$(dirname "$0")/lib.sh" "$@"
ROUNDS=${B2_MOUNT_TEST_KILLS:-5}
StartEmulator --recommended-part-size 300000 --minimum-part-size 100000
RANDOM=42

cat > "$SCRATCH/writer.py" <<'E2'
"""Writes files one after another; notes the hash of each in a log before it begins and after its
close or fsync was acknowledged."""
import hashlib, os, random, sys
folder, log, seed = sys.argv[1], open(sys.argv[2], "a", buffering=1), sys.argv[3]
rnd = random.Random(seed)
step = 0
while True:
    step += 1
    path = os.path.join(folder, f"{seed}-{rnd.randrange(6)}")
    data = rnd.randbytes(rnd.choice([1, 3000, 200000, 700000]))
    digest = hashlib.sha1(data).hexdigest()
    log.write(f"begin {path} {digest}\n")
    with open(path, "wb") as f:
        f.write(data)
        if step % 3 == 0:
            f.flush()
            os.fsync(f.fileno())
            log.write(f"done {path} {digest}\n")
    log.write(f"done {path} {digest}\n")
E2

cat > "$SCRATCH/check.py" <<'E2'
"""Every file holds what was acknowledged last, or one of the contents begun after that."""
import hashlib, os, sys
allowed, wrong = {}, 0
for line in open(sys.argv[1]):
    kind, path, digest = line.split()
    if kind == "begin":
        allowed.setdefault(path, {None}).add(digest)
    else:
        allowed[path] = {digest}
for path, digests in allowed.items():
    try:
        found = hashlib.sha1(open(path, "rb").read()).hexdigest()
    except FileNotFoundError:
        found = None
    if found not in digests:
        print("wrong:", path, found, os.path.exists(path) and os.path.getsize(path), digests)
        wrong += 1
print(len(allowed), "files checked")
sys.exit(wrong > 0)
E2

for round in $(seq "$ROUNDS"); do
  Mount
  for writer in 1 2 3; do
    python3 "$SCRATCH/writer.py" "$BUCKET" "$SCRATCH/log$writer" "$writer" 2> /dev/null &
  done
  sleep "$((RANDOM % 2)).$((RANDOM % 9))"
  KillMount
  for job in $(jobs -p); do [ "$job" = "$EMULATOR_PID" ] || wait "$job"; done
  Mount
  for tries in $(seq 200); do
    Drive status "$MNT" | grep -q everything && break
    sleep 0.1
  done
  for writer in 1 2 3; do
    [ -s "$SCRATCH/log$writer" ] && Must 60 python3 "$SCRATCH/check.py" "$SCRATCH/log$writer"
    # What is there now is where the next round begins.
    : > "$SCRATCH/fresh"
    for file in "$BUCKET/$writer"-*; do
      [ -e "$file" ] && echo "done $file $(sha1sum < "$file" | cut -c1-40)" >> "$SCRATCH/fresh"
    done
    sed 's/^done/begin/' "$SCRATCH/fresh" > "$SCRATCH/log$writer"
    cat "$SCRATCH/fresh" >> "$SCRATCH/log$writer"
  done
  Unmount
  Note "round $round: $(grep -c . "$SCRATCH/log1") notes, $(ls "$CACHE"/*/spool | wc -l) spool files left"
done
Mount
Finish
