"""kill.py write FOLDER LOG FIRST: writes files without end, logs the steps that were acknowledged.
kill.py check FOLDER LOG: every file is whole, and no older than what was acknowledged."""
import os
import random
import sys

JOB, FOLDER, LOG = sys.argv[1:4]
FILES = 7


def contents(step):
    rnd = random.Random(f"{FOLDER} {step}")
    return b"%d " % step + rnd.randbytes(rnd.choice([1, 3000, 200000, 700000]))


def path(step):
    return os.path.join(FOLDER, str(step % FILES))


def write(step, log):
    with open(path(step), "wb") as file:
        file.write(contents(step))
        if step % 3 == 0:
            file.flush()
            os.fsync(file.fileno())
            print(step, file=log)
    print(step, file=log)


def check(log):
    acknowledged = {}
    for line in log:
        acknowledged[path(int(line))] = int(line)
    assert acknowledged or sys.exit("nothing was acknowledged")
    for file in acknowledged.keys() | {os.path.join(FOLDER, name) for name in os.listdir(FOLDER)}:
        found = open(file, "rb").read()
        step = int(found.split(b" ")[0])
        assert found == contents(step), f"{file}: not whole"
        assert step >= acknowledged.get(file, 0), f"{file}: older than {acknowledged[file]}"


with open(LOG, "a+", buffering=1) as notes:
    if JOB == "write":
        os.makedirs(FOLDER, exist_ok=True)
        number = int(sys.argv[4])
        while True:
            number += 1
            write(number, notes)
    notes.seek(0)
    check(notes)
