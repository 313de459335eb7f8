"""The control host: what it shows and replaces, and what it refuses."""

import tempfile
import unittest

from service import Service, sha1


class ControlTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.options = "--data", folder.name, "--seed=photos/a/:2:1K"
        self.service = self.start()

    def start(self):
        service = Service(*self.options)
        self.addCleanup(service.stop)
        return service

    def test_a_state_comes_back_here_and_elsewhere(self):
        service = self.service
        service.add("b", b"text")
        file_id = service.start("c")
        for number in 1, 2:
            service.upload(service.target(file_id), {"X-Bz-Part-Number": str(number),
                                                     "X-Bz-Content-Sha1": sha1(b"0123456789")}, b"0123456789")
        key = service.call("b2_create_key", accountId=service.account, capabilities=["listFiles"], keyName="k").json
        state = service.control("state").json
        target = service.target()
        self.assertEqual(service.control("reset", {}).status, 200)
        self.assertEqual(service.page(), "a/0000000 a/0000001")
        self.assertEqual(service.login(key["applicationKeyId"], key["applicationKey"]).status, 401)
        self.assertEqual(service.add("d", b"d", target).status, 401)
        self.assertEqual(service.control("state", state, "PUT").json, {"buckets": 1, "files": 4})
        service.process.kill()
        service.process.wait()
        other = Service()
        self.addCleanup(other.stop)
        self.assertEqual(other.control("state", state, "PUT").status, 200)
        other.bucket = state["buckets"][0]["bucketId"]
        for same in self.start(), other:
            self.assertEqual(same.page(), "a/0000000 a/0000001 b c+")
            finished = same.call("b2_finish_large_file", fileId=file_id, partSha1Array=[sha1(b"0123456789")] * 2)
            self.assertEqual((finished.status, same.download("c").body), (200, b"0123456789" * 2))
            self.assertEqual(same.download("b").body, b"text")
            self.assertEqual(same.login(key["applicationKeyId"], key["applicationKey"]).status, 200)

    def test_files(self):
        self.service.add("a/0000001", b"newer")
        for query, names in [("", "a/0000000 a/0000001"), ("?bucket=photos&prefix=a/0000001", "a/0000001"),
                             ("?versions=true", "a/0000000 a/0000001 a/0000001")]:
            files = self.service.control("files" + query).json
            self.assertEqual(" ".join(file["fileName"] for file in files), names)
        self.assertEqual({files[1]["bucketName"], files[1]["contentSha1"]}, {"photos", sha1(b"newer")})

    def test_what_is_misspelt_is_refused(self):
        service, state = self.service, self.service.control("state").json
        file = state["files"][0]
        for path, body, method, cause in [
                ("faults", {"call": "b2_list_bucket"}, "POST", "no such call: b2_list_bucket"),
                ("faults", {"stauts": 500}, "POST", "faults have no member stauts"),
                ("latency", {"milliseconds": 1, "s": 1}, "POST", "/latency has no member s"),
                ("reset", [], "POST", "/reset takes an object"),
                ("files?buckets=x", None, "GET", "/files has no parameter buckets"),
                ("state", {**state, "format": 2}, "PUT", "the format must be 1"),
                ("state", {**state, "buckets": []}, "PUT", "a file's bucketId is none of the buckets"),
                ("state", {**state, "files": [file, file]}, "PUT", "two files have the same sequence"),
                ("state", {**state, "files": [{**file, "content": 9}]}, "PUT", "a content's number is none of the contents"),
                ("state", {**state, "files": [{**file, "fileName": "/"}]}, "PUT", "File names must not start with '/'")]:
            reply = service.control(path, body, method)
            self.assertEqual((reply.status, reply.json["message"]), (400, cause))
        self.assertEqual(service.page(), "a/0000000 a/0000001")
