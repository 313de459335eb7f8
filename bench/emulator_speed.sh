#!/usr/bin/env bash
# emulator_speed.sh [BUILD]: downloads of 1 GiB over TLS from b2emulator and from nginx, in turns, by the
# same curl; prints each one's median in MB/s. Fails when the emulator is below half of nginx. Needs
# nginx (the package alone; its service is not used) and 2 GiB in the folder for temporary files.
set -euo pipefail
cd "$(dirname "$0")/.."
emulator=${1:-build/release}/bin/b2emulator
rounds=7
file=file/speed-bucket/gib.bin

scratch=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; wait; rm -rf "$scratch"' EXIT

start_emulator() {
  "$emulator" --ca-file "$scratch/ca.pem" --seed "speed-bucket/gib.bin:1:1G" --no-request-log \
    >"$scratch/ready" &
  until [ -s "$scratch/ready" ]; do
    kill -0 $! || exit 1
    sleep 0.1
  done
  emulator_port=$(field port)
}

field() { sed -nE "s/.*\"$1\": ?\"?([^\",}]*).*/\1/p" "$scratch/ready"; }

authorize() {
  printf 'user = "%s:%s"\n' "$(field accountId)" "$(field applicationKey)" |
    from "$emulator_port" --config - https://api.backblazeb2.com/b2api/v1/b2_authorize_account |
    sed -nE 's/.*"authorizationToken": ?"([^"]*)".*/\1/p'
}

start_nginx() {  # a certificate of the emulator's kind; one process, as for one client it is enough
  nginx_port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
  openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 1 \
    -subj /CN=f001.backblazeb2.com -addext subjectAltName=DNS:f001.backblazeb2.com \
    -keyout "$scratch/key.pem" -out "$scratch/nginx.pem" 2>/dev/null
  cat "$scratch/nginx.pem" >>"$scratch/ca.pem"
  cat >"$scratch/nginx.conf" <<CONFIG
daemon off;
master_process off;
pid $scratch/nginx.pid;
events {}
http {
  access_log off;
  output_buffers 2 1m;  # the default, 2 32k, is a little slower
  client_body_temp_path $scratch/body;
  proxy_temp_path $scratch/proxy;
  fastcgi_temp_path $scratch/fastcgi;
  uwsgi_temp_path $scratch/uwsgi;
  scgi_temp_path $scratch/scgi;
  server {
    listen 127.0.0.1:$nginx_port ssl;
    ssl_certificate $scratch/nginx.pem;
    ssl_certificate_key $scratch/key.pem;
    root $scratch/root;
  }
}
CONFIG
  /usr/sbin/nginx -e "$scratch/error.log" -c "$scratch/nginx.conf" &
  until from "$nginx_port" -o "$scratch/first" -r 0-0 "https://f001.backblazeb2.com/$file" 2>/dev/null; do
    kill -0 $! || { cat "$scratch/error.log" >&2; exit 1; }
    sleep 0.1
  done
}

from() {  # from PORT CURL-ARGUMENTS...
  local port=$1
  shift
  curl -fsS --noproxy '*' --cacert "$scratch/ca.pem" --connect-to "::127.0.0.1:$port" "$@"
}

measure() {  # measure PORT: MB/s of one download
  from "$1" -H "Authorization: $token" -o /dev/null -w '%{size_download} %{speed_download}\n' \
    "https://f001.backblazeb2.com/$file" |
    awk '$1 != 1073741824 { exit 1 } { printf "%.0f\n", $2 / 1e6 }'
}

median() { sort -n | sed -n "$((rounds / 2 + 1))p"; }

start_emulator
token=$(authorize)
mkdir -p "$scratch/root/file/speed-bucket"
from "$emulator_port" -H "Authorization: $token" -o "$scratch/root/$file" \
  "https://f001.backblazeb2.com/$file"
start_nginx
for _ in $(seq "$rounds"); do
  measure "$nginx_port" | tee -a "$scratch/nginx.speeds"
  measure "$emulator_port" | tee -a "$scratch/emulator.speeds"
done | paste -d' ' - - | sed 's/^/nginx, emulator MB\/s: /'
nginx=$(median <"$scratch/nginx.speeds")
emulator=$(median <"$scratch/emulator.speeds")
echo "median: nginx $nginx MB/s, emulator $emulator MB/s, $((100 * emulator / nginx)) %"
[ $((2 * emulator)) -ge "$nginx" ]
