#!/usr/bin/env python3
"""Starts and quits the program again and again: starts_and_quits.py BIN_DIRECTORY [STARTS] [SEED]

In a home of its own, signed in to its own local service, it starts BIN_DIRECTORY/parlowen STARTS times (50) in a row. Two
of five runs begin a rehearsal and get SIGTERM at a random moment of it; the others are ended with the window open, in
turns by Ctrl+Q (where there are a display, xdotool and a window manager) and by SIGINT. Behind them, five are killed,
which leaves their lock and socket behind. After each run nothing of that home may run any more, and the next start must
come up. Prints how the runs ended, and medians and longest times in seconds; exits with 1 when anything was left or hung.
"""
import json
import http.client
import os
import random
import shutil
import signal
import ssl
import statistics
import subprocess
import sys
import tempfile
import time

SHOWN = "窗口已显示"
PATIENCE = 40


def environment(home):
    result = dict(os.environ, HOME=home)
    for name in ("CONFIG_HOME", "DATA_HOME", "CACHE_HOME", "STATE_HOME", "RUNTIME_DIR"):
        result["XDG_" + name] = f"{home}/{name}"
        os.makedirs(result["XDG_" + name], mode=0o700, exist_ok=True)
    for name in ("PULSE_SERVER", "DBUS_SESSION_BUS_ADDRESS", "PARLOWEN_API_BASE_URL"):
        result.pop(name, None)
    if "DISPLAY" not in result:
        result["QT_QPA_PLATFORM"] = "offscreen"
    return result


def sign_in(service, home, variables):
    """Makes an account on the local service and stores its sign-in."""
    data = variables["XDG_DATA_HOME"] + "/parlowen-service"
    running = subprocess.Popen([service, "--listen", "127.0.0.1:0", "--data", data, "--create-accounts", "--exit-with-stdin"], env=variables,
                               stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    port = int(running.stdout.readline().rsplit(":", 1)[1])
    client = http.client.HTTPSConnection("127.0.0.1", port, context=ssl.create_default_context(cafile=data + "/tls/ca.pem"))
    client.request("POST", "/api/v1/user/account/login",
                   json.dumps({"country_code": "86", "phone": "13800000001", "password": "secret-1"}))
    token = json.loads(client.getresponse().read())["data"]["token"]
    running.communicate()
    os.makedirs(variables["XDG_CONFIG_HOME"] + "/parlowen", mode=0o700)
    with open(variables["XDG_CONFIG_HOME"] + "/parlowen/parlowen.ini", "w") as settings:
        settings.write(f"[General]\nLOGIN_TOKEN={token}\nisAutoLogin=true\n")


def left_of(home):
    """The processes that still run with that home."""
    found = []
    for process in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{process}/environ", "rb") as variables, open(f"/proc/{process}/cmdline", "rb") as line:
                if f"HOME={home}\0".encode() in variables.read() and b"parlowen" in line.read():
                    found.append(int(process))
        except OSError:
            pass
    return found


def wait_until(condition):
    end = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.02)
    return True


class Run:
    def __init__(self, program, variables, arguments=()):
        self.log = tempfile.TemporaryFile()
        begin = time.monotonic()
        self.process = subprocess.Popen([program, "--verbose", *arguments], env=variables, stdout=self.log, stderr=self.log)
        self.came_up = wait_until(lambda: SHOWN in self.text() or self.process.poll() is not None) and SHOWN in self.text()
        self.start = time.monotonic() - begin

    def text(self):
        return os.pread(self.log.fileno(), 1 << 24, 0).decode(errors="replace")

    def end(self, how):
        """Asks it to end; the exit status, or None when it does not."""
        begin = time.monotonic()
        how(self.process)
        try:
            status = self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            status = None
        self.quit = time.monotonic() - begin
        return status


def press_quit(process):
    found = subprocess.run(["xdotool", "search", "--sync", "--onlyvisible", "--pid", str(process.pid)], capture_output=True, text=True)
    window = found.stdout.split()[-1]
    subprocess.run(["xdotool", "windowactivate", "--sync", window, "key", "--clearmodifiers", "ctrl+q"], check=True)


def main():
    binaries, starts, seed = sys.argv[1], int((sys.argv[2:] + ["50"])[0]), int((sys.argv[3:] + [str(time.time_ns())])[0])
    chance = random.Random(seed)
    has_keys = "DISPLAY" in os.environ and shutil.which("xdotool")
    problems, ends, start_times, quit_times = [], {}, [], []
    with tempfile.TemporaryDirectory() as home:
        variables = environment(home)
        sign_in(binaries + "/parlowen-service", home, variables)
        for number in range(starts + 5):
            is_session, is_killed = number % 5 in (1, 3) and number < starts, number >= starts
            run = Run(binaries + "/parlowen", variables, ["--start", "rehearsal"] if is_session else [])
            if not run.came_up:
                problems.append(f"start {number} did not come up: {run.text()[-500:]}")
            time.sleep(chance.uniform(0, 12 if is_session else 1))
            kind, how = "SIGINT", lambda process: process.send_signal(signal.SIGINT)
            if is_session:
                kind, how = "SIGTERM in a session", lambda process: process.send_signal(signal.SIGTERM)
            elif is_killed:
                kind, how = "SIGKILL", lambda process: process.kill()
            elif has_keys and number % 2 == 0:
                kind, how = "Ctrl+Q", press_quit
            status = run.end(how)
            start_times.append(run.start)
            quit_times.append(run.quit)
            ends.setdefault((kind, status), []).append(number)
            if status != (-signal.SIGKILL if is_killed else 0):
                problems.append(f"run {number} ({kind}) ended with {status}: {run.text()[-500:]}")
            # What belonged to a killed one notices that it has gone.
            if not (wait_until(lambda: not left_of(home)) if is_killed else not left_of(home)):
                problems.append(f"run {number} ({kind}) left processes behind: {left_of(home)}")
    print(f"seed {seed}")
    for (kind, status), numbers in sorted(ends.items(), key=str):
        print(f"{len(numbers):3} runs ended by {kind}: exit status {status}")
    for name, times in (("start to first paint", start_times), ("quit", quit_times)):
        print(f"{name}: median {statistics.median(times):.2f} s, longest {max(times):.2f} s")
    print("\n".join(problems) or "no process was left, no start was held up")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
