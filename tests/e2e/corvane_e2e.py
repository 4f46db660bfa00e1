#!/usr/bin/env python3
"""The real corvane with real terminals (kitty, XTerm) under Xvfb: corvane_e2e.py CORVANE_BINARY
CASE. The display, tray, folders and processes are harness.py's."""

import contextlib, json, os, pwd, shutil, uuid
from pathlib import Path

import harness
from harness import foundation_json, wait_until


def start_with_kitty(s, tray):
    """Xvfb (and trayer), two kitty windows of two commands that write markers, then corvane."""
    s.start_display(tray)
    # kitty shares one instance per user across displays: keep this test's windows apart.
    s.terminal_wrapper("kitty", ["/usr/bin/kitty", "--instance-group", f"e2e-{uuid.uuid4().hex}"])
    s.markers = [s.root / f"marker-{i}" for i in (1, 2)]
    s.config = s.write_config("kitty", [
        (f"Window {i}", [f"echo {word}-{i} >> {marker}" for word in ("one", "two")])
        for i, marker in enumerate(s.markers, start=1)])
    return s.start_corvane()


def expect_markers_ran(s, app):
    expected = [f"one-{i} two-{i}".encode().split() for i in (1, 2)]
    wait_until("both kitty windows to run their commands", lambda: all(
        m.exists() and m.read_bytes().split() == e for m, e in zip(s.markers, expected)))
    s.alive(app)


def open_tray_menu(s, app, icon):
    before = set(s.visible_windows(app))
    s.xdotool("mousemove", "--window", icon, "5", "5", "click", "3")
    wait_until("the tray menu", lambda: set(s.visible_windows(app)) - before)


def case_tray_run(s):
    """With a configuration, a start is quiet: only the tray icon shows."""
    app = start_with_kitty(s, tray=True)
    icon = s.docked(app)
    assert s.visible_windows(app) == [icon], "a start with a configuration opened a window"
    open_tray_menu(s, app, icon)
    s.xdotool("key", "Down", "Return")  # the first enabled entry: Run Startup Commands
    expect_markers_ran(s, app)


def case_fallback(s):
    app = start_with_kitty(s, tray=False)  # the fallback window stands in for the tray
    window, before = s.window(app, "^Corvane$"), s.config_path.read_bytes()
    # A later start hands over to the running Corvane, which opens (or raises) its one editor.
    for _ in range(2):
        assert s.corvane_cli().returncode == 0
        editor = s.window(app, "Edit Commands$")
    assert len(s.visible_windows(app, "Edit Commands$")) == 1, "one editor window"
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
    expect_markers_ran(s, app)


def case_new_user_xterm(s):
    """A first start with no configuration, on a desktop whose only terminal is XTerm: the editor
    opens by itself (and writes nothing); the user writes two commands there and runs them from
    the tray in a real XTerm window."""
    s.start_display(tray=True)
    bin_dir = s.bin
    s.terminal_wrapper("xterm", ["/usr/bin/xterm"])
    (bin_dir / "x-terminal-emulator").symlink_to("xterm")  # Debian's alternative, as XTerm sets it
    # The only PATH corvane gets, so that this machine's kitty, Konsole or Terminator stay unseen.
    # The window's login shell needs these (Debian's /etc/profile asks `id -u`).
    for tool in ("id", "date", "sleep"):
        (bin_dir / tool).symlink_to(shutil.which(tool))
    app = s.start_corvane(env=dict(s.env, PATH=str(bin_dir)))
    editor = s.window(app, "Edit Commands$")
    icon = s.docked(app, besides=[editor])
    assert not s.config_path.exists(), "opening the editor wrote config.json"
    s.xdotool("windowfocus", "--sync", editor)

    def saved_config():
        with contextlib.suppress(FileNotFoundError):  # written whole, by rename
            return json.loads(s.config_path.read_bytes())
    commands = lambda: [(c["command"], c["delayAfter"])
                        for c in (saved_config() or {"groups": [{"commands": []}]})["groups"][0]
                        ["commands"]]

    marker = s.root / "marker"
    first, second = (f"echo {word} $(date +%s.%N) >> {marker}" for word in ("one", "two"))
    # By keyboard, as the editor opens with the window's name focused: Tab goes to the first command.
    s.xdotool("key", "--window", editor, "Tab")
    s.xdotool("type", "--window", editor, first)
    wait_until("the first command in config.json", lambda: commands() == [(first, 0)])
    assert saved_config()["terminalApp"] == "xterm", "XTerm, the only terminal, is not chosen"
    s.xdotool("key", "--window", editor, "Tab", "Tab", "ctrl+a")  # past "wait ▾" to the seconds
    s.xdotool("type", "--window", editor, "2")
    wait_until("the delay in config.json", lambda: commands() == [(first, 2)])
    # The step's icon buttons are out of the Tab order: next comes Add Command.
    s.xdotool("key", "--window", editor, "Tab", "space")
    wait_until("a second step", lambda: commands() == [(first, 2), ("", 0)])
    # Add Command leaves the cursor in the new row's command.
    s.xdotool("type", "--window", editor, second)
    wait_until("the second command in config.json",
               lambda: commands() == [(first, 2), (second, 0)])

    open_tray_menu(s, app, icon)
    s.xdotool("key", "Down", "Return")  # now Run Startup Commands is enabled
    xterm_pids = s.root / "xterm.pids"
    xterm = int(wait_until("corvane to start XTerm", lambda: xterm_pids.exists() and
                           xterm_pids.read_text().split())[0])
    shell = pwd.getpwuid(os.getuid()).pw_shell
    window = f"trap : INT; {first}; sleep 2; {second}; exec {shell} -il"
    cmdline = lambda pid: Path(f"/proc/{pid}/cmdline").read_bytes().decode().split("\0")[:-1]
    argv = wait_until("the wrapper to become XTerm", lambda: cmdline(xterm)[0] != "/bin/sh" and
                      cmdline(xterm))
    assert argv == ["/usr/bin/xterm", "-T", "Window 1", "-e", shell, "-ilc", window], \
        f"XTerm started as {argv}"
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
    s.alive(app)


def case_no_display(s):
    # No display at all, then one that names an X server nobody runs.
    for env in (s.env, dict(s.env, DISPLAY=":%d" % (900 + os.getpid() % 99))):
        result = s.corvane_cli(env=env)
        lines = [l for l in result.stderr.splitlines() if not l.startswith("QStandardPaths")]
        assert result.returncode != 0 and len(lines) == 1 and "graphical session" in lines[0], \
            f"expected a failure and one line, got {result.returncode} {result.stderr!r}"


harness.main(globals())
