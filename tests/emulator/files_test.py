"""What goes in and comes out: uploads, downloads and their ranges, large files."""

from service import ServiceTest, sha1


class FilesTest(ServiceTest):
    def test_uploads_are_checked_before_they_count(self):
        service, at_end, missing = self.service, "hex_digits_at_end", None
        target = service.target()
        for body, headers in [
                ("test", {"X-Bz-Content-Sha1": sha1(b"text")}),
                ("text" + sha1(b"test"), {"X-Bz-Content-Sha1": at_end}),
                ("text", {"X-Bz-Content-Sha1": at_end}),
                ("text", {"X-Bz-Content-Sha1": "12"}),
                *(("text", {name: missing}) for name in (
                    "X-Bz-Content-Sha1", "X-Bz-File-Name", "Content-Type")),
                *(("text", {"X-Bz-File-Name": name}) for name in ("x%2", "%C3(", "%ED%A0%80")),
                ("text", {"Content-Language": "de"}),
                ("4\r\ntext\r\n0\r\n\r\n",
                 {"Transfer-Encoding": "chunked", "X-Bz-Content-Sha1": sha1(b"text")})]:
            outcome = service.add("x", body.encode(), target, **headers).outcome
            self.assertEqual(outcome, "400 bad_request", (body, headers))
        self.assertEqual(service.page(), "")

    def test_an_upload_url_survives_refusals_and_no_failure(self):
        service, dead = self.service, "401 expired_auth_token"
        for fault, outcome, following in [
                ({"status": 503, "code": "x"}, "503 x", dead), ({"status": 429, "code": "x"}, "429 x", "200"),
                ({"status": 408, "code": "x"}, "408 x", dead), ({"flipByte": 3}, "400 bad_request", "200"),
                ({"cutRequestAfter": 1}, "RemoteDisconnected", dead)]:
            service.fault(call="b2_upload_file", **fault)
            target = service.target()
            for expected in outcome, following:
                self.assertEqual(service.add("x", b"text", target).outcome, expected, fault)
        service.control("expire/upload-urls", method="POST")
        self.assertEqual(service.add("x", b"text", target).outcome, dead)
        self.assertEqual(service.add("x", b"text").outcome, "200")

    def test_infos_come_back_as_headers_of_one_line(self):
        service = self.service
        service.add("a%2Fb+c.JPG", b"text", **{
            "Content-Type": "b2/x-auto", "X-Bz-Info-Src": "a%20b%2B%C3%A9",
            "X-Bz-Info-b2-expires": "1%0D%0AX-Info:%201"})
        head = service.download("a/b%20c.JPG", "HEAD")
        self.assertEqual([head.status, head.body, head.headers["content-length"]], [200, b"", "4"])
        for name, value in {"x-bz-info-src": "a%20b%2B%C3%A9", "x-bz-file-name": "a/b%20c.JPG",
                            "content-type": "image/jpeg", "expires": "1  X-Info: 1"}.items():
            self.assertEqual(head.headers[name], value)
        asked = service.download("a/b+c.JPG?b2ContentType=b%0D%0AX-Query:%201")
        self.assertEqual(asked.headers["content-type"], "b  X-Query: 1")


    def test_ranges(self):
        service = self.service
        service.add("a", b"0123456789")
        service.add("empty", b"")
        service.fault(call="download_by_name", flipByte=1)
        self.assertEqual(service.download("a").body, b"0023456789")
        for asked, shown, body in [
                ("bytes=-3", "bytes 7-9/10", b"789"), ("bytes=8-99", "bytes 8-9/10", b"89"),
                *((whole, None, b"0123456789") for whole in (
                    "bytes=0-9", "bytes=-99", "bytes=4-2", "bytes=1-2,4-5", "bytes=a-b", "x=1-2"))]:
            reply = service.download("a", Range=asked)
            self.assertEqual((reply.status, reply.headers["content-range"], reply.body),
                             (206 if shown else 200, shown, body), asked)
        for name, asked in ("a", "bytes=10-"), ("empty", "bytes=0-0"):
            outcome = service.download(name, Range=asked).outcome
            self.assertEqual(outcome, "416 range_not_satisfiable", name)

class LargeFilesTest(ServiceTest):
    TEN, FOUR = b"0123456789", b"tail"

    def part(self, target, number, body, **headers):
        given = {"X-Bz-Part-Number": str(number), "X-Bz-Content-Sha1": sha1(body), **headers}
        return self.service.upload(target, given, body).outcome

    def finish(self, large_id, *parts):
        hashes = [part if isinstance(part, str) else sha1(part) for part in parts]
        return self.service.call("b2_finish_large_file", fileId=large_id, partSha1Array=hashes)

    def test_parts_in_any_order_become_one_file(self):
        service, ten, four = self.service, self.TEN, self.FOUR
        large = service.start("big")
        target = service.target(large)
        for number, body in (2, four), (1, b"replaced!!"), (1, ten):
            self.assertEqual(self.part(target, number, body), "200")
        newer = service.add("big", b"newer").json["fileId"]
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
                ([ten, ten], "400 part_sha1_mismatch"),
                ([ten, four, four], "400 bad_request"),  # the second is too small for an inner part
                ([ten, four, four, four], "400 bad_request")]:
            self.assertEqual(self.finish(large, *parts).outcome, outcome, parts)
        for number in 2, 3:
            self.part(target, number, ten)
        self.assertEqual(self.finish(large, ten, ten, ten, four).outcome, "400 missing_part")
        self.assertEqual(self.finish(large, ten, "unverified:" + sha1(ten)).outcome, "200")
