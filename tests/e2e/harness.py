"""Shared by the end-to-end tests of the command line and of the StatusNotifierItem tray: a
private X display, private configuration, HOME and runtime folders, fake terminals on PATH that
record how they were started, and the real corvane. Every process started here is stopped by its
PID when the case ends, pass or fail."""

import contextlib, json, os, signal, subprocess, sys, tempfile, time, uuid
from pathlib import Path

TIMEOUT = 30.0  # generous: sanitizer builds are slow

# Records each start as NUL-separated $0 and arguments, renamed into place when complete.
RECORDER = """#!/bin/sh
out="{records}/.$$"
printf '%s\\0' "$0" "$@" > "$out"
mv "$out" "{records}/start.$$"
"""


def wait_until(what, predicate, timeout=TIMEOUT):
    deadline = time.monotonic() + timeout
    while not (value := predicate()):
        assert time.monotonic() < deadline, f"timed out waiting for {what}"
        time.sleep(0.05)
    return value


def foundation_json(value):
    """config.json's layout: sorted keys, two-space indent, ' : ', '/' escaped, no final newline."""
    text = json.dumps(value, indent=2, separators=(",", " : "), sort_keys=True, ensure_ascii=False)
    return text.replace("/", "\\/").encode()


def new_id():
    return str(uuid.uuid4()).upper()


class Session:
    def __init__(self, corvane, root):
        self.corvane, self.root, self.procs = corvane, Path(root), []
        for d in ("config/Corvane", "run", "bin", "home", "records"):
            (self.root / d).mkdir(mode=0o700, parents=True)
        self.env = dict(os.environ)
        for key in ("DBUS_SESSION_BUS_ADDRESS", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "DISPLAY"):
            self.env.pop(key, None)  # without D-Bus, Qt docks through XEmbed
        self.env.update(XDG_CONFIG_HOME=str(self.root / "config"), HOME=str(self.root / "home"),
                        XDG_RUNTIME_DIR=str(self.root / "run"), LC_ALL="C.UTF-8",
                        PATH=f"{self.root / 'bin'}:{self.env['PATH']}")
        self.records = self.root / "records"
        self.log = open(self.root / "corvane.log", "w")

    def spawn(self, argv, **kwargs):
        kwargs.setdefault("env", self.env)
        self.procs.append(subprocess.Popen(argv, **kwargs))
        return self.procs[-1]

    def stop_all(self):
        for proc in reversed(self.procs):
            with contextlib.suppress(ProcessLookupError):
                proc.send_signal(signal.SIGTERM)
        for proc in self.procs:
            with contextlib.suppress(subprocess.TimeoutExpired):
                proc.wait(5)
            proc.kill()
            proc.wait()

    def start_display(self, tray):
        """Xvfb on a free display, and trayer as an XEmbed tray when `tray`."""
        xvfb = self.spawn(["Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten",
                           "tcp"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.env["DISPLAY"] = ":" + xvfb.stdout.readline().strip()
        if tray:
            self.spawn(["trayer"], stderr=subprocess.DEVNULL)
            self.xdotool("search", "--sync", "--classname", "^trayer$")

    def fake_terminal(self, name):
        path = self.root / "bin" / name
        path.write_text(RECORDER.format(records=self.records))
        path.chmod(0o755)
        return str(path)

    def write_config(self, terminal, groups):
        """groups: (name, [command, ...]) pairs; every delay 0."""
        config = {"terminalApp": terminal, "groups": [
            {"id": new_id(), "name": name, "commands": [
                {"id": new_id(), "command": command, "delayAfter": 0} for command in commands]}
            for name, commands in groups]}
        (self.root / "config/Corvane/config.json").write_bytes(foundation_json(config))

    def start_corvane(self, *args, env=None):
        """corvane as a lasting process (the instance), its output in corvane.log."""
        return self.spawn([self.corvane, *args], env=env or self.env, stdout=self.log,
                          stderr=subprocess.STDOUT)

    def corvane_cli(self, *args, env=None):
        """corvane as a command that is expected to end, e.g. a hand-over to the instance."""
        return subprocess.run([self.corvane, *args], env=env or self.env, capture_output=True,
                              text=True, timeout=TIMEOUT)

    def starts(self):
        """The argument vectors ($0 first) of every recorded start, sorted."""
        return sorted(p.read_bytes().split(b"\0")[:-1] for p in self.records.glob("start.*"))

    def wait_for_starts(self, count):
        wait_until(f"{count} terminal starts", lambda: len(self.starts()) >= count)
        starts = self.starts()
        assert len(starts) == count, f"expected {count} starts, got {len(starts)}: {starts}"
        return starts

    def clear_starts(self):
        for p in self.records.glob("start.*"):
            p.unlink()

    def xdotool(self, *args, check=True):
        result = subprocess.run(["xdotool", *args], env=self.env, capture_output=True, text=True,
                                timeout=TIMEOUT)
        assert not check or result.returncode == 0, f"xdotool {args} failed: {result.stderr}"
        return result.stdout.split()

    def visible_windows(self, proc, name=None):
        args = ["search", "--onlyvisible", "--pid", str(proc.pid)]
        return self.xdotool(*args, *(["--name", name] if name else []), check=False)

    def docked(self, proc):
        """Waits for the process's tray icon in trayer (its only visible window)."""
        return wait_until("the docked tray icon", lambda: self.visible_windows(proc))[0]

    def alive(self, proc):
        assert proc.poll() is None, f"corvane exited with {proc.returncode}"


def main(cases):
    """corvane_e2e-style entry point: SCRIPT CORVANE_BINARY CASE."""
    corvane, case = os.path.abspath(sys.argv[1]), sys.argv[2]
    with tempfile.TemporaryDirectory(prefix="corvane-e2e-") as root:
        session = Session(corvane, root)
        try:
            cases[case](session)
        except (AssertionError, subprocess.TimeoutExpired) as error:
            session.log.flush()
            output = (Path(root) / "corvane.log").read_text("utf-8", "replace")
            sys.exit(f"FAIL {case}: {error}\n{output}")
        finally:
            session.stop_all()
    print(f"PASS {case}")
