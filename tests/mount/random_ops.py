"""Random operations on the mount and on a shadow folder, compared at every tenth step.

usage: random_ops.py MOUNTED SHADOW STEPS SEED
"""
import os
import random
import shutil
import sys

MOUNTED, SHADOW, STEPS, SEED = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
rnd = random.Random(SEED)
NAMES = ["a", "a.bak", "a~", "b", "b b", "ü", "c.txt", "c.txt.1", "d", "dd"]
FOLDERS = ["", "x", "x/y", "x.1", "z"]


def some_path():
    return os.path.join(rnd.choice(FOLDERS), rnd.choice(NAMES))


def data():
    return rnd.randbytes(rnd.choice([0, 1, 100, 5000, 140000]))


def write_at(root, path, offset, what):
    with open(os.path.join(root, path), "r+b") as f:
        f.seek(offset)
        f.write(what)


def put(root, path, what, mode):
    with open(os.path.join(root, path), mode) as f:
        f.write(what)


def read_part(root, path, offset, count):
    with open(os.path.join(root, path), "rb") as f:
        f.seek(offset)
        return f.read(count)


def operation():
    kind, path, other = rnd.randrange(12), some_path(), some_path()
    what, offset = data(), rnd.randrange(200000)
    folder = rnd.choice(FOLDERS[1:])
    return rnd.choice([
        lambda r: put(r, path, what, "wb"),
        lambda r: put(r, path, what, "ab"),
        lambda r: put(r, path, what, "xb"),
        lambda r: write_at(r, path, offset, what),
        lambda r: os.truncate(os.path.join(r, path), offset),
        lambda r: read_part(r, path, offset, 70000),
        lambda r: os.unlink(os.path.join(r, path)),
        lambda r: os.rename(os.path.join(r, path), os.path.join(r, other)),
        lambda r: os.rename(os.path.join(r, path), os.path.join(r, path + "2")),
        lambda r: os.mkdir(os.path.join(r, folder)),
        lambda r: os.rmdir(os.path.join(r, folder)),
        lambda r: os.stat(os.path.join(r, path)).st_size,
    ]), f"{kind} {path} {other} {folder}"


def run(action, root):
    try:
        return action(root)
    except OSError as error:
        return ("error", error.errno)


def contents(root):
    seen = {}
    for folder, folders, files in os.walk(root):
        for name in folders:
            seen[os.path.relpath(os.path.join(folder, name), root)] = None
        for name in files:
            path = os.path.join(folder, name)
            with open(path, "rb") as f:
                seen[os.path.relpath(path, root)] = f.read()
    return seen


def compare(step):
    mounted, shadow = contents(MOUNTED), contents(SHADOW)
    if mounted == shadow:
        return
    for path in sorted(set(mounted) | set(shadow)):
        if mounted.get(path, "missing") != shadow.get(path, "missing"):
            print("step", step, "differs:", path)
    sys.exit(1)


for root in (MOUNTED, SHADOW):
    shutil.rmtree(root, ignore_errors=True)
    os.mkdir(root)
for step in range(1, STEPS + 1):
    action, label = operation()
    results = [run(action, root) for root in (MOUNTED, SHADOW)]
    if results[0] != results[1]:
        sys.exit(f"step {step}: {label}: {str(results[0])[:80]} but {str(results[1])[:80]}")
    if step % 10 == 0:
        compare(step)
compare(STEPS)
print("steps:", STEPS)
