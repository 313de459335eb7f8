"""The programs that show the service as a folder: how each is started, looked at and ended."""

import os
import shutil
import subprocess
import time

PROGRAMS = ("b2drive", "rclone")
TICKS_PER_SECOND = os.sysconf("SC_CLK_TCK")
START_SECONDS, END_SECONDS = 60, 120


class Programs:
    """Mounts of either program under `scratch`, where the emulator's CA bundle stands already."""

    def __init__(self, build, running, scratch, saving="close"):
        self._scratch, self._saving = scratch, saving
        self._drive = scratch / "bin" / "b2drive"
        # Copied: it looks for the library and the CA bundle beside its own folder.
        for source, target in ((build / "bin" / "b2drive", self._drive),
                               (build / "lib" / "libbackblazeb2.so.3",
                                scratch / "lib" / "libbackblazeb2.so.3")):
            target.parent.mkdir()
            shutil.copy(source, target)
        proxy = f"http://127.0.0.1:{running.port}"
        self.environment = dict(
            os.environ,
            HOME=str(scratch),
            B2_APPLICATION_KEY_ID=running.key_id,
            B2_APPLICATION_KEY=running.key,
            B2DRIVE_PROXY=proxy,
            HTTPS_PROXY=proxy,
            SSL_CERT_FILE=running.bundle,
            REQUESTS_CA_BUNDLE=running.bundle,
            B2_ACCOUNT_INFO=str(scratch / "account.sqlite"),
            RCLONE_CONFIG=str(scratch / "rclone.conf"),
            RCLONE_CONFIG_BENCH_TYPE="b2",
            RCLONE_CONFIG_BENCH_ACCOUNT=running.key_id,
            RCLONE_CONFIG_BENCH_KEY=running.key,
        )
        (scratch / "rclone.conf").touch()

    def mount(self, program):
        """A fresh mount with an empty cache folder, with defaults but for when files are sent."""
        folder, cache = self._scratch / "mount", self._scratch / "cache"
        shutil.rmtree(cache, ignore_errors=True)
        folder.mkdir(exist_ok=True)
        if program == "b2drive":
            command = [self._drive, "mount", "-f", "-o", f"cache_dir={cache},save={self._saving}",
                       folder]
        else:
            command = ["rclone", "mount", "bench:", folder, "--vfs-cache-mode", "writes",
                       "--cache-dir", cache]
        return Mount(command, self.environment, folder, self._scratch / f"{program}.log")

    def command(self, program, words):
        """A command line of b2drive, rclone or (b2) the official command line."""
        name = {"b2drive": self._drive, "b2": "backblaze-b2"}.get(program, program)
        return [str(word) for word in [name, *words]]

    def run(self, program, words):
        subprocess.run(self.command(program, words), env=self.environment, check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, timeout=END_SECONDS)

    def store(self, source, target):
        """Puts a local file or folder into the service, the quick way."""
        verb = "copyto" if source.is_file() else "copy"
        subprocess.run(["rclone", verb, source, f"bench:{target}", "--transfers", "16"],
                       env=self.environment, check=True, timeout=END_SECONDS)


class Mount:
    """A mount while it stands: `with` ends it in any case."""

    def __init__(self, command, environment, folder, log):
        self.folder = folder
        # Not reached by a Ctrl-C meant for this script, which then unmounts.
        with open(log, "wb") as output:
            self._process = subprocess.Popen(command, env=environment, stdout=output,
                                             stderr=output, start_new_session=True)
        try:
            self._await_start(log)
        except BaseException:
            self._end()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._end()

    def cpu(self):
        """Seconds, user and system, of the process and the children that it waited for."""
        with open(f"/proc/{self._process.pid}/stat", encoding="ascii") as file:
            fields = file.read().rpartition(")")[2].split()
        return sum(int(field) for field in fields[11:15]) / TICKS_PER_SECOND

    def peak_memory(self):
        """MiB."""
        with open(f"/proc/{self._process.pid}/status", encoding="ascii") as file:
            kib = next(line.split()[1] for line in file if line.startswith("VmHWM:"))
        return int(kib) / 1024

    def _await_start(self, log):
        deadline = time.monotonic() + START_SECONDS
        while not os.path.ismount(self.folder):
            if self._process.poll() is not None or time.monotonic() > deadline:
                raise SystemExit(f"compare_mounts: no mount: {log.read_text()[-800:]}")
            time.sleep(0.01)
        os.listdir(self.folder)  # it answers, and whoever connects at first use has done so

    def _end(self):
        ended = self._unmount("-u") and self._ends_within(END_SECONDS)
        if not ended:
            self._process.kill()
            self._process.wait()
            self._unmount("-uz")

    def _unmount(self, option):
        done = subprocess.run(["fusermount3", option, self.folder], stderr=subprocess.DEVNULL,
                              check=False)
        return done.returncode == 0

    def _ends_within(self, seconds):
        try:
            self._process.wait(seconds)
            return True
        except subprocess.TimeoutExpired:
            return False
