"""What is measured: the jobs, and how each client is told to do them."""

import dataclasses

KIB, MIB, GIB = 1 << 10, 1 << 20, 1 << 30
THREADS = (2, 4, 8, 16)  # one thread: the jobs without a number

# Peers take many times as long: they get fewer rounds, so that all of it stays under ten minutes.
PEERS = ("rclone", "sdk")
PEER_ROUNDS = 2


@dataclasses.dataclass
class Job:
    """One row. `kind` is our own clients' word; peers that cannot do the job are not asked."""

    name: str
    kind: str
    target: str = ""  # "file", a folder of the bucket for listings, or "store"
    file_bytes: int = 0
    block_bytes: int = 0
    count: int = 1
    threads: int = 1
    peers: tuple = ()
    rounds: int = 0  # at most; 0: as many as asked for
    parses: bool = False  # the bare client parses pages, as every listing has to

    @property
    def names(self):
        """Names a listing gives; 0 for other jobs."""
        folders = {"thousand": 1000, "ten-thousand": 10_000, "hundred-thousand": 100_000}
        return folders.get(self.target, 1_000_000 if self.target == "million" else 0) * self.count


def all_jobs():
    jobs = [
        Job("read 1 GiB in one call", "read", "file", GIB, GIB, peers=PEERS),
        Job("read 1 GiB in 8 MiB ranges", "read", "file", GIB, 8 * MIB, 128),
        Job("5,000 random reads of 128 KiB", "read-random", "file", GIB, 128 * KIB, 5000),
        Job("upload 1 GiB in parts", "upload", "store", GIB, peers=PEERS),
        Job("1,000 uploads of 4 KiB", "upload", "store", 4 * KIB, count=1000, peers=("rclone",)),
        Job("64 files of 8 MiB by 8 threads", "upload", "store", 8 * MIB, 0, 64, 8, PEERS),
        Job("list 1,000 names", "list", "thousand", peers=PEERS, parses=True),
        Job("list 10,000 names", "list", "ten-thousand", peers=PEERS, parses=True),
        Job("list 100,000 names", "list", "hundred-thousand", peers=PEERS, parses=True),
        Job("list 1,000,000 names", "list", "million", peers=("rclone",), rounds=1, parses=True),
        Job("1,000 names, 50 times over", "list", "thousand", count=50, parses=True),
        Job("10,000 lookups", "lookup", "file", count=10_000),
        Job("10,000 lookups, bare parses too", "lookup", "file", count=10_000, parses=True),
        Job("load, connect, list the root, unload", "session", count=0, peers=PEERS),
    ]
    for threads in THREADS:
        jobs.append(Job(f"5,000 reads of 128 KiB, {threads} threads", "read-random", "file", GIB,
                        128 * KIB, 5000, threads))
        jobs.append(Job(f"10,000 lookups, {threads} threads", "lookup", "file", count=10_000,
                        threads=threads))
    return jobs


SEEDS = [
    "bench-read/file:1:1G",
    "bench-list/thousand/:1000:1K",
    "bench-list/ten-thousand/:10000:1K",
    "bench-list/hundred-thousand/:100000:1K",
    "bench-list/million/:1000000:1K",
]
BUCKETS = ["bench-store"]


class Places:
    """IDs of what SEEDS made, and the local files that uploads are made of."""

    def __init__(self, service, scratch):
        buckets = service.buckets()
        self.read, self.list = buckets["bench-read"], buckets["bench-list"]
        self.store = buckets["bench-store"]
        self.file_id = service.files(self.read)[0]["fileId"]
        self.scratch = scratch

    def own_arguments(self, job):
        """The words after the program's name for plugin_client and the bare clients."""
        bucket, name = {
            "file": (self.read, self.file_id),
            "store": (self.store, "stored"),
            "": ("-", "-"),
        }.get(job.target, (self.list, job.target))
        words = [job.kind, bucket, name, job.file_bytes, job.block_bytes, job.count, job.threads]
        if job.kind == "upload":
            words.append(self.scratch / "source")
        return [str(word) for word in words]

    def sdk_arguments(self, job):
        bucket = {"file": "bench-read", "store": "bench-store"}.get(job.target, "bench-list")
        name = self.file_id if job.target == "file" else job.target
        words = [job.kind, bucket, name, job.file_bytes, job.block_bytes, job.count, job.threads,
                 self._local(job)]
        return [str(word) for word in words]

    def rclone_arguments(self, job):
        if job.kind == "session":
            return ["lsd", "bench:"]
        if job.kind == "read":
            return ["cat", "bench:bench-read/file"]
        if job.kind == "list":
            return ["lsf", f"bench:bench-list/{job.target}"]
        verb = "copyto" if job.count == 1 else "copy"
        return [verb, str(self._local(job)), "bench:bench-store/stored", "--b2-disable-checksum",
                "--no-traverse", "--transfers", str(job.threads)]

    def make_local_files(self):
        """The mapped source of our clients, and for peers files and folders: sparse where the bytes
        do not matter, so that they cost no disk."""
        (self.scratch / "source").write_bytes(bytes(range(256)) * (8 * MIB // 256))
        self._sparse(self.scratch / "one", GIB)
        for folder, count, size in (("small", 1000, 4 * KIB), ("middle", 64, 8 * MIB)):
            (self.scratch / folder).mkdir()
            for index in range(count):
                self._sparse(self.scratch / folder / f"{index:04}", size)

    def _local(self, job):
        folders = {GIB: "one", 4 * KIB: "small", 8 * MIB: "middle"}
        return self.scratch / folders.get(job.file_bytes, "one")

    @staticmethod
    def _sparse(path, size):
        with open(path, "wb") as file:
            file.truncate(size)
