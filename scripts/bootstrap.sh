#!/usr/bin/env bash
# Installs what the build and the tests need from the system's package manager; does nothing when
# everything is there. Set B2_BOOTSTRAP=skip to manage packages yourself.
set -euo pipefail

debian_packages=(
  build-essential ca-certificates ccache clang clang-format clang-tidy cmake git libclang-rt-14-dev ninja-build
  pkg-config python3
  libboost1.81-dev libcli11-dev libcrypto++-dev libcurl4-openssl-dev libevent-dev libjemalloc-dev libjsoncpp-dev
  libsqlite3-dev libssl-dev libxml2-dev nlohmann-json3-dev zlib1g-dev
  libbenchmark-dev libgmock-dev libgtest-dev
  curl fuse3 libfuse3-dev
  backblaze-b2 python3-b2sdk rclone restic
  golang-go nodejs python3-pytest
  doxygen file fish graphviz lintian mandoc mkdocs mmdebstrap zsh
  fio gzip procps rsync sqlite3 stress-ng tar util-linux
)
homebrew_packages=(
  boost ca-certificates cli11 cmake cryptopp curl googletest google-benchmark jsoncpp libevent
  libxml2 ninja nlohmann-json openssl@3 pkg-config sqlite
)

missing_debian_packages() {
  local package
  for package in "${debian_packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' ||
      printf '%s\n' "$package"
  done
}

install_debian() {
  local missing
  mapfile -t missing < <(missing_debian_packages)
  [ ${#missing[@]} -gt 0 ] || return 0
  local sudo=()
  [ "$(id -u)" -eq 0 ] || sudo=(sudo)
  echo "bootstrap: installing ${missing[*]}" >&2
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq update
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends \
    "${missing[@]}" >/dev/null
}

install_homebrew() {
  brew list --versions "${homebrew_packages[@]}" >/dev/null 2>&1 ||
    brew install --quiet "${homebrew_packages[@]}"
}

[ "${B2_BOOTSTRAP:-}" != skip ] || exit 0
if command -v apt-get >/dev/null; then
  install_debian
elif command -v brew >/dev/null; then
  install_homebrew
else
  echo "bootstrap: neither apt-get nor brew found; install the packages listed in $0" >&2
  exit 1
fi
