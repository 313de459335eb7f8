"""One run of one job on one program's mount: its figures, and whether what it stored is right."""

import hashlib
import time

from comparison.mount_jobs import TIMEOUT_SECONDS, expect

STORING_CALLS = ("b2_upload_file", "b2_finish_large_file", "b2_copy_file")


class Store:
    """The bucket that is written, as the service has it."""

    def __init__(self, running):
        self._running = running
        self._bucket = running.buckets()["bench-store"]

    def await_all(self, source, before):
        """Until the service holds the local file or folder; resolution: a listing's latency."""
        deadline = time.monotonic() + TIMEOUT_SECONDS
        while not self.holds(source, before):
            expect(time.monotonic() < deadline, "not stored in time")
            time.sleep(0.02)

    def holds(self, source, before):
        wanted = 1 if source.is_file() else len(list(source.iterdir()))
        return self._calls_since(before) >= wanted and len(self._files(source)) == wanted

    def check(self, source):
        stored = {file["fileName"]: file for file in self._files(source)}
        if source.is_file():
            return self._check_contents(source, stored[source.name]["fileId"])
        wanted = {f"{source.name}/{path.name}": hashlib.sha1(path.read_bytes()).hexdigest()
                  for path in source.iterdir()}
        # The service computes the digest also where the client gave none.
        held = {name: file["contentSha1"].removeprefix("unverified:")
                for name, file in stored.items()}
        expect(held == wanted, "other files are stored")

    def empty(self):
        self._running.empty(self._bucket)

    def _calls_since(self, before):
        counts = self._running.counts()
        return sum(counts[call] - before[call] for call in STORING_CALLS)

    def _files(self, source):
        # A folder's marker object begins with a dot, its files do not.
        prefix = source.name if source.is_file() else f"{source.name}/f"
        wanted = {"bucketId": self._bucket, "prefix": prefix, "maxFileCount": 10_000}
        return self._running.call("b2_list_file_names", wanted)["files"]

    def _check_contents(self, source, file_id):
        with open(source, "rb") as file:
            for piece in self._running.contents(file_id):
                expect(file.read(len(piece)) == piece, "other bytes are stored")
            expect(not file.read(1), "too few bytes are stored")


class Runner:
    def __init__(self, running, programs, places):
        self._running, self._programs, self._places = running, programs, places
        self._store = Store(running)

    def run(self, job, latency, program):
        """{"wall": until the last program closed, "stored": until the service has it, "cpu" (s),
        "memory" (MiB), "requests", "connections", "calls"}; the figures of the mount process."""
        count = job.count_at(latency)
        source = job.stored and job.stored(self._places, count)
        self._running.set_latency(0)
        if job.setup:
            job.setup(self._places, count)
        self._running.set_latency(latency)
        try:
            with self._programs.mount(program) as mount:
                figures = self._measure(job, count, mount, source)
            self._running.set_latency(0)
            if job.check:
                job.check(self._places, count)
            if source:
                self._store.check(source)
        finally:
            self._running.set_latency(0)
            self._store.empty()
        return figures

    def _measure(self, job, count, mount, source):
        if job.large:
            self._places.warm_memory()
        if job.warm:
            job.warm(self._places, mount.folder, count)
        before, cpu_before = self._running.counts(), mount.cpu()
        started = time.monotonic()
        job.act(self._places, mount.folder, count)
        wall = stored = time.monotonic() - started
        # A program whose close waits is not charged for the looking.
        if source and not self._store.holds(source, before):
            self._store.await_all(source, before)
            stored = time.monotonic() - started
        cpu, memory = mount.cpu() - cpu_before, mount.peak_memory()
        calls = {call: number - before[call] for call, number in self._running.counts().items()
                 if number > before[call]}
        connections = calls.pop("CONNECT", 0)
        return {"wall": wall, "stored": stored, "cpu": cpu, "memory": memory,
                "requests": sum(calls.values()), "connections": connections, "calls": calls}
