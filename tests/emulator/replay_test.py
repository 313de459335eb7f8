"""Recorded sessions: what is in the file, and that it answers as the service did."""

import os
import pathlib
import subprocess
import tempfile
import unittest

from program_test import run
from service import Service, sha1


class Replay(Service):
    """Of a file; has the bucket that was recorded."""

    def start_program(self, file):
        return subprocess.Popen([os.environ["B2EMULATOR"], "replay", file], stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True)

    def stop(self):
        """Gives the exit code and what it said."""
        self.process.terminate()
        said = self.process.communicate()[1]
        return self.process.returncode, said.replace("b2emulator: replay: ", "")


class ReplayTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.file = pathlib.Path(folder.name, "session")

    def session(self, service, body=b"text", name="a"):
        target = service.target()
        return [service.add(name, body, target).json, service.add(name, body, target).json,
                service.download("a", Range="bytes=1-2").body, service.download("a", "HEAD").headers["Content-Length"],
                service.send("https://f001.backblazeb2.com/file/photos/a?Authorization=" + service.token).body,
                service.call("b2_list_file_names", bucketId=service.bucket).outcome, service.page()]

    def test_a_session_is_replayed_and_nothing_else(self):
        service = Service("--record", self.file, "--account-id=0123456789ab", "--key=secret")
        service.fault(call="b2_list_file_names", status=503, code="x", retryAfter=1)
        told = self.session(service)
        service.stop()
        text = self.file.read_text()
        for secret in service.key, service.token, "Basic ":
            self.assertNotIn(secret, text)
        self.assertEqual(self.file.stat().st_mode & 0o777, 0o600)
        again = Replay(self.file)
        self.assertEqual(self.session(again), told)
        self.assertEqual(again.stop(), (0, ""))

        other = Replay(self.file)
        target = other.target()
        for outcome, cause, *upload in [("200", "", "a", b"text"), ("400 not_recorded", "has another body", "a", b"tent"),
                                        ("400 not_recorded", "another header x-bz-file-name", "b", b"text"),
                                        ("200", "", "a", b"text"), ("400 not_recorded", "more often", "a", b"text")]:
            reply = other.add(*upload, target, **{"X-Bz-Content-Sha1": sha1(b"text")})
            self.assertEqual(reply.outcome, outcome)
            self.assertIn(cause, reply.json.get("message", ""))
        self.assertEqual(other.call("b2_list_keys").outcome, "400 not_recorded")
        code, said = other.stop()
        self.assertEqual((code, said.count("\n"), said.count("not asked")), (1, 4 + 5, 5))

    def test_only_recordings_are_replayed(self):
        self.file.write_text('{"request": {}}\n')
        for code, said, *options in [(1, ":1: ", self.file), (1, "cannot be read", "/nowhere"), (2, "FILE"),
                                     (2, "replay takes no", self.file, "--seed=photos/a:1:1")]:
            program = run("replay", *options)
            self.assertRegex(program.communicate()[0], rf"\Ab2emulator: .*{said}.*\n\Z")
            self.assertEqual(program.returncode, code)
