#!/usr/bin/env python3
"""The unit tests that the build for Windows made, under a Windows runtime; and the conformance cases
through the registered server.

Needs what `tools/build-windows --test` leaves in PV_WINDOWS_BUILD, and a runtime that
tools/wine-runtime finds; ends with 77 where one of them is missing. Arguments are names of single
programs to run, and --all, which leaves nothing out.
"""
import os
import pathlib
import re
import shutil
import sys
import tempfile

from runtime import NOT_HERE, ROOT, Runtime, is_x64

BUILD = pathlib.Path(os.environ.get("PV_WINDOWS_BUILD", ROOT / "build" / "windows-x86"))
DLL = BUILD / "src" / "server" / "com" / "pvgrpman.dll"
UNITS = BUILD / "tests" / "unit"

# What takes longest and has nothing to do with the system; --all runs it too.
LEFT_OUT = {
    "engine_test": "DamageTest.EveryFlippedBitOfTheIndex",
    "engine_index_test": "IndexDamageTest.EveryBitTurnedOver",
    "groups_test": "CatalogueRecoveryTest.EveryFaultIsAnErrorAndHarmsNothing",
}


def main():
    programs = sorted(UNITS.glob("*_test.exe"))
    if not programs or not DLL.exists():
        print(f"no unit tests are built for Windows in {UNITS}: "
              "tools/build-windows --test unavailable")
        return NOT_HERE
    runtime = Runtime(is_x64(DLL))
    missing = runtime.missing()
    if missing:
        print(missing[0])
        return missing[1]
    wanted = set(sys.argv[1:]) - {"--all"}
    left_out_now = {} if "--all" in sys.argv[1:] else LEFT_OUT
    runs = []
    for program in programs:
        if not wanted or program.stem in wanted:
            left_out = left_out_now.get(program.stem)
            only = f" '--gtest_filter=-{left_out}'" if left_out else ""
            runs.append((program.stem, f"wine {program.name}{only}"))
    if (UNITS / "conformance_test.exe") in programs and (not wanted or "com" in wanted):
        runs.append(("conformance_test --door=com", "wine conformance_test.exe --door=com"))
    with tempfile.TemporaryDirectory(prefix="pv-units-") as made:
        folder = pathlib.Path(made)
        for program in programs:
            shutil.copy(program, folder)
        shutil.copy(DLL, folder)
        # The runtime sees this folder and no other of the machine.
        steps = []
        if os.environ.get("PV_SAMPLE_DATA"):
            shutil.copytree(os.environ["PV_SAMPLE_DATA"], folder / "samples")
            steps = [f"export PV_SAMPLE_DATA='Z:{made}/samples'"]
        # Windows can be opened though there is no screen.
        steps += [r"wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1",
                  "wineserver -w", f"wine regsvr32 /s {DLL.name}", "echo registered $?"]
        for name, command in runs:
            steps += [f"echo '== {name}'", f"{command} --gtest_brief=1 2>&1", "echo ended $?"]
        _, out, err = runtime.run(folder, "; ".join(steps))
    if not re.search(r"^registered 0$", out, re.MULTILINE):
        print(out, err)
        return 1
    failed = 0
    for name, _ in runs:
        part = out.split(f"== {name}\n", 1)[-1].split("\n== ", 1)[0]
        passed = re.search(r"^\[  PASSED  \] (\d+) tests?\.$", part, re.MULTILINE)
        ok = part.rstrip().endswith("ended 0") and passed and int(passed.group(1)) > 0
        print(f"{name}: {passed.group(1) + ' passed' if ok else 'FAILED'}")
        if not ok:
            failed += 1
            print(part)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
