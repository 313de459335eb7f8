#!/usr/bin/env bash
# draw_pages.sh [BUILD]: writes all documents, the manual pages of the programs in BUILD (build/release, unless given)
# and the headers for hosts as one site to build/pages/html. Fails on any warning, on a link that leads nowhere, and
# on a document that the list of pages in packaging/mkdocs.yml leaves out.
set -euo pipefail
cd "$(dirname "$0")/.."
rm -rf build/pages
mkdir -p build/pages/source/js
scripts/gather_pages.py "${1:-build/release}" build/pages/source
cp packaging/site.css build/pages/source
# Two scripts of the theme that Debian's package of mkdocs lacks; the second gives tables their look.
cp /usr/share/javascript/jquery/jquery.min.js build/pages/source/js/jquery-3.6.0.min.js
echo 'jQuery(".rst-content table").addClass("docutils");' >build/pages/source/js/theme_extra.js
doxygen packaging/Doxyfile
sed -i 's,<body>,&<a class="back" href="../index.html">All pages</a>,' build/pages/source/headers/*.html
mkdocs build --config-file packaging/mkdocs.yml >build/pages/log 2>&1 || { cat build/pages/log; exit 1; }
if grep -E '^  - ' build/pages/log | grep -v '^  - manual/'; then
  echo "draw_pages.sh: these are not in packaging/mkdocs.yml" >&2
  exit 1
fi
scripts/check_site.py build/pages/html
echo "build/pages/html/index.html, and with its search: python3 -m http.server --directory build/pages/html"
