#!/usr/bin/env python3
"""Checks Corvane.app's Info.plist, its entitlements and the script that deploys and signs it."""

import argparse
import os
import plistlib
import re
import stat
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ARGS = None

# A stand-in for macdeployqt and codesign: one line per call, its name and arguments separated
# by U+001F, so that an identity with blanks stays one argument.
RECORDER = """#!/bin/sh
{ printf '%s' "${0##*/}"; for a in "$@"; do printf '\\037%s' "$a"; done; printf '\\n'; } >> "$CALLS"
"""


class InfoPlist(unittest.TestCase):
    def setUp(self):
        with open(ARGS.plist, "rb") as file:
            self.plist = plistlib.load(file)

    def test_identity_and_version_come_from_the_build(self):
        for key, expected in [
            ("CFBundleIdentifier", ARGS.identifier),
            ("CFBundleExecutable", ARGS.executable),
            ("CFBundleShortVersionString", ARGS.version),
            ("CFBundleVersion", ARGS.version),
            ("LSMinimumSystemVersion", ARGS.minimum_system),
            ("CFBundlePackageType", "APPL"),
        ]:
            with self.subTest(key=key):
                self.assertEqual(self.plist.get(key), expected)
        self.assertRegex(ARGS.identifier, r"^[A-Za-z0-9-]+(\.[A-Za-z0-9-]+)+$")
        self.assertRegex(ARGS.minimum_system, r"^\d+\.\d+(\.\d+)?$")

    def test_flags_are_booleans(self):
        # A string "true" would read as no flag at all: Corvane would get a Dock icon.
        for key in ["LSUIElement", "NSHighResolutionCapable"]:
            with self.subTest(key=key):
                self.assertIs(self.plist.get(key), True)

    def test_automation_has_a_reason(self):
        # Without it macOS refuses every Apple event with -1743 and never asks the user.
        reason = self.plist.get("NSAppleEventsUsageDescription")
        self.assertIsInstance(reason, str)
        self.assertIn("Terminal", reason)
        self.assertIn("iTerm2", reason)

    def test_nothing_left_unconfigured(self):
        for key, value in self.plist.items():
            with self.subTest(key=key):
                self.assertNotRegex(str(value), r"@\w+@|\$\{")


class Entitlements(unittest.TestCase):
    def test_only_apple_events(self):
        with open(ARGS.entitlements, "rb") as file:
            self.assertEqual(plistlib.load(file),
                             {"com.apple.security.automation.apple-events": True})


class DeployScript(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()
        self.root = Path(self.dir.name)
        for tool in ["macdeployqt", "codesign"]:
            path = self.root / tool
            path.write_text(RECORDER)
            path.chmod(path.stat().st_mode | stat.S_IXUSR)
        self.entitlements = "/src/data/macos/Corvane.entitlements"

    def tearDown(self):
        self.dir.cleanup()

    def install(self, identity, macdeployqt=None, destdir=None):
        values = {
            "CORVANE_MACDEPLOYQT": macdeployqt or str(self.root / "macdeployqt"),
            "CORVANE_CODESIGN": str(self.root / "codesign"),
            "CORVANE_CODESIGN_IDENTITY": identity,
            "CORVANE_ENTITLEMENTS": self.entitlements,
            "CORVANE_BUNDLE_EXECUTABLE": ARGS.executable,
        }
        text = Path(ARGS.deploy_template).read_text()
        # As configure_file(@ONLY) does; a variable the build does not set is an error here.
        script = self.root / "deploy.cmake"
        script.write_text(re.sub(r"@(\w+)@", lambda m: values[m.group(1)], text))
        env = dict(os.environ, CALLS=str(self.root / "calls"))
        env.pop("DESTDIR", None)
        if destdir:
            env["DESTDIR"] = destdir
        result = subprocess.run(
            [ARGS.cmake, "-DCMAKE_INSTALL_PREFIX=/Applications", "-P", str(script)],
            env=env, capture_output=True, text=True)
        calls = self.root / "calls"
        lines = calls.read_text().splitlines() if calls.exists() else []
        return result, [line.split("\x1f") for line in lines]

    def test_deploys_then_signs_inside_out(self):
        app = "/Applications/" + ARGS.executable + ".app"
        identity = "Developer ID Application: Example (TEAM123)"
        sign = ["codesign", "--force", "--options", "runtime"]
        signed_by = ["--entitlements", self.entitlements, "--sign"]
        for name, given, expected in [
            ("unsigned", "", [["macdeployqt", app]]),
            ("ad hoc", "-", [
                ["macdeployqt", app, "-codesign=-", "-hardened-runtime"],
                sign + signed_by + ["-", app]]),
            ("developer id", identity, [
                ["macdeployqt", app, "-codesign=" + identity, "-hardened-runtime", "-timestamp"],
                sign + ["--timestamp"] + signed_by + [identity, app]]),
        ]:
            with self.subTest(name):
                (self.root / "calls").unlink(missing_ok=True)
                result, calls = self.install(given)
                self.assertEqual(result.returncode, 0, result.stderr)
                self.assertEqual(calls, expected)

    def test_staging_directory_is_honoured(self):
        result, calls = self.install("", destdir="/tmp/stage")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(calls, [["macdeployqt", "/tmp/stage/Applications/"
                                  + ARGS.executable + ".app"]])

    def test_missing_macdeployqt_fails_the_install(self):
        # What find_program leaves when Qt's bin folder has no macdeployqt.
        result, calls = self.install("-", macdeployqt="CORVANE_MACDEPLOYQT-NOTFOUND")
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("macdeployqt", result.stderr)
        self.assertEqual(calls, [])


def main():
    global ARGS
    parser = argparse.ArgumentParser()
    for option in ["plist", "entitlements", "deploy-template", "cmake", "identifier",
                   "executable", "version", "minimum-system"]:
        parser.add_argument("--" + option, required=True)
    ARGS, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)


if __name__ == "__main__":
    main()
