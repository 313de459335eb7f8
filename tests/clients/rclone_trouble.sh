#!/usr/bin/env bash
# rclone: what it does when uploads fail, tokens expire or the account is full, by the service's own
# test header and by faults from outside.
. "$(dirname "$0")/lib.sh"
start_emulator
large=(--b2-upload-cutoff 5M --b2-chunk-size 5M)
rclone mkdir b2:test-bucket
head -c 17000000 /dev/urandom >"$scratch/large.bin"
make_tree "$scratch/tree"

step "parts fail: refused, cut in the middle, answer lost"
fault '[{"call": "b2_upload_part", "skip": 1, "status": 503, "code": "service_unavailable"},
        {"call": "b2_upload_part", "cutRequestAfter": 100000},
        {"call": "b2_upload_part", "commit": true, "cutAfter": 0}]'
rclone copy "${large[@]}" "$scratch/large.bin" b2:test-bucket
rclone cat b2:test-bucket/large.bin | cmp - "$scratch/large.bin" || fail "large.bin differs"
equal "parts" "$(count b2_upload_part)" 7
equal "unfinished large files" "$(count openLargeFiles)" 0

step "a large file that cannot go up leaves nothing unfinished"
fault '{"call": "b2_upload_part", "skip": 2, "times": -1, "status": 400, "code": "bad_request"}'
refused rclone copyto --retries 1 "${large[@]}" "$scratch/large.bin" b2:test-bucket/never
said bad_request
equal "unfinished large files" "$(count openLargeFiles)" 0
control DELETE faults >/dev/null

step "test modes"
for mode in fail_some_uploads expire_some_account_authorization_tokens; do
  bucket=${mode//_/-}
  rclone copy "${large[@]}" --b2-test-mode "$mode" "$scratch/tree" "b2:$bucket"
  rclone check --download "$scratch/tree" "b2:$bucket"
done
rclone mkdir b2:full-bucket
refused rclone copy --retries 1 --b2-test-mode force_cap_exceeded "$scratch/tree" b2:full-bucket
said cap_exceeded
equal "stored" "$(rclone lsf -R b2:full-bucket)" ""

step "tokens expire in the middle"
rclone copy --transfers 1 "$scratch/tree" b2:expiring-bucket &
for _ in 1 2 3; do
  sleep 0.2
  control POST expire >/dev/null
done
wait $!
rclone check --download "$scratch/tree" b2:expiring-bucket
stop_emulator
