# SPDX-License-Identifier: Apache-2.0
"""Starts `gas view` and talks to it as tests do: over plain sockets."""

import json
import os
import signal
import socket
import subprocess


class Server:
    """The program while it serves."""

    def __init__(self, program, *arguments):
        self.process = subprocess.Popen([program, "view", *arguments], stdout=subprocess.PIPE, text=True)
        self.address = self.process.stdout.readline().strip()
        self.port = int(self.address.rsplit(":", 1)[1].rstrip("/"))

    def connect(self):
        return socket.create_connection(("127.0.0.1", self.port))

    def ask_raw(self, request):
        """All bytes that come back until the connection ends."""
        with self.connect() as connection:
            answer = b""
            try:
                connection.sendall(request)
                connection.shutdown(socket.SHUT_WR)
                while block := connection.recv(65536):
                    answer += block
            except OSError:
                pass  # it may be refused before it was sent to its end
            return answer

    def make_request(self, path, method="GET", **headers):
        lines = [f"{method} {path} HTTP/1.1"]
        given = {"Host": f"127.0.0.1:{self.port}", "Connection": "close"}
        given.update({name.replace("_", "-"): value for name, value in headers.items()})
        lines += [f"{name}: {value}" for name, value in given.items() if value is not None]
        return ("\r\n".join(lines) + "\r\n\r\n").encode()

    def ask(self, path, method="GET", **headers):
        """The status of an answer, its headers and its body."""
        with self.connect() as connection:
            connection.sendall(self.make_request(path, method, **headers))
            return read_answer(connection)

    def draw(self, **arguments):
        """The records of a picture."""
        query = "&".join(f"{name.replace('_', '-')}={value}" for name, value in arguments.items())
        status, _, body = self.ask(f"/picture?{query}", "POST")
        if status != 200:
            raise AssertionError(f"{status}: {body.decode()}")
        return list(split_records(body))

    def count(self, what):
        """Of the process: its threads (task) or its open files (fd)."""
        return len(os.listdir(f"/proc/{self.process.pid}/{what}"))

    def interrupt(self, number=signal.SIGINT):
        """Ends the program; its exit code."""
        self.process.send_signal(number)
        code = self.process.wait()
        self.process.stdout.close()
        return code


def read_answer(connection):
    answer = b""
    while block := connection.recv(65536):
        answer += block
    head, _, body = answer.partition(b"\r\n\r\n")
    lines = head.decode("latin-1").split("\r\n")
    headers = dict(line.lower().split(": ", 1) for line in lines[1:])
    if headers.get("transfer-encoding") == "chunked":
        body = b"".join(split_chunks(body))
    return int(lines[0].split()[1]), headers, body


def split_chunks(body):
    """The parts of a body; one that ends early has fewer."""
    while body:
        size, _, rest = body.partition(b"\r\n")
        length = int(size, 16)
        yield rest[:length]
        body = rest[length + 2 :]


def split_records(body):
    """The head and the data of each record."""
    while body:
        head_size, data_size = (int.from_bytes(body[at : at + 4], "little") for at in (0, 4))
        yield json.loads(body[8 : 8 + head_size]), body[8 + head_size : 8 + head_size + data_size]
        body = body[8 + head_size + data_size :]


def put_together(records, width, height):
    """The picture that a page sees at the end, as rows of red, green and blue."""
    pixels = bytearray(3 * width * height)
    for head, data in records:
        if head["kind"] != "pixels" or head["divisor"] != 1:
            continue
        size = head["width"]
        for row in range(head["height"]):
            place = 3 * ((head["y"] + row) * width + head["x"])
            line = data[4 * size * row : 4 * size * (row + 1)]
            colors = bytearray(3 * size)
            for part in range(3):
                colors[part::3] = line[part::4]
            pixels[place : place + 3 * size] = colors
    return bytes(pixels)
