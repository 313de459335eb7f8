#!/usr/bin/env python3
"""check_links.py: every link of the repository's pages that leads to a file or a heading here leads somewhere."""

import pathlib
import re
import subprocess
import sys

CODE = re.compile(r"^```.*?^```|^    .*?$|`[^`\n]*`", re.M | re.S)
LINK = re.compile(r"\]\(([^()\s]+)\)")


def headings(page):
    """The names under which a browser finds a page's headings."""
    titles = re.findall(r"^#+ (.*)$", page.read_text(encoding="utf-8"), re.M)
    return {re.sub(r"[^\w\- ]", "", title).strip().lower().replace(" ", "-") for title in titles}


def dead_links(page):
    for link in LINK.findall(CODE.sub("", page.read_text(encoding="utf-8"))):
        if re.match(r"[a-z]+:", link):
            continue
        file, _, heading = link.partition("#")
        target = page.parent / file if file else page
        if not target.exists() or (heading and heading not in headings(target)):
            yield f"{page}: nothing is at {link}"


names = subprocess.run(["git", "ls-files", "*.md"], check=True, capture_output=True, text=True).stdout
dead = [line for name in names.splitlines() for line in dead_links(pathlib.Path(name))]
print("\n".join(dead) or f"links: {len(names.splitlines())} pages lead somewhere")
sys.exit(1 if dead else 0)
