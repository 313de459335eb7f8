#!/usr/bin/env python3
"""draw_terminal.py [BUILD] [--check]: runs the commands below against an emulator and writes what a user sees, line
by line, to docs/terminal.svg. --check compares. BUILD (build/release) has the programs; /dev/fuse is needed."""

import html
import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PICTURE = ROOT / "docs/terminal.svg"
SCENE = r"""
. "$ROOT/tests/support/shell.sh"
start_emulator --seed photos/2019/beach.jpg:1:3M --seed photos/2019/raw/img-:3:900K --bucket backup
cd "$HOME"
mkdir cloud letters
for name in ada ben cleo; do echo "Dear $name," >"letters/$name.txt"; done
echo "a draft" >letters/draft.tmp
show() { echo "$ $1"; bash -c "$1" 2>&1; }
show 'b2drive ls'
show 'b2drive du -h /photos'
show 'b2drive sync up --exclude "*.tmp" letters /backup/letters'
show 'b2drive ls /backup/letters'
show 'b2drive mount ~/cloud'
show 'cp letters/ada.txt ~/cloud/photos/2019/'
show 'ls ~/cloud/photos/2019'
show 'b2drive status ~/cloud'
show 'fusermount3 -u ~/cloud'
await no_mount
show 'b2drive cat /photos/2019/ada.txt'
finish
"""
WIDTH, HEIGHT, MARGIN = 8.4, 20, 16  # of a character and around them, in pixels
TYPING, PRINTING = 1.4, 0.25  # seconds before a command and before a line that it prints


def lines_of_a_run(build):
    programs = {"B2DRIVE": build / "bin/b2drive", "B2EMULATOR": build / "bin/b2emulator",
                "B2_PLUGIN": build / "lib/libbackblazeb2.so.3", "ROOT": ROOT}
    done = subprocess.run(["bash", "-c", SCENE], stdout=subprocess.PIPE, encoding="utf-8", check=True,
                          env=os.environ | {name: str(path) for name, path in programs.items()})
    return done.stdout.expandtabs().splitlines()


def draw(lines):
    width = 2 * MARGIN + WIDTH * max(len(line) for line in lines)
    height = 2 * MARGIN + HEIGHT * len(lines)
    yield (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:.0f} {height}" font-size="14" '
           'font-family="ui-monospace, DejaVu Sans Mono, Menlo, Consolas, monospace">')
    yield ("<style>text{fill:#d7dae0;white-space:pre;animation:show .01s both}"
           ".typed{fill:#8fd694;font-weight:bold}@keyframes show{from{opacity:0}}"
           "@media(prefers-reduced-motion){text{animation:none}}</style>")
    yield '<rect width="100%" height="100%" rx="8" fill="#1e2127"/>'
    seconds = -TYPING  # the first line stands there from the start
    for row, line in enumerate(lines):
        typed = line.startswith("$ ")
        seconds += TYPING if typed else PRINTING
        kind = ' class="typed"' if typed else ""
        yield (f'<text{kind} x="{MARGIN}" y="{MARGIN + HEIGHT * row + 15}" '
               f'style="animation-delay:{seconds:.2f}s">{html.escape(line)}</text>')
    yield "</svg>\n"


arguments = [word for word in sys.argv[1:] if word != "--check"]
picture = "\n".join(draw(lines_of_a_run(pathlib.Path(*arguments or [ROOT / "build/release"]).resolve())))
if "--check" not in sys.argv:
    PICTURE.write_text(picture, encoding="utf-8")
elif PICTURE.read_text(encoding="utf-8") != picture:
    sys.exit(f"{PICTURE} shows something else; run scripts/draw_terminal.py")
