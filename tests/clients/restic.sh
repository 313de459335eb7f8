#!/usr/bin/env bash
# restic: backup, a second one that adds little, check of all data, restore, forget and prune.
. "$(dirname "$0")/lib.sh"
start_emulator
export RESTIC_PASSWORD=test RESTIC_REPOSITORY=b2:restic-bucket:some/repository
export RESTIC_CACHE_DIR=$scratch/cache
make_tree "$scratch/tree"

restic -q init
step "backup, check, restore"
restic -q backup "$scratch/tree"
restic -q check --read-data
restic -q restore latest --target "$scratch/down"
diff -r "$scratch/tree" "$scratch/down$scratch/tree" || fail "the tree came back changed"

step "a second backup sends what is new"
forget_counts
echo "new" >"$scratch/tree/new file"
restic -q backup "$scratch/tree"
[ "$(count b2_upload_file)" -lt 8 ] || fail "$(count b2_upload_file) uploads for one small file"
equal "snapshots" "$(restic snapshots --compact | grep -c "$(hostname)")" 2

step "forget and prune, with uploads that fail at times"
fault '{"call": "b2_upload_file", "times": 2, "status": 503, "code": "service_unavailable"}'
restic -q forget --keep-last 1 --prune
restic -q check --read-data
equal "snapshots" "$(restic snapshots --compact | grep -c "$(hostname)")" 1
stop_emulator
