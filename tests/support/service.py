"""The emulator as its own program, and a client that says everything a request can say."""

import atexit
import hashlib
import http.client
import json
import os
import ssl
import subprocess
import unittest
import urllib.parse
from base64 import b64encode
from collections import namedtuple

API = "https://api001.backblazeb2.com/b2api/v"
FILES = "https://f001.backblazeb2.com/file/photos/"
CONTROL = "https://control.backblazeb2.com/"


class Reply(namedtuple("Reply", "status headers body")):
    """`status` is the name of an exception when there is no whole answer."""

    @property
    def json(self):
        return json.loads(self.body)

    @property
    def outcome(self):
        """Of a refusal its status and code."""
        refused = isinstance(self.status, int) and self.status >= 400 and self.body
        return f"{self.status} {self.json['code']}" if refused else str(self.status)


def basic(login):
    return "Basic " + b64encode(login.encode()).decode()


def sha1(data):
    return hashlib.sha1(data).hexdigest()


class Service:
    """Running, with the bucket "photos" and parts of 10 bytes; `token` is the master key's."""
    timeout = 20  # seconds

    def __init__(self, *options, proxy_login=""):
        self.process = self.start_program(*options)
        atexit.register(self.process.kill)  # of a case that failed too early to stop it
        ready = json.loads(self.process.stdout.readline())
        self.port, self.ca_file = ready["port"], ready["caFile"]
        self.account, self.key = ready["accountId"], ready["applicationKey"]
        self.trust = ssl.create_default_context(cafile=self.ca_file)
        self.proxy_headers = {"Proxy-Authorization": basic(proxy_login)}
        self.token = self.login(self.account, self.key).json["authorizationToken"]
        buckets = self.call("b2_list_buckets", accountId=self.account, bucketName="photos").json
        self.bucket = buckets["buckets"][0]["bucketId"]

    def start_program(self, *options):
        return subprocess.Popen(
            [os.environ["B2EMULATOR"], "--minimum-part-size=10", "--bucket=photos", *options],
            stdout=subprocess.PIPE, text=True)

    def stop(self):
        """Gives the exit code."""
        self.process.terminate()
        self.process.stdout.close()
        return self.process.wait()

    def send(self, url, headers={}, body=None, method=None):
        """Over a connection of its own."""
        to = urllib.parse.urlsplit(url)
        connection = http.client.HTTPSConnection("127.0.0.1", self.port, timeout=self.timeout,
                                                 context=self.trust)
        connection.set_tunnel(to.hostname, 443, self.proxy_headers)
        try:
            target = urllib.parse.urlunsplit(("", "", *to[2:]))
            connection.request(method or ("GET" if body is None else "POST"), target, body, headers)
            answer = connection.getresponse()
            return Reply(answer.status, answer.headers, answer.read())
        except (OSError, http.client.HTTPException) as error:
            return Reply(type(error).__name__, {}, getattr(error, "partial", b""))
        finally:
            connection.close()

    def login(self, key_id, key, version=1):
        return self.send(f"https://api.backblazeb2.com/b2api/v{version}/b2_authorize_account",
                         {"Authorization": basic(f"{key_id}:{key}")})

    def call(self, name, version=1, **fields):
        return self.send(f"{API}{version}/{name}", {"Authorization": self.token},
                         json.dumps(fields))

    def control(self, path, body=None, method=None):
        return self.send(CONTROL + path, {}, None if body is None else json.dumps(body), method)

    def fault(self, **members):
        assert self.control("faults", members).status == 200, members

    def download(self, name, method="GET", **headers):
        return self.send(FILES + name, {"Authorization": self.token, **headers}, None, method)

    def target(self, large_id=None):
        """Where to upload: to the bucket or, given a large file's ID, its parts."""
        return (self.call("b2_get_upload_part_url", fileId=large_id) if large_id else
                self.call("b2_get_upload_url", bucketId=self.bucket)).json

    def upload(self, target, headers, body):
        given = {"Authorization": target["authorizationToken"], **headers}
        given = {name: value for name, value in given.items() if value is not None}
        return self.send(target["uploadUrl"], given, body, "POST")

    def add(self, name, body=b"x", target=None, **headers):
        """Uploads a file in the plainest way; the name is encoded already."""
        plain = {"X-Bz-File-Name": name, "Content-Type": "a/b", "X-Bz-Content-Sha1": sha1(body)}
        return self.upload(target or self.target(), {**plain, **headers}, body)

    def start(self, name):
        """A large file; gives its ID."""
        return self.call("b2_start_large_file", bucketId=self.bucket, fileName=name,
                         contentType="a/b").json["fileId"]

    def page(self, call="b2_list_file_versions", **query):
        """A listing: names, "-" behind hidden and "+" behind unfinished ones, "> " and the next."""
        reply = self.call(call, **{"bucketId": self.bucket, **query})
        if reply.status != 200:
            return reply.outcome
        marks = {"upload": "", "copy": "", "hide": "-", "start": "+", "folder": ""}
        shown = [file["fileName"] + marks[file["action"]] for file in reply.json["files"]]
        following = reply.json["nextFileName"]
        return " ".join(shown + (["> " + following] if following else []))


class ServiceTest(unittest.TestCase):
    """Every case has a service of its own, which must end well."""
    options = ()

    def setUp(self):
        self.service = Service(*self.options)
        self.addCleanup(lambda: self.assertEqual(self.service.stop(), 0))
