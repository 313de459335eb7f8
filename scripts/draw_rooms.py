#!/usr/bin/env python3
"""draw_rooms.py BUILD [--check]: draws the host's rooms in docs/architecture.md as the build has them
(BUILD/rooms.txt). With --check it changes nothing, and fails when the picture is another."""

import pathlib
import re
import sys

DOCUMENT = pathlib.Path(__file__).resolve().parent.parent / "docs" / "architecture.md"
PICTURE = re.compile(r"```mermaid\n.*?```\n", re.S)


def picture(rooms):
    lines = ["```mermaid", "flowchart TD"]
    for room, *below in rooms:
        identifier = room.replace("/", "_")
        lines.append(f'  {identifier}["{room.removeprefix("host/")}"]')
        lines += [f"  {identifier} --> {name.replace('/', '_')}" for name in below]
    return "\n".join(lines + ["```", ""])


def main():
    build, *options = sys.argv[1:]
    rooms = [line.split() for line in (pathlib.Path(build) / "rooms.txt").read_text().splitlines()]
    text = DOCUMENT.read_text(encoding="utf-8")
    drawn = PICTURE.sub(lambda _: picture(rooms), text)
    if options == ["--check"]:
        sys.exit(0 if drawn == text else f"draw_rooms: {DOCUMENT} shows other rooms than the build has")
    DOCUMENT.write_text(drawn, encoding="utf-8")


main()
