#!/usr/bin/env python3
"""Signs in as a person does, in a display, a bus, a keyring and a home of its own: sign_in.py BIN [PICTURES]

Needs Xvfb, openbox, xdotool, ImageMagick, dbus-daemon, gnome-keyring and libsecret-tools. BIN is the directory of the built programs; pictures
of every step go to PICTURES. A number, the captcha's slider drawn by the mouse in the real web engine, the code from the
service's console; then another person by password. After each: starts with and without automatic sign-in, and a sign-in that the
service takes back before a start, beside a page, beside a card and in a rehearsal; once a keyring that hangs. Ends with a
search for what is secret wherever it must not be.
"""
import contextlib
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

PHONE, OTHER_PHONE, PASSWORD = "13800000001", "13800000002", "wonderful-weather"
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


def wait(what, condition, seconds=120):
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


def is_ours(process):
    """Of this script's session; an engine in its sandbox shows nothing else to those who are not root."""
    return os.getsid(int(process.name)) == os.getsid(0)


class Desk:
    def __init__(self, home, programs, pictures):
        self.home, self.programs, self.pictures = pathlib.Path(home), programs, pictures
        self.started, self.step, self.commands = [], 0, set()
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

        threading.Thread(target=self.watch_commands, daemon=True).start()

    def watch_commands(self):
        """Notes what each process of this desk is called with."""
        while True:
            for entry in pathlib.Path("/proc").glob("[0-9]*"):
                try:
                    if is_ours(entry):
                        self.commands.add((entry / "cmdline").read_bytes().decode(errors="replace"))
                except OSError:
                    pass
            time.sleep(0.1)

    def start(self, command, **options):
        process = subprocess.Popen(command, env=self.env, text=True, **options)
        self.started.append(process)
        return process

    def serve(self, *options):
        self.port = free_pair()
        self.service = self.start([f"{self.programs}/parlowen-service", "--listen", f"127.0.0.1:{self.port}", *options],
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

    def type(self, text):
        """Not as an argument: those are searched for secrets."""
        subprocess.run(["xdotool", "type", "--file", "-"], env=self.env, input=text, text=True, check=True)

    def do(self, *arguments):
        return subprocess.run(["xdotool", *map(str, arguments)], env=self.env, capture_output=True, text=True).stdout.split()

    def window(self, title):
        """Waits for a window, and puts the pointer, which the keyboard follows, on an empty place of it."""
        found = wait(f"the window {title}", lambda: self.do("search", "--onlyvisible", "--name", f"^{title}$"))[-1]
        self.do("mousemove", "--window", found, 12, 12)
        self.do("windowfocus", found)
        time.sleep(0.5)
        return found

    def click(self, x, y):
        """At a place of the main window."""
        found = self.do("search", "--onlyvisible", "--name", "^主面板$")[-1]
        self.do("mousemove", "--window", found, x, y, "click", 1)
        time.sleep(0.5)

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
                count += is_ours(entry) and b"QtWebEngineProcess" in (entry / "cmdline").read_bytes()
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
    desk.type(PHONE)
    desk.do("key", "Tab", "Tab", "space")
    wait("the engine's processes", desk.engines)
    solve(desk)
    code = wait("the code on the console", lambda: desk.console.find(r"login code for \+86" + PHONE + ": ([0-9]{6})"))
    wait("no process of the engine", lambda: desk.engines() == 0)
    desk.window("登录")
    desk.picture("code-sent")
    desk.do("key", "Tab", "space", "shift+Tab")  # sign in automatically; no second code can be sent yet
    desk.type(code)
    desk.picture("filled")
    desk.do("key", "Return")
    desk.window("主面板")
    time.sleep(2)
    desk.picture("signed-in")
    return code


def by_password(desk):
    desk.open("--page", "login")
    desk.window("登录")
    wait("the way to sign in", lambda: "get_login_method" in desk.log.text and "result" in desk.log.text)
    time.sleep(1)
    desk.type(OTHER_PHONE)
    desk.do("key", "Tab")
    if "isAutoLogin=true" not in settings_of(desk):
        desk.do("key", "Tab", "Tab", "space", "shift+Tab", "shift+Tab")
    desk.type(PASSWORD)
    desk.picture("password")
    desk.do("key", "Return")
    desk.window("主面板")
    time.sleep(1)
    desk.picture("signed-in-by-password")


def settings_of(desk):
    file = desk.home / "config/parlowen/parlowen.ini"
    return file.read_text() if file.exists() else ""


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
        assert not any(secret in command for command in desk.commands), "a secret in a process's arguments"
        for path in desk.home.rglob("*"):
            if path.is_file() and "keyrings" not in path.parts:
                assert secret.encode() not in path.read_bytes(), f"a secret in {path}"


def take_back(desk):
    with contextlib.closing(sqlite3.connect(desk.home / "data/parlowen-service/parlowen.db", timeout=10)) as database, database:
        assert database.execute("DELETE FROM sessions").rowcount > 0, "no sign-in to take back"


def only_sign_in_is_left(desk, name):
    """The sign-in window has come, every other one has gone, and the way of signing in is still known."""
    desk.window("登录")
    time.sleep(1)
    desk.picture(name)
    windows = [desk.do("getwindowname", window) for window in desk.do("search", "--onlyvisible", "--name", ".+")]
    assert [window[0] for window in windows] == ["登录"], windows
    assert "LOGIN_TOKEN_KEPT" not in settings_of(desk) and "isAutoLogin=true" in settings_of(desk)


def starts(desk):
    """With and without automatic sign-in."""
    print("with automatic sign-in")
    desk.open()
    wait("a window without a title", lambda: "/language/list" in desk.log.text or "/user/info" in desk.log.text)
    time.sleep(2)
    desk.picture("started-again")
    assert not desk.do("search", "--onlyvisible", "--name", "^登录$")
    desk.quit()
    print("without automatic sign-in")
    auto_sign_in(desk, False)
    desk.open()
    desk.window("登录")
    desk.quit()
    auto_sign_in(desk, True)


def taken_back_at_a_start(desk):
    print("a sign-in that the service takes back")
    take_back(desk)
    desk.open()
    only_sign_in_is_left(desk, "taken-back")
    desk.quit()


def taken_back_later(desk):
    print("taken back beside a page")
    by_password(desk)
    desk.click(87, 145)  # the account
    wait("the account page", lambda: "/user/info" in desk.log.text)
    desk.picture("account")
    take_back(desk)
    desk.click(87, 92)
    only_sign_in_is_left(desk, "taken-back-beside-a-page")
    desk.quit()
    print("taken back beside a card")
    by_password(desk)
    desk.click(87, 145)
    wait("the account page", lambda: "/user/info" in desk.log.text)
    time.sleep(1)
    desk.click(838, 276)  # the end of the account
    time.sleep(1)
    desk.picture("card")
    take_back(desk)
    desk.do("key", "Tab", "Return")
    only_sign_in_is_left(desk, "taken-back-beside-a-card")
    desk.quit()
    print("taken back in a rehearsal")
    by_password(desk)
    desk.quit()
    desk.open("--start", "rehearsal")
    wait("the first answer", lambda: "流式连接结束" in desk.log.text)
    desk.picture("rehearsal")
    take_back(desk)
    wait("an answer that says so", lambda: "HTTP 401: 登录已失效" in desk.log.text)
    only_sign_in_is_left(desk, "taken-back-in-a-rehearsal")
    desk.quit()


def keyring_hangs(desk):
    print("a keyring that hangs")
    token = token_of(desk)
    desk.keyring.send_signal(signal.SIGSTOP)
    desk.open()
    desk.window("登录")
    desk.picture("keyring-hangs")
    desk.keyring.send_signal(signal.SIGCONT)
    desk.window("主面板")
    desk.quit()
    assert token_of(desk) == token


def main():
    programs, pictures = os.path.abspath(sys.argv[1]), (sys.argv[2:] + [None])[0]
    with tempfile.TemporaryDirectory() as home:
        desk = Desk(home, programs, pictures)
        try:
            run(desk)
        except BaseException:
            desk.picture("failed")
            print(desk.log.text[-3000:], settings_of(desk))
            raise
        finally:
            desk.end()


def signed_in_token(desk):
    token = token_of(desk)
    assert len(token) > 30 and "LOGIN_TOKEN_KEPT" in settings_of(desk), "no token in the keyring"
    return token


def run(desk):
    desk.serve("--login-method", "code")
    print("by code")
    secrets = [by_code(desk), signed_in_token(desk)]
    desk.quit()
    starts(desk)
    keyring_hangs(desk)
    taken_back_at_a_start(desk)
    search_secrets(desk, secrets)
    desk.service.terminate()
    desk.service.wait(10)

    desk.serve("--login-method", "password", "--create-accounts")
    print("by password")
    by_password(desk)
    secrets += [PASSWORD, signed_in_token(desk)]
    desk.quit()
    starts(desk)
    taken_back_at_a_start(desk)
    taken_back_later(desk)
    search_secrets(desk, secrets)
    print("nothing secret in logs, files and arguments")


if __name__ == "__main__":
    main()
