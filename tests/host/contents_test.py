"""What arrives is what was sent: in parts, after kills, with its time, hash, type and information."""

import os
import random
import time

from b2drive_case import NAMES, B2DriveCase

READ, PART = "b2_download_file_by_id", "b2_upload_part"
PART_SIZE = 100000
OLD = 1_600_000_000  # seconds
DAMAGED = 17


class ContentsTest(B2DriveCase):
    def stored(self, name):
        """The service's newest version of a name."""
        files = self.service.call(NAMES, bucketId=self.service.bucket, prefix=name).json["files"]
        return next(file for file in files if file["fileName"] == name)

    def unfinished(self):
        files = self.service.call("b2_list_unfinished_large_files", bucketId=self.service.bucket)
        return len(files.json["files"])

    def make(self, name, content=b"x", modified=OLD):
        path = self.write(name)
        path.write_bytes(content)
        os.utime(path, ns=(0, round(modified * 1000) * 1_000_000))
        return path

    def kill_put(self, parts):
        """Ends a put without mercy once so many requests for parts came."""
        self.service.control("requests", method="DELETE")
        program = self.start("put", "big", "/photos")
        while self.calls(PART) < parts:
            self.assertIsNone(program.poll(), "it ended before it was killed")
            time.sleep(0.005)
        program.kill()
        program.communicate()

    def accepted(self):
        """How many parts the service took, since the requests were forgotten."""
        return sum(request["call"] == PART and request["status"] == 200
                   for request in self.service.control("requests").json)

    def test_a_put_that_is_killed_goes_on_with_the_parts_that_arrived(self):
        parts = 100  # more than three tries send until they are killed
        content = os.urandom(parts * PART_SIZE)
        big = self.make("big", content)
        self.service.control("latency", {"milliseconds": 50})
        sent = 0
        for _ in range(3):
            self.kill_put(random.randint(1, 12))
            sent += self.accepted()
        self.assertEqual(self.unfinished(), 1)
        self.service.control("requests", method="DELETE")
        self.output("put", "big", "/photos")
        self.assertLessEqual(sent + self.accepted(), parts)  # one may arrive unseen
        self.assertEqual(self.unfinished(), 0)
        self.output("get", "/photos/big", "got")
        self.assertEqual((self.work / "got").read_bytes(), content)
        # Other bytes under the same size and time are not taken for those.
        self.kill_put(12)
        changed = bytes([content[0] ^ 1]) + content[1:]
        self.make("big", changed)
        self.output("put", "big", "/photos")
        self.output("get", "/photos/big", "got")
        self.assertEqual((self.work / "got").read_bytes(), changed)
        self.assertEqual(big.stat().st_mtime, OLD)

    def test_every_size_is_stored_once_whatever_answer_is_lost(self):
        self.retries = 3
        for size in 0, 1, PART_SIZE, PART_SIZE + 1, 3 * PART_SIZE:
            self.make(f"s{size}", os.urandom(size))
        names = sorted(os.listdir(self.work))
        rows = [("b2_upload_file", {"commit": True, "cutAfter": 0}),
                ("b2_upload_file", {"commit": True, "status": 500}),
                ("b2_upload_file", {"commit": True, "status": 503, "skip": 1}),
                (PART, {"commit": True, "status": 500}),
                (PART, {"status": 401}),
                ("b2_finish_large_file", {"commit": True, "cutAfter": 0}),
                ("b2_upload_file", {"flipByte": 0, "skip": 1}),
                (PART, {"flipByte": 7})]
        for row, (call, fault) in enumerate(rows):
            with self.subTest(call, **fault):
                self.output("mkdir", f"/photos/{row}")
                self.service.fault(call=call, **fault)
                self.output("put", "-j1", *names, f"/photos/{row}")
                self.assertEqual(self.service.page(prefix=f"{row}/s"),
                                 " ".join(f"{row}/{name}" for name in names))
                self.assertEqual(self.unfinished(), 0)
                for name in names:
                    self.assertEqual(self.service.download(f"{row}/{name}").body,
                                     (self.work / name).read_bytes())

    def test_times_go_there_and_back(self):
        self.environment["XDG_STATE_HOME"] = str(self.scratch / "state")
        self.make("tree/a", modified=OLD + 0.123)
        self.make("tree/large", b"x" * 3 * PART_SIZE)
        self.output("put", "-r", "tree", "/photos")
        self.assertEqual(self.stored("tree/a")["fileInfo"],
                         {"src_last_modified_millis": f"{OLD}123"})
        self.assertEqual(self.output("ls", "-l", "/photos/tree/a"),
                         "1  2020-09-13T12:26:40.123Z  a\n")
        self.assertEqual(self.output("find", "/photos", "--newer", "2020-09-14"), "")
        for command in ("get", "/photos/tree/a", "got"), ("get", "-r", "/photos/tree", "got tree"), \
                ("sync", "down", "/photos/tree", "synced"):
            self.output(*command)
        for name in "got", "got tree/a", "synced/a":
            self.assertEqual((self.work / name).stat().st_mtime_ns, (OLD * 1000 + 123) * 10**6)
        self.output("get", "--length", "0", "/photos/tree/a", "piece")
        self.assertGreater((self.work / "piece").stat().st_mtime, OLD + 1000)
        # A tree that others made, with the sources' times, is known without being sent.
        self.environment["XDG_STATE_HOME"] = str(self.scratch / "elsewhere")
        for direction in ("up", "tree", "/photos/tree"), ("down", "/photos/tree", "tree"):
            self.assertEqual(self.output("--json", "sync", *direction).count("\n"), 1)
        self.make("tree/a", b"y", OLD + 0.124)
        self.assertIn('"put"', self.output("--json", "sync", "up", "tree", "/photos/tree"))

    def test_what_came_is_compared_with_what_was_stored(self):
        size = 3 * PART_SIZE
        self.make("small", b"0123456789")
        self.make("large", b"x" * size)
        self.output("put", "small", "large", "/photos")
        for name, wrong in ("small", "0123456798"), ("large", "x" * (size - 1) + "y"):
            self.service.fault(call=READ, status=200, body=wrong, times=-1)
            self.assert_fails(DAMAGED, "is not what was stored", "get", f"/photos/{name}", "got")
            out, error = self.run_to_end(DAMAGED, "cat", f"/photos/{name}")
            self.assertEqual((out, error.count("\n")), (wrong, 1))
            self.assertNotIn("got", os.listdir(self.work))
            self.assertEqual(self.output("cat", "--no-verify", f"/photos/{name}"), wrong)
            self.output("get", "--no-verify", f"/photos/{name}", "unseen")
            self.assertEqual((self.work / "unseen").read_text(), wrong)
            self.service.control("faults", method="DELETE")
        self.output("get", "/photos/large", "got")

