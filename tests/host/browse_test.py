"""What the commands that look around print, and how all of them tell what they do."""

import json
import os
import pty
import unittest

import b2drive_case


def records(text):
    return [json.loads(line) for line in text.splitlines()]


class BrowseTest(b2drive_case.B2DriveCase):
    def tree(self):
        for name, size in ("a/big", 3000), ("a/deep/er/x.txt", 5), ("a.txt", 20), ("b/x.txt", 7):
            self.store(name, "x" * size)

    def lines(self, command):
        return self.output(*command.split()).splitlines()

    def on_terminal(self, *arguments):
        """What a terminal of 80 columns gets on standard error."""
        ours, theirs = pty.openpty()
        self.addCleanup(os.close, ours)
        program = b2drive_case.subprocess.Popen(
            [self.program, *arguments], cwd=self.work, env=self.environment, stderr=theirs,
            stdout=b2drive_case.subprocess.DEVNULL)
        os.close(theirs)
        said = b""
        try:
            while part := os.read(ours, 4096):
                said += part
        except OSError:
            pass
        self.assertEqual(program.wait(), 0, said)
        return said.decode()

    def test_listings_in_the_order_and_form_that_is_asked_for(self):
        self.tree()
        for command, expected in [
                ("ls /photos", "a/ a.txt b/"),
                ("ls -r /photos", "b/ a.txt a/"),
                ("ls -S /photos", "a.txt a/ b/"),
                ("ls -d /photos /photos/a.txt", "/photos/ /photos/a.txt"),
                ("ls -d /", "/"),
                ("ls /photos/b /photos/a.txt", "/photos/a.txt  /photos/b: x.txt"),
                ("ls -R /photos", "/photos: a/ a.txt b/  /photos/a: big deep/  /photos/a/deep: er/"
                 "  /photos/a/deep/er: x.txt  /photos/b: x.txt"),
                ("ls -R --exclude deep /photos/a", "/photos/a: big"),
                ("find /photos --type d", "/photos/a/ /photos/a/deep/ /photos/a/deep/er/ /photos/b/"),
                ("find /photos --name x*", "/photos/a/deep/er/x.txt /photos/b/x.txt"),
                ("find /photos --size +7", "/photos/a.txt /photos/a/big"),
                ("find /photos --size -1K --name [!a]*", "/photos/a/deep/er/x.txt /photos/b/x.txt"),
                ("find /photos/b/x.txt /photos/a --size 7", "/photos/b/x.txt"),
                ("find /photos --newer 2999-01-01", ""),
                ("find /photos --newer 2000-01-01T00:00:00Z --exclude /a/", "/photos/a.txt /photos/b/x.txt"),
                ("du /photos/a", "5\t/photos/a/deep/er 5\t/photos/a/deep 3005\t/photos/a"),
                ("du -h -d 1 /photos", "3.0 kB\t/photos/a 7 B\t/photos/b 3.0 kB\t/photos"),
                ("du -s / /photos/a.txt", "3032\t/ 20\t/photos/a.txt")]:
            self.assertEqual(" ".join(self.lines(command)), expected, command)
        self.answer(b2drive_case.NAMES, {"files": [
            {**b2drive_case.entry(name), "uploadTimestamp": time} for name, time in
            (("a", 1000), ("b", 3000), ("c", 2000), ("d", 3000))]})
        self.assertEqual(self.lines("ls -t /photos"), ["b", "d", "c", "a"])
        self.assertRegex(self.lines("ls -lh /photos/a")[0], r"^3\.0 kB  20\d\d-.*Z  big$")
        out, error = self.run_to_end(16, "ls", "/photos/b", "/photos/none", "/none/x")
        self.assertEqual(out, "/photos/b:\nx.txt\n")
        self.assertEqual(error.count("not found"), 2)

    def test_json_is_a_record_a_line_where_there_are_many(self):
        self.tree()
        self.assertEqual(len(json.loads(self.output("--json", "ls", "/photos"))), 3)
        for command in "ls -R /photos", "find /photos":
            rows = records(self.output("--json", *command.split()))
            self.assertEqual({row["path"]: row.get("size") for row in rows if row["type"] == "file"}, {
                "/photos/a/big": 3000, "/photos/a/deep/er/x.txt": 5, "/photos/a.txt": 20,
                "/photos/b/x.txt": 7})
        self.assertEqual(records(self.output("--json", "du", "-d0", "/photos")),
                         [{"path": "/photos", "size": 3032, "files": 4}])

    def test_changes_failures_and_progress_are_records(self):
        self.write("x", "12345")
        put, summary = records(self.output("--json", "put", "x", "/photos/x"))
        self.assertEqual((put["action"], put["path"], put["local"], put["size"]),
                         ("put", "/photos/x", "x", 5))
        self.assertIn("id", put)
        self.assertEqual((summary["action"], summary["counts"], summary["bytes"], summary["code"]),
                         ("summary", {"put": 1}, 5, 0))
        out, error = self.run_to_end(16, "--json", "mkdir", "/photos/d", "/photos/x")
        self.assertEqual([row["action"] for row in records(out)], ["mkdir", "summary"])
        self.assertEqual(records(error), [{
            "error": "/photos/x: exists already, a file", "code": 9, "path": "/photos/x"}])
        for code, path, command in [(2, None, "ls --none"), (2, None, "lss"), (2, "/", "rm /"),
                                    (13, "no", "put no /photos"), (7, "/photos/no", "get /photos/no")]:
            error = self.run_to_end(code, "--json", *command.split())[1]
            self.assertEqual([(row["code"], row.get("path")) for row in records(error)], [(code, path)])
        out, error = self.run_to_end(0, "--progress", "json", "get", "/photos/x", "y")
        last = records(error)[-1]["progress"]
        self.assertEqual((out, last["name"], last["done"], last["total"]), ("", "x", 5, 5))
        for name in "t/1", "t/2":
            self.store(name)
        for command in "cp -r /photos/t /photos/u", "mv /photos/u /photos/v", "rm -r --yes /photos/v":
            error = self.run_to_end(0, "--progress", "json", *command.split())[1]
            last = records(error)[-1]["progress"]
            self.assertEqual([last[part] for part in ("files_done", "files", "total")], [2, 2, 0])
        out, error = self.run_to_end(0, "--json", "rm", "-r", "--yes", "/photos/d", "/photos/x")
        self.assertEqual([row.get("path") for row in records(out)], ["/photos/d", "/photos/x", None])

    def test_what_is_said_beside_the_result(self):
        for name in "t/a", "t/b":
            self.write(name)
        summary = r"2 files stored, \d+ B in [\d.]+ s, \d+ k?B/s\r?\n$"
        put = "put", "-r", "t", "/photos"
        self.assertEqual(self.run_to_end(0, *put), ("", ""))
        error = self.run_to_end(0, "-v", *put)[1]
        self.assertIn("put t/a -> /photos/t/a, ", error)
        self.assertRegex(error, summary)
        self.assertRegex(self.on_terminal(*put), summary)
        self.assertEqual(self.on_terminal("-q", *put), "")
        self.assertEqual(self.on_terminal("mkdir", "/photos/d"), "")
        (self.work / "t/link").symlink_to("a")
        self.assertEqual(self.run_to_end(0, "-q", *put)[1], "")

    def test_a_wrong_word_gets_one_line_that_helps(self):
        for line, command in [
                ("b2drive: lss: no such command; did you mean ls? (see b2drive --help)", "lss"),
                ("b2drive: help: gte: no such command; did you mean get? (see b2drive --help)", "help gte"),
                ("b2drive: frobnicate: no such command (see b2drive --help)", "--json=false frobnicate"),
                ("b2drive: put: --recursiv: no such option; did you mean --recursive? "
                 "(see b2drive put --help)", "put --recursiv a /b"),
                ("b2drive: sync: upp: no such command; did you mean up? (see b2drive sync --help)",
                 "sync upp"),
                ("b2drive: stat: PATH is required (see b2drive stat --help)", "stat"),
                ("b2drive: stat: b: not expected (see b2drive stat --help)", "stat a b")]:
            self.assertEqual(self.run_to_end(2, *command.split()), ("", line + "\n"))
        out, error = self.run_to_end(2)
        self.assertTrue(error.startswith("Usage: b2drive [OPTIONS] COMMAND"), error)

    def test_help_reads_as_people_write(self):
        commands = [line.split()[0] for line in self.output("--help").split("Commands:\n")[1]
                    .split("\n\n")[0].splitlines() if line[2] != " "]
        self.assertIn("find", commands)
        for command in [None, *commands]:
            text = self.output("help", *filter(None, [command]))
            self.assertEqual(text, self.output(*filter(None, [command]), "--help"))
            self.assertLess(max(map(len, text.splitlines())), 80, text)
            for wrong in "REQUIRED", " INT", "UINT", "TEXT", " in [":
                self.assertNotIn(wrong, text)
        self.assertTrue(self.output("put", "--help").startswith(
            "Usage: b2drive put [OPTIONS] LOCAL... PATH\n"))
        self.assertEqual(self.output("version"), self.output("--version"))


if __name__ == "__main__":
    unittest.main()
