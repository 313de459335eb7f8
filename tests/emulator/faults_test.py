"""What can be made to go wrong, from outside, and that nothing else does."""

import gzip

from service import API, CONTROL, ServiceTest

HIDE, NAMES, VERSIONS = "b2_hide_file", "b2_list_file_names", "b2_list_file_versions"
CLOSED, CUT, LATE = "RemoteDisconnected", "IncompleteRead", "TimeoutError"


class FaultTest(ServiceTest):
    def hide(self, name):
        return self.service.call(HIDE, bucketId=self.service.bucket, fileName=name)

    def outcome_in_time(self, seconds, act, *arguments):
        self.service.timeout, usual = seconds, self.service.timeout
        outcome = act(*arguments).outcome
        self.service.timeout = usual
        return outcome

    def test_answers_are_replaced_cut_or_lost(self):
        for name, outcome, takes_effect, fault in [
                ("refused", "503 busy", False, {"status": 503, "code": "busy"}),
                ("done but refused", "500 a", True, {"status": 500, "code": "a", "commit": True}),
                ("wrong JSON", "200", False, {"status": 200, "body": '{"fi'}),
                ("done but cut", CUT, True, {"cutAfter": 3, "commit": True}),
                ("much cut", "200", False, {"cutAfter": 2**62}),
                ("stalled", LATE, False, {"stall": True}),
                ("stalled in the body", LATE, False, {"stall": True, "cutAfter": 3}),
                ("request cut", CLOSED, False, {"cutRequestAfter": 5}),
                ("done but lost", CLOSED, True, {"cutRequestAfter": 2**64 - 1, "commit": True}),
                ("delayed", "200", True, {"delayMilliseconds": 20})]:
            self.service.add(name)
            self.service.fault(call=HIDE, **fault)
            seconds = 1 if outcome == LATE else 20
            self.assertEqual(self.outcome_in_time(seconds, self.hide, name), outcome, name)
            self.assertEqual(self.service.page(NAMES) == "", takes_effect, name)
            self.hide(name)

    def test_real_answers_are_spoilt(self):
        service = self.service
        a, b = (service.add(name, b"0123").json["fileId"] for name in "ab")
        for call, fields, following in [
                (NAMES, {"maxFileCount": 1}, ("a", None)),
                (NAMES, {"startFileName": "aa"}, ("aa", None)),
                (VERSIONS, {"startFileName": "b"}, ("b", b)),
                (VERSIONS, {"startFileName": "aa", "startFileId": a}, ("aa", a))]:
            service.fault(call=call, repeatCursor=True)
            page = service.call(call, bucketId=service.bucket, **fields).json
            self.assertEqual((page["nextFileName"], page.get("nextFileId")), following, fields)
        service.fault(replace=[[": 4", ": 5"], ['"b"', '"bb"']])
        file = service.call("b2_get_file_info", fileId=b).json
        self.assertEqual((file["fileName"], file["contentLength"]), ("bb", 5))
        service.fault(replace=[["0", "1"]], ignoreRange=True)
        for body in b"0123", b"12":
            self.assertEqual(service.download("a", Range="bytes=1-2").body, body)
        service.fault(status=302, location="x" * 70000)  # more than an answer can carry
        for outcome in CLOSED, "200":
            self.assertEqual(service.download("a").outcome, outcome)

    def test_zipped_blanks_go_to_those_who_can_unpack_them(self):
        for size in 2, (3 << 20) + 5:
            self.service.fault(gzipBlanks=size)
            zipped = self.service.download("a", **{"Accept-Encoding": "gzip"})
            self.assertEqual(gzip.decompress(zipped.body), b"{" + b" " * (size - 2) + b"}")
        self.service.fault(gzipBlanks=2)
        self.assertEqual(self.service.download("a").outcome, "404 not_found")

    def test_bodies_drip(self):
        service, target, body = self.service, self.service.target(), b"x" * 100000
        for rate, seconds, outcome in (5000000, 20, "200"), (1, 1, LATE):  # bytes a second
            service.fault(dripRequest=rate)
            stored = self.outcome_in_time(seconds, service.add, "a", body, target)
            self.assertEqual(stored, outcome)
            service.fault(drip=rate)
            self.assertEqual(self.outcome_in_time(seconds, service.download, "a"), outcome)

    def test_modes_misbehave_by_rule(self):
        service = self.service
        target, mode = service.target(), {"X-Bz-Test-Mode": "fail_some_uploads"}
        self.assertEqual([service.add("a", target=target, **mode).status for _ in range(6)],
                         [200, 200, 503, 200, 200, 503])
        mode["Authorization"] = service.token
        url = f"{API}1/b2_get_upload_url?bucketId={service.bucket}"
        expired = ["200"] * 4 + ["401 expired_auth_token"]
        for rule, outcomes in [("force_cap_exceeded", ["403 storage_cap_exceeded"]),
                               ("expire_some_account_authorization_tokens", expired)]:
            got = [service.send(url, {**mode, "X-Bz-Test-Mode": rule}).outcome for _ in outcomes]
            self.assertEqual(got, outcomes)

    def test_what_cannot_be_is_refused(self):
        deep = "[" * 500000 + "]" * 500000
        for path, outcome, *bodies in [
                ("faults", "400 bad_json", deep, "{", "[7]", '{"status": "x"}', '{"status": 503.5}',
                 '{"status": 4294967799}', '{"cutAfter": -1}'),
                ("faults", "400 bad_request", '{"status": 99}', '{"status": 600}', '{"status": -1}',
                 '{"delayMilliseconds": -1}', '{"delayMilliseconds": 9223372036854775807}',
                 '{"replace": [["", "x"]]}', '{"gzipBlanks": 1}', '{"gzipBlanks": 1099511627777}',
                 '[{"status": 503}, {"stauts": 503}]', '{"call": "b2_list_names"}'),
                ("latency", "400 bad_request", '{"milliseconds": -1}',
                 '{"milliseconds": 86400001}'),
                ("link", "400 bad_request", '{"link": "50"}', '{"link": "0,0"}'),
                ("link", "400 bad_json", "{}", '{"link": 50}'),
                ("latency", "400 bad_json", '{"milliseconds": 1.5}', "[]"),
                ("nothing", "404 not_found", "{}")]:
            for body in bodies:
                got = self.service.send(CONTROL + path, {}, body).outcome
                self.assertEqual(got, outcome, body[:99])
        self.assertEqual(self.service.page(), "")
