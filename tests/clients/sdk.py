"""What programs do through the service's Python SDK. Proxy, CA and account: see shell.sh."""

import contextlib
import io
import json
import os
import tempfile
import urllib.request

from b2sdk import v2 as b2
from b2sdk.v2.exception import (CapExceeded, DuplicateBucketName, FileNotPresent, InvalidAuthToken,
                                MaxRetriesExceeded, Unauthorized)

LARGE = os.urandom(17_000_000)
LONGEST = "x" * 250 + "/y" * 375  # 1,000 bytes are what the SDK lets pass
NAMES = ["plain.txt", "two  spaces", "quote'\"", "100% %41+&?#", "ümlaut/日本語/😀", LONGEST]
ODD_BYTES = bytes(range(256))


def sign_in(key_id=os.environ["B2_APPLICATION_KEY_ID"], key=os.environ["B2_APPLICATION_KEY"]):
    api = b2.B2Api(b2.InMemoryAccountInfo())
    api.authorize_account("production", key_id, key)
    return api


def add_fault(**fault):
    urllib.request.urlopen("https://control.backblazeb2.com/faults", json.dumps(fault).encode()).close()


def restart_service():
    """Killed and started again; what knew it before goes on."""
    print("restart", flush=True)
    assert input() == "done"


@contextlib.contextmanager
def refused(*errors):
    try:
        yield
    except errors:
        return
    raise AssertionError(f"not refused with {errors}")


def content(downloaded):
    sink = io.BytesIO()
    downloaded.save(sink)
    return sink.getvalue()


def names(bucket, **options):
    return [version.file_name for version, _ in bucket.ls(recursive=True, **options)]


def test_buckets(api):
    bucket = api.create_bucket("sdk-bucket", "allPrivate", {"color": "blue"})
    with refused(DuplicateBucketName):
        api.create_bucket("sdk-bucket", "allPrivate")
    bucket = bucket.update(bucket_type="allPublic")
    assert (bucket.type_, bucket.bucket_info) == ("allPublic", {"color": "blue"})


def test_small_files(bucket):
    for name in NAMES:
        bucket.upload_bytes(ODD_BYTES, name, file_infos={"color": "blüe"})
        found = bucket.download_file_by_name(name)
        assert content(found) == ODD_BYTES, name
        assert found.download_version.file_info == {"color": "blüe"}, name
    assert names(bucket) == sorted(NAMES, key=str.encode)
    assert content(bucket.download_file_by_name("plain.txt", range_=(10, 19))) == ODD_BYTES[10:20]
    with refused(FileNotPresent):
        bucket.get_file_info_by_name("missing")


def test_large_files(api, bucket):
    add_fault(call="b2_upload_part", skip=1, status=503, code="service_unavailable")
    add_fault(call="b2_upload_part", cutRequestAfter=1000)
    large = bucket.upload_bytes(LARGE, "large")
    with tempfile.NamedTemporaryFile() as local:  # a file to seek in: fetched in parallel ranges
        bucket.download_file_by_name("large").save_to(local.name)
        assert local.read() == LARGE
    api.services.large_file.start_large_file(bucket.id_, "unfinished", "text/plain", {})
    restart_service()
    unfinished = list(bucket.list_unfinished_large_files())
    assert [file.file_name for file in unfinished] == ["unfinished"]
    bucket.cancel_large_file(unfinished[0].file_id)
    assert not list(bucket.list_unfinished_large_files())

    copy = bucket.copy(large.id_, "copied")
    parts = bucket.concatenate([b2.CopySource(copy.id_, 0, 6_000_000),
                                b2.CopySource(copy.id_, 6_000_000, 11_000_000)], "glued")
    assert content(api.download_file_by_id(parts.id_)) == LARGE


def test_keys(api, bucket):
    key = api.create_key(["listBuckets", "listFiles", "readFiles", "writeFiles"], "limited",
                         bucket_id=bucket.id_, name_prefix="mine/")
    assert key.id_ in [listed.id_ for listed in api.list_keys()]
    restart_service()
    limited = sign_in(key.id_, key.application_key)
    own = limited.get_bucket_by_name(bucket.name)
    own.upload_bytes(b"mine", "mine/file")
    assert names(own, folder_to_list="mine") == ["mine/file"]
    for attempt in (lambda: own.upload_bytes(b"", "yours"), lambda: names(own),
                    lambda: limited.delete_file_version(next(bucket.ls())[0].id_, "100% %41+&?#"),
                    lambda: limited.create_bucket("sdk-third", "allPrivate")):
        with refused(Unauthorized, MaxRetriesExceeded):  # it repeats what may be an expired token
            attempt()
    api.delete_key(key)
    with refused(InvalidAuthToken):
        limited.list_buckets(bucket.name)


def test_deletion(api, bucket):
    add_fault(call="b2_upload_file", status=403, code="storage_cap_exceeded")
    with refused(CapExceeded):
        bucket.upload_bytes(ODD_BYTES, "full")
    for version, _ in bucket.ls(latest_only=False, recursive=True):
        api.delete_file_version(version.id_, version.file_name)
    api.delete_bucket(bucket)
    assert api.list_buckets() == []


def main():
    with refused(InvalidAuthToken):
        sign_in(key="wrong")
    api = sign_in()
    test_buckets(api)
    bucket = api.get_bucket_by_name("sdk-bucket")
    test_small_files(bucket)
    test_large_files(api, bucket)
    test_keys(api, bucket)
    test_deletion(api, bucket)


main()
