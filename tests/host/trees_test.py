"""Whole trees, as b2drive moves and deletes them."""

import json
import os
import signal
import time

from b2drive_case import NAMES, B2DriveCase, entry

DELETE = "b2_delete_file_version"


class TreesTest(B2DriveCase):
    def tree(self, folder=""):
        """What is below a local folder: texts by name, None for folders."""
        top = self.work / folder
        return {str(path.relative_to(top)): None if path.is_dir() else path.read_text()
                for path in top.rglob("*")}

    def refused(self, code, lines, *arguments):
        """Each of the lines is told, once, and nothing else."""
        error = self.run_to_end(code, *arguments)[1]
        for line in lines:
            self.assertEqual(error.count(line), 1, (line, error))
        self.assertEqual(error.count("\n"), len(lines), error)

    def test_all_transfers_keep_to_one_limit(self):
        size, rate = 60000, 400 * 1024
        names = [f"f{i}" for i in range(8)]
        for name in names:
            self.write(f"up/{name}", "x" * size)
        for command in "put -r up /photos", "get -r /photos/up down":
            begun = time.monotonic()
            self.output("--limit", "400K", *command.split())
            self.assertGreater(time.monotonic() - begun, len(names) * size / rate - 0.1)
        self.assertEqual(self.tree("up"), self.tree("down"))
        for rate in "", "K", "1T", "-1", "1.5M", "2000000G":
            self.refused(2, ["no rate such as 512K"], "--limit=" + rate, "ls")

    def test_an_interruption_ends_a_wait_for_the_limit(self):
        self.write("slow", "x" * 90000)
        self.store("slow", "x" * 90000)
        for call, command in ("b2_upload_file", "put slow /photos/up"), (
                "b2_download_file_by_id", "get /photos/slow down"):
            self.service.control("requests", method="DELETE")
            program = self.start("--limit", "1", *command.split())
            while program.poll() is None and not self.calls(call):
                time.sleep(0.01)
            program.send_signal(signal.SIGINT)
            program.communicate()
            self.assertEqual(program.returncode, 130)

    def test_put_refuses_names_before_it_sends(self):
        for name in "good", "sub/x.bzEmpty", "con\x01/inside", "line\nbreak", "n" * 251, "out/in":
            self.write("tree/" + name)
        (self.work / "tree" / os.fsdecode(b"no\xff")).write_text("x")
        self.refused(16, ["x.bzEmpty: a name that folders need", "con\\x01: the service stores no",
                          "line\\x0abreak: the", "no\\xff: the", "too long", "1 of 6 files were"],
                     "put", "-r", "tree", "/photos", "--exclude", "out/")
        self.assert_stored("tree/.bzEmpty tree/good tree/sub/.bzEmpty")
        self.refused(1, ["stores no such name"], "put", "tree/line\nbreak", "/photos")

    def test_put_names_what_is_missing_and_makes_it_when_asked(self):
        self.write("local")
        for target in "/none/", "/none", "/none/a/b":
            self.refused(7, ["put /none: no such bucket"], "put", "-p", "local", target)
        self.refused(7, ["put /photos/a/b: not found"], "put", "local", "/photos/a/b/")
        self.output("put", "-p", "local", "/photos/a/b/")
        self.output("put", "-p", "local", "/photos/c/d/new")
        self.refused(11, ["put /photos/a/b/local: is a file"], "put", "-p", "local",
                     "/photos/a/b/local/in/")
        self.assert_stored("a/.bzEmpty a/b/.bzEmpty a/b/local c/.bzEmpty c/d/.bzEmpty c/d/new")

    def test_a_file_of_a_parts_size_is_not_begun(self):
        self.write("tree/part", "x" * 100000)
        self.write("tree/more", "x" * 100001)
        self.refused(16, ["part: nothing was sent: exactly 100000 bytes", "1 of 2 files"],
                     "put", "-r", "tree", "/photos")
        self.assertEqual(self.calls("b2_start_large_file"), 1)
        self.assert_stored("tree/.bzEmpty tree/more")

    def test_many_small_files_there_and_back(self):
        self.retries = 3
        self.service.control("latency", {"milliseconds": 50})
        for i in range(400):
            self.write(f"many/d{i % 7}/f{i}", str(i))
        self.write("many/empty", "")
        (self.work / "many/hollow").mkdir()
        self.service.fault(call="b2_upload_file", skip=200, status=503)
        self.service.fault(call="b2_download_file_by_id", skip=200, status=503)
        self.output("put", "-r", "many", "/photos")
        self.assertEqual(self.calls("b2_upload_file"), 401 + 9 + 1)
        self.output("get", "-r", "/photos/many", "back")
        self.assertEqual(self.tree("many"), self.tree("back"))
        self.output("rm", "-ry", "/photos/many")
        self.assertEqual(self.service.page(), "")

    def test_get_makes_the_tree_as_cp_does(self):
        for name in "d/a", "d/e/.bzEmpty", "d/x/y/z", "d/skip", "e":
            self.store(name, name)
        inside = {"a": "d/a", "e": None, "x": None, "x/y": None, "x/y/z": "d/x/y/z"}
        for command, root in {"/photos/d fresh": "fresh", "/photos/d": "d",
                              "/photos/d fresh/": "fresh/d"}.items():
            self.output("get", "-r", *command.split(), "--exclude", "/skip")
            tree = {name: text for name, text in self.tree(root).items() if name != "d"
                    and not name.startswith("d/")}
            self.assertEqual(tree, inside, command)
        self.output("get", "-r", "/photos", "all", "--include", "/d/", "--exclude", "*")
        self.assertEqual(self.tree("all"), {"d": None})
        self.assertIn("use get -r", self.run_to_end(11, "get", "/photos/d")[1])
        self.refused(11, ["name one: /BUCKET"], "get", "-r", "/")

    def test_get_writes_nothing_outside_of_its_target(self):
        outside = self.write("outside/file", "mine").parent
        for name in "photos/file", "photos/sub/file", "photos/dir/file", "photos/wall/file":
            self.store(name.removeprefix("photos/"), "theirs")
        top = self.work / "in"
        for folder in top, top / "photos", top / "photos/file":
            folder.mkdir()
        (top / "photos/sub").symlink_to(outside)
        (top / "photos/wall").write_text("here")
        (top / "photos/dir").mkdir()
        (top / "photos/dir/file").symlink_to(outside / "file")
        error = self.run_to_end(16, "get", "-r", "/photos", "in")[1]
        self.assertIn("in/photos/sub: a file or a link stands here, not a folder", error)
        self.assertEqual(error.count("in/photos/wall: a file or a link stands here, not a "), 1)
        self.assertIn("in/photos/file: exists and is no regular file", error)
        self.assertEqual(self.tree("outside"), {"file": "mine"})
        self.assertEqual((top / "photos/wall").read_text(), "here")
        (top / "link").symlink_to(outside)
        self.store("link/file", "theirs")
        self.run_to_end(11, "get", "-r", "/photos/link", "in")
        self.assertEqual(self.tree("outside"), {"file": "mine"})

    def test_get_refuses_names_that_cannot_be_here(self):
        self.store("d/good", "good")
        identity = self.service.call("b2_list_file_names", bucketId=self.service.bucket).json
        good = identity["files"][0]
        names = ["d/" + name for name in ("../", "./", "/", "n" * 256, "both", "both/")]
        folders = [{**entry(name), "action": "folder"} if name.endswith("/") else entry(name)
                   for name in names]
        self.answer(NAMES, {"files": [{**good, "action": "folder", "fileName": "d/"}]})
        self.answer(NAMES, {"files": [good, *folders]})
        self.answer(NAMES, {"files": []}, times=-1)
        error = self.run_to_end(16, "get", "-r", "/photos/d", "here")[1]
        for line in ["/..: would lead elsewhere", "/.: would lead elsewhere", "d/: an empty name",
                     "too long for a name", "both: a file has the same name"]:
            self.assertEqual(error.count(line), 1, (line, error))
        self.assertEqual(self.tree("here"), {"good": "good"})

    def test_rm_goes_on_and_tells_what_is_left(self):
        for name in "a/b/c", "a/b/d", "a/f", "a/x/y", "a/x/.bzEmpty", "a/z.bzEmpty", "ab":
            self.store(name)
        self.store("a/f", "newer")
        self.service.call("b2_hide_file", bucketId=self.service.bucket, fileName="a/x/y")
        self.service.fault(call=DELETE, status=403)
        error = self.run_to_end(16, "rm", "-ry", "/photos/a")[1]
        self.assertIn("2 of 3 files were deleted", error)
        left = set(self.service.page().split())
        self.assertEqual(left & {"a/x/y", "a/x/y-", "a/x/.bzEmpty", "ab"}, {"ab"})
        self.assertEqual(len(left & {"a/b/c", "a/b/d", "a/f"}), 1, left)
        self.output("rm", "-ry", "/photos/a")
        self.assertEqual(self.service.page(), "ab")

    def test_what_is_not_meant_stays(self):
        names = ["a.keep", "b", "[b/a,b/b]", "d/f"]
        for name in names:
            self.store(name)
        self.write("[a]", "right")
        self.write("a", "wrong")
        for code, line, command in [
                (0, "", ["rm", "--exclude", "*.keep", "/photos/a.keep"]),
                (2, "add --exclude '*'", ["rm", "-ry", "--include", "b", "/photos"]),
                (2, "an empty rule", ["rm", "-ry", "--exclude", "", "/photos"]),
                (2, "[ without its ]", ["rm", "-ry", "--exclude", "b[", "/photos"]),
                (7, "/[photos", ["rm", "-y", "[photos/b,photos/a.keep]"]),
                (2, "a PATH is empty", ["rm", "-ry", ""]),
                (2, "is empty", ["find", "--name", "", "/photos"]),
                (11, "d/f: is a file", ["put", "-r", "tree", "/photos/d/f"]),
                (1, "elsewhere", ["mkdir", "/photos/.."]),
                (1, "folders need", ["mkdir", "/photos/.bzEmpty"])]:
            self.write("tree/x")
            self.assertIn(line, self.run_to_end(code, *command)[1], command)
        self.assert_stored(" ".join(sorted(names)))
        self.output("put", "[a]", "/photos")
        self.assertEqual(self.service.download("[a]").body, b"right")

    def test_rm_deletes_what_the_filter_takes(self):
        for name in "a/x.tmp", "a/b/y.tmp", "a/b/keep", "a/b/.bzEmpty":
            self.store(name)
        self.refused(14, ["2 files and folders"], "rm", "-r", "/photos/a", "--include", "*.tmp",
                     "--include", "*/", "--exclude", "*")
        self.output("rm", "-ry", "/photos/a", "--include=*/", "--include=*.tmp", "--exclude=*")
        self.assertEqual(self.service.page(), "a/b/.bzEmpty a/b/keep")
        error = self.run_to_end(15, "--plugin", self.library, "rm", "-ry", "/photos/a",
                                "--exclude", "keep")[1]
        self.assertIn("leave out", error)
