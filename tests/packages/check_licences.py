#!/usr/bin/env python3
"""check_licences.py SPDX FILE...: the list names exactly the libraries that each built file loads."""

import os
import re
import subprocess
import sys

text = open(sys.argv[1], encoding="utf-8").read()
names = {ref: name for name, ref in re.findall(r"PackageName: (.*)\nSPDXID: (.*)", text)}
files = {ref: names.split() for ref, names in
         re.findall(r"SPDXID: (.*)\n(?:.+\n)*?PackageComment: <text>(.*)</text>", text)}
failed = False
for path in sys.argv[2:]:
    listed = {file for ref, library in re.findall(r"Relationship: (.*) DYNAMIC_LINK (.*)", text)
              if names[ref] == os.path.basename(path) for file in files[library]}
    dump = subprocess.run(["readelf", "-dW", path], check=True, capture_output=True, text=True)
    loaded = set(re.findall(r"\(NEEDED\).*\[(.*)\]", dump.stdout))
    # One entry of a library that comes in several files is enough, but each loaded file is listed.
    unused = [library for library, of in files.items() if not loaded & set(of) and set(of) <= listed]
    for complaint in sorted(loaded - listed) + unused:
        failed = True
        print(f"{path}: {complaint} is loaded and not listed, or listed and not loaded")
sys.exit(failed)
