#!/usr/bin/env python3
"""gather_pages.py BUILD FOLDER: puts into FOLDER, where it stands in the repository, what the pages are drawn from:
all Markdown, with its pictures; and in manual/ the manual pages, those of BUILD's b2drive among them."""

import pathlib
import re
import shutil
import subprocess
import sys

DIAGRAM = re.compile(r"```mermaid\nflowchart TD\n(.*?)```\n", re.S)
TABLE_ROW = re.compile(r"^\|.*$", re.M)
CODE = re.compile(r"`[^`\n]*`")


def output_of(*command, given=None):
    return subprocess.run(command, check=True, capture_output=True, text=True, input=given).stdout


def draw(flowchart, picture):
    """Draws what a browser does not draw by itself."""
    lines = re.sub(r'(\w+)\["(.*?)"\]', r'\1 [label="\2"]', flowchart).replace("-->", "->")
    look = 'node [shape=box style="rounded,filled" fillcolor="#eef4fa" color="#8aa4bf" fontname=sans]'
    output_of("dot", "-Tsvg", "-o", str(picture), given=f"digraph {{ {look} edge [color=gray40]\n{lines} }}")


def gather(name, folder):
    target = folder / name
    target.parent.mkdir(parents=True, exist_ok=True)
    picture = target.with_suffix(".diagram.svg")
    text = pathlib.Path(name).read_text(encoding="utf-8")
    for flowchart in DIAGRAM.findall(text):
        draw(flowchart, picture)
    text = DIAGRAM.sub(f"![]({picture.name})\n", text)
    # Other readers of Markdown want a bar in a table's code with a backslash; this one shows it.
    text = TABLE_ROW.sub(lambda row: CODE.sub(lambda code: code[0].replace(r"\|", "|"), row[0]), text)
    target.write_text(text, encoding="utf-8")


def linked(reference, pages):
    """To another of the manual pages."""
    name = f"{reference[1]}.{reference[2]}"
    return f'<a href="{name}.html">{reference[0]}</a>' if name in [page.name for page in pages] else reference[0]


def html_of(page, pages):
    """A manual page without its head, with headings that stand below a title."""
    html = output_of("mandoc", "-T", "html", "-O", "fragment", str(page))
    html = re.sub(r"<(/?)h1", r"<\1h2", html[html.index('<div class="manual-text">'):])
    html = re.sub(r"<pre>.*?</pre>", lambda lines: lines[0].replace("<br/>\n", ""), html, flags=re.S)
    html = re.sub(r'<a class="permalink".*?>(.*?)</a>', r"\1", html, flags=re.S)
    return re.sub(r"<b>([\w-]+)</b>\((\d)\)", lambda other: linked(other, pages), html)


def add_manual(pages, folder):
    """A page of each manual page, and a list of them with what each says of itself."""
    folder.mkdir()
    lines = ["# Manual pages", "", "| page | what |", "|---|---|"]
    for page in pages:
        title = f"{page.stem}({page.suffix[1:]})"
        html = html_of(page, pages)
        what = re.search(r'class="Pp">\S+ - (.+?)</p>', html, re.S)[1]
        (folder / f"{page.name}.md").write_text(f"# {title}\n\n{html}", encoding="utf-8")
        lines.append(f"| [{title}]({page.name}.md) | {what.replace(chr(10), ' ')} |")
    (folder / "README.md").write_text("\n".join(lines) + "\n", encoding="utf-8")


def main():
    build, folder = map(pathlib.Path, sys.argv[1:])
    for name in output_of("git", "ls-files", "*.md").splitlines():
        gather(name, folder)
    for name in output_of("git", "ls-files", "docs/*.svg").splitlines():
        shutil.copy(name, folder / name)
    manual = sorted((build / "host/texts/man").glob("*.1"))
    if not manual:
        sys.exit(f"gather_pages: no manual pages in {build}; build b2drive first")
    others = [pathlib.Path(name) for name in output_of("git", "ls-files", "*.1", "*.8").splitlines()]
    add_manual(manual + others, folder / "manual")


main()
