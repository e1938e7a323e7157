#!/usr/bin/env python3
"""Reads every #include below src/ and include/ and fails on an arrow that the layers do not allow.

The table says which other folders a folder may include. The most specific entry counts; a folder
may always include itself. Public headers belong to the folder of the same name.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent

CLASSES = {"tablestore", "automation", "support"}
# What the command line is made with.
COMPONENT = CLASSES | {"base", "platform", "ado", "addressbook", "groups", "server"}
COMPONENT |= {"tablestore/engine"}
ALLOWED = {
    "base": set(),
    "platform": {"base"},
    "tablestore/engine": {"base", "platform"},
    "automation": {"base"},
    "support": {"base", "platform", "automation"},
    "tablestore": {"base", "platform", "automation", "support", "tablestore/engine"},
    "ado": {"base", "platform"} | CLASSES,
    "addressbook": {"base", "platform"} | CLASSES,
    "groups": {"base", "platform", "ado", "addressbook"} | CLASSES,
    "providers/adodb": {"base", "platform", "automation"},
    "providers/converter": {"base", "platform", "automation"},
    "server": {"base", "platform", "ado", "addressbook", "groups"} | CLASSES,
    "cli": {"cli/verbs"} | COMPONENT,
    "cli/output": {"cli"} | COMPONENT,
    "cli/fields": {"cli", "cli/output"} | COMPONENT,
    "cli/groups": {"cli", "cli/output", "cli/fields"} | COMPONENT,
    "cli/import": {"cli", "cli/output", "cli/fields", "cli/groups"} | COMPONENT,
    "cli/verbs": {"cli", "cli/output", "cli/fields", "cli/groups", "cli/import"} | COMPONENT,
}
# Inside the engine, parts know the layout and the codes but not the table that uses them.
ENGINE_PARTS = {"data", "index", "memo", "expression"}
ENGINE_SHARED = {"record_layout.h", "error_codes.h"}
# Operations, and nothing else of the engine, are what the layers above see.
ENGINE_DOORS = {"operations.h", "error_codes.h"}
SYSTEM_HEADERS = re.compile(
    r"^(unistd|fcntl|dlfcn|link|dirent|iconv|pwd|signal|setjmp|poll|sched|windows|winsock2|objbase|"
    r"ole2|oleauto)\.h$|^csignal$|^csetjmp$|^sys/|^linux/|^fstream$|^filesystem$"
)
# Windows and its automation runtime.
WINDOWS_HEADERS = {"windows.h", "objbase.h", "ocidl.h", "ole2.h", "oleauto.h", "olectl.h"}
# The command line talks to a terminal and to the user's own files; tests may look at anything.
SYSTEM_FOLDERS = {"platform", "cli"}

INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]')


def folder_of(path):
    """The entry of ALLOWED that a path below src/ (or a public header's) belongs to."""
    parts = path.split("/")
    for length in range(len(parts) - 1, 0, -1):
        name = "/".join(parts[:length])
        if name in ALLOWED:
            return name
    return None


def is_test(path):
    return path.endswith("_test.cc") or path.endswith("_test.h") or "test_support" in path


def main():
    faults = []
    checked = 0
    for top in ("src", "include/pvgroupman"):
        for file in sorted((ROOT / top).rglob("*")):
            if file.suffix not in (".cc", ".h"):
                continue
            path = file.relative_to(ROOT / top).as_posix()
            own = folder_of(path)
            if own is None:
                faults.append(f"{top}/{path}: no layer is known by this folder")
                continue
            test = is_test(path)
            for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
                match = INCLUDE.match(line)
                if not match:
                    continue
                checked += 1
                kind, name = match.groups()
                where = f"{top}/{path}:{number}: includes {name}"
                if kind == "<":
                    if name in WINDOWS_HEADERS:
                        if not path.startswith(("platform/win32/", "server/com/")):
                            faults.append(f"{where}: only platform/win32 and server/com may")
                    elif SYSTEM_HEADERS.match(name) and own.split("/")[0] not in SYSTEM_FOLDERS and not test:
                        faults.append(f"{where}: only platform meets the operating system")
                    continue
                if name.startswith("pvgroupman/"):
                    name = name[len("pvgroupman/"):]
                elif top.startswith("include"):
                    faults.append(f"{where}: public headers include public headers only")
                    continue
                target = folder_of(name)
                if target is None:
                    if not test:
                        faults.append(f"{where}: leads to no layer")
                    continue
                if target == own:
                    if own == "tablestore/engine":
                        part = path.split("/")[2]
                        other = name.split("/")[2]
                        if part in ENGINE_PARTS and not test:
                            if other != part and other not in ENGINE_SHARED:
                                faults.append(f"{where}: {part}/ may not know it")
                    continue
                if test:
                    continue
                if target not in ALLOWED[own]:
                    faults.append(f"{where}: {own} may not include {target}")
                elif target == "tablestore/engine" and name.split("/")[-1] not in ENGINE_DOORS:
                    faults.append(f"{where}: only the engine's operations are open to other layers")
    for fault in faults:
        print(fault)
    print(f"{checked} includes checked, {len(faults)} faults")
    return 1 if faults or checked == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
