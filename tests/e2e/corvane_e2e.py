#!/usr/bin/env python3
"""Drives the real corvane under Xvfb: corvane_e2e.py CORVANE_BINARY CASE. Every process
started here is stopped by its PID when the case ends, pass or fail."""

import contextlib, json, os, signal, subprocess, sys, tempfile, time, uuid
from pathlib import Path

TIMEOUT = 30.0  # generous: sanitizer builds and kitty's software GL are slow


def wait_until(what, predicate):
    deadline = time.monotonic() + TIMEOUT
    while not (value := predicate()):
        assert time.monotonic() < deadline, f"timed out waiting for {what}"
        time.sleep(0.05)
    return value


def foundation_json(value):
    """config.json's layout: sorted keys, two-space indent, ' : ', '/' escaped, no final newline."""
    text = json.dumps(value, indent=2, separators=(",", " : "), sort_keys=True, ensure_ascii=False)
    return text.replace("/", "\\/").encode()


class Session:
    def __init__(self, corvane, root):
        self.corvane, self.root, self.procs, self.env = corvane, Path(root), [], dict(os.environ)

    def spawn(self, argv, **kwargs):
        self.procs.append(subprocess.Popen(argv, env=self.env, **kwargs))
        return self.procs[-1]

    def stop_all(self):
        # The kittys were started by corvane: stop them by the PIDs that their wrapper noted.
        pids = self.root / "kitty.pids"
        kitties = [int(p) for p in pids.read_bytes().split()] if pids.exists() else []
        for pid in kitties + [p.pid for p in reversed(self.procs)]:
            with contextlib.suppress(ProcessLookupError):
                os.kill(pid, signal.SIGTERM)
        for proc in self.procs:
            with contextlib.suppress(subprocess.TimeoutExpired):
                proc.wait(5)
            proc.kill()

    def start(self, tray):
        """Xvfb (and trayer), two kitty windows in config.json, then corvane."""
        xvfb = self.spawn(["Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten",
                           "tcp"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        display = xvfb.stdout.readline().strip()  # the free display Xvfb chose
        for d in ("config/Corvane", "run", "bin", "home"):
            (self.root / d).mkdir(mode=0o700, parents=True)
        for key in ("DBUS_SESSION_BUS_ADDRESS", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"):
            self.env.pop(key, None)  # without D-Bus, Qt docks through XEmbed into trayer
        # kitty's windows run login shells: a private HOME keeps this user's profile out.
        self.env.update(DISPLAY=":" + display, XDG_CONFIG_HOME=str(self.root / "config"),
                        HOME=str(self.root / "home"), XDG_RUNTIME_DIR=str(self.root / "run"),
                        PATH=f"{self.root / 'bin'}:{self.env['PATH']}")
        # kitty shares one instance per user across displays: keep this test's windows apart.
        kitty = self.root / "bin" / "kitty"
        kitty.write_text(f"#!/bin/sh\necho $$ >> '{self.root / 'kitty.pids'}'\n"
                         f"exec /usr/bin/kitty --instance-group e2e-{uuid.uuid4().hex} \"$@\"\n")
        kitty.chmod(0o755)
        if tray:
            self.spawn(["trayer"], stderr=subprocess.DEVNULL)
            self.xdotool("search", "--sync", "--classname", "^trayer$")
        self.markers = [self.root / f"marker-{i}" for i in (1, 2)]
        new_id = lambda: str(uuid.uuid4()).upper()
        self.config = {"terminalApp": "kitty", "groups": [
            {"id": new_id(), "name": f"Window {i}", "commands": [
                {"id": new_id(), "command": f"echo {word}-{i} >> {marker}", "delayAfter": 0}
                for word in ("one", "two")]} for i, marker in enumerate(self.markers, start=1)]}
        self.config_path = self.root / "config/Corvane/config.json"
        self.config_path.write_bytes(foundation_json(self.config))
        log = open(self.root / "corvane.log", "w")
        self.app = self.spawn([self.corvane], stdout=log, stderr=subprocess.STDOUT)

    def xdotool(self, *args, check=True):
        result = subprocess.run(["xdotool", *args], env=self.env, capture_output=True, text=True,
                                timeout=TIMEOUT)
        assert not check or result.returncode == 0, f"xdotool {args} failed: {result.stderr}"
        return result.stdout.split()

    def windows(self, title_regex, sync=True):
        return self.xdotool("search", "--all", *(["--sync"] if sync else []), "--onlyvisible",
                            "--pid", str(self.app.pid), "--name", title_regex, check=sync)

    def expect_markers_ran(self):
        expected = [f"one-{i} two-{i}".encode().split() for i in (1, 2)]
        wait_until("both kitty windows to run their commands", lambda: all(
            m.exists() and m.read_bytes().split() == e for m, e in zip(self.markers, expected)))
        assert self.app.poll() is None, f"corvane exited with {self.app.returncode}"


def case_tray_run(s):
    s.start(tray=True)
    visible = lambda: s.xdotool("search", "--onlyvisible", "--pid", str(s.app.pid), check=False)
    icon = wait_until("the docked tray icon, corvane's only window", visible)[0]
    s.xdotool("mousemove", "--window", icon, "5", "5", "click", "3")
    wait_until("the tray menu", lambda: len(visible()) == 2)
    s.xdotool("key", "Down", "Return")  # the first enabled entry: Run Startup Commands
    s.expect_markers_ran()


def case_fallback(s):
    s.start(tray=False)  # the fallback window stands in for the tray
    window, before = s.windows("^Corvane$")[0], s.config_path.read_bytes()
    # A later start hands over to the running Corvane, which opens (or raises) its one editor.
    for _ in range(2):
        assert subprocess.run([s.corvane], env=s.env, timeout=TIMEOUT).returncode == 0
        editor = s.windows("Edit Commands$")[0]
    assert len(s.windows("Edit Commands$", sync=False)) == 1, "one editor window"
    assert s.config_path.read_bytes() == before, "opening the editor must not write config.json"
    s.xdotool("windowfocus", "--sync", editor)  # the first window's name field has the focus
    s.xdotool("key", "--window", editor, "ctrl+a")
    s.xdotool("type", "--window", editor, "Build box/1")
    s.config["groups"][0]["name"] = "Build box/1"
    wait_until("config.json with the new name in its exact layout",
               lambda: s.config_path.read_bytes() == foundation_json(s.config))
    assert s.config_path.stat().st_mode & 0o777 == 0o600, "config.json is not private"
    # Ctrl+R in the fallback window runs the commands.
    s.xdotool("windowfocus", "--sync", window)
    s.xdotool("key", "--window", window, "ctrl+r")
    s.expect_markers_ran()


def case_no_display(s):
    for key in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"):
        s.env.pop(key, None)
    # No display at all, then one that names an X server nobody runs.
    for display in ({}, {"DISPLAY": ":%d" % (900 + os.getpid() % 99)}):
        s.env.update(display)
        result = subprocess.run([s.corvane], env=s.env, capture_output=True, text=True,
                                timeout=TIMEOUT)
        lines = [l for l in result.stderr.splitlines() if not l.startswith("QStandardPaths")]
        assert result.returncode != 0 and len(lines) == 1 and "graphical session" in lines[0], \
            f"expected a failure and one line, got {result.returncode} {result.stderr!r}"


corvane, case = os.path.abspath(sys.argv[1]), sys.argv[2]
with tempfile.TemporaryDirectory(prefix="corvane-e2e-") as root:
    session, log = Session(corvane, root), Path(root) / "corvane.log"
    try:
        globals()["case_" + case](session)
    except (AssertionError, subprocess.TimeoutExpired) as error:
        output = log.read_text("utf-8", "replace") if log.exists() else ""
        sys.exit(f"FAIL {case}: {error}\n{output}")
    finally:
        session.stop_all()
print(f"PASS {case}")
