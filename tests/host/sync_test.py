"""sync up and sync down."""

import json
import os
import signal
import time

from b2drive_case import NAMES, B2DriveCase, entry

UPLOAD, DOWNLOAD = "b2_upload_file", "b2_download_file_by_id"
OLD = 1_600_000_000  # seconds: before anything that a test stores


class SyncTest(B2DriveCase):
    def setUp(self):
        super().setUp()
        self.environment["XDG_STATE_HOME"] = str(self.scratch / "state")

    def make(self, folder, *names):
        """Files that hold their names, and folders, which end with a slash; long ago."""
        for name in names:
            path = self.work / folder / name
            path.mkdir(parents=True) if name.endswith("/") else self.write(path, name)
            os.utime(path, (OLD, OLD))

    def tree(self, folder):
        root = self.work / folder
        return {str(path.relative_to(root)): path.read_bytes() if path.is_file() else None
                for path in root.rglob("*")}

    def sync(self, code, *arguments):
        """Gives the lines that tell of changes, sorted, and all complaints."""
        out, error = self.run_to_end(code, "-v", "sync", *arguments)
        words = "put ", "get ", "rm ", "mkdir ", "rmdir "
        lines = [line for line in (out + error).splitlines() if line.startswith(words)]
        return sorted(line.split(" -> ")[0].split(",")[0] for line in lines), error

    def assert_quiet(self, *arguments):
        """Nothing is sent, and nothing asked for but listings."""
        self.service.control("requests", method="DELETE")
        self.assertEqual(self.sync(0, *arguments)[0], [])
        calls = set(self.service.control("counts").json["calls"])
        self.assertLessEqual(calls, {"CONNECT", "b2_authorize_account", "b2_list_buckets", NAMES})

    def test_what_is_the_same_is_not_sent_again(self):
        names = ["a", "empty folder/", "sp ace/ü😀", "-dash", "100%", "+a?b#c&d=e", "back\\slash",
                 "n" * 250, "\"'*[x]", "d/e/e/p/file", ".hidden", "%41", "~$;:@"]
        self.make("here", *names)
        (self.work / "here/empty").touch()
        os.mkfifo(self.work / "here/pipe")
        (self.work / "here/link").symlink_to("/etc")
        told, error = self.sync(0, "up", "here", "/photos/t")
        self.assertEqual(len(told), len(names) + 1)
        self.assertEqual(error.count("left out"), 2)
        self.assert_quiet("up", "here", "/photos/t")
        self.sync(0, "down", "/photos/t", "there")
        for left_out in "pipe", "link":
            (self.work / "here" / left_out).unlink()
        self.assertEqual(self.tree("there"), self.tree("here"))
        self.assert_quiet("down", "/photos/t", "there")
        self.assert_quiet("down", "/photos/t", "here")
        for what, change in {"touched": lambda path: os.utime(path),
                             "grown": lambda path: path.write_text("more than before")}.items():
            change(self.work / "here/a")
            self.assertEqual(self.sync(0, "up", "here", "/photos/t")[0], ["put here/a"], what)
        self.assertEqual(self.sync(0, "down", "/photos/t", "there")[0], ["get /photos/t/a"])
        self.store("t/a", "of someone else.")
        self.assertEqual(self.sync(0, "up", "here", "/photos/t")[0], ["put here/a"])
        self.write("here/a", "sixteen bytes 16")
        os.utime(self.work / "here/a", (OLD, OLD))
        self.sync(0, "up", "here", "/photos/t")
        os.utime(self.write("here/a", "SIXTEEN BYTES 16"), (OLD, OLD))
        self.assert_quiet("up", "here", "/photos/t")
        for _ in range(2):
            told = self.sync(0, "up", "--checksum", "here", "/photos/t")[0]
        self.assertEqual((told, self.service.download("t/a").body), ([], b"SIXTEEN BYTES 16"))

    def test_deletes_last_and_only_when_all_is_well(self):
        self.make("here", "a", "b", "g", "keep.o", "d/")
        for name in "a", "c", "d/x", "e/f/x", "e/f/.bzEmpty", "kept.o":
            self.store("t/" + name, name)
        up = "up", "--delete", "--exclude", "*.o", "here", "/photos/t"
        self.sync(14, *up, "--max-delete", "2")
        self.service.fault(call=UPLOAD, status=400, code="bad_request")
        (self.work / "here/a").write_text("changed")
        self.sync(16, *up)
        stored = "t/a t/b t/c t/d/.bzEmpty t/d/x t/e/f/.bzEmpty t/e/f/x t/g t/kept.o"
        self.make("here", "bad\x1bname")
        (self.work / "here/b").write_text("changed, too")
        error = self.sync(16, *up)[1]
        self.assertIn("bad\\x1bname: the service stores no such name", error)
        self.assertIn("nothing was deleted", error)
        (self.work / "here/bad\x1bname").unlink()
        for skip in range(3):
            self.service.fault(call=NAMES, skip=skip + 1, status=418)
            self.run_to_end(1, "sync", *up)
        self.assert_stored(stored)
        planned = ["mkdir /photos/t/d"] + ["rm /photos/t/" + name for name in ("c", "d/x", "e/f/x")] + [
            "rmdir /photos/t/e", "rmdir /photos/t/e/f"]
        self.assertEqual(self.sync(0, *up, "-n")[0], planned)
        self.assert_stored(stored)
        self.assertEqual(self.sync(0, *up)[0], planned[1:])  # the marker is there already
        self.assert_stored("t/a t/b t/d/.bzEmpty t/g t/kept.o")
        (self.work / "here/c").symlink_to("a")
        down = "down", "--delete", "--exclude", "*.o", "/photos/t", "here"
        self.make("here", "x/y/z", "x/y/.b2drive-0.part", "x/k.o")
        self.assertEqual(self.sync(0, *down, "-n")[0][0], "rm here/x/y/z")
        error = self.sync(0, *down)[1]
        self.assertIn("here/x: is not empty and stays", error)
        self.assertEqual(set(self.tree("here")), {"a", "b", "c", "d", "g", "keep.o", "x", "x/k.o"})

    def test_writes_nothing_outside_of_the_target(self):
        outside = self.write("outside/a", "mine")
        self.make("there", "a/")
        for link, target in {"d": "../outside", "f": "../outside/a", "new": "../outside/new"}.items():
            (self.work / "there" / link).symlink_to(target)
        for name in "d/a", "f", "new", "good", "a":
            self.store(name, "theirs")
        error = self.sync(16, "down", "--delete", "/photos", "there")[1]
        self.assertEqual(error.count("; remove it"), 3, error)
        self.assertIn("nothing was deleted", error)
        self.assertEqual(list(outside.parent.iterdir()), [outside])
        self.assertEqual(outside.read_text(), "mine")
        for link in "d", "f", "new":
            (self.work / "there" / link).unlink()
        told = self.sync(0, "down", "--delete", "--max-delete=100%", "/photos", "there")[0]
        self.assertEqual(told[-2:], ["mkdir there/d", "rmdir there/a"])
        self.assertEqual((self.work / "there/a").read_text(), "theirs")
        names = ["../up", "/root", "a//b", "x/./y", "n" * 300, "ok"]
        self.answer(NAMES, {"files": [entry(name, 0) for name in names], "nextFileName": None},
                    times=-1)
        before = self.tree(".")
        self.sync(16, "down", "/photos", "there")
        self.assertEqual(set(self.tree(".")) - set(before), {"there/ok"})

    def test_who_comes_between(self):
        self.make("here", "a", "b")
        self.service.fault(call=UPLOAD, delayMilliseconds=1500, times=2)
        program = self.start("sync", "up", "here", "/photos/t")
        while self.calls(UPLOAD) < 2:
            time.sleep(0.01)
        self.assertIn("by another b2drive", self.sync(1, "up", "here/.", "/photos/t")[1])
        (self.work / "here/a").write_text("b")
        self.assertEqual(program.wait(), 16)
        self.assertIn("here/a: changed while it was sent", program.communicate()[1])
        self.assertEqual(self.sync(0, "up", "here", "/photos/t")[0], ["put here/a"])
        self.service.fault(call=DOWNLOAD, delayMilliseconds=1500)
        program = self.start("sync", "down", "--exclude=b", "/photos/t", "there")
        while not self.calls(DOWNLOAD):
            time.sleep(0.01)
        self.store("t/a", "later")
        self.assertEqual(program.wait(), 0)
        program.communicate()
        self.assertEqual(self.sync(0, "down", "--exclude=b", "/photos/t", "there")[0],
                         ["get /photos/t/a"])
        self.assertEqual(self.tree("there"), {"a": b"later"})
        self.store("t/a", "again")
        self.service.control("requests", method="DELETE")
        self.service.fault(call=DOWNLOAD, delayMilliseconds=1500)
        program = self.start("sync", "down", "--exclude=b", "/photos/t", "there")
        while not self.calls(DOWNLOAD):
            time.sleep(0.01)
        (self.work / "there/a").write_text("mine")
        self.assertEqual(program.wait(), 9)
        self.assertIn("changed here meanwhile", program.communicate()[1])
        self.assertEqual(self.tree("there")["a"], b"mine")

    def test_a_run_that_was_killed_goes_on(self):
        names = [f"{number:03}" for number in range(200)]
        self.make("here", *names)
        for allowed in 40, 90:
            self.service.control("latency", {"milliseconds": 20})
            program = self.start("sync", "up", "-j", "4", "here", "/photos")
            while self.calls(UPLOAD) < allowed:
                time.sleep(0.01)
            program.send_signal(signal.SIGKILL)
            program.communicate()
        self.sync(0, "up", "here", "/photos")
        self.assertEqual(self.service.page(maxFileCount=1000).split(), names)
        self.assert_quiet("up", "here", "/photos")
        state, = [path for path in (self.scratch / "state/b2drive/sync").iterdir()
                  if not path.suffix]
        state.write_bytes(state.read_bytes()[:-9])
        self.assertIn("is damaged", self.sync(0, "up", "here", "/photos")[1])
        self.assertEqual(self.service.page(maxFileCount=1000).split(), names)
        record = json.loads(self.output("--json", "sync", "up", "here", "/photos/new",
                                        "--include=/00?", "--exclude=*").splitlines()[-1])
        self.assertEqual((record["counts"], record["bytes"]), ({"put": 10}, 30))

    def test_refusals(self):
        self.make("here", "a")
        self.store("file")
        for code, line, command in [
                (2, "A subcommand is required", "sync"),
                (2, "--max-delete x: give a number", "sync up --max-delete x here /photos"),
                (2, "--exclude-from", "sync up --exclude-from none here /photos"),
                (7, "/none: not found", "sync up here /none/x"),
                (7, "/photos/x: not found", "sync down /photos/x here"),
                (11, "/: holds buckets only", "sync down / here"),
                (11, "/photos/file: is a file", "sync up here /photos/file"),
                (11, "here/a: is a file", "sync up here/a /photos"),
                (13, "none: No such file", "sync up none /photos"),
                (13, "none/x: No such file", "sync down -n /photos none/x")]:
            self.assert_fails(code, line, *command.split())
        self.assertFalse((self.work / "none").exists())
