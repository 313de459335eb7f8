"""faults.py FOLDER: what rclone and b2drive do when the same things go wrong.

Whatever happens, a client that reports success has moved every byte, and b2drive leaves no file here
that is not complete. Prints the rows of docs/faults.md.
"""

import json
import os
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
    drive: str = FAILS


def refusal(status, code, **more):
    return {"status": status, "code": code, **more}


BUSY, BROKEN = refusal(503, "service_unavailable"), refusal(500, "internal_error")
SLOW_DOWN = refusal(429, "too_many_requests", retryAfter=1)
EXPIRED = refusal(401, "expired_auth_token")
FULL = refusal(403, "storage_cap_exceeded")
LOST_ANSWER = {"commit": True, "cutAfter": 0}

ROWS = [
    Row("list", "b2_authorize_account", "503 once", BUSY),
    Row("list", "b2_authorize_account", "401 always", refusal(401, "unauthorized", times=-1), FAILS),
    Row("list", "b2_list_file_names", "503 once", BUSY),
    Row("list", "b2_list_file_names", "500 once", BROKEN),
    Row("list", "b2_list_file_names", "429 twice, Retry-After 1", {**SLOW_DOWN, "times": 2}, drive=DONE),
    Row("list", "b2_list_file_names", "token expired", EXPIRED),
    Row("list", "b2_list_file_names", "half an answer, as 200", {"status": 200, "body": '{"files": ['}),
    Row("list", "b2_list_file_names", "answer cut after 20 bytes", {"cutAfter": 20}),
    Row("list", "b2_list_file_names", "late by 2 s", {"delayMilliseconds": 2000}, drive=DONE),
    Row("list", "b2_list_file_names", "stalls once", {"stall": True}),
    Row("read", "b2_download_file_by_id", "503 once", BUSY),
    Row("read", "b2_download_file_by_id", "token expired", EXPIRED),
    Row("read", "b2_download_file_by_id", "429 once, Retry-After 1", SLOW_DOWN, drive=DONE),
    Row("read", "b2_download_file_by_id", "cut after 1,000,000 bytes", {"cutAfter": 1_000_000}),
    Row("read", "b2_download_file_by_id", "stalls after 1,000,000 bytes", {"cutAfter": 1_000_000, "stall": True}),
    Row("write", "b2_get_upload_url", "503 once", BUSY),
    Row("write", "b2_upload_file", "503 once", BUSY),
    Row("write", "b2_upload_file", "500 once", BROKEN, drive=DONE),
    Row("write", "b2_upload_file", "408 once", refusal(408, "request_timeout"), drive=DONE),
    Row("write", "b2_upload_file", "token expired", EXPIRED, drive=DONE),
    Row("write", "b2_upload_file", "429 once, Retry-After 1", SLOW_DOWN, drive=DONE),
    Row("write", "b2_upload_file", "403, storage full", {**FULL, "times": -1}, FAILS),
    Row("write", "b2_upload_file", "cut after 50,000 bytes sent", {"cutRequestAfter": 50_000}),
    Row("write", "b2_upload_file", "answer lost", LOST_ANSWER),
    Row("write large", "b2_upload_part", "503 once", {**BUSY, "skip": 1}),
    Row("write large", "b2_upload_part", "500 once", {**BROKEN, "skip": 1}, drive=DONE),
    Row("write large", "b2_upload_part", "token expired", {**EXPIRED, "skip": 1}, drive=DONE),
    Row("write large", "b2_upload_part", "cut after 1,000,000 bytes sent",
        {"cutRequestAfter": 1_000_000, "skip": 1}),
    Row("write large", "b2_upload_part", "answer lost", {**LOST_ANSWER, "skip": 1}),
    Row("write large", "b2_finish_large_file", "answer lost", LOST_ANSWER),
    Row("delete", "b2_delete_file_version", "503 once", BUSY),
    Row("delete", "b2_delete_file_version", "answer lost", LOST_ANSWER, FAILS),
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
    return f"{outcome}{code}, {times}{leftovers(row, name)}", outcome


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
    unexpected = []
    for number, row in enumerate(ROWS):
        cells = []
        for client, expected in ("rclone", row.rclone), ("b2drive", row.drive):
            cell, outcome = run(row, client, number)
            cells.append(cell)
            if outcome != expected:
                unexpected.append((client, row.action, row.call, row.title, outcome))
        print("|", row.action, "|", f"`{row.call}`", "|", row.title, "|", " | ".join(cells), "|",
              flush=True)
    for line in unexpected:
        print("unexpected:", *line, file=sys.stderr)
    sys.exit(bool(unexpected))


SEEDED = output("rclone", "cat", f"b2:{BUCKET}/folder/seeded.bin")
assert len(SEEDED) == SEEDED_SIZE
main()
