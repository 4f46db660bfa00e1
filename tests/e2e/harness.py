"""Shared by the end-to-end tests: a private X display (and trayer as an XEmbed tray), private
configuration, HOME and runtime folders, terminals on PATH that are fakes recording how they were
started (real terminals are tests/launching's), and the real corvane. Every process started here
is stopped by its PID when the case ends, pass or fail."""

import contextlib, json, os, signal, subprocess, sys, tempfile, time, uuid
from pathlib import Path

TIMEOUT = 30.0  # generous: sanitizer builds are slow

# Records each start as NUL-separated $0 and arguments, renamed into place when complete.
RECORDER = """#!/bin/sh
out="{records}/.$$"
printf '%s\\0' "$0" "$@" > "$out"
mv "$out" "{records}/start.$$"
"""
TWO_WINDOWS = [("one", ["echo one"]), ("two", ["echo two"])]


def wait_until(what, predicate, timeout=TIMEOUT):
    deadline = time.monotonic() + timeout
    while not (value := predicate()):
        assert time.monotonic() < deadline, f"timed out waiting for {what}"
        time.sleep(0.05)
    return value


class Session:
    def __init__(self, corvane, root):
        self.corvane, self.root, self.procs = corvane, Path(root), []
        # A space in the terminals' folder: a dry run must quote their paths.
        self.bin, self.records = self.root / "my bin", self.root / "records"
        self.config_path = self.root / "config/Corvane/config.json"
        # A private HOME and XDG folders keep this user's settings out. Without D-Bus, Qt docks
        # through XEmbed.
        self.env = {key: value for key, value in os.environ.items() if key not in (
            "DBUS_SESSION_BUS_ADDRESS", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "DISPLAY",
            "TERMINAL")}
        self.env.update(HOME=str(self.root / "home"), XDG_RUNTIME_DIR=str(self.root / "run"),
                        LC_ALL="C.UTF-8", PATH=f"{self.bin}:{self.env['PATH']}",
                        **{f"XDG_{d.upper()}_HOME": str(self.root / d)
                           for d in ("config", "data", "cache", "state")})
        for d in ("config/Corvane", "run", "my bin", "home", "records", "data", "cache", "state"):
            (self.root / d).mkdir(mode=0o700, parents=True)
        self.log = open(self.root / "corvane.log", "w")

    def spawn(self, argv, **kwargs):
        kwargs.setdefault("env", self.env)
        self.procs.append(subprocess.Popen(argv, **kwargs))
        return self.procs[-1]

    def stop(self, proc):
        """SIGTERM, then SIGKILL after 5 s."""
        with contextlib.suppress(ProcessLookupError):
            proc.send_signal(signal.SIGTERM)
        with contextlib.suppress(subprocess.TimeoutExpired):
            proc.wait(5)
        proc.kill()
        return proc.wait()

    def start_display(self, tray):
        """Xvfb on a free display, and trayer as an XEmbed tray when `tray`."""
        xvfb = self.spawn(["Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten",
                           "tcp"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.env["DISPLAY"] = ":" + xvfb.stdout.readline().strip()
        if tray:
            self.spawn(["trayer"], stderr=subprocess.DEVNULL)
            self.xdotool("search", "--sync", "--classname", "^trayer$")

    def fake_terminal(self, name, text=None):
        """NAME records its starts (RECORDER), or runs TEXT."""
        path = self.bin / name
        path.write_text(text or RECORDER.format(records=self.records))
        path.chmod(0o755)

    def fake_kitty(self, groups=TWO_WINDOWS):
        """A recording kitty, and a configuration that uses it."""
        self.fake_terminal("kitty")
        return self.write_config("kitty", groups)

    def write_config(self, terminal, groups):
        """groups: (name, [command, ...]) pairs; every delay 0. Returns what was written."""
        new_id = lambda: str(uuid.uuid4()).upper()
        config = {"terminalApp": terminal, "groups": [
            {"id": new_id(), "name": name, "commands": [
                {"id": new_id(), "command": command, "delayAfter": 0} for command in commands]}
            for name, commands in groups]}
        self.config_path.write_text(json.dumps(config))
        return config

    def start_corvane(self, *args, env=None):
        """corvane as a lasting process (the instance), its output in corvane.log."""
        return self.spawn([self.corvane, *args], env=env or self.env, stdout=self.log,
                          stderr=subprocess.STDOUT)

    def corvane_cli(self, *args, env=None, cwd=None):
        """corvane as a command that is expected to end, e.g. a hand-over to the instance."""
        return subprocess.run([self.corvane, *args], env=env or self.env, capture_output=True,
                              text=True, timeout=TIMEOUT, cwd=cwd)

    def logged(self):
        self.log.flush()
        return (self.root / "corvane.log").read_text("utf-8", "replace")

    def starts(self):
        """The argument vectors ($0 first) of every recorded start, sorted."""
        return sorted(p.read_bytes().split(b"\0")[:-1] for p in self.records.glob("start.*"))

    def take_starts(self, count):
        """Waits for `count` starts and gives them, sorted; the next call counts afresh."""
        wait_until(f"{count} terminal starts", lambda: len(self.starts()) >= count)
        starts = self.starts()
        assert len(starts) == count, f"expected {count} starts, got {len(starts)}: {starts}"
        for p in self.records.glob("start.*"):
            p.unlink()
        return starts

    def xdotool(self, *args, check=True):
        result = subprocess.run(["xdotool", *args], env=self.env, capture_output=True, text=True,
                                timeout=TIMEOUT)
        assert not check or result.returncode == 0, f"xdotool {args} failed: {result.stderr}"
        return result.stdout.split()

    def visible_windows(self, proc, name=None):
        args = ["search", "--all", "--onlyvisible", "--pid", str(proc.pid)]  # pid AND name
        return self.xdotool(*args, *(["--name", name] if name else []), check=False)

    def window(self, proc, name):
        return wait_until(f"the window {name}", lambda: self.visible_windows(proc, name))[0]

    def docked(self, proc, besides=()):
        """Waits for the process's tray icon in trayer (its only visible window but `besides`)."""
        return wait_until("the docked tray icon", lambda: [
            w for w in self.visible_windows(proc) if w not in besides])[0]


def main(cases):
    """Entry point of the e2e scripts: SCRIPT CORVANE_BINARY CASE, CASE naming a case_ function
    in `cases` (a script's globals())."""
    corvane, case = os.path.abspath(sys.argv[1]), sys.argv[2]
    with tempfile.TemporaryDirectory(prefix="corvane-e2e-") as root:
        session = Session(corvane, root)
        try:
            cases["case_" + case](session)
        except (AssertionError, subprocess.SubprocessError) as error:
            sys.exit(f"FAIL {case}: {error}\n{session.logged()}")
        finally:
            for proc in reversed(session.procs):
                session.stop(proc)
    print(f"PASS {case}")
