"""What is measured over a link: the command lines of each program, and the jobs of the mount."""

import dataclasses
import filecmp
import os
import random
import shutil
from typing import Callable

from comparison import mount_jobs
from comparison.mount_jobs import KIB, MIB, Job, expect, run

SMALL_BYTES = 16 * KIB
ONE_IN = 10  # of the small files has changed before a sync
LISTED = 5_000
SEEDS = [f"bench-tree/folder/:{LISTED}:1K"]
BUCKETS = ["bench-read", "bench-store"]


class Places(mount_jobs.Places):
    """Local files, and which of them stand in the service: `large` MiB in one, `small` files."""

    def __init__(self, programs, scratch, large, small):
        super().__init__(programs, scratch, large * MIB, SMALL_BYTES)
        self.programs, self.count = programs, small
        self.folder = self.small(small)
        self.store_small(small)
        self.synced = scratch / "synced"
        shutil.copytree(self.folder, self.synced)
        self.moved = scratch / "moved"
        shutil.copy(self.large, self.moved)
        os.truncate(self.moved, large * MIB // 2)

    def clear_out(self):
        if self.out.is_file():
            self.out.unlink()
        shutil.rmtree(self.out, ignore_errors=True)

    def check_out(self):
        if self.out.is_file():
            expect(filecmp.cmp(self.large, self.out, shallow=False), "other bytes were fetched")
        else:
            mount_jobs.check_copied_out(self, self.count)


@dataclasses.dataclass(frozen=True)
class Command:
    """A row of the command line. `words` has a function of Places for each program. It stores what
    `stored` gives, or fetches to `places.out`."""

    name: str  # with {large} and {small}
    words: dict
    setup: Callable = None  # (Places, program), without the link
    stored: Callable = None  # (Places): local file or folder


def _sync_of(folder):
    """The words that make the bucket's folder of the same name as the local one is."""
    return {
        "b2drive": lambda p: ["sync", "up", folder(p), f"/bench-store/{folder(p).name}"],
        "rclone": lambda p: ["sync", folder(p), f"bench:bench-store/{folder(p).name}"],
        "b2": lambda p: ["sync", "--noProgress", folder(p), f"b2://bench-store/{folder(p).name}"],
    }


def _sync_and_change(places, program):
    """A program may keep notes of its own about what it has synced."""
    places.programs.run(program, SYNC.words[program](places))
    for path in sorted(places.synced.iterdir())[::ONE_IN]:
        path.write_bytes(random.randbytes(SMALL_BYTES))


def _make_out_for_b2(places, program):
    if program == "b2":
        places.out.mkdir()


SYNC = Command(f"sync, one in {ONE_IN} new ({{small}} files)",
               _sync_of(lambda p: p.synced), setup=_sync_and_change,
               stored=lambda p: p.synced)
COMMANDS = [
    Command("put ({large} MiB)", {
        "b2drive": lambda p: ["put", p.large, "/bench-store/large"],
        "rclone": lambda p: ["copyto", p.large, "bench:bench-store/large"],
        "b2": lambda p: ["upload-file", "--noProgress", "bench-store", p.large, "large"],
    }, stored=lambda p: p.large),
    Command("get ({large} MiB)", {
        "b2drive": lambda p: ["get", "/bench-read/large", p.out],
        "rclone": lambda p: ["copyto", "bench:bench-read/large", p.out],
        "b2": lambda p: ["download-file-by-name", "--noProgress", "bench-read", "large", p.out],
    }),
    Command("put -r ({small} files)", {
        "b2drive": lambda p: ["put", "-r", p.folder, "/bench-store/"],
        "rclone": lambda p: ["copy", p.folder, f"bench:bench-store/{p.folder.name}"],
        "b2": lambda p: ["sync", "--noProgress", p.folder, f"b2://bench-store/{p.folder.name}"],
    }, stored=lambda p: p.folder),
    Command("get -r ({small} files)", {
        "b2drive": lambda p: ["get", "-r", f"/bench-read/{p.folder.name}", p.out],
        "rclone": lambda p: ["copy", f"bench:bench-read/{p.folder.name}", p.out],
        "b2": lambda p: ["sync", "--noProgress", f"b2://bench-read/{p.folder.name}", p.out],
    }, setup=_make_out_for_b2),
    Command("sync ({small} files)", _sync_of(lambda p: p.folder), stored=lambda p: p.folder),
    SYNC,
]


def mount_jobs_of(large, small):
    return [
        Job(f"mount: read ({large} MiB)", mount_jobs.read_whole, {0: 1}),
        Job("mount: cp -r in ({count} files)", mount_jobs.copy_in, {0: small}, stored=Places.small),
        Job("mount: cp -r out ({count} files)", mount_jobs.copy_out, {0: small},
            check=mount_jobs.check_copied_out),
        Job(f"mount: mv ({large // 2} MiB)", _move, {0: 1}, setup=_store_half,
            stored=lambda places, _: places.moved),
        Job("mount: second ls -l ({count:,} files)", _list, {0: LISTED}, warm=_list),
    ]


def _store_half(places, _):
    places.programs.store(places.moved, "bench-store/half")


def _move(_, folder, __):
    os.rename(folder / "bench-store" / "half", folder / "bench-store" / "moved")


def _list(_, folder, count):
    lines = run("ls", "-l", folder / "bench-tree" / "folder").splitlines()
    expect(len(lines) == count + 1, f"{len(lines)} lines")
