#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests the server of `gas view` over plain sockets: view_test.py GAS.

GAS_VIEW_REQUESTS says how many random requests are sent (300).
"""

import contextlib
import os
import random
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import unittest

from view_server import Server, put_together

PROGRAM = ""
SCENE = ("--detail", "0.001", "--threads", "2")
SIZE = (75, 35)
SMALL = {"size": "75x35", "spp": "3", "ao": "1"}


class Case(unittest.TestCase):
    arguments = SCENE

    @classmethod
    def setUpClass(cls):
        cls.server = Server(PROGRAM, *cls.arguments)

    @classmethod
    def tearDownClass(cls):
        code = cls.server.interrupt()
        if code != 0:
            raise AssertionError(f"the program ended with {code}")

    def expect_well(self):
        self.assertEqual(self.server.ask("/scene")[0], 200)


class Pages(Case):
    def test_say_what_a_browser_may_do(self):
        for path, kind in (("/", "text/html; charset=utf-8"), ("/scene", "application/json")):
            status, headers, body = self.server.ask(path)
            self.assertEqual((status, headers["content-type"]), (200, kind))
            self.assertTrue(headers["content-security-policy"].startswith("default-src 'none'"))
            self.assertNotIn("unsafe", headers["content-security-policy"])
            self.assertEqual(headers["x-content-type-options"], "nosniff")
            self.assertEqual(headers["cross-origin-resource-policy"], "same-origin")
            # The name of a language is no link.
            text = body.replace(b'"http://www.w3.org/2000/svg"', b"")
            for link in (b"http://", b"https://", b"url(", b"src="):
                self.assertNotIn(link, text)

    def test_are_served_on_the_loopback_alone(self):
        with open(f"/proc/{self.server.process.pid}/net/tcp", encoding="ascii") as table:
            local = [line.split()[1] for line in table if line.split()[3] == "0A"]
        self.assertIn(f"0100007F:{self.server.port:04X}", local)
        self.assertNotIn(f"00000000:{self.server.port:04X}", local)


class Refusals(Case):
    def test_are_for_those_who_call_the_server_by_another_name(self):
        port = self.server.port
        for host, wanted in (
            (f"127.0.0.1:{port}", 200), (f"localhost:{port}", 200), (f"LocalHost:{port}", 200),
            (f"[::1]:{port}", 200), ("127.0.0.1", 421), (f"127.0.0.1:{port + 1}", 421),
            (f"evil.example:{port}", 421), (f"localhost.evil.example:{port}", 421),
            (f"127.0.0.2:{port}", 421), ("", 421), (f"user@127.0.0.1:{port}", 421), (None, 400),
        ):
            for path, method in (("/", "GET"), ("/picture?size=16x16", "POST")):
                if method == "POST" and wanted == 200:
                    continue
                self.assertEqual(self.server.ask(path, method, Host=host)[0], wanted, host)
        twice = f"GET / HTTP/1.1\r\nHost: 127.0.0.1:{port}\r\nHost: evil.example\r\n\r\n"
        self.assertIn(self.server.ask_raw(twice.encode()).split()[1], (b"400", b"421"))

    def test_are_for_pages_of_other_origins(self):
        port = self.server.port
        for headers, wanted in (
            ({"Origin": f"http://127.0.0.1:{port}"}, 200), ({"Origin": "null"}, 403),
            ({"Origin": f"https://127.0.0.1:{port}"}, 403), ({"Origin": "http://evil.example"}, 403),
            ({"Origin": f"http://127.0.0.1:{port}.evil.example"}, 403),
            ({"Sec_Fetch_Site": "same-origin"}, 200), ({"Sec_Fetch_Site": "cross-site"}, 403),
            ({"Sec_Fetch_Site": "same-site"}, 403),
        ):
            for path, method in (("/picture?size=16x16&spp=1&ao=0", "POST"), ("/scene", "GET")):
                self.assertEqual(self.server.ask(path, method, **headers)[0], wanted, headers)

    def test_are_for_what_makes_no_sense(self):
        for path, method, wanted in (
            ("/nothing", "GET", 404), ("/../../etc/passwd", "GET", 404), ("/picture", "GET", 405),
            ("/", "POST", 405), ("/", "PUT", 405), ("/", "DELETE", 405), ("/scene?a=b", "GET", 400),
            ("/picture?tree=oak", "POST", 400), ("/picture?size=0x5", "POST", 400),
            ("/picture?size=16384x16384", "POST", 400), ("/picture?size=4096x4096", "POST", 400),
            ("/picture?spp=0", "POST", 400), ("/picture?spp=1.5", "POST", 400),
            ("/picture?spp=1e9", "POST", 400), ("/picture?tree=plain&tree=grid", "POST", 400),
            ("/picture?look-at=1e8,0,0,1", "POST", 400), ("/picture?look-at=nan,0,0,1", "POST", 400),
            ("/picture?camera=0,91", "POST", 400), ("/picture?isa=neon", "POST", 400),
            ("/picture?page=%00", "POST", 400), ("/picture?nonsense=1", "POST", 400),
            ("/picture?show=all", "POST", 400), ("/picture?packet=257", "POST", 400),
        ):
            status, headers, _ = self.server.ask(path, method)
            self.assertEqual(status, wanted, path)
            self.assertEqual("allow" in headers, wanted == 405)

    def test_are_for_bodies_and_for_too_long_heads(self):
        make = self.server.make_request
        head = make("/picture?size=16x16", "POST", Content_Length="1000000")
        self.assertEqual(self.server.ask_raw(head + b"x" * 100).split()[1], b"413")
        self.assertEqual(self.server.ask("/", Transfer_Encoding="chunked")[0], 413)
        many = {f"X_{number}": "1" for number in range(200)}
        self.assertEqual(self.server.ask("/", **many)[0], 431)
        # Such a head is not kept: it ends the connection while it is sent, or has an error.
        for endless in (make("/" + "a" * 200000), make("/", X="a" * 200000), b"a" * 1000000):
            self.assertNotIn(b"200 OK", self.server.ask_raw(endless)[:20])
        self.expect_well()


class Pictures(Case):
    def draw_whole(self, **arguments):
        return put_together(self.server.draw(**{**SMALL, **arguments}), *SIZE)

    def render_whole(self, *options):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "a.ppm")
            subprocess.run([PROGRAM, "render", *SCENE, "--size", "75x35", "--spp", "3", "--ao", "1",
                            "--quiet", "-o", path, *options], check=True)
            with open(path, "rb") as file:
                return file.read()[-3 * SIZE[0] * SIZE[1] :]

    def test_end_as_the_program_renders_them(self):
        look_at = "0.25,0.5,-0.125,6.75"
        whole = self.render_whole("--look-at", look_at, "--camera=-31.5,12.25")
        view = {"camera": "-31.5,12.25", "look-at": look_at}
        for choice in ({}, {"tree": "compressed", "build": "sah"}, {"tree": "grid", "stream": "all"},
                       {"wide": "off", "packet": "1"}, {"isa": "baseline", "stream": "off"}):
            self.assertEqual(self.draw_whole(**view, **choice), whole, choice)
        usual = self.server.draw(**{**SMALL, "size": "16x10", "page": "a"})
        kinds = [head["kind"] for head, _ in usual]
        self.assertEqual(kinds[-2:], ["counts", "end"])
        self.assertNotEqual(self.draw_whole(), whole)

    def test_of_costs_do_so_too(self):
        shown = self.draw_whole(show="heatmap")
        self.assertNotEqual(shown, self.draw_whole())
        pictures = [head for head, _ in self.server.draw(**SMALL, show="heatmap")
                    if head["kind"] == "pixels"]
        self.assertEqual(len(pictures), 2)

    def test_come_coarse_first(self):
        records = [head for head, _ in self.server.draw(**{**SMALL, "size": "160x100", "spp": "20"})]
        passes = [(head["divisor"], head["samples"], head["preview"])
                  for head in records if head["kind"] == "pass"]
        self.assertEqual(passes, [(8, 1, True), (4, 1, True), (2, 1, True), (1, 1, True),
                                  (1, 16, False), (1, 20, False)])
        trees = next(head for head in records if head["kind"] == "trees")
        self.assertGreater(trees["sah_cost"], 1.0)
        self.assertGreater(trees["build_seconds"], 0.0)
        counts = next(head for head in records if head["kind"] == "counts")
        self.assertGreater(counts["nodes_per_ray"], 0.0)

    def test_bring_the_boxes_of_a_level(self):
        for level in (0, 2, 1000):
            records = self.server.draw(**{**SMALL, "size": "16x16"}, level=level)
            (head, data), = [record for record in records if record[0]["kind"] == "boxes"]
            self.assertEqual(head["level"], min(level, head["levels"] - 1))
            self.assertEqual(len(data), 24 * head["shown"])
            self.assertLessEqual(head["shown"], head["of"])
            corners = struct.unpack(f"<{6 * head['shown']}f", data)
            for place in range(0, len(corners), 6):
                for axis in range(place, place + 3):
                    self.assertLessEqual(corners[axis], corners[axis + 3])
        self.assertEqual(self.server.ask("/picture?level=-1", "POST")[0], 400)

    def test_are_stopped_by_the_next_one_of_the_page(self):
        endless = "/picture?size=1600x1000&spp=4096&page=same"
        with self.server.connect() as first:
            first.sendall(self.server.make_request(endless, "POST"))
            first.recv(1)
            self.server.draw(**SMALL, page="same")
            while first.recv(65536):
                pass  # what was on its way; the stream then ends
        self.expect_well()


class Soak(Case):
    def test_random_requests_harm_nothing(self):
        count = int(os.environ.get("GAS_VIEW_REQUESTS", "300"))
        numbers = random.Random(20)
        for number in range(count):
            request = make_random_request(numbers, self.server)
            answer = self.server.ask_raw(request)
            status = answer.split()[1] if answer.startswith(b"HTTP/1.") else b"none"
            # A 200 happened to be right; a 505 asked for another HTTP.
            is_well = status[:1] in (b"2", b"4") or status in (b"505", b"none")
            self.assertTrue(is_well, (number, request, answer[:200]))
        self.expect_well()

    def test_browsers_that_vanish_leave_nothing_behind(self):
        self.server.draw(**SMALL)
        threads, files = self.server.count("task"), self.server.count("fd")
        request = self.server.make_request("/picture?size=1600x1000&spp=4096", "POST")
        numbers = random.Random(7)
        for _ in range(100):
            connection = self.server.connect()
            connection.sendall(request)
            for _ in range(numbers.randrange(3)):
                connection.recv(numbers.randrange(1, 4096))
            if numbers.randrange(2):
                # Ends at once, with an error at the other end.
                linger = (1).to_bytes(4, "little") + (0).to_bytes(4, "little")
                connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, linger)
            connection.close()
        # Each picture takes its turn after what the others had begun.
        answers = 0
        while self.server.count("task") > threads or self.server.count("fd") > files:
            answers += self.server.ask("/scene")[0] == 200
            self.assertLess(answers, 20000, "threads or files stay")
        self.server.draw(**SMALL)

    def test_connections_that_say_nothing_are_borne(self):
        with contextlib.ExitStack() as stack:
            for _ in range(40):
                stack.enter_context(self.server.connect()).sendall(b"GET / HT")
            self.expect_well()


class Ends(unittest.TestCase):
    def test_come_with_either_signal_while_it_draws(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            server = Server(PROGRAM, *SCENE)
            with server.connect() as connection:
                connection.sendall(server.make_request("/picture?size=1600x1000&spp=4096", "POST"))
                self.assertEqual(connection.recv(8), b"HTTP/1.1")
                self.assertEqual(server.interrupt(number), 0)

    def test_come_at_once_where_the_port_is_taken(self):
        server = Server(PROGRAM, *SCENE)
        run = subprocess.run([PROGRAM, "view", *SCENE, "--port", str(server.port)],
                             capture_output=True, text=True)
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertIn(f"gas: --port {server.port}: ", run.stderr)
        self.assertEqual(server.interrupt(), 0)


def make_random_request(numbers, server):
    """A request that is wrong in some way, or by chance in none."""
    port = server.port
    pick = numbers.choice
    noise = lambda most: bytes(numbers.randrange(256) for _ in range(numbers.randrange(most)))
    if numbers.random() < 0.2:
        return noise(300)
    names = ("tree", "size", "camera", "look-at", "spp", "page", "show", "%00", "a" * 300, "wide")
    values = ("plain", "-1", "1e999", "nan", "%ff%fe", "", "0,0,0,0", "99999999999", "%0d%0aX:1", "x")
    query = "&".join(f"{pick(names)}={pick(values)}" for _ in range(numbers.randrange(6)))
    path = pick(("/", "/scene", "/picture", "//", "/%2e%2e/", "*", "http://evil.example/", "/" * 500))
    line = f"{pick(('GET', 'POST', 'PUT', 'HEAD', 'get', 'OPTIONS', 'X' * 50))} {path}?{query}"
    line += pick((" HTTP/1.1", " HTTP/1.0", " HTTP/9.9", "", " HTTP/1.1 more"))
    headers = [f"Host: {pick((f'127.0.0.1:{port}', 'evil.example', '', f'localhost:{port}'))}"]
    headers += [pick(("Content-Length: -5", "Content-Length: 99999999999999999999", "X", ": x",
                      "Transfer-Encoding: chunked", "Connection: close", "Expect: 100-continue",
                      "Origin: null", f"Origin: http://127.0.0.1:{port}", "Cookie: " + "c" * 3000,
                      "Range: bytes=5-", "Upgrade: h2c", " folded: line"))
                for _ in range(numbers.randrange(5))]
    request = pick(("\r\n", "\n")).join([line, *headers, "", ""]).encode()
    if numbers.random() < 0.3:
        place = numbers.randrange(len(request))
        request = request[:place] + noise(20) + request[place + numbers.randrange(20) :]
    return request[: numbers.randrange(len(request))] if numbers.random() < 0.2 else request


if __name__ == "__main__":
    PROGRAM = os.path.abspath(sys.argv.pop(1))
    unittest.main()
