#!/usr/bin/env python3
"""check_threads.py: fails where clang finds that something is used without the lock that
base/thread_safety.h's attributes ask for, or that locks are taken in the wrong order. Needs a
configured build in build/release."""

import concurrent.futures
import functools
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
HEADER = ROOT / "base/thread_safety.h"
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)
CLANG = ["clang++", "-fsyntax-only", "-Werror=thread-safety", "-Werror=thread-safety-beta"]
UNLOCKED = """#include "base/thread_safety.h"
struct S { base::Mutex mutex; int value B2_GUARDED_BY(mutex); };
int Get(S& s) { return s.value; }
"""


@functools.cache
def reaches_header(path):
    if path == HEADER:
        return True
    roots = [ROOT, ROOT / "src", path.parent]
    found = (root / name for name in INCLUDE.findall(path.read_text()) for root in roots)
    return any(reaches_header(file) for file in found if file.is_file())


def units():
    done = set()
    for entry in json.loads((ROOT / "build/release/compile_commands.json").read_text()):
        path = pathlib.Path(entry["file"])
        part = path.relative_to(ROOT).parts[0] if path.is_relative_to(ROOT) else ""
        if part in {"src", "host", "emulator"} and path not in done and reaches_header(path):
            done.add(path)
            yield entry


def flags(entry):
    words = shlex.split(entry["command"])
    words = words[next(i for i, word in enumerate(words) if word.startswith("-")):]
    output = words.index("-o")
    words = words[:output] + words[output + 2:]
    return [word for word in words if not word.startswith("-W") and word != "-fno-gnu-unique"]


def complaints(entry):
    run = subprocess.run(CLANG + flags(entry), cwd=entry["directory"], capture_output=True, text=True)
    return run.stderr or ("clang++ failed\n" if run.returncode else "")


def notices_mistakes():
    run = subprocess.run(CLANG + ["-std=c++20", f"-I{ROOT}", "-xc++", "-"], input=UNLOCKED,
                         capture_output=True, text=True)
    return "requires holding mutex" in run.stderr


if not notices_mistakes():
    sys.exit("threads: clang++ does not notice what is used without its lock")
with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
    results = list(pool.map(complaints, units()))
sys.stderr.write("".join(results))
if any(results):
    sys.exit(1)
print(f"threads: {len(results)} units clean")
