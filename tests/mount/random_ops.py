"""Random operations on the mount and on a shadow folder, compared at every tenth step.

usage: random_ops.py MOUNTED SHADOW STEPS SEED
"""
import os
import random
import subprocess
import sys

ROOTS, STEPS, SEED = sys.argv[1:3], int(sys.argv[3]), int(sys.argv[4])
rnd = random.Random(SEED)
NAMES = ["a", "a.bak", "a~", "b", "b b", "ü", "c.txt", "c.txt.1", "d", "dd"]
FOLDERS = ["x", "x/y", "x.1", "z"]


def put(path, what, mode, offset=0):
    with open(path, mode) as file:
        file.seek(offset, os.SEEK_CUR)
        file.write(what)


def read(path, offset):
    with open(path, "rb") as file:
        file.seek(offset)
        return file.read(70000)


def operation():
    path, other = (os.path.join(rnd.choice(["", *FOLDERS]), rnd.choice(NAMES)) for _ in range(2))
    what = rnd.randbytes(rnd.choice([0, 1, 100, 5000, 140000]))
    folder, offset = rnd.choice(FOLDERS), rnd.randrange(200000)
    return rnd.choice([
        lambda: put(path, what, "wb"),
        lambda: put(path, what, "ab"),
        lambda: put(path, what, "xb"),
        lambda: put(path, what, "r+b", offset),
        lambda: os.truncate(path, offset),
        lambda: read(path, offset),
        lambda: os.unlink(path),
        lambda: os.rename(path, other),
        lambda: os.rename(path, path + "2"),
        lambda: os.mkdir(folder),
        lambda: os.rmdir(folder),
        lambda: os.stat(path).st_size,
    ]), f"{path} {other} {folder}"


def result(action, root):
    os.chdir(root)
    try:
        return action()
    except OSError as error:
        return f"error {error.errno}"


for root in ROOTS:
    os.mkdir(root)
for step in range(1, STEPS + 1):
    action, label = operation()
    mounted, shadow = (result(action, root) for root in ROOTS)
    assert mounted == shadow, f"step {step}: {label}: {mounted!r:.80} but {shadow!r:.80}"
    if step % 10 == 0:
        subprocess.run(["diff", "-r", *ROOTS], check=True)
