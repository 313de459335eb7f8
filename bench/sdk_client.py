"""Runs one job through the official SDK, for `compare`. Run by the Python that has b2sdk.

KIND BUCKET NAME FILE_BYTES BLOCK_BYTES COUNT THREADS LOCAL
"""

import concurrent.futures
import os
import pathlib
import sys

import b2sdk.v2


def read(api, name, block_bytes, count):
    for index in range(count):
        begin = block_bytes * index
        file = api.download_file_by_id(name, range_=(begin, begin + block_bytes - 1))
        file.save_to(os.devnull)


def upload(bucket, local, threads):
    files = [local] if local.is_file() else sorted(local.iterdir())
    with concurrent.futures.ThreadPoolExecutor(threads) as pool:
        names = [(str(file), "stored-" + file.name) for file in files]
        list(pool.map(lambda pair: bucket.upload_local_file(*pair), names))


def main():
    kind, bucket_name, name, _, block_bytes, count, threads, local = sys.argv[1:]
    api = b2sdk.v2.B2Api(b2sdk.v2.InMemoryAccountInfo())
    account = (os.environ["B2_APPLICATION_KEY_ID"], os.environ["B2_APPLICATION_KEY"])
    api.authorize_account("production", *account)
    api.list_buckets()
    if kind == "read":
        read(api, name, int(block_bytes), int(count))
    elif kind == "upload":
        upload(api.get_bucket_by_name(bucket_name), pathlib.Path(local), int(threads))
    elif kind == "list":
        for _ in api.get_bucket_by_name(bucket_name).ls(name):
            pass


if __name__ == "__main__":
    main()
