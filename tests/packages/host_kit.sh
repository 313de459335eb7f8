#!/usr/bin/env bash
# The example of a host is built against an installation, moved to another folder, with CMake and with
# pkg-config, by each compiler and for each standard, and reads and writes through the installed module.
# B2_BUILD: the build that is installed.
# shellcheck source=tests/support/shell.sh
. "$(dirname "$0")/../support/shell.sh"
example=$(cd "$(dirname "$0")/../../examples/minimal_host" && pwd)
warnings="-Wall -Wextra -Wpedantic -Werror"

cmake --install "$B2_BUILD" --prefix "$scratch/first" >/dev/null
mv "$scratch/first" "$scratch/moved"
start_emulator --bucket bucket-one
echo "what is stored" >"$scratch/first.txt"
b2drive put "$scratch/first.txt" /bucket-one
export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$(find "$scratch/moved" -name backblazeb2.pc)")
export B2_OPTIONS='{"values":{"proxy":{"value":{"type":"HTTP with TUNNEL","host":"127.0.0.1","port":'${proxy##*:}',"user":"","password":""}}}}'

build_by_cmake() {  # COMPILER STANDARD
  cmake -S "$example" -B "$scratch/$1-$2" -DCMAKE_PREFIX_PATH="$scratch/moved" -DCMAKE_CXX_COMPILER="$1" \
    -DCMAKE_CXX_STANDARD="$2" -DCMAKE_CXX_EXTENSIONS=OFF -DCMAKE_CXX_FLAGS="$warnings" >/dev/null
  cmake --build "$scratch/$1-$2" >/dev/null
  mv "$scratch/$1-$2/minimal_host" "$scratch/bin/"
}

build_by_pkg_config() {  # COMPILER STANDARD
  # shellcheck disable=SC2046,SC2086  # several options
  "$1" "-std=c++$2" $warnings $(pkg-config --cflags backblazeb2) "$example/minimal_host.cpp" \
    -o "$scratch/bin/minimal_host"
}

# Each header alone is a whole one.
for header in "$scratch"/moved/include/backblazeb2/*.h; do
  # shellcheck disable=SC2086
  echo "#include <backblazeb2/${header##*/}>" | g++ -std=c++17 $warnings -I "$scratch/moved/include" -fsyntax-only -x c++ -
done

module=$(pkg-config --variable=module backblazeb2)
for compiler in g++ clang++; do
  for standard in 17 20; do
    for way in cmake pkg_config; do
      step "$way, $compiler, C++$standard"
      "build_by_$way" $compiler $standard
      echo "written by $way $compiler $standard" >"$scratch/note.txt"
      "$scratch/bin/minimal_host" "$module" "$scratch/note.txt" >"$scratch/said"
      for line in bucket-one/ first.txt "what is stored"; do grep -qx "$line" "$scratch/said"; done
      equal "what was uploaded" "$(b2drive cat /bucket-one/note.txt)" "$(cat "$scratch/note.txt")"
    done
  done
done
refused 'sign in: AERROR::ACCESS_VIOLATION' \
  env B2_APPLICATION_KEY=wrong "$scratch/bin/minimal_host" "$module" "$scratch/note.txt"
finish
