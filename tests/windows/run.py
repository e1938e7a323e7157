"""The component on Windows: registers the DLL with a Windows runtime and drives it as hosts do.

Needs what `tools/build-windows --test` leaves in PV_WINDOWS_BUILD, and a runtime that
tools/wine-runtime finds; ends with 77 where one of them is missing.
"""
import contextlib
import fcntl
import json
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import time
import unittest

from runtime import NOT_HERE, ROOT, Runtime, is_x64, windows

HERE = pathlib.Path(__file__).resolve().parent
BUILD = pathlib.Path(os.environ.get("PV_WINDOWS_BUILD", ROOT / "build" / "windows-x86"))
DLL = BUILD / "src" / "server" / "com" / "pvgrpman.dll"
PVGROUP = os.environ.get("PVGROUP", str(ROOT / "build" / "release" / "src" / "cli" / "pvgroup"))
IDL = ROOT / "build" / "release" / "pvgrpman.idl"

# What comes with every Windows.
SYSTEM_LIBRARIES = {
    "advapi32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll", "shell32.dll",
    "user32.dll",
}

X64 = DLL.exists() and is_x64(DLL)
RUNTIME = Runtime(X64)
folder = None  # of the whole run: the Windows installation and a folder for each test


def as_hex(text):
    """A text as the files of the registry's editor have its bytes."""
    return ",".join(f"{byte:02x}" for byte in text.encode("utf-16-le"))


def start(command):
    return RUNTIME.start(folder, command)


def run(command):
    return RUNTIME.run(folder, command)


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
        self.check_output(name, least, *run(self.script(name, *arguments))[1:])

    def check_output(self, name, least, out, err):
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

    def check_program(self, name, least, *arguments):
        """Runs one of the test programs, which counts its checks as the scripts do."""
        copy = self.program(name + ".exe")
        words = " ".join(f"'{a}'" for a in (windows(self.data),) + arguments)
        code, out, err = run(f"wine '{windows(copy)}' {words}")
        self.check_output(name, least, out, err)
        self.assertEqual(code, 0, out + err)

    def others(self, classes):
        """A command that makes these classes those of others.dll, in which they have numbers."""
        library = self.program("others.dll")
        keys = []
        for prog_id, number in classes.items():
            class_id = f"{{5D1A6A1E-0C40-4F6B-9D3B-6E2A3C9F1B7{number}}}"
            server = "\\InprocServer32"
            path = windows(library).replace("\\", "\\\\")
            keys.append(f"""[HKEY_LOCAL_MACHINE\\Software\\Classes\\{prog_id}\\CLSID]
@="{class_id}"

[HKEY_LOCAL_MACHINE\\Software\\Classes\\CLSID\\{class_id}{server}]
@="{path}"
"ThreadingModel"="Apartment"
""")
        file = self.folder / "others.reg"
        file.write_text("Windows Registry Editor Version 5.00\n\n" + "\n".join(keys),
                        encoding="utf-16", newline="\r\n")
        return f"wine reg import '{windows(file)}' >/dev/null; "

    def environment(self):
        return dict(os.environ, PVGROUP_DATA=str(self.data), PVGROUP_CODEPAGE="1252")

    def try_pvgroup(self, *arguments):
        return subprocess.run([PVGROUP, *arguments], capture_output=True, text=True, check=False,
                              env=self.environment())

    def pvgroup(self, *arguments):
        done = self.try_pvgroup(*arguments)
        self.assertEqual(done.returncode, 0, f"{arguments}: {done.stdout}{done.stderr}")
        return done.stdout

    def verify(self):
        """Every group in the catalogue is sound; returns how many there are."""
        groups = json.loads(self.pvgroup("list", "--json"))
        for group in groups:
            self.pvgroup("verify", group["id"])
        return len(groups)


class Scripts(WindowsTest):
    def test_every_class_by_its_prog_id(self):
        names = re.findall(r"coclass (\w+)", IDL.read_text())
        self.assertGreaterEqual(len(names), 14)
        self.check_script("classes.vbs", 2 * len(names), *names)

    def test_life_of_a_group(self):
        self.check_script("group_life.vbs", 45)

    def test_life_of_a_group_in_jscript(self):
        self.check_script("group_life.js", 10)

    def test_collections(self):
        self.check_script("collections.vbs", 24)
        self.assertEqual(self.verify(), 1)

    def test_errors(self):
        # A field of variable length, as the newest programs of the family have.
        fields = ((b"EMAIL", b"C", 20, 0), (b"NOTE", b"V", 10, 0), (b"_NullFlags", b"0", 1, 5))
        header = 32 + 32 * len(fields) + 1 + 263
        size = 1 + sum(field[2] for field in fields)
        table = struct.pack("<4BIHH17xB2x", 0x32, 24, 2, 29, 1, header, size, 3)
        offset = 1
        for name, letter, length, flags in fields:
            table += struct.pack("<11scIBBB13x", name, letter, offset, length, 0, flags)
            offset += length
        table += b"\r" + bytes(263) + b" " + b"a@example.org".ljust(20) + b"0123456789\0\x1a"
        (self.data / "newer.dbf").write_bytes(table)
        # And one of a type that nobody knows.
        (self.data / "unknown.dbf").write_bytes(
            table.replace(b"NOTE".ljust(11, b"\0") + b"V", b"NOTE".ljust(11, b"\0") + b"K"))
        self.check_script("errors.vbs", 53)
        log = (self.data / "component.log").read_text()
        self.assertRegex(log, r"(?m)^\*\* Logging Started .* Level : 1$")
        self.assertRegex(log, r"(?m)^OpenTable - Exit error -\d+ .")
        self.assertNotIn("Entry", log)

    def test_sources_and_definitions(self):
        self.check_script("ado.vbs", 29)

    def test_bad_input(self):
        self.check_script("bad_input.vbs", 30)

    def test_address_books(self):
        viewer = self.program("viewer.exe")
        files = [self.folder / name for name in ("ready", "lines.txt", "stop")]
        words = " ".join(f"'{windows(file)}'" for file in files)
        _, out, err = run(
            self.others({"Cardweave.Converter": 0}) +
            f"(wine '{windows(viewer)}' {words} & viewer=$!; "
            f"for i in $(seq 300); do [ -f '{files[0]}' ] || sleep 0.1; done; "
            f"{self.script('address_book.vbs')}; touch '{files[2]}'; wait $viewer; echo viewer $?); "
            r"wine reg delete 'HKLM\Software\Classes\Cardweave.Converter' /f >/dev/null")
        self.assertIn("viewer 0\n", out)
        self.check_output("address_book.vbs", 75, out, err)
        lines = files[1].read_text().splitlines()
        book = lines[:lines.index("3 1 CreateInst succeeded") + 1]
        for wanted in ("CreateInst Start", "Valid Format Selected: PST", "SilentMode: On",
                       "Distribution Lists: 0", "GetAddressBookCount=2",
                       "AddressBook contact count:2"):
            self.assertIn("3 1 " + wanted, book)
        for wanted in ("EOF: CurrentContact = 3", "EOF: RecordCount = 2",
                       "INVALID Format Selected: WAB", "CreateInst failed"):
            self.assertIn("3 1 " + wanted, lines)

    def test_groups_in_databases(self):
        ado = [r"HKLM\Software\Classes\ADODB." + name for name in ("Connection", "Recordset")]
        kept = [windows(self.folder / f"ado{number}.reg") for number in range(2)]
        save = "".join(f"wine reg export '{k}' '{f}' /y >/dev/null; " for k, f in zip(ado, kept))
        drop = "".join(f"wine reg delete '{key}' /f >/dev/null; " for key in ado)
        restore = "".join(f"wine reg import '{file}' >/dev/null; " for file in kept)
        steps = {
            "system": "",
            "none": save + drop,
            "others": self.others({"ADODB.Connection": 1, "ADODB.Recordset": 2}),
        }
        for whose, before in steps.items():
            self.data = self.folder / whose
            self.data.mkdir()
            after = restore if whose == "others" else ""
            _, out, err = run(f"{before}{self.script('ado_group.vbs', whose)}; {after}")
            self.check_output("ado_group.vbs " + whose, 7 if whose == "none" else 8, out, err)

    def test_registry(self):
        key = r"HKEY_CURRENT_USER\Software\Parvane Test"
        values = self.folder / "values.reg"
        values.write_text(f"""Windows Registry Editor Version 5.00

[{key}]
@="unnamed"
"Text"="Gr\u00fc\u00dfe"
"Path"=hex(2):{as_hex("%SystemRoot%" + chr(92) + "x" + chr(0))}
"Number"=dword:fffffffe
"Big"=hex(5):00,00,01,02
"List"=hex(7):{as_hex("one" + chr(0) + "two" + chr(0) + chr(0))}
"Bytes"=hex:01,02,ff
"Odd"=hex(b):01,00,00,00,00,00,00,00

[{key}\\One]

[{key}\\Two]
""", encoding="utf-16", newline="\r\n")
        self.check_output("registry.vbs", 95, *run(
            f"wine reg import '{windows(values)}' >/dev/null && " + self.script("registry.vbs"))[1:])


@unittest.skipIf(X64, "release.py has those of 64 bits")
class Examples(WindowsTest):
    """What the release folder has beside the component, as somebody new to it would use it."""

    def test_register_create_walk(self):
        shutil.copytree(ROOT / "examples" / "windows", self.folder, dirs_exist_ok=True)
        (self.folder / "x86").mkdir()
        shutil.copy(DLL, self.folder / "x86")
        ours = windows(folder / DLL.name)
        code, out, err = run(
            f"wine regsvr32 /s /u '{ours}'; cd '{self.folder}'; "
            f"export PVGROUP_DATA='{windows(self.data)}'; "
            "wine cmd /c register.cmd && wine cscript //nologo create.js People && "
            "wine cscript //nologo walk.vbs && wine cscript //nologo walk.vbs PEOPLE; "
            "wine cscript //nologo walk.vbs nobody; echo code $?; "
            "wine cmd /c register.cmd remove; "
            f"wine reg query 'HKLM\\Software\\Classes\\PVGroupMan.Groups' >/dev/null 2>&1 || "
            f"echo gone; wine regsvr32 /s '{ours}'")
        self.assertEqual(out.splitlines(), [
            "Done.", "Group People has 2 recipients", "Groups in " + windows(self.data) + "\\",
            "  People", "anna@example.org", "bert@example.org", "2 recipients",
            "Error 2409 from Groups::OpenGroup: The Group could not be opened as it no longer "
            "exists.", "code 1", "Done.", "gone"], out + err)
        self.assertEqual(code, 0)
        self.assertEqual(self.verify(), 1)


class Programs(WindowsTest):
    def test_calls(self):
        self.check_program("calls", 60)

    def test_record_arrays(self):
        self.check_program("records", 60)
        self.assertEqual(self.verify(), 6)

    def test_nothing_is_left_behind(self):
        self.check_program("leaks", 700)

    def test_foreign_objects(self):
        self.check_program("foreign", 55)


class Sharing(WindowsTest):
    """A script on Windows and pvgroup here use one group at the same time."""

    ROUNDS = 150

    def test_both_append_and_edit(self):
        self.pvgroup("create", "shared", "Email:text(40)", "Ours:text(10)", "Theirs:text(10)")
        self.pvgroup("add", "shared", "email=meeting@example.org", "ours=0", "theirs=0")
        script = start(self.script("sharing.vbs", str(self.ROUNDS)))
        # Begins when the script has opened the group, and goes on at least as long as it does.
        rounds = 0
        while script.poll() is None or rounds < self.ROUNDS // 5:
            if (self.data / "begun").exists():
                rounds += 1
                self.pvgroup("add", "shared", f"email=linux{rounds}@example.org")
                self.pvgroup("set", "shared", "meeting@example.org", f"ours={rounds}")
        out, err = script.communicate()
        self.check_output("sharing.vbs", self.ROUNDS, out.replace("\r\n", "\n"), err)
        self.verify()
        rows = self.pvgroup("export", "shared", "-", "--format", "csv").splitlines()[1:]
        emails = sorted(row.split(",")[0].strip('"') for row in rows)
        wanted = ["meeting@example.org"]
        wanted += [f"linux{n}@example.org" for n in range(1, rounds + 1)]
        wanted += [f"windows{n}@example.org" for n in range(1, self.ROUNDS + 1)]
        self.assertEqual(emails, sorted(wanted))
        meeting = [row for row in rows if "meeting@" in row][0]
        self.assertEqual([cell.strip('"') for cell in meeting.split(",")][1:],
                         [str(rounds), str(self.ROUNDS)])


class SideBySide(WindowsTest):
    """Several programs that have the same groups open."""

    EMAILS = ("a@example.org", "b@example.org", "c@example.org")

    def make(self, *names):
        """Groups with a recipient for each address; returns their IDs."""
        for name in names:
            self.pvgroup("create", name, "Email:text(40)", "City:text(10)")
            for email in self.EMAILS:
                self.pvgroup("add", name, f"email={email}")
        groups = {group["name"]: group["id"] for group in json.loads(self.pvgroup("list", "--json"))}
        return [groups[name] for name in names]

    def check_together(self, scripts, least, meanwhile=lambda process: None):
        """Runs scripts side by side, and expects of each at least so many checks, all good."""
        # In one command: who is in another one is on a system of its own, with its own share modes.
        process = start("".join(f"{command} >'{self.folder}/{name}.out' 2>&1 & "
                                for name, command in scripts.items()) + "wait")
        try:
            meanwhile(process)
        finally:
            process.communicate()
        for name in scripts:
            out = (self.folder / f"{name}.out").read_bytes().decode("latin-1")
            self.check_output(name, least, out.replace("\r\n", "\n"), "")

    def emails(self, group):
        rows = self.pvgroup("export", group, "-", "--format", "csv").splitlines()[1:]
        return sorted(row.split(",")[0].strip('"') for row in rows)

    def test_compacted_renamed_and_deleted_while_open(self):
        drop, keep = self.make("a to drop", "b to keep")
        self.check_together({"holder.vbs": self.script("holder.vbs", drop),
                             "beside.vbs": self.script("beside.vbs", drop, keep)}, 7)
        self.assertEqual(self.verify(), 1)
        self.assertEqual(self.emails("Kept"),
                         sorted(self.EMAILS[1:] + ("late@example.org",)))
        self.assertEqual(list(self.data.glob(f"{drop}.[!d]*")), [])

    def test_whoever_waits_for_a_lock_gives_up_with_50(self):
        members = ("Update", "AddNew", "Delete", "MoveFirst", "SeekFirst")
        group, = self.make("locked")
        with contextlib.ExitStack() as files:
            def lock(scripts):
                while not all((self.data / f"{member}.ready").exists() for member in members):
                    self.assertIsNone(scripts.poll(), "the scripts ended before they were ready")
                    time.sleep(0.05)
                for extension in (".pvg", ".cdx"):
                    file = files.enter_context(open(self.data / (group + extension), "r+b"))
                    # The addresses at which records, appends and the index are locked.
                    fcntl.lockf(file, fcntl.LOCK_EX, 0x10000000, 0x70000000)
                (self.data / "locked").touch()

            self.check_together({member: self.script("locked.vbs", member) for member in members},
                                2, lock)
        self.assertEqual(self.verify(), 1)
        self.assertEqual(self.emails("locked"), sorted(self.EMAILS))


class Registration(WindowsTest):
    KEYS = (r"HKLM\Software\Classes", r"HKCU\Software\Classes")

    def snapshots(self, *commands):
        """What the registry says of classes after each of the commands."""
        steps = []
        for number, command in enumerate(commands):
            steps.append(f"({command}) >/dev/null 2>&1; echo code $?")
            for scope, key in enumerate(self.KEYS):
                file = windows(self.folder / f"{number}{scope}.reg")
                steps.append(f"wine reg export '{key}' '{file}' /y >/dev/null 2>&1")
        _, out, err = run("; ".join(steps))
        codes = re.findall(r"^code (\d+)$", out, re.MULTILINE)
        self.assertEqual(codes, ["0"] * len(commands), out + err)
        return [tuple(self.read(number, scope) for scope in range(len(self.KEYS)))
                for number in range(len(commands))]

    def read(self, number, scope):
        file = self.folder / f"{number}{scope}.reg"
        return file.read_text(encoding="utf-16") if file.exists() else ""

    def test_unregistering_takes_back_what_was_written(self):
        shutil.copy(DLL, self.folder)
        dll = f"'{windows(self.folder / DLL.name)}'"
        group = re.search(r"\[uuid\(([\w-]+)\)\]\s+coclass Groups ", IDL.read_text()).group(1)
        # Somebody else's value in a key of ours, which is there before, meanwhile and after.
        alien = rf"HKLM\Software\Classes\CLSID\{{{group}}}"
        none, machine, after, user, end, restored = self.snapshots(
            # The user's classes are always there on Windows.
            rf"wine reg add 'HKCU\Software\Classes' /f && wine regsvr32 /s /u {dll} && "
            f"wine reg add '{alien}' /v Alien /d 1 /f",
            f"wine regsvr32 /s {dll}",
            f"wine regsvr32 /s /u {dll}",
            f"wine regsvr32 /s /n /i:user {dll}",
            f"wine regsvr32 /s /u /n /i:user {dll}",
            f"wine reg delete '{alien}' /v Alien /f; wine regsvr32 /s '{windows(folder / DLL.name)}'")
        self.assertTrue("Alien" in none[0])
        self.assertFalse("PVGroupMan" in none[0] + none[1])
        for found, other in ((machine, 1), (user, 0)):
            text = found[1 - other]
            for wanted in (r"\\PVGroupMan\.Groups\\CLSID\]", '"ThreadingModel"="Apartment"',
                           rf"TypeLib\\\{{[\w-]+\}}\\4\.0\\0\\win{64 if X64 else 32}\]",
                           '@="_Groups"'):
                self.assertTrue(re.search(wanted, text, re.IGNORECASE), wanted)
            self.assertTrue(found[other] == none[other], "the other scope is touched")
        for what, left in (("machine", after), ("user", end)):
            added = [set(left[scope].split("\n\n")) ^ set(none[scope].split("\n\n"))
                     for scope in range(len(self.KEYS))]
            self.assertEqual(added, [set(), set()], what)
        self.assertFalse("Alien" in restored[0])

    def test_classes_that_are_registered_for_the_user_are_created(self):
        # Windows looks classes up in the user's part of the registry before the machine's; Wine in
        # the machine's only. So what was written for the user alone is put there as it is.
        shutil.copy(DLL, self.folder)
        dll = f"'{windows(self.folder / DLL.name)}'"
        ours = f"'{windows(folder / DLL.name)}'"
        users = self.folder / "user.reg"
        names = re.findall(r"coclass (\w+)", IDL.read_text())
        try:
            _, out, err = run(
                f"wine regsvr32 /s /u {ours}; wine regsvr32 /s /n /i:user {dll}; "
                rf"wine reg export 'HKCU\Software\Classes' '{windows(users)}' /y >/dev/null; "
                rf"wine reg query 'HKLM\Software\Classes\PVGroupMan.Groups' >/dev/null 2>&1 || "
                "echo only for the user")
            self.assertIn("only for the user", out, err)
            text = users.read_text(encoding="utf-16").replace(
                "HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE")
            users.write_text(text, encoding="utf-16")
            self.check_output("classes.vbs", 2 * len(names), *run(
                f"wine reg import '{windows(users)}' >/dev/null; "
                + self.script("classes.vbs", *names))[1:])
        finally:
            run(f"wine regsvr32 /s /u {dll}; wine regsvr32 /s /u /n /i:user {dll}; "
                f"wine regsvr32 /s {ours}")

    def test_unknown_way_to_install_is_refused(self):
        code, _, _ = run(f"wine regsvr32 /s /n /i:everybody {folder}/{DLL.name}")
        self.assertNotEqual(code, 0)


class Binary(unittest.TestCase):
    def test_needs_nothing_but_windows(self):
        tool = ("x86_64" if X64 else "i686") + "-w64-mingw32-objdump"
        dump = subprocess.run([tool, "-p", str(DLL)], capture_output=True, text=True,
                              check=True).stdout
        needed = {name.lower() for name in re.findall(r"DLL Name: (\S+)", dump)}
        self.assertIn("kernel32.dll", needed)
        self.assertEqual(needed - SYSTEM_LIBRARIES, set())
        exported = set(re.findall(r"\[ *\d+\] (Dll\w+)", dump))
        self.assertEqual(exported, {"DllCanUnloadNow", "DllGetClassObject", "DllInstall",
                                    "DllRegisterServer", "DllUnregisterServer"})


def main():
    global folder
    if not DLL.exists():
        print(f"Windows build unavailable: {DLL} is not there (tools/build-windows --test makes it)")
        return NOT_HERE
    missing = RUNTIME.missing()
    if missing:
        print(missing[0])
        return missing[1]
    with tempfile.TemporaryDirectory(prefix="pv-windows-") as made:
        folder = pathlib.Path(made)
        shutil.copy(DLL, folder)
        # Windows can be opened though there is no screen.
        code, out, err = run(
            r"wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null && "
            f"wine regsvr32 /s {folder}/{DLL.name}")
        if code != 0:
            print(f"regsvr32 failed with {code}: {out}{err}")
            return 1
        return 0 if unittest.main(exit=False, verbosity=2).result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
