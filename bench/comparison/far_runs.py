"""One run of one row over a link: its figures, and whether what it moved is right."""

import subprocess

from comparison import far_jobs, measuring, mount_runs, mounts
from comparison.service import Service

PROGRAMS = ("b2drive", "rclone", "b2")
RATE = 20  # MB/s, each connection in each direction


class FarService(Service):
    """Its latency is that of a link, which every new connection gets; connections of this object
    were there before and have none."""

    def set_latency(self, milliseconds):
        self.set_link(f"{milliseconds},{RATE}" if milliseconds else "")


class Runner:
    """Runs rows with files of one size; `large` in MiB, `small` files."""

    def __init__(self, arguments, scratch, large, small):
        scratch.mkdir()
        self._launcher = str(arguments.build / "bench" / "measure")
        self._service = FarService(str(arguments.build / "bin" / "b2emulator"), str(scratch),
                                   far_jobs.SEEDS, far_jobs.BUCKETS)
        try:
            self._programs = mounts.Programs(arguments.build, self._service, scratch,
                                              arguments.save)
            self._places = far_jobs.Places(self._programs, scratch, large, small)
            self._store = mount_runs.Store(self._service)
            self._mounted = mount_runs.Runner(self._service, self._programs, self._places)
            self._authorize_cli()
        except BaseException:
            self.close()
            raise

    def close(self):
        self._service.close()

    def can(self, job, program):
        """Whether the program is there and has what the row needs."""
        if isinstance(job, far_jobs.Job):
            return program in mounts.PROGRAMS
        if program not in job.words:
            return False
        if program != "b2drive":
            return self._says(program, ["version"]) is not None
        command, *words = job.words[program](self._places)
        known = self._says(program, [command, "--help"]) or ""
        return f"b2drive {command}" in known and ("-r" not in words or "--recursive" in known)

    def run(self, job, latency, program):
        if isinstance(job, far_jobs.Job):
            return self._mounted.run(job, latency, program)
        places, source = self._places, job.stored and job.stored(self._places)
        places.clear_out()
        self._service.set_latency(0)
        try:
            if job.setup:
                job.setup(places, program)
            self._service.set_latency(latency)
            figures = self._measure(program, job.words[program](places))
            self._service.set_latency(0)
            if source:
                self._store.check(source)
            else:
                places.check_out()
        finally:
            self._service.set_latency(0)
            self._store.empty()
        return figures

    def _measure(self, program, words):
        before = self._service.counts()
        command = self._programs.command(program, words)
        figures = measuring.measure(self._launcher, command, self._programs.environment, True)
        calls = self._service.counts() - before
        connections = calls.pop("CONNECT", 0)
        return {**figures, "stored": figures["wall"], "requests": sum(calls.values()),
                "connections": connections, "calls": dict(calls)}

    def _says(self, program, words):
        """None when that fails."""
        command = self._programs.command(program, words)
        try:
            return subprocess.run(command, env=self._programs.environment, check=True, text=True,
                                  stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
        except (FileNotFoundError, subprocess.CalledProcessError):
            return None

    def _authorize_cli(self):
        if self._says("b2", ["version"]):
            self._programs.run("b2", ["authorize-account", self._service.key_id,
                                      self._service.key])
