#!/usr/bin/env python3
"""Does to the sign-in by code what nobody should: hostile_sign_in.py PROGRAM [ATTEMPTS]

Starts PROGRAM (parlowen-service) in a directory of its own. 200 guesses at captchas by a script; replays; ATTEMPTS (10,000) wrong
codes at full speed while an honest user signs in; hostile requests to every route of the sign-in. Prints what came of
each, and fails where something got through, crashed or was answered without a clear refusal.
"""
import collections
import http.client
import json
import random
import re
import ssl
import statistics
import subprocess
import sys
import tempfile
import threading
import time

API = "/api/v1"
WORDS = "零一二三四五六七八九"
HEAD = {"Content-Type": "application/json"}
PROXY = "127.0.5.1"  # which names another address for each guess


class Service:
    def __init__(self, program, directory):
        self.process = subprocess.Popen(
            [program, "--listen", "127.0.0.1:0", "--captcha-listen", "127.0.0.1:0", "--data", directory + "/data", "--login-method", "code", "--proxy", PROXY, "--exit-with-stdin"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.captcha_port = int(self.process.stdout.readline().rstrip().rstrip("/").rsplit(":", 1)[1])
        self.port = int(self.process.stdout.readline().rsplit(":", 1)[1])
        self.trust = ssl.create_default_context(cafile=directory + "/data/tls/ca.pem")
        self.log, self.codes = "", {}
        threading.Thread(target=self.read_codes, daemon=True).start()
        threading.Thread(target=self.read_log, daemon=True).start()

    def read_codes(self):
        for line in self.process.stdout:
            number, code = re.search(r"login code for \+86(\d+): (\d{6})", line).groups()
            self.codes[number] = code

    def read_log(self):
        for line in self.process.stderr:
            self.log += line

    def api(self, source="127.0.0.1"):
        return http.client.HTTPSConnection("127.0.0.1", self.port, context=self.trust, source_address=(source, 0), timeout=60)

    def page(self, source="127.0.0.1"):
        return http.client.HTTPConnection("127.0.0.1", self.captcha_port, source_address=(source, 0), timeout=60)

    def resident(self):
        with open(f"/proc/{self.process.pid}/status") as status:
            return next(int(line.split()[1]) for line in status if line.startswith("VmRSS")) // 1024


def ask(connection, method, path, body=None, headers=None):
    data = body if body is None or isinstance(body, (bytes, str)) else json.dumps(body)
    try:
        connection.request(method, path, data, HEAD if headers is None else headers)
        reply = connection.getresponse()
        text = reply.read()
    except (http.client.HTTPException, OSError) as problem:
        connection.close()
        return type(problem).__name__, None
    try:
        return reply.status, json.loads(text)
    except ValueError:
        return reply.status, text


def challenge(page):
    return ask(page, "POST", "/challenge", {})[1]["data"]


def in_words(captcha):
    places, shown = captcha["question"].split("：")
    digits = [str(WORDS.index(c)) for c in shown if c in WORDS]
    return "".join(digits[int(place) - 1] for place in re.findall(r"\d", places))


def solved(page):
    """A result, as somebody gets it who reads the question."""
    captcha = challenge(page)
    time.sleep(3.2)
    body = {"id": captcha["id"], "text": in_words(captcha)}
    status, reply = ask(page, "POST", "/answer", body)
    assert reply["code"] == 0, reply
    return body, reply["data"]["validate"]


def guesses(service):
    passed = collections.Counter()
    kinds = {"nothing": lambda x: [], "a leap": lambda x: [[0, 0], [400, x]], "two points": lambda x: [[0, 0], [300, x / 2], [600, x]],
             "even steps": lambda x: [[i * 20, x * i / 30] for i in range(31)], "backwards": lambda x: [[600 - i * 20, x * i / 30] for i in range(31)]}
    for i in range(200):
        page = service.page(f"127.0.3.{1 + i // 40}")
        captcha = challenge(page)
        kind = list(kinds)[i % len(kinds)]
        x = random.randint(80, 264)
        time.sleep(0.7 if kind == "even steps" else 0)
        body = {"id": captcha["id"], "x": x, "trace": kinds[kind](x)}
        if i % 10 == 9:
            body = {"id": captcha["id"], "text": f"{random.randint(0, 9999):04}"}
        passed[kind] += ask(page, "POST", "/answer", body)[1]["code"] == 0
    print(f"guesses that passed of 200: {sum(passed.values())} {dict(+passed)}")
    assert sum(passed.values()) <= 3


def replays(service):
    page, api = service.page(), service.api()
    body, result = solved(page)
    again = ask(page, "POST", "/answer", body)[1]["code"]
    other = challenge(page)
    foreign = ask(page, "POST", "/answer", {**body, "id": other["id"]})[1]["code"]

    def send(number, data):
        return ask(api, "POST", API + "/user/send_sms_code", {"country_code": "86", "phone": number, "data": data})[1]["code"]

    codes = {"an answer again": again, "an answer to another captcha": foreign, "a captcha's id": send("13900000001", other["id"]),
             "no result": send("13900000001", ""), "a result": send("13900000001", result), "the result again": send("13900000002", result)}
    print("replays:", codes)
    assert list(codes.values()) == [1006, 1006, 1006, 1006, 0, 1006]


def code_for(service, number, page, api):
    _, result = solved(page)
    reply = ask(api, "POST", API + "/user/send_sms_code", {"country_code": "86", "phone": number, "data": result})[1]
    assert reply["code"] == 0, reply
    while number not in service.codes:
        time.sleep(0.01)
    return service.codes.pop(number)


def wrong_codes(service, attempts):
    numbers = [f"1370000{i:04}" for i in range(8)]
    honest_page, honest = service.page("127.0.0.9"), service.api("127.0.0.9")
    for i, number in enumerate(numbers):
        source = f"127.0.4.{1 + i // 4}"  # an address answers five in words in an hour
        code_for(service, number, service.page(source), service.api(source))
    honest_code = code_for(service, "13600000001", honest_page, honest)
    before, answers, lock = service.resident(), collections.Counter(), threading.Lock()
    left = iter(range(attempts))

    def attack(source):
        api = service.api(source)
        for i in left:
            body = {"country_code": "86", "phone": numbers[i % 8] if i % 2 else f"135{i:08}", "code": f"{random.randint(0, 999999):06}"}
            headers = {**HEAD, "X-Forwarded-For": f"2001:db8:{i:x}::1"}  # believed of the proxy alone
            _, reply = ask(api, "POST", API + "/user/login", body, headers)
            with lock:
                answers[reply["code"] if isinstance(reply, dict) else "none"] += 1

    threads = [threading.Thread(target=attack, args=(f"127.0.5.{1 + i // 2}" if i % 2 else PROXY,)) for i in range(16)]
    begin = time.monotonic()
    for thread in threads:
        thread.start()
    times, profile_times = [], []

    def honest_try(method, path, body, *expected, token="", into=times):
        start = time.monotonic()
        _, reply = ask(honest, method, API + path, body, {**HEAD, "Authorization": "Bearer " + token})
        into.append((time.monotonic() - start) * 1000)
        assert reply["code"] in expected, reply
        return reply["data"]

    token = honest_try("POST", "/user/login", {"country_code": "86", "phone": "13600000001", "code": honest_code}, 0)["token"]
    while any(thread.is_alive() for thread in threads):
        honest_try("POST", "/user/login", {"country_code": "86", "phone": "13600000001", "code": "x"}, 1005, 1003)
        honest_try("GET", "/user/info", None, 0, token=token, into=profile_times)
        time.sleep(0.2)
    took = time.monotonic() - begin
    print(f"wrong codes: {sum(answers.values())} in {took:.1f} s, answered {dict(answers)}; an honest user meanwhile: median"
          f" {statistics.median(times):.0f} ms, longest {max(times):.0f} ms of {len(times)}, profile {statistics.median(profile_times):.0f} and {max(profile_times):.0f}; memory {before} -> {service.resident()} MiB")
    assert answers[0] == 0


def hostile(service):
    deep = b'{"a":' * 100_000 + b"1" + b"}" * 100_000
    bodies = [b"", b"null", b"[]", b"5", b'"x"', b"{", b"\xff\xfe{}", deep, b"{}" + b" " * 20_000, b'{"phone":5,"country_code":{},"data":[],"code":true}',
              b'{"phone":"' + b"1" * 10_000 + b'","country_code":"86","data":"x","code":"1"}',
              '{"phone":"１３８０００００００１","country_code":"86","data":"x","code":"1"}'.encode(), b'{"phone":"\\u0000","country_code":"\\ud800"}',
              b'{"phone":"1\' OR 1=1 --","country_code":"86","code":"1","data":"1"}', b'{"id":[],"x":1e999,"trace":[[1],5,null,[1e308,-1e308]]}',
              b'{"id":"x","x":"5","trace":{"a":1}}', b'{"id":"x","text":7}']
    seen = collections.Counter()
    routes = [(False, "POST", "/user/send_sms_code"), (False, "POST", "/user/login"), (False, "POST", "/user/account/login"), (False, "POST", "/user/logoff"),
              (True, "POST", "/challenge"), (True, "POST", "/answer")]
    for i, (of_page, method, path) in enumerate(routes):
        for body in bodies:
            for headers in (HEAD, {"Content-Type": "text/plain"}, {**HEAD, "Authorization": "Bearer " + "x" * 4_000}, {**HEAD, "Origin": "http://evil.example"}, {**HEAD, "Host": "evil.example"}):
                connection = service.page(f"127.0.6.{1 + i}") if of_page else service.api(f"127.0.6.{1 + i}")
                status, reply = ask(connection, method, path if of_page else API + path, body, headers)
                code = reply.get("code") if isinstance(reply, dict) else reply
                seen[(path, status, code)] += 1
                clear = code != 0 and (isinstance(reply, dict) and reply.get("message") or status in (400, 403, 413))
                assert clear or path == "/challenge" and status == 200, (path, body[:60], headers, status, reply)
    for query in ("?x=" + "a" * 7_000, "/../../etc/passwd", "?%00", "%2e%2e/", "\x7f"):
        for path in ("/country/list", "/operation/contact", "/operation/version"):
            status, reply = ask(service.api(), "GET", API + path + query.replace("\x7f", "%7f"))
            seen[(path, status, reply.get("code") if isinstance(reply, dict) else None)] += 1
    for method in ("PUT", "DELETE", "TRACE", "OPTIONS", "GET"):
        status, reply = ask(service.api(), method, API + "/user/logoff")
        assert status in (401, 404, 405), (method, status)
    for key, count in sorted(seen.items(), key=str):
        print("  ", *key, "x", count)
    assert service.process.poll() is None


def main():
    with tempfile.TemporaryDirectory() as directory:
        service = Service(sys.argv[1], directory)
        guesses(service)
        replays(service)
        hostile(service)
        wrong_codes(service, int((sys.argv[2:] + ["10000"])[0]))
        print("log lines:", service.log.count("\n"), "with a code or a number:", len(re.findall(r"1[3-9]\d{9}|\b\d{6}\b", service.log)))
        service.process.stdin.close()
        assert service.process.wait(20) == 0


if __name__ == "__main__":
    main()
