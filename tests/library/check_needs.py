#!/usr/bin/env python3
"""Fails when the shared library needs more than the C and C++ libraries."""
import re
import subprocess
import sys

ALLOWED = re.compile(r"^(libstdc\+\+|libgcc_s|libc|libm|ld-linux[-\w]*)\.so")
SANITIZERS = re.compile(r"^lib(asan|ubsan)\.so")


def main():
    text = subprocess.run(["readelf", "-d", sys.argv[1]], check=True, capture_output=True,
                          text=True).stdout
    needed = re.findall(r"\(NEEDED\).*\[(.+)\]", text)
    extra = [n for n in needed if not ALLOWED.match(n)]
    if len(sys.argv) > 2:
        extra = [n for n in extra if not SANITIZERS.match(n)]
    print("needs", ", ".join(needed))
    return 1 if extra or not needed else 0


if __name__ == "__main__":
    sys.exit(main())
