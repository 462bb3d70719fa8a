#!/usr/bin/env python3
"""Rehearses beside a language model that fails in every way: answer_troubles.py BIN PICTURES [zh]

Needs what sign_in.py needs. BIN is the directory of the built programs, PICTURES where the window is drawn while an answer grows,
with its grounds opened, and after each kind of trouble. With "zh" the window speaks Chinese and the questions are Chinese, which a
transcription endpoint of the same script "hears" in the English sample. The endpoint's key is then searched for wherever it must not be.
"""
import hashlib
import html
import http.server
import io
import json
import os
import pathlib
import secrets
import socket
import ssl
import sys
import tempfile
import threading
import time
import urllib.request
import zipfile

from sign_in import Desk, wait

SOURCE = pathlib.Path(__file__).parent.parent
ANSWER = {
    "en": "At Northwind Freight I led a team of six engineers. We moved the shipment tracker from a monolith to twelve Go services, and "
          "then cut the latency of the quote API to 120 ms. What I enjoy most is making slow things fast, and seeing others grow.",
    "zh": "我目前在云帆电商带领五人小组，完成了支付对账系统，每天核对交易八百万笔。我还负责订单中心的拆分与重构，把单体应用拆成八个微服务，"
          "发布周期从两周缩短到两天。我最喜欢的是把复杂的系统变得清楚。",
}
QUESTIONS = ["请介绍一下你自己和上一份工作。", "你为什么想来我们公司？", "你最大的优点是什么？", "你最大的缺点是什么？", "你怎么处理团队里的矛盾？", "你有什么问题想问我们吗？"]
MARK = b"\x19\xcf\xae"  # RGB
ROUNDS = [["whole", "401", "404", "429", "500", "refused"], ["stall", "cut", "broken", "length", "content_filter", "endless"]]


class Model:
    """Answers each question with the next kind of a round."""

    def __init__(self, language, key):
        self.language, self.key, self.kinds, self.ended, self.asked = language, key, [], [], 0
        model = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def log_message(self, *_):
                pass

            def setup(self):
                self.server.connections.append(self.request)
                super().setup()

            def do_GET(self):
                self.reply(200, "{}")

            def do_POST(self):
                body = self.rfile.read(int(self.headers["Content-Length"]))
                if "transcriptions" in self.path:
                    model.asked += 1
                    return self.reply(200, json.dumps({"text": QUESTIONS[(model.asked - 1) % len(QUESTIONS)]}))
                assert model.key in self.headers["Authorization"] and model.key.encode() not in body
                kind = model.kinds.pop(0)
                try:
                    getattr(self, "do_" + kind, lambda: self.refuse(int(kind)))()
                except OSError:
                    pass  # the service has left
                model.ended.append(kind)

            def reply(self, status, text, *headers):
                self.send_response(status)
                for name, value in (("Content-Length", str(len(text.encode()))), *headers):
                    self.send_header(name, value)
                self.end_headers()
                self.wfile.write(text.encode())

            def refuse(self, status):
                self.reply(status, f"<h1>{status} {model.key}</h1>", *([("Retry-After", "20")] if status == 429 else []))

            def pieces(self, text, pause=0.06):
                self.send_response(200)
                self.send_header("Content-Type", "text/event-stream")
                self.send_header("Connection", "close")
                self.end_headers()
                self.close_connection = True
                step = 4 if model.language == "en" else 2
                for at in range(0, len(text), step):
                    self.event({"delta": {"content": text[at:at + step]}})
                    time.sleep(pause)

            def event(self, choice):
                self.wfile.write(b"data: " + json.dumps({"choices": [choice]}).encode() + b"\n\n")
                self.wfile.flush()

            def do_whole(self):
                self.pieces(ANSWER[model.language])
                self.wfile.write(b"data: [DONE]\n\n")

            def do_stall(self):
                self.pieces(ANSWER[model.language][:60])
                time.sleep(4)

            def do_cut(self):
                self.pieces(ANSWER[model.language][:60])

            def do_broken(self):
                self.pieces(ANSWER[model.language][:60])
                self.wfile.write(b'data: {"choices": [\n\n')

            def stop_for(self, reason):
                self.pieces(ANSWER[model.language][:60])
                self.event({"delta": {}, "finish_reason": reason})

            def do_length(self):
                self.stop_for("length")

            def do_content_filter(self):
                self.stop_for("content_filter")

            def do_endless(self):
                self.pieces(ANSWER[model.language] * 200, 0)

        self.handler = Handler

    def open(self, port=0):
        server = http.server.ThreadingHTTPServer(("127.0.0.1", port), self.handler)
        server.daemon_threads, server.connections = True, []
        server.handle_error = lambda *_: None  # the service ends connections by a reset, too
        threading.Thread(target=server.serve_forever, daemon=True).start()
        return server

    def close(self, server):
        server.shutdown()
        server.server_close()
        for connection in server.connections:
            try:
                connection.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass  # it has ended before


def docx(lines):
    """A résumé as a word processor writes it."""
    text = "".join(f"<w:p><w:r><w:t>{html.escape(line)}</w:t></w:r></w:p>" for line in lines)
    file = io.BytesIO()
    with zipfile.ZipFile(file, "w") as parts:
        parts.writestr("word/document.xml", '<?xml version="1.0"?><w:document xmlns:w="http://schemas.openxmlformats.org/wordprocessingml/2006/main">'
                                            f"<w:body>{text}</w:body></w:document>")
        parts.writestr("[Content_Types].xml", '<?xml version="1.0"?><Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types"/>')
    return file.getvalue()


def bind_resume(port, authority, lines):
    """Uploads it to the account that a rehearsal makes for itself."""
    place, tls = f"https://127.0.0.1:{port}", ssl.create_default_context(cafile=authority)

    def ask(path, token="", data=None, kind="application/json"):
        request = urllib.request.Request(place + path, data, {"Authorization": "Bearer " + token, "Content-Type": kind})
        return json.load(urllib.request.urlopen(request, context=tls))

    own = hashlib.sha256(b"parlowen rehearsal" + pathlib.Path(authority).read_bytes()).hexdigest()
    account = {"country_code": "86", "phone": f"1{int(own[:12], 16) % 10**10:010}", "password": own[12:44]}
    token = ask("/api/v1/user/account/login", data=json.dumps(account).encode())["data"]["token"]
    form = b'--x\r\nContent-Disposition: form-data; name="file"; filename="cv.docx"\r\n\r\n' + docx(lines) + b"\r\n--x--\r\n"
    file = ask("/compatible-mode/v1/files", ask("/api/v1/ai/token", token)["data"], form, "multipart/form-data; boundary=x")
    ask("/api/v1/user/bind_resume/" + file["id"], token, b"{}")


def rehearse(desk, model, server, language, kinds, sample):
    model.kinds, model.ended, model.asked = list(kinds), [], 0
    spoken = ["--ui-language", "zh", "--language", "zh-CN"] if language == "zh" else ["--ui-language", "en"]
    desk.open("--rehearse", sample, *spoken)
    if kinds[0] == "whole":
        wait("an answer begins", lambda: len(model.kinds) < len(kinds))
        for moment in (1, 2):
            time.sleep(0.9)
            desk.picture(f"growing-{moment}")
    for number, kind in enumerate(kinds):
        if kind == "refused":
            model.close(server)
            time.sleep(9)  # the last question and its outline
            server = model.open(server.server_port)
        else:
            wait(kind, lambda: len(model.ended) > number)
            time.sleep(1.2)
        if kind == "whole":
            open_grounds(desk)
        else:
            desk.picture(kind)
    desk.quit()


def open_grounds(desk):
    """Clicks the mark below the answer, which is the lowest place in its colour."""
    width, _, pixels = desk.picture("answered")
    spots = [i // 3 for i in range(0, len(pixels), 3) if pixels[i:i + 3] == MARK]
    desk.do("mousemove", spots[-1] % width, spots[-1] // width - 4, "click", 1)
    time.sleep(0.5)
    desk.picture("grounds")


def search(desk, key):
    """Everything that was written, said or called."""
    places = {"the program's log": desk.logs, "the service's log": desk.service_log.text, "the console": desk.console.text,
              "arguments": " ".join(desk.commands)}
    for file in desk.home.rglob("*"):
        if file.is_file() and file.name != "key":
            places[str(file.relative_to(desk.home))] = file.read_bytes().decode("latin-1")
    found = [name for name, text in places.items() if key in text]
    print(f"the key is in {found or 'none'} of {len(places)} places, {sum(map(len, places.values()))} characters")
    return not found


def main():
    programs, pictures, language = sys.argv[1], sys.argv[2], (sys.argv + ["en"])[3]
    os.makedirs(pictures, exist_ok=True)
    sample = str(SOURCE / "resources/sample-interview/sample-interview.wav")
    resume = SOURCE / "tests/service/Resumes/relevance" / {"en": "english.txt", "zh": "chinese.txt"}[language]
    key = "sk-" + secrets.token_hex(20)
    model = Model(language, key)
    server, ears = model.open(), model.open()
    with tempfile.TemporaryDirectory() as home:
        desk = Desk(home, programs, pictures)
        try:
            (desk.home / "key").write_text(key)
            (desk.home / "key").chmod(0o600)
            url = f"http://127.0.0.1:{server.server_port}/v1"
            speech = ["--speech-url", f"http://127.0.0.1:{ears.server_port}/v1", "--speech-model", "m", "--speech-partials", "no"] if language == "zh" else []
            desk.serve("--create-accounts", "--answers-url", url, "--answers-model", "m", "--answers-key-file", f"{home}/key",
                       "--answers-stall-seconds", "2", "--answers-first-piece-seconds", "3", *speech)
            bind_resume(desk.port, f"{home}/data/parlowen-service/tls/ca.pem", resume.read_text().splitlines())
            for kinds in ROUNDS:
                rehearse(desk, model, server, language, kinds, sample)
            desk.start([f"{programs}/parlowen-service", "--print-prompt", "Why?", "--answers-url", url, "--answers-model", "m",
                        "--answers-key-file", f"{home}/key"], stdout=open(f"{home}/prompt", "w")).wait()
            sys.exit(not search(desk, key))
        finally:
            desk.end()


if __name__ == "__main__":
    main()
