"""The probe, a module that misbehaves as it is told, under b2drive: it never crashes, hangs, loses or
invents data, and ends with the code that goes with what happened."""

import hashlib
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import unittest

FAILED, NO_PLUGIN, REFUSED, NOT_FOUND, DENIED = 1, 4, 6, 7, 8
NETWORK, DAMAGED, INTERRUPTED = 12, 17, 130
KILLED = -signal.SIGKILL
CONTENTS = "".join(f"{i}\n" for i in range(20_000))[:100_000].encode()  # of d/b, as the probe has it

LOADING = {
    "GetSupportProtocol:null": NO_PLUGIN, "GetSupportProtocol:other": NO_PLUGIN,
    "GetProtocolVersion:null": 0, "GetProtocol:refuse": NO_PLUGIN, "GetProtocol:null": NO_PLUGIN,
    "GetUserInfo:code=1": 0, "SetOpt:code=8": 0, "Connect:code=4": FAILED, "Connect:code=7003": FAILED,
    "Connect:code=-1": FAILED, "Connect:answer=401": REFUSED, "Connect:answer=503": FAILED,
    "Connect:lines": 0, "Connect:slow=200": 0, "Connect:die": KILLED, "Connect:die-after": KILLED}
LISTING = {
    "": 0, "code=1": FAILED, "code=19": NOT_FOUND, "code=24": DENIED, "code=42": NETWORK, "code=31337": FAILED,
    "code=-7": FAILED, "done-code=1": FAILED, "half": FAILED, "repeat": FAILED, "again": FAILED,
    "thread": 0, "null-record": FAILED, "many=100000": 0, "odd-ids": NOT_FOUND, "odd-types": 0,
    "odd-sizes": FAILED, "odd-times": 0, "odd-names": 0, "deaf": 0, "deaf repeat": FAILED, "lines": 0,
    "code=1@2": FAILED, "half@3": FAILED, "die@2": KILLED}
READING = {
    "": 0, "code=1": FAILED, "code=13": INTERRUPTED, "code=42": NETWORK, "done-code=1": FAILED, "short": FAILED,
    "long": FAILED, "flip": DAMAGED, "gap": FAILED, "backward": FAILED, "one-block": 0, "twice": 0,
    "half-again": 0, "elsewhere": FAILED, "empty-block": 0, "negative-block": FAILED, "thread": 0, "deaf": 0,
    "deaf gap": FAILED, "answer=200": 0, "answer=404": FAILED, "answer=500": FAILED, "lines": 0,
    "slow=200": 0, "die": KILLED, "die-after": KILLED}
SENDING = {
    "": 0, "code=1": FAILED, "code=14": INTERRUPTED, "code=37": FAILED, "code=42": NETWORK, "done-code=1": FAILED,
    "half": FAILED, "unread": FAILED, "twice": 0, "beyond": 0, "negative": 0, "thread": 0, "deaf": 0,
    "no-record": 0, "odd-record": FAILED, "lines": 0, "die": KILLED, "die-after": KILLED}
DELETING = {"": 0, "code=1": FAILED, "code=8": FAILED, "code=24": DENIED, "code=37": FAILED, "die": KILLED}


def orders(slot, misdeeds):
    return " ".join(f"{slot}:{misdeed}" for misdeed in misdeeds.split())


class HostTest(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.scratch = pathlib.Path(scratch.name)
        for folder in "bin", "Frameworks", "work":
            (self.scratch / folder).mkdir()
        self.program = shutil.copy(os.environ["B2DRIVE"], self.scratch / "bin")
        bundle = pathlib.Path(os.environ["B2DRIVE"]).parent.parent / "Frameworks/cacert.pem"
        shutil.copy(bundle, self.scratch / "Frameworks")
        self.journal, self.file = self.scratch / "journal", self.scratch / "work/file"

    def run_host(self, told, *arguments, plugin=None):
        self.journal.write_text("")
        return subprocess.run(
            [self.program, "--retries=0", "--plugin", plugin or os.environ["B2PROBE_FILE"], *arguments],
            cwd=self.scratch / "work", capture_output=True, timeout=300, stdin=subprocess.DEVNULL,
            env={"HOME": str(self.scratch), "LC_ALL": "C.UTF-8", "B2PROBE": told,
                 "B2PROBE_JOURNAL": str(self.journal), "B2_APPLICATION_KEY_ID": "0123456789ab",
                 "B2_APPLICATION_KEY": "key"})

    def each(self, slot, rows, *arguments):
        """Runs the command under each order, and gives what came of those that did not end it."""
        for misdeeds, code in rows.items():
            told = orders(slot, misdeeds) if slot else misdeeds
            with self.subTest(told):
                ran = self.run_host(told, *arguments)
                self.assertEqual(ran.returncode, code, ran.stderr)
                self.assertEqual(ran.stderr.count(b"\n"), 1 if code > 0 else 0, ran.stderr)
                for byte in b"\x1b\x07\xff":
                    self.assertNotIn(byte, ran.stderr)
                yield ran

    def test_loading_and_signing_in(self):
        for ran in self.each("", LOADING, "ls", "/bucket-one/d"):
            self.assertIn(ran.stdout, (b"a\nb\ne/\n", b""))
        for file in "/dev/null", "/usr/bin/env", "no such file":
            ran = self.run_host("", "ls", plugin=file)
            self.assertEqual((ran.returncode, ran.stderr.count(b"\n")), (NO_PLUGIN, 1), ran.stderr)

    def test_listing(self):
        for ran in self.each("GetFileList", LISTING, "ls", "/bucket-one/d"):
            if ran.returncode == 0:
                self.assertTrue({b"a", b"e/"} <= set(ran.stdout.splitlines()))
            else:
                self.assertEqual(ran.stdout, b"")

    def test_reading(self):
        for ran in self.each("Read", READING, "get", "/bucket-one/d/b", "file"):
            if ran.returncode == 0:
                self.assertEqual(self.file.read_bytes(), CONTENTS)
                self.file.unlink()
            self.assertFalse(self.file.exists())
            for part in self.file.parent.iterdir():
                part.unlink()
        for told in orders("Read", "gap"), "GetFileList:odd-names Read:short", "Read:backward":
            ran = self.run_host(told, "cat", "/bucket-one/d/b")
            self.assertEqual(ran.returncode, FAILED, ran.stderr)
            self.assertTrue(CONTENTS.startswith(ran.stdout))

    def test_sending(self):
        self.file.write_bytes(CONTENTS)
        stored = f"stored d/new {len(CONTENTS)} {hashlib.sha1(CONTENTS).hexdigest()}\n"
        for ran in self.each("Upload", SENDING, "put", "file", "/bucket-one/d/new"):
            if ran.returncode == 0:
                self.assertEqual(self.journal.read_text(), stored)
        self.assertEqual(self.file.read_bytes(), CONTENTS)

    def test_deleting(self):
        for ran in self.each("Delete", DELETING, "rm", "/bucket-one/d/a"):
            self.assertEqual(self.journal.read_text(), "deleted d/a\n" if ran.returncode == 0 else "")
        for ran in self.each("DeleteDirectory", DELETING, "rm", "-r", "--yes", "/bucket-one/d"):
            self.assertEqual(ran.returncode == 0, "deleted d/e/f" in self.journal.read_text())

    @unittest.skipUnless(os.path.exists("/dev/fuse"), "no /dev/fuse")
    def test_mount(self):
        folder = self.scratch / "mnt"
        folder.mkdir()
        # What comes to nothing is tried again.
        for told in ("Read:gap@1", "Read:short@1", "Read:code=1@1", "GetFileList:half@2",
                     "GetFileList:odd-names GetFileList:lines", "Read:thread Read:twice"):
            cache = tempfile.mkdtemp(dir=self.scratch)
            with self.subTest(told):
                ran = self.run_host(told, "mount", "-o", f"cache_dir={cache}", str(folder))
                self.assertEqual(ran.returncode, 0, ran.stderr)
                try:
                    self.assertEqual((folder / "bucket-one/d/b").read_bytes(), CONTENTS)
                finally:
                    subprocess.run(["fusermount3", "-u", folder], check=True)


if __name__ == "__main__":
    unittest.main()
