#!/usr/bin/env python3
"""Signs in as a person does, in a display, a bus, a keyring and a home of its own: sign_in.py BIN [PICTURES]

Needs Xvfb, openbox, xdotool, ImageMagick, dbus-daemon, gnome-keyring and libsecret-tools. BIN is the directory of the built programs; pictures
of every step go to PICTURES. A number, the captcha's slider drawn by the mouse in the real web engine, the code from the
service's console; then starts with and without automatic sign-in, a sign-in that the service takes back, and a
keyring that hangs. Ends with a search for what is secret wherever it must not be.
"""
import os
import pathlib
import re
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time

PHONE = "13800000001"
DARK = (10, 14, 20)  # what the captcha's hole is mixed with


class Output:
    """What a process prints, as it comes."""

    def __init__(self, stream):
        self.text = ""
        threading.Thread(target=self.read, args=(stream,), daemon=True).start()

    def read(self, stream):
        for line in stream:
            self.text += line

    def find(self, pattern):
        found = list(re.finditer(pattern, self.text))
        return found[-1].group(1) if found else None


def wait(what, condition, seconds=40):
    deadline = time.monotonic() + seconds
    while not (result := condition()):
        if time.monotonic() > deadline:
            raise SystemExit(f"waited in vain for {what}")
        time.sleep(0.1)
    print(f"  {what}")
    return result


def free_pair():
    """A port whose next one is free, too."""
    for port in range(20_000 + os.getpid() % 10_000, 60_000):
        try:
            with socket.socket() as one, socket.socket() as next_one:
                one.bind(("127.0.0.1", port))
                next_one.bind(("127.0.0.1", port + 1))
                return port
        except OSError:
            pass
    raise SystemExit("no free ports")


class Desk:
    def __init__(self, home, programs, pictures):
        self.home, self.programs, self.pictures = pathlib.Path(home), programs, pictures
        self.started, self.step = [], 0
        names = {"XDG_CONFIG_HOME": "config", "XDG_DATA_HOME": "data", "XDG_RUNTIME_DIR": "run", "XDG_CACHE_HOME": "cache"}
        self.env = {"PATH": os.environ["PATH"], "HOME": home, "LANG": "C.UTF-8"}
        for name, folder in names.items():
            (self.home / folder).mkdir(mode=0o700)
            self.env[name] = str(self.home / folder)
        if os.geteuid() == 0:
            self.env["QTWEBENGINE_DISABLE_SANDBOX"] = "1"
        display, given = os.pipe()
        self.start(["Xvfb", "-displayfd", str(given), "-screen", "0", "1280x800x24"], pass_fds=[given])
        self.env["DISPLAY"] = ":" + os.read(display, 16).decode().strip()
        self.start(["openbox"])
        bus = self.start(["dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address"], stdout=subprocess.PIPE)
        self.env["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().strip()
        self.keyring = self.start(["gnome-keyring-daemon", "--foreground", "--unlock", "--components=secrets"],
                                  stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        self.keyring.stdin.write("password")
        self.keyring.stdin.close()

    def start(self, command, **options):
        process = subprocess.Popen(command, env=self.env, text=True, **options)
        self.started.append(process)
        return process

    def serve(self, method):
        self.port = free_pair()
        self.service = self.start([f"{self.programs}/parlowen-service", "--listen", f"127.0.0.1:{self.port}", "--login-method", method],
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.console, self.service_log = Output(self.service.stdout), Output(self.service.stderr)
        wait("the service listens", lambda: self.console.find("(listening on .*)"))

    def open(self, *arguments):
        self.program = self.start([f"{self.programs}/parlowen", "--backend", f"https://127.0.0.1:{self.port}/api/v1",
                                   "--verbose", *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.log = Output(self.program.stdout)

    def quit(self):
        self.program.send_signal(signal.SIGTERM)
        self.program.wait(30)
        self.logs += self.log.text

    logs = ""

    def end(self):
        for process in reversed(self.started):
            process.kill()
            process.wait()

    def do(self, *arguments):
        return subprocess.run(["xdotool", *map(str, arguments)], env=self.env, capture_output=True, text=True).stdout.split()

    def window(self, title):
        """Waits for a window, and puts the pointer, which the keyboard follows, on an empty place of it."""
        found = wait(f"the window {title}", lambda: self.do("search", "--onlyvisible", "--name", f"^{title}$"))[-1]
        self.do("mousemove", "--window", found, 12, 12)
        self.do("windowfocus", found)
        time.sleep(0.5)
        return found

    def picture(self, name):
        """Width, height and RGB bytes of the display; kept as a PNG."""
        ppm = subprocess.run(["import", "-window", "root", "-depth", "8", "ppm:-"], env=self.env, capture_output=True, check=True).stdout
        if self.pictures:
            self.step += 1
            subprocess.run(["convert", "ppm:-", f"{self.pictures}/{self.step:02}-{name}.png"], input=ppm, check=True)
        header = re.match(rb"P6\s+(\d+)\s+(\d+)\s+255\s", ppm)
        return int(header[1]), int(header[2]), ppm[header.end():]

    def engines(self):
        count = 0
        for entry in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                ours = f"HOME={self.home}\0".encode() in (entry / "environ").read_bytes()
                count += ours and b"QtWebEngineProcess" in (entry / "cmdline").read_bytes()
            except OSError:
                pass
        return count


def handle(picture):
    """The slider's handle: left, top, right, bottom; none where it is not to be seen."""
    width, height, pixels = picture
    spots = [i // 3 for i in range(0, len(pixels), 3) if pixels[i:i + 3] == b"\x19\xcf\xae"]
    if len(spots) < 1000:
        return None
    xs, ys = [spot % width for spot in spots], [spot // width for spot in spots]
    return min(xs), min(ys), max(xs), max(ys)


def hole(picture, left, top):
    """How far the piece is from its hole: where the picture looks like the piece, but darker."""
    width, _, pixels = picture

    def at(x, y):
        i = ((top + y) * width + left + x) * 3
        return pixels[i:i + 3]

    block = [(x, y) for x in range(12, 35, 3) for y in range(21, 44, 3)]
    best = None
    for y in range(114):
        piece = [[0.42 * c + 0.58 * d for c, d in zip(at(bx, y + by), DARK)] for bx, by in block]
        for x in range(78, 266):
            cost = sum(abs(a - b) for (bx, by), wanted in zip(block, piece) for a, b in zip(at(x + bx, y + by), wanted))
            if best is None or cost < best[0]:
                best = cost, x
    return best[1]


def solve(desk):
    captcha = desk.window("安全验证")
    for _ in range(6):
        seen = wait("the slider", lambda: handle(desk.picture("captcha")))
        time.sleep(1)
        seen = desk.picture("captcha")
        left, top, right, bottom = handle(seen)
        way = hole(seen, left, top - 8 - 170)
        x, y = (left + right) // 2, (top + bottom) // 2
        desk.do("mousemove", x, y)
        desk.do("mousedown", 1)
        for i in range(1, 25):
            desk.do("mousemove", x + round(way * (1 - (1 - i / 24) ** 2)), y + i % 3)
            time.sleep(0.01 + 0.01 * (i % 4))
        desk.picture("dragged")
        desk.do("mouseup", 1)
        for _ in range(50):
            if captcha not in desk.do("search", "--onlyvisible", "--name", "^安全验证$"):
                return
            time.sleep(0.1)
        print("  missed; once more")
    raise SystemExit("the captcha was not solved")


def by_code(desk):
    desk.open("--page", "login")
    desk.window("登录")
    wait("the way to sign in", lambda: "get_login_method" in desk.log.text and "result" in desk.log.text)
    time.sleep(1)
    desk.picture("login")
    assert desk.engines() == 0, "an engine before the captcha"
    desk.do("type", PHONE)
    desk.do("key", "Tab", "Tab", "space")
    wait("the engine's processes", desk.engines)
    solve(desk)
    code = wait("the code on the console", lambda: desk.console.find(r"login code for \+86" + PHONE + ": ([0-9]{6})"))
    wait("no process of the engine", lambda: desk.engines() == 0)
    desk.window("登录")
    desk.picture("code-sent")
    desk.do("key", "Tab", "space", "shift+Tab")  # sign in automatically; no second code can be sent yet
    desk.do("type", code)
    desk.picture("filled")
    desk.do("key", "Return")
    desk.window("主面板")
    time.sleep(2)
    desk.picture("signed-in")
    return code


def settings_of(desk):
    return (desk.home / "config/parlowen/parlowen.ini").read_text()


def token_of(desk):
    kept = subprocess.run(["secret-tool", "lookup", "owner", str(desk.home / "config/parlowen/parlowen.ini")],
                          env=desk.env, capture_output=True, text=True).stdout
    return kept.split(" ")[-1]


def auto_sign_in(desk, on):
    file = desk.home / "config/parlowen/parlowen.ini"
    file.write_text(re.sub("isAutoLogin=.*", f"isAutoLogin={'true' if on else 'false'}", file.read_text()))


def search_secrets(desk, secrets):
    for secret in secrets:
        assert secret not in desk.logs, "a secret in the program's log"
        assert secret not in desk.service_log.text, "a secret in the service's log"
        for path in desk.home.rglob("*"):
            if path.is_file() and "keyrings" not in path.parts:
                assert secret.encode() not in path.read_bytes(), f"a secret in {path}"


def main():
    programs, pictures = os.path.abspath(sys.argv[1]), (sys.argv[2:] + [None])[0]
    with tempfile.TemporaryDirectory() as home:
        desk = Desk(home, programs, pictures)
        try:
            run(desk)
        finally:
            desk.end()


def run(desk):
    desk.serve("code")
    print("by code")
    code = by_code(desk)
    token = token_of(desk)
    assert len(token) > 30 and "LOGIN_TOKEN_KEPT" in settings_of(desk), "no token in the keyring"
    desk.quit()

    print("with automatic sign-in")
    desk.open()
    wait("a window without a title", lambda: "/language/list" in desk.log.text or "/user/info" in desk.log.text)
    time.sleep(2)
    desk.picture("started-again")
    assert not desk.do("search", "--onlyvisible", "--name", "^登录$")
    desk.quit()

    print("a keyring that hangs")
    desk.keyring.send_signal(signal.SIGSTOP)
    desk.open()
    desk.window("登录")
    desk.picture("keyring-hangs")
    desk.keyring.send_signal(signal.SIGCONT)
    desk.window("主面板")
    desk.quit()
    assert token_of(desk) == token

    print("without automatic sign-in")
    auto_sign_in(desk, False)
    desk.open()
    desk.window("登录")
    desk.quit()

    print("a sign-in that the service takes back")
    auto_sign_in(desk, True)
    database = sqlite3.connect(desk.home / "data/parlowen-service/parlowen.db", timeout=10)
    database.execute("DELETE FROM sessions")
    database.commit()
    desk.open()
    desk.window("登录")
    time.sleep(1)
    desk.picture("taken-back")
    windows = [desk.do("getwindowname", w) for w in desk.do("search", "--onlyvisible", "--name", ".+")]
    assert "LOGIN_TOKEN_KEPT" not in settings_of(desk) and "isAutoLogin=true" in settings_of(desk)
    assert [name[0] for name in windows] == ["登录"], windows
    desk.quit()
    search_secrets(desk, [token, code])
    print("nothing secret in logs and files")


if __name__ == "__main__":
    main()
