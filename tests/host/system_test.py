"""b2drive beside other programs: its accounts, its doctor, completion in shells, manual pages."""

import fcntl
import json
import os
import pathlib
import pty
import re
import shutil
import stat
import subprocess
import termios
import unittest

from b2drive_case import KEY, PROXY_PASSWORD, B2DriveCase

SECTIONS = pathlib.Path(__file__).parents[2] / "host/commands/sections"


class SystemCase(B2DriveCase):
    def setUp(self):
        super().setUp()
        self.environment |= {"HOME": str(self.scratch / "home"), "TERM": "dumb", "LC_ALL": "C.UTF-8",
                             "PATH": f"{self.scratch}/bin:/usr/bin:/bin"}
        self.folder = self.scratch / "home/.config/b2drive"
        self.typed = f"{self.service.account}\n{KEY}\n"

    def forget_environment(self):
        for name in "B2_APPLICATION_KEY_ID", "B2_APPLICATION_KEY":
            self.environment.pop(name)

    def make_key(self, **limits):
        key = self.service.call("b2_create_key", accountId=self.service.account, keyName="k",
                                **limits).json
        return key["applicationKeyId"], f"{key['applicationKeyId']}\n{key['applicationKey']}\n"

    def whoami(self, *options):
        return json.loads(self.output("whoami", "--json", *options))


class AccountTest(SystemCase):
    def test_login_stores_what_the_service_accepts(self):
        self.forget_environment()
        for typed, code, said in [("", 5, "a line each"), ("id\n", 5, "a line each"),
                                  (f"{self.service.account}\nSecretWrong\n", 6, "401")]:
            out, error = self.run_to_end(code, "login", given=typed)
            self.assertIn(said, error)
            self.assertNotIn("Secret", out + error)
        self.assertFalse(self.folder.exists())
        self.assertNotIn(KEY, "".join(self.run_to_end(0, "login", given=self.typed)))
        for path, mode in (self.folder, "drwx------"), (self.folder / "account", "-rw-------"):
            self.assertEqual(stat.filemode(path.stat().st_mode), mode)
        self.assertEqual(self.output("ls"), "photos/\n")

        key_id, typed = self.make_key(capabilities=["listBuckets", "listFiles"],
                                      bucketId=self.service.bucket, namePrefix="a/")
        self.assertIn("--force", self.run_to_end(9, "login", given=typed)[1])
        self.assertEqual(self.whoami()["key_id"], self.service.account)
        self.output("login", given=self.typed)  # the same account again
        (self.folder / "account").chmod(0o644)  # one that is not read
        self.run_to_end(9, "login", given=typed)
        self.output("login", "--force", given=typed)
        self.assertEqual(self.whoami(), {
            "account_id": self.service.account, "key_id": key_id, "source": "profile default",
            "service": "Backblaze B2", "bucket": "photos", "prefix": "a/",
            "capabilities": ["listBuckets", "listFiles"]})
        self.assertIn("\nmay:      listBuckets, listFiles\n", self.output("whoami"))
        self.assertEqual([path.name for path in self.folder.iterdir()], ["account"])
        self.output("logout")
        self.assert_fails(5, "there is none", "logout")

    def test_profiles_and_what_wins(self):
        key_id, typed = self.make_key(capabilities=["listBuckets"])
        self.output("login", "--profile", "work", given=typed)
        self.output("login", given=self.typed)
        self.assertEqual(self.output("profiles"), "default\nwork\n")
        self.environment["B2DRIVE_PROFILE"] = "work"
        self.assertEqual(self.whoami()["source"], "the environment")
        self.assertEqual(self.whoami("--profile", "default")["key_id"], self.service.account)
        self.forget_environment()
        who = self.whoami()
        self.assertEqual((who["source"], who["key_id"]), ("profile work", key_id))
        for code, name in (2, "../x"), (2, ".x"), (2, "a\nb"), (2, ""), (5, "none"):
            self.assert_fails(code, "profile", "ls", f"--profile={name}")
            self.run_to_end(code, "logout", f"--profile={name}")
        self.output("logout")
        self.assertEqual(self.output("profiles"), "default\n")

    def test_a_terminal_is_asked_and_does_not_show_the_key(self):
        self.forget_environment()
        terminal, its_end = pty.openpty()

        def take_terminal():
            os.setsid()
            fcntl.ioctl(its_end, termios.TIOCSCTTY, 0)
        program = self.start("login", stdin=its_end, preexec_fn=take_terminal)
        shown = b""
        for question, answer in (b"ID: ", self.service.account), (b"Application key: ", KEY):
            while not shown.endswith(question):
                shown += os.read(terminal, 1)
            os.write(terminal, answer.encode() + b"\n")
        self.assertIn("signed in", program.communicate()[0])
        os.close(its_end)
        self.assertNotIn(KEY.encode(), shown + os.read(terminal, 1000))
        os.close(terminal)


class DoctorTest(SystemCase):
    def checks(self, code, *options):
        out, error = self.run_to_end(code, "doctor", "--json", *options)
        for secret in KEY, PROXY_PASSWORD:
            self.assertNotIn(secret, out + error)
        return {check["check"]: check["state"] for check in json.loads(out)["checks"]}

    def test_each_check_stands_alone(self):
        well = self.checks(0)
        self.assertEqual({state for name, state in well.items()
                          if name not in ("FUSE", "cache folder")}, {"ok"})
        self.assertIn("left to the proxy", self.output("doctor"))
        self.assertEqual(self.checks(1, "--profile", "none"), well | dict.fromkeys(
            ["account"], "FAILED") | dict.fromkeys(
                ["sign-in", "listing"], "skipped"))
        self.assertEqual(self.checks(1, "--plugin", "/none"), well | dict.fromkeys(
            ["plug-in", "sign-in"], "FAILED") | {"listing": "skipped"})
        self.assertEqual(self.checks(1, "--proxy", "http://127.0.0.1:1"), well | dict.fromkeys(
            ["proxy", "sign-in"], "FAILED") | {"listing": "skipped"})
        self.write("folder/none.pem", "no certificate")
        for file in "folder", "folder/none.pem", "missing.pem":
            self.assertEqual(self.checks(1, "--ca-file", file), well | dict.fromkeys(
                ["certificates", "sign-in"], "FAILED") | {"listing": "skipped"})
            self.assert_fails(13, f"{self.work / file}, the certificates", "--ca-file", file, "ls")
        self.service.fault(call="b2_list_buckets", status=403)
        self.assertEqual(self.checks(1), well | {"listing": "FAILED"})
        (self.scratch / "Frameworks/cacert.pem").unlink()
        self.assertEqual(self.checks(1)["CA bundle"], "FAILED")


class CompletionTest(SystemCase):
    HOSTILE = ["$(touch hacked)", "`touch hacked`", "a'b \"c", "a;touch hacked", "x:y z", "~", "*"]
    HIDDEN = ["new\nline", "bidi\u202eod", "esc\x1b[2J"]

    def shell(self, *command):
        done = subprocess.run(command, cwd=self.work, env=self.environment, encoding="utf-8",
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=60)
        self.assertEqual(done.stderr, "", command)
        return done.stdout.splitlines()

    def bash(self, line):
        """What bash would offer, one a line."""
        return self.shell("bash", "-c", """source <(b2drive completion bash)
            COMP_LINE=$1 COMP_POINT=${#1}; _b2drive b2drive; printf '%s\\n' "${COMPREPLY[@]}" """,
                          "bash", line)

    def test_words_of_the_command_line(self):
        self.assertIn("whoami", self.bash("b2drive who"))
        self.assertIn("--recursive", self.bash("B2DRIVE_PROFILE=x b2drive -v rm --rec"))
        self.assertIn("--proxy", self.bash("b2drive ls /photos --pro"))
        self.assertEqual(self.bash("b2drive ls; b2drive completion z"), ["zsh"])
        self.assertEqual(self.bash("b2drive help doc"), ["doctor"])
        self.assertEqual(self.bash("b2drive mount /"), [""])
        self.assertNotIn("__texts", self.bash("b2drive "))

    def test_names_of_the_service_stay_words(self):
        for name in self.HOSTILE + self.HIDDEN + ["sub/file"]:
            self.store(name)
        offered = sorted(f"/photos/{name}" for name in self.HOSTILE + ["sub/"])
        self.assertEqual(sorted(self.bash("b2drive ls /photos/")), offered)
        calls = self.calls("b2_list_file_names")
        self.assertEqual(self.bash("b2drive cat '/photos/a;"), ["/photos/a;touch hacked"])
        self.assertEqual(self.bash(r"b2drive cat /photos/a\;"), ["/photos/a;touch hacked"])
        self.assertEqual(self.bash("b2drive cat /photos/x:"), ["y z"])
        self.assertEqual(self.bash("b2drive cat /photos/$(tou"), [""])
        self.assertEqual(self.calls("b2_list_file_names"), calls)
        kept, = (self.scratch / "home/.cache/b2drive").iterdir()
        self.assertEqual(stat.filemode(kept.stat().st_mode), "-rw-------")
        fish = self.shell("fish", "-c", "b2drive completion fish | source; "
                          "complete -C 'b2drive ls /photos/'")
        self.assertEqual(sorted(fish), offered)
        self.assertEqual(self.shell("fish", "-c", "b2drive completion fish | source; "
                                    "complete -C 'b2drive who'"), ["whoami"])
        zsh = self.shell("zsh", "-fc", """autoload -U compinit; compinit -C -D
            source <(b2drive completion zsh)
            compadd() { shift ${@[(i)--]}; print -l -- "$@" }
            words=(b2drive ls /photos/) CURRENT=3 PREFIX=/photos/; _b2drive""")
        self.assertEqual(sorted(zsh), offered)
        self.assertEqual(list(self.work.iterdir()), [])

    def test_nobody_is_asked_and_nothing_is_said(self):
        self.forget_environment()
        self.assertEqual(self.bash("b2drive ls /pho"), [""])
        self.output("login", "--profile", "work", given=self.typed)
        self.assertEqual(self.bash("b2drive ls --profile w"), ["work"])
        self.assertEqual(self.bash("b2drive --profile work ls /pho"), ["/photos/"])
        self.service.fault(call="b2_list_file_names", stall=True)
        self.assertEqual(self.bash("b2drive --profile work ls /photos/"), [""])


class ManualTest(SystemCase):
    def test_each_command_has_a_page_and_each_shell_its_script(self):
        texts = self.work / "texts"
        self.output("__texts", "texts", str(SECTIONS))
        pages = {page.stem for page in (texts / "man").iterdir()}
        commands = subprocess.run(
            ["bash", "-c", "b2drive __complete 'b2drive ' | tail -n +2"], env=self.environment,
            encoding="utf-8", capture_output=True).stdout.split()
        self.assertGreaterEqual(pages, {"b2drive", *(f"b2drive-{name}" for name in commands)})
        files = [str(page) for page in (texts / "man").iterdir()]
        lint = subprocess.run(["mandoc", "-Tlint", "-Wwarning", *files], encoding="utf-8",
                              capture_output=True)
        complaints = (lint.stdout + lint.stderr).splitlines()
        self.assertEqual([line for line in complaints if "missing date" not in line], [])
        page = subprocess.run(["mandoc", "-Tutf8", texts / "man/b2drive-mount.1"], encoding="utf-8",
                              capture_output=True).stdout
        for text in "cache_dir", "SAVING", "fusermount3":
            self.assertIn(text, re.sub(".\b", "", page))
        for shell, script in ("bash", "b2drive"), ("zsh", "_b2drive"), ("fish", "b2drive.fish"):
            self.assertIsNotNone(shutil.which(shell), shell)
            subprocess.run([shell, "-n", texts / shell / script], check=True)


if __name__ == "__main__":
    unittest.main()
