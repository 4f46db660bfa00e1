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


def wait_until(what, predicate):
    deadline = time.monotonic() + TIMEOUT
    while not (value := predicate()):
        assert time.monotonic() < deadline, f"timed out waiting for {what}"
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
        dirs = {name: os.path.join(self.root, name)
                for name in ("config/Corvane", "run", "bin", "home")}
        for d in dirs.values():
            os.makedirs(d, mode=0o700)
        for key in ("DBUS_SESSION_BUS_ADDRESS", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"):
            self.env.pop(key, None)  # without D-Bus, Qt docks through XEmbed into trayer
        # kitty's windows run login shells: keep this user's profile (and its locks) out.
        self.env.update(DISPLAY=":" + display, XDG_CONFIG_HOME=os.path.join(self.root, "config"),
                        HOME=dirs["home"],
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
        assert not check or result.returncode == 0, f"xdotool {args} failed: {result.stderr}"
        return result.stdout.split()

    def windows(self, title_regex, sync=True):
        return self.xdotool("search", "--all", *(["--sync"] if sync else []), "--onlyvisible",
                            "--pid", str(self.app.pid), "--name", title_regex, check=sync)

    def visible(self):
        return self.xdotool("search", "--onlyvisible", "--pid", str(self.app.pid), check=False)

    def expect_markers_ran(self):
        expected = [f"one-{i} two-{i}".encode().split() for i in (1, 2)]
        wait_until("both kitty windows to run their commands", lambda: all(
            os.path.exists(m) and read(m).split() == e for m, e in zip(self.markers, expected)))
        assert self.app.poll() is None, f"corvane exited with {self.app.returncode}"


def case_tray_run(s):
    s.start(tray=True)
    icon = wait_until("the docked tray icon, corvane's only window", s.visible)[0]
    s.xdotool("mousemove", "--window", icon, "5", "5", "click", "3")
    wait_until("the tray menu", lambda: len(s.visible()) == 2)
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
        assert subprocess.run([s.corvane], env=s.env, timeout=TIMEOUT).returncode == 0
        editor = s.windows("Edit Commands$")[0]
    assert len(s.windows("Edit Commands$", sync=False)) == 1, "one editor window"
    assert read(s.config_path) == before, "opening the editor must not write config.json"
    s.xdotool("windowfocus", "--sync", editor)  # the first window's name field has the focus
    s.xdotool("key", "--window", editor, "ctrl+a")
    s.xdotool("type", "--window", editor, "Build box/1")
    s.config["groups"][0]["name"] = "Build box/1"
    wait_until("config.json with the new name in its exact layout",
               lambda: read(s.config_path) == foundation_json(s.config))
    assert os.stat(s.config_path).st_mode & 0o777 == 0o600, "config.json is not private"


def case_no_display(s):
    for key in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"):
        s.env.pop(key, None)
    # No display at all, then one that names an X server nobody runs.
    for display in (None, ":%d" % (900 + os.getpid() % 99)):
        if display:
            s.env["DISPLAY"] = display
        result = subprocess.run([s.corvane], env=s.env, capture_output=True, text=True,
                                timeout=TIMEOUT)
        lines = [l for l in result.stderr.splitlines() if not l.startswith("QStandardPaths")]
        assert result.returncode != 0 and len(lines) == 1 and "graphical session" in lines[0], \
            f"expected a failure and one line, got {result.returncode} {result.stderr!r}"


def main():
    cases = {name[5:]: f for name, f in globals().items() if name.startswith("case_")}
    if len(sys.argv) != 3 or sys.argv[2] not in cases:
        sys.exit(f"usage: {sys.argv[0]} CORVANE_BINARY {{{'|'.join(cases)}}}")
    with tempfile.TemporaryDirectory(prefix="corvane-e2e-") as root:
        session = Session(os.path.abspath(sys.argv[1]), root)
        try:
            cases[sys.argv[2]](session)
        except (AssertionError, subprocess.TimeoutExpired) as error:
            log = os.path.join(root, "corvane.log")
            sys.exit(f"FAIL {sys.argv[2]}: {error}\n" +
                     (read(log).decode(errors="replace") if os.path.exists(log) else ""))
        finally:
            session.stop_all()
    print(f"PASS {sys.argv[2]}")


if __name__ == "__main__":
    main()
