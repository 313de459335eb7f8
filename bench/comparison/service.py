"""The emulator under measurement, and the little of the service's interface that a run needs."""

import base64
import collections
import http.client
import json
import os
import ssl
import subprocess
import urllib.parse

CONTROL = "https://control.backblazeb2.com"
CA_BUNDLES = (
    "/etc/ssl/certs/ca-certificates.crt",
    "/etc/ssl/cert.pem",
    "/opt/homebrew/etc/ca-certificates/cert.pem",
)


class Service:
    """A running emulator. `directory` gets Frameworks/cacert.pem: the system's bundle and the
    emulator's CA, so that every client loads a bundle of the usual size."""

    def __init__(self, program, directory, seeds, buckets):
        ca_file = os.path.join(directory, "ca.pem")
        arguments = [program, "--ca-file", ca_file, "--no-request-log"]
        for seed in seeds:
            arguments += ["--seed", seed]
        for bucket in buckets:
            arguments += ["--bucket", bucket]
        self._process = subprocess.Popen(arguments, stdout=subprocess.PIPE, text=True)
        line = self._process.stdout.readline()
        if not line:
            raise SystemExit("compare: the emulator did not start")
        ready = json.loads(line)
        self.port = ready["port"]
        self.key_id = ready["accountId"]
        self.key = ready["applicationKey"]
        self.bundle = os.path.join(directory, "Frameworks", "cacert.pem")
        self._own_calls = collections.Counter()
        self._write_bundle(ca_file)
        self._authorize()

    def close(self):
        self._process.terminate()
        self._process.wait()

    def call(self, name, body):
        self._own_calls[name] += 1
        return self._post(f"{self._api_url}/b2api/v1/{name}", self._token, body)

    def buckets(self):
        """Bucket IDs by name."""
        answer = self.call("b2_list_buckets", {"accountId": self.key_id})
        return {bucket["bucketName"]: bucket["bucketId"] for bucket in answer["buckets"]}

    def files(self, bucket_id):
        """The first page of a bucket's files."""
        wanted = {"bucketId": bucket_id, "maxFileCount": 1000}
        return self.call("b2_list_file_names", wanted)["files"]

    def empty(self, bucket_id):
        """Deletes everything in a bucket, so that uploads do not fill the memory."""
        while True:
            page = self.call("b2_list_file_versions", {"bucketId": bucket_id, "maxFileCount": 1000})
            for file in page["files"]:
                names = {"fileName": file["fileName"], "fileId": file["fileId"]}
                self.call("b2_delete_file_version", names)
            if not page["files"]:
                return

    def contents(self, file_id):
        """The bytes of a stored file, piece by piece."""
        url = f"{self._download_url}/b2api/v1/b2_download_file_by_id?fileId={file_id}"
        answer = self._request("GET", url, {"Authorization": self._token})
        while piece := answer.read(1 << 20):
            yield piece

    def counts(self):
        """How often each call was made, by others than this object; CONNECT: connections."""
        answer = self._request("GET", f"{CONTROL}/counts")
        return collections.Counter(json.loads(answer.read())["calls"]) - self._own_calls

    def set_latency(self, milliseconds):
        self._post(f"{CONTROL}/latency", "", {"milliseconds": milliseconds})

    def set_link(self, link):
        """For connections that begin from now on; "": none."""
        self._post(f"{CONTROL}/link", "", {"link": link})

    def _write_bundle(self, ca_file):
        os.makedirs(os.path.dirname(self.bundle), exist_ok=True)
        with open(self.bundle, "wb") as bundle:
            for name in [name for name in CA_BUNDLES if os.path.exists(name)][:1] + [ca_file]:
                with open(name, "rb") as part:
                    bundle.write(part.read())

    def _authorize(self):
        self._context = ssl.create_default_context(cafile=self.bundle)
        self._connections = {}
        basic = base64.b64encode(f"{self.key_id}:{self.key}".encode()).decode()
        url = "https://api.backblazeb2.com/b2api/v1/b2_authorize_account"
        answer = self._post(url, "Basic " + basic, {})
        self._api_url, self._download_url = answer["apiUrl"], answer["downloadUrl"]
        self._token = answer["authorizationToken"]

    def _connection(self, host):
        if host not in self._connections:
            connection = http.client.HTTPSConnection("127.0.0.1", self.port, context=self._context)
            connection.set_tunnel(host, 443)
            self._connections[host] = connection
        return self._connections[host]

    def _post(self, url, token, body):
        return json.loads(
            self._request("POST", url, {"Authorization": token}, json.dumps(body)).read())

    def _request(self, method, url, headers=None, body=None):
        """The answer, whose body is to be read to its end before the next request."""
        parts = urllib.parse.urlsplit(url)
        connection = self._connection(parts.hostname)
        target = parts.path + (f"?{parts.query}" if parts.query else "")
        connection.request(method, target, body, headers or {})
        answer = connection.getresponse()
        if answer.status != 200:
            raise SystemExit(f"compare: {parts.path}: {answer.status} {answer.read()[:200]}")
        return answer
