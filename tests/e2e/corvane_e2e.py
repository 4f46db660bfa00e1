#!/usr/bin/env python3
"""The real corvane with real terminals (kitty, XTerm) under Xvfb: corvane_e2e.py CORVANE_BINARY
CASE. The display, tray, folders and processes are harness.py's."""

import contextlib, json, os, shutil, uuid

import harness
from harness import wait_until


def case_fallback(s):
    """Without a tray the fallback window stands in for it: a later start opens the editor there,
    which saves what is typed; Ctrl+R runs two real kitty windows."""
    s.start_display(tray=False)
    # kitty shares one instance per user across displays: keep this test's windows apart.
    s.terminal_wrapper("kitty", ["/usr/bin/kitty", "--instance-group", f"e2e-{uuid.uuid4().hex}"])
    markers = [s.root / f"marker-{i}" for i in (1, 2)]
    config = s.write_config("kitty", [
        (f"Window {i}", [f"echo {word}-{i} >> {marker}" for word in ("one", "two")])
        for i, marker in enumerate(markers, start=1)])
    app = s.start_corvane()
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
    config["groups"][0]["name"] = "Build box/1"
    # (Its layout and permissions are the store's tests.)
    wait_until("config.json with the new name",
               lambda: json.loads(s.config_path.read_text()) == config)
    # Ctrl+R in the fallback window runs the commands.
    s.xdotool("windowfocus", "--sync", window)
    s.xdotool("key", "--window", window, "ctrl+r")
    wait_until("both kitty windows to run their commands", lambda: all(
        m.exists() and m.read_text().split() == [f"one-{i}", f"two-{i}"]
        for i, m in enumerate(markers, start=1)))
    s.alive(app)


def case_new_user_xterm(s):
    """A first start with no configuration, on a desktop whose only terminal is XTerm: the editor
    opens by itself (and writes nothing); the user writes two commands there by keyboard and runs
    them from the tray in a real XTerm window."""
    s.start_display(tray=True)
    bin_dir = s.bin
    s.terminal_wrapper("xterm", ["/usr/bin/xterm"])
    (bin_dir / "x-terminal-emulator").symlink_to("xterm")  # Debian's alternative, as XTerm sets it
    # The only PATH corvane gets, so that this machine's kitty, Konsole or Terminator stay unseen.
    # The window's login shell needs these (Debian's /etc/profile asks `id -u`).
    for tool in ("id", "sleep"):
        (bin_dir / tool).symlink_to(shutil.which(tool))
    app = s.start_corvane(env=dict(s.env, PATH=str(bin_dir)))
    editor = s.window(app, "Edit Commands$")
    icon = s.docked(app, besides=[editor])
    assert not s.config_path.exists(), "opening the editor wrote config.json"
    s.xdotool("windowfocus", "--sync", editor)

    def saved():  # XTerm, the only terminal, is chosen
        with contextlib.suppress(FileNotFoundError):  # written whole, by rename
            config = json.loads(s.config_path.read_bytes())
            return config["terminalApp"], [(c["command"], c["delayAfter"])
                                           for c in config["groups"][0]["commands"]]
    marker = s.root / "marker"
    first, second = (f"echo {word} >> {marker}" for word in ("one", "two"))
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

    # How XTerm is started, and its login shell, are tst_realterminals' to check.
    s.xdotool("mousemove", "--window", icon, "5", "5", "click", "3")
    wait_until("the tray menu", lambda: set(s.visible_windows(app)) - {editor, icon})
    s.xdotool("key", "Down", "Return")  # now Run Startup Commands is enabled
    wait_until("XTerm to run both commands in order", lambda: marker.exists() and
               marker.read_text().split() == ["one", "two"])
    assert len((s.root / "xterm.pids").read_text().split()) == 1, "one group, one XTerm window"
    s.alive(app)


def case_no_display(s):
    # No display at all, then one that names an X server nobody runs.
    for env in (s.env, dict(s.env, DISPLAY=":%d" % (900 + os.getpid() % 99))):
        result = s.corvane_cli(env=env)
        lines = [l for l in result.stderr.splitlines() if not l.startswith("QStandardPaths")]
        assert result.returncode != 0 and len(lines) == 1 and "graphical session" in lines[0], \
            f"expected a failure and one line, got {result.returncode} {result.stderr!r}"


harness.main(globals())
