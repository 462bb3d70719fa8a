#!/usr/bin/env python3
"""Measures the sign-in of a local service while others guess: sign_in_under_attack.py PROGRAM [ATTEMPTS] [CONNECTIONS]

Starts PROGRAM (parlowen-service) in a directory of its own, then
1. compares how long a wrong sign-in of a known and of an unknown number takes, in turns, each number tried once a limit;
2. signs an honest user in again and again while CONNECTIONS threads make ATTEMPTS wrong sign-ins, half of them on the
   honest user's number, at full speed; each thread keeps its connection.
Prints medians in milliseconds, what the attempts were answered, and the service's memory before and after.
"""
import collections
import http.client
import json
import ssl
import statistics
import subprocess
import sys
import tempfile
import threading
import time

PATH = "/api/v1/user/account/login"


class Client:
    def __init__(self, port, authority, source):
        self.connect = lambda: http.client.HTTPSConnection(
            "127.0.0.1", port, context=ssl.create_default_context(cafile=authority), source_address=(source, 0), timeout=60)
        self.connection = self.connect()

    def sign_in(self, phone, password):
        """The reply's code, and how long it took in milliseconds."""
        begin = time.monotonic()
        self.connection.request("POST", PATH, json.dumps({"country_code": "86", "phone": phone, "password": password}))
        code = json.loads(self.connection.getresponse().read())["code"]
        return code, (time.monotonic() - begin) * 1000


def resident(process):
    with open(f"/proc/{process.pid}/status") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmRSS")) // 1024


def known_and_unknown(attack, rounds):
    """The wrong sign-ins of numbers that have an account and of others, from where accounts are not made."""
    times = {"known": [], "unknown": [], "known, too short": [], "unknown, too short": []}
    for i in range(rounds):
        numbers = [("known", f"1380000{1000 + i}"), ("unknown", f"1390000{1000 + i}")]
        for name, phone in numbers if i % 2 == 0 else reversed(numbers):
            for kind, password in (("", "guess-1"), (", too short", "x")):
                code, took = attack(f"127.0.1.{1 + i // 10}", phone, password)
                if code not in (1001, 1002):
                    raise SystemExit(f"unexpected code {code}")
                times[name + kind].append(took)
    for name, all_times in times.items():
        print(f"{name:20} median {statistics.median(all_times):7.1f} ms of {len(all_times)}")


def main():
    program, attempts, connections = sys.argv[1], int((sys.argv[2:] + ["10000"])[0]), int((sys.argv[3:] + ["32"])[0])
    with tempfile.TemporaryDirectory() as directory:
        service = subprocess.Popen([program, "--listen", "127.0.0.1:0", "--data", directory + "/data", "--create-accounts",
                                    "--exit-with-stdin"],
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        port = int(service.stdout.readline().rsplit(":", 1)[1])
        new_client = lambda source: Client(port, directory + "/data/tls/ca.pem", source)
        honest = new_client("127.0.0.1")
        rounds = 60
        for i in range(rounds):
            honest.sign_in(f"1380000{1000 + i}", "secret-1")
        honest.sign_in("13800000001", "secret-1")
        proxies = {}

        def from_proxy(source, phone, password):
            proxied = proxies.setdefault(source, new_client(source))
            begin = time.monotonic()
            proxied.connection.request("POST", PATH, json.dumps({"country_code": "86", "phone": phone, "password": password}),
                                       {"X-Forwarded-For": "192.0.2.1"})
            code = json.loads(proxied.connection.getresponse().read())["code"]
            return code, (time.monotonic() - begin) * 1000

        known_and_unknown(from_proxy, rounds)
        alone = [honest.sign_in("13800000001", "secret-1")[1] for _ in range(20)]
        before, answers, lock, left = resident(service), collections.Counter(), threading.Lock(), [attempts]

        def guess(number):
            client = new_client("127.0.0.3")
            while True:
                with lock:
                    left[0] -= 1
                    turn = left[0]
                if turn < 0:
                    return
                phone = "13800000001" if turn % 2 == 0 else f"137{turn:08}"
                code, _ = client.sign_in(phone, f"guess-{turn}")
                with lock:
                    answers[code if code or turn % 2 == 0 else "new account"] += 1

        threads = [threading.Thread(target=guess, args=(i,)) for i in range(connections)]
        begin = time.monotonic()
        for thread in threads:
            thread.start()
        meanwhile, refused = [], 0
        while any(thread.is_alive() for thread in threads):
            code, took = honest.sign_in("13800000001", "secret-1")
            meanwhile.append(took)
            refused += code != 0
        print(f"{attempts} attempts in {time.monotonic() - begin:.1f} s, answered {dict(answers)} (0: got in)")
        print(f"honest sign-in alone: median {statistics.median(alone):.1f} ms; meanwhile: median "
              f"{statistics.median(meanwhile):.1f}, longest {max(meanwhile):.1f} ms of {len(meanwhile)}, {refused} refused")
        print(f"memory: {before} MiB before, {resident(service)} MiB after")
        service.stdin.close()
        service.wait()


main()
