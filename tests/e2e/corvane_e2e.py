#!/usr/bin/env python3
"""Drives the real corvane binary under Xvfb: tray menu, fallback window, editor, single instance.

Usage: corvane_e2e.py CORVANE_BINARY CASE
Every process this script starts is stopped by its PID when the case ends, pass or fail.
"""

import json
import os
import signal
import subprocess
import sys
import tempfile
import time
import uuid

TIMEOUT = 30.0  # generous: the sanitizer build and kitty's software GL are slow


class Failure(Exception):
    pass


def wait_until(what, predicate, timeout=TIMEOUT, interval=0.05):
    """Polls `predicate` until it returns something truthy; fails with `what` otherwise."""
    deadline = time.monotonic() + timeout
    while True:
        value = predicate()
        if value:
            return value
        if time.monotonic() > deadline:
            raise Failure(f"timed out waiting for {what}")
        time.sleep(interval)


def foundation_json(value):
    """config.json's layout: sorted keys, two-space indent, ' : ', '/' escaped, no final newline."""
    text = json.dumps(value, indent=2, separators=(",", " : "), sort_keys=True, ensure_ascii=False)
    return text.replace("/", "\\/")


class Session:
    def __init__(self, corvane):
        self.corvane = corvane
        self.tmp = tempfile.TemporaryDirectory(prefix="corvane-e2e-")
        self.root = self.tmp.name
        self.pids = []
        self.kitty_pid_file = os.path.join(self.root, "kitty.pids")
        self.env = {}

    # -- processes ---------------------------------------------------------------------------

    def spawn(self, argv, **kwargs):
        proc = subprocess.Popen(argv, env=kwargs.pop("env", self.env), **kwargs)
        self.pids.append(proc.pid)
        return proc

    def stop_all(self):
        pids = list(reversed(self.pids))
        if os.path.exists(self.kitty_pid_file):
            with open(self.kitty_pid_file) as f:
                pids = [int(line) for line in f if line.strip()] + pids
        for pid in pids:
            try:
                os.kill(pid, signal.SIGTERM)
            except ProcessLookupError:
                pass
        deadline = time.monotonic() + 5
        for pid in pids:
            while time.monotonic() < deadline:
                try:
                    if os.waitpid(pid, os.WNOHANG)[0] != 0:
                        break
                except ChildProcessError:  # not our child (kitty): poll for its end
                    try:
                        os.kill(pid, 0)
                    except ProcessLookupError:
                        break
                time.sleep(0.02)
            else:
                try:
                    os.kill(pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
        self.tmp.cleanup()

    # -- environment -------------------------------------------------------------------------

    def start_display(self):
        read_fd, write_fd = os.pipe()
        self.spawn(["Xvfb", "-displayfd", str(write_fd), "-screen", "0", "1280x800x24",
                    "-nolisten", "tcp"], pass_fds=(write_fd,), env=os.environ.copy(),
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write_fd)
        number = b""
        with os.fdopen(read_fd, "rb") as pipe:
            while not number.endswith(b"\n"):
                chunk = pipe.read(1)
                if not chunk:
                    raise Failure("Xvfb did not report a display")
                number += chunk
        display = ":" + number.decode().strip()

        config_home = os.path.join(self.root, "config")
        runtime = os.path.join(self.root, "run")
        bindir = os.path.join(self.root, "bin")
        for d in (config_home, runtime, bindir):
            os.makedirs(d, mode=0o700)
        env = {k: v for k, v in os.environ.items()
               if k not in ("DBUS_SESSION_BUS_ADDRESS", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM")}
        env.update(DISPLAY=display, XDG_CONFIG_HOME=config_home, XDG_RUNTIME_DIR=runtime,
                   PATH=bindir + os.pathsep + env.get("PATH", "/usr/bin:/bin"))
        self.env = env
        self.config_home = config_home

        # kitty shares one instance per user across displays; keep this test's windows apart,
        # and note each kitty's PID so that it can be stopped.
        wrapper = os.path.join(bindir, "kitty")
        with open(wrapper, "w") as f:
            f.write("#!/bin/sh\n"
                    f"echo $$ >> '{self.kitty_pid_file}'\n"
                    f"exec /usr/bin/kitty --instance-group corvane-e2e-{uuid.uuid4().hex} \"$@\"\n")
        os.chmod(wrapper, 0o755)

    def start_tray(self):
        self.spawn(["trayer"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.xdotool("search", "--sync", "--classname", "^trayer$")

    # Note: `xdotool search` ORs its conditions unless given --all.
    def xdotool(self, *args, check=True):
        result = subprocess.run(["xdotool", *args], env=self.env, capture_output=True, text=True,
                                timeout=TIMEOUT)
        if check and result.returncode != 0:
            raise Failure(f"xdotool {' '.join(args)} failed: {result.stderr.strip()}")
        return result.stdout.split()

    def parent_is_root(self, window):
        out = subprocess.run(["xwininfo", "-tree", "-id", window], env=self.env,
                             capture_output=True, text=True).stdout
        for line in out.splitlines():
            if "Parent window id:" in line:
                return "(the root window)" in line
        return True

    def write_config(self, groups, terminal="kitty"):
        config = {"terminalApp": terminal, "groups": groups}
        folder = os.path.join(self.config_home, "Corvane")
        os.makedirs(folder, mode=0o700, exist_ok=True)
        path = os.path.join(folder, "config.json")
        with open(path, "w") as f:
            f.write(foundation_json(config))
        return config, path

    def marker_groups(self):
        """Two windows, each appending two lines to its own marker file."""
        self.markers = [os.path.join(self.root, f"marker-{i}") for i in (1, 2)]
        groups = []
        for i, marker in enumerate(self.markers, start=1):
            groups.append({
                "id": str(uuid.uuid4()).upper(),
                "name": f"Window {i}",
                "commands": [
                    {"id": str(uuid.uuid4()).upper(), "command": f"echo one-{i} >> {marker}",
                     "delayAfter": 0},
                    {"id": str(uuid.uuid4()).upper(), "command": f"echo two-{i} >> {marker}",
                     "delayAfter": 0},
                ],
            })
        return groups

    def start_corvane(self):
        self.log = open(os.path.join(self.root, "corvane.log"), "w")
        self.app = self.spawn([self.corvane], stdout=self.log, stderr=subprocess.STDOUT)
        return self.app

    def app_windows(self, visible_only=False):
        args = ["search"] + (["--onlyvisible"] if visible_only else []) + ["--pid", str(self.app.pid)]
        return self.xdotool(*args, check=False)

    def expect_markers_ran(self):
        def ran():
            try:
                return all(open(m).read().split() == [f"one-{i}", f"two-{i}"]
                           for i, m in enumerate(self.markers, start=1))
            except FileNotFoundError:
                return False
        wait_until("both kitty windows to run their commands", ran)

    def expect_alive(self):
        if self.app.poll() is not None:
            raise Failure(f"corvane exited with {self.app.returncode}")


# -- cases -------------------------------------------------------------------------------------

def case_tray_run(s):
    s.start_display()
    s.start_tray()
    s.write_config(s.marker_groups())
    s.start_corvane()
    icon = wait_until("the docked tray icon", lambda: next(
        (w for w in s.app_windows() if not s.parent_is_root(w)), None))
    s.xdotool("mousemove", "--window", icon, "5", "5", "click", "3")
    wait_until("the tray menu", lambda: next(
        (w for w in s.app_windows(visible_only=True) if s.parent_is_root(w)), None))
    s.xdotool("key", "Down", "Return")  # the first enabled entry: Run Startup Commands
    s.expect_markers_ran()
    s.expect_alive()


def case_fallback_run(s):
    s.start_display()  # no tray: the fallback window stands in
    s.write_config(s.marker_groups())
    s.start_corvane()
    window = s.xdotool("search", "--all", "--sync", "--onlyvisible", "--pid", str(s.app.pid),
                       "--name", "^Corvane$")[0]
    s.xdotool("windowfocus", "--sync", window)
    s.xdotool("key", "--window", window, "ctrl+r")
    s.expect_markers_ran()
    s.expect_alive()


def case_tray_appears_later(s):
    s.start_display()
    s.write_config(s.marker_groups())
    s.start_corvane()
    fallback = s.xdotool("search", "--all", "--sync", "--onlyvisible", "--pid", str(s.app.pid),
                         "--name", "^Corvane$")[0]
    s.start_tray()
    wait_until("the icon to dock in the new tray", lambda: next(
        (w for w in s.app_windows() if not s.parent_is_root(w)), None))
    wait_until("the fallback window to go", lambda: fallback not in s.app_windows(visible_only=True))
    s.expect_alive()


def open_editor_by_second_start(s):
    second = subprocess.run([s.corvane], env=s.env, capture_output=True, text=True,
                            timeout=TIMEOUT)
    if second.returncode != 0:
        raise Failure(f"second start exited with {second.returncode}: {second.stderr}")
    return s.xdotool("search", "--all", "--sync", "--onlyvisible", "--pid", str(s.app.pid),
                     "--name", "Edit Commands$")[0]


def case_second_instance(s):
    s.start_display()
    s.write_config(s.marker_groups())
    s.start_corvane()
    s.xdotool("search", "--all", "--sync", "--onlyvisible", "--pid", str(s.app.pid), "--name", "^Corvane$")
    open_editor_by_second_start(s)
    # Once more: still one editor window, and still one Corvane.
    open_editor_by_second_start(s)
    editors = s.xdotool("search", "--all", "--onlyvisible", "--pid", str(s.app.pid),
                        "--name", "Edit Commands", check=False)
    if len(editors) != 1:
        raise Failure(f"expected one editor window, found {len(editors)}")
    s.expect_alive()


def case_editor_saves(s):
    s.start_display()
    config, path = s.write_config(s.marker_groups())
    with open(path, "rb") as f:
        before = f.read()
    s.start_corvane()
    s.xdotool("search", "--all", "--sync", "--onlyvisible", "--pid", str(s.app.pid), "--name", "^Corvane$")
    editor = open_editor_by_second_start(s)
    s.xdotool("windowfocus", "--sync", editor)
    # Opening saves nothing; the first window's name field has the focus.
    with open(path, "rb") as f:
        if f.read() != before:
            raise Failure("opening the editor rewrote config.json")
    s.xdotool("key", "--window", editor, "ctrl+a")
    s.xdotool("type", "--window", editor, "Build box/1")
    config["groups"][0]["name"] = "Build box/1"
    expected = foundation_json(config).encode()

    def saved():
        with open(path, "rb") as f:
            return f.read() == expected
    wait_until("config.json with the new name in its exact layout", saved)
    if os.stat(path).st_mode & 0o777 != 0o600:
        raise Failure("config.json is not private to its owner")
    s.expect_alive()


def case_no_display(s):
    env = {k: v for k, v in os.environ.items()
           if k not in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM")}
    result = subprocess.run([s.corvane], env=env, capture_output=True, text=True, timeout=TIMEOUT)
    lines = result.stderr.splitlines()
    if result.returncode == 0:
        raise Failure("corvane exited with 0 without a display")
    if len(lines) != 1 or "graphical session" not in lines[0]:
        raise Failure(f"expected one line about the missing display, got {result.stderr!r}")


CASES = {
    "tray_run": case_tray_run,
    "fallback_run": case_fallback_run,
    "tray_appears_later": case_tray_appears_later,
    "second_instance": case_second_instance,
    "editor_saves": case_editor_saves,
    "no_display": case_no_display,
}


def main():
    if len(sys.argv) != 3 or sys.argv[2] not in CASES:
        print(f"usage: {sys.argv[0]} CORVANE_BINARY {{{'|'.join(CASES)}}}", file=sys.stderr)
        return 2
    session = Session(os.path.abspath(sys.argv[1]))
    try:
        CASES[sys.argv[2]](session)
    except (Failure, subprocess.TimeoutExpired) as error:
        print(f"FAIL {sys.argv[2]}: {error}", file=sys.stderr)
        log = os.path.join(session.root, "corvane.log")
        if os.path.exists(log):
            print(open(log).read(), file=sys.stderr)
        return 1
    finally:
        session.stop_all()
    print(f"PASS {sys.argv[2]}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
