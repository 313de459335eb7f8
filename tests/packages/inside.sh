# Run by debian.sh as root of a bare Debian, with the packages in /packages.
# shellcheck shell=bash
set -eEuo pipefail
trap 'echo "FAILED in line $LINENO: $BASH_COMMAND" >&2; cat /tmp/said >&2' ERR
export LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive
unset SSL_CERT_FILE  # b2drive trusts what it names, too
cd /packages

# All files but those of apt's and dpkg's own state, and what installed packages own.
unowned() {
  find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /tmp -o -path /packages -o -path /var/lib/dpkg \
    -o -path /var/lib/apt -o -path /var/cache -o -path /var/log -o -path '*/ca-certificates*' \
    -o -path '/etc/ssl/certs*' -o -path /etc/ld.so.cache \) -prune -o -print |
    sort | comm -23 - <(sed -E 's#^/(bin|sbin|lib[^/]*)(/|$)#/usr/\1\2#' /var/lib/dpkg/info/*.list | sort -u)
}

start_emulator() {
  "$1" --ca-file /tmp/emulator.crt --seed bucket-one/folder/file:3:1K >/tmp/ready &
  emulator=$!
  until [ -s /tmp/ready ]; do kill -0 $emulator; sleep 0.1; done
  field() { sed -nE "s/.*\"$1\": ?\"?([^\",}]*).*/\1/p" /tmp/ready; }
  B2_APPLICATION_KEY_ID=$(field accountId) B2_APPLICATION_KEY=$(field applicationKey)
  B2DRIVE_PROXY=http://127.0.0.1:$(field port)
  export B2_APPLICATION_KEY_ID B2_APPLICATION_KEY B2DRIVE_PROXY
}

# works VERSION PROGRAM: it says its version, lacks nothing, and lists what the emulator holds.
works() {
  [ "$("$2" --version)" = "b2drive $1" ]
  "$2" doctor >/tmp/said 2>&1
  [ "$("$2" ls /bucket-one/folder | wc -l)" = 3 ]
}

# What readers of manuals, shells, mount(8) and systemd look for.
found_by_others() {
  local page
  for page in b2drive.1 b2drive-sync.1 b2emulator.1 b2conform.1 mount.b2drive.8; do
    grep -q '^\.SH NAME' <(zcat "/usr/share/man/man${page##*.}/$page.gz")
  done
  for page in b2emulator b2conform; do
    $page --help | grep -oE -- '--[a-z-]+' | while read -r option; do
      grep -qe "$option" <(zcat /usr/share/man/man1/$page.1.gz | tr -d '\\')
    done
  done
  grep -q _b2drive /usr/share/bash-completion/completions/b2drive
  grep -q '^#compdef b2drive' /usr/share/zsh/vendor-completions/_b2drive
  grep -q __b2drive /usr/share/fish/vendor_completions.d/b2drive.fish
  grep -q '^ExecStart=/usr/bin/b2drive ' /usr/lib/systemd/user/b2drive@.service
  [ -x /sbin/mount.b2drive ]
  [ -s /usr/share/b2emulator/fixtures/shell/b2emulator.sh ]
}

# A mount is possible as soon as the package fuse3 is there, which b2drive recommends.
[ -e /dev/fuse ] || mknod /dev/fuse c 10 229
unowned >/tmp/before
apt-get -qq install -y ./*.deb >/tmp/said 2>&1
version=$(dpkg-query -W -f '${source:Upstream-Version}' b2drive)
[ "$(b2emulator --version)" = "b2emulator $version" ]
b2conform --plugin /usr/lib/*/libbackblazeb2.so.3 --only 'connect.*' >/tmp/said
start_emulator b2emulator
if b2drive ls 2>/tmp/said; then echo "trusts an unknown CA"; exit 1; fi
cp /tmp/emulator.crt /usr/local/share/ca-certificates/
update-ca-certificates >/dev/null 2>&1
works "$version" b2drive
found_by_others

# The archive, unpacked anywhere, brings its own CA bundle.
tar -xzf ./*.tar.gz -C /tmp
archive=$(echo /tmp/b2drive-*)
if "$archive/bin/b2drive" ls 2>/tmp/said; then echo "trusts an unknown CA"; exit 1; fi
cp /tmp/emulator.crt "$archive/Frameworks/cacert.pem"
ln -s "$archive/bin/b2drive" /tmp/elsewhere
apt-get -qq purge -y b2drive b2emulator libbackblazeb2-3 libbackblazeb2-dev >/tmp/said 2>&1
works "$version" /tmp/elsewhere
kill $emulator
wait $emulator

rm /usr/local/share/ca-certificates/emulator.crt
unowned >/tmp/after
if ! comm -13 /tmp/before /tmp/after | diff /dev/null -; then echo "left behind: see above"; exit 1; fi
echo "installed, used and purged: $version"
