"""A data folder: what is there at the next start."""

import signal
import tempfile
import time
import unittest

import kill_rounds
from program_test import run
from service import Service


class DataTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.data = "--data=" + folder.name

    def start(self, *options):
        service = Service(self.data, *options)
        self.addCleanup(service.stop)
        return service

    def test_clients_go_on(self):
        first = self.start()
        key = first.call("b2_create_key", accountId=first.account, capabilities=["listFiles"], keyName="k").json
        first.add("a"), first.add("a"), first.call("b2_hide_file", bucketId=first.bucket, fileName="a")
        versions = first.call("b2_list_file_versions", bucketId=first.bucket).json
        newest = versions["files"][0]
        first.call("b2_delete_file_version", fileName="a", fileId=newest["fileId"])
        target = first.target()
        self.assertEqual(first.stop(), 0)
        again = self.start()
        self.assertEqual((again.account, again.key, again.trust.get_ca_certs()),
                         (first.account, first.key, first.trust.get_ca_certs()))
        listed = again.call("b2_list_file_versions", bucketId=first.bucket).json
        self.assertEqual(listed["files"], versions["files"][1:])
        self.assertEqual(again.login(key["applicationKeyId"], key["applicationKey"]).status, 200)
        self.assertEqual(again.add("b", b"b", target).outcome, "401 expired_auth_token")
        self.assertGreater(again.add("b").json["fileId"][30:45], newest["fileId"][30:45])
        again.token = first.token
        self.assertEqual(again.page(), "401 expired_auth_token")

    def test_seeds_are_planted_once_and_whole(self):
        seed, endless = "--seed=photos/a/:3:1K", "--seed=photos/b/:40:40G"
        planting = run(self.data, "--bucket=photos", seed, endless)
        time.sleep(1)
        planting.send_signal(signal.SIGTERM)
        self.assertEqual((planting.communicate(timeout=20)[0], planting.returncode), ("", 0))
        service = self.start(seed)
        self.assertEqual(service.page(), "a/0000000 a/0000001 a/0000002")
        for file in service.call("b2_list_file_names", bucketId=service.bucket).json["files"][:2]:
            service.call("b2_delete_file_version", fileName=file["fileName"], fileId=file["fileId"])
        self.assertEqual(service.stop(), 0)
        self.assertEqual(self.start(seed, "--seed=photos/c:1:1").page(), "a/0000002 c")

    def test_refusals_lose_nothing(self):
        service = self.start()
        for said, *options in [("another emulator uses it", self.data), ("/proc/x: ", "--data=/proc/x"),
                               ("/dev: is no regular file", "--ca-file=/dev")]:
            self.assertRegex(run(*options).communicate()[0], rf"\Ab2emulator: .*{said}.*\n\Z")
        service.stop()
        large = b"0123456789" * 300_000
        service = self.start()
        service.add("large", large)
        service.stop()
        for option in "--ca-key-file=/nowhere/key", "--latency=99999999999", "--seed-dir=/nowhere", "--link=1":
            self.assertRegex(run(self.data, f"--ca-file={self.data[7:]}/copy", option).communicate()[0], "b2emulator: ")
        service = self.start()
        self.assertEqual(service.download("large").body, large)
        service.stop()
        said = run(self.data, "--account-id=0123456789ab").communicate()[0]
        self.assertEqual(said, f"b2emulator: {self.data[7:]}: is of the account {service.account}\n")

    def test_killed_at_any_moment(self):
        kill_rounds.main(5)
