#!/usr/bin/env python3
"""check_site.py FOLDER: every link of the pages in FOLDER that leads to one of its files, or into it, leads somewhere."""

import html.parser
import pathlib
import sys
import urllib.parse


class Page(html.parser.HTMLParser):
    """`links`, and `anchors`: what can stand behind "#" in a link to it."""

    def __init__(self, file):
        super().__init__()
        self.links, self.anchors = [], {"", "top"}
        self.feed(file.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attributes):
        given = dict(attributes)
        self.anchors |= {given.get("id"), given.get("name")}
        self.links += [given[name] for name in ("href", "src") if given.get(name)]


def dead_links(pages):
    for file, page in pages.items():
        for link in page.links:
            to = urllib.parse.urlsplit(link)
            if to.scheme or to.netloc:
                continue
            target = (file.parent / urllib.parse.unquote(to.path)).resolve() if to.path else file
            anchors = pages[target].anchors if target in pages else {to.fragment}
            if not target.is_file() or urllib.parse.unquote(to.fragment) not in anchors:
                yield f"{file}: nothing is at {link}"


folder = pathlib.Path(sys.argv[1]).resolve()
files = [file for file in sorted(folder.rglob("*.html")) if file.name != "404.html"]  # its links are those of a server
dead = list(dead_links({file: Page(file) for file in files}))
print("\n".join(dead) or f"site: {len(files)} pages lead somewhere")
sys.exit(1 if dead else 0)
