"""The commands of b2drive."""

import json
import os
import stat

from b2drive_case import KEY, NAMES, PROXY_PASSWORD, B2DriveCase, entry


class ReadingTest(B2DriveCase):
    def test_lists_and_reads(self):
        for name, text in {"folder/inner/deep.txt": "deep", "empty": "", "both": "file",
                           "both/inside": "in"}.items():
            self.store(name, text)
        for command, shown in {"ls": "photos/\n", "ls /photos": "both\nboth/\nempty\nfolder/\n",
                               "ls photos/both/": "inside\n", "cat /photos/empty": ""}.items():
            self.assertEqual(self.output(*command.split()), shown, command)
        for command, shown in {"ls -l /photos": "\n-  -                         fol",
                               "stat --json /photos/folder/inner": '"type": "folder"',
                               "stat /photos/both": "size:     4\n",
                               "forms": '"speedlimit"'}.items():
            self.assertIn(shown, self.output(*command.split()), command)
        last = 2**63 - 1
        for what, text in {"empty nothing": "", "both part --offset 1 --length 99": "ile",
                           f"both beyond --offset {last} --length {last}": ""}.items():
            self.output("get", *f"/photos/{what}".split())
            self.assertEqual((self.work / what.split()[1]).read_text(), text, what)

    def test_failures_have_one_line_and_a_code(self):
        self.store("file")
        self.store("folder/x")
        self.write("local")
        for shell in "exec 1>&-", "exec 1>/dev/full":
            for command in "--help", "ls /photos", "cat /photos/file":
                self.run_to_end(13, *command.split(), shell=["sh", "-c", shell + '; exec "$@"', "-"])
        for code, line, command in [
                (2, "stat: b: not expected", "stat a b"),
                (2, "not in range", "get /photos/file --offset -1"),
                (2, "b2drive: rm /: the root", "rm /"),
                (2, "several slashes in a row", "rm -r --yes /photos//"),
                (2, "several slashes in a row", "rmdir /photos/folder//x"),
                (2, "ls: --proxy: others can see", "--proxy http://u:p@127.0.0.1:1 ls"),
                (4, "cannot be loaded", "--plugin /none ls"),
                (7, "/photos/none: not found (AERROR::FILE_NOT_FO", "get /photos/none"),
                (9, "exists already, a folder", "mkdir /photos/folder"),
                (1, "answered 400", "mkdir /x"),
                (10, "not empty", "rmdir /photos/folder"),
                (7, "/none/file: not found", "stat /none/file"),
                (11, "is a folder, not a file", "cat /photos/folder"),
                (11, "is a file, not a folder", "ls /photos/file/"),
                (11, "no regular file", "get /photos/file /dev/null"),
                (11, "holds buckets only", "put local /"),
                (12, "cannot be reached: ", "--proxy http://127.0.0.1:1 ls"),
                (13, "get: no/folder: No such file", "get /photos/file no/folder"),
                (13, "File name too long", "get /photos/file " + "n" * 256),
                (14, "4 files and folders", "rm -r /photos")]:
            self.assert_fails(code, line, *command.split())
        self.assert_stored("file folder/x")
        self.service.fault(call=NAMES, status=418)
        self.assert_fails(1, "answered 418: it does not accept", "ls", "/photos")
        for body, line in ([], "makes no sense (AERROR::FAILED)"), (
                {"files": [entry("a", -5)]}, "it gives a a negative size"):
            self.answer(NAMES, body)
            self.assert_fails(1, line, "ls", "/photos")
        self.environment["B2_APPLICATION_KEY"] = "wrong"
        self.assert_fails(6, "answered 401: check the application key", "ls")
        del self.environment["B2_APPLICATION_KEY"]
        self.assert_fails(5, "set both", "ls")
        (self.scratch / "Frameworks/cacert.pem").unlink()
        self.assert_fails(3, "Frameworks/cacert.pem", "ls")

    def test_what_is_fetched_replaces_a_file_only_whole(self):
        longest = "n" * 250
        self.store(longest, "x" * 5000)
        self.output("get", "/photos/" + longest)
        self.assertEqual((self.work / longest).stat().st_size, 5000)
        self.assertTrue((self.work / longest).stat().st_mode & stat.S_IRGRP)
        mine = self.write("mine", "older")
        mine.chmod(0o600)
        little = ("/bin/sh", "-c", 'ulimit -f 1; exec "$@"', "sh")
        error = self.run_to_end(13, "get", "/photos/" + longest, "mine", shell=little)[1]
        self.assertIn(": File too large\n", error)
        self.assertEqual(mine.read_text(), "older")
        self.output("get", "/photos/" + longest, "mine")
        self.assertEqual(mine.stat().st_size, 5000)
        self.assertEqual(stat.filemode(mine.stat().st_mode), "-rw-------")
        self.assertEqual(len(list(self.work.iterdir())), 2)

    def test_a_key_for_one_bucket_shows_that_bucket(self):
        account = {"accountId": self.service.account}
        key = self.service.call("b2_create_key", **account, keyName="k", capabilities=[
            "listBuckets"], bucketId=self.service.bucket).json
        self.environment |= {"B2_APPLICATION_KEY_ID": key["applicationKeyId"],
                             "B2_APPLICATION_KEY": key["applicationKey"],
                             "B2_ACCOUNT_ID": self.service.account}
        self.assertEqual(self.output("ls"), "photos/\n")

    def test_logs_are_readable_and_hold_no_secret(self):
        self.store("file")
        out, error = self.run_to_end(0, "-vv", "--log-bodies", "log", "ls", "/photos")
        self.assertIn(" INFO  [PROTOCOL  ] GetFileList_ObjectList >> HTTPS POST", error)
        self.assertIn("session tokens", error)
        log = self.work / "log"
        self.assertEqual(stat.filemode(log.stat().st_mode), "-rw-------")
        self.assertNotIn('"fileName"', log.read_text())
        decoded = self.output("decode-log", "log")
        self.assertIn('"fileName": "file"', decoded)
        for text in out, error, decoded, log.read_text():
            for secret in KEY, PROXY_PASSWORD, "Basic ":
                self.assertNotIn(secret, text)
        damaged = self.write("damaged", "x List >> \nCB48CDC9C957\nABBA\nCB4\nx INFO\nABBA\n")
        out, error = self.run_to_end(1, "decode-log", "damaged")
        self.assertEqual(out, damaged.read_text())
        self.assertIn("3 bodies are damaged", error)


class WritingTest(B2DriveCase):
    def test_stores_trees_and_what_comes_in(self):
        for name in "tree/zero", "tree/sub/below":
            self.write(name)
        (self.work / "tree/link").symlink_to("zero")
        self.assertIn("tree/link: left out", self.run_to_end(0, "put", "-r", "tree", "/photos")[1])
        self.output("put", "-", "/photos/stdin", given="i" * 300000)
        self.assertEqual(self.service.download("stdin").body, b"i" * 300000)
        self.output("mkdir", "/photos/to")
        self.output("put", "tree/zero", "tree/sub/below", "/photos/to")
        self.assert_stored("stdin to/.bzEmpty to/below to/zero tree/.bzEmpty "
                           "tree/sub/.bzEmpty tree/sub/below tree/zero")

    def test_several_uploads_of_which_one_fails(self):
        for name in "abc":
            self.write(name)
        self.store("f/x")
        self.service.fault(call="b2_upload_file", skip=1, status=400)
        error = self.run_to_end(16, "put", "--jobs", "1", "a", "b", "c", "/photos/f")[1]
        self.assertIn("put /photos/f/b: the service answered 400", error)
        self.assertIn("2 of 3 files were stored", error)
        self.assert_stored("f/a f/c f/x")

    def test_deletes_exactly_what_is_named(self):
        for name in "a", "a", "a.bak", "ab/c", "d/e/f", "d/g":
            self.store(name)
        self.assert_fails(15, ": a.bak, ab/;", "--plugin", self.library, "rm", "/photos/a")
        self.output("--plugin", self.library, "rm", "/photos/a.bak")
        self.output("rm", "/photos/a")
        self.assert_stored("ab/c d/e/f d/g")
        self.assert_fails(7, "none", "rm", "--yes", "/photos/d/g", "/photos/none")
        self.output("rm", "-r", "--yes", "/photos/d/e", "/photos/ab")
        self.assert_stored("d/g")
        self.output("mkdir", "-p", "/second-bucket/x/y", "/photos/d")
        self.assert_fails(10, "/second-bucket", "rmdir", "/second-bucket")
        self.output("rmdir", "--yes", "/second-bucket/x/y", "/second-bucket/x")
        self.store("twice")
        self.output("rm", "/photos/twice", "/photos/twice")
        self.output("rm", "-r", "--yes", "/second-bucket", "/photos")
        self.assertEqual(self.output("ls"), "")

    def test_what_changed_while_the_user_was_asked_stays(self):
        for name in "a", "b", "p/.bzEmpty", "q/.bzEmpty", "s/not shown.bzEmpty":
            self.store(name)
        code, error = self.agree(lambda: self.store("a"), "rm", "/photos/a", "/photos/b")
        self.assertEqual(code, 16)
        self.assertIn("rm /photos/a: changed meanwhile by someone else; nothing", error)
        code, error = self.agree(lambda: self.store("p/new"), "rmdir", "/photos/p", "/photos/q")
        self.assertEqual(code, 16)
        self.assertIn("rmdir /photos/p: the folder is not empty", error)
        self.assert_fails(10, "/photos/s", "rmdir", "/photos/s")
        self.assert_stored("a p/.bzEmpty p/new s/not shown.bzEmpty")

    def test_deletes_names_with_empty_parts_with_the_folder_above_only(self):
        delete = "b2_delete_file_version"
        self.store("a/x")
        self.answer(NAMES, {"files": [{"action": "folder", "fileName": "a//"}]}, skip=1)
        self.answer(NAMES, {"files": [{"action": "folder", "fileName": "a///"}]}, skip=1, times=-1)
        self.assert_fails(14, "at least 2 files", "rm", "-r", "/photos/a")
        self.service.control("faults", method="DELETE")
        self.answer(NAMES, {"files": [{"action": "folder", "fileName": "/"}]})
        self.assert_fails(1, "begin with a slash", "rm", "-r", "--yes", "/photos")
        self.assertEqual(self.calls(delete), 0)

        names = ["a///b", "a//", "a/./b", "a/../b"]
        self.answer("b2_list_file_versions", {"files": [entry(name) for name in names]},
                    skip=1)
        self.answer(delete, {}, skip=1, times=-1)
        self.output("rm", "-r", "--yes", "/photos/a")
        requests = self.service.control("requests").json
        self.assertEqual([json.loads(request["body"])["fileName"] for request in requests
                          if request["call"] == delete], ["a/x", *names])

    def test_an_interrupted_transfer_ends_and_leaves_no_half_file(self):
        big = "x" * 8000000
        self.store("big", big)
        self.write("put", big)
        older = self.write("got", "older")
        for call, command, stalled, said in [
                ("b2_download_file_by_id", "get /photos/big got", False, "READ_CANCE|interrupted"),
                ("b2_upload_part", "put put /photos", False, "an unfinished|interrupted"),
                ("b2_upload_part", "put put /photos", True, "\nb2drive: interrupted\n")]:
            self.service.control("requests", method="DELETE")
            if stalled:
                self.service.fault(call=call, stall=True)
            code, error = self.interrupt(call, *command.split())
            self.assertEqual(code, 130)
            self.assertRegex(error, said)
        self.assertEqual(older.read_text(), "older")
        self.assert_stored("big")
        self.assertLessEqual(set(os.listdir(self.work)), {"got", "got.part", "put"})
