"""faults.py FOLDER: what rclone and b2drive do when the same things go wrong, as docs/faults.md.

Whatever happens, a client that reports success has moved every byte, and b2drive stores nothing twice
and leaves no file here that is not complete.
"""

import json
import os
import pathlib
import subprocess
import sys
import time
import urllib.request
from typing import NamedTuple

FOLDER = sys.argv[1]
BUCKET = "fault-bucket"
SEEDED_SIZE = 3 << 20
RCLONE = ["rclone", "--timeout", "5s", "--b2-upload-cutoff", "5M", "--b2-chunk-size", "5M"]
DONE, FAILS = "done", "fails"


class Row(NamedTuple):
    action: str  # a key of ACTIONS
    call: str  # what goes wrong, once unless the fault says more
    title: str
    fault: dict
    rclone: str = DONE
    drive: str = DONE


def refusal(status, code, **more):
    return {"status": status, "code": code, **more}


BUSY, BROKEN = refusal(503, "service_unavailable"), refusal(500, "internal_error")
SLOW_DOWN = refusal(429, "too_many_requests", retryAfter=1)
EXPIRED = refusal(401, "expired_auth_token")
FULL = refusal(403, "storage_cap_exceeded")
LOST_ANSWER = {"commit": True, "cutAfter": 0}
DROPPED = {"cutRequestAfter": 0}

SIGN_IN, LIST, READ = "b2_authorize_account", "b2_list_file_names", "b2_download_file_by_id"
URL, UPLOAD = "b2_get_upload_url", "b2_upload_file"
START, PART, FINISH = "b2_start_large_file", "b2_upload_part", "b2_finish_large_file"
VERSIONS, DELETE = "b2_list_file_versions", "b2_delete_file_version"

ROWS = [
    Row("list", SIGN_IN, "503", BUSY),
    Row("list", SIGN_IN, "dropped", DROPPED),
    Row("list", SIGN_IN, "401 always", refusal(401, "unauthorized", times=-1), FAILS, FAILS),
    Row("list", LIST, "500", BROKEN),
    Row("list", LIST, "503", BUSY),
    Row("list", LIST, "503 three times", {**BUSY, "times": 3}),
    Row("list", LIST, "429 twice, Retry-After 1", {**SLOW_DOWN, "times": 2}),
    Row("list", LIST, "dropped", DROPPED),
    Row("list", LIST, "answer cut after 20 bytes", {"cutAfter": 20}),
    Row("list", LIST, "half an answer, as 200", {"status": 200, "body": '{"files": ['}),
    Row("list", LIST, "token expired", EXPIRED),
    Row("list", LIST, "late by 2 s", {"delayMilliseconds": 2000}),
    Row("list", LIST, "stalls", {"stall": True}),
    Row("read", READ, "500", BROKEN),
    Row("read", READ, "503", BUSY),
    Row("read", READ, "429, Retry-After 1", SLOW_DOWN),
    Row("read", READ, "token expired", EXPIRED),
    Row("read", READ, "cut after 1,000,000 bytes", {"cutAfter": 1_000_000}),
    Row("read", READ, "cut after 1,000,000 bytes, three times", {"cutAfter": 1_000_000, "times": 3}),
    Row("read", READ, "dropped", DROPPED),
    Row("read", READ, "stalls after 1,000,000 bytes", {"cutAfter": 1_000_000, "stall": True}),
    Row("write", URL, "503", BUSY),
    Row("write", URL, "token expired", EXPIRED),
    Row("write", UPLOAD, "408", refusal(408, "request_timeout")),
    Row("write", UPLOAD, "429, Retry-After 1", SLOW_DOWN),
    Row("write", UPLOAD, "500", BROKEN),
    Row("write", UPLOAD, "503", BUSY),
    Row("write", UPLOAD, "503 three times", {**BUSY, "times": 3}),
    Row("write", UPLOAD, "token expired", EXPIRED),
    Row("write", UPLOAD, "403, storage full", {**FULL, "times": -1}, FAILS, FAILS),
    Row("write", UPLOAD, "dropped", DROPPED),
    Row("write", UPLOAD, "cut after 50,000 bytes sent", {"cutRequestAfter": 50_000}),
    Row("write", UPLOAD, "answer lost", LOST_ANSWER),
    Row("write large", START, "503", BUSY),
    Row("write large", PART, "500", {**BROKEN, "skip": 1}),
    Row("write large", PART, "503", {**BUSY, "skip": 1}),
    Row("write large", PART, "token expired", {**EXPIRED, "skip": 1}),
    Row("write large", PART, "dropped", {**DROPPED, "skip": 1}),
    Row("write large", PART, "cut after 1,000,000 bytes sent",
        {"cutRequestAfter": 1_000_000, "skip": 1}),
    Row("write large", PART, "answer lost", {**LOST_ANSWER, "skip": 1}),
    Row("write large", FINISH, "503", BUSY),
    Row("write large", FINISH, "answer lost", LOST_ANSWER),
    Row("delete", VERSIONS, "503", BUSY),
    Row("delete", DELETE, "503", BUSY),
    Row("delete", DELETE, "answer lost", LOST_ANSWER, FAILS),
]


def control(method, path, body=None):
    request = urllib.request.Request("https://control.backblazeb2.com/" + path, method=method,
                                     data=json.dumps(body).encode() if body else None)
    with urllib.request.urlopen(request) as answer:
        return json.load(answer)


def output(*command):
    return subprocess.run(command, check=True, capture_output=True).stdout


def local(name):
    return os.path.join(FOLDER, name)


def content_of(path):
    with open(path, "rb") as file:
        return file.read()


# Each action: what the two clients are told, and what must be true of `name` after a success.
ACTIONS = {
    "list": (lambda name: ["lsf", f"b2:{BUCKET}/folder"],
             lambda name: ["ls", f"/{BUCKET}/folder"],
             lambda name, said: said == b"seeded.bin\n"),
    "read": (lambda name: ["copyto", f"b2:{BUCKET}/folder/seeded.bin", local(name)],
             lambda name: ["get", f"/{BUCKET}/folder/seeded.bin", local(name)],
             lambda name, said: content_of(local(name)) == SEEDED),
    "write": (lambda name: ["copyto", local("small"), f"b2:{BUCKET}/{name}"],
              lambda name: ["put", local("small"), f"/{BUCKET}/{name}"],
              lambda name, said: stored(name) == content_of(local("small"))),
    "write large": (lambda name: ["copyto", local("large"), f"b2:{BUCKET}/{name}"],
                    lambda name: ["put", local("large"), f"/{BUCKET}/{name}"],
                    lambda name, said: stored(name) == content_of(local("large"))),
    "delete": (lambda name: ["deletefile", "--b2-hard-delete", f"b2:{BUCKET}/{name}"],
               lambda name: ["rm", f"/{BUCKET}/{name}"],
               lambda name, said: not versions(name)),
}


def stored(name):
    return output("rclone", "cat", f"b2:{BUCKET}/{name}")


def versions(name):
    """The sizes of a name's versions; unfinished large files have none."""
    listed = output("rclone", "lsf", "--format", "ps", "--b2-versions", f"b2:{BUCKET}").decode()
    return [line.split(";")[1] for line in listed.splitlines() if line.startswith(name)]


def run(row, client, number):
    """One cell of the table and whether it is as expected."""
    name = f"{client}-{number}-"
    for_rclone, for_drive, complete = ACTIONS[row.action]
    if row.action == "delete":
        output("rclone", "copyto", local("small"), f"b2:{BUCKET}/{name}")
    control("POST", "faults", {"call": row.call, **row.fault})
    control("DELETE", "requests")
    start = time.monotonic()
    done = subprocess.run([*RCLONE, *for_rclone(name)] if client == "rclone" else
                          ["b2drive", *for_drive(name)], capture_output=True, check=False)
    seconds = time.monotonic() - start
    control("DELETE", "faults")
    counts = control("GET", "counts")
    outcome = FAILS if done.returncode else DONE
    assert outcome == FAILS or complete(name, done.stdout), f"{client} claims success: {row}"
    assert outcome == DONE or client == "rclone" or not os.path.exists(local(name)), row
    code = f" ({done.returncode})" if done.returncode else ""
    times = f"{counts['calls'].get(row.call, 0)}x, {seconds:.0f} s"
    left = leftovers(row, name)
    assert client == "rclone" or "second" not in left, f"stored twice: {row}"
    return f"{outcome}{code}, {times}{left}", outcome


def leftovers(row, name):
    """What stays on the service beyond one complete file, or beyond none after a deletion."""
    found = versions(name) if row.action.startswith("write") else []
    unfinished = sum(size == "0" for size in found)
    parts = ["an unfinished file"] * unfinished + ["a second version"] * (len(found) - unfinished > 1)
    return "".join(f"; leaves {part}" for part in parts)


def main():
    for name, size in ("small", 100_000), ("large", 17_000_000):
        with open(local(name), "wb") as file:
            file.write(os.urandom(size))
    unexpected, lines = [], []
    for number, row in enumerate(ROWS):
        cells = []
        for client, expected in ("rclone", row.rclone), ("b2drive", row.drive):
            cell, outcome = run(row, client, number)
            cells.append(cell)
            if outcome != expected:
                unexpected.append((client, row.action, row.call, row.title, outcome))
        lines.append(f"| {row.action} | `{row.call}` | {row.title} | {' | '.join(cells)} |")
        print(lines[-1], file=sys.stderr)
    page = pathlib.Path(__file__).with_name("faults.md.in").read_text(encoding="utf-8")
    print(page.replace("@ROWS@", "\n".join(lines)), end="")
    for line in unexpected:
        print("unexpected:", *line, file=sys.stderr)
    sys.exit(bool(unexpected))


SEEDED = output("rclone", "cat", f"b2:{BUCKET}/folder/seeded.bin")
assert len(SEEDED) == SEEDED_SIZE
main()
