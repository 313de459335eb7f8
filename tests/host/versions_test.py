"""Copies, moves and versions: what the service does without the contents coming here."""

import hashlib
import json
import time

from b2drive_case import NAMES, B2DriveCase, entry

READ, UPLOAD, COPY = "b2_download_file_by_id", "b2_upload_file", "b2_copy_file"
CANCEL = "b2_cancel_large_file"


class VersionsTest(B2DriveCase):
    def put(self, name, *texts):
        for text in texts:
            self.write("local", text)
            self.output("put", "-p", "local", f"/photos/{name}")

    def show(self, name):
        return self.service.download(name).body.decode()

    def records(self, *arguments):
        """What a command prints with --json, but for the summary."""
        out = self.output("--json", *arguments)
        records = [json.loads(line) for line in out.splitlines()]
        return [record for record in records if record.get("action") != "summary"]

    def versions(self, name):
        """Sizes and IDs, the newest first."""
        return [(record["size"], record["id"]) for record in self.records("versions", name)]

    def test_files_and_folders_move_and_are_copied_on_the_service(self):
        self.write("typed", "text")
        self.output("put", "--type", "a/b", "--info", "key=v w", "typed", "/photos/a")
        self.put("d/x", "1", "22")
        self.put("d/e/y", "y")
        self.output("mkdir", "/photos/d/empty", "/photos/into")
        self.service.control("requests", method="DELETE")
        before = self.service.call(NAMES, bucketId=self.service.bucket).json["files"][0]
        for command, names in [
                ("mv a b", "b d/.bzEmpty d/e/.bzEmpty d/e/y d/empty/.bzEmpty d/x d/x into/.bzEmpty"),
                ("mv d new", "b into/.bzEmpty new/.bzEmpty new/e/.bzEmpty new/e/y "
                             "new/empty/.bzEmpty new/x"),
                ("cp b into", "b into/.bzEmpty into/b new/.bzEmpty new/e/.bzEmpty new/e/y "
                              "new/empty/.bzEmpty new/x"),
                ("mv new into", "b into/.bzEmpty into/b into/new/.bzEmpty into/new/e/.bzEmpty "
                                "into/new/e/y into/new/empty/.bzEmpty into/new/x"),
                ("cp -r -T into b2", "b b2/.bzEmpty b2/b b2/new/.bzEmpty b2/new/e/.bzEmpty "
                                     "b2/new/e/y b2/new/empty/.bzEmpty b2/new/x into/.bzEmpty "
                                     "into/b into/new/.bzEmpty into/new/e/.bzEmpty into/new/e/y "
                                     "into/new/empty/.bzEmpty into/new/x")]:
            word, *paths = command.split()
            self.output(word, *(path if path[0] == "-" else "/photos/" + path for path in paths))
            self.assertEqual(self.service.page(), names)
        self.assertEqual(self.calls(READ), 0)
        self.assertEqual(self.show("b2/new/x"), "22")
        after = self.service.call(NAMES, bucketId=self.service.bucket).json["files"][0]
        for kept in "contentType", "fileInfo", "contentSha1":
            self.assertEqual(after[kept], before[kept])
        self.assertRegex(self.output("stat", "/photos/b"),
                         r"sha1: +[0-9a-f]{40}\ncontent_type: +a/b\n(.*\n)*info\.key: +v w\n")
        for code, line, *arguments in [
                (7, "/photos/none: not found", "mv", "/photos/none", "/photos/z"),
                (7, "/photos/no: not found", "mv", "/photos/b", "/photos/no/z"),
                (2, "same name", "mv", "/photos/b", "/photos/b"),
                (2, "into itself", "mv", "/photos/into", "/photos/into/new"),
                (11, "use cp -r", "cp", "/photos/into", "/photos/z"),
                (11, "keeps its name", "mv", "/photos", "/photos/z"),
                (2, "same last name", "mv", "/photos/b2/b", "/photos/b", "/photos/into"),
                (2, "a folder that it is in", "mv", "-T", "/photos/b2/new", "/photos/b2"),
                (11, "is a file", "mv", "/photos/b2", "/photos/b"),
                (11, "is a folder", "cp", "-T", "/photos/b", "/photos/b2/new"),
                (7, "no such bucket", "cp", "-r", "/photos/b2", "/none"),
                (2, "give KEY=VALUE", "put", "--info", "x", "typed", "/photos/z"),
                (2, "begin with b2-", "put", "-p", "--info", "B2-x=y", "typed", "/photos/z/"),
                (2, "makes that", "put", "--info=Large_file_sha1=y", "typed", "/photos/z"),
                (2, "letters of ASCII", "put", "-p", "--info", "a b=y", "typed", "/photos/z/"),
                (2, "at most 7", "put", *(f"--info=k{i}=v" for i in range(8)), "typed", "/photos/z"),
                (2, "is empty", "put", "--type", "", "typed", "/photos/z")]:
            self.assert_fails(code, line, *arguments)

    def test_a_lost_answer_copies_and_deletes_once(self):
        self.retries = 3
        for call in COPY, "b2_delete_file_version":
            for fault in {"commit": True, "cutAfter": 0}, {"status": 503}, {"commit": True,
                                                                          "status": 500}:
                self.put("a", "text")
                self.service.fault(call=call, **fault)
                self.output("mv", "/photos/a", "/photos/b")
                self.assert_stored("b")
                self.output("rm", "/photos/b")

    def test_only_a_copy_is_taken_for_one(self):
        self.retries = 1
        self.put("a", "text")
        # An answer about something else: nothing is deleted.
        for wrong in ["Length\": 4", "Length\": 0"], [hashlib.sha1(b"text").hexdigest(), "0" * 40]:
            self.service.fault(call=COPY, replace=[wrong])
            self.assert_fails(17, "another file", "mv", "/photos/a", "/photos/b")
        self.assertEqual(self.show("a"), "text")
        # What stands there with the same bytes has another type, and another client's has others.
        self.write("local", "text")
        self.output("put", "--type", "x/y", "local", "/photos/b")
        self.service.fault(call=COPY, status=503)
        self.output("mv", "/photos/a", "/photos/b")
        self.assertNotIn("x/y", self.output("stat", "/photos/b"))
        oldest = self.versions("/photos/b")[-1][1]
        self.put("b", "theirs!")
        self.service.fault(call=COPY, status=503)
        self.output("restore", "/photos/b", "--version", oldest)
        self.assertEqual(self.show("b"), "text")

    def test_versions_are_shown_fetched_restored_and_hidden(self):
        self.put("f", "1", "22")
        time.sleep(1.1)
        then = time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime())
        time.sleep(1.1)
        self.put("f", "333")
        self.put("later/x", "x")
        (three, newest), (two, second), (one, oldest) = self.versions("/photos/f")
        self.assertEqual((three, two, one), (3, 2, 1))
        file_id = oldest.partition("/")[2]
        self.assertIn("1  20", self.output("versions", "/photos/f"))
        self.output("get", "--version", file_id, "/photos/f", "got")
        self.assertEqual((self.work / "got").read_text(), "1")
        self.assertEqual(self.output("get", "--version", oldest, "/photos/f", "-"), "1")
        self.assertEqual(self.output("ls", "--at", then, "-l", "/photos").split()[0::2], ["2", "f"])
        self.output("hide", "/photos/f")
        self.assertEqual(self.output("ls", "/photos"), "later/\n")
        self.assertEqual([size for size, _ in self.versions("/photos/f")], [0, 3, 2, 1])
        self.assert_fails(7, "not found", "cat", "/photos/f")
        self.output("unhide", "/photos/f")
        self.assertEqual(self.show("f"), "333")
        self.assert_fails(7, "no hidden file", "unhide", "/photos/f")
        self.assertEqual(self.output("ls", "-d", "--at", "2100-01-01T12:00", "/photos/later"),
                         "/photos/later/\n")
        self.output("rm", "-r", "--hide", "--yes", "/photos/f", "/photos/later")
        self.assertEqual(self.output("ls", "/photos"), "")
        for arguments, shown in (("--version", file_id), "1"), (("--before", then), "22"):
            self.output("restore", "/photos/f", *arguments)
            self.assertEqual(self.show("f"), shown)
        self.assertEqual(len(self.versions("/photos/f")), 6)
        self.assertEqual(self.output("ls", "--at", "2001-01-01", "/photos"), "")
        for code, line, *arguments in [
                (7, "no version", "restore", "/photos/f", "--version", "none"),
                (7, "was not there", "restore", "/photos/f", "--before", "2001-01-01"),
                (2, "is empty", "restore", "/photos/f", "--version", ""),
                (2, "which version", "restore", "/photos/f"),
                (2, "excludes", "restore", "/photos/f", "--version", "x", "--before", "2001-01-01"),
                (2, "not a time", "restore", "/photos/f", "--before", "noon"),
                (7, "not found", "ls", "--at", then, "/photos/none"),
                (7, "not found", "ls", "-d", "--at", then, "/photos/later"),
                (2, "not a time", "ls", "--at", "2026-02-31", "/photos"),
                (2, "not a time", "ls", "--at", "26-01-31", "/photos"),
                (2, "is empty", "ls", "--at", "", "/photos"),
                (2, "is empty", "get", "--version", "", "/photos/f"),
                (7, "not found", "versions", "/photos/none"),
                (4, "without --plugin", "--plugin", self.library, "versions", "/photos/f"),
                (4, "without --plugin", "--plugin", self.library, "hide", "/photos/f")]:
            self.assert_fails(code, line, *arguments)
        self.put("g", "1")
        self.assertEqual(self.agree(lambda: None, "rm", "/photos/f", "/photos/g")[0], 0)
        self.assertIn("in all 7 versions", self.asked)

    def test_unfinished_files_are_shown_and_canceled(self):
        for name in "a", "d/b", "d/c":
            self.service.start(name)
        self.assertEqual([record["path"] for record in self.records("unfinished")],
                         ["/photos/a", "/photos/d/b", "/photos/d/c"])
        self.assertEqual(self.records("unfinished", "--older", "1h", "--cancel"), [])
        self.output("unfinished", "--cancel", "/photos/d/b")
        self.output("unfinished", "--cancel", "/photos/d/")
        self.assertEqual([record["path"] for record in self.records("unfinished", "/photos")],
                         ["/photos/a"])
        for code, line, *arguments in [
                (2, "no duration", "--older", "soon"), (2, "is empty", "--cancel", "--older", ""),
                (14, "1 upload that may still run", "--cancel")]:
            self.assert_fails(code, line, "unfinished", *arguments)
        for code, line, fault in (8, "answered 403", {"status": 403}), (
                1, "refuses to cancel", {"status": 400}):
            self.service.fault(call=CANCEL, **fault)
            self.assert_fails(code, line, "unfinished", "--cancel", "/photos/a")
        self.service.fault(call=CANCEL, status=401, code="expired_auth_token")
        self.output("unfinished", "--cancel", "/photos/a")
        gone, _ = self.service.start("g"), self.service.start("h")
        code, error = self.agree(lambda: self.service.call(CANCEL, fileId=gone), "unfinished",
                                 "--cancel", "-v")
        self.assertEqual((code, error.count("cancel /photos/")), (0, 1))
        self.assertIn("/photos/g: was finished or canceled meanwhile", error)
        self.assertEqual(self.output("unfinished"), "")

    def test_what_a_folder_does_not_show_is_not_deleted_unasked(self):
        def hide():
            self.put("d/x", "1")
            self.output("hide", "/photos/d/x")
        for fill in hide, lambda: self.service.start("d/big"):
            self.output("mkdir", "/photos/d")
            fill()
            self.assert_fails(14, "hidden or unfinished", "rm", "-r", "/photos/d")
            self.assertEqual(self.agree(lambda: None, "rm", "-r", "/photos/d")[0], 0)
            self.assertEqual(self.service.page(), "")
        self.output("mkdir", "/photos/d")
        self.output("rm", "-r", "/photos/d")
        self.put("d/e/x", "1", "22")
        self.service.control("requests", method="DELETE")
        listings = []
        self.agree(lambda: listings.append(self.calls("b2_list_file_versions")), "rm", "-r", "/photos/d")
        self.assertIn("3 files and folders, in all 2 versions", self.asked)
        self.assertEqual(listings, [2])

    def test_a_tree_is_hidden_and_shown_again(self):
        self.put("t/a/x", "1")
        self.put("t/y", "2", "3")
        self.output("mkdir", "/photos/t/empty")
        names = self.service.page(NAMES)
        for told, left, *arguments in ("hide", "", "rm", "-r", "--hide", "--yes"), (
                "unhide", names, "unhide", "-r"):
            records = self.records(*arguments, "/photos/t")
            self.assertEqual({record["action"] for record in records}, {told})
            self.assert_stored(left)
        self.assertEqual(self.show("t/y"), "3")
        self.assert_fails(7, "nothing is hidden", "unhide", "-r", "/photos/t")
        self.assertNotIn(".bzEmpty", self.output("versions", "/photos/t"))

    def test_folders_without_end_are_refused(self):
        name = "d/" + "e" * 1500 + "/"
        self.answer("b2_list_file_versions", {"files": [entry(name) | {"action": "folder"}]}, times=-1)
        self.assert_fails(1, "deeper", "ls", "--at", "2030-01-01", "/photos/d")
