"""What b2drive get leaves, and goes on with, when it ends early; and the commands that print."""

import os
import re
import struct
import time

from b2drive_case import B2DriveCase

READ = "b2_download_file_by_id"
MIB = 1 << 20
RANGE = 4 * MIB
PAGE, BOOT = 4096, 128


class Record:
    """What a part file's last page says of each range."""

    def __init__(self, path):
        with path.open("rb") as file:
            file.seek(max(0, path.stat().st_size - PAGE))
            self.page = file.read(PAGE).ljust(PAGE, b"\0")
        self.ranges = list(struct.iter_unpack("<QQ", self.page[:3072]))
        self.kept, self.secured = map(sum, zip(*self.ranges))


class GetTest(B2DriveCase):
    def store_big(self, size=96 * MIB):
        content = os.urandom(size)
        self.service.add("big", content)
        self.part, self.got = self.work / "big.part", self.work / "big"
        return content

    def find_part(self):
        self.part = next(self.part.parent.glob("*.part"), self.part)
        return self.part.exists()

    def heal(self):
        self.service.control("faults", method="DELETE")
        self.service.control("requests", method="DELETE")

    def asked(self):
        """Bytes that were asked for since."""
        ranges = [re.fullmatch(r"bytes=(\d+)-(\d+)", value)
                  for request in self.service.control("requests").json if request["call"] == READ
                  for name, value in request["headers"] if name.lower() == "range"]
        return sum(int(last) - int(first) + 1 for first, last in (r.groups() for r in ranges))

    def kill_when(self, it_is_time, *command):
        """Kills a slow get; gives the record that is left."""
        self.service.fault(call=READ, times=-1, drip=8 * MIB)
        program = self.start(*command or ("get", "/photos/big"))
        while not self.find_part() or not it_is_time(Record(self.part)):
            self.assertIsNone(program.poll())
            time.sleep(0.01)
        program.kill()
        program.communicate()
        self.assertFalse(self.got.exists())
        self.heal()
        return Record(self.part)

    def test_killed_at_any_moment_it_goes_on_with_what_is_missing(self):
        content, twice = self.store_big(), 0
        for twentieths in 1, 5, 9, 13:
            record = self.kill_when(lambda now: now.kept * 20 >= len(content) * twentieths)
            data = self.part.read_bytes()
            for at, (reached, _) in zip(range(0, len(content), RANGE), record.ranges):
                self.assertEqual(data[at:at + reached], content[at:at + reached])
            twice += sum(PAGE for at in range(0, len(content), PAGE)
                         if data[at:at + PAGE] == content[at:at + PAGE]) - record.kept
        self.assertLessEqual(twice, len(content) // 20)
        self.output("get", "/photos/big")
        self.assertEqual(self.asked(), len(content) - record.kept)
        self.assertEqual(self.got.read_bytes(), content)
        self.assertEqual(os.listdir(self.work), ["big"])

    def test_what_a_tree_left_is_gone_on_with(self):
        content = self.store_big()
        tree = self.work / "photos"
        tree.mkdir()
        self.part, self.got = tree / "none.part", tree / "big"
        record = self.kill_when(lambda now: now.kept * 2 >= len(content), "get", "-r", "/photos")
        self.output("get", "/photos/big", "photos")
        self.assertEqual(self.asked(), len(content) - record.kept)
        self.assertEqual(self.got.read_bytes(), content)
        self.assertEqual(os.listdir(tree), ["big"])

    def test_after_a_power_cut_only_what_was_on_disk_counts(self):
        content = self.store_big()
        record = self.kill_when(lambda now: now.secured > 0)
        with self.part.open("r+b") as file:
            for at, (reached, secured) in zip(range(0, len(content), RANGE), record.ranges):
                file.seek(at + secured)
                file.write(bytes(reached - secured))
            file.seek(-BOOT, os.SEEK_END)
            file.write(b"another boot\0")
        self.output("get", "/photos/big")
        self.assertEqual(self.asked(), len(content) - record.secured)
        self.assertEqual(self.got.read_bytes(), content)

    def test_a_failure_keeps_what_came_of_this_version_alone(self):
        content = self.store_big(33 * MIB)
        for version in content, content[:MIB]:
            self.service.fault(call=READ, cutAfter=20 * MIB)
            error = self.run_to_end(12, "get", "--connections=1", "/photos/big")[1]
            self.assertRegex(error, " of 35 MB are kept in big.part; the next time it goes on with")
            kept = Record(self.part).kept
            if version is not content:
                self.service.add("big", version)
                kept = 0
            self.heal()
            self.output("get", "/photos/big")
            self.assertEqual((self.asked(), self.got.read_bytes()), (len(version) - kept, version))

    def test_leaves_alone_what_is_not_its_own(self):
        self.store("x", "contents")
        mine, part = self.write("mine", "mine"), self.work / "x.part"
        for prepare, code, line in [
                (lambda: self.write("x.part", "mine"), 9, "x.part: is no part file of b2drive"),
                (lambda: part.symlink_to("mine"), 9, "x.part: is no part file of b2drive"),
                (lambda: os.link(mine, part), 9, "x.part: is no part file of b2drive"),
                (lambda: os.mkfifo(part), 9, "x.part: is no part file of b2drive")]:
            prepare()
            self.assert_fails(code, line, "get", "/photos/x")
            part.unlink()
            self.assertEqual(mine.read_text(), "mine")
        self.write("x.part", "")
        self.service.fault(call=READ, status=400)
        self.assert_fails(1, "answered 400", "get", "/photos/x")
        self.service.fault(call=READ, stall=True)
        first = self.start("get", "/photos/x")
        while not self.calls(READ) > 1:
            time.sleep(0.01)
        self.assert_fails(13, "x.part: another b2drive is fetching it", "get", "/photos/x")
        first.kill()
        first.communicate()
        longest = "n" * 255
        for target in "x", longest:
            self.output("get", "/photos/x", target)
        self.assertEqual(sorted(os.listdir(self.work)), ["mine", longest, "x"])

    def test_prints_what_is_asked_for(self):
        self.store("digits", "0123456789")
        self.store("letters", "abc")
        self.store("empty", "")
        for text, command in [
                ("0123456789abc", "cat /photos/digits /photos/empty /photos/letters"),
                ("345", "get /photos/digits - --offset 3 --length 3"),
                ("012", "head -c 3 /photos/digits"), ("0123456", "head -c -3 /photos/digits"),
                ("789", "tail -c3 /photos/digits"), ("23456789", "tail -c +3 /photos/digits"),
                ("0123456789", "tail --bytes 1KiB /photos/digits"),
                ("0123456789", "head -c 8E /photos/digits"),
                ("", "tail -c +11 /photos/digits"), ("", "head -c 1b /photos/empty")]:
            if "8E" in command:
                self.assert_fails(2, "no number of bytes: 8E", *command.split())
            else:
                self.assertEqual(self.output(*command.split()), text, command)
        out, error = self.run_to_end(16, "cat", "/photos/none", "/photos/letters")
        self.assertEqual((out, error.count("none: not found")), ("abc", 1))
        self.store("long", "l" * 3 * MIB)
        for command in ["get /photos/long -", "cat /photos/long /photos/long"]:
            program = self.start(*command.split())
            program.stdout.read(1)
            program.stdout.close()
            self.assertEqual((program.stderr.read(), program.wait()), ("", 141))
            program.stderr.close()
