#!/usr/bin/env bash
# package.sh [FOLDER]: builds the last commit in a clean tree and leaves in FOLDER (build/packages, unless given)
# the packages for Debian and an archive that works wherever it is unpacked. The same commit gives the same
# bytes, on a system with the same compiler and libraries. Fails when one of them names a folder of the build.
set -euo pipefail
cd "$(dirname "$0")/.."
tree=$PWD
mkdir -p "${1:-build/packages}"
folder=$(realpath "${1:-build/packages}")
umask 022
export TZ=UTC  # and no locale yet: a compiler's cache tells objects apart by it
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH

scratch=$(mktemp -d "${TMPDIR:-/tmp}/b2package-XXXXXX")
trap 'rm -rf "$scratch"' EXIT
git archive --prefix=source/ HEAD | tar -x -C "$scratch"
cd "$scratch/source"
export CCACHE_BASEDIR=$PWD

build() {  # build OPTIONS...: configures and builds with the layout that the options ask for
  cmake --preset package --log-level=WARNING "$@" >/dev/null
  cmake --build --preset package --parallel >../build.log || { cat ../build.log; exit 1; }
}

build
rm -f "$folder"/*.deb "$folder"/*.tar.gz
LC_ALL=C.UTF-8 cpack -G DEB --config build/package/CPackConfig.cmake -B "$scratch/cpack" >../cpack.log ||
  { cat ../cpack.log; exit 1; }
mv "$scratch"/cpack/*.deb "$folder"

build -DB2_LAYOUT=prefix -DCMAKE_INSTALL_LIBDIR=lib
name=b2drive-$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' build/package/CMakeCache.txt)-$(uname -sm | tr 'A-Z ' 'a-z-')
cmake --install build/package --strip --prefix "$scratch/$name" >/dev/null
LC_ALL=C.UTF-8 tar -C "$scratch" --sort=name --mtime="@$SOURCE_DATE_EPOCH" --owner=0 --group=0 --numeric-owner \
  -c "$name" | gzip -9n >"$folder/$name.tar.gz"

for package in "$folder"/*.deb; do dpkg-deb -x "$package" "$scratch/contents"; done
if grep -rl -e "$scratch" -e "$tree" "$scratch/contents" "$scratch/$name"; then
  echo "package.sh: these name the build's folder" >&2
  exit 1
fi
(cd "$folder" && sha256sum -- *.deb *.tar.gz)
