#!/usr/bin/env python3
"""Measures a local service under attack: sign_in_under_attack.py PROGRAM [ATTEMPTS] [CONNECTIONS] [KILLS]

Starts PROGRAM (parlowen-service) in a directory of its own, then
1. compares how long a wrong sign-in of a known and of an unknown number takes, in turns, each number tried once a limit;
2. signs an honest user in again and again, asks for the version and reads an answer that goes on, alone and while CONNECTIONS
   connections of other processes make ATTEMPTS wrong sign-ins, half of them on the honest user's number; meanwhile a newcomer
   signs in for the first time from yet another address;
3. lets the connections be held open without a word, and floods of other kinds follow; then compares memory with before;
4. ends it by SIGTERM while all of that hangs on;
5. kills it KILLS times while accounts are made, and looks whether each that was acknowledged is there;
6. where nginx is (on the PATH, or named by the variable NGINX_PROGRAM), compares small replies a second with its own, one worker, TLS.
Times are in milliseconds.
"""
import collections
import http.client
import http.server
import json
import multiprocessing
import os
import signal
import socket
import ssl
import statistics
import shutil
import subprocess
import sys
import tempfile
import threading
import time

API = "/api/v1"
PATH = API + "/user/account/login"
HONEST = "13800000001"
PIECE_EVERY = 0.05  # seconds, of the answer that is measured
# A fork would take along OpenSSL's locks as they are, and a thread that was joined may still hold one while it ends.
processes = multiprocessing.get_context("spawn")


class Client:
    def __init__(self, port, authority, source="127.0.0.1"):
        self.connect = lambda: http.client.HTTPSConnection(
            "127.0.0.1", port, context=ssl.create_default_context(cafile=authority), source_address=(source, 0), timeout=60)
        self.connection = self.connect()

    def ask(self, method, path, body=None, headers={}):
        """The reply's envelope, and how long it took."""
        begin = time.monotonic()
        try:
            self.connection.request(method, path, None if body is None else json.dumps(body), headers)
            reply = self.connection.getresponse().read()
        except (OSError, http.client.HTTPException):  # it made room for somebody else
            self.connection.close()
            self.connection = self.connect()
            return {"code": "cut"}, (time.monotonic() - begin) * 1000
        return json.loads(reply), (time.monotonic() - begin) * 1000

    def sign_in(self, phone, password, headers={}):
        reply, took = self.ask("POST", PATH, {"country_code": "86", "phone": phone, "password": password}, headers)
        return reply["code"], took


class Service:
    def __init__(self, program, directory, *options):
        self.process = subprocess.Popen(
            [program, "--listen", "127.0.0.1:0", "--data", directory + "/data", "--config", os.devnull, "--create-accounts", *options],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.port = int(self.process.stdout.readline().rsplit(":", 1)[1])
        self.authority = directory + "/data/tls/ca.pem"

    def client(self, source="127.0.0.1"):
        return Client(self.port, self.authority, source)

    def resident(self):
        with open(f"/proc/{self.process.pid}/status") as status:
            return next(int(line.split()[1]) for line in status if line.startswith("VmRSS")) / 1024

    def end(self):
        begin = time.monotonic()
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(30)
        return status, (time.monotonic() - begin) * 1000


class Model(http.server.BaseHTTPRequestHandler):
    """A language model that says a word again and again."""

    def log_message(self, *_):
        pass

    def do_POST(self):
        self.send_response(200)
        self.send_header("Content-Type", "text/event-stream")
        self.end_headers()
        try:
            while True:
                self.wfile.write(b'data: {"choices":[{"delta":{"content":"word "}}]}\n\n')
                time.sleep(PIECE_EVERY)
        except OSError:
            pass


def known_and_unknown(service, rounds):
    """The wrong sign-ins of numbers that have an account and of others, from where accounts are not made."""
    times = {"known": [], "unknown": [], "known, too short": [], "unknown, too short": []}
    clients = {}
    for i in range(rounds):
        source = f"127.0.1.{1 + i // 10}"
        client = clients.setdefault(source, service.client(source))
        numbers = [("known", f"1380000{1000 + i}"), ("unknown", f"1390000{1000 + i}")]
        for name, phone in numbers if i % 2 == 0 else reversed(numbers):
            for kind, password in (("", "guess-1"), (", too short", "x")):
                code, took = client.sign_in(phone, password, {"X-Forwarded-For": "192.0.2.1"})
                if code not in (1001, 1002):
                    raise SystemExit(f"unexpected code {code}")
                times[name + kind].append(took)
    for name, all_times in times.items():
        print(f"{name:20} median {statistics.median(all_times):7.1f} of {len(all_times)}")


def guess(port, authority, attempts, connections, answers):
    """An attacking process: connections from one address that guess at full speed."""
    counts, lock, left = collections.Counter(), threading.Lock(), [attempts]
    os.nice(19)  # in life it has processors of its own

    def work():
        client = Client(port, authority, "127.0.0.3")
        while True:
            with lock:
                left[0] -= 1
                turn = left[0]
            if turn < 0:
                return
            phone = HONEST if turn % 2 == 0 else f"138000{10000 + turn % 50}"
            code, _ = client.sign_in(phone, f"guess-{turn}", {"X-Forwarded-For": "192.0.2.1"})
            with lock:
                counts[code] += 1

    threads = [threading.Thread(target=work) for _ in range(connections)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    answers.put(counts)


def observe(service, calm, stop):
    """Medians and the longest, of sign-ins and versions, and of the gaps of an answer, until `stop()`. What the machine
    itself is late by shows in the versions of `calm`, a service that nobody attacks."""
    seen = {"sign-in": [], "version": [], "version elsewhere": [], "gap of an answer": []}
    refused, over = [0], threading.Event()
    # A user has so many sessions that an older token would have ended.
    reply, _ = service.client().ask("POST", PATH, {"country_code": "86", "phone": HONEST, "password": "secret-1"})
    token = reply["data"]["token"]

    def read_answer():
        client = service.client().connect()
        client.request("POST", API + "/ai/meeting", json.dumps({"txt": "Why?"}), {"Authorization": "Bearer " + token})
        reply, last = client.getresponse(), None
        while not over.is_set() and reply.fp.readline():
            now = time.monotonic()
            if last and now - last > PIECE_EVERY / 2:  # not the lines of one chunk
                seen["gap of an answer"].append((now - last) * 1000)
            last = now if last is None or now - last > PIECE_EVERY / 2 else last
        client.sock.close() if client.sock else None

    def ask_version(name, asked):
        client = asked.client()
        while not over.wait(0.02):
            seen[name].append(client.ask("GET", API + "/operation/version")[1])

    threads = [threading.Thread(target=read_answer), threading.Thread(target=ask_version, args=("version", service)),
               threading.Thread(target=ask_version, args=("version elsewhere", calm))]
    for thread in threads:
        thread.start()
    client = service.client()
    while not stop():
        code, took = client.sign_in(HONEST, "secret-1")
        seen["sign-in"].append(took)
        refused[0] += code != 0
    over.set()
    for thread in threads:
        thread.join()
    for name, times in seen.items():
        print(f"  {name:17} median {statistics.median(times):7.1f}, longest {max(times):7.1f} of {len(times)}")
    print(f"  honest sign-ins refused: {refused[0]}")


def newcomer(service, found):
    begin, client, code = time.monotonic(), service.client("127.0.0.9"), None
    while code != 0:
        code = client.sign_in("13700000009", "secret-9")[0]
        time.sleep(0 if code == 0 else 1)
    found.append((time.monotonic() - begin) * 1000)


def hold_on(service, count):
    """Connections without a word, some after half a request."""
    held = []
    for i in range(count):
        try:
            one = socket.create_connection(("127.0.0.1", service.port), 10, ("127.0.0.3", 0))
            held.append(one)
            if i % 2 == 0:
                tls = ssl.create_default_context(cafile=service.authority)
                held[-1] = tls.wrap_socket(one, server_hostname="127.0.0.1")
                held[-1].sendall(f"POST {PATH} HTTP/1.1\r\nHost: localhost\r\nContent-Length: 16384\r\n\r\n{'x' * 16000}".encode())
        except OSError:
            pass
    return held


def attacked(program, attempts, connections, rounds=150):
    model = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Model)
    threading.Thread(target=model.serve_forever, daemon=True).start()
    with tempfile.TemporaryDirectory() as directory, tempfile.TemporaryDirectory() as elsewhere:
        calm = Service(program, elsewhere)
        service = Service(program, directory, "--answers-url", f"http://127.0.0.1:{model.server_port}/v1", "--answers-model", "m")
        honest = service.client()
        for i in range(rounds):
            honest.sign_in(f"1380000{1000 + i}", "secret-1")
        known_and_unknown(service, rounds)
        print("alone:")
        end = time.monotonic() + 5
        observe(service, calm, lambda: time.monotonic() > end)
        before, answers, count = service.resident(), processes.Queue(), 4
        attackers = [processes.Process(target=guess, args=(service.port, service.authority, attempts // count, connections // count,
                                                           answers)) for _ in range(count)]
        begin, waited = time.monotonic(), []
        for attacker in attackers:
            attacker.start()
        coming = threading.Thread(target=newcomer, args=(service, waited))
        coming.start()
        print(f"while {connections} connections guess:")
        observe(service, calm, lambda: not any(attacker.is_alive() for attacker in attackers))
        counts = sum((answers.get() for _ in attackers), collections.Counter())
        coming.join()
        print(f"  a newcomer got in after {waited[0]:.0f}")
        print(f"  {sum(counts.values())} attempts in {time.monotonic() - begin:.1f} s, answered {dict(counts)} (0: got in)")
        held = hold_on(service, 600)
        code, took = honest.sign_in(HONEST, "secret-1")
        print(f"while 600 connections are held: honest sign-in {code} after {took:.0f}")
        for one in held:
            one.close()
        time.sleep(3)
        after = service.resident()
        print(f"memory: {before:.0f} MiB before, {after:.0f} MiB after, {after / before:.2f} times")
        held = hold_on(service, 200)
        status, took = service.end()
        calm.end()
        print(f"SIGTERM to exit: {took:.0f}, status {status}, with {len(held)} connections held")


def killed(program, kills):
    acknowledged, lost = [], 0
    with tempfile.TemporaryDirectory() as directory:
        for turn in range(kills + 1):
            service = Service(program, directory)
            if acknowledged:
                reply, _ = service.client().ask("GET", API + "/user/info", headers={"Authorization": "Bearer " + acknowledged[-1]})
                lost += reply["code"] != 0
            if turn == kills:
                break
            client, number = service.client(), 0
            while service.process.poll() is None:
                number += 1
                reply, _ = client.ask("POST", PATH, {"country_code": "86", "phone": f"1{turn:03}{number:07}", "password": "secret-1"})
                if reply["code"] == 0:
                    acknowledged.append(reply["data"]["token"])
                    if number == 1:
                        threading.Timer(0.3 * (turn % 10) / 10, service.process.kill).start()
                elif reply["code"] == "cut":
                    break
            service.process.wait()
        client = service.client()
        for token in acknowledged:
            lost += client.ask("GET", API + "/user/info", headers={"Authorization": "Bearer " + token})[0]["code"] != 0
        service.end()
    print(f"{kills} kills: {len(acknowledged)} sign-ins acknowledged, {lost} lost")


def ask_again_and_again(port, authority, path, seconds, results):
    """Asks as soon as it was answered."""
    request = f"GET {path} HTTP/1.1\r\nHost: localhost\r\n\r\n".encode()
    plain = socket.create_connection(("127.0.0.1", port))
    client = ssl.create_default_context(cafile=authority).wrap_socket(plain, server_hostname="localhost")
    count, end = 0, time.monotonic() + seconds
    while time.monotonic() < end:
        client.sendall(request)
        client.recv(65536)
        count += 1
    results.put(count / seconds)


def replies_a_second(port, authority, path):
    """Of four connections; best of three."""
    best = 0
    for _ in range(3):
        results = processes.Queue()
        askers = [processes.Process(target=ask_again_and_again, args=(port, authority, path, 2, results)) for _ in range(4)]
        for asker in askers:
            asker.start()
        best = max(best, sum(results.get() for _ in askers))
    return best


def beside_nginx(program):
    nginx = os.environ.get("NGINX_PROGRAM") or shutil.which("nginx")
    if not nginx:
        print("nginx is not here")
        return
    with tempfile.TemporaryDirectory() as directory:
        service = Service(program, directory)
        tls = directory + "/data/tls"
        reply = json.dumps(service.client().ask("GET", API + "/operation/version")[0])
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            port = free.getsockname()[1]
        with open(directory + "/nginx.conf", "w") as conf:
            conf.write(f"""daemon off; pid {directory}/pid; error_log stderr crit; worker_processes 1; user root;
                events {{ }} http {{ access_log off; client_body_temp_path {directory}/a; proxy_temp_path {directory}/b;
                fastcgi_temp_path {directory}/c; uwsgi_temp_path {directory}/d; scgi_temp_path {directory}/e; keepalive_requests 1000000;
                server {{ listen 127.0.0.1:{port} ssl; ssl_certificate {tls}/server.pem; ssl_certificate_key {tls}/server.key;
                location / {{ default_type application/json; return 200 '{reply}'; }} }} }}""")
        other = subprocess.Popen([nginx, "-p", directory, "-c", directory + "/nginx.conf"])
        time.sleep(1)
        ours = replies_a_second(service.port, service.authority, API + "/operation/version")
        theirs = replies_a_second(port, service.authority, "/")
        print(f"small replies: {ours:.0f} a second, nginx {theirs:.0f}, {ours / theirs:.2f} of it")
        other.terminate()
        other.wait()
        service.end()


def main():
    program, attempts, connections, kills = sys.argv[1], *(int(given) for given in (sys.argv[2:] + ["10000", "200", "50"][len(sys.argv) - 2:]))
    attacked(program, attempts, connections)
    killed(program, kills)
    beside_nginx(program)


if __name__ == "__main__":
    main()
