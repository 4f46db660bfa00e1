#!/usr/bin/python3
"""The real corvane under Xvfb: its command line, its windows driven by keyboard and mouse, and its
tray, in trayer (XEmbed) or through a StatusNotifierItem watcher written here. cli_e2e.py
CORVANE_BINARY CASE, with Debian's python3-dbus and python3-gi. Each case gets private X display,
configuration, HOME and runtime folders, and terminals on PATH that are fakes recording how they
were started (real terminal windows are tests/launching's). Every process started here is stopped
by its PID when the case ends, pass or fail."""

import contextlib, json, os, re, shutil, signal, subprocess, sys, tempfile, time, uuid
from pathlib import Path

import dbus, dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

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
        with contextlib.suppress(ProcessLookupError):
            proc.send_signal(signal.SIGTERM)
        with contextlib.suppress(subprocess.TimeoutExpired):
            proc.wait(5)
        proc.kill()
        return proc.wait()

    def start_display(self, tray):
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

    def fake_kitty(self, groups=(("one", ["echo one"]), ("two", ["echo two"]))):
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


ALREADY = "corvane: A run is already under way.\n"
NOTHING = "corvane: Nothing to run: no window has a command. Add some in Edit Commands…\n"
USAGE = "Usage: corvane [run [--dry-run | --no-wait] | edit]"


def check_ok(result):
    assert (result.returncode, result.stdout, result.stderr) == (0, "", ""), result


def case_command_line(s):
    """Command lines that end at once, with no config.json: the exit status, the first line
    printed (on stdout for 0, else on stderr), and a usage error's usage line. Without a display,
    or with one that no X server answers, corvane says so in one line."""
    version = re.compile(r"Corvane \d+\.\d+\.\d+")
    nobody = ":%d" % (900 + os.getpid() % 99)
    no_session = "corvane: needs a graphical session "
    for args, status, first in (
            ("--help", 0, USAGE), ("-h", 0, USAGE), ("run --help", 0, USAGE),
            ("--version", 0, version), ("-v", 0, version),
            ("--dry-run run", 1, NOTHING.strip()),
            ("Run", 2, "corvane: Unknown command 'Run'."),
            ("run --now", 2, "corvane: Unknown option 'now'."),
            # Qt's own options are not Corvane's.
            ("-platform offscreen", 2, "corvane: Unknown options: p, l, a, t, f, o, r, m."),
            ("run edit", 2, "corvane: Too many arguments: edit."),
            ("edit --dry-run", 2, "corvane: --dry-run goes with run."),
            ("--no-wait", 2, "corvane: --no-wait goes with run."),
            ("run --no-wait --dry-run", 2, "corvane: --dry-run and --no-wait do not go together."),
            ("", 1, no_session + "(no DISPLAY or WAYLAND_DISPLAY set)"),
            (f"DISPLAY={nobody}", 1, no_session + f"(no X server answers on DISPLAY {nobody})")):
        words = args.split()  # NAME=value words set the environment, as in a shell
        env = dict(s.env, **dict(w.split("=", 1) for w in words if "=" in w))
        result = s.corvane_cli(*[w for w in words if "=" not in w], env=env)
        streams = (result.stdout, result.stderr)
        printed, other = streams[::-1] if status else streams
        lines = printed.splitlines()
        assert result.returncode == status and other == "" and lines, (args, result)
        assert first.fullmatch(lines[0]) if isinstance(first, re.Pattern) else lines[0] == first, \
            (args, lines)
        usage = [USAGE + "   (corvane --help tells more)"] if status == 2 else []
        assert status == 0 or lines[1:] == usage, (args, lines)


def case_dry_run(s):
    """The dry run's lines, run by bash and by dash, start exactly what a real run starts; for Warp
    it shows the launch file that a run writes and the URL it opens. It needs no display, and
    takes a relative XDG_CONFIG_HOME for no place."""
    awkward = [("quotes", ["cd ~ && echo \"it's $HOME\" `id -u`", "printf '%s\\n' a\\ b\t|| true"]),
               ("remote", ["ssh box", "tail -f /var/log/*.log"]),
               ("unicode", ["echo ‘é’ €"]), ("two lines", ["echo one\necho two"])]
    s.fake_kitty(awkward)
    # Relative to the current folder it would name config.json; ~/.config holds none.
    relative = s.corvane_cli("run", "--dry-run", env=dict(s.env, XDG_CONFIG_HOME="config"),
                             cwd=s.root)
    assert (relative.returncode, relative.stderr) == (1, NOTHING), relative
    dry = s.corvane_cli("run", "--dry-run")
    # One line per window; a command's line break stays inside its quotes.
    assert dry.returncode == 0 and dry.stderr == "" and dry.stdout.count("\n") == 5, dry
    by_shell = {}
    for shell in ("bash", "dash"):
        subprocess.run([shell, "-c", dry.stdout], env=s.env, check=True, timeout=TIMEOUT)
        by_shell[shell] = s.take_starts(4)

    s.start_display(tray=True)
    app = s.start_corvane("run")
    real = s.take_starts(4)
    assert by_shell["bash"] == real and by_shell["dash"] == real, (by_shell, real)
    s.stop(app)

    s.fake_terminal("warp-terminal")
    s.fake_terminal("xdg-open")  # where Qt sends a warp:// URL on a desktop without a portal
    s.write_config("warp", awkward)
    dry = s.corvane_cli("run", "--dry-run")
    lines = dry.stdout.splitlines(keepends=True)
    assert dry.returncode == 0 and lines[0].startswith("# /"), dry
    launch_file, url = Path(lines[0][2:].strip()), lines[-1].strip()
    assert not launch_file.exists(), "a dry run writes nothing"
    s.start_corvane("run")
    opened = s.take_starts(1)[0]
    assert [a.decode() for a in opened[1:]] == [url], (opened, url)
    assert launch_file.read_text() == "".join(lines[1:-1])


def case_run(s):
    """With blank commands only, `run` is refused in one line by a new instance (which stays) and
    by a running one. Once that is killed outright (its socket left behind), of two `run`s at once
    one becomes the tray instance (only its icon shows) and runs, the other is refused. `run`
    waits for the outcome, `--no-wait` does not, also without a display; a run that ends with an
    alert fails with its text. An unreadable config.json is named, with the parser's reason, by a
    dry run and by the instance that loaded it."""
    s.start_display(tray=True)
    s.fake_kitty([("blank", [" ", ""])])
    killed = s.start_corvane("run")
    s.docked(killed)
    result = s.corvane_cli("run")
    assert (result.returncode, result.stdout, result.stderr) == (1, "", NOTHING), result
    assert s.starts() == [] and s.logged().count(NOTHING) == 1, s.logged()
    killed.send_signal(signal.SIGKILL)
    assert killed.wait() == -signal.SIGKILL, "the instance did not stay"
    assert [p for p in (s.root / "run").iterdir() if p.is_socket()], "no socket left behind"

    s.fake_kitty()
    pair = [s.start_corvane("run") for _ in range(2)]
    s.take_starts(2)
    ended = wait_until("one of the two to hand over and end",
                       lambda: [p for p in pair if p.poll() is not None])
    assert len(ended) == 1 and ended[0].returncode == 1 and ALREADY in s.logged(), s.logged()
    app = next(p for p in pair if p.poll() is None)
    icon = s.docked(app)
    assert s.visible_windows(app) == [icon], "a start with a configuration opened a window"

    # As a script or an SSH session of the same user would.
    no_display = {key: value for key, value in s.env.items() if key != "DISPLAY"}
    run = lambda: (r := s.corvane_cli("run", env=no_display)).stderr != ALREADY and r
    check_ok(wait_until("a waited run", run))
    check_ok(s.corvane_cli("run", "--no-wait", env=no_display))
    busy = s.corvane_cli("run", "--no-wait")
    assert (busy.returncode, busy.stderr) == (1, ALREADY), busy
    check_ok(wait_until("a waited run after it", run))
    s.fake_terminal("kitty", "#!/bin/sh\necho 'kitty: no display' >&2\nexit 1\n")
    failed = run()
    assert failed.returncode == 1 and failed.stderr.startswith("corvane: Couldn’t ") and \
        "Couldn’t launch kitty" in failed.stderr and failed.stderr.count("\n") == 1, failed

    s.stop(app)
    s.config_path.write_text('{\n  "groups" : [\n    { "name" : "a" ]\n}')
    unreadable = (f"corvane: Couldn’t read {s.config_path}: line 3, column 20: "
                  "unterminated object.\n")
    dry = s.corvane_cli("run", "--dry-run")
    assert (dry.returncode, dry.stdout, dry.stderr) == (1, "", unreadable), dry
    s.docked(s.start_corvane())
    refused = s.corvane_cli("run")
    assert (refused.returncode, refused.stderr) == (1, unreadable), refused


def case_fallback(s):
    """Without a tray the fallback window stands in for it: a later start opens the editor there,
    and Ctrl+R runs both windows. (What the editor saves is the new user's case.)"""
    s.start_display(tray=False)
    s.fake_kitty()
    app = s.start_corvane()
    window, before = s.window(app, "^Corvane$"), s.config_path.read_bytes()
    # A later start hands over to the running Corvane, which opens (or raises) its one editor.
    for _ in range(2):
        assert s.corvane_cli().returncode == 0
        s.window(app, "Edit Commands$")
    assert len(s.visible_windows(app, "Edit Commands$")) == 1, "one editor window"
    assert s.config_path.read_bytes() == before, "opening the editor must not write config.json"
    s.xdotool("windowfocus", "--sync", window)
    s.xdotool("key", "--window", window, "ctrl+r")
    s.take_starts(2)
    assert app.poll() is None, "corvane exited"


def case_new_user_xterm(s):
    """A first start with no configuration, on a desktop whose only terminal is XTerm: the editor
    opens by itself (and writes nothing); the user writes two commands there by keyboard and runs
    them from the tray in one XTerm window. Run at login (which checks Start at login too) writes
    an autostart entry that starts this corvane with `run`; unchecking Start at login removes it.
    (The entry itself is tst_linuxplatform's.)"""
    s.start_display(tray=True)
    s.fake_terminal("xterm")
    (s.bin / "x-terminal-emulator").symlink_to("xterm")  # Debian's alternative, as XTerm sets it
    (s.bin / "mv").symlink_to(shutil.which("mv"))  # for the recorder
    # The only PATH corvane gets, so that this machine's kitty, Konsole or Terminator stay unseen.
    app = s.start_corvane(env=dict(s.env, PATH=str(s.bin)))
    editor = s.window(app, "Edit Commands$")
    icon = s.docked(app, besides=[editor])
    assert not s.config_path.exists(), "opening the editor wrote config.json"
    s.xdotool("windowfocus", "--sync", editor)

    def saved():  # XTerm, the only terminal, is chosen
        with contextlib.suppress(FileNotFoundError):  # written whole, by rename
            config = json.loads(s.config_path.read_bytes())
            return config["terminalApp"], [(c["command"], c["delayAfter"])
                                           for c in config["groups"][0]["commands"]]
    first, second = "echo one", "echo two"
    # By keyboard, as the editor opens with the window's name focused: keys, text, then saved.
    for keys, text, commands in (
            (["Tab"], first, [(first, 0)]),  # to the first command
            (["Tab", "Tab", "ctrl+a"], "1", [(first, 1)]),  # past "wait ▾" to the seconds
            # The step's icon buttons are out of the Tab order: next comes Add Command, which
            # leaves the cursor in the new row's command.
            (["Tab", "space"], second, [(first, 1), (second, 0)])):
        s.xdotool("key", "--window", editor, *keys)
        s.xdotool("type", "--window", editor, text)
        wait_until(f"{commands} in config.json", lambda: saved() == ("xterm", commands))
    entry = s.root / "config/autostart/corvane.desktop"
    s.xdotool("key", "--window", editor, "alt+r")
    wait_until("Exec=corvane run",
               lambda: entry.exists() and f"\nExec={s.corvane} run\n" in entry.read_text())
    s.xdotool("key", "--window", editor, "alt+s")
    wait_until("the entry to go", lambda: not entry.exists())

    s.xdotool("mousemove", "--window", icon, "5", "5", "click", "3")
    wait_until("the tray menu", lambda: set(s.visible_windows(app)) - {editor, icon})
    s.xdotool("key", "Down", "Return")  # now Run Startup Commands is enabled
    [start] = s.take_starts(1)  # one group, one XTerm window, with both commands
    assert start[0].endswith(b"/xterm") and b"echo one; sleep 1; echo two" in start[-1], start
    assert app.poll() is None, "corvane exited"


WATCHER = "org.kde.StatusNotifierWatcher"
# Qt reads IsStatusNotifierHostRegistered through an introspected interface, so the property must
# be in the introspection data, which dbus-python does not generate for properties.
INTROSPECTION = f"""<node><interface name="{WATCHER}">
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
</interface></node>"""


class Watcher(dbus.service.Object):
    """What a panel provides: the watcher, with a host registered, that items register with."""

    def __init__(self, bus):
        super().__init__(bus, "/StatusNotifierWatcher")
        self.items = []  # bus names

    @dbus.service.method(WATCHER, in_signature="s")
    def RegisterStatusNotifierItem(self, service):
        self.items.append(str(service))

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, interface, name):  # IsStatusNotifierHostRegistered, the one Qt asks for
        return dbus.Boolean(True)

    @dbus.service.method(dbus.INTROSPECTABLE_IFACE, out_signature="s")
    def Introspect(self):
        return INTROSPECTION


def case_sni_menu(s):
    """The item registers with Corvane's icon and menu, and a click on Run Startup Commands sent
    by the host starts a run."""
    bus_daemon = s.spawn(["dbus-daemon", "--session", "--nofork", "--print-address=1"],
                         stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    address = bus_daemon.stdout.readline().strip()
    s.env["DBUS_SESSION_BUS_ADDRESS"] = address
    s.start_display(tray=False)  # no XEmbed tray: only the StatusNotifierItem host
    s.fake_kitty()

    DBusGMainLoop(set_as_default=True)
    bus = dbus.bus.BusConnection(address)
    watcher = Watcher(bus)
    bus.request_name(WATCHER)
    app = s.start_corvane()

    def registered():  # serves the bus, so that the watcher answers
        while GLib.MainContext.default().iteration(False):
            pass
        return watcher.items
    wait_until("the item to register", registered)

    item = bus.get_object(watcher.items[0], "/StatusNotifierItem")
    props = item.GetAll("org.kde.StatusNotifierItem", dbus_interface=dbus.PROPERTIES_IFACE)
    assert props["ToolTip"][2] == "Corvane", props["ToolTip"]
    assert props["IconName"] or any(len(p[2]) for p in props["IconPixmap"]), "no icon"
    assert s.visible_windows(app) == [], "the fallback window must not show beside a tray"

    menu = dbus.Interface(bus.get_object(watcher.items[0], props["Menu"]), "com.canonical.dbusmenu")
    menu.AboutToShow(0)  # as hosts do before showing a menu
    _, (_, _, children) = menu.GetLayout(0, -1, [])
    # The top level's visible entries by label (a separator has none), with their ids.
    entries = {str(props.get("label", "-")): int(i)
               for i, props, _ in children if props.get("visible", True)}
    assert list(entries) == ["Run Startup Commands", "Edit Commands…", "-", "Check for Updates…",
                             "Quit Corvane"], entries
    menu.Event(entries["Run Startup Commands"], "clicked", dbus.Int32(0, variant_level=1),
               dbus.UInt32(0))
    s.take_starts(2)
    assert app.poll() is None, "corvane exited"


def main():
    """CORVANE_BINARY CASE, CASE naming a case_ function here."""
    corvane, case = os.path.abspath(sys.argv[1]), sys.argv[2]
    with tempfile.TemporaryDirectory(prefix="corvane-e2e-") as root:
        session = Session(corvane, root)
        try:
            globals()["case_" + case](session)
        except (AssertionError, subprocess.SubprocessError) as error:
            sys.exit(f"FAIL {case}: {error}\n{session.logged()}")
        finally:
            for proc in reversed(session.procs):
                session.stop(proc)
    print(f"PASS {case}")


main()
