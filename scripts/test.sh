#!/usr/bin/env bash
# test.sh [PRESET] [CTEST OPTIONS...]: installs what is missing, builds and runs every test. Presets:
# release (the default), debug, asan, tsan.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-release}
[ $# -eq 0 ] || shift

scripts/bootstrap.sh
cmake --preset "$preset" --log-level=WARNING
cmake --build --preset "$preset" --parallel
ctest --preset "$preset" --parallel "$(getconf _NPROCESSORS_ONLN)" "$@"
