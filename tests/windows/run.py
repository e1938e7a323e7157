"""The component on Windows: registers the DLL with a Windows runtime and drives it as hosts do.

Needs what `tools/build-windows --test` leaves in PV_WINDOWS_BUILD, and a runtime that
tools/wine-runtime finds; ends with 77 where one of them is missing.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
RUNTIME = ROOT / "tools" / "wine-runtime"
BUILD = pathlib.Path(os.environ.get("PV_WINDOWS_BUILD", ROOT / "build" / "windows-x86"))
DLL = BUILD / "src" / "server" / "com" / "pvgrpman.dll"
PVGROUP = os.environ.get("PVGROUP", str(ROOT / "build" / "release" / "src" / "cli" / "pvgroup"))
IDL = ROOT / "build" / "release" / "pvgrpman.idl"

NOT_HERE = 77

# What comes with every Windows.
SYSTEM_LIBRARIES = {
    "advapi32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll", "shell32.dll",
    "user32.dll",
}

folder = None  # of the whole run: the Windows installation and a folder for each test


def windows(path):
    """The path of a file of ours as Windows programs see it."""
    return "Z:" + str(path).replace("/", "\\")


def start(command, **options):
    """Starts a shell command that may call wine."""
    return subprocess.Popen([str(RUNTIME), "run", str(folder / "prefix"), str(folder), command],
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, **options)


def run(command):
    process = start(command)
    out, err = process.communicate()
    return process.returncode, out.replace("\r\n", "\n"), err


class WindowsTest(unittest.TestCase):
    def setUp(self):
        self.folder = folder / self.id().split(".")[-1]
        self.data = self.folder / "data"
        self.data.mkdir(parents=True)

    def script(self, name, *arguments):
        """Puts a script of this folder behind its harness; returns the command that runs both."""
        source = HERE / name
        text = (HERE / ("harness" + source.suffix)).read_text() + source.read_text()
        copy = self.folder / name
        copy.write_text(text.replace("\n", "\r\n"))
        words = " ".join(f"'{a}'" for a in (windows(self.data),) + arguments)
        return f"wine cscript //nologo '{windows(copy)}' {words}"

    def check_script(self, name, least, *arguments):
        """Runs a script and expects at least so many checks, all of them good."""
        _, out, err = run(self.script(name, *arguments))
        done = re.search(r"^DONE (\d+) checks, (\d+) failures$", out, re.MULTILINE)
        self.assertIsNotNone(done, f"{name} did not come to its end:\n{out}\n{err}")
        self.assertEqual((done.group(2), "FAIL" in out), ("0", False), out)
        self.assertGreaterEqual(int(done.group(1)), least, out)

    def program(self, name):
        path = BUILD / "tests" / "windows" / name
        self.assertTrue(path.exists(), f"{path} is not built")
        copy = self.folder / name
        shutil.copy(path, copy)
        return copy

    def verify(self):
        """Every group of the data folder is sound."""
        names = [p.stem for p in self.data.glob("*.pvg")]
        for name in names:
            result = subprocess.run([PVGROUP, "verify", str(self.data / (name + ".pvg"))],
                                    capture_output=True, text=True)
            self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        return len(names)


class Scripts(WindowsTest):
    def test_every_class_by_its_prog_id(self):
        names = re.findall(r"coclass (\w+)", IDL.read_text())
        self.assertGreaterEqual(len(names), 14)
        self.check_script("classes.vbs", 2 * len(names), *names)

    def test_life_of_a_group(self):
        self.check_script("group_life.vbs", 45)

    def test_life_of_a_group_in_jscript(self):
        self.check_script("group_life.js", 9)

    def test_collections(self):
        self.check_script("collections.vbs", 25)
        self.assertGreaterEqual(self.verify(), 2)

    def test_errors(self):
        self.check_script("errors.vbs", 22)
        self.assertIn("OpenTable", (self.data / "component.log").read_text())

    def test_bad_input(self):
        self.check_script("bad_input.vbs", 30)


class Binary(unittest.TestCase):
    def test_needs_nothing_but_windows(self):
        dump = subprocess.run(["i686-w64-mingw32-objdump", "-p", str(DLL)], capture_output=True,
                              text=True, check=True).stdout
        needed = {name.lower() for name in re.findall(r"DLL Name: (\S+)", dump)}
        self.assertIn("kernel32.dll", needed)
        self.assertEqual(needed - SYSTEM_LIBRARIES, set())
        exported = set(re.findall(r"\[ *\d+\] (Dll\w+)", dump))
        self.assertEqual(exported, {"DllCanUnloadNow", "DllGetClassObject", "DllInstall",
                                    "DllRegisterServer", "DllUnregisterServer"})


def main():
    global folder
    if not DLL.exists():
        print(f"Windows programs are not built here ({DLL} is not there): "
              "tools/build-windows --test unavailable")
        return NOT_HERE
    found = subprocess.run([str(RUNTIME), "check"], capture_output=True, text=True)
    if found.returncode != 0:
        print(found.stderr.strip() or "a Windows runtime is unavailable")
        return NOT_HERE if found.returncode == NOT_HERE else 1
    with tempfile.TemporaryDirectory(prefix="pv-windows-") as made:
        folder = pathlib.Path(made)
        shutil.copy(DLL, folder)
        code, out, err = run(f"wine regsvr32 /s {folder}/{DLL.name}")
        if code != 0:
            print(f"regsvr32 failed with {code}: {out}{err}")
            return 1
        return 0 if unittest.main(exit=False, verbosity=2).result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
