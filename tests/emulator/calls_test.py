"""What calls answer and what they refuse, whom they trust, what listings show."""

import itertools

from service import API, ServiceTest

NAMES, VERSIONS = "b2_list_file_names", "b2_list_file_versions"


class ListingTest(ServiceTest):
    def test_limits_and_versions(self):
        service = self.service
        for name in "b.txt", "b/1", "b/2/x", "c", "c", "h/gone":
            service.add(name)
        service.call("b2_hide_file", bucketId=service.bucket, fileName="h/gone")
        for name in "b/0", "c":
            service.start(name)
        for call, query, shown in [
                (NAMES, {"delimiter": None, "maxFileCount": 10000}, "b.txt b/1 b/2/x c"),
                (NAMES, {"maxFileCount": 10001}, "400 out_of_range"),
                (NAMES, {"maxFileCount": -1}, "400 out_of_range"),
                (NAMES, {"maxFileCount": 2**64 - 1}, "400 bad_request"),
                (NAMES, {"delimiter": "ab"}, "400 bad_request"),
                (VERSIONS, {}, "b.txt b/0+ b/1 b/2/x c+ c c h/gone- h/gone"),
                (VERSIONS, {"delimiter": "/"}, "b.txt b/ c+ c c h/"),
                (VERSIONS, {"startFileName": "c", "startFileId": "x"}, "400 invalid_file_id"),
                (VERSIONS, {"startFileId": "x"}, "400 bad_request")]:
            self.assertEqual(service.page(call, **query), shown, query)

        # They go on behind a version that is deleted meanwhile.
        first = service.call(VERSIONS, bucketId=service.bucket, prefix="c", maxFileCount=1).json
        service.call("b2_delete_file_version", fileName="c", fileId=first["nextFileId"])
        self.assertEqual(service.page(startFileName="c", startFileId=first["nextFileId"]),
                         "c h/gone- h/gone")

    def test_pages_of_any_size_add_up_to_the_plain_listing(self):
        service = self.service
        visible = "a a. a./b a/. a/a a/a/a a/b aa ab b b/a b/a. b/a/a b/a/b ba/a".split()
        for name in visible:
            service.add(name)
        for name in "a.", "a/b", "ba/a":
            service.call("b2_hide_file", bucketId=service.bucket, fileName=name)
            visible.remove(name)
        prefixes, delimiters = ("", "a", "a/", "b/a", "nothing"), (None, "/", ".")
        for prefix, delimiter in itertools.product(prefixes, delimiters):
            expected = []
            for name in visible:
                end = name.find(delimiter, len(prefix)) if delimiter else -1
                entry = name if end < 0 else name[:end + 1]
                if name.startswith(prefix) and entry not in expected:
                    expected.append(entry)
            for count in 1, 2, 3, 1000:
                walked, following = [], ""
                while following is not None:
                    page = service.call(NAMES, bucketId=service.bucket, prefix=prefix,
                                        delimiter=delimiter, startFileName=following,
                                        maxFileCount=count).json
                    walked += [file["fileName"] for file in page["files"]]
                    following = page["nextFileName"]
                self.assertEqual(walked, expected, (prefix, delimiter, count))


class RefusalTest(ServiceTest):
    def assert_refusals(self, *table):
        """Each with a call, its outcome, its fields, and what differs from those."""
        for call, outcome, fields, *rows in table:
            for row in rows:
                got = self.service.call(call, **{**fields, **row}).outcome
                self.assertEqual(got, outcome, (call, row))

    def test_what_does_not_fit_a_bucket_or_a_key(self):
        account, bucket = {"accountId": self.service.account}, {"bucketId": self.service.bucket}
        create = {**account, "bucketName": "bucket", "bucketType": "allPrivate"}
        key = {**account, "keyName": "k", "capabilities": ["listFiles"]}
        self.assert_refusals(
            ("b2_list_buckets", "400 bad_request", account, {"accountId": None},
             {"accountId": "0" * 12}, {"accountId": 5}, {"bucketTypes": []},
             {"bucketTypes": ["all", "shared"]}),
            ("b2_create_bucket", "400 bad_request", create, {"bucketType": "snapshot"},
             *({"bucketName": name} for name in ("short", "under_score", "b2-bucket"))),
            ("b2_update_bucket", "409 conflict", {**account, **bucket}, {"ifRevisionIs": 9}),
            ("b2_delete_bucket", "400 bad_bucket_id", account, {"bucketId": "none"}),
            ("b2_get_download_authorization", "400 bad_request", bucket,
             {"fileNamePrefix": "", "validDurationInSeconds": 604801}),
            ("b2_create_key", "400 bad_request", key, {"validDurationInSeconds": 2**63 - 1}))
        deep = "[" * 500000 + "]" * 500000
        for body in "[]", "{", '{"accountId": 1e999}', '{"corsRules": ' + deep + "}":
            reply = self.service.send(API + "1/b2_update_bucket",
                                      {"Authorization": self.service.token}, body)
            self.assertEqual(reply.outcome, "400 bad_json", body[:30])

    def test_what_does_not_fit_a_file(self):
        service, long = self.service, "v" * 7000
        file = service.add("a", b"text").json["fileId"]
        unknown, large = file[:-1] + "f", service.start("large")
        start = {"bucketId": service.bucket, "fileName": "b", "contentType": "a/b"}
        copy = {"sourceFileId": file, "fileName": "b"}
        self.assert_refusals(
            ("b2_get_file_info", "400 bad_request", {}, {"fileId": "nonsense"}),
            ("b2_get_file_info", "404 not_found", {}, {"fileId": large}, {"fileId": unknown}),
            ("b2_get_upload_part_url", "400 bad_request", {}, {"fileId": file}),
            ("b2_cancel_large_file", "400 bad_request", {}, {"fileId": file}),
            ("b2_delete_file_version", "400 file_not_present", {"fileId": file},
             {"fileName": "b"}),
            ("b2_copy_file", "404 not_found", copy, {"sourceFileId": large}),
            ("b2_copy_file", "400 bad_request", copy, {"contentType": "x/y"},
             {"metadataDirective": "REPLACE"}),
            ("b2_copy_file", "416 range_not_satisfiable", copy, {"range": "bytes=4-"}),
            ("b2_start_large_file", "400 bad_request", start, {"contentType": None},
             *({"fileInfo": info} for info in ({"sp ace": "v"}, {"b2-other": "v"}, {"k": long},
                                               {str(i): "v" for i in range(11)})),
             *({"fileName": name} for name in ("", "/a", "a/", "a//b", "a\x7F", "a\n",
                                               "a/" + long[:251], long[:1025]))),
            ("b2_list_parts", "400 out_of_range", {"fileId": large}, {"maxPartCount": 1001}),
            ("b2_no_such_call", "404 not_found", {}, {}))
        self.assertEqual(service.page(), "a large+")
        service.start("s" * 250 + "/ \\ \U0001F600")
        self.assertEqual(len(service.page(prefix="s")), 250 + len("/ \\ \U0001F600+"))


class AccessTest(ServiceTest):
    NO = "401 unauthorized"

    def setUp(self):
        super().setUp()
        for name in "in/a", "in/b", "out":
            self.service.add(name, name.encode())

    # What version 1 hides from a limited key later ones refuse.
    def test_bucket_and_prefix_limit_what_a_key_reaches(self):
        service = self.service
        other = service.call("b2_create_bucket", accountId=service.account, bucketName="elsewhere",
                             bucketType="allPrivate").json["bucketId"]
        key = service.call("b2_create_key", accountId=service.account, keyName="k",
                           capabilities=["listFiles", "readFiles", "writeFiles"],
                           bucketId=service.bucket, namePrefix="in/").json
        login = service.login(key["applicationKeyId"], key["applicationKey"])
        service.token = login.json["authorizationToken"]
        self.assertEqual([service.page(), service.page(prefix="out"), service.page(prefix="in/b")],
                         ["in/a in/b", "", "in/b"])
        self.assertEqual([service.page(bucketId=other), service.page(version=2),
                          service.add("new").outcome, service.download("out").outcome,
                          service.call("b2_get_upload_url", bucketId=other).outcome], [self.NO] * 5)

    def test_tokens_are_checked_on_every_kind_of_call(self):
        service = self.service
        target, other = service.target(), service.target()

        def outcomes(token, upload_token):
            service.token = token
            upload = service.add("b", target={**target, "authorizationToken": upload_token})
            return [service.page(prefix="out"), service.download("out").outcome, upload.outcome]

        good, upload = service.token, target["authorizationToken"]
        self.assertEqual(outcomes(good, upload), ["out", "200", "200"])
        self.assertEqual(outcomes("wrong", good), ["401 bad_auth_token"] * 3)
        self.assertEqual(outcomes("", ""), ["401 missing_auth_token"] * 3)
        self.assertEqual(outcomes(good, other["authorizationToken"])[2], "401 bad_auth_token")
        service.control("expire", {})
        self.assertEqual(outcomes(good, upload), ["401 expired_auth_token"] * 3)
