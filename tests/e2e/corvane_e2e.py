#!/usr/bin/env python3
"""The real corvane's windows under Xvfb, driven by keyboard and mouse: corvane_e2e.py
CORVANE_BINARY CASE. The display, tray, folders, recording terminals and processes are
harness.py's; real terminal windows are tests/launching's."""

import contextlib, json, shutil

import harness
from harness import wait_until


def case_fallback(s):
    """Without a tray the fallback window stands in for it: a later start opens the editor there,
    which saves what is typed; Ctrl+R runs both windows, the new name included."""
    s.start_display(tray=False)
    config = s.fake_kitty()
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
    wait_until("config.json with the new name",
               lambda: json.loads(s.config_path.read_text()) == config)
    s.xdotool("windowfocus", "--sync", window)
    s.xdotool("key", "--window", window, "ctrl+r")
    titles = [a for start in s.take_starts(2) for a in start if a.startswith(b"Build box")]
    assert titles == [b"Build box/1"], "the run did not take the name typed"
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


harness.main(globals())
