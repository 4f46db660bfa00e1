#!/usr/bin/env python3
"""Drives the real corvane under Xvfb: corvane_e2e.py CORVANE_BINARY CASE. Every process
started here is stopped by its PID when the case ends, pass or fail."""

import contextlib, json, os, pwd, shutil, signal, subprocess, sys, tempfile, time, uuid
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
        self.config_path = self.root / "config/Corvane/config.json"

    def spawn(self, argv, **kwargs):
        self.procs.append(subprocess.Popen(argv, **{"env": self.env, **kwargs}))
        return self.procs[-1]

    def stop_all(self):
        # The terminals were started by corvane: stop them by the PIDs that their wrappers noted.
        terminals = [int(pid) for pids in self.root.glob("*.pids")
                     for pid in pids.read_bytes().split()]
        for pid in terminals:
            with contextlib.suppress(ProcessLookupError):
                os.kill(pid, signal.SIGTERM)
        # Corvane reaps them; stopped before it has, they would stay zombies of a PID 1 that
        # may never reap them.
        deadline = time.monotonic() + 5
        while time.monotonic() < deadline and any(Path(f"/proc/{p}").exists() for p in terminals):
            time.sleep(0.05)
        for proc in reversed(self.procs):
            with contextlib.suppress(ProcessLookupError):
                proc.terminate()
        for proc in self.procs:
            with contextlib.suppress(subprocess.TimeoutExpired):
                proc.wait(5)
            proc.kill()

    def start_display(self, tray):
        """Xvfb (and trayer); a private config home, HOME and bin folder in the environment."""
        xvfb = self.spawn(["Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten",
                           "tcp"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        display = xvfb.stdout.readline().strip()  # the free display Xvfb chose
        for d in ("config", "run", "bin", "home"):
            (self.root / d).mkdir(mode=0o700, parents=True)
        for key in ("DBUS_SESSION_BUS_ADDRESS", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "TERMINAL"):
            self.env.pop(key, None)  # without D-Bus, Qt docks through XEmbed into trayer
        # The terminals' windows run login shells: a private HOME keeps this user's profile out.
        self.env.update(DISPLAY=":" + display, XDG_CONFIG_HOME=str(self.root / "config"),
                        HOME=str(self.root / "home"), XDG_RUNTIME_DIR=str(self.root / "run"),
                        PATH=f"{self.root / 'bin'}:{self.env['PATH']}")
        if tray:
            self.spawn(["trayer"], stderr=subprocess.DEVNULL)
            self.xdotool("search", "--sync", "--classname", "^trayer$")

    def terminal_wrapper(self, name, argv):
        """bin/NAME notes its PID in NAME.pids, then becomes ARGV followed by its arguments."""
        wrapper = self.root / "bin" / name
        wrapper.write_text(f"#!/bin/sh\necho $$ >> '{self.root / (name + '.pids')}'\n"
                           f"exec {' '.join(argv)} \"$@\"\n")
        wrapper.chmod(0o755)

    def launch(self, env=None):
        log = open(self.root / "corvane.log", "w")
        self.app = self.spawn([self.corvane], stdout=log, stderr=subprocess.STDOUT,
                              env=env or self.env)

    def start(self, tray):
        """Xvfb (and trayer), two kitty windows in config.json, then corvane."""
        self.start_display(tray)
        # kitty shares one instance per user across displays: keep this test's windows apart.
        self.terminal_wrapper("kitty", ["/usr/bin/kitty", "--instance-group",
                                        f"e2e-{uuid.uuid4().hex}"])
        self.markers = [self.root / f"marker-{i}" for i in (1, 2)]
        new_id = lambda: str(uuid.uuid4()).upper()
        self.config = {"terminalApp": "kitty", "groups": [
            {"id": new_id(), "name": f"Window {i}", "commands": [
                {"id": new_id(), "command": f"echo {word}-{i} >> {marker}", "delayAfter": 0}
                for word in ("one", "two")]} for i, marker in enumerate(self.markers, start=1)]}
        self.config_path.parent.mkdir(mode=0o700)
        self.config_path.write_bytes(foundation_json(self.config))
        self.launch()

    def xdotool(self, *args, check=True):
        result = subprocess.run(["xdotool", *args], env=self.env, capture_output=True, text=True,
                                timeout=TIMEOUT)
        assert not check or result.returncode == 0, f"xdotool {args} failed: {result.stderr}"
        return result.stdout.split()

    def windows(self, title_regex, sync=True):
        return self.xdotool("search", "--all", *(["--sync"] if sync else []), "--onlyvisible",
                            "--pid", str(self.app.pid), "--name", title_regex, check=sync)

    def visible_windows(self):
        return set(self.xdotool("search", "--onlyvisible", "--pid", str(self.app.pid),
                                check=False))

    def open_tray_menu(self, icon):
        before = self.visible_windows()
        self.xdotool("mousemove", "--window", icon, "5", "5", "click", "3")
        wait_until("the tray menu", lambda: self.visible_windows() - before)

    def saved_config(self):
        with contextlib.suppress(FileNotFoundError):  # written whole, by rename
            return json.loads(self.config_path.read_bytes())

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


def case_new_user_xterm(s):
    """A first start with no configuration, on a desktop whose only terminal is XTerm: the user
    writes two commands in the editor and runs them from the tray in a real XTerm window."""
    s.start_display(tray=True)
    bin_dir = s.root / "bin"
    s.terminal_wrapper("xterm", ["/usr/bin/xterm"])
    (bin_dir / "x-terminal-emulator").symlink_to("xterm")  # Debian's alternative, as XTerm sets it
    # The only PATH corvane gets, so that this machine's kitty, Konsole or Terminator stay unseen.
    # The window's login shell needs these (Debian's /etc/profile asks `id -u`).
    for tool in ("id", "date", "sleep"):
        (bin_dir / tool).symlink_to(shutil.which(tool))
    s.launch(dict(s.env, PATH=str(bin_dir)))
    assert not s.config_path.exists(), "a new user has no config.json"
    icon = wait_until("the docked tray icon", s.visible_windows).pop()

    s.open_tray_menu(icon)
    # Nothing to run yet, so the first enabled entry is Edit Commands.
    s.xdotool("key", "Down", "Return")
    editor = s.windows("Edit Commands$")[0]
    s.xdotool("windowfocus", "--sync", editor)
    commands = lambda: [(c["command"], c["delayAfter"])
                        for c in (s.saved_config() or {"groups": [{"commands": []}]})["groups"][0]
                        ["commands"]]

    marker = s.root / "marker"
    first, second = (f"echo {word} $(date +%s.%N) >> {marker}" for word in ("one", "two"))
    # By keyboard, as the editor opens with the window's name focused. Tab passes the window's
    # move buttons (its delete is disabled while it is the only window) to the first command.
    s.xdotool("key", "--window", editor, "Tab", "Tab", "Tab")
    s.xdotool("type", "--window", editor, first)
    wait_until("the first command in config.json", lambda: commands() == [(first, 0)])
    assert s.saved_config()["terminalApp"] == "xterm", "XTerm, the only terminal, is not chosen"
    s.xdotool("key", "--window", editor, "Tab", "ctrl+a")  # the delay after it
    s.xdotool("type", "--window", editor, "2")
    wait_until("the delay in config.json", lambda: commands() == [(first, 2)])
    # Past the step's move buttons (its delete is disabled: the only step) to Add Command.
    s.xdotool("key", "--window", editor, "Tab", "Tab", "Tab", "space")
    wait_until("a second step", lambda: commands() == [(first, 2), ("", 0)])
    # Add Command leaves the cursor in the new row's command.
    s.xdotool("type", "--window", editor, second)
    wait_until("the second command in config.json",
               lambda: commands() == [(first, 2), (second, 0)])

    s.open_tray_menu(icon)
    s.xdotool("key", "Down", "Return")  # now Run Startup Commands is enabled
    xterm_pids = s.root / "xterm.pids"
    xterm = int(wait_until("corvane to start XTerm", lambda: xterm_pids.exists() and
                           xterm_pids.read_text().split())[0])
    shell = pwd.getpwuid(os.getuid()).pw_shell
    window = f"{first}; sleep 2; {second}; exec {shell} -il"
    cmdline = lambda pid: Path(f"/proc/{pid}/cmdline").read_bytes().decode().split("\0")[:-1]
    argv = wait_until("the wrapper to become XTerm", lambda: cmdline(xterm)[0] != "/bin/sh" and
                      cmdline(xterm))
    assert argv == ["/usr/bin/xterm", "-e", shell, "-ilc", window], f"XTerm started as {argv}"
    s.xdotool("search", "--sync", "--onlyvisible", "--pid", str(xterm))  # its window is up
    marker_lines = lambda: marker.read_text().splitlines() if marker.exists() else []
    lines = wait_until("XTerm to run both commands",
                       lambda: len(marker_lines()) == 2 and marker_lines())
    (word1, time1), (word2, time2) = (line.split() for line in lines)
    assert (word1, word2) == ("one", "two"), f"commands ran out of order: {lines}"
    assert float(time2) - float(time1) >= 2, f"the 2 s delay was not kept: {lines}"
    # The window stays open for the user: its command ends by becoming a login shell.
    children = Path(f"/proc/{xterm}/task/{xterm}/children")
    login_shell = lambda: [cmdline(pid) for pid in children.read_text().split()] == [[shell, "-il"]]
    wait_until("the window's shell to become a login shell", login_shell)
    assert xterm_pids.read_text().split() == [str(xterm)], "one group, one XTerm window"
    assert s.app.poll() is None, f"corvane exited with {s.app.returncode}"


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
