"""What goes in and comes out: uploads, downloads and their ranges, large files."""

import random

from service import ServiceTest, sha1


class FilesTest(ServiceTest):
    def test_uploads_are_checked_before_they_count(self):
        service, at_end, missing = self.service, "hex_digits_at_end", None
        target = service.target()
        for name, body, outcome, headers in [
                ("a%2Fb+c.JPG", "text", "200", {"Content-Type": "b2/x-auto"}),
                ("end", "text" + sha1(b"text"), "200", {"X-Bz-Content-Sha1": at_end}),
                ("unverified", "t", "200", {"X-Bz-Content-Sha1": "do_not_verify"}),
                ("empty", "", "200", {}),
                ("x", "test", "400 bad_request", {"X-Bz-Content-Sha1": sha1(b"text")}),
                ("x", "text" + sha1(b"test"), "400 bad_request", {"X-Bz-Content-Sha1": at_end}),
                ("x", "text", "400 bad_request", {"X-Bz-Content-Sha1": at_end}),
                ("x", "text", "400 bad_request", {"X-Bz-Content-Sha1": "12"}),
                ("x", "text", "400 bad_request", {"X-Bz-Content-Sha1": missing}),
                ("x", "text", "400 bad_request", {"X-Bz-File-Name": missing}),
                ("x", "text", "400 bad_request", {"Content-Type": missing}),
                ("x", "text", "400 bad_request", {"Content-Language": "de"}),
                ("x", "4\r\ntext\r\n0\r\n\r\n", "400 bad_request",
                 {"Transfer-Encoding": "chunked", "X-Bz-Content-Sha1": sha1(b"text")}),
                ("x%2", "text", "400 bad_request", {}),
                ("%C3(", "text", "400 bad_request", {}),
                ("%ED%A0%80", "text", "400 bad_request", {})]:
            got = service.add(name, body.encode(), target, **headers).outcome
            self.assertEqual(got, outcome, (name, headers))
        self.assertEqual(service.page(), "a/b c.JPG empty end unverified")
        self.assertEqual(service.download("a/b%20c.JPG").headers["content-type"], "image/jpeg")
        self.assertEqual(service.download("end").body, b"text")
        self.assertEqual(service.download("unverified").headers["x-bz-content-sha1"],
                         "unverified:" + sha1(b"t"))

    def test_infos_come_back_as_headers_of_one_line(self):
        service = self.service
        service.add("a%2B%20%C3%A9", b"text", **{
            "X-Bz-Info-Src": "a%20b%2B%C3%A9", "X-Bz-Info-b2-cache-control": "max-age=1",
            "X-Bz-Info-b2-expires": "1%0D%0AX-Info:%201"})
        head = service.download("a%2B+%C3%A9", "HEAD")
        self.assertEqual([head.status, head.body, head.headers["content-length"]], [200, b"", "4"])
        self.assertEqual(head.headers["x-bz-info-src"], "a%20b%2B%C3%A9")
        self.assertEqual(head.headers["x-bz-file-name"], "a%2B%20%C3%A9")
        self.assertEqual(head.headers["cache-control"], "max-age=1")
        self.assertEqual(head.headers["expires"], "1  X-Info: 1")
        query = "?b2CacheControl=no&b2ContentType=b%0D%0AX-Query:%201"
        asked = service.download("a%2B+%C3%A9" + query).headers
        self.assertEqual([asked["cache-control"], asked["content-type"]], ["no", "b  X-Query: 1"])
        self.assertEqual(service.download("nothing", "HEAD").status, 404)

    def test_ranges(self):
        service = self.service
        service.add("a", b"0123456789")
        service.add("empty", b"")
        for asked, shown, body in [
                ("bytes=2-4", "bytes 2-4/10", b"234"), ("bytes=7-", "bytes 7-9/10", b"789"),
                ("bytes=-3", "bytes 7-9/10", b"789"), ("bytes=8-99", "bytes 8-9/10", b"89"),
                *((whole, None, b"0123456789") for whole in (
                    "bytes=0-9", "bytes=-99", "bytes=4-2", "bytes=1-2,4-5", "bytes=a-b", "x=1-2"))]:
            reply = service.download("a", Range=asked)
            self.assertEqual((reply.status, reply.headers["content-range"], reply.body),
                             (206 if shown else 200, shown, body), asked)
        for name, asked in ("a", "bytes=10-"), ("empty", "bytes=0-0"):
            outcome = service.download(name, Range=asked).outcome
            self.assertEqual(outcome, "416 range_not_satisfiable", name)

    def test_content_of_many_blocks_keeps_its_bytes(self):
        body, first = random.Random(1).randbytes((3 << 20) + 17), (1 << 20) - 5
        self.assertEqual(self.service.add("big", body, Expect="100-continue").outcome, "200")
        self.assertTrue(self.service.download("big").body == body)
        part = self.service.download("big", Range=f"bytes={first}-{first + 2000000}").body
        self.assertTrue(part == body[first:first + 2000001])


class LargeFilesBase(ServiceTest):
    TEN, FOUR = b"0123456789", b"tail"

    def part(self, target, number, body, **headers):
        given = {"X-Bz-Part-Number": str(number), "X-Bz-Content-Sha1": sha1(body), **headers}
        return self.service.upload(target, given, body).outcome

    def finish(self, large_id, *parts):
        hashes = [part if isinstance(part, str) else sha1(part) for part in parts]
        return self.service.call("b2_finish_large_file", fileId=large_id, partSha1Array=hashes)


class LargeFilesTest(LargeFilesBase):
    def test_parts_in_any_order_become_one_file(self):
        service, ten, four = self.service, self.TEN, self.FOUR
        large = service.start("big")
        target = service.target(large)
        for number, body in (2, four), (1, b"replaced!!"), (1, ten):
            self.assertEqual(self.part(target, number, body), "200")
        newer = service.add("big", b"newer").json["fileId"]
        parts = service.call("b2_list_parts", fileId=large, maxPartCount=1).json
        self.assertEqual(parts["nextPartNumber"], 2)
        done = self.finish(large, ten, four).json
        self.assertEqual([done["contentLength"], done["contentSha1"]], [14, "none"])
        # The file is as old as its start.
        self.assertEqual(service.download("big").body, b"newer")
        service.call("b2_delete_file_version", fileName="big", fileId=newer)
        self.assertEqual(service.download("big").body, ten + four)
        self.assertEqual(self.finish(large, ten, four).outcome, "400 bad_request")
        self.assertEqual(self.part(target, 3, four), "400 bad_request")

    def test_parts_are_checked_when_they_come_and_at_the_end(self):
        service, ten, four = self.service, self.TEN, self.FOUR
        large = service.start("big")
        target = service.target(large)
        for number in 0, 10001, "one", "":
            self.assertEqual(self.part(target, number, ten), "400 bad_request", number)
        for digest, outcome in (sha1(four), "400 bad_request"), ("do_not_verify", "200"):
            self.assertEqual(self.part(target, 1, ten, **{"X-Bz-Content-Sha1": digest}), outcome)
        for number in 2, 3, 5, 10000:
            self.assertEqual(self.part(target, number, four), "200")
        for parts, outcome in [
                ([], "400 bad_request"),
                ([ten], "400 bad_request"),
                ([ten, ten], "400 part_sha1_mismatch"),
                ([ten, four, four], "400 bad_request"),  # the second is too small for an inner part
                ([ten, four, four, four], "400 bad_request")]:
            self.assertEqual(self.finish(large, *parts).outcome, outcome, parts)
        for number in 2, 3:
            self.part(target, number, ten)
        self.assertEqual(self.finish(large, ten, ten, ten, four).outcome, "400 missing_part")
        self.assertEqual(self.finish(large, ten, "unverified:" + sha1(ten)).outcome, "200")

    def test_copied_parts_and_cancelling(self):
        service, ten, four = self.service, self.TEN, self.FOUR
        source = service.add("source", ten + four).json["fileId"]
        large, third = service.start("big"), service.start("third")
        part = {"sourceFileId": source, "largeFileId": large}
        whole = service.call("b2_copy_part", **part, partNumber=2).json
        cut = service.call("b2_copy_part", **part, partNumber=1, range="bytes=0-9").json
        self.assertEqual([whole["contentLength"], cut["contentSha1"]], [14, sha1(ten)])
        page = service.call("b2_list_unfinished_large_files", bucketId=service.bucket,
                            maxFileCount=1).json
        self.assertEqual([page["files"][0]["fileId"], page["nextFileId"]], [large, third])
        self.assertEqual(self.finish(large, ten, ten + four).outcome, "200")
        self.assertEqual(service.download("big").body, ten + ten + four)
        for large_id, outcome in (large, "400 bad_request"), (third, "200"):
            cancelled = service.call("b2_cancel_large_file", fileId=large_id)
            self.assertEqual(cancelled.outcome, outcome)
        self.assertEqual(service.control("counts").json["openLargeFiles"], 0)


class SinglePartTest(LargeFilesBase):
    options = ("--allow-single-part",)

    def test_one_part_is_enough_on_request(self):
        large = self.service.start("big")
        self.part(self.service.target(large), 1, self.FOUR)
        self.assertEqual(self.finish(large).outcome, "400 bad_request")
        self.assertEqual(self.finish(large, self.FOUR).json["contentLength"], 4)
