#!/usr/bin/env python3
"""Sends hostile_cases.txt to a service: hostile_test.py PROGRAM [PART-OF-A-LINE]

Starts PROGRAM (parlowen-service) in a directory of its own. Each case has a connection of its own; after each, the service has to
answer another client. At the end all its places for speech are free, and it ends as asked.
"""
import json
import os
import pathlib
import re
import signal
import socket
import ssl
import struct
import subprocess
import sys
import tempfile
import time

PATIENCE = 60  # seconds, for what has to come
MOMENT = 0.2  # seconds, for what must not come
SPEECH = "GET /stt/speech/universal/v2?language=en-US HTTP/1.1\r\n"
UPGRADE = "Upgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
KEY = "Sec-WebSocket-Key: MDEyMzQ1Njc4OTAxMjM0NQ==\r\n\r\n"
HOST = "Host: localhost\r\n"
CREDENTIALS = json.dumps({"country_code": "86", "phone": "13800000001", "password": "secret-1"})


class Service:
    def __init__(self, program, directory, *options):
        self.process = subprocess.Popen(
            [program, "--listen", "127.0.0.1:0", "--data", directory + "/data", "--config", os.devnull, *options],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        listening = next(line for line in self.process.stdout if "listening on" in line)
        self.port = int(listening.rsplit(":", 1)[1])
        self.tls = ssl.create_default_context(cafile=directory + "/data/tls/ca.pem")
        self.token = self.speech_token = ""
        if "--create-accounts" not in options:
            return
        self.token = self.ask("POST", "/user/account/login", CREDENTIALS)["token"]
        self.speech_token = self.ask("GET", "/microsoft/get_token")["token"]

    def connect(self, source="127.0.0.1"):
        plain = socket.create_connection(("127.0.0.1", self.port), PATIENCE, (source, 0))
        return self.tls.wrap_socket(plain, server_hostname="127.0.0.1")

    def ask(self, method, path, body=""):
        """The data of a good reply."""
        signed_in = f"Authorization: Bearer {self.token}\r\n" if self.token else ""
        with self.connect() as client:
            client.sendall(f"{method} /api/v1{path} HTTP/1.1\r\n{HOST}{signed_in}Connection: close\r\n"
                           f"Content-Length: {len(body)}\r\n\r\n{body}".encode())
            reply = b"".join(iter(lambda: client.recv(65536), b""))
        assert reply.startswith(b"HTTP/1.1 200 "), reply[:200]
        return json.loads(reply.partition(b"\r\n\r\n")[2])["data"]

    def speech(self):
        """A WebSocket, or the line that refuses it."""
        client = self.connect()
        client.sendall(f"{SPEECH}{HOST}{UPGRADE}Authorization: Bearer {self.speech_token}\r\n{KEY}".encode())
        head = read_until(client, b"\r\n\r\n")
        return client if head.startswith(b"HTTP/1.1 101 ") else head.decode().partition("\r\n")[0]

    def bytes_of(self, text):
        text = text.replace("@H", HOST).replace("@T", f"Authorization: Bearer {self.token}\r\n").replace("@K", UPGRADE)
        text = text.replace("@S", f"Authorization: Bearer {self.speech_token}\r\n").replace("|", "\r\n")
        text = re.sub(r"<(.+?)\*(\d+)>", lambda found: found[1] * int(found[2]), text, flags=re.DOTALL)
        data = re.sub(rb"\\x(..)", lambda found: bytes.fromhex(found[1].decode()), text.encode())
        head, mark, body = data.partition(b"@B")
        return head + f"Content-Length: {len(body)}\r\n\r\n".encode() + body if mark else data


def read_until(client, mark):
    received = b""
    while mark not in received:
        try:
            piece = client.recv(1 if mark else 65536)
        except (ConnectionError, TimeoutError, ssl.SSLError):
            piece = b""
        if not piece:
            break
        received += piece
    return received


def send(client, data):
    try:
        client.sendall(data)
    except (ConnectionError, ssl.SSLError):
        pass  # refused before it was all there


def answer_to(service, request, expected):
    """What came of an HTTP request: a status, the code in a good reply's envelope, or "waits"."""
    with service.connect() as client:
        send(client, service.bytes_of(request))
        if expected == "waits":
            client.settimeout(MOMENT)
            try:
                return client.recv(100) or "nothing"
            except TimeoutError:
                return "waits"
        line = read_until(client, b"\r\n")
        if len(expected) == 4 and line.startswith(b"HTTP/1.1 200 "):
            return re.search(rb'"code":(\d+)', read_until(client, b'"message":"'))[1].decode()
    return line.split(b" ")[1].decode() if line.startswith(b"HTTP/1.") else "nothing"


def frame(opcode, payload, last=True, masked=True):
    length = len(payload)
    mask = 0x80 if masked else 0
    sizes = bytes([mask | 127]) + struct.pack(">Q", length)
    if length < 65536:
        sizes = bytes([mask | length]) if length < 126 else bytes([mask | 126]) + struct.pack(">H", length)
    return bytes([(0x80 if last else 0) | opcode]) + sizes + (b"\0\0\0\0" if masked else b"") + payload


def frames(service, text):
    for part in re.split(r" (?=[!+]?\d+:|#)", text):
        found = re.fullmatch(r"([!+]?)(\d+):(.*)", part, re.DOTALL)
        yield frame(int(found[2]), service.bytes_of(found[3]), found[1] != "+", found[1] != "!") if found else \
            service.bytes_of(part[1:])


def next_frame(client):
    """Opcode and payload; none once the connection has ended."""
    try:
        head = client.recv(2)
        length = head[1] & 127
        if length == 126:
            length = struct.unpack(">H", client.recv(2))[0]
        payload = b""
        while len(payload) < length:
            payload += client.recv(length - len(payload)) or 1 / 0
        return head[0] & 15, payload
    except (ConnectionError, TimeoutError, ssl.SSLError, IndexError, ZeroDivisionError):
        return None


def close_of(service, text):
    """What came of frames: a close code, "cut" or "lives"."""
    client = service.speech()
    assert not isinstance(client, str), client
    with client:
        for data in frames(service, text):
            send(client, data)
        send(client, frame(9, b"are you there"))
        while received := next_frame(client):
            if received == (10, b"are you there"):
                return "lives"
            if received[0] == 8:
                return str(struct.unpack(">H", received[1][:2])[0]) if received[1] else "empty"
    return "cut"


def is_served(service, *request):
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        try:
            return service.ask(*request) or True
        except (AssertionError, OSError):
            time.sleep(MOMENT)
    return False


def flood(service, text):
    """Whether others are served while many connections of two addresses, each with that request, are held open."""
    count, _, request = text.partition(" ")
    held = []
    for i in range(int(count)):
        try:
            held.append(service.connect(f"127.0.0.{2 + i % 2}"))
            send(held[-1], service.bytes_of(request))
        except OSError:
            pass  # it made room for another one
    others = ("GET", "/operation/version"), ("GET", "/user/info"), ("POST", "/user/account/login", CREDENTIALS)
    missed = [path for method, path, *body in others if not is_served(service, method, path, *body)]
    for client in held:
        client.close()
    return f"no {missed[0]}" if missed else "served"


def cases(wanted):
    for line in (pathlib.Path(__file__).parent / "hostile_cases.txt").read_text().splitlines():
        if line and not line.startswith("#") and wanted in line:
            where = line[:line.index(" ")] if line[0].isupper() else ""
            expected, text = line.removeprefix(where).strip().split(" ", 1)
            yield where, expected, text


def main():
    wrong, count = [], 0
    with tempfile.TemporaryDirectory() as directory:
        service = Service(sys.argv[1], directory + "/1", "--create-accounts")
        by_code = Service(sys.argv[1], directory + "/2", "--login-method", "code", "--captcha-listen", "127.0.0.1:0")
        for where, expected, text in cases((sys.argv[2:] + [""])[0]):
            count += 1
            got = close_of(service, text) if where == "WS" else flood(service, text) if where == "FLOOD" else \
                answer_to(by_code if where == "CODE" else service, text, expected)
            if got != expected and not (expected == "cut" and where == "WS" and got != "lives"):
                wrong.append(f"expected {expected}, got {got}: {text[:100]}")
            service.ask("GET", "/operation/version")
        places = []
        while not isinstance(place := service.speech(), str):
            places.append(place)
        if len(places) != 4:
            wrong.append(f"{len(places)} places for speech of a user are free, of 4; then {place}")
        service.ask("POST", "/user/logout")
        if any(next_frame(place)[1][:2] != b"\x03\xf0" for place in places) or "401" not in service.speech():
            wrong.append("a sign-out does not end speech")
        by_code.process.kill()
        service.process.send_signal(signal.SIGTERM)
        if (status := service.process.wait(PATIENCE)) != 0:
            wrong.append(f"it ended with {status}")
    print(*wrong, f"{count} cases, {len(wrong)} wrong", sep="\n")
    return 1 if wrong or not count else 0


sys.exit(main())
