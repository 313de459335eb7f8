#!/usr/bin/env bash
# restic: backup, a second one that adds little, restore, forget and prune, check of all data.
. "$(dirname "$0")/../support/shell.sh"
start_emulator
export RESTIC_PASSWORD=test RESTIC_REPOSITORY=b2:restic-bucket:some/repository
export RESTIC_CACHE_DIR=$scratch/cache
make_tree "$scratch/tree"
restic -q init
restic -q backup "$scratch/tree"
restic -q restore latest --target "$scratch/down"
diff -r "$scratch/tree" "$scratch/down$scratch/tree"

step "a second backup sends what is new"
forget_counts
echo "new" >"$scratch/tree/new file"
restic -q backup "$scratch/tree"
[ "$(count b2_upload_file)" -lt 8 ]

step "forget and prune, with uploads that fail at times"
fault '{"call": "b2_upload_file", "times": 2, "status": 503, "code": "service_unavailable"}'
restic -q forget --keep-last 1 --prune
restic -q check --read-data
equal "snapshots" "$(restic snapshots --compact | grep -c "$(hostname)")" 1
finish
