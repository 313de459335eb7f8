#!/usr/bin/env bash
# lint.sh [PRESET]: fails on code that clang-format would change or that clang-tidy complains about.
# Needs a configured build of the preset (release unless given).
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-release}

mapfile -t sources < <(git ls-files '*.h' '*.cpp' '*.c')
clang-format --dry-run -Werror "${sources[@]}"

# clang does not know every option of GCC's that the build uses.
mkdir -p build/lint
sed 's/ -fno-gnu-unique//' "build/$preset/compile_commands.json" >build/lint/compile_commands.json
mapfile -t units < <(git ls-files 'src/*.cpp' 'host/*.cpp' 'emulator/*.cpp')
printf '%s\0' "${units[@]}" |
  xargs -0 -n 4 -P "$(getconf _NPROCESSORS_ONLN)" clang-tidy --quiet -p build/lint 2>/dev/null
echo "lint: ${#sources[@]} files formatted, ${#units[@]} units clean"
