"""Connections that go over a link: what arrives, no sooner than it can, and how they end."""

import socket
import time
from concurrent.futures import ThreadPoolExecutor

from service import ServiceTest

RTT, RATE = 0.03, 2_000_000
BODY = bytes(range(256)) * 2000


class LinkTest(ServiceTest):
    options = (f"--link={RTT * 1000:.0f},{RATE / 1e6},10/0.1",)

    def request(self, name):
        return (f"GET /file/photos/{name} HTTP/1.1\r\nHost: f001.backblazeb2.com\r\n"
                f"Authorization: {self.service.token}\r\nConnection: close\r\n\r\n").encode()

    def connect(self):
        connection = socket.create_connection(("127.0.0.1", self.service.port), timeout=20)
        self.addCleanup(connection.close)
        return connection

    def answer(self, connection, pause=0.0):
        whole = b""
        while piece := connection.recv(100_000):
            whole += piece
            time.sleep(pause)
        return whole.partition(b"\r\n\r\n")[2]

    def test_takes_its_time_and_keeps_order(self):
        target, started = self.service.target(), time.monotonic()
        self.assertEqual(self.service.add("a", BODY, target).outcome, "200")
        stored = time.monotonic()
        with ThreadPoolExecutor(4) as pool:
            for reply in pool.map(lambda _: self.service.download("a"), range(4)):
                self.assertEqual(reply.body, BODY)
        computed = 3 * RTT + len(BODY) / RATE + 0.05
        self.assertGreaterEqual(stored - started, computed)
        self.assertGreaterEqual(time.monotonic() - stored, computed)

    def test_slow_ends_and_half_closed_ones(self):
        self.service.add("a", BODY)
        for pause, half in (0, True), (0.01, False), (0.01, True):
            connection, started = self.connect(), time.monotonic()
            for byte in self.request("a"):
                connection.send(bytes([byte]))
                time.sleep(pause / 20)
            if half:
                connection.shutdown(socket.SHUT_WR)
            self.assertEqual(self.answer(connection, pause), BODY)
            self.assertGreaterEqual(time.monotonic() - started, 2 * RTT + len(BODY) / RATE)

    def test_clients_leave_at_any_time(self):
        self.service.add("a", BODY)
        for sent, received in (0, 0), (20, 0), (500, 0), (500, 1), (500, 200_000):
            connection = self.connect()
            connection.send(self.request("a")[:sent])
            while received > 0:
                received -= len(connection.recv(received))
            connection.close()
        self.service.fault(call="download_by_name", cutAfter=len(BODY) - 1)
        self.assertEqual(len(self.service.download("a").body), len(BODY) - 1)
        self.assertEqual(self.service.download("a").body, BODY)

    def test_control_is_near_and_the_end_at_once(self):
        self.service.add("a", BODY)
        waiting = self.connect()
        self.assertEqual(self.service.control("link", {"link": "60000,0.01"}).status, 200)
        waiting.send(self.request("a"))
        self.assertEqual(self.service.control("link", {"link": ""}).status, 200)
        self.assertEqual(self.service.download("a").body, BODY)
        self.assertEqual(self.service.process.poll(), None)
