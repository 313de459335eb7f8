#!/usr/bin/env bash
# The packages of the last commit have no errors, go into a bare Debian, work there, and leave nothing when they
# are purged. Run by .ci/run and not by ctest: it takes root, and fetches from where apt fetches packages.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
packages=$(mktemp -d /tmp/b2test-XXXXXX)
trap 'rm -rf "$packages"' EXIT
chmod 755 "$packages"

"$here/../../scripts/package.sh" "$packages"
lintian --fail-on error --allow-root "$packages"/*.deb
suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
# shellcheck disable=SC2016  # apt fills in the fields
mirror=$(apt-get indextargets --format '$(REPO_URI) $(ORIGIN) $(RELEASE)' | awk -v suite="$suite" '$2 == "Debian" && $3 == suite { print $1; exit }')
options=()
while read -r line; do options+=(--aptopt="$line"); done < <(apt-config dump | grep -E '^Acquire::(Check|http)')
# Everything happens in the folder of mmdebstrap's own, with /proc and /dev of the new system.
mmdebstrap --quiet --variant=apt --format=null "${options[@]}" \
  --customize-hook="mkdir \"\$1/packages\" && cp '$packages'/* '$here/inside.sh' \"\$1/packages\"" \
  --customize-hook="chroot \"\$1\" bash /packages/inside.sh" \
  "$suite" - "${mirror:?}"
