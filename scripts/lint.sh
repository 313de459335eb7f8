#!/usr/bin/env bash
# lint.sh [BASE]: fails on code that clang-format would change, on what check_threads.py and check_links.py
# find, and on what clang-tidy complains about in sources that changed since BASE (the commit before, unless
# given; "all" for every source). Needs a configured build in build/release.
set -euo pipefail
cd "$(dirname "$0")/.."
base=${1:-HEAD~1}
[ "$base" = all ] || git rev-parse --quiet --verify "$base" >/dev/null || base=HEAD  # a shallow clone

mapfile -t sources < <(git ls-files '*.h' '*.cpp' '*.c')
clang-format --dry-run -Werror "${sources[@]}"
scripts/check_threads.py
scripts/check_links.py

changed() {
  local patterns=('src/*.cpp' 'host/*.cpp' 'emulator/*.cpp' 'conform/*.cpp')
  if [ "$base" = all ]; then git ls-files "${patterns[@]}"; else
    git diff --name-only --diff-filter=d "$base" -- "${patterns[@]}"
  fi
}

# clang does not know every option of GCC's that the build uses.
mkdir -p build/lint
sed -E 's/ -(fno-gnu-unique|Wno-restrict|Wno-maybe-uninitialized)//g' build/release/compile_commands.json >build/lint/compile_commands.json
mapfile -t units < <(changed)
[ ${#units[@]} -eq 0 ] || printf '%s\0' "${units[@]}" |
  xargs -0 -n 4 -P "$(getconf _NPROCESSORS_ONLN)" clang-tidy --quiet -p build/lint 2>/dev/null
echo "lint: ${#sources[@]} files formatted, ${#units[@]} units clean"
