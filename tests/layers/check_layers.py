#!/usr/bin/env python3
"""check_layers.py ROOT ROOMS: each folder includes only what stands below it, and each third-party library
only where it belongs."""

import pathlib
import re
import sys

ORDER = ["plugin", "b2", "engine", "http", "toolkit", "util", "protocol"]
BELOW = {name: set(ORDER[i:]) for i, name in enumerate(ORDER)}
BELOW["b2"] -= {"toolkit"}
BELOW["engine"] -= {"toolkit"}
BELOW["http"] -= {"toolkit"}
PARTS = {"base", "src", "host", "emulator", "conform"}
COMMON = "base"  # below all other parts; stands on Boost alone
UNCHECKED = {"mutex", "shared_mutex", "condition_variable"}  # base/thread_safety.h has what clang checks
HOMES = {  # include prefix: folders of src/ that may use it
    "curl/": {"http"},
    "event2/": {"http", "toolkit"},
    "json/": {"util"},
    "openssl/": {"util", "toolkit"},
    "zlib.h": {"util"},
    "crypto++/": {"util", "toolkit"},
    "cryptopp/": {"util", "toolkit"},
}
INCLUDE = re.compile(r'^\s*#\s*include\s+["<]([^">]+)[">]', re.M)


def complaints(root):
    for path in sorted(root.glob("*/**/*")):
        top = path.relative_to(root).parts[0]
        if path.suffix not in {".h", ".cpp", ".inc"} or top not in PARTS:
            continue
        for name in INCLUDE.findall(path.read_text(encoding="utf-8")):
            if wrong(root, path, top, name):
                yield f"{path.relative_to(root)}: must not include {name}"


def wrong(root, path, top, name):
    first = name.split("/")[0]
    if name in UNCHECKED:
        return top != COMMON
    if top == COMMON or first == COMMON:
        return first not in {COMMON, "boost"} and "/" in name
    if top == "src":
        folder = path.relative_to(root / "src").parts[0]
        if first in BELOW:
            return first not in BELOW[folder]
        homes = next((h for prefix, h in HOMES.items() if name.startswith(prefix)), None)
        return (homes is not None and folder not in homes) or first in {"host", "emulator", "tests"}
    if top == "host":
        if first == "host":
            return str(pathlib.Path(name).parent) not in reached(path.parent.relative_to(root))
        return first in {"emulator", "tests"} | set(ORDER) - {"protocol"}
    if top == "conform":  # what any host is given, and no more
        return first in {"host", "emulator", "tests"} | set(ORDER) - {"protocol"}
    return first in {"host", "tests"} | set(ORDER)


def reached(room):
    """The room of the host and those below it, of which ROOMS has a line each: room, links."""
    seen, ahead = set(), {str(room)}
    while ahead:
        seen |= ahead
        ahead = {below for name in ahead for below in LINKS.get(name, [])} - seen
    return seen


LINKS = {"host": ["host/commands"]} | {
    line.split()[0]: line.split()[1:] for line in pathlib.Path(sys.argv[2]).read_text().splitlines()}
found = list(complaints(pathlib.Path(sys.argv[1])))
print("\n".join(found) or "layers: clean")
sys.exit(bool(found))
