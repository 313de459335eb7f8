#!/usr/bin/env bash
# curl: the API's URLs in versions 1 to 3, tunnels, absolute-URI requests and direct TLS, ranges,
# digests that trail the body, keys with limits, test modes.
. "$(dirname "$0")/lib.sh"
start_emulator --bucket curl-bucket --seed curl-bucket/seeded.bin:1:3M
api=https://api.backblazeb2.com/b2api

authorize() {  # authorize VERSION [CURL OPTIONS...]
  local version=$1
  shift
  printf 'user = "%s:%s"\n' "$B2_APPLICATION_KEY_ID" "$B2_APPLICATION_KEY" |
    curl -fsS --config - "$@" "$api/$version/b2_authorize_account"
}
call() {  # call NAME JSON [CURL OPTIONS...]: the answer, an error's too
  local name=$1 json=$2
  shift 2
  curl -sS -H "Authorization: $token" -d "$json" "$@" "$api/${version:-v1}/$name"
}
upload() {  # upload NAME SHA1 [CURL OPTIONS...]: standard input into the bucket, as $target says
  local name=$1 sha1=$2
  shift 2
  curl -sS -H "Authorization: $(field authorizationToken <<<"$target")" -H "X-Bz-File-Name: $name" \
    -H "Content-Type: b2/x-auto" -H "X-Bz-Content-Sha1: $sha1" --data-binary @- "$@" \
    "$(field uploadUrl <<<"$target")"
}
sha1() { sha1sum | cut -d' ' -f1; }

step "versions of the API"
contains "authorize, version 1" "$(authorize v1)" '"minimumPartSize"'
contains "authorize, version 2" "$(authorize v2 -d '{}')" '"s3ApiUrl"'
contains "authorize, version 3" "$(authorize v3)" '"storageApi"'
token=$(authorize v1 | field authorizationToken)
bucket=$(call b2_list_buckets "{\"accountId\": \"$key_id\"}" | field bucketId)
for version in v1 v2; do
  list=$(call b2_list_file_names "{\"bucketId\": \"$bucket\", \"prefix\": null}")
  equal "name" "$(field fileName <<<"$list")" seeded.bin
done
contains "the same by GET" "$(call b2_list_file_names "bucketId=$bucket" -G)" seeded.bin
unset version

step "ways in: tunnel, direct TLS, absolute URI over plain HTTP"
file=backblazeb2.com/file/curl-bucket/seeded.bin
curl -fsS -H "Authorization: $token" "https://f001.$file" -o "$scratch/tunnel"
curl -fsS -H "Authorization: $token" "https://f001.$file" -o "$scratch/direct" \
  --noproxy '*' --connect-to "::${proxy#http://}"
curl -fsS -H "Authorization: $token" "http://f001.$file" -o "$scratch/plain" --proxy "$proxy"
equal "size" "$(stat -c %s "$scratch/tunnel")" 3145728
same_bytes "$scratch/tunnel" "$scratch/direct"
same_bytes "$scratch/tunnel" "$scratch/plain"
equal "other hosts" "$(curl -s -o "$scratch/none" -w '%{http_connect}' https://example.com/ || true)" 403

step "uploads"
target=$(call b2_get_upload_url "{\"bucketId\": \"$bucket\"}")
text="some text"
digest=$(printf %s "$text" | sha1)
printf %s "$text" | upload a/one.txt "$digest" >"$scratch/up"
equal "shown" "$(field contentSha1 <"$scratch/up"),$(field contentType <"$scratch/up")" "$digest,text/plain"
printf %s "$text$digest" | upload a/two hex_digits_at_end | contains "trailing" "$(cat)" "$digest"
printf %s "$text" | upload a/three do_not_verify | contains "unverified" "$(cat)" "unverified:$digest"
printf %s "$text" | upload a/four "${digest/[0-9]/x}" | contains "refused" "$(cat)" bad_request
head -c 3000000 "$scratch/tunnel" | upload expect "$(head -c 3000000 "$scratch/tunnel" | sha1)" \
  -H "Expect: 100-continue" | contains "after 100 Continue" "$(cat)" '"contentLength": 3000000'
printf %s "$text" | upload chunked do_not_verify -H "Transfer-Encoding: chunked" |
  contains "chunked" "$(cat)" bad_request

step "ranges"
get() { curl -sS -H "Authorization: $token" -o "$scratch/got" -w '%{http_code},%{size_download}' "$@"; }
url=https://f001.$file
equal "middle" "$(get -r 1000000-1999999 "$url")" 206,1000000
cmp -i 1000000:0 -n 1000000 "$scratch/tunnel" "$scratch/got" || fail "wrong bytes"
equal "end" "$(get -r -5 "$url")" 206,5
equal "past the end" "$(get -r 3145728- "$url" | cut -d, -f1)" 416
equal "by ID" "$(get "$api/v1/b2_download_file_by_id?fileId=$(field fileId <"$scratch/up")")" 200,9
equal "HEAD" "$(curl -sSI -H "Authorization: $token" "$url" | tr -d '\r' |
  sed -n 's/^Content-Length: //Ip')" 3145728

step "a key for one bucket and prefix"
made=$(call b2_create_key "{\"accountId\": \"$key_id\", \"capabilities\": [\"listBuckets\", \"listFiles\",
  \"readFiles\"], \"keyName\": \"limited\", \"bucketId\": \"$bucket\", \"namePrefix\": \"a/\"}")
use_key "$(field applicationKeyId <<<"$made")" "$(field applicationKey <<<"$made")"
token=$(authorize v1 | field authorizationToken)
contains "its bucket" "$(call b2_list_buckets "{\"accountId\": \"$key_id\"}")" curl-bucket
names=$(call b2_list_file_names "{\"bucketId\": \"$bucket\"}" | field fileName | xargs)
equal "version 1 shows its names" "$names" "a/one.txt a/three a/two"
contains "version 2 wants the prefix" \
  "$(version=v2 call b2_list_file_names "{\"bucketId\": \"$bucket\"}")" unauthorized
contains "uploads" "$(call b2_get_upload_url "{\"bucketId\": \"$bucket\"}")" unauthorized
equal "downloads" "$(get "https://f001.backblazeb2.com/file/curl-bucket/a/one.txt"),$(get "$url" |
  cut -d, -f1)" 200,9,401
use_key "$key_id" "$key"
token=$(authorize v1 | field authorizationToken)

step "test modes"
mode() { printf '%s' -HX-Bz-Test-Mode:"$1"; }
contains "full" "$(call b2_get_upload_url "{\"bucketId\": \"$bucket\"}" "$(mode force_cap_exceeded)")" \
  cap_exceeded
for name in 1 2 3; do
  printf %s "$text" | upload "$name" "$digest" "$(mode fail_some_uploads)" >>"$scratch/uploads"
done
equal "failed uploads" "$(grep -c service_unavailable "$scratch/uploads")" 1
for _ in 1 2 3 4 5; do
  call b2_list_buckets "{\"accountId\": \"$key_id\"}" "$(mode expire_some_account_authorization_tokens)"
done >"$scratch/lists"
equal "expired tokens" "$(grep -c expired_auth_token "$scratch/lists")" 1
stop_emulator
