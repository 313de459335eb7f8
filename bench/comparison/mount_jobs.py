"""What is measured on a mount: the jobs, and whether their results are right."""

import dataclasses
import filecmp
import mmap
import os
import random
import shutil
import subprocess
from typing import Callable

KIB, MIB, GIB = 1 << 10, 1 << 20, 1 << 30
TIMEOUT_SECONDS = 300
TREE = (100, 100)  # folders, files in each
NAMES = 1_000_000  # in one folder
SEEDS = [f"bench-tree/folder:{TREE[0] * TREE[1]}:1K:{TREE[0]}", f"bench-names/in/f:{NAMES}:0"]
BUCKETS = ["bench-read", "bench-store"]


class WrongResult(Exception):
    """What was read or stored is not what it should be."""


@dataclasses.dataclass
class Job:
    """One row a latency. `counts` has the number of files or reads from a latency on, so that slow
    ones end. Only `act` is timed; it and `check` raise WrongResult."""

    name: str  # with {count}
    act: Callable  # (Places, mounted folder, count)
    counts: dict  # 0: not from there on
    setup: Callable = None  # (Places, count), without latency
    stored: Callable = None  # (Places, count): the file or folder that has to reach bench-store
    check: Callable = None  # (Places, count)
    large: bool = False  # moves a GiB
    warm: Callable = None  # (Places, mounted folder, count): before what is timed

    def count_at(self, latency):
        return self.counts[max(start for start in self.counts if start <= latency)]


def all_jobs():
    small = {0: 1000, 50: 400, 150: 100}
    return [
        Job("read 1 GiB", read_whole, {0: 1}, large=True),
        Job("write 1 GiB", write_whole, {0: 1}, stored=lambda places, _: places.large, large=True),
        Job("{count:,} random reads of 4 KiB", random_reads(4 * KIB), {0: 200, 150: 100}),
        Job("{count:,} random reads of 128 KiB", random_reads(128 * KIB), {0: 200, 150: 100}),
        Job("ls -lR of {count:,} files", list_tree, {0: TREE[0] * TREE[1]}),
        Job("ls -l of {count:,} names", list_names, {0: NAMES, 1: 0}),
        Job("cp -r of {count:,} files in", copy_in, small, stored=Places.small),
        Job("{count:,} files in by 8 cp at once", copy_in_at_once, {0: 1000, 150: 400},
            stored=Places.small),
        Job("cp -r of {count:,} files out", copy_out, small, setup=Places.store_small,
            check=check_copied_out),
    ]


class Places:
    """The local files that are written, and which stand in the service to be read."""

    def __init__(self, programs, scratch, large_bytes=GIB, small_bytes=10 * KIB):
        self._scratch, self._programs = scratch, programs
        self._small_bytes = small_bytes
        self._stored = set()
        self.large = scratch / "large"
        self.out = scratch / "out"
        noise = random.Random(1)
        with open(self.large, "wb") as file:
            for _ in range(large_bytes // MIB):
                file.write(noise.randbytes(MIB))
        programs.store(self.large, "bench-read/large")

    def warm_memory(self):
        """Has the page cache use as much memory as a large job. A virtual machine may hand free
        memory back to its host within seconds; to get it again takes longer than the job itself."""
        piece = bytes(MIB)
        with open(self._scratch / "warm", "wb") as file:
            for _ in range(3 * GIB // MIB):
                file.write(piece)
        os.remove(self._scratch / "warm")

    def small(self, count):
        """A folder of `count` small files."""
        folder = self._scratch / f"small-{count}"
        if not folder.exists():
            folder.mkdir()
            noise = random.Random(2)
            for index in range(count):
                (folder / f"f{index:04}").write_bytes(noise.randbytes(self._small_bytes))
        return folder

    def store_small(self, count):
        """Has the same folder in the bucket that is read."""
        folder = self.small(count)
        if count not in self._stored:
            self._programs.store(folder, f"bench-read/{folder.name}")
            self._stored.add(count)


def run(*words):
    return subprocess.run(words, check=True, stdout=subprocess.PIPE, timeout=TIMEOUT_SECONDS).stdout


def expect(right, what):
    if not right:
        raise WrongResult(what)


def read_whole(places, folder, _):
    """As dd with blocks of 1 MiB, with a look at one page in each."""
    page, buffer = 4 * KIB, bytearray(MIB)
    with open(places.large, "rb") as file:
        right = mmap.mmap(file.fileno(), 0, prot=mmap.PROT_READ)
        with open(folder / "bench-read" / "large", "rb", buffering=0) as reader:
            offset = 0
            while got := reader.readinto(buffer):
                seen = min(got, page)
                expect(buffer[:seen] == right[offset:offset + seen], f"at {offset}")
                offset += got
        expect(offset == len(right), f"{offset} bytes")


def random_reads(size):
    def act(places, folder, count):
        offsets = random.Random(3)
        with open(places.large, "rb") as right:
            with open(folder / "bench-read" / "large", "rb", buffering=0) as reader:
                for _ in range(count):
                    offset = offsets.randrange(GIB // size) * size
                    got = os.pread(reader.fileno(), size, offset)
                    expect(got == os.pread(right.fileno(), size, offset), f"at {offset}")

    return act


def write_whole(places, folder, _):
    run("dd", f"if={places.large}", f"of={folder}/bench-store/large", "bs=1M", "status=none")


def list_tree(_, folder, count):
    lines = [line.split() for line in run("ls", "-lR", folder / "bench-tree").splitlines()]
    sizes = [line[4] for line in lines if line and line[0].startswith(b"-")]
    expect(sizes == [b"1024"] * count, f"{len(sizes)} files")


def list_names(_, folder, count):
    lines = run("sh", "-c", f"ls -l {folder}/bench-names/in | wc -l")
    expect(int(lines) == count + 1, f"{int(lines)} lines")  # with the total


def copy_in(places, folder, count):
    run("cp", "-r", places.small(count), folder / "bench-store")


def copy_in_at_once(places, folder, count):
    source = places.small(count)
    target = folder / "bench-store" / source.name
    target.mkdir()
    run("sh", "-c", f"ls {source} | sed 's|^|{source}/|' | xargs -P8 -n25 cp -t {target}")


def copy_out(places, folder, count):
    shutil.rmtree(places.out, ignore_errors=True)
    run("cp", "-r", folder / "bench-read" / places.small(count).name, places.out)


def check_copied_out(places, count):
    source = places.small(count)
    names = sorted(os.listdir(source))
    expect(sorted(os.listdir(places.out)) == names, "names differ")
    _, different, unread = filecmp.cmpfiles(source, places.out, names, shallow=False)
    expect(not different + unread, f"{len(different + unread)} files differ")
