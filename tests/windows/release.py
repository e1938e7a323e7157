#!/usr/bin/env python3
"""What lies in the release folder, tried as somebody new to it would: unpacked from the zip into a
folder with a blank in its name, registered with its own script, its examples run with cscript, and
taken back again; in a Windows of 32 bits, and in one of 64 bits with programs of both kinds.

`tools/build-windows --check` calls it. Takes the folder that `tools/build-windows` leaves, or the one
in PV_WINDOWS_RELEASE, and the runtimes that tools/wine-runtime finds, which are made when they are
not there. Ends with 0 only when everything was tried and was right; with 77 where a runtime is
missing.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest
import zipfile

from runtime import NOT_HERE, ROOT, Runtime, is_x64, windows

RELEASE = pathlib.Path(os.environ.get("PV_WINDOWS_RELEASE", ROOT / "dist" / "windows"))
ZIP = "pvgroupman-windows.zip"
PVGROUP = ROOT / "build" / "release" / "src" / "cli" / "pvgroup"
FILES = {
    "LICENSE.txt", "create.js", "pvgrpman.tlb", "register.cmd", "walk.vbs", "x64/pvgrpman.dll",
    "x86/pvgrpman.dll",
}
GONE = "Error 2409 from Groups::OpenGroup: The Group could not be opened as it no longer exists."
# What the registry says of classes; the classes of programs of 32 bits lie in a branch of their own.
KEYS = (r"HKLM\Software\Classes", r"HKLM\Software\Wow6432Node\Classes", r"HKCU\Software\Classes")


class Contents(unittest.TestCase):
    def test_all_files_are_there_and_in_the_zip(self):
        found = {str(path.relative_to(RELEASE)) for path in RELEASE.rglob("*") if path.is_file()}
        self.assertEqual(found, FILES | {ZIP})
        with zipfile.ZipFile(RELEASE / ZIP) as packed:
            names = {name for name in packed.namelist() if not name.endswith("/")}
            self.assertEqual(names, FILES)
            for name in FILES:
                self.assertTrue(packed.read(name) == (RELEASE / name).read_bytes(), name)

    def test_libraries_are_for_their_processors(self):
        self.assertFalse(is_x64(RELEASE / "x86" / "pvgrpman.dll"))
        self.assertTrue(is_x64(RELEASE / "x64" / "pvgrpman.dll"))

    def test_the_type_library_is_the_one_inside(self):
        library = (RELEASE / "pvgrpman.tlb").read_bytes()
        self.assertEqual(library[:4], b"MSFT")
        self.assertIn(library, (RELEASE / "x86" / "pvgrpman.dll").read_bytes())

    def test_texts_have_the_line_ends_of_windows(self):
        for name in FILES - {"pvgrpman.tlb", "x64/pvgrpman.dll", "x86/pvgrpman.dll"}:
            text = (RELEASE / name).read_bytes()
            self.assertEqual(text.count(b"\n"), text.count(b"\r\n"), name)
            self.assertEqual(text.count(b"\r"), text.count(b"\r\n"), name)


class OnWindowsOf32Bits(unittest.TestCase):
    """A fresh Windows with the unpacked release; a test's commands run in it one after another."""

    X64 = False  # which Windows

    def setUp(self):
        self.runtime = Runtime(self.X64)
        missing = self.runtime.missing()
        if missing:
            self.skipTest(missing[0])
        made = tempfile.TemporaryDirectory(prefix="pv-release-")
        self.addCleanup(made.cleanup)
        self.folder = pathlib.Path(made.name)
        self.release = self.folder / "our release"
        with zipfile.ZipFile(RELEASE / ZIP) as packed:
            packed.extractall(self.release)
        self.data = self.folder / "data"
        self.data.mkdir()
        # The hosts of scripts, by the kind of programs that they are.
        hosts = {"x64": "system32", "x86": "syswow64"} if self.X64 else {"x86": "system32"}
        self.hosts = {kind: rf"wine 'C:\windows\{name}\cscript.exe' //nologo"
                      for kind, name in hosts.items()}
        # Hosts of scripts write into the registry when they run for the first time.
        (self.folder / "first.vbs").write_text('WScript.Echo "ready"\r\n')
        for done in self.run_all(*(f"{host} ../first.vbs" for host in self.hosts.values())):
            self.assertEqual(done, (0, ["ready"]))

    def run_all(self, *steps):
        """Runs the steps in the release folder; returns the code and the lines of each."""
        marked = "; ".join(f"{{ {step}; }} 2>/dev/null; echo \"== $?\"" for step in steps)
        code, out, err = self.runtime.run(
            self.folder, f"cd '{self.release}'; export PVGROUP_DATA='{windows(self.data)}'; {marked}")
        parts = re.split(r"^== (\d+)\n", out, flags=re.MULTILINE)
        self.assertEqual(len(parts), 2 * len(steps) + 1, f"ended with {code}:\n{out}\n{err}")
        return [(int(parts[i + 1]), parts[i].splitlines()) for i in range(0, len(parts) - 1, 2)]

    def snapshot(self, name):
        """A step that keeps what the registry says of classes."""
        return "; ".join(
            f"wine reg export '{key}' '{windows(self.folder / f'{name}{number}.reg')}' /y "
            ">/dev/null 2>&1" for number, key in enumerate(KEYS))

    def registry(self, name):
        """The keys of a snapshot, each with its values."""
        text = ""
        for number in range(len(KEYS)):
            file = self.folder / f"{name}{number}.reg"
            text += file.read_text(encoding="utf-16") if file.exists() else "\n\n"
        return {block for block in text.split("\n\n") if block.startswith("[")}

    def test_register_create_walk_remove(self):
        steps = {
            "none": self.snapshot("none"),
            "register": "wine cmd /c register.cmd",
            "registered": self.snapshot("registered"),
        }
        for kind, host in self.hosts.items():
            steps.update({
                f"create {kind}": f"{host} create.js 'People {kind}'",
                f"groups {kind}": f"{host} walk.vbs",
            })
        # Each kind of program reads what the other made.
        for kind, host in self.hosts.items():
            for other in self.hosts:
                steps[f"walk {kind} {other}"] = f"{host} walk.vbs 'PEOPLE {other}'"
            steps[f"gone {kind}"] = f"{host} walk.vbs Nobody"
        steps.update({
            "remove": "wine cmd /c register.cmd remove",
            "removed": self.snapshot("removed"),
        })
        for kind, host in self.hosts.items():
            steps[f"no class {kind}"] = f"{host} walk.vbs"
        done = dict(zip(steps, self.run_all(*steps.values())))

        self.assertEqual(done["register"], (0, ["Done."]))
        shown = []
        for kind in self.hosts:
            self.assertEqual(done[f"create {kind}"], (0, [f"Group People {kind} has 2 recipients"]))
            shown.append(f"  People {kind}")
            self.assertEqual(done[f"groups {kind}"],
                             (0, [f"Groups in {windows(self.data)}\\"] + shown))
            for other in self.hosts:
                self.assertEqual(done[f"walk {kind} {other}"],
                                 (0, ["anna@example.org", "bert@example.org", "2 recipients"]))
            self.assertEqual(done[f"gone {kind}"], (1, [GONE]))
            # Wine's host of scripts ends with 0 where a class is missing.
            self.assertEqual(done[f"no class {kind}"][1], [])
        self.assertEqual(done["remove"], (0, ["Done."]))
        none = self.registry("none")
        added = self.registry("registered") - none
        for kind in self.hosts:
            servers = [block for block in added if "\\InprocServer32]" in block and
                       f"\\\\our release\\\\{kind}\\\\pvgrpman.dll" in block]
            self.assertGreaterEqual(len(servers), 14, kind)
        self.assertEqual(self.registry("removed") ^ none, set())

        if PVGROUP.exists():
            for kind in self.hosts:
                subprocess.run([PVGROUP, "verify", f"People {kind}"], check=True,
                               capture_output=True, env=dict(os.environ, PVGROUP_DATA=str(self.data)))

    def test_for_the_user(self):
        done = self.run_all(
            # The user's classes are always there on Windows.
            r"wine reg add 'HKCU\Software\Classes' /f", self.snapshot("none"),
            "wine cmd /c register.cmd user", self.snapshot("user"),
            "wine cmd /c register.cmd remove user", self.snapshot("removed"))
        for number in (2, 4):
            self.assertEqual(done[number], (0, ["Done."]))
        none = self.registry("none")
        added = self.registry("user") - none
        self.assertTrue(any(r"\PVGroupMan.Groups\CLSID]" in block for block in added))
        self.assertTrue(all(block.startswith("[HKEY_CURRENT_USER\\") for block in added))
        self.assertEqual(self.registry("removed") ^ none, set())

    def regsvr32(self, kind, *options):
        """A step that registers one of the libraries, as an installer does."""
        folder = "syswow64" if self.X64 and kind == "x86" else "system32"
        return rf"wine 'C:\windows\{folder}\regsvr32.exe' /s {' '.join(options)} '{kind}\pvgrpman.dll'"

    def test_by_regsvr32_alone(self):
        for kind, host in self.hosts.items():
            done = self.run_all(
                self.snapshot("none"), self.regsvr32(kind),
                f"{host} create.js 'By {kind}'", f"{host} walk.vbs 'By {kind}'",
                self.regsvr32(kind, "/u"), self.snapshot("removed"))
            self.assertEqual(done[1][0], 0)
            self.assertEqual(done[2], (0, [f"Group By {kind} has 2 recipients"]))
            self.assertEqual(done[3], (0, ["anna@example.org", "bert@example.org", "2 recipients"]))
            self.assertEqual(done[4][0], 0)
            self.assertEqual(self.registry("removed") ^ self.registry("none"), set())


class OnWindowsOf64Bits(OnWindowsOf32Bits):
    X64 = True

    def test_one_kind_goes_and_the_other_stays(self):
        for stays, goes in (("x64", "x86"), ("x86", "x64")):
            done = self.run_all(
                self.snapshot("none"), self.regsvr32("x86"), self.regsvr32("x64"),
                self.regsvr32(goes, "/u"), f"{self.hosts[stays]} create.js 'In {stays}'",
                f"{self.hosts[goes]} walk.vbs", self.regsvr32(stays, "/u"),
                self.snapshot("removed"))
            for number in (1, 2, 3, 6):
                self.assertEqual(done[number][0], 0)
            self.assertEqual(done[4], (0, [f"Group In {stays} has 2 recipients"]))
            self.assertEqual(done[5][1], [])
            self.assertEqual(self.registry("removed") ^ self.registry("none"), set())


def main():
    if not (RELEASE / ZIP).exists():
        print(f"no release in {RELEASE}: tools/build-windows unavailable or not run")
        return NOT_HERE
    result = unittest.main(exit=False, verbosity=2).result
    if not result.wasSuccessful():
        return 1
    return NOT_HERE if result.skipped else 0


if __name__ == "__main__":
    sys.exit(main())
