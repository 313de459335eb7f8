#!/usr/bin/env bash
# draw_pages.sh: writes the pages for the makers of hosts to build/pages/html; fails on any warning.
set -euo pipefail
cd "$(dirname "$0")/.."
mkdir -p build
rm -rf build/pages
doxygen packaging/Doxyfile
echo "build/pages/html/index.html"
