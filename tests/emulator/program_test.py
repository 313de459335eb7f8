"""The program itself: its port, its options, and that it always ends well."""

import json
import os
import pathlib
import socket
import stat
import subprocess
import tempfile
import time
import unittest
from concurrent.futures import ThreadPoolExecutor

from service import Service, ServiceTest

URL = "https://api.backblazeb2.com/b2api/v1/b2_no_such_call"
PLAIN_URL = URL.replace("https", "http")


def run(*arguments):
    """Both outputs of the program in one."""
    return subprocess.Popen([os.environ["B2EMULATOR"], *arguments], stderr=subprocess.STDOUT,
                            stdout=subprocess.PIPE, text=True)


class PortTest(ServiceTest):
    def test_direct_through_tunnels_and_as_plain_proxy(self):
        guarded = Service("--proxy-user=user", "--proxy-password=secret", proxy_login="user:secret")
        self.addCleanup(guarded.stop)
        here, there = (f"127.0.0.1:{service.port}" for service in (self.service, guarded))
        for status, service, *arguments in [
                ("404", self.service, URL, "--connect-to", "::" + here),
                ("404", self.service, PLAIN_URL, "--proxy", here),
                ("000", self.service, "https://example.com/", "--proxy", here),
                ("403", self.service, "http://example.com/", "--proxy", here),
                ("404", guarded, PLAIN_URL, "--proxy", "user:secret@" + there),
                ("407", guarded, PLAIN_URL, "--proxy", "user:wrong@" + there),
                ("407", guarded, PLAIN_URL, "--proxy", there),
                ("000", guarded, URL, "--proxy", there)]:
            curl = "curl", "-so", "/dev/null", "-w", "%{http_code}", "--cacert", service.ca_file
            answer = subprocess.run([*curl, *arguments], env={"PATH": os.environ["PATH"]},
                                    stdout=subprocess.PIPE, text=True, check=False)
            self.assertEqual(answer.stdout, status, arguments)


    def test_direct_clients_are_led_to_where_they_came(self):
        service = Service("--listen=0.0.0.0", "--allow-remote", "--name=emulator.test")
        self.addCleanup(service.stop)
        for base in "https://emulator.test", "http://127.0.0.2", "https://localhost":
            base += f":{service.port}"
            curl = subprocess.run(["curl", "-s", "--noproxy", "*", "--cacert", service.ca_file, "--resolve",
                                   f"emulator.test:{service.port}:127.0.0.1", "-u", f"{service.account}:{service.key}",
                                   f"{base}/b2api/v1/b2_authorize_account"], stdout=subprocess.PIPE, check=True)
            account = json.loads(curl.stdout)
            self.assertEqual([account["apiUrl"], account["downloadUrl"]], [base, base])


class StartTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.ca_file = pathlib.Path(folder.name, "ca.pem")

    def test_its_own_ca_goes_at_the_end(self):
        service = Service("--seed=photos/a/one.jpg:1:3K", "--seed=photos/n:3:0:2")
        self.assertEqual(service.page(), "a/one.jpg n0000/0000000 n0000/0000002 n0001/0000001")
        self.assertEqual(service.stop(), 0)
        self.assertFalse(os.path.exists(service.ca_file))

    def test_a_folder_fills_buckets(self):
        here = self.ca_file.parent
        (here / "photos/ü").mkdir(parents=True)
        (here / "no-files").mkdir()
        (here / "photos/ü/large").write_bytes(b"0123456789" * 300_000)
        (here / "photos/link").symlink_to("ü/large")
        os.utime(here / "photos/ü/large", ns=(0, 1_577_934_245_678_999_999))
        service = Service(f"--seed-dir={here}", f"--seed-dir=copies={here}/photos")
        self.addCleanup(service.stop)
        names = [(file["bucketName"], file["fileName"]) for file in service.control("files").json]
        self.assertEqual(names, [(bucket, name) for bucket in ("copies", "photos") for name in ("link", "ü/large")])
        large = service.download("%C3%BC/large")
        self.assertEqual(large.body, b"0123456789" * 300_000)
        self.assertEqual(large.headers["X-Bz-Info-src_last_modified_millis"], "1577934245678")
        self.assertEqual(len(service.control("state").json["buckets"]), 3)

    def test_programs_that_share_a_ca_make_it_once(self):
        key_file = self.ca_file.parent / "key.pem"
        options = "--ca-file", self.ca_file, "--ca-key-file", key_file
        with ThreadPoolExecutor(16) as pool:
            services = list(pool.map(lambda _: Service(*options), range(16)))
        for service in services:
            self.assertEqual(service.trust.get_ca_certs(), services[0].trust.get_ca_certs())
            self.assertEqual(service.stop(), 0)
        self.assertEqual(stat.filemode(key_file.stat().st_mode), "-rw-------")

    def test_it_says_in_one_line_what_is_wrong(self):
        self.ca_file.with_name("in no bucket").write_text("")
        with socket.create_server(("127.0.0.1", 0)) as taken:
            for code, *rows in [
                    (2, "--seed=photos", "--seed=photos/a:1:3T", "--seed=photos/:1:3",
                     "--port=many", "--link=50", "--link=5,-1", "--link=1,nan", "--link=1,1,7",
                     "--link=60000,20", "--no-such-option", "--ca-key-file=x",
                     "--listen=0.0.0.0", "--listen=localhost", "--name=a,b"),
                    (1, "--bucket=tiny", "--ca-file=/nowhere/ca.pem", "--seed=photos/a:9999999999:1",
                     "--seed-dir=/nowhere", f"--seed-dir={self.ca_file.parent}",
                     f"--port={taken.getsockname()[1]}")]:
                for option in rows:
                    program = run(option)
                    said = program.communicate()[0]
                    self.assertRegex(said, r"\Ab2emulator: .*\n\Z", option)
                    self.assertEqual(program.returncode, code, option)
