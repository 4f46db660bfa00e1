#!/usr/bin/env python3
"""Drives the real corvane binary under Xvfb. Usage: corvane_e2e.py CORVANE_BINARY CASE

Every process started here is stopped by its PID when the case ends, pass or fail.
"""

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


def foundation_json(value):
    """config.json's layout: sorted keys, two-space indent, ' : ', '/' escaped, no final newline."""
    text = json.dumps(value, indent=2, separators=(",", " : "), sort_keys=True, ensure_ascii=False)
    return text.replace("/", "\\/")


def new_id():
    return str(uuid.uuid4()).upper()


class Session:
    def __init__(self, corvane):
        self.corvane = corvane
        self.tmp = tempfile.TemporaryDirectory(prefix="corvane-e2e-")
        self.root = self.tmp.name
        self.procs = []
        self.kitty_pids = os.path.join(self.root, "kitty.pids")
        self.env = dict(os.environ)

    def spawn(self, argv, **kwargs):
        proc = subprocess.Popen(argv, env=kwargs.pop("env", self.env), **kwargs)
        self.procs.append(proc)
        return proc

    def stop_all(self):
        kitties = [int(pid) for pid in open(self.kitty_pids)] if os.path.exists(self.kitty_pids) else []
        for pid in kitties + [proc.pid for proc in reversed(self.procs)]:
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
        for pid in kitties:  # not our children: poll for their end
            try:
                wait_until(f"kitty {pid} to end", lambda: os.kill(pid, 0) and False)
            except ProcessLookupError:
                pass
            except Failure:
                os.kill(pid, signal.SIGKILL)
        self.tmp.cleanup()

    def start_display(self):
        read_fd, write_fd = os.pipe()
        self.spawn(["Xvfb", "-displayfd", str(write_fd), "-screen", "0", "1280x800x24",
                    "-nolisten", "tcp"], pass_fds=(write_fd,),
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write_fd)
        with os.fdopen(read_fd, "rb") as pipe:
            number = pipe.readline().strip()
        if not number:
            raise Failure("Xvfb did not report a display")
        dirs = {name: os.path.join(self.root, name) for name in ("config", "run", "bin")}
        for d in dirs.values():
            os.makedirs(d, mode=0o700)
        for key in ("DBUS_SESSION_BUS_ADDRESS", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"):
            self.env.pop(key, None)  # without D-Bus, Qt docks through XEmbed into trayer
        self.env.update(DISPLAY=":" + number.decode(), XDG_CONFIG_HOME=dirs["config"],
                        XDG_RUNTIME_DIR=dirs["run"],
                        PATH=dirs["bin"] + os.pathsep + self.env.get("PATH", "/usr/bin:/bin"))
        # kitty shares one instance per user across displays: keep this test's windows apart
        # and note each kitty's PID so that it can be stopped.
        wrapper = os.path.join(dirs["bin"], "kitty")
        with open(wrapper, "w") as f:
            f.write(f"#!/bin/sh\necho $$ >> '{self.kitty_pids}'\n"
                    f"exec /usr/bin/kitty --instance-group e2e-{uuid.uuid4().hex} \"$@\"\n")
        os.chmod(wrapper, 0o755)

    def xdotool(self, *args, check=True):
        result = subprocess.run(["xdotool", *args], env=self.env, capture_output=True, text=True,
                                timeout=TIMEOUT)
        if check and result.returncode != 0:
            raise Failure(f"xdotool {' '.join(args)} failed: {result.stderr.strip()}")
        return result.stdout.split()

    def window(self, title_regex):
        return self.xdotool("search", "--all", "--sync", "--onlyvisible", "--pid",
                            str(self.app.pid), "--name", title_regex)[0]

    def app_windows(self, docked, visible_only=False):
        """The app's windows inside another window (the docked icon) or at the root."""
        found = self.xdotool("search", *(["--onlyvisible"] if visible_only else []), "--pid",
                             str(self.app.pid), check=False)
        def parent(w):
            tree = subprocess.run(["xwininfo", "-tree", "-id", w], env=self.env,
                                  capture_output=True, text=True).stdout
            return next((line for line in tree.splitlines() if "Parent window id:" in line), "")
        return [w for w in found if ("(the root window)" not in parent(w)) == docked]

    def write_config(self, terminal="kitty"):
        """Two windows, each appending two lines to its own marker file."""
        self.markers = [os.path.join(self.root, f"marker-{i}") for i in (1, 2)]
        groups = [{"id": new_id(), "name": f"Window {i}", "commands": [
            {"id": new_id(), "command": f"echo {word}-{i} >> {marker}", "delayAfter": 0}
            for word in ("one", "two")]} for i, marker in enumerate(self.markers, start=1)]
        self.config = {"terminalApp": terminal, "groups": groups}
        folder = os.path.join(self.env["XDG_CONFIG_HOME"], "Corvane")
        os.makedirs(folder, mode=0o700)
        self.config_path = os.path.join(folder, "config.json")
        with open(self.config_path, "w") as f:
            f.write(foundation_json(self.config))

    def start_corvane(self):
        self.log = open(os.path.join(self.root, "corvane.log"), "w")
        self.app = self.spawn([self.corvane], stdout=self.log, stderr=subprocess.STDOUT)

    def expect_markers_ran(self):
        def ran():
            try:
                return all(open(m).read().split() == [f"one-{i}", f"two-{i}"]
                           for i, m in enumerate(self.markers, start=1))
            except FileNotFoundError:
                return False
        wait_until("both kitty windows to run their commands", ran)
        if self.app.poll() is not None:
            raise Failure(f"corvane exited with {self.app.returncode}")


def case_tray_run(s):
    s.start_display()
    s.spawn(["trayer"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    s.xdotool("search", "--sync", "--classname", "^trayer$")
    s.write_config()
    s.start_corvane()
    icon = wait_until("the docked tray icon", lambda: s.app_windows(docked=True))[0]
    s.xdotool("mousemove", "--window", icon, "5", "5", "click", "3")
    wait_until("the tray menu", lambda: s.app_windows(docked=False, visible_only=True))
    s.xdotool("key", "Down", "Return")  # the first enabled entry: Run Startup Commands
    s.expect_markers_ran()


def case_fallback_run(s):
    s.start_display()  # no tray: the fallback window stands in
    s.write_config()
    s.start_corvane()
    window = s.window("^Corvane$")
    s.xdotool("windowfocus", "--sync", window)
    s.xdotool("key", "--window", window, "ctrl+r")
    s.expect_markers_ran()


def case_editor_saves(s):
    s.start_display()
    s.write_config()
    before = open(s.config_path, "rb").read()
    s.start_corvane()
    s.window("^Corvane$")
    # A second start hands over to the running Corvane, which opens (or raises) its one editor.
    for _ in range(2):
        second = subprocess.run([s.corvane], env=s.env, capture_output=True, timeout=TIMEOUT)
        if second.returncode != 0:
            raise Failure(f"second start exited with {second.returncode}")
        editor = s.window("Edit Commands$")
    editors = s.xdotool("search", "--all", "--onlyvisible", "--pid", str(s.app.pid),
                        "--name", "Edit Commands", check=False)
    if len(editors) != 1:
        raise Failure(f"expected one editor window, found {len(editors)}")
    if open(s.config_path, "rb").read() != before:
        raise Failure("opening the editor rewrote config.json")
    # The first window's name field has the focus.
    s.xdotool("windowfocus", "--sync", editor)
    s.xdotool("key", "--window", editor, "ctrl+a")
    s.xdotool("type", "--window", editor, "Build box/1")
    s.config["groups"][0]["name"] = "Build box/1"
    expected = foundation_json(s.config).encode()
    wait_until("config.json with the new name in its exact layout",
               lambda: open(s.config_path, "rb").read() == expected)
    if os.stat(s.config_path).st_mode & 0o777 != 0o600:
        raise Failure("config.json is not private to its owner")


def case_no_display(s):
    env = {k: v for k, v in os.environ.items()
           if k not in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM")}
    result = subprocess.run([s.corvane], env=env, capture_output=True, text=True, timeout=TIMEOUT)
    lines = result.stderr.splitlines()
    if result.returncode == 0 or len(lines) != 1 or "graphical session" not in lines[0]:
        raise Failure(f"expected a failure and one line on stderr, got {result.returncode} "
                      f"{result.stderr!r}")


def main():
    cases = {name[5:]: f for name, f in globals().items() if name.startswith("case_")}
    if len(sys.argv) != 3 or sys.argv[2] not in cases:
        print(f"usage: {sys.argv[0]} CORVANE_BINARY {{{'|'.join(cases)}}}", file=sys.stderr)
        return 2
    session = Session(os.path.abspath(sys.argv[1]))
    try:
        cases[sys.argv[2]](session)
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
