#!/usr/bin/env python3
"""The command line of the real corvane: cli_e2e.py CORVANE_BINARY CASE. Terminals are fakes
on PATH that record their argument vectors (harness.RECORDER)."""

import json, re, shlex, signal, subprocess, time
from pathlib import Path

import harness
from harness import wait_until

ALREADY = "corvane: A run is already under way.\n"
NOTHING = "corvane: Nothing to run: no window has a command. Add some in Edit Commands…\n"
TWO_WINDOWS = [("one", ["echo one"]), ("two", ["echo two"])]


def check_ok(result):
    assert (result.returncode, result.stdout, result.stderr) == (0, "", ""), result


def case_run_handover(s):
    """A running Corvane takes `corvane run`; of two at once, one runs and one is refused."""
    s.start_display(tray=True)
    s.fake_terminal("kitty")
    s.write_config("kitty", TWO_WINDOWS)
    app = s.start_corvane()
    s.docked(app)
    # A hand-over needs no display (a script, an SSH session).
    check_ok(s.corvane_cli("run", env={k: v for k, v in s.env.items() if k != "DISPLAY"}))
    s.wait_for_starts(2)

    # The run above lasts a pause per window; let it end before the pair.
    time.sleep(2)
    s.clear_starts()
    pair = [subprocess.Popen([s.corvane, "run"], env=s.env, stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE, text=True) for _ in range(2)]
    results = sorted((p.wait(harness.TIMEOUT), p.stdout.read(), p.stderr.read()) for p in pair)
    assert results == [(0, "", ""), (1, "", ALREADY)], results
    s.wait_for_starts(2)
    time.sleep(2)  # a second run would have started its windows by now
    assert len(s.starts()) == 2, "two requests at once must give one run"
    s.alive(app)


def case_run_starts_instance(s):
    """With none running, `corvane run` becomes the tray instance and runs; two at once give one
    instance and one run."""
    s.start_display(tray=True)
    s.fake_terminal("kitty")
    s.write_config("kitty", TWO_WINDOWS)
    pair = [s.start_corvane("run") for _ in range(2)]
    s.wait_for_starts(2)
    ended = wait_until("one of the two to hand over and end",
                       lambda: [p for p in pair if p.poll() is not None])
    assert len(ended) == 1 and ended[0].returncode == 1, [p.returncode for p in ended]
    app = next(p for p in pair if p.poll() is None)
    s.docked(app)
    time.sleep(2)  # the run ends after a pause per window
    assert len(s.starts()) == 2, "two starts at once must give one run"
    check_ok(s.corvane_cli("run"))
    s.wait_for_starts(4)
    s.alive(app)
    log = (s.root / "corvane.log").read_text()
    assert "A run is already under way." in log, log


def case_nothing_to_run(s):
    """Blank commands only: every `run` says so in one line; the new instance stays anyway."""
    s.start_display(tray=True)
    s.fake_terminal("kitty")
    s.write_config("kitty", [("blank", [" ", ""])])
    app = s.start_corvane("run")
    s.docked(app)
    result = s.corvane_cli("run")
    assert (result.returncode, result.stdout, result.stderr) == (1, "", NOTHING), result
    no_display = {k: v for k, v in s.env.items() if k != "DISPLAY"}
    result = s.corvane_cli("run", "--dry-run", env=no_display)
    assert (result.returncode, result.stdout, result.stderr) == (1, "", NOTHING), result
    assert s.starts() == [] and NOTHING[9:] in (s.root / "corvane.log").read_text()
    s.alive(app)


def case_killed_instance(s):
    """An instance killed outright leaves its socket behind; the next start is not stopped by it."""
    s.start_display(tray=True)
    s.fake_terminal("kitty")
    s.write_config("kitty", TWO_WINDOWS)
    first = s.start_corvane()
    s.docked(first)
    first.send_signal(signal.SIGKILL)
    first.wait()
    sockets = [p for p in (s.root / "run").iterdir() if p.is_socket()]
    assert len(sockets) == 1, "the killed instance's socket is expected to stay behind"
    second = s.start_corvane("run")
    s.wait_for_starts(2)
    s.docked(second)
    check_ok(s.corvane_cli("edit"))
    wait_until("the new instance's editor", lambda: s.visible_windows(second, "Edit Commands$"))


def case_dry_run(s):
    """The dry run's lines, run by bash and by dash, start exactly what a real run starts; for Warp
    it shows the launch file that a run writes and the URL it opens. It needs no display."""
    s.fake_terminal("kitty")
    awkward = [("quotes", ["cd ~ && echo \"it's $HOME\" `id -u`", "printf '%s\\n' a\\ b\t|| true"]),
               ("remote", ["ssh box", "tail -f /var/log/*.log"]),
               ("unicode", ["echo ‘é’ €"])]
    s.write_config("kitty", awkward)
    dry = s.corvane_cli("run", "--dry-run")  # DISPLAY is not set yet
    assert dry.returncode == 0 and dry.stderr == "" and len(dry.stdout.splitlines()) == 3, dry
    by_shell = {}
    for shell in ("bash", "dash"):
        subprocess.run([shell, "-c", dry.stdout], env=s.env, check=True, timeout=harness.TIMEOUT)
        by_shell[shell] = s.wait_for_starts(3)
        s.clear_starts()

    s.start_display(tray=True)
    app = s.start_corvane("run")
    real = s.wait_for_starts(3)
    assert by_shell["bash"] == real and by_shell["dash"] == real, (by_shell, real)
    app.send_signal(signal.SIGTERM)
    app.wait(harness.TIMEOUT)

    s.clear_starts()
    s.fake_terminal("warp-terminal")
    s.fake_terminal("xdg-open")  # where Qt sends a warp:// URL on a desktop without a portal
    s.write_config("warp", awkward)
    dry = s.corvane_cli("run", "--dry-run")
    lines = dry.stdout.splitlines(keepends=True)
    assert dry.returncode == 0 and lines[0].startswith("# /"), dry
    launch_file, file_text, url = Path(lines[0][2:].strip()), "".join(lines[1:-1]), lines[-1].strip()
    assert not launch_file.exists(), "a dry run writes nothing"
    s.start_corvane("run")
    opened = s.wait_for_starts(1)[0]
    assert [a.decode() for a in opened[1:]] == [url], (opened, url)
    assert launch_file.read_text() == file_text


def exec_argv(entry):
    """The Exec key of a desktop entry as the argument vector a desktop starts."""
    exec_line = re.search(r"^Exec=(.*)$", entry, re.M).group(1)
    unescaped = re.sub(r"\\(.)", lambda m: {"s": " ", "n": "\n", "t": "\t", "r": "\r"}.get(
        m.group(1), m.group(1)), exec_line)
    return shlex.split(unescaped.replace("%%", "%"))


def case_autostart(s):
    """The editor's check boxes write, change and remove the autostart entry; it validates, and
    its Exec line starts a Corvane that runs."""
    s.start_display(tray=True)
    s.fake_terminal("kitty")
    s.write_config("kitty", TWO_WINDOWS)
    entry = s.root / "config/autostart/corvane.desktop"
    config = s.root / "config/Corvane/config.json"

    def focus_editor(proc):
        """Points at the editor (with no window manager, the keyboard follows the pointer), then
        types into its first name field until Corvane saves that: keys sent while a new window is
        still taking the focus can be lost, and a lost press of a check box's key would read as a
        wrong setting."""
        editor = wait_until("the editor", lambda: s.visible_windows(proc, "Edit Commands$"))[0]
        s.xdotool("mousemove", "--window", editor, "5", "5")
        name = lambda: json.loads(config.read_bytes())["groups"][0]["name"]
        before, deadline = name(), time.monotonic() + harness.TIMEOUT
        while name() == before:
            assert time.monotonic() < deadline, "the editor never took a key"
            s.xdotool("key", "x")
            time.sleep(0.2)

    def press(key, expected_exec):
        s.xdotool("key", key)
        if expected_exec is None:
            wait_until("the entry to go", lambda: not entry.exists())
            return
        wait_until(f"Exec={expected_exec}", lambda: entry.exists() and
                   exec_argv(entry.read_text()) == expected_exec)
        check = subprocess.run(["desktop-file-validate", str(entry)], capture_output=True,
                               text=True)
        assert (check.returncode, check.stdout) == (0, ""), check
        assert f"\nTryExec={s.corvane}\n" in entry.read_text()

    app = s.start_corvane("edit")
    focus_editor(app)
    press("alt+r", [s.corvane, "run"])  # Run at login checks Start at login too
    press("alt+s", None)                # unchecking Start removes the entry
    press("alt+s", [s.corvane])
    press("alt+r", [s.corvane, "run"])

    # At the next login: no Corvane runs, the desktop starts what the entry says.
    app.send_signal(signal.SIGTERM)
    app.wait(harness.TIMEOUT)
    login = s.spawn(exec_argv(entry.read_text()), stdout=s.log, stderr=subprocess.STDOUT)
    s.wait_for_starts(2)
    s.docked(login)
    check_ok(s.corvane_cli("edit"))
    focus_editor(login)
    press("alt+s", None)


def case_command_line(s):
    """Help, version and usage errors need no display and start nothing."""
    result = s.corvane_cli("--help")
    assert result.returncode == 0 and result.stdout.startswith("Usage: corvane "), result
    result = s.corvane_cli("--version")
    assert result.returncode == 0 and re.fullmatch(r"Corvane \d+\.\d+\.\d+\n", result.stdout)
    for args, error in ((["bogus"], "Unknown command 'bogus'."),
                        (["run", "--bogus"], "Unknown option 'bogus'."),
                        (["edit", "--dry-run"], "--dry-run goes with run.")):
        result = s.corvane_cli(*args)
        lines = result.stderr.splitlines()
        assert result.returncode == 2 and result.stdout == "" and len(lines) == 2, result
        assert lines[0] == "corvane: " + error and lines[1].startswith("Usage: corvane "), lines


harness.main({name[5:]: f for name, f in globals().items() if name.startswith("case_")})
