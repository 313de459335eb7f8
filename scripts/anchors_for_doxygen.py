#!/usr/bin/env python3
"""anchors_for_doxygen.py FILE: a page of Markdown whose headings Doxygen can find.

A link within the page names its heading as web sites for Markdown do; Doxygen wants the name beside
the heading.
"""

import re
import sys

page = open(sys.argv[1], encoding="utf-8").read()
linked = set(re.findall(r"\]\(#([^)]*)\)", page))


def with_anchor(heading):
    name = re.sub(r"[^\w\- ]", "", heading[2].lower()).replace(" ", "-")
    return heading[0] + (f" {{#{name}}}" if name in linked else "")


sys.stdout.write(re.sub(r"^(#+) (.*)$", with_anchor, page, flags=re.MULTILINE))
