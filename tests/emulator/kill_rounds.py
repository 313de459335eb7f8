"""kill_rounds.py [ROUNDS [SEED]]: what the emulator has acknowledged is there after kill -9.

Each round starts it on one and the same folder, has clients change what they like until it is killed at a
random moment, and compares what it then holds, contents included, with what they know. A call that got no
answer may have had its effect or not.
"""

import random
import sys
import tempfile
import threading
import time

from service import Service, sha1


ACTIONS = ["upload", "upload", "hide", "start", "part", "part", "finish", "delete", "delete"]


class Killed(Exception):
    pass


class Client:
    """Changes files of its own. `held` is what must be there: by file ID a version (name, action, size and
    SHA-1 of each piece), by file ID and number a part (size and SHA-1). `perhaps` is what may be there instead
    since the call in hand, None standing for the ID of a version that it makes."""

    def __init__(self, number, seed):
        self.folder, self.random, self.held = f"c{number}/", random.Random(f"{seed}.{number}"), {}
        self.perhaps = self.held

    def run(self, service):
        self.service, self.target, self.perhaps = service, None, self.held
        try:
            while True:
                self.step(self.random.choice(ACTIONS))
        except Killed:
            pass

    def done(self, reply):
        """Its JSON. The call has had its effect, or none when it was refused."""
        if not isinstance(reply.status, int):
            raise Killed
        if reply.status == 200:
            made = self.perhaps.pop(None, None)
            self.held = {**self.perhaps, reply.json["fileId"]: made} if made else self.perhaps
        self.perhaps = self.held
        return reply.json

    def step(self, action):
        service, held, name = self.service, self.held, self.folder + str(self.random.randrange(5))
        body = self.random.randbytes(self.random.choice([10, 900, 70_000, 1_500_000]))
        piece = (len(body), sha1(body))
        versions = [key for key in held if isinstance(key, str)]
        file_id = self.random.choice([key for key in versions if held[key][1] == "start"] or [None])
        pieces = [held.get((file_id, number)) for number in (1, 2)]
        if action == "upload":
            self.target = self.target or self.done(service.call("b2_get_upload_url", bucketId=service.bucket))
            self.perhaps = {**held, None: (name, "upload", (piece,))}
            self.done(service.add(name, body, self.target))
        elif action == "start":
            self.perhaps = {**held, None: (name, "start", ())}
            self.done(service.call("b2_start_large_file", bucketId=service.bucket, fileName=name, contentType="a/b"))
        elif action == "hide":
            self.perhaps = {**held, None: (name, "hide", ())}
            self.done(service.call("b2_hide_file", bucketId=service.bucket, fileName=name))
        elif action == "part" and file_id:
            target, number = self.done(service.call("b2_get_upload_part_url", fileId=file_id)), self.random.choice([1, 2])
            self.perhaps = {**held, (file_id, number): piece}
            self.done(service.upload(target, {"X-Bz-Part-Number": str(number), "X-Bz-Content-Sha1": piece[1]}, body))
        elif action == "finish" and all(pieces):
            self.perhaps = {key: value for key, value in held.items() if file_id not in (key, key[0])}
            self.perhaps[file_id] = (held[file_id][0], "upload", tuple(pieces))
            self.done(service.call("b2_finish_large_file", fileId=file_id, partSha1Array=[sha for _, sha in pieces]))
        elif action == "delete" and versions:
            gone = self.random.choice(versions)
            self.perhaps = {key: value for key, value in held.items() if gone not in (key, key[0])}
            self.done(service.call("b2_delete_file_version", fileName=held[gone][0], fileId=gone))

    def check(self, service):
        """That what is held can be, and takes it for what must be."""
        listed = service.call("b2_list_file_versions", bucketId=service.bucket, prefix=self.folder, maxFileCount=10_000)
        found = {file["fileId"]: (file["fileName"], file["action"], file["contentLength"]) for file in listed.json["files"]}
        for file_id in [key for key, value in found.items() if value[1] == "start"]:
            for part in service.call("b2_list_parts", fileId=file_id).json["parts"]:
                found[file_id, part["partNumber"]] = (part["contentLength"], part["contentSha1"])
        new = (set(found) - set(self.held)) if None in self.perhaps else set()
        perhaps = {new.pop() if key is None and len(new) == 1 else key: value for key, value in self.perhaps.items()}
        sizes = lambda held: {key: (*value[:2], sum(size for size, _ in value[2])) if isinstance(key, str) else value
                              for key, value in held.items()}
        fitting = [held for held in (self.held, perhaps) if sizes(held) == found]
        assert fitting, (sizes(self.held), sizes(perhaps), found)
        self.held = fitting[0]
        for key, value in self.held.items():
            if isinstance(key, str) and value[1] == "upload":
                body = service.call("b2_download_file_by_id", fileId=key).body
                for size, sha in value[2]:
                    assert sha1(body[:size]) == sha, (key, value)
                    body = body[size:]


def main(rounds=100, seed=None):
    seed = seed or random.randrange(1 << 30)
    print(f"rounds: {rounds}, seed: {seed}")
    clients, moments, kept = [Client(number, seed) for number in range(6)], random.Random(seed), 0
    with tempfile.TemporaryDirectory() as folder:
        for _ in range(rounds):
            service = Service("--data", folder)
            for client in clients:
                client.check(service)
            kept += sum(len(client.held) for client in clients)
            threads = [threading.Thread(target=client.run, args=[service]) for client in clients]
            for thread in threads:
                thread.start()
            time.sleep(moments.uniform(0, 0.4))
            service.process.kill()
            service.process.communicate()
            for thread in threads:
                thread.join()
    print(f"{kept} versions and parts found again")


if __name__ == "__main__":
    main(*map(int, sys.argv[1:]))
