#!/usr/bin/env python3
"""What a page of another origin gets from a service in a real browser: foreign_page.py PROGRAM [BROWSER]

Starts PROGRAM (parlowen-service), one for passwords and one for codes, in a directory of its own and has BROWSER (chromium) open a page of another origin,
which asks each route in every way that a page has: with and without a preflight, opaquely, by forms in frames, pictures,
scripts, an event stream and a WebSocket. The same page asks a server that allows everything: what it does not get there,
it cannot ask at all. Fails where the page got a byte of the service's, or changed something there.
"""
import base64
import contextlib
import hashlib
import http.server
import json
import os
import re
import signal
import sqlite3
import ssl
import subprocess
import sys
import tempfile
import threading

API = "/api/v1"
SIGN_IN = json.dumps({"country_code": "86", "phone": "13800000001", "password": "secret-1"})
READ = ["/user/get_login_method", "/country/list", "/language/list?type=1", "/operation/version", "/operation/contact", "/openapi.json"]
ASKED = (
    [["fetch", "api", "GET", API + path, {}] for path in READ]
    + [["fetch", "api", "GET", API + path, {"headers": {"Authorization": "Bearer TOKEN"}}] for path in ("/user/info", "/ai/token", "/microsoft/get_token")]
    + [["fetch", "api", "POST", API + path, {"headers": {"Content-Type": kind}, "body": SIGN_IN, "mode": mode}]
       for path in ("/user/account/login", "/ai/meeting")
       for kind, mode in (("application/json", "cors"), ("text/plain", "cors"), ("text/plain", "no-cors"))]
    + [["fetch", "codes", "POST", API + path, {"headers": {"Content-Type": "text/plain"}, "body": SIGN_IN, "mode": mode}]
       for path in ("/user/login", "/user/send_sms_code") for mode in ("cors", "no-cors")]
    + [["fetch", "api", "POST", API + path, {"headers": {"Authorization": "Bearer TOKEN"}}] for path in ("/user/logout", "/user/logoff", "/user/bind_resume/1")]
    + [["fetch", "api", "PUT", API + "/user/change_user_type/1", {"headers": {"Authorization": "Bearer TOKEN"}}],
       ["fetch", "api", "GET", API + "/operation/version", {"mode": "no-cors"}],
       ["form", "api", "POST", API + "/user/account/login", SIGN_IN],
       ["upload", "api", "POST", "/compatible-mode/v1/files", "a résumé"],
       ["frame", "api", "GET", API + "/operation/version", ""],
       ["img", "api", "GET", API + "/operation/contact.png", ""],
       ["script", "api", "GET", API + "/country/list", ""],
       ["events", "api", "GET", API + "/ai/meeting", ""],
       ["socket", "api", "GET", "/speech/universal/v2", ""],
       ["fetch", "captcha", "GET", "/", {}], ["fetch", "captcha", "POST", "/challenge", {"headers": {"Content-Type": "application/json"}, "body": "{}"}],
       ["fetch", "captcha", "POST", "/challenge", {"headers": {"Content-Type": "text/plain"}, "body": "{}"}],
       ["fetch", "captcha", "POST", "/answer", {"headers": {"Content-Type": "text/plain"}, "body": "{}"}],
       ["frame", "captcha", "GET", "/", ""], ["script", "captcha", "GET", "/page.js", ""]])

PAGE = """<!doctype html><meta charset="utf-8"><body><script>
const wait = (what, good) => new Promise(done => { what[good] = () => done("got it"); what.onerror = () => done("nothing"); setTimeout(() => done("nothing"), 3000); });
const put = (kind, address) => { const it = document.createElement(kind); it.src = address; const told = wait(it, "onload"); document.body.append(it); return told; };
async function framed(address, fields, kind) {
  const frame = document.createElement("iframe"), form = document.createElement("form");
  frame.name = "f" + Math.random(); document.body.append(frame, form);
  const loaded = new Promise(done => { frame.onload = done; setTimeout(done, 3000); });
  if (fields === null) frame.src = address;
  else { Object.assign(form, {action: address, method: "POST", target: frame.name, enctype: kind});
    const field = document.createElement("input"); field.name = "a"; field.value = fields; form.append(field); form.submit(); }
  await loaded;
  await new Promise(done => setTimeout(done, 300));
  try { return frame.contentDocument.body.innerText ? "got it" : "nothing"; } catch (refused) {
    return await new Promise(done => { window.onmessage = told => done("got it"); try { frame.contentWindow.postMessage("say", "*"); } catch (e) {} setTimeout(() => done("nothing"), 500); }); }
}
const ways = {
  fetch: async (address, method, more) => { const reply = await fetch(address, {method, credentials: "include", ...more}); return (await reply.text()).length ? "got it" : "nothing"; },
  form: (address, method, body) => framed(address, body, "text/plain"), upload: (address, method, body) => framed(address, body, "multipart/form-data"),
  frame: address => framed(address, null), img: address => put("img", address), script: address => put("script", address),
  events: address => wait(new EventSource(address), "onmessage"), socket: address => wait(new WebSocket(address.replace(/^http/, "ws")), "onopen"),
};
(async () => {
  const told = [];
  for (const [way, base, method, path, more] of ASKED) {
    let came; try { came = await ways[way](BASES[base] + path, method, more); } catch (refused) { came = "nothing"; }
    told.push(came);
  }
  await fetch("/told", {method: "POST", body: JSON.stringify(told)});
})();
</script>"""


class Service:
    def __init__(self, program, data, *options):
        ports = ["--listen", "127.0.0.1:0", *(["--captcha-listen", "127.0.0.1:0"] if "code" in options else [])]
        self.process = subprocess.Popen([program, *ports, "--data", data, "--config", os.devnull, *options], stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL, text=True)
        lines = [self.process.stdout.readline() for _ in range(len(ports) // 2)]
        self.addresses = [re.search(r"https?://[0-9.:]+", line).group() for line in lines]  # the captcha's first
        self.certificate = data + "/tls/server.pem"

    def end(self):
        self.process.terminate()
        return self.process.communicate()[0]


class Answering(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *_):
        pass

    def send(self, status, kind, body, headers=()):
        self.send_response(status)
        for name, value in [("Content-Type", kind), ("Content-Length", str(len(body))), *headers]:
            self.send_header(name, value)
        self.end_headers()
        self.wfile.write(body)


class Permissive(Answering):
    """Allows every page everything, and lets itself be read in frames."""

    def do_GET(self):
        self.rfile.read(int(self.headers.get("Content-Length") or 0))
        if key := self.headers.get("Sec-WebSocket-Key"):
            accept = base64.b64encode(hashlib.sha1((key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11").encode()).digest()).decode()
            self.send_response(101)
            for name, value in (("Upgrade", "websocket"), ("Connection", "Upgrade"), ("Sec-WebSocket-Accept", accept)):
                self.send_header(name, value)
            self.end_headers()
            return
        kinds = {"png": ("image/svg+xml", b'<svg xmlns="http://www.w3.org/2000/svg"/>'), "js": ("text/javascript", b"1"),
                 "list": ("text/javascript", b"1"), "meeting": ("text/event-stream", b"data: 1\n\n")}
        frame = ("text/html", b"<body>1<script>onmessage = asked => asked.source.postMessage(1, '*')</script>")
        self.send(200, *kinds.get(re.split("[/.]", self.path)[-1], frame), [
            ("Access-Control-Allow-Origin", self.headers.get("Origin", "*")), ("Access-Control-Allow-Credentials", "true"),
            ("Access-Control-Allow-Methods", "GET, POST, PUT"), ("Access-Control-Allow-Headers", "Authorization, Content-Type")])

    do_POST = do_PUT = do_OPTIONS = do_GET


def serve(handler, tls=None):
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
    if tls:
        server.socket = tls.wrap_socket(server.socket, server_side=True)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return server.server_port


def pin(certificate):
    """The hash by which a browser knows a key that its own authorities have not signed."""
    key = subprocess.run(["openssl", "x509", "-in", certificate, "-noout", "-pubkey"], capture_output=True, check=True).stdout
    der = subprocess.run(["openssl", "pkey", "-pubin", "-outform", "der"], input=key, capture_output=True, check=True).stdout
    return base64.b64encode(hashlib.sha256(der).digest()).decode()


def opened(browser, certificates, bases, token):
    """What the page told, for each thing that it asked of those servers."""
    told, came = [], threading.Event()
    page = PAGE.replace("BASES", json.dumps(bases)).replace("ASKED", json.dumps(ASKED).replace("TOKEN", token))

    class Page(Answering):
        def do_GET(self):
            self.send(200, "text/html; charset=utf-8", page.encode())

        def do_POST(self):
            told.extend(json.loads(self.rfile.read(int(self.headers["Content-Length"]))))
            self.send(200, "text/plain", b"")
            came.set()

    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as profile:
        shown = subprocess.Popen(
            [browser, "--headless=new", *(["--no-sandbox"] if os.geteuid() == 0 else []), "--user-data-dir=" + profile, "--disable-gpu",
             "--ignore-certificate-errors-spki-list=" + ",".join(map(pin, certificates)), f"http://localhost:{serve(Page)}/"],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
        in_time = came.wait(90)
        os.killpg(shown.pid, signal.SIGKILL)
        shown.wait()
    if not in_time:
        raise SystemExit("the browser's page did not come to its end")
    return told


def main():
    program, browser = sys.argv[1], (sys.argv[2:] or ["chromium"])[0]
    with tempfile.TemporaryDirectory() as directory:
        password, code = Service(program, directory + "/a", "--create-accounts"), Service(program, directory + "/b", "--login-method", "code")
        server = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        server.load_cert_chain(password.certificate, password.certificate.replace(".pem", ".key"))
        allowing = f"https://127.0.0.1:{serve(Permissive, server)}"
        control = {"api": allowing, "codes": allowing, "captcha": f"http://127.0.0.1:{serve(Permissive)}"}
        attacked = {"api": password.addresses[-1], "codes": code.addresses[-1], "captcha": code.addresses[0]}
        allowed, refused = (opened(browser, [password.certificate, code.certificate], bases, "a-token") for bases in (control, attacked))
        said = code.end() + password.end()
        with contextlib.closing(sqlite3.connect(directory + "/a/parlowen.db")) as accounts:
            made = accounts.execute("SELECT count(*) FROM users").fetchone()[0]
        left = [name for _, _, names in os.walk(directory) for name in names if "upload" in name]
    for (way, base, method, path, more), there, here in zip(ASKED, allowed, refused):
        kind = more.get("headers", {}).get("Content-Type", "") + " " + more.get("mode", "") if isinstance(more, dict) else ""
        print(f"{way:7} {base:8} {method:5} {path:32} {kind:24} control: {there:8} service: {here}")
    print(f"{refused.count('got it')} of {len(ASKED)} got something ({allowed.count('got it')} from the control), {made} accounts made, {len(left)} files left, codes sent: {said.count('login code')}")
    sys.exit(refused.count("got it") + made + len(left) + said.count("login code") > 0)


if __name__ == "__main__":
    main()
