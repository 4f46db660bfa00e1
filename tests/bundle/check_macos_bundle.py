#!/usr/bin/env python3
"""Checks Corvane.app's Info.plist, its entitlements and the script that deploys and signs it."""

import argparse, os, plistlib, re, shutil, subprocess, sys, tempfile, unittest
from pathlib import Path

# A stand-in for macdeployqt and codesign: one line per call, its name and arguments separated
# by U+001F, so that an identity with blanks stays one argument. A call whose first argument is
# $FAIL fails.
RECORDER = """#!/bin/sh
{ printf '%s' "${0##*/}"; for a in "$@"; do printf '\\037%s' "$a"; done; printf '\\n'; } >> "$CALLS"
[ "$1" != "$FAIL" ]
"""


class BundleFiles(unittest.TestCase):
    def test_info_plist(self):
        plist = plistlib.loads(Path(ARGS.plist).read_bytes())
        # Types count: a string "true" is no flag at all, and Corvane would get a Dock icon.
        expected = {"CFBundleIdentifier": ARGS.identifier, "CFBundleExecutable": ARGS.executable,
                    "CFBundleIconFile": ARGS.icon, "CFBundleShortVersionString": ARGS.version,
                    "CFBundleVersion": ARGS.version, "LSMinimumSystemVersion": ARGS.minimum_system,
                    "CFBundlePackageType": "APPL", "LSUIElement": True,
                    "NSHighResolutionCapable": True}
        typed = lambda d: {key: (type(d.get(key)), d.get(key)) for key in expected}
        self.assertEqual(typed(plist), typed(expected))
        # Without it macOS refuses every Apple event with -1743 and never asks the user.
        self.assertRegex(plist.get("NSAppleEventsUsageDescription", ""), "Terminal.*iTerm2")

    def test_entitlements_allow_only_apple_events(self):
        self.assertEqual(plistlib.loads(Path(ARGS.entitlements).read_bytes()),
                         {"com.apple.security.automation.apple-events": True})

    # SMAppService finds the agent by this file name; launchd starts the bundle's own executable
    # (a path inside the bundle, wherever it lies) with `run`, in graphical logins only.
    def test_run_at_login_agent(self):
        agent = Path(ARGS.run_agent)
        self.assertEqual(agent.name, ARGS.identifier + ".run.plist")
        self.assertEqual(plistlib.loads(agent.read_bytes()), {
            "Label": ARGS.identifier + ".run",
            "BundleProgram": "Contents/MacOS/" + ARGS.executable,
            "ProgramArguments": [ARGS.executable, "run"],
            "RunAtLoad": True, "ProcessType": "Interactive", "LimitLoadToSessionType": "Aqua"})

    def test_deploy_script_signs_inside_out_and_verifies(self):
        root = Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, root)
        for tool in ["macdeployqt", "codesign"]:
            (root / tool).write_text(RECORDER)
            (root / tool).chmod(0o755)
        entitlements, calls = "/src/Corvane.entitlements", root / "calls"
        values = {"CORVANE_MACDEPLOYQT": str(root / "macdeployqt"),
                  "CORVANE_CODESIGN": str(root / "codesign"), "CORVANE_ENTITLEMENTS": entitlements,
                  "CORVANE_BUNDLE_EXECUTABLE": ARGS.executable}
        app = "/Applications/" + ARGS.executable + ".app"
        identity = "Developer ID Application: Example (TEAM123)"
        # Ad hoc (for an empty identity too) without the hardened runtime and the timestamp; a
        # named identity with both, into a staging DESTDIR; an ad-hoc bundle that does not verify.
        adhoc = [["macdeployqt", app, "-codesign=-"],
                 ["codesign", "--force", "--entitlements", entitlements, "--sign", "-", app],
                 ["codesign", "--verify", "--deep", "--strict", app]]
        staged = "/tmp/stage" + app
        for given, destdir, failing, expected in [
            ("", "", "", adhoc),
            (identity, "/tmp/stage", "", [
                ["macdeployqt", staged, "-codesign=" + identity, "-hardened-runtime", "-timestamp"],
                ["codesign", "--force", "--options", "runtime", "--timestamp", "--entitlements",
                 entitlements, "--sign", identity, staged],
                ["codesign", "--verify", "--deep", "--strict", staged]]),
            ("-", "", "--verify", adhoc),
        ]:
            with self.subTest(identity=given, failing=failing):
                # As configure_file(@ONLY) does; a variable the build does not set is an error.
                configured = dict(values, CORVANE_CODESIGN_IDENTITY=given)
                script = root / "deploy.cmake"
                script.write_text(re.sub(r"@(\w+)@", lambda m: configured[m.group(1)],
                                         Path(ARGS.deploy_template).read_text()))
                calls.unlink(missing_ok=True)
                result = subprocess.run(
                    [ARGS.cmake, "-DCMAKE_INSTALL_PREFIX=/Applications", "-P", str(script)],
                    env=dict(os.environ, CALLS=str(calls), DESTDIR=destdir, FAIL=failing),
                    capture_output=True, text=True)
                self.assertEqual(result.returncode != 0, bool(failing), result.stderr)
                self.assertEqual([line.split("\x1f") for line in calls.read_text().splitlines()],
                                 expected)


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for option in ["plist", "entitlements", "run-agent", "deploy-template", "cmake", "identifier",
                   "executable", "icon", "version", "minimum-system"]:
        parser.add_argument("--" + option, required=True)
    ARGS, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)
