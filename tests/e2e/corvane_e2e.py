#!/usr/bin/env python3
"""Drives the real corvane binary under Xvfb. Usage: corvane_e2e.py CORVANE_BINARY CASE
Every process started here is stopped by its PID when the case ends, pass or fail."""

import json
import os
import signal
import subprocess
import sys
import tempfile
import time
import uuid

TIMEOUT = 30.0  # generous: sanitizer builds and kitty's software GL are slow


class Failure(Exception):
    pass


def wait_until(what, predicate):
    deadline = time.monotonic() + TIMEOUT
    while not (value := predicate()):
        if time.monotonic() > deadline:
            raise Failure(f"timed out waiting for {what}")
        time.sleep(0.05)
    return value


def read(path):
    with open(path, "rb") as f:
        return f.read()


def foundation_json(value):
    """config.json's layout: sorted keys, two-space indent, ' : ', '/' escaped, no final newline."""
    text = json.dumps(value, indent=2, separators=(",", " : "), sort_keys=True, ensure_ascii=False)
    return text.replace("/", "\\/").encode()


class Session:
    def __init__(self, corvane, root):
        self.corvane, self.root, self.procs, self.env = corvane, root, [], dict(os.environ)
        self.kitty_pids = os.path.join(root, "kitty.pids")

    def spawn(self, argv, **kwargs):
        self.procs.append(subprocess.Popen(argv, env=self.env, **kwargs))
        return self.procs[-1]

    def stop_all(self):
        # The kittys were started by corvane: stop them by the PIDs that their wrapper noted.
        kitties = read(self.kitty_pids).split() if os.path.exists(self.kitty_pids) else []
        for pid in [int(k) for k in kitties] + [p.pid for p in reversed(self.procs)]:
            try:
                os.kill(pid, signal.SIGTERM)
            except ProcessLookupError:
                pass
        for proc in self.procs:
            try:
                proc.wait(5)
            except subprocess.TimeoutExpired:
                proc.kill()
                proc.wait()

    def start(self, tray):
        """Xvfb (and trayer), two kitty windows in config.json, then corvane."""
        read_fd, write_fd = os.pipe()
        self.spawn(["Xvfb", "-displayfd", str(write_fd), "-screen", "0", "1280x800x24",
                    "-nolisten", "tcp"], pass_fds=(write_fd,), stderr=subprocess.DEVNULL)
        os.close(write_fd)
        with os.fdopen(read_fd, "rb") as pipe:
            display = pipe.readline().strip().decode()
        dirs = {name: os.path.join(self.root, name) for name in ("config/Corvane", "run", "bin")}
        for d in dirs.values():
            os.makedirs(d, mode=0o700)
        for key in ("DBUS_SESSION_BUS_ADDRESS", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"):
            self.env.pop(key, None)  # without D-Bus, Qt docks through XEmbed into trayer
        self.env.update(DISPLAY=":" + display, XDG_CONFIG_HOME=os.path.join(self.root, "config"),
                        XDG_RUNTIME_DIR=dirs["run"], PATH=dirs["bin"] + ":" + self.env["PATH"])
        # kitty shares one instance per user across displays: keep this test's windows apart.
        with open(os.path.join(dirs["bin"], "kitty"), "w") as f:
            f.write(f"#!/bin/sh\necho $$ >> '{self.kitty_pids}'\n"
                    f"exec /usr/bin/kitty --instance-group e2e-{uuid.uuid4().hex} \"$@\"\n")
            os.fchmod(f.fileno(), 0o755)
        if tray:
            self.spawn(["trayer"], stderr=subprocess.DEVNULL)
            self.xdotool("search", "--sync", "--classname", "^trayer$")

        self.markers = [os.path.join(self.root, f"marker-{i}") for i in (1, 2)]
        new_id = lambda: str(uuid.uuid4()).upper()
        self.config = {"terminalApp": "kitty", "groups": [
            {"id": new_id(), "name": f"Window {i}", "commands": [
                {"id": new_id(), "command": f"echo {word}-{i} >> {marker}", "delayAfter": 0}
                for word in ("one", "two")]} for i, marker in enumerate(self.markers, start=1)]}
        self.config_path = os.path.join(dirs["config/Corvane"], "config.json")
        with open(self.config_path, "wb") as f:
            f.write(foundation_json(self.config))
        self.log = open(os.path.join(self.root, "corvane.log"), "w")
        self.app = self.spawn([self.corvane], stdout=self.log, stderr=subprocess.STDOUT)

    def xdotool(self, *args, check=True):
        result = subprocess.run(["xdotool", *args], env=self.env, capture_output=True, text=True,
                                timeout=TIMEOUT)
        if check and result.returncode != 0:
            raise Failure(f"xdotool {' '.join(args)} failed: {result.stderr.strip()}")
        return result.stdout.split()

    def windows(self, title_regex, sync=True):
        return self.xdotool("search", "--all", *(["--sync"] if sync else []), "--onlyvisible",
                            "--pid", str(self.app.pid), "--name", title_regex, check=sync)

    def app_windows(self, docked, visible_only=False):
        """The app's windows inside another one (the docked icon), or else at the root."""
        def at_root(w):
            tree = subprocess.run(["xwininfo", "-tree", "-id", w], env=self.env,
                                  capture_output=True, text=True).stdout
            return any("Parent window id:" in line and "(the root window)" in line
                       for line in tree.splitlines())
        found = self.xdotool("search", *(["--onlyvisible"] if visible_only else []), "--pid",
                             str(self.app.pid), check=False)
        return [w for w in found if at_root(w) != docked]

    def expect_markers_ran(self):
        expected = [f"one-{i} two-{i}".encode().split() for i in (1, 2)]
        wait_until("both kitty windows to run their commands", lambda: all(
            os.path.exists(m) and read(m).split() == e for m, e in zip(self.markers, expected)))
        if self.app.poll() is not None:
            raise Failure(f"corvane exited with {self.app.returncode}")


def case_tray_run(s):
    s.start(tray=True)
    icon = wait_until("the docked tray icon", lambda: s.app_windows(docked=True))[0]
    s.xdotool("mousemove", "--window", icon, "5", "5", "click", "3")
    wait_until("the tray menu", lambda: s.app_windows(docked=False, visible_only=True))
    s.xdotool("key", "Down", "Return")  # the first enabled entry: Run Startup Commands
    s.expect_markers_ran()


def case_fallback_run(s):
    s.start(tray=False)  # the fallback window stands in for the tray
    window = s.windows("^Corvane$")[0]
    s.xdotool("windowfocus", "--sync", window)
    s.xdotool("key", "--window", window, "ctrl+r")
    s.expect_markers_ran()


def case_editor_saves(s):
    s.start(tray=False)
    before = read(s.config_path)
    s.windows("^Corvane$")
    # A later start hands over to the running Corvane, which opens (or raises) its one editor.
    for _ in range(2):
        if subprocess.run([s.corvane], env=s.env, timeout=TIMEOUT).returncode != 0:
            raise Failure("a second start failed")
        editor = s.windows("Edit Commands$")[0]
    if len(s.windows("Edit Commands$", sync=False)) != 1 or read(s.config_path) != before:
        raise Failure("expected one editor window and an untouched config.json")
    s.xdotool("windowfocus", "--sync", editor)  # the first window's name field has the focus
    s.xdotool("key", "--window", editor, "ctrl+a")
    s.xdotool("type", "--window", editor, "Build box/1")
    s.config["groups"][0]["name"] = "Build box/1"
    wait_until("config.json with the new name in its exact layout",
               lambda: read(s.config_path) == foundation_json(s.config))
    if os.stat(s.config_path).st_mode & 0o777 != 0o600:
        raise Failure("config.json is not private to its owner")


def case_no_display(s):
    for key in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"):
        s.env.pop(key, None)
    result = subprocess.run([s.corvane], env=s.env, capture_output=True, text=True,
                            timeout=TIMEOUT)
    lines = result.stderr.splitlines()
    if result.returncode == 0 or len(lines) != 1 or "graphical session" not in lines[0]:
        raise Failure(f"expected failure and one line, got {result.returncode} {result.stderr!r}")


def main():
    cases = {name[5:]: f for name, f in globals().items() if name.startswith("case_")}
    if len(sys.argv) != 3 or sys.argv[2] not in cases:
        sys.exit(f"usage: {sys.argv[0]} CORVANE_BINARY {{{'|'.join(cases)}}}")
    with tempfile.TemporaryDirectory(prefix="corvane-e2e-") as root:
        session = Session(os.path.abspath(sys.argv[1]), root)
        try:
            cases[sys.argv[2]](session)
        except (Failure, subprocess.TimeoutExpired) as error:
            log = os.path.join(root, "corvane.log")
            sys.exit(f"FAIL {sys.argv[2]}: {error}\n" +
                     (read(log).decode(errors="replace") if os.path.exists(log) else ""))
        finally:
            session.stop_all()
    print(f"PASS {sys.argv[2]}")


if __name__ == "__main__":
    main()
